#!/usr/bin/env python3
"""Rounds of a fabric: switches of one etcd, operators who compete, and what goes wrong; then the history is checked.

    rounds.py --rounds 1000 --build BUILD --out OUT [--seed N]

In a round some operators work at once, each on a switch: timers set, commits, aborts, sessions left open, lost ones
taken up again. In most rounds something is disturbed: switches and members of etcd are killed or stopped, wall clocks
stepped, etcd compacted. Now and then all is mended, and the switches must agree. OUT/history.jsonl is all that
the checker reads; history.py tells what is in it. One seed draws everything, as far as processes that run at once can
be repeated. Ends with 0 when every promise was kept.
"""

import argparse
import collections
import contextlib
import http.client
import json
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

import checker
import cluster
import history
import switches
from history import LOCK, SECOND, VALUES

PREFIX = f"/switch/{switches.FABRIC}/"
BOUND_US = 8 * SECOND  # from the last thing mended until all agree
SERVED_US = 20 * SECOND  # until a session can be opened and committed: a lock whose holder is gone ends after 10 s
REFUSAL_US = 4 * SECOND  # what a refusal may take: 3 s, and one for the machine
QUIET_EVERY = 25  # rounds
AT_ONCE = 2  # disturbances
SHOWN = 5  # problems of one promise
UNREACHED = (OSError, http.client.HTTPException, ValueError, KeyError, RuntimeError)
LOG_LINES = (
    ("opened", re.compile(r"fabric: session (?P<session>\S+) opened at revision (?P<revision>\d+)")),
    ("lost", re.compile(r"fabric: session (?P<session>\S+) lost: (?P<why>.*)")),
    ("back", re.compile(r"fabric: session (?P<session>\S+) given back(?:: (?P<why>.*))?")),
    ("applied", re.compile(r"fabric: applied commit (?P<commit>\d+) of (?P<of>\S+) at revision (?P<revision>\d+), "
                           r"session (?P<session>\S+)")),
)  # fmt: skip
NUMBERS = ("revision", "commit")


def now_us():
    return time.monotonic_ns() // 1000


class Recorder:
    """The history, written as it happens, by all threads."""

    def __init__(self, path):
        self.file = open(path, "w", encoding="utf-8")
        self.lock = threading.Lock()
        self.lines = []

    def write(self, **line):
        with self.lock:
            self.lines.append(line)
            self.file.write(json.dumps(line) + "\n")

    def close(self):
        with self.lock:
            self.file.close()


class LogReader:
    """Follows the logs of all switches and writes down what they say of the fabric, and when that was seen."""

    def __init__(self, there, record):
        self.there, self.record = there, record
        self.places = dict.fromkeys(there, 0)
        self.rests = dict.fromkeys(there, "")
        self.over = threading.Event()
        self.thread = threading.Thread(target=self.follow)

    def follow(self):
        while not self.over.wait(0.01):
            self.read_all()
        self.read_all()

    def read_all(self):
        for name, each in self.there.items():
            with open(each.log, "rb") as file:
                file.seek(self.places[name])
                fresh = file.read()
            if fresh:
                self.places[name] += len(fresh)
                text = self.rests[name] + fresh.decode(errors="replace")
                *whole, self.rests[name] = text.split("\n")
                for line in whole:
                    self.take(name, line)

    def take(self, name, line):
        for what, pattern in LOG_LINES:
            found = pattern.search(line)
            if found is not None:
                said = {key: int(value) if key in NUMBERS else value for key, value in found.groupdict().items()}
                kind = {"is": "applied"} if what == "applied" else {"is": "session", "what": what}
                self.record.write(**kind, switch=name, seen=now_us(), **said)


class Values:
    """What is to be set: no value twice for a timer of a VSAN, so that each tells which set it is of."""

    def __init__(self, drawn):
        self.random, self.left, self.lock = drawn, {}, threading.Lock()

    def draw(self):
        with self.lock:
            vsan = self.random.choice((0, *switches.VSANS))
            word = self.random.choice(sorted(switches.TIMERS))
            key, low, high = switches.TIMERS[word]
            if not self.left.get((vsan, key)):
                self.left[(vsan, key)] = self.random.sample(range(low, high), high - low)
            return vsan, word, key, self.left[(vsan, key)].pop()


