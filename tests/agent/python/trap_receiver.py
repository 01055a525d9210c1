#!/usr/bin/python3
"""Prints what arrives at a UDP port, with pysnmp: trap_receiver.py PORT

One line a notification: "trap" or "inform", then a tab and OID=VALUE for each varbind. Integers are decimal, OIDs start
with a dot, octets are lower-case hex. The first line is "ready"."""
import sys

from pyasn1.type.univ import ObjectIdentifier, OctetString
from pysnmp.carrier.asyncore.dgram import udp
from pysnmp.entity import config, engine
from pysnmp.entity.rfc3413 import ntfrcv
from pysnmp.proto.api import v2c

KINDS = {v2c.SNMPv2TrapPDU.tagSet: "trap", v2c.InformRequestPDU.tagSet: "inform"}


def text(value):
    if isinstance(value, ObjectIdentifier):
        return "." + value.prettyPrint()
    if isinstance(value, OctetString):
        return value.asOctets().hex()
    return str(int(value))


def main():
    agent = engine.SnmpEngine()
    config.addTransport(agent, udp.domainName, udp.UdpTransport().openServerMode(("127.0.0.1", int(sys.argv[1]))))
    config.addV1System(agent, "area", "public")
    config.addV3User(agent, "operator", config.usmHMAC192SHA256AuthProtocol, "operator-auth-key",
                     config.usmAesCfb128Protocol, "operator-priv-key")
    kinds = []
    agent.observer.registerObserver(lambda _agent, _point, variables, _context: kinds.append(KINDS[variables["pdu"].tagSet]),
                                    "rfc3412.receiveMessage:request")

    def heard(_agent, _state, _engine_id, _name, varbinds, _context):
        print(kinds.pop(), *[f".{oid}={text(value)}" for oid, value in varbinds], sep="\t", flush=True)

    ntfrcv.NotificationReceiver(agent, heard)
    print("ready", flush=True)
    agent.transportDispatcher.jobStarted(1)
    agent.transportDispatcher.runDispatcher()


main()
