"""The guides, followed to the letter on a machine that has nothing of ours, to the purge that leaves nothing."""
import contextlib
import os
import re

import machine as machines
import units
import watcher

INSTALL = os.path.join(machines.SOURCE, "docs/install.md")
SNMPTRAPDS_OWN = " /var/lib/snmp/snmptrapd.conf"  # it writes that wherever it runs
OPERATING = os.path.join(machines.SOURCE, "docs/operating.md")


def commands(guide):
    """Every line of every block of the guide, in order."""
    with open(guide, encoding="utf-8") as text:
        blocks = re.findall(r"^```\n(.*?)^```$", text.read(), re.DOTALL | re.MULTILINE)
    return [line for block in blocks for line in block.splitlines()]


def control_services(machine, action, name):
    """What systemd does for `systemctl ACTION NAME`."""
    unit = name + ".service"
    if action in ("stop", "restart"):
        assert units.stop(machine, unit) == 0
    if action in ("start", "restart"):
        units.start(machine, unit)
    if action == "enable":
        template = re.sub("@.*", "@", name) + ".service"
        wanted = "/etc/systemd/system/multi-user.target.wants"
        machines.run(machine, f"mkdir -p {wanted} && ln -s /lib/systemd/system/{template} {wanted}/{unit}")


def follow(machine, command):
    """Runs a line of the guide as an operator does, who answers yes, and as systemd does behind the package manager."""
    words = command.split()
    if words[0] == "systemctl":
        control_services(machine, *words[1:])
        return ""
    if words[0] == "systemd-analyze":
        return ""  # test_units.py runs it: it is the host's
    if words[:2] in (["apt-get", "remove"], ["apt-get", "purge"]):
        for unit in [unit for unit in machine.services if unit.startswith("switchd")]:
            units.stop(machine, unit)
    text = machines.run(machine, command.replace("apt-get ", "apt-get -y ", 1), directory="/root/packages",
                        check=not command.endswith("# refused"))
    if words[:2] == ["apt-get", "install"]:
        units.start(machine, "switchd.service")
        units.start(machine, "snmpd.service")
    return text


def test_every_command_does_what_the_guide_says(bare):
    machines.run(bare, "adduser --quiet --disabled-password --gecos '' alice")
    # The agent's own files of its first start are none of ours.
    units.start(bare, "snmpd.service")
    units.stop(bare, "snmpd.service")
    before = machines.files(bare)
    shown = {}
    for command in commands(INSTALL):
        shown[command] = follow(bare, command)
        if command.startswith("apt-get install"):
            added = "\n".join(set(machines.files(bare)) - set(before))
            assert "/usr/sbin/switchd" in added and "/run/switchd/control.sock" in added and "switchd:x:" in added
        if command.startswith("apt-get remove"):
            assert os.path.exists(machines.path(bare, "/var/lib/switchd/switch.db"))
            assert os.path.exists(machines.path(bare, "/var/lib/switchd-lab/switch.db"))
            units.stop(bare, "snmpd.service")
            agent = units.start(bare, "snmpd.service")
            assert "libvsanmib.so: cannot open shared object file" in units.log_of(agent), "it says what it cannot load"
            location = machines.run(bare, "snmpget -v2c -c public localhost .1.3.6.1.2.1.1.6.0")
            assert "Dock of the Bay" in location, "and serves the rest"
            units.stop(bare, "snmpd.service")
    assert "vsanName" in shown["snmptable -m VSAN-MIB -v2c -c public localhost vsanTable"]
    assert "fc1/3" in shown["vsanctl show interface"]
    assert "production-a" in shown["vsanctl --run-dir /run/switchd-lab show vsan"]
    assert [text for command, text in shown.items() if command.startswith("snmpset") and "edge" in text]
    # The guide's own user is the operator's; the agent keeps him where it keeps its users.
    left = set(machines.files(bare)) ^ set(before)
    assert not left, left


def follow_watched(machine, guide, folder):
    """Runs the guide's lines, the switch being watched once its fault is near. Returns (line, what it printed)s."""
    shown = []
    with contextlib.ExitStack() as stack:
        for command in guide:
            breaks, mends = command.startswith("vsanctl fault hang"), command == "vsanctl fault clear"
            if breaks:
                stack.enter_context(watcher.watching(machine, folder))
                watcher.wait_for(machine, set())
            shown.append((command, follow(machine, command)))
            if breaks or mends:
                watcher.wait_for(machine, {"VsanSwitchSilent"} if breaks else set())
    return shown


def test_an_operators_evening(bare, tmp_path):
    machines.run(bare, "adduser --quiet --disabled-password --gecos '' alice")
    units.start(bare, "snmpd.service")
    units.stop(bare, "snmpd.service")
    before = machines.files(bare)
    shown = follow_watched(bare, commands(OPERATING), tmp_path)

    def of(start, place=0):
        return [text for command, text in shown if command.startswith(start)][place]

    assert "production-a" in of("snmptable") and "fc1/3" in of("vsanctl show interface")
    assert of("vsanctl import --check") == "would change: nothing\n"
    assert "createAndGo" in of("snmpset", 0) and "edge" in of("snmpset", 0)
    names = of("snmpwalk")
    assert "vsanName.10" in names and "vsanName.20" in names and len(names.splitlines()) == 2, "a tenant sees two"
    assert "ours" in of("snmpset", 1) and "genError" in of("snmpset", 2)
    why = of("vsanctl show errors", 0).splitlines()[1]
    for word in ("tenant", "vsanName", "50", '"mine"', "0x4049002C"):
        assert word in why, why
    assert "tenant" in of("vsanctl history")
    assert "subscribed    yes" in of("vsanctl show notifications")
    assert "No Such Instance" in of("snmpget", 0) and "INTEGER: 7" in of("snmpget", 1)
    assert "no answer from the manager: Connection timed out" in of("vsanctl show errors", 1)
    assert "hang" in of("vsanctl fault list")
    assert "changed:" in of("vsanctl import /root/before.toml")
    units.stop(bare, "snmpd.service")
    left = {line for line in set(machines.files(bare)) ^ set(before) if not line.endswith(SNMPTRAPDS_OWN)}
    assert not left, left