class Conductor:
    def __init__(self, given, directory, seed):
        self.given, self.dir, self.random = given, directory, random.Random(seed)
        self.bound, self.served, self.refusal = (each * given.slowness for each in (BOUND_US, SERVED_US, REFUSAL_US))
        self.record = Recorder(given.out / "history.jsonl")
        self.etcd = cluster.Cluster(directory)
        preload = switches.preload_of(given.build, given.preload)
        build = given.build.resolve()
        self.there = {}
        for number in range(1, given.switches + 1):
            each = switches.Switch(directory, build, number, self.etcd.urls(number), preload)
            each.log.touch()
            self.there[each.name] = each
        self.names = list(self.there)
        self.values = Values(random.Random(seed + 1))
        self.reader = LogReader(self.there, self.record)
        self.busy = set()  # names of what is disturbed now
        self.busy_lock = threading.Lock()
        self.troubles = []  # threads
        self.failures = []
        self.drained, self.quiets, self.agreed_after = 0, 0, []
        self.counts = collections.Counter()

    def start(self):
        self.etcd.start_all()
        for each in self.there.values():
            each.start()
        for each in self.there.values():
            each.await_state("member")
        first = self.there["s1"].timers()
        self.record.write(**{"is": "run"}, switches={each.name: each.wwn for each in self.there.values()},
                          refusal_us=self.refusal, first=first, rounds=self.given.rounds)  # fmt: skip
        self.reader.thread.start()

    def end(self):
        if self.reader.thread.is_alive():
            self.reader.over.set()
            self.reader.thread.join(20)
        for each in self.there.values():
            cluster.end_process(each.process)
        self.record.close()

    # Operators.

    def operate(self, name, do, *words, process=None, **more):
        """One operation on a switch, written down whole."""
        invoke = now_us()
        if process is None:
            code, _, status, text = self.there[name].ctl(*words)
        else:
            code, _, status, text = process()
        line = {"is": "op", "do": do, "switch": name, **more, "invoke": invoke, "return": now_us(), "exit": code,
                "status": status, "text": text}  # fmt: skip
        self.record.write(**line)
        return history.outcome(line), status

    def set(self, name):
        vsan, word, key, value = self.values.draw()
        where = ("--vsan", vsan, "--force") if vsan else ()
        return self.operate(name, "set", "timer", "set", word, value, *where, vsan=vsan, key=key, value=value)

    def finish(self, name, do, drawn):
        """A commit or an abort; a session that was lost is taken up again, dropped, or left."""
        result, status = self.operate(name, do, "kdx", do)
        if status == history.SESSION_LOST:
            how = drawn.random()
            if how < 0.5:
                self.operate(name, "resume", "kdx", "resume")
                self.operate(name, "commit", "kdx", "commit")
            elif how < 0.8:
                self.operate(name, "abort", "kdx", "abort")
        return result

    def work(self, name, drawn):
        """One operator's session."""
        for _ in range(drawn.randrange(1, 4)):
            if drawn.random() < 0.2:
                time.sleep(drawn.uniform(0, 0.05))
            self.set(name)
        how = drawn.random()
        if how < 0.7:
            self.finish(name, "commit", drawn)
        elif how < 0.85:
            self.finish(name, "abort", drawn)
        elif how < 0.93:
            self.commit_and_kill(name, drawn)

    def commit_and_kill(self, name, drawn):
        """The switch dies in the middle of its commit, or just before or behind it."""
        if not self.take_busy(name):
            return
        each, begin = self.there[name], now_us()

        def process():
            started = subprocess.Popen(each.command("kdx", "commit"), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                       text=True)  # fmt: skip
            time.sleep(drawn.uniform(0, 0.015))
            each.process.kill()
            return switches.answer_of(started)

        self.operate(name, "commit", process=process)
        self.revive(name, drawn.choice((0, 0.05, 0.3)))
        self.disturbed("kill in a commit", [name], begin)

    def look(self, name, quiet=None):
        """What a switch shows, if nothing was applied in between: a look is many questions. The store says up to which
        revision it has applied; nobody else would while etcd is away."""
        each = self.there[name]
        for _ in range(5):
            invoke, before, timers = now_us(), each.applied_revision(), each.timers()
            after = each.applied_revision()
            if None in (before, timers, after):
                return
            if before == after:
                more = {} if quiet is None else {"quiet": quiet}
                self.record.write(**{"is": "read"}, switch=name, invoke=invoke, timers=timers, revision=after,
                                  **{"return": now_us()}, **more)
                return

    # What disturbs.

    def take_busy(self, *names):
        with self.busy_lock:
            if self.busy.intersection(names):
                return False
            self.busy.update(names)
            return True

    def disturbed(self, what, names, begin):
        """Written down once for each of them, when it is mended."""
        self.counts[what] += 1
        for name in names:
            self.record.write(**{"is": "disturb"}, what=what, who=name, begin=begin, end=now_us())
        with self.busy_lock:
            self.busy.difference_update(names)

    def revive(self, name, after):
        each = self.there[name]
        each.process.wait(20)
        time.sleep(after)
        each.start()
        end = time.monotonic() + 20
        while each.show("status") is None:
            if each.process.poll() is not None or time.monotonic() > end:
                self.failures.append(f"{name} does not start again: {each.log.read_text(errors='replace')[-500:]}")
                return
            time.sleep(0.01)

    def kill_switch(self, drawn):
        name = drawn.choice(self.names)
        if not self.take_busy(name):
            return
        time.sleep(drawn.uniform(0, 0.1))
        begin = now_us()
        self.there[name].process.kill()
        self.revive(name, drawn.choice((0, 0.05, 0.2, 0.5, 2)))
        self.disturbed("kill a switch", [name], begin)

    def stop_switch(self, drawn):
        name = drawn.choice(self.names)
        if not self.take_busy(name):
            return
        time.sleep(drawn.uniform(0, 0.1))
        begin, process = now_us(), self.there[name].process
        process.send_signal(signal.SIGSTOP)
        long = drawn.random() < 0.04  # longer than the lease
        time.sleep(drawn.uniform(10.5, 12.5) if long else drawn.uniform(0.02, 0.6))
        process.send_signal(signal.SIGCONT)
        self.disturbed("stop a switch" + (" for long" if long else ""), [name], begin)

    def usurp(self, drawn):
        """A holder stands still until its lease is gone, and goes on when another switch holds the lock."""
        name, other = drawn.sample(self.names, 2)
        if not self.take_busy(name):
            return
        result, _ = self.set(name)
        begin, process = now_us(), self.there[name].process
        process.send_signal(signal.SIGSTOP)
        if result == "done":
            end = time.monotonic() + 13
            while self.set(other)[0] != "done" and time.monotonic() < end:
                time.sleep(0.3)
        process.send_signal(signal.SIGCONT)
        self.set(name)
        self.operate(other, "commit", "kdx", "commit")
        self.finish(name, "commit", drawn)
        self.disturbed("another takes the lock of a switch that stands still", [name], begin)

    def members(self, drawn, count):
        """So many members, none of which is disturbed; half of the time the leader is among them."""
        with self.busy_lock:
            if self.busy.intersection(self.etcd.names):
                return []
        names = drawn.sample(self.etcd.names, count)
        if drawn.random() < 0.5:
            leader = self.etcd.leader()
            names = [leader, *(name for name in names if name != leader)][:count]
        return names if self.take_busy(*self.etcd.names) else []

    def mended_members(self, what, names, begin):
        self.disturbed(what, names, begin)
        with self.busy_lock:
            self.busy.difference_update(self.etcd.names)

    def kill_members(self, drawn, count=1):
        names = self.members(drawn, count)
        if names:
            begin = now_us()
            self.etcd.kill(*names)
            time.sleep(drawn.uniform(0.1, 2.0 if count == 1 else 3.5))
            for name in names:
                self.etcd.start(name)
            self.etcd.await_served()
            self.mended_members(f"kill {count} of etcd", names, begin)

    def stop_members(self, drawn, count=1):
        names = self.members(drawn, count)
        if names:
            begin = now_us()
            self.etcd.send(signal.SIGSTOP, *names)
            time.sleep(drawn.uniform(0.1, 2.5 if count == 1 else 4.0))
            self.etcd.send(signal.SIGCONT, *names)
            self.etcd.await_served()
            self.mended_members(f"stop {count} of etcd", names, begin)

    def no_quorum(self, drawn):
        drawn.choice((self.kill_members, self.stop_members))(drawn, drawn.choice((2, 2, 3)))

    def step_clock(self, drawn):
        name, begin = drawn.choice(self.names), now_us()
        seconds = drawn.choice((-86400, -3600, -11, -1, 0, 1, 11, 3600, 86400, 20 * 365 * 86400))
        self.there[name].step_clock(seconds)
        self.counts["step a clock"] += 1
        self.record.write(**{"is": "disturb"}, what="step a clock", who=name, begin=begin, end=begin)

    def compact(self, drawn):
        """Etcd forgets; what switches that are away missed they have to find otherwise."""
        if self.take_busy(*self.etcd.names):
            begin = now_us()
            self.drain()
            self.etcd.compact(self.drained)
            self.mended_members("compact etcd", ["e1"], begin)

    KINDS = ((kill_switch, 30), (stop_switch, 25), (kill_members, 8), (stop_members, 10), (no_quorum, 3),
             (step_clock, 10), (compact, 2), (usurp, 1))  # fmt: skip

    def disturb(self):
        self.troubles = [each for each in self.troubles if each.is_alive()]
        if len(self.troubles) >= AT_ONCE or self.random.random() > 0.6:
            return
        kinds, weights = zip(*self.KINDS)
        play, drawn = self.random.choices(kinds, weights)[0], random.Random(self.random.random())
        self.troubles.append(self.run_thread(lambda: play(self, drawn)))

    def run_thread(self, do):
        def run():
            try:
                do()
            except BaseException as problem:  # noqa: BLE001: whatever it is, the run is not one to believe
                self.failures.append(repr(problem))
                raise

        thread = threading.Thread(target=run)
        thread.start()
        return thread

    # Rounds and quiet points.

    def play_round(self):
        self.disturb()
        count = self.random.choices((1, 2, 3, 4), (2, 4, 3, 1))[0]
        few = self.random.sample(self.names, min(3, len(self.names)))
        workers = []
        for _ in range(count):
            name, drawn = self.random.choice(few), random.Random(self.random.random())
            workers.append(self.run_thread(lambda name=name, drawn=drawn: self.work(name, drawn)))
        readers = self.random.sample(self.names, 2)
        workers.append(self.run_thread(lambda: [self.look(name) for name in readers]))
        for each in workers:
            each.join(300)

    def drain(self):
        """Etcd's changes so far go to the history."""
        revision = self.etcd.revision()
        for line in self.etcd.changes(self.drained + 1, revision):
            self.record.write(**line)
        self.drained = revision
        self.record.write(**{"is": "drained"}, revision=revision)

    def is_agreed(self, shown, revision):
        return all(said is not None and said["state"] == "member" and said["revision"] == revision for said in shown)

    def agree(self, end):
        """Until all switches show what etcd has. Returns its revision; None when that takes too long."""
        while now_us() < end:
            with contextlib.suppress(*UNREACHED):
                _, revision = self.etcd.get(PREFIX + VALUES)
                if self.is_agreed([each.show("fabric") for each in self.there.values()], revision):
                    return revision
            time.sleep(0.02)
        return None

    def quiet(self):
        """Everything is mended: all agree, then every session ends, then a new one goes through."""
        for each in self.troubles:
            each.join(60)
        begin = now_us()
        revision = self.agree(begin + 4 * self.bound)
        end = now_us()
        problems = [] if revision is not None else ["the switches do not agree: " + self.states()]
        problems += self.end_sessions(end + self.served)
        problems += self.probe(now_us() + self.served)
        revision = self.agree(now_us() + self.bound)
        problems += self.listed(revision, now_us() + self.bound)
        self.quiets += 1
        self.agreed_after.append((end - begin) / SECOND)
        self.drain()
        for name in self.names:
            self.look(name, self.quiets)
        self.record.write(**{"is": "quiet"}, number=self.quiets, begin=begin, end=end, revision=self.drained,
                          bound_us=self.bound, problems=problems)  # fmt: skip
        self.failures += self.died()

    def listed(self, revision, end):
        """Each switch tells of all others that they live and have applied this revision."""
        wanted, shown = {(name, True, revision) for name in self.names}, None
        each = self.there[self.random.choice(self.names)]
        while now_us() < end:
            shown = (each.show("fabric") or {}).get("switches", ())
            if {(said["name"], said["alive"], said["revision"]) for said in shown} == wanted:
                return []
            time.sleep(0.1)
        return [f"{each.name} lists other switches than there are at revision {revision}: {shown}"]

    def states(self):
        shown = {name: each.show("fabric") for name, each in self.there.items()}
        return json.dumps({name: said and {key: said.get(key) for key in ("state", "why", "revision", "commit")}
                           for name, said in shown.items()})  # fmt: skip

    def died(self):
        there = {name: each.process for name, each in self.there.items()} | self.etcd.processes
        return [f"{name} ended by itself: {process.returncode}" for name, process in there.items()
                if process.poll() is not None]  # fmt: skip

    def end_sessions(self, end):
        """Every switch drops what is pending on it; nobody holds the lock then."""
        while now_us() < end:
            for name, each in self.there.items():
                shown = each.show("kdx")
                if shown is not None and (shown["session"] or shown["pending"] or shown.get("lost")):
                    self.operate(name, "abort", "kdx", "abort")
            with contextlib.suppress(*UNREACHED):
                if self.etcd.get(PREFIX + LOCK)[0] is None:
                    return []
            time.sleep(0.05)
        return [f"the lock does not come free: {self.etcd.get(PREFIX + LOCK)[0]}"]

    def probe(self, end):
        name, results = self.random.choice(self.names), []
        while now_us() < end:
            results = [self.set(name)[0], self.operate(name, "commit", "kdx", "commit")[0]]
            if results == ["done", "done"]:
                return []
            time.sleep(0.1)
        return [f"{name} takes no session while nothing is wrong: {results}"]

    def run(self):
        for number in range(1, self.given.rounds + 1):
            self.play_round()
            if number % QUIET_EVERY == 0 or number == self.given.rounds:
                self.quiet()
            if number % 50 == 0:
                print(f"{number} rounds", flush=True)


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(share * len(values)))]


