"""Histories of a fabric that keeps its promises, made up: switches and an etcd of a few lines, in a time of their own.

They have what real ones have: sessions on competing switches, commits whose answer got lost, switches that are away
and pass commits over, reads at any time, quiet points.
"""

import json
import random

from checker import record_name
from history import HELD_ELSEWHERE, LOCK, OUTCOME_UNKNOWN, SECOND, SWITCHES, VALUES, in_force

CELLS = ("0/7", "0/9", "10/7", "10/8", "20/7", "20/9")
FIRST = {"0/7": 2000, "0/9": 5000, "10/7": 2000, "10/8": 10000, "20/7": 2000, "20/9": 5000}
PREFIX = "/switch/made-up/"


class Model:
    def __init__(self, seed, switches=4):
        self.random = random.Random(seed)
        self.wwns = {f"s{n}": f"20:00:00:00:00:00:00:0{n}" for n in range(1, switches + 1)}
        self.now, self.revision, self.number, self.next_value = SECOND, 1, 0, 1000
        self.lines = [{"is": "run", "switches": self.wwns, "refusal_us": 4 * SECOND,
                       "first": FIRST}]  # fmt: skip
        self.timers, self.lock, self.sessions, self.quiets = {}, None, 0, 0
        self.versions = {}
        self.applied = {name: 0 for name in self.wwns}  # commit
        self.away = set()
        self.states = {0: {}}  # commit -> timers
        self.revisions = {0: 0}

    def step(self, most=20_000):
        self.now += self.random.randrange(100, most)
        return self.now

    def etcd(self, changes):
        """One transaction."""
        self.revision += 1
        for name, value in changes.items():
            self.versions[name] = 0 if value is None else self.versions.get(name, 0) + 1
            self.lines.append({"is": "etcd", "revision": self.revision, "key": PREFIX + name,
                               "value": json.loads(json.dumps(value)), "version": self.versions[name]})  # fmt: skip

    def op(self, do, switch, exit_code=0, status=0, text="", middle=None, **more):
        """An operation; `middle` is what happens between its call and its answer."""
        line = {"is": "op", "do": do, "switch": switch, "invoke": self.step(), **more}
        if middle is not None:
            middle()
        line |= {"return": self.step(), "exit": exit_code, "status": status, "text": text}
        self.lines.append(line)

    def set(self, switch, session):
        cell, self.next_value = self.random.choice(CELLS), self.next_value + 1
        vsan, key = map(int, cell.split("/"))
        if session is None:
            self.op("set", switch, 1, HELD_ELSEWHERE, f"held by {self.lock['switch']}", vsan=vsan, key=key,
                    value=self.next_value)  # fmt: skip
        else:
            self.op("set", switch, vsan=vsan, key=key, value=self.next_value, middle=lambda: self.open(switch, session))
            session["pending"][cell] = self.next_value

    def open(self, switch, session):
        if self.lock is None:
            self.lock = {"wwn": self.wwns[switch], "switch": switch, "user": "root", "session": session["name"]}
            self.etcd({LOCK: self.lock})
            self.lines.append({"is": "session", "what": "opened", "switch": switch, "session": session["name"],
                               "revision": self.revision, "seen": self.step()})  # fmt: skip

    def commit(self, switch, session, answered=True):
        changed = [[*map(int, cell.split("/")), value] for cell, value in sorted(session["pending"].items())]

        def write():
            self.number += 1
            self.timers |= session["pending"]
            said = {"commit": self.number, "wwn": self.wwns[switch], "switch": switch, "user": "root",
                    "session": session["name"], "at": self.now}  # fmt: skip
            timers = [[*map(int, cell.split("/")), value] for cell, value in sorted(self.timers.items())]
            self.etcd({VALUES: said | {"timers": timers}, record_name(self.number): said | {"changed": changed},
                       LOCK: None})  # fmt: skip
            self.lock = None
            self.states[self.number], self.revisions[self.number] = dict(self.timers), self.revision
            for name in self.random.sample(sorted(self.wwns), len(self.wwns)):
                self.apply(name)

        self.op("commit", switch, *((0, 0) if answered else (1, OUTCOME_UNKNOWN)), middle=write)

    def apply(self, name):
        if name in self.away or self.applied[name] == self.number:
            return
        value = next(line["value"] for line in reversed(self.lines) if line.get("key") == PREFIX + VALUES)
        self.applied[name] = self.number
        self.lines.append({"is": "applied", "switch": name, "commit": self.number, "of": value["switch"],
                           "revision": self.revisions[self.number], "session": value["session"],
                           "seen": self.step(200)})  # fmt: skip
        self.etcd({SWITCHES + self.wwns[name]: {"name": name, "revision": self.revisions[self.number],
                                                "commit": self.number}})  # fmt: skip

    def read(self, name, **more):
        timers = [[*map(int, cell.split("/")), value] for cell, value in self.states[self.applied[name]].items()]
        self.lines.append({"is": "read", "switch": name, "invoke": self.step(), "timers": in_force(timers, FIRST),
                           "revision": self.revisions[self.applied[name]], "return": self.step(), **more})  # fmt: skip

    def session(self):
        here = [name for name in self.wwns if name not in self.away]
        switch = self.random.choice(here)
        self.sessions += 1
        session = {"name": f"x{self.sessions}", "pending": {}}
        for _ in range(self.random.randrange(1, 4)):
            self.set(switch, session)
            if self.random.random() < 0.1:
                self.etcd({LOCK: self.lock})  # its holder writes it again
            if self.random.random() < 0.5:
                self.set(self.random.choice([name for name in self.wwns if name != switch]), None)
        how = self.random.random()
        if how < 0.15:
            self.op("abort", switch, middle=lambda: self.etcd({LOCK: None}))
            self.lock = None
        else:
            self.commit(switch, session, answered=how < 0.9)

    def leave(self):
        name = self.random.choice(sorted(self.wwns))
        begin = self.step()
        self.away.add(name)
        for _ in range(self.random.randrange(1, 4)):
            self.session()
        self.away.discard(name)
        self.lines.append({"is": "disturb", "what": "kill", "who": name, "begin": begin, "end": self.step()})
        self.apply(name)

    def quiet(self):
        begin = self.step()
        self.quiets += 1
        for name in self.wwns:
            self.read(name, quiet=self.quiets)
        self.lines.append({"is": "quiet", "number": self.quiets, "begin": begin, "end": self.step(),
                           "revision": self.revision, "bound_us": 5 * SECOND})  # fmt: skip

    def run(self, rounds=30):
        for number in range(1, rounds + 1):
            self.leave() if number % 7 == 0 else self.session()
            self.now += 3 * SECOND if self.random.random() < 0.2 else 0
            for name in self.random.sample(sorted(self.wwns), 2):
                self.read(name)
            if number % 10 == 0:
                self.quiet()
        self.lines.append({"is": "drained", "revision": self.revision})
        return self.lines


def sound(seed, rounds=30):
    return Model(seed).run(rounds)
