"""What a newer package does with the store of an older one, and with a store as old as there may be."""
import os
import shutil
import sqlite3
import subprocess

import machine as machines
import units

UPGRADE = os.path.join(machines.WORK, "upgrade")
NEXT_VERSION = "1.0.1"


def next_packages():
    """Builds the packages of the next version from what was compiled for this one. Returns their folder."""
    shutil.rmtree(UPGRADE, ignore_errors=True)
    subprocess.run(["cp", "-a", machines.PACKAGES, UPGRADE], check=True, timeout=60)
    subprocess.run([os.path.join(machines.SOURCE, "packaging/make-packages.sh"), UPGRADE, NEXT_VERSION], check=True,
                   timeout=300, stdout=subprocess.DEVNULL)
    return UPGRADE


def test_an_upgrade_keeps_the_store_and_the_admins_configuration(installed):
    machines.run(installed, "vsanctl vsan create 50 --name edge && vsanctl timer set e_d_tov 2500 --vsan 50 && "
                            "echo '# mine' >>/etc/snmp/snmpd.conf.d/vsanmib.conf")
    units.stop(installed, "switchd.service")
    machines.bring_packages(installed, next_packages())
    machines.run(installed, "apt-get install -y ./*.deb", directory="/root/packages")
    assert NEXT_VERSION in machines.run(installed, "dpkg-query -W switchd")
    units.start(installed, "switchd.service")
    assert "edge" in machines.run(installed, "vsanctl show vsan")
    assert "2500" in machines.run(installed, "vsanctl show timers")
    with open(machines.path(installed, "/etc/snmp/snmpd.conf.d/vsanmib.conf"), encoding="utf-8") as text:
        assert text.read().endswith("# mine\n")


def make_store(name, version, statements):
    """A store of schema `version` with those statements in it, in the page size that SQLite has by itself."""
    store = sqlite3.connect(name)
    store.executescript(f"PRAGMA page_size=4096; {statements} PRAGMA application_id={0x5653414E};"
                        f"PRAGMA user_version={version};")
    store.close()


def start_on(machine, name, version, statements):
    """Starts the instance `name` on a store made so."""
    machines.run(machine, f"install -d -o switchd -g switchd -m 750 /var/lib/switchd-{name}")
    make_store(machines.path(machine, f"/var/lib/switchd-{name}/switch.db"), version, statements)
    machines.run(machine, f"chown switchd:switchd /var/lib/switchd-{name}/switch.db")
    units.start(machine, f"switchd@{name}.service")


def schema_version(machine, name):
    store = sqlite3.connect(machines.path(machine, f"/var/lib/switchd-{name}/switch.db"))
    found = store.execute("PRAGMA user_version").fetchone()[0]
    store.close()
    return found


def test_a_store_of_the_first_schema_is_taken(installed):
    # Version 1 is the oldest there ever was; its pages were larger than today's.
    with open(os.path.join(os.path.dirname(__file__), "first_store.sql"), encoding="utf-8") as statements:
        start_on(installed, "old", 1, statements.read())
    assert "kept-name" in machines.run(installed, "vsanctl --run-dir /run/switchd-old show vsan")
    assert "2600" in machines.run(installed, "vsanctl --run-dir /run/switchd-old show timers")
    assert "fc1/1" in machines.run(installed, "vsanctl --run-dir /run/switchd-old show interface")
    machines.run(installed, "vsanctl --run-dir /run/switchd-old vsan create 41 --name written")
    assert units.stop(installed, "switchd@old.service") == 0
    assert schema_version(installed, "old") > 1


def test_the_steps_to_todays_schema_are_taken(installed):
    # Version 0 is a store before its first step: it was never in use, but every step is behind it.
    start_on(installed, "steps", 0, "")
    assert "1" in machines.run(installed, "vsanctl --run-dir /run/switchd-steps show vsan")
    assert units.stop(installed, "switchd@steps.service") == 0
    assert schema_version(installed, "steps") >= 1


def test_a_store_of_a_newer_schema_is_refused_and_left_as_it_is(installed):
    name = machines.path(installed, "/root/newer.db")
    make_store(name, 99, "CREATE TABLE later (name TEXT);")
    text = machines.run(installed, "switchd --run-dir /run/newer --state /root/newer.db; echo status $?")
    assert "status 4" in text and "schema version 99" in text
    store = sqlite3.connect(name)
    assert store.execute("PRAGMA user_version").fetchone()[0] == 99
    store.close()
