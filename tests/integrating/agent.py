"""A stock snmpd with a platform and the module, on a free loopback port, and what asks it."""
import contextlib
import os
import random
import re
import socket
import subprocess
import time

ROOT = ".1.3.6.1.4.1.32473.9.282"
SYS_DESCR = ".1.3.6.1.2.1.1.1.0"


def free_port():
    """Below the ports that the kernel gives to clients: it is free still when a daemon asks for it."""
    for _ in range(100):
        port = random.SystemRandom().randrange(20000, 32000)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as tried, contextlib.suppress(OSError):
            tried.bind(("127.0.0.1", port))
            return port
    raise RuntimeError("no UDP port from 20000 to 32000 is free")


class Agent:
    """Starts with entering, is ended with leaving. `preload` is loaded before it, bound as calls come."""

    def __init__(self, folder, platform, module, preload=(), words=(), traps_to=9, module_first=False):
        self.folder, self.port, self.words, self.preload = folder, free_port(), list(words), list(preload)
        os.makedirs(folder, exist_ok=True)
        self.log_file = os.path.join(folder, "snmpd.log")
        self.configuration = os.path.join(folder, "snmpd.conf")
        with open(self.configuration, "w", encoding="utf-8") as text:
            lines = [f"dlmod second_platform {platform}\n", f"dlmod vsan_mib {module}\n"]
            text.write(f"rocommunity public\nrwcommunity private\ntrap2sink 127.0.0.1:{traps_to} public\n"
                       + "".join(reversed(lines) if module_first else lines))

    def __enter__(self):
        environment = {**os.environ, "MIBS": "", "LD_PRELOAD": ":".join(self.preload)}
        environment.pop("LD_BIND_NOW", None)
        with open(self.log_file, "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(
                ["snmpd", "-f", "-Lo", *self.words, "-C", "-c", self.configuration, "--persistentDir=" + self.folder,
                 f"udp:127.0.0.1:{self.port}"], stdout=log, stderr=log, stdin=subprocess.DEVNULL, env=environment)
        for _ in range(100):
            if not self.is_running() or self.ask("get", SYS_DESCR, timeout="0.2").startswith(SYS_DESCR):
                break
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        """Its exit status; that of a process that had ended by itself, too."""
        self.process.terminate()
        try:
            return self.process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait(timeout=10)

    def is_running(self):
        return self.process.poll() is None

    def outlives_its_alarms(self):
        """Whether it is there after what was due within milliseconds: alarms run behind a request that came later."""
        for _ in range(2):
            time.sleep(0.01)
            if not self.ask("get", SYS_DESCR, timeout="5").startswith(SYS_DESCR):
                return False
        return self.is_running()

    def log(self):
        with open(self.log_file, encoding="utf-8", errors="replace") as text:
            return text.read()

    def ask(self, what, *words, community="private", timeout="5"):
        """What the tool prints. It is not waited for long once the agent has ended: what was answered is on its way."""
        asking = subprocess.Popen([f"snmp{what}", "-v2c", "-c", community, "-On", "-t", timeout, "-r", "0",
                                   f"127.0.0.1:{self.port}", *words], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  env={**os.environ, "MIBS": ""}, text=True)
        for _ in range(1200):
            try:
                return asking.communicate(timeout=0.05 if self.is_running() else 0.5)[0]
            except subprocess.TimeoutExpired:
                if not self.is_running():
                    break
        asking.kill()
        return asking.communicate()[0] + "Timeout: ended by the test\n"


class Traps:
    """snmptrapd on a free port, and what it was sent, a trap a line."""

    def __init__(self, folder):
        self.folder, self.port = folder, free_port()
        os.makedirs(folder, exist_ok=True)
        self.log_file = os.path.join(folder, "traps.log")

    def __enter__(self):
        configuration = os.path.join(self.folder, "snmptrapd.conf")
        with open(configuration, "w", encoding="utf-8") as text:
            text.write("disableAuthorization yes\n")
        with open(self.log_file, "w", encoding="utf-8"):
            pass
        self.process = subprocess.Popen(
            ["snmptrapd", "-f", "-n", "-On", "-C", "-c", configuration, "--persistentDir=" + self.folder, "-Lf",
             self.log_file, f"udp:127.0.0.1:{self.port}"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, env={**os.environ, "MIBS": ""})
        assert self.wait_for("NET-SNMP version"), self.log()
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait(timeout=10)

    def log(self):
        with open(self.log_file, encoding="utf-8", errors="replace") as text:
            return text.read()

    def wait_for(self, pattern):
        for _ in range(100):
            if re.search(pattern, self.log()):
                return True
            time.sleep(0.1)
        return False
