#!/usr/bin/python3
"""A walk with pysnmp: walk.py PORT COMMUNITY ROOT

Prints a line a value: OID, type, value; octets are lower-case hex."""
import sys

from pysnmp.hlapi import CommunityData, ContextData, ObjectIdentity, ObjectType, SnmpEngine, UdpTransportTarget, bulkCmd

TYPES = {"Integer32": "INTEGER", "Integer": "INTEGER", "Gauge32": "Gauge32", "TimeTicks": "TimeTicks",
         "OctetString": "OCTETS"}


def main():
    port, community, root = sys.argv[1:]
    where = UdpTransportTarget(("127.0.0.1", int(port)), timeout=10, retries=0)
    for failure, status, _, varbinds in bulkCmd(SnmpEngine(), CommunityData(community, mpModel=1), where, ContextData(),
                                                0, 20, ObjectType(ObjectIdentity(root)), lookupMib=False,
                                                lexicographicMode=False, maxRows=5000):
        if failure or status:
            sys.exit(str(failure or status))
        for name, value in varbinds:
            kind = TYPES[value.__class__.__name__]
            print(f".{name} {kind} {bytes(value).hex() if kind == 'OCTETS' else int(value)}")


main()
