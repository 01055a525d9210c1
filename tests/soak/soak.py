"""The soak: a switch, an agent and load, disturbed on purpose, and a judge who says which promise was broken.

    soak.py soak --seconds 3600     an hour; kills in its first half only, so that memory is judged in the second
    soak.py chaos --rounds 1000     kills, stops and goes on at random, one after the other

Ends with 0 when every promise was kept. One seed draws everything; it is printed, and --seed repeats it as far as
processes that run at once can be repeated. Figures: OUT/soak.csv, a row an interval, and OUT/soak.svg.
"""

import argparse
import contextlib
import csv
import json
import pathlib
import random
import signal
import sys
import threading
import time

import chart
import judge
import machine
from judge import SECOND
from machine import now_us

COLUMNS = ("seconds", "pdus", "sets", "gets", "getnexts", "getbulks", "reads_back", "walks", "errors",
           "quiet_p50_ms", "quiet_p99_ms", "quiet_max_ms", "fault_p50_ms", "fault_p99_ms", "fault_max_ms",
           "agent_pid", "agent_kib", "agent_descriptors", "switchd_pid", "switchd_kib", "switchd_descriptors",
           "store_bytes", "history_number", "traps", "traps_raised", "traps_dropped", "disturbances")  # fmt: skip
REFUSAL = "0x40190004"  # a status of the manager
OPERATORS_INTERFACE = ("fc1/4", 16777216 + 3 * 4096)
PATIENCE = 20  # seconds for what must take one


