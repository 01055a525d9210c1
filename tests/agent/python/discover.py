#!/usr/bin/python3
"""What a discovering manager asks a switch for, with pysnmp: discover.py PORT COMMUNITY

Prints one JSON object: the system's name, and of each interface, by index, its descr, type, admin, oper and name."""
import json
import sys

from pysnmp.hlapi import (CommunityData, ContextData, ObjectIdentity, ObjectType, SnmpEngine, UdpTransportTarget,
                          bulkCmd, getCmd)

IF_ENTRY, IF_X_ENTRY = "1.3.6.1.2.1.2.2.1", "1.3.6.1.2.1.31.1.1.1"
COLUMNS = {"descr": IF_ENTRY + ".2", "type": IF_ENTRY + ".3", "admin": IF_ENTRY + ".7", "oper": IF_ENTRY + ".8",
           "name": IF_X_ENTRY + ".1"}


def main():
    engine = SnmpEngine()
    who = (CommunityData(sys.argv[2], mpModel=1),
           UdpTransportTarget(("127.0.0.1", int(sys.argv[1])), timeout=10, retries=0), ContextData())
    _, _, _, system = next(getCmd(engine, *who, ObjectType(ObjectIdentity("1.3.6.1.2.1.1.5.0")), lookupMib=False))
    interfaces = {}
    for word, column in COLUMNS.items():
        for failure, status, _, varbinds in bulkCmd(engine, *who, 0, 20, ObjectType(ObjectIdentity(column)),
                                                    lookupMib=False, lexicographicMode=False, maxRows=5000):
            if failure or status:
                sys.exit(str(failure or status))
            name, value = varbinds[0]
            text = value.prettyPrint() if word not in ("descr", "name") else bytes(value).decode()
            interfaces.setdefault(str(name).split(".")[-1], {})[word] = text
    print(json.dumps({"name": bytes(system[0][1]).decode(), "interfaces": interfaces}))


main()
