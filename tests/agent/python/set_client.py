#!/usr/bin/python3
"""One SET with pysnmp: set_client.py PORT (--community NAME | --user NAME) OID=TYPE:VALUE ...

TYPE is i (INTEGER), u (Unsigned32) or s (octets). Prints one JSON object: error, index (1-based, 0 for none), values."""
import argparse
import json

from pysnmp.hlapi import (CommunityData, ContextData, Integer32, ObjectIdentity, ObjectType, OctetString, SnmpEngine,
                          UdpTransportTarget, Unsigned32, UsmUserData, setCmd, usmAesCfb128Protocol,
                          usmHMAC192SHA256AuthProtocol)

TYPES = {"i": lambda text: Integer32(int(text)), "u": lambda text: Unsigned32(int(text)), "s": OctetString}


def varbind(text):
    oid, value = text.split("=", 1)
    kind, value = value.split(":", 1)
    return ObjectType(ObjectIdentity(oid), TYPES[kind](value))


def identity(arguments):
    if arguments.community:
        return CommunityData(arguments.community, mpModel=1)
    return UsmUserData(arguments.user, arguments.user + "-auth-key", arguments.user + "-priv-key",
                       authProtocol=usmHMAC192SHA256AuthProtocol, privProtocol=usmAesCfb128Protocol)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("port", type=int)
    parser.add_argument("--community")
    parser.add_argument("--user")
    parser.add_argument("varbind", nargs="+")
    arguments = parser.parse_args()
    target = UdpTransportTarget(("127.0.0.1", arguments.port), timeout=10, retries=0)
    failure, status, index, varbinds = next(setCmd(SnmpEngine(), identity(arguments), target, ContextData(),
                                                   *map(varbind, arguments.varbind), lookupMib=False))
    print(json.dumps({"error": str(failure) if failure else status.prettyPrint() if status else "noError", "index": int(index),
                      "values": [value.prettyPrint() for _, value in varbinds]}))


main()
