"""An installed agent and switch: who reads, who is refused and what he is told."""
import os
import re
import shutil

import machine as machines
import units

TABLE = "snmptable -m VSAN-MIB -v2c -c public localhost "
COMPLETE_MIBS = os.path.join(machines.SOURCE, "tests/agent/npm/node_modules/net-snmp/lib/mibs")


def test_the_agent_reads_as_the_user_that_debian_gave_it(installed):
    status = open(f"/proc/{installed.services['snmpd.service'].pid}/status", encoding="utf-8").read()
    uid = machines.run(installed, "id -u Debian-snmp").strip()
    assert re.search(rf"^Uid:\t{uid}\t", status, re.MULTILINE)
    rows = machines.run(installed, TABLE + "vsanTable")
    assert "production-a" in rows and "backup" in rows
    assert "production-a" in machines.run(installed, "vsanctl show vsan")


def test_nobody_may_write_and_the_admins_own_view_is_as_it_was(installed):
    refused = machines.run(installed, "snmpset -m VSAN-MIB -v2c -c public localhost vsanName.10 s x", check=False)
    assert "noAccess" in refused
    assert "Dock of the Bay" in machines.run(installed, "snmpget -v2c -c public localhost .1.3.6.1.2.1.1.6.0")
    outside = machines.run(installed, "snmpwalk -v2c -c public localhost .1.3.6.1.2.1.11")
    assert "No Such Object" in outside or "No more variables" in outside


def test_operator_of_the_group_needs_no_root_and_others_are_refused(installed):
    machines.run(installed, "adduser --quiet --disabled-password --gecos '' alice && adduser --quiet alice switchd && "
                            "adduser --quiet --disabled-password --gecos '' mallory")
    assert "production-a" in machines.run(installed, "vsanctl show vsan", user="alice")
    refused = machines.run(installed, "vsanctl show vsan; echo status $?", user="mallory")
    assert "/run/switchd" in refused and "Permission denied" in refused and "status 0" not in refused


def test_agent_outside_the_group_is_told_the_remedy(installed):
    units.stop(installed, "snmpd.service")
    machines.run(installed, "deluser --quiet Debian-snmp switchd")
    service = units.start(installed, "snmpd.service")
    units.wait_for_log(service, "no notifications for now: /run/switchd/notifications.sock: Permission denied: is user "
                                "Debian-snmp in group switchd?")
    units.stop(installed, "snmpd.service")
    machines.run(installed, "adduser --quiet Debian-snmp switchd")
    units.start(installed, "snmpd.service")
    assert "production-a" in machines.run(installed, TABLE + "vsanTable")


def test_traps_show_by_name(installed):
    local = machines.path(installed, "/etc/snmp/snmpd.conf.d/local.conf")
    with open(local, "w", encoding="utf-8") as out:
        out.write("trap2sink 127.0.0.1:1162 public\n")
    units.stop(installed, "snmpd.service")
    machines.run(installed, "echo 'disableAuthorization yes' >/root/traps.conf && "
                            "snmptrapd -C -c /root/traps.conf -m VSAN-MIB:SNMPv2-MIB -Lf /root/traps.log "
                            "udp:127.0.0.1:1162")
    service = units.start(installed, "snmpd.service")
    # A change that comes before the agent has subscribed is delivered when it has.
    machines.run(installed, "vsanctl interface move fc1/3 20")
    traps = os.path.join(installed.root, "root/traps.log")
    for _ in range(150):
        if "VSAN-MIB::" in open(traps, encoding="utf-8").read():
            break
        machines.run(installed, "sleep 0.1")
    text = open(traps, encoding="utf-8").read()
    assert re.search(r"SNMPv2-MIB::snmpTrapOID.0 = OID: VSAN-MIB::vsan\w+", text), text + units.log_of(service)
    os.unlink(local)


def test_complete_modules_are_taken_when_they_are_there(installed):
    look_up = "snmptranslate -m VSAN-MIB -On IF-MIB::"
    assert "Unknown Object Identifier" in machines.run(installed, look_up + "ifStackLastChange", check=False)
    assert ".1.3.6.1.2.1.31.1.1.1.18" in machines.run(installed, look_up + "ifAlias")
    assert os.listdir(COMPLETE_MIBS), "the test clients of npm bring the complete modules"
    for folder in ("/var/lib/mibs/ietf", "/usr/share/snmp/mibs"):
        downloaded = machines.path(installed, folder)
        os.makedirs(downloaded, exist_ok=True)
        brought = []
        for name in os.listdir(COMPLETE_MIBS):
            brought.append(os.path.join(downloaded, name.removesuffix(".mib")))
            shutil.copy(os.path.join(COMPLETE_MIBS, name), brought[-1])
        link = machines.path(installed, "/usr/share/snmp/mibs/ietf")
        if folder.endswith("ietf"):
            os.symlink(folder, link)
        try:
            assert ".1.3.6.1.2.1.31.1.6" in machines.run(installed, look_up + "ifStackLastChange"), folder
            assert "production-a" in machines.run(installed, TABLE + "vsanTable"), folder
        finally:
            for name in brought:
                os.unlink(name)
            if os.path.islink(link):
                os.unlink(link)
