"""Switches of one fabric on loopback, each a switchd with a directory of its own, and vsanctl for them."""

import contextlib
import json
import os
import pathlib
import sqlite3
import subprocess
import time

import cluster

VSANS = (10, 20, 30, 40)
TIMERS = {"e_d_tov": (7, 1000, 4000), "r_a_tov": (8, 5000, 10000), "d_s_tov": (9, 5000, 10000),
          "f_s_tov": (10, 5000, 10000)}  # fmt: skip
FABRIC = "rounds"
PATIENCE = 30  # seconds of one vsanctl, at most


def topology(name, wwn, more=""):
    lines = [f'[switch]\nname = "{name}"\nwwn = "{wwn}"\n[distribution]\nenabled = true\n{more}\n']
    lines += [f'[[vsan]]\nid = {vsan}\nname = "v{vsan}"\n' for vsan in VSANS]
    return "".join(lines)


def wwn_of(number):
    return f"20:00:02:5a:10:3d:{number >> 8:02x}:{number & 255:02x}"


class Switch:
    def __init__(self, directory, build, number, endpoints, preload="", options=(), more=""):
        self.name, self.wwn = f"s{number}", wwn_of(number)
        self.dir, self.bin = directory / self.name, build / "bin"
        self.endpoints, self.options = endpoints, options
        self.process, self.outside_fabric = None, False
        (self.dir / "run").mkdir(parents=True)
        (self.dir / "topology.toml").write_text(topology(self.name, self.wwn, more))
        self.log, self.clock = self.dir / "switchd.log", self.dir / "clock"
        self.preload = preload
        self.step_clock(0)

    def start(self):
        environment = {}
        if self.preload:
            environment = {"LD_PRELOAD": self.preload, "STEPPED_CLOCK": str(self.clock)}
        fabric = [] if self.outside_fabric else ["--fabric", FABRIC, "--fabric-endpoints", ",".join(self.endpoints)]
        self.process = cluster.start_process(
            [self.bin / "switchd", "--run-dir", self.dir / "run", "--state", self.dir / "switch.db",
             "--topology", self.dir / "topology.toml", *fabric, *self.options], self.log, **environment)  # fmt: skip

    def step_clock(self, seconds):
        """The wall clock of this switch, beside the machine's. The file is never empty."""
        fresh = self.clock.with_suffix(".new")
        fresh.write_text(f"{seconds}\n")
        os.replace(fresh, self.clock)

    def command(self, *words):
        return [str(self.bin / "vsanctl"), "--run-dir", str(self.dir / "run"), "--json", *map(str, words)]

    def ctl(self, *words):
        """vsanctl: (exit code, what it showed, status, text of the error)."""
        return answer_of(subprocess.Popen(self.command(*words), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                          text=True))  # fmt: skip

    def show(self, *words):
        """What vsanctl shows; None when the switch does not say."""
        code, shown, _, _ = self.ctl("show", *words)
        return shown if code == 0 else None

    def timers(self):
        """{"VSAN/key": value} of what is in force; None when the switch does not say."""
        shown = self.show("timers")
        if shown is None:
            return None
        return {f"{row['vsan']}/{key}": row[word] for row in shown["timers"] for word, (key, _, _) in TIMERS.items()}

    def applied_revision(self):
        """Of the last commit that is in its store; None when the store cannot be read."""
        try:
            with contextlib.closing(sqlite3.connect(f"file:{self.dir}/switch.db?mode=ro", uri=True)) as opened:
                found = opened.execute("SELECT value FROM setting WHERE name = 'fabric_revision'").fetchone()
        except sqlite3.Error:
            return None
        return int(found[0]) if found else 0

    def await_state(self, wanted, seconds=20):
        end, shown = time.monotonic() + seconds, None
        while time.monotonic() < end and self.process.poll() is None:
            shown = self.show("fabric")
            if shown is not None and shown["state"] == wanted:
                return shown
            time.sleep(0.03)
        tail = self.log.read_text(errors="replace")[-2000:]
        raise RuntimeError(f"{self.name} is not {wanted} but {shown}\n{tail}")


def answer_of(process):
    try:
        out, err = process.communicate(timeout=PATIENCE)
    except subprocess.TimeoutExpired:
        process.kill()
        process.communicate()
        return None, None, 0, "no answer"
    status, text = 0, err.strip()
    for line in err.splitlines():
        if line.startswith('{"error"'):
            error = json.loads(line)["error"]
            status, text = error["status"], error["text"]
    return process.returncode, parsed(out), status, text


def parsed(text):
    try:
        return json.loads(text)
    except ValueError:
        return None


def preload_of(build, sanitizer):
    """LD_PRELOAD of the clock that is stepped; a sanitizer's runtime is in front."""
    return ":".join(filter(None, (sanitizer, str(pathlib.Path(build).resolve() / "lib" / "libstepped_clock.so"))))