class Conductor:
    """Judge and machine, with a lock between the threads that bring lines and the one that disturbs."""

    def __init__(self, there, judged, drawn, out, interval):
        self.there, self.judged, self.random = there, judged, drawn
        self.out, self.interval = out, interval
        self.lock = threading.Lock()
        self.changed = threading.Condition(self.lock)
        self.over = threading.Event()
        self.begun = now_us()
        self.moves = 0
        self.done = []  # kinds of disturbances since the last row
        self.counts = {}
        self.expected = set()  # processes that were killed on purpose
        self.rows = []
        self.told = 0  # how many broken promises were printed

    def start(self, pace):
        self.there.start_switchd()
        self.await_switchd()
        self.there.start_agent()
        with self.lock:
            self.judged.windows.begin("start", now_us())
        for name, words in (
            ("traps", ("traps", self.there.trap_port, 1, 20)),
            ("probe", ("probe", self.there.port, 1, 50)),
            ("walk", ("walk", self.there.port, self.random.randrange(1, 2**31), pace * 10)),
            ("write-0", ("write", self.there.port, self.random.randrange(1, 2**31), pace, 0)),
            ("write-1", ("write", self.there.port, self.random.randrange(1, 2**31), pace, 1)),
        ):
            self.there.start_load(name, words, lambda line, by=name: self.take(line, by))
        self.there.tell("away")
        self.await_answer("start", now_us())
        self.there.tell("back")
        self.settle("start", now_us())

    def take(self, line, by):
        with self.changed:
            try:
                self.judged.take(line, by)
            except (KeyError, ValueError, TypeError) as problem:
                self.judged.breaks(now_us(), f"{by} wrote what cannot be read: {line.strip()}: {problem!r}")
            self.changed.notify_all()

    def await_switchd(self):
        end = time.monotonic() + PATIENCE
        while self.there.ctl("show", "status")[0] != 0:
            if time.monotonic() > end:
                raise RuntimeError("switchd does not start: " + (self.there.dir / "switchd.log").read_text()[-2000:])
            time.sleep(0.02)

    # Ending a disturbance.

    def settle(self, kind, since):
        """Waits until the service is back, ends the window, and has both writers read everything back."""
        with self.changed:
            if self.judged.awaited is None:
                self.judged.await_service(kind, since)
            back = self.changed.wait_for(lambda: self.judged.awaited is None, PATIENCE)
            if not back:
                self.judged.service_missing(now_us())
            self.judged.windows.end(now_us())
        time.sleep(self.judged.windows.settle / SECOND + 0.02)
        with self.changed:
            before = dict(self.judged.reads_back)
            self.there.tell("check", "write-0", "write-1")
            wanted = lambda: all(  # noqa: E731
                self.judged.reads_back[name] > before.get(name, 0) for name in ("write-0", "write-1")
            )
            if not self.changed.wait_for(wanted, PATIENCE):
                self.judged.breaks(now_us(), f"a writer cannot read back after {kind}")

    @contextlib.contextmanager
    def disturbed(self, kind):
        """A window; the block returns when what it did is over, and the service is to be back from `since` on."""
        with self.lock:
            self.judged.windows.begin(kind, now_us())
            self.done.append(kind)
            self.counts[kind] = self.counts.get(kind, 0) + 1
        since = [now_us()]
        yield since
        self.settle(kind, since[0])

    # What disturbs.

    def kill(self, kind):
        victims = {"kill-switchd": ("switchd",), "kill-agent": ("agent",), "kill-both": ("agent", "switchd")}[kind]
        with self.disturbed(kind) as since:
            for name in victims:
                process = getattr(self.there, name)
                self.expected.add(process.pid)
                process.kill()
                process.wait(PATIENCE)
            if "agent" in victims:
                self.there.tell("away")
            if "switchd" in victims:
                found = self.there.check_store()
                with self.lock:
                    self.judged.store_checked(now_us(), found)
            time.sleep(self.random.uniform(0, 0.1))
            since[0] = now_us()
            if "switchd" in victims:
                self.there.start_switchd()
            if "agent" in victims:
                self.there.start_agent()
                self.await_answer(kind, since[0])
                self.there.tell("back")

    def await_answer(self, kind, since):
        """Until a restarted agent answers a GET rightly: writers and walks wait so long."""
        with self.changed:
            self.judged.await_service(kind, since)
            self.changed.wait_for(lambda: not self.judged.is_missing("GET"), PATIENCE)

    def stop(self, kind, low, high):
        name = kind.removeprefix("stop-")
        with self.disturbed(kind) as since:
            process = getattr(self.there, name)
            process.send_signal(signal.SIGSTOP)
            time.sleep(self.random.uniform(low, high))
            process.send_signal(signal.SIGCONT)
            since[0] = now_us()

    def reload(self):
        with self.disturbed("reload-agent") as since:
            self.there.agent.send_signal(signal.SIGHUP)
            time.sleep(0.2)
            since[0] = now_us()

    def fault(self, kind, words, seconds):
        with self.disturbed(kind) as since:
            self.must("fault", *words, "--spare-vsanctl")
            time.sleep(seconds)
            self.must("fault", "clear")
            since[0] = now_us()

    def must(self, *words):
        status, text = self.there.ctl(*words)
        if status != 0:
            with self.lock:
                self.judged.breaks(now_us(), f"vsanctl {' '.join(map(str, words))}: {text.strip()}")

    def operate(self):
        """A change by vsanctl while nothing is wrong."""
        name, index = OPERATORS_INTERFACE
        kind = self.random.randrange(4)
        if kind == 0:
            self.must("interface", self.random.choice(("up", "down")), "fc1/5")
        elif kind == 1:
            self.must("vsan", "create", 300, "--name", f"op{self.moves}")
            self.must("vsan", "delete", 300)
        else:
            target = machine.TARGETS[self.moves % len(machine.TARGETS)]
            self.moves += 1
            with self.lock:
                self.judged.note_moves({f"interface.{index}": str(target)}, True)
            self.must("interface", "move", name, target)

    def play(self, kind):
        faults = {
            "fault-delay": (("delay", 30), 2), "fault-late": (("delay", 5000, "--count", 1), 5.5),
            "fault-status": (("status", REFUSAL, "--side", "writes"), 1.5), "fault-drop": (("drop", "--count", 5), 1),
            "fault-short": (("short-answer", 4, "--count", 5), 1), "fault-hang": (("hang",), 3),
        }  # fmt: skip
        if kind.startswith("kill"):
            self.kill(kind)
        elif kind == "stop-agent":
            self.stop(kind, 0.1, 2)
        elif kind == "stop-switchd":
            self.stop(kind, 0.1, 6)
        elif kind == "reload-agent":
            self.reload()
        else:
            self.fault(kind, *faults[kind])

    # Figures.

    def watch(self):
        """Until the end, a row an interval; processes that ended by themselves are told."""
        with open(self.out / "soak.csv", "w", newline="") as file:
            to = csv.DictWriter(file, COLUMNS)
            to.writeheader()
            try:
                while not self.over.wait(self.interval):
                    row = self.row()
                    self.rows.append(row)
                    to.writerow(row)
                    file.flush()
                    self.tell_broken()
            except BaseException:
                with self.lock:
                    self.judged.breaks(now_us(), "the figures end here: the watcher failed")
                raise

    def tell_broken(self):
        """At once, for whoever waits for the end of a day."""
        for each in self.judged.broken[self.told :]:
            print("BROKEN", each, flush=True)
        self.told = len(self.judged.broken)

    def sample(self, name, process):
        figures = (machine.resident_kib(process.pid), machine.descriptors(process.pid))
        if process.poll() is not None and process.pid not in self.expected:
            self.expected.add(process.pid)
            self.judged.died(now_us(), name, process.returncode)
        elif figures[0] > 0:
            self.judged.sample(now_us(), name, process.pid, *figures)
        return (process.pid, *figures)

    def queue(self):
        """The notification queue's counters; none when the switch is away."""
        status, text = self.there.ctl("--json", "show", "notifications")
        return json.loads(text) if status == 0 else {}

    def history_number(self):
        """Of the last event; the history is a line of JSON an event, and a warning when some were overwritten."""
        status, text = self.there.ctl("--json", "history", "-n", 1)
        events = [json.loads(line) for line in text.splitlines() if line.startswith("{")] if status == 0 else []
        return max((event["number"] for event in events if "number" in event), default="")

    def row(self):
        away = bool(self.judged.windows.kinds_open())
        queue, number = ({}, "") if away else (self.queue(), self.history_number())
        with self.lock:
            agent = self.sample("snmpd", self.there.agent)
            switchd = self.sample("switchd", self.there.switchd)
            done, quiet, faulty = self.judged.next_row()
            disturbances, self.done = " ".join(self.done), []
        errors = " ".join(f"{name}:{count}" for name, count in sorted(done.results.items()) if name != "ok")
        kinds = [done.kinds[each] for each in ("set", "get", "getnext", "getbulk", "read", "walks")]
        total = sum(done.results.values())
        traps = (done.traps, queue.get("raised", ""), queue.get("dropped", ""))
        seconds = f"{(now_us() - self.begun) / SECOND:.1f}"
        return dict(zip(COLUMNS, (seconds, total, *kinds, errors, *quiet, *faulty, *agent, *switchd,
                                  self.there.store_bytes(), number, *traps, disturbances)))  # fmt: skip

    def finish(self):
        """Lets what is under way come through, and judges the whole."""
        end = time.monotonic() + 60
        while self.queue().get("queued", 1) and time.monotonic() < end:
            time.sleep(0.1)
        self.there.tell("away", "write-0", "write-1", "walk", "probe")
        time.sleep(1.5)  # what the writers did last becomes traps
        queue = self.queue()
        for name, how in self.there.end_loads().items():
            self.judged.died(now_us(), f"the load program {name}", how)
        for kind in ("get", "getnext", "getbulk", "set", "read"):
            if self.judged.kinds[kind] == 0:
                self.judged.breaks(now_us(), f"there was no {kind}: the run says nothing about it")
        self.over.set()
        return self.judged.end(now_us(), queue.get("raised", 0), queue.get("dropped", 0), queue.get("queued", 0))


