"""The units: what systemd makes of them, and switchd started as they say."""
import os
import re
import stat
import subprocess

import machine as machines
import pytest
import units

EXPOSURE_AT_MOST = 0.5  # docs/install.md states it
BOTH = ("switchd.service", "switchd@.service")


def analyze(machine, verb, option, name):
    done = subprocess.run(["systemd-analyze", verb, option, machines.path(machine, "/lib/systemd/system/" + name)],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=60, check=False)
    return done.returncode, done.stdout


@pytest.mark.parametrize("name", BOTH)
def test_systemd_finds_no_fault(installed, name):
    # The host's systemd, with the host's other units: it says something only when something is wrong.
    status, text = analyze(installed, "verify", "--man=no", name)
    assert status == 0 and "switchd" not in text, text


@pytest.mark.parametrize("name", BOTH)
def test_exposure_is_what_the_guide_states(installed, name):
    _, text = analyze(installed, "security", "--offline=true", name)
    found = re.search(r"Overall exposure level for \S+: ([\d.]+)", text)
    assert found and float(found[1]) <= EXPOSURE_AT_MOST, text
    with open(os.path.join(machines.SOURCE, "docs/install.md"), encoding="utf-8") as guide:
        assert f'rates both units at {EXPOSURE_AT_MOST} ("SAFE")' in guide.read()


def test_user_directories_and_sockets_are_as_the_unit_says(installed):
    pid = installed.services["switchd.service"].pid
    with open(f"/proc/{pid}/status", encoding="utf-8") as text:
        status = dict(line.split(":\t", 1) for line in text.read().splitlines() if "\t" in line)
    uid, gid = machines.run(installed, "id -u switchd; id -g switchd").split()
    assert set(status["Uid"].split()) == {uid} and set(status["Gid"].split()) == {gid}
    assert status["Groups"].split() in ([], [gid])
    assert int(status["CapBnd"], 16) == 0 and status["NoNewPrivs"] == "1"
    for name in ("/run/switchd", "/var/lib/switchd"):
        found = os.stat(machines.path(installed, name))
        assert (str(found.st_uid), str(found.st_gid), stat.S_IMODE(found.st_mode)) == (uid, gid, 0o750), name
    found = os.stat(machines.path(installed, "/run/switchd/control.sock"))
    assert (str(found.st_gid), stat.S_IMODE(found.st_mode)) == (gid, 0o660)


def test_instance_shows_that_it_is_alive_and_stops_cleanly(installed):
    name = "switchd@lab.service"
    service = units.start(installed, name, watchdog_seconds=0.4)
    for _ in range(3):
        assert units.next_state(service) == ("WATCHDOG=1", service.pid)
    assert "instance-77" not in machines.run(installed, "vsanctl --run-dir /run/switchd-lab show vsan")
    machines.run(installed, "vsanctl --run-dir /run/switchd-lab vsan create 77 --name instance-77")
    assert units.stop(installed, name) == 0
    units.start(installed, name)
    rows = machines.run(installed, "vsanctl --run-dir /run/switchd-lab show vsan")
    assert "instance-77" in rows, "its store is its own"
    assert "instance-77" not in machines.run(installed, "vsanctl show vsan")
    assert units.stop(installed, name) == 0


def calls_of(name, seen=()):
    """The system calls of a set that systemd knows by name, with those of the sets in it."""
    listed = subprocess.run(["systemd-analyze", "syscall-filter", name], stdout=subprocess.PIPE, text=True, timeout=60,
                            check=True)
    found = set()
    for line in listed.stdout.splitlines()[1:]:
        word = line.strip()
        if word.startswith("@") and word not in seen:
            found |= calls_of(word, (*seen, name))
        elif word and not word.startswith(("#", "@")):
            found.add(word)
    return found


def allowed_calls(unit):
    allowed = set()
    for line in unit["Service"]["SystemCallFilter"]:
        names = line.lstrip("~").split()
        calls = set().union(*(calls_of(name) if name.startswith("@") else {name} for name in names))
        allowed = allowed - calls if line.startswith("~") else allowed | calls
    return allowed


@pytest.fixture(scope="module")
def trace(installed):
    """The system calls of an instance from its first command to its end, as lines; it was made to do its work."""
    name = "switchd@traced.service"
    file = os.path.join(installed.root, "root", "trace")
    units.start(installed, name, prefix=("strace", "-f", "-qq", "-o", file))
    for words in ("vsan create 9 --name nine", "show vsan", "kdx enable", "show status"):
        machines.run(installed, "vsanctl --run-dir /run/switchd-traced " + words)
    units.stop(installed, name)
    with open(file, encoding="utf-8", errors="replace") as text:
        lines = text.read().splitlines()
    # What is before the shell of ExecStart is systemd's business.
    began = max(i for i, line in enumerate(lines) if 'execve("/bin/sh", ["/bin/sh", "-c"' in line)
    found = [re.sub(r"^\d+ +", "", line) for line in lines[began:]]
    assert [line for line in found if line.startswith("memfd_create(")], "a switch at work publishes its state"
    return found


def test_the_filter_allows_every_system_call_that_is_made(installed, trace):
    made = {found[1] for line in trace if (found := re.match(r"(\w+)\(", line))}
    allowed = allowed_calls(units.installed_unit(installed, "switchd@traced.service"))
    assert not {"mount", "chroot", "ptrace", "init_module"} & allowed, "it refuses what a switch has no business with"
    assert made <= allowed | {"execve"}, made - allowed


def test_the_sandbox_allows_what_is_done_with_memory_sockets_and_files(trace):
    executable = [line for line in trace if re.match(r"mprotect\(.*PROT_EXEC|mmap\(.*PROT_WRITE\|PROT_EXEC", line)]
    assert not executable, "MemoryDenyWriteExecute"
    families = {found[1] for line in trace if (found := re.match(r"socket(?:pair)?\((\w+)", line))}
    assert families == {"AF_UNIX"}, "RestrictAddressFamilies"
    # ProtectSystem leaves the two directories; the machine's null device is there in any sandbox.
    written = {found[1] for line in trace
               if (found := re.match(r'openat\(AT_FDCWD, "([^"]+)", [^)]*(?:O_WRONLY|O_RDWR|O_CREAT)', line))}
    own = {name for name in written if name.startswith(("/run/switchd-traced/", "/var/lib/switchd-traced/"))}
    assert own and written - own <= {"/dev/null"}, written - own
