"""Reads systemd's units and runs them without systemd, as their lines say: user, group, directories, notification."""
import os
import re
import shlex
import signal
import socket
import struct
import subprocess
import time
from dataclasses import dataclass

import machine as machines

WAIT_SECONDS = 15


@dataclass
class Service:
    process: subprocess.Popen
    pid: int          # of the service itself, as the host counts
    notified: socket.socket
    log: str          # path of what it printed


def read_unit(text):
    """The unit's lines as {section: {key: [values]}}, in their order; lines that go on are joined."""
    unit, section = {}, None
    for line in re.sub(r"\\\n", " ", text).splitlines():
        if line.startswith("["):
            section = unit.setdefault(line.strip("[]"), {})
        elif line and line[0] not in "#;":
            key, value = line.split("=", 1)
            section.setdefault(key, []).append(value)
    return unit


def installed_unit(machine, name):
    """The unit of that name on the machine, with %i replaced where it is an instance of a template."""
    match = re.fullmatch(r"(?:(\w+)@)?([\w-]+)\.service", name)
    file = f"{match[1]}@.service" if match[1] else name
    with open(machines.path(machine, "/lib/systemd/system/" + file), encoding="utf-8") as text:
        return read_unit(text.read().replace("%i", match[2]))


def only(unit, key, default=None):
    values = unit["Service"].get(key, [default])
    assert len(values) == 1, f"{key} is said {len(values)} times"
    return values[0]


def command_of(unit):
    """The words of ExecStart as systemd would pass them."""
    return [word.replace("$$", "$") for word in shlex.split(only(unit, "ExecStart"))]


def make_directories(machine, unit):
    owner = f"{only(unit, 'User', 'root')}:{only(unit, 'Group', 'root')}"
    for key, parent in (("RuntimeDirectory", "/run"), ("StateDirectory", "/var/lib")):
        if key in unit["Service"]:
            mode = only(unit, key + "Mode", "0755")
            where = f"{parent}/{only(unit, key)}"
            machines.run(machine, f"mkdir -p {where} && chown {owner} {where} && chmod {mode} {where}")


def as_its_user(unit):
    user, group = only(unit, "User"), only(unit, "Group")
    if user is None:
        return []
    words = ["setpriv", "--reuid", user, "--regid", group, "--clear-groups"]
    if unit["Service"].get("NoNewPrivileges") == ["yes"]:
        words.append("--no-new-privs")
    if unit["Service"].get("CapabilityBoundingSet") == [""]:
        words += ["--inh-caps=-all", "--bounding-set=-all"]
    return words


def next_state(service, seconds=WAIT_SECONDS):
    """The next text that the service notifies its manager of, and the process that sent it."""
    service.notified.settimeout(seconds)
    text, extra, _, _ = service.notified.recvmsg(4096, socket.CMSG_SPACE(12))
    pid = struct.unpack("iII", extra[0][2])[0]
    return text.decode(), pid


def wait_for_state(service, wanted):
    """Waits until the service sends that state. Returns the process that did."""
    end = time.monotonic() + WAIT_SECONDS
    while time.monotonic() < end:
        try:
            text, pid = next_state(service, max(0.1, end - time.monotonic()))
        except TimeoutError:
            break
        if wanted in text.split("\n"):
            return pid
    raise AssertionError(f"no {wanted}; it said: " + log_of(service))


def start(machine, name, watchdog_seconds=None, prefix=()):
    """Starts the unit and waits until it is ready. `prefix` goes in front of the host's command."""
    unit = installed_unit(machine, name)
    make_directories(machine, unit)
    where = "/run/notify-" + name
    notified = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    notified.setsockopt(socket.SOL_SOCKET, socket.SO_PASSCRED, 1)
    # The whole path may be longer than a socket's name.
    folder = os.open(machines.path(machine, "/run"), os.O_DIRECTORY)
    notified.bind(f"/proc/self/fd/{folder}/notify-{name}")
    os.close(folder)
    os.chmod(machines.path(machine, where), 0o777)
    environment = dict(machines.ENVIRONMENT, NOTIFY_SOCKET=where)
    if watchdog_seconds is not None:
        environment["WATCHDOG_USEC"] = str(int(watchdog_seconds * 1e6))
    log = os.path.join(machine.root, "root", name + ".log")
    with open(log, "w", encoding="utf-8") as out:
        masked = ["sh", "-c", "umask " + only(unit, "UMask", "0022") + '; exec "$@"', "sh"]
        words = masked + as_its_user(unit) + command_of(unit)
        process = subprocess.Popen([*prefix, *machines.entering(machine, words)], env=environment, cwd="/",
                                   stdin=subprocess.DEVNULL, stdout=out, stderr=out)
    service = Service(process, 0, notified, log)
    machine.services[name] = service
    service.pid = wait_for_state(service, "READY=1")
    return service


def stop(machine, name):
    """Ends the unit as systemd does, and removes its run directory. Returns its exit status."""
    service = machine.services.pop(name)
    os.kill(service.pid, signal.SIGTERM)
    status = service.process.wait(timeout=WAIT_SECONDS)
    service.notified.close()
    os.unlink(machines.path(machine, "/run/notify-" + name))
    unit = installed_unit(machine, name)
    if "RuntimeDirectory" in unit["Service"]:
        machines.run(machine, "rm -rf /run/" + only(unit, "RuntimeDirectory"))
    return status


def log_of(service):
    with open(service.log, encoding="utf-8", errors="replace") as text:
        return text.read()


def wait_for_log(service, wanted):
    end = time.monotonic() + WAIT_SECONDS
    while wanted not in log_of(service):
        assert time.monotonic() < end, f"{wanted!r} is not in: " + log_of(service)
        time.sleep(0.05)