KILLS = ("kill-switchd", "kill-agent", "kill-both")
OTHERS = ("stop-agent", "stop-switchd", "reload-agent", "fault-delay", "fault-late", "fault-status", "fault-drop",
          "fault-short", "fault-hang")  # fmt: skip


def play_soak(conductor, seconds):
    """Disturbances out of a bag that has each kind once, with quiet in between, in which an operator works."""
    end, bag = time.monotonic() + seconds, []
    kills_end = time.monotonic() + seconds / 2
    while time.monotonic() < end:
        for _ in range(conductor.random.randrange(1, 4)):
            time.sleep(conductor.random.uniform(0.1, min(2.0, seconds / 60)))
            conductor.operate()
        if not bag:
            bag = list(KILLS + OTHERS)
            conductor.random.shuffle(bag)
        kind = bag.pop()
        if kind in KILLS and time.monotonic() > kills_end:
            continue
        conductor.play(kind)


def play_chaos(conductor, rounds):
    kinds = (*KILLS, "stop-agent", "stop-switchd")
    for number in range(rounds):
        time.sleep(conductor.random.uniform(0, 0.06))
        kind = conductor.random.choice(kinds)
        if kind in KILLS:
            conductor.kill(kind)
        else:
            # Now and then longer than an agent waits.
            long = conductor.random.random() < 0.02
            conductor.stop(kind, *((4.2, 5) if long else (0.01, 0.4)))
        if (number + 1) % 50 == 0:
            print(f"{number + 1} rounds", flush=True)