def report(conductor, judged, seconds, seed):
    print(f"{conductor.given.rounds} rounds in {seconds:.0f} s")
    print("disturbances:", ", ".join(f"{name} {count}" for name, count in sorted(conductor.counts.items())))
    for name, count in sorted(judged.counts.items()):
        print(f"{name}: {count}")
    agreed = conductor.agreed_after
    print(f"all agree after the last thing was mended: median {percentile(agreed, 0.5):.3f} s, "
          f"longest {max(agreed):.3f} s, of {len(agreed)}")  # fmt: skip
    statuses = collections.Counter(line["status"] for line in conductor.record.lines if line["is"] == "op")
    print("statuses:", ", ".join(f"{status:#010x} {count}" for status, count in statuses.most_common() if status))
    shown = collections.Counter()
    for each in judged.problems:
        shown[each.promise] += 1
        if shown[each.promise] <= SHOWN:
            print("BROKEN", each)
    for each in conductor.failures:
        print("BROKEN the run:", each)
    print("broken:", ", ".join(f"{promise} {count} times" for promise, count in shown.items()) or "nothing")
    broken = len(judged.problems) + len(conductor.failures)
    print(f"{broken} promises broken, seed {seed}")
    return 1 if broken else 0


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("--rounds", type=int, default=1000)
    parser.add_argument("--switches", type=int, default=5)
    parser.add_argument("--seed", type=int)
    parser.add_argument("--slowness", type=int, default=1, help="how much more time than usual everything may take")
    parser.add_argument("--preload", default="", help="a sanitizer's runtime, in front of what is preloaded")
    return parser.parse_args()


def keep_logs(conductor):
    for name, each in conductor.there.items():
        with contextlib.suppress(OSError):
            shutil.copy(each.log, conductor.given.out / f"{name}.log")
    for name in conductor.etcd.names:
        with contextlib.suppress(OSError):
            shutil.copy(conductor.dir / f"{name}.log", conductor.given.out / f"{name}.log")


def main():
    given = arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # nothing is left behind
    seed = given.seed if given.seed is not None else random.SystemRandom().randrange(1, 2**31)
    print(f"seed {seed}", flush=True)
    given.out.mkdir(parents=True, exist_ok=True)
    directory = pathlib.Path(tempfile.mkdtemp(prefix="rounds."))
    try:
        conductor = Conductor(given, directory, seed)
        begun = time.monotonic()
        with conductor.etcd:
            try:
                conductor.start()
                conductor.run()
                conductor.drain()
            finally:
                for each in conductor.troubles:
                    each.join(60)
                conductor.end()
                keep_logs(conductor)
        seconds = time.monotonic() - begun
        judged = checker.Checker(history.read_lines(given.out / "history.jsonl"))
        judged.check()
        return report(conductor, judged, seconds, seed)
    finally:
        shutil.rmtree(directory, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
