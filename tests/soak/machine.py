"""The processes of one soak: a switch, an agent and load programs, in a directory of their own on loopback."""

import contextlib
import os
import pathlib
import random
import shutil
import signal
import socket
import sqlite3
import subprocess
import tempfile
import threading
import time

PORTS = (20000, 32000)
INTERFACES = 5
TARGETS = (5, 10, 20, 30, 40, 50, 60, 70)  # VSANs that interfaces are moved to, as in write_load.cpp
AGENT_CONF = """\
com2sec reader default public
com2sec writer default private
group readers v2c reader
group writers v2c writer
view all included .1
access readers "" any noauth exact all none none
access writers "" any noauth exact all all all
trap2sink 127.0.0.1:{traps} public
dlmod switch_agent {lib}/libswitchagent.so
switchRunDir {dir}/run
dlmod vsan_mib {lib}/libvsanmib.so
dlmod switch_interfaces {lib}/libswitchinterfaces.so
"""


def now_us():
    return time.monotonic_ns() // 1000


def topology():
    lines = ['[[vsan]]\nid = 1\nname = "default"\n']
    lines += [f'[[vsan]]\nid = {vsan}\nname = "v{vsan}"\n' for vsan in (*TARGETS, 81, 82)]
    for number in range(INTERFACES):
        index = 16777216 + 4096 * number
        lines.append(f'[[interface]]\nname = "fc1/{number + 1}"\nindex = {index}\nvsan = 1\nup = true\n')
    return "".join(lines)


def free_udp_port():
    for _ in range(100):
        port = random.SystemRandom().randrange(*PORTS)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as tried, contextlib.suppress(OSError):
            tried.bind(("127.0.0.1", port))
            return port
    raise RuntimeError(f"no port from {PORTS[0]} to {PORTS[1]} is free")


class Machine:
    """Used as a context: nothing that it started or made is left behind."""

    def __init__(self, build, preload, keep_in=None):
        self.lib, self.bin = build / "lib", build / "bin"
        self.preload = preload
        self.keep_in = keep_in
        self.dir = pathlib.Path(tempfile.mkdtemp(prefix="soak."))
        for name in ("run", "agent"):
            (self.dir / name).mkdir()
        self.port, self.trap_port = free_udp_port(), free_udp_port()
        self.switchd = self.agent = None
        self.loads = {}
        self.readers = []
        (self.dir / "topology.toml").write_text(topology())
        (self.dir / "snmpd.conf").write_text(AGENT_CONF.format(traps=self.trap_port, lib=self.lib, dir=self.dir))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in (*self.loads.values(), self.agent, self.switchd):
            if process is not None and process.poll() is None:
                process.send_signal(signal.SIGCONT)
                process.kill()
                process.wait(20)
        for reader in self.readers:
            reader.join(20)
        if self.keep_in is not None:
            for name in ("switchd.log", "agent.log", "agent.out"):
                with contextlib.suppress(OSError):
                    shutil.copy(self.dir / name, self.keep_in / name)
        shutil.rmtree(self.dir, ignore_errors=True)

    def _start(self, command, log, **more):
        environment = dict(os.environ, MIBS="", **more)
        environment["PATH"] += ":/usr/sbin:/sbin"
        with open(self.dir / log, "ab") as out:
            return subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *map(str, command)], stdin=subprocess.DEVNULL,
                                    stdout=out, stderr=out, env=environment)  # fmt: skip

    def start_switchd(self):
        self.switchd = self._start([self.bin / "switchd", "--run-dir", self.dir / "run", "--state", self.store(),
                                    "--topology", self.dir / "topology.toml"], "switchd.log")  # fmt: skip

    def start_agent(self):
        more = {}
        if self.preload:
            more = {"LD_PRELOAD": self.preload, "UBSAN_OPTIONS": "print_stacktrace=1:halt_on_error=1",
                    "ASAN_OPTIONS": "detect_leaks=0:abort_on_error=1:quarantine_size_mb=8"}  # fmt: skip
        off = "smux,interface,ifTable,ifXTable,system_mib"
        self.agent = self._start(["snmpd", "-f", "-C", "-c", self.dir / "snmpd.conf", "-I", "-" + off,
                                  f"--persistentDir={self.dir / 'agent'}", "-Lf", self.dir / "agent.log",
                                  f"udp:127.0.0.1:{self.port}"], "agent.out", **more)  # fmt: skip

    def start_load(self, name, words, take):
        """Starts a load program; `take` is called with each line, from a thread of its own."""
        process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", str(self.bin / "soak_load"), *map(str, words)],
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)  # fmt: skip
        self.loads[name] = process
        reader = threading.Thread(target=lambda: [take(line) for line in process.stdout], daemon=True)
        reader.start()
        self.readers.append(reader)

    def tell(self, words, *names):
        """A line to the load programs of these names, to all when none is given."""
        for name, process in self.loads.items():
            if not names or name in names:
                with contextlib.suppress(BrokenPipeError):
                    process.stdin.write(words + "\n")
                    process.stdin.flush()

    def end_loads(self):
        """Ends the load programs; returns the names of those that failed, and with what."""
        for process in self.loads.values():
            process.stdin.close()
        for process in self.loads.values():
            process.wait(60)
        for reader in self.readers:
            reader.join(20)
        return {name: process.returncode for name, process in self.loads.items() if process.returncode != 0}

    def ctl(self, *words):
        """vsanctl: (exit status, what it printed)."""
        done = subprocess.run([str(self.bin / "vsanctl"), "--run-dir", str(self.dir / "run"), *map(str, words)],
                              capture_output=True, text=True, timeout=60)  # fmt: skip
        return done.returncode, done.stdout + done.stderr

    def store(self):
        return self.dir / "switch.db"

    def store_bytes(self):
        files = (self.dir / name for name in ("switch.db", "switch.db-wal"))
        return sum(file.stat().st_size for file in files if file.exists())

    def check_store(self):
        """SQLite's own check of a copy, while no switchd runs: "ok", or what is wrong."""
        copy = self.dir / "copy.db"
        for end in ("", "-wal"):
            with contextlib.suppress(FileNotFoundError):
                shutil.copyfile(f"{self.store()}{end}", f"{copy}{end}")
        try:
            with contextlib.closing(sqlite3.connect(copy)) as opened:
                return opened.execute("PRAGMA integrity_check").fetchone()[0]
        except sqlite3.Error as problem:
            return str(problem)
        finally:
            for end in ("", "-wal", "-shm"):
                pathlib.Path(f"{copy}{end}").unlink(missing_ok=True)


def resident_kib(pid):
    with contextlib.suppress(OSError):
        for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return 0


def descriptors(pid):
    with contextlib.suppress(OSError):
        return len(os.listdir(f"/proc/{pid}/fd"))
    return 0