def report(conductor, ended, seed):
    judged = conductor.judged
    print(f"requests {sum(judged.kinds.values())}:", ", ".join(f"{k} {n}" for k, n in sorted(judged.kinds.items())))
    print("results:", ", ".join(f"{name} {count}" for name, count in judged.total.most_common()))
    print("disturbances:", ", ".join(f"{name} {count}" for name, count in sorted(conductor.counts.items())))
    for what in ("GET", "SET"):
        times = [seconds for kind, each, seconds in judged.backs if each == what and not kind.startswith("fault")]
        if times:
            median, most = judge.percentile(times, 0.5), judge.percentile(times, 0.99)
            print(f"first {what} after a restart or a stop: median {median:.3f} s, p99 {most:.3f} s, "
                  f"longest {max(times):.3f} s, {len(times)} times")  # fmt: skip
    print(f"traps: {ended['heard']} of the module heard, {ended['lost']} membership traps lost, {ended['twice']} twice")
    print("memory:", "; ".join(ended["flat"]) or f"no process lived {judge.Judge.LEAST_SECONDS} s: not judged")
    conductor.tell_broken()
    print(f"{len(judged.broken)} promises broken, seed {seed}")


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("what", choices=("soak", "chaos"))
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("--seconds", type=float, default=3600)
    parser.add_argument("--rounds", type=int, default=1000)
    parser.add_argument("--interval", type=float, default=5, help="seconds of a row")
    parser.add_argument("--seed", type=int)
    parser.add_argument("--preload", default="", help="a sanitizer's runtime for the stock agent")
    return parser.parse_args()


def main():
    given = arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # nothing is left behind
    seed = given.seed if given.seed is not None else random.SystemRandom().randrange(1, 2**31)
    print(f"seed {seed}", flush=True)
    given.out.mkdir(parents=True, exist_ok=True)
    chaos = given.what == "chaos"
    slowness = 6.0 if given.preload else 1.0
    judged = judge.Judge(slowness, settle=SECOND // 5 if chaos else SECOND)
    with machine.Machine(given.build.resolve(), given.preload, keep_in=given.out) as there:
        conductor = Conductor(there, judged, random.Random(seed), given.out, given.interval)
        conductor.start(pace=100 if chaos else 20)
        watcher = threading.Thread(target=conductor.watch)
        watcher.start()
        try:
            play_chaos(conductor, given.rounds) if chaos else play_soak(conductor, given.seconds)
            ended = conductor.finish()
        finally:
            conductor.over.set()
            watcher.join(60)
    report(conductor, ended, seed)
    chart.draw(given.out / "soak.svg", conductor.rows)
    return 1 if judged.broken else 0


if __name__ == "__main__":
    sys.exit(main())
