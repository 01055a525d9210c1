"""A small Debian machine: a root file system made once from the host's own package sources, copied for each test
module, and programs run in it with processes, mounts and a network of their own. Procedures over a plain record."""
import glob
import hashlib
import os
import shlex
import shutil
import subprocess
import tempfile
from dataclasses import dataclass, field

SOURCE = os.path.realpath(os.path.join(os.path.dirname(__file__), "..", ".."))
WORK = os.path.join(SOURCE, "build", "package-test")
PACKAGES = os.path.join(SOURCE, "build", "packages")

# The agent and its tools as Debian has them, and what our packages depend on, so that to install them takes no network.
INCLUDED = "snmpd,snmp,snmptrapd,adduser,libevent-core-2.1-7,libgcc-s1,libsqlite3-0,libstdc++6,libsystemd0"
RELEASE = "bookworm"

DEVICES = ("null", "zero", "random", "urandom")

LONGEST_SECONDS = 600  # that a machine runs, whatever happens to the test


@dataclass
class Machine:
    root: str
    holder: subprocess.Popen  # the first process of the machine; all others end with it
    inside: int               # its number here
    services: dict = field(default_factory=dict)  # by unit: a record of units.py


def sources_of_host():
    """The host's own package sources of that release, as files."""
    files = sorted(["/etc/apt/sources.list", *glob.glob("/etc/apt/sources.list.d/*.list"),
                    *glob.glob("/etc/apt/sources.list.d/*.sources")])
    found = []
    for name in filter(os.path.exists, files):
        with open(name, encoding="utf-8") as text:
            if RELEASE in text.read():
                found.append(name)
    assert found, "the host has no package sources of " + RELEASE
    return found


def root_archive():
    """The path of the archive with the root file system; makes it when there is none of this list of packages."""
    name = os.path.join(WORK, "root-" + hashlib.sha256(INCLUDED.encode()).hexdigest()[:12] + ".tar")
    if not os.path.exists(name):
        os.makedirs(WORK, exist_ok=True)
        log = os.path.join(WORK, "root.log")
        with open(log, "w", encoding="utf-8") as out:
            made = subprocess.run(["mmdebstrap", "--variant=minbase", "--format=tar", "--include=" + INCLUDED,
                                   "--skip=output/dev", RELEASE, name + ".new", *sources_of_host()],
                                  stdout=out, stderr=out, timeout=LONGEST_SECONDS, check=False)
        assert made.returncode == 0, "mmdebstrap failed; its last words are in " + log
        os.rename(name + ".new", name)
    return name


def furnish(root):
    """What every machine has and a bare root file system has not."""
    os.chmod(root, 0o755)
    with open(os.path.join(root, "etc/hosts"), "w", encoding="utf-8") as hosts:
        hosts.write("127.0.0.1 localhost\n")
    # Maintainer scripts start no services; the tests do.
    policy = os.path.join(root, "usr/sbin/policy-rc.d")
    with open(policy, "w", encoding="utf-8") as out:
        out.write("#!/bin/sh\nexit 101\n")
    os.chmod(policy, 0o755)
    os.makedirs(os.path.join(root, "dev"), exist_ok=True)
    os.symlink("/proc/self/fd", os.path.join(root, "dev/fd"))
    for device in DEVICES:
        with open(os.path.join(root, "dev", device), "w", encoding="utf-8"):
            pass  # what the host's is mounted on


def begin(root):
    """Starts the first process, which has namespaces of its own. Returns it, and the number that it has here."""
    script = (f"mount --make-rprivate / && mount -t proc proc {root}/proc && "
              f"for d in {' '.join(DEVICES)}; do mount --bind /dev/$d {root}/dev/$d || exit 1; done && "
              f"ip link set lo up && echo ready && exec sleep {LONGEST_SECONDS}")
    apart = ["unshare", "--mount", "--pid", "--net", "--fork", "--kill-child=KILL"]
    holder = subprocess.Popen([*apart, "sh", "-c", script], stdout=subprocess.PIPE, text=True)
    if holder.stdout.readline() != "ready\n":
        holder.kill()
        raise AssertionError("the machine's namespaces could not be made")
    with open(f"/proc/{holder.pid}/task/{holder.pid}/children", encoding="utf-8") as children:
        return holder, int(children.read().split()[0])


def start():
    """Returns a running machine with nothing of ours on it. To be ended with `stop`."""
    archive = root_archive()
    root = tempfile.mkdtemp(prefix="m-", dir=WORK)
    try:
        subprocess.run(["tar", "-xf", archive, "-C", root], check=True, timeout=120)
        furnish(root)
        holder, inside = begin(root)
        return Machine(root, holder, inside)
    except BaseException:
        shutil.rmtree(root)
        raise


def stop(machine):
    """Ends all that runs on the machine, and removes it."""
    machine.holder.kill()  # its child, the machine's first process, is killed with it, and so all others
    machine.holder.wait(timeout=30)
    machine.holder.stdout.close()
    for service in machine.services.values():
        service.process.wait(timeout=30)
        service.notified.close()
    shutil.rmtree(machine.root)


def entering(machine, argv):
    """The command line, for the host, that runs `argv` on the machine."""
    return ["nsenter", f"--target={machine.inside}", "--mount", "--pid", "--net", "--", "chroot", machine.root, *argv]


ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C", "HOME": "/root",
               "DEBIAN_FRONTEND": "noninteractive"}


def run(machine, command, check=True, directory="/", user=None):
    """Runs a line of shell. Returns what it printed, errors last; with `check`, it must succeed."""
    argv = ["sh", "-c", f"cd {shlex.quote(directory)} && {command}"]
    if user is not None:
        argv = ["setpriv", "--reuid", user, "--regid", user, "--init-groups", *argv]
    done = subprocess.run(entering(machine, argv), env=ENVIRONMENT, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, timeout=120, check=False)
    text = done.stdout + done.stderr
    assert not check or done.returncode == 0, f"{command}: exit status {done.returncode}\n{text}"
    return text


def path(machine, name):
    """The host's name for a path of the machine."""
    return os.path.join(machine.root, name.lstrip("/"))


# What differs whatever is installed: the package manager's own state, logs, and backups of the lists of users.
MOVING = ("/proc", "/dev", "/root", "/tmp", "/var/cache", "/var/log", "/var/lib/dpkg", "/var/lib/apt",
          "/etc/passwd-", "/etc/group-", "/etc/shadow-", "/etc/gshadow-")


def files(machine):
    """All paths of the machine but MOVING, as lines: mode, owner, group, name. And users, groups and packages."""
    skipped = " -o ".join(f"-path {name}" for name in MOVING)
    listed = run(machine, f"find / -xdev \\( {skipped} \\) -prune -o -printf '%m %u %g %p\\n' | sort")
    named = run(machine, "sort /etc/passwd /etc/group; dpkg-query -W -f '${Package} ${db:Status-Status}\\n'")
    return listed.splitlines() + named.splitlines()


def bring_packages(machine, folder_here):
    """Puts the two packages of a folder of the host into the machine's /root/packages, which is emptied first."""
    folder = path(machine, "/root/packages")
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    for name in sorted(os.listdir(folder_here)):
        if name.endswith(".deb") and name.split("_")[0] in ("switchd", "snmpd-mod-vsan"):
            shutil.copy(os.path.join(folder_here, name), folder)
