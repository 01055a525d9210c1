"""The judge of the soak: follows the lines of the load programs and says which promise was broken, and when.

Times are microseconds of the monotonic clock. The lines are those that tests/soak/load.h describes. Nothing here
starts a process or reads a file, so that each promise can be broken by made-up lines.
"""

import collections
import statistics

SECOND = 1_000_000
SETTLE = SECOND  # how long after a disturbance its effects may still be met
BACK_SECONDS = 1.0  # from a restart to the first right answer and to the first SET that is done
SWALLOWING = ("fault-hang", "fault-late")  # who waits for an answer that does not come waits for the time-out first
ROW_BOUND, WIDE_BOUND = 5.5, 11.0  # seconds of a PDU: its one time-out, and half a second or a second for the machine
BROKEN = ("5", "14", "15")  # genErr, commitFailed, undoFailed: the exchange may have come to something
NOT_ANSWERED = ("none", "left")
AGENT_GONE = ("kill-agent", "kill-both")
ERROR_NAMES = {"0": "ok", "absent": "absent", "none": "noResponse", "left": "agentGone", "2": "noSuchName",
               "5": "genErr", "7": "wrongType", "8": "wrongLength", "10": "wrongValue", "11": "noCreation",
               "12": "inconsistentValue", "13": "resourceUnavailable", "14": "commitFailed", "15": "undoFailed",
               "16": "authorizationError",
               "17": "notWritable", "18": "inconsistentName"}  # fmt: skip
WALK_LEAST = 100  # varbinds of a walk of the soak's switch, at least


class Windows:
    """When something was wrong on purpose."""

    def __init__(self, settle=SETTLE):
        self.settle = settle
        self.all = []  # [kind, start, end or None]

    def begin(self, kind, now):
        self.all.append([kind, now, None])

    def end(self, now):
        self.all[-1][2] = now

    def during(self, start, end):
        """The kinds of those that a request from start to end may have met."""
        kinds = []
        for kind, began, ended in reversed(self.all):
            if ended is not None and ended + self.settle < start:
                break  # windows follow one another
            if began <= end:
                kinds.append(kind)
        return kinds

    def kinds_open(self):
        return [kind for kind, _, ended in self.all[-1:] if ended is None]


class Ledger:
    """What each value of the writers may be: what was acknowledged last, and what was unanswered since."""

    def __init__(self):
        self.possible = {}
        self.refused = collections.defaultdict(lambda: collections.deque(maxlen=50))

    def surely_changes(self, effects):
        """Whether none of the values may be there already: what changes nothing raises nothing."""
        return all(value not in self.possible.get(key, ()) for key, value in effects.items())

    def acknowledged(self, effects):
        for key, value in effects.items():
            self.possible[key] = {value}

    def in_doubt(self, effects):
        for key, value in effects.items():
            if key in self.possible:
                self.possible[key].add(value)

    def is_refused(self, effects):
        for key, value in effects.items():
            self.refused[key].append(value)

    def read(self, key, value, settles):
        """What is wrong with what was read; None when nothing is. A read that settles leaves no doubt behind."""
        known = self.possible.get(key)
        wrong = None
        if known is not None and value not in known:
            what = "a refused write was applied" if value in self.refused[key] else "an acknowledged write was lost"
            wrong = f"{what}: {key} reads {value}, it can be {' or '.join(sorted(known))} only"
        if settles:
            self.possible[key] = {value}
        return wrong


class Moves:
    """Membership traps of each interface, against the moves that were made."""

    REPEATS = 6  # how far back a trap may be one that came before

    def __init__(self):
        self.made = collections.defaultdict(list)  # interface -> [(VSAN, whether it is certain)]
        self.heard = collections.defaultdict(list)

    def verdict(self):
        """(texts of moves without a trap, how many traps came twice, texts of traps without a move)."""
        lost, unexpected, twice = [], [], 0
        for interface, made in self.made.items():
            heard, at = self.heard[interface], 0
            for number, vsan in enumerate(heard):
                place = self._find(made, at, vsan)
                missed = self._certain(interface, at, place)
                again = vsan in heard[max(0, number - self.REPEATS) : number]
                if place is not None and not (missed and again):
                    at, lost = place + 1, lost + missed
                elif again:
                    twice += 1
                else:
                    unexpected.append(f"a trap tells of interface {interface} in VSAN {vsan}: no such move was made")
            lost += self._certain(interface, at, len(made))
        return lost, twice, unexpected

    def _certain(self, interface, begin, end):
        """Texts of the moves from begin to end that were acknowledged."""
        moves = self.made[interface][begin:end] if end is not None else ()
        return [f"interface {interface} to VSAN {vsan}" for vsan, certain in moves if certain]

    @staticmethod
    def _find(made, at, vsan):
        """The place of the next move to this VSAN; None when there is none nearby."""
        return next((place for place in range(at, min(at + 2000, len(made))) if made[place][0] == vsan), None)


class Interval:
    """What happened in one row of the table."""

    def __init__(self):
        self.kinds = collections.Counter()
        self.results = collections.Counter()
        self.quiet, self.faulty = [], []  # latencies, microseconds
        self.traps = 0


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(share * len(values)))] if values else None


def slope(points):
    """Of (hours, value), by least squares; 0 when all have one time."""
    if len({at for at, _ in points}) < 2:
        return 0.0
    return statistics.linear_regression(*zip(*points)).slope


class Judge:
    def __init__(self, slowness=1.0, settle=SETTLE):
        self.windows = Windows(settle)
        self.ledger = Ledger()
        self.moves = Moves()
        self.interval = Interval()
        self.broken = []  # promises, as texts
        self.total = collections.Counter()  # by result
        self.kinds = collections.Counter()
        self.slowness = slowness  # of a build under sanitizers: its seconds are longer
        self.awaited = None  # (kind, since, what is still to come)
        self.backs = []  # (kind, what, seconds)
        self.slow, self.wide = [], []  # PDUs over a bound, SETs of the whole switch: (start, end)
        self.reads_back = collections.Counter()
        self.traps = collections.Counter()
        self.sink_drops = 0
        self.samples = collections.defaultdict(list)  # (name, pid) -> [(us, KiB, descriptors)]
        self.highest = 0
        self.worst_back = 0.0

    def breaks(self, now, text):
        self.broken.append(f"at {now / SECOND:.3f}: {text}")

    # Lines.

    def take(self, line, by=0):
        """One line of a load program."""
        words = line.split()
        take = {"pdu": self._pdu, "set": self._set, "read": self._read, "walk": self._walk, "trap": self._trap,
                "sink": self._sink}  # fmt: skip
        take[words[0]](by, *words[1:])

    def _count(self, kind, start, latency, result):
        """Counts a request; returns the kinds of disturbance that it may have met."""
        met = self.windows.during(start, start + latency)
        self.interval.kinds[kind] += 1
        self.interval.results[ERROR_NAMES.get(result, result)] += 1
        self.total[ERROR_NAMES.get(result, result)] += 1
        self.kinds[kind] += 1
        if result not in NOT_ANSWERED:
            (self.interval.faulty if met else self.interval.quiet).append(latency)
        if not met and (result in NOT_ANSWERED or result in BROKEN):
            took = f"after {latency / SECOND:.3f} s while nothing was wrong"
            self.breaks(start, f"{kind} got {ERROR_NAMES[result]} {took}")
        elif not met and kind != "set" and result not in ("0", "absent"):
            self.breaks(start, f"{kind} got {ERROR_NAMES.get(result, result)} while nothing was wrong")
        if latency > ROW_BOUND * SECOND * self.slowness and result != "left":
            self.slow.append((start, start + latency, kind, tuple(met)))
        return met

    def _pdu(self, _, kind, start, latency, result):
        start, latency = int(start), int(latency)
        met = self._count(kind, start, latency, result)
        if kind == "get" and result == "0":
            self._is_back("GET", start, start + latency)
        if kind == "get" and result == "absent" and not met:
            self.breaks(start, "a GET of what is always there found nothing while nothing was wrong")

    def _set(self, _, start, latency, result, scope, *pairs):
        start, latency = int(start), int(latency)
        effects = dict(pair.split("=", 1) for pair in pairs)
        met = self._count("set", start, latency, result)
        if scope == "wide":
            self.wide.append((start, start + latency))
        changes = self.ledger.surely_changes(effects)
        is_always_right = scope == "wide" or all(key.startswith("interface.") for key in effects)
        if is_always_right and result != "0" and not met and result not in NOT_ANSWERED and result not in BROKEN:
            got = f"{ERROR_NAMES.get(result, result)} for {' '.join(pairs)}"
            self.breaks(start, f"set got {got} while nothing was wrong")
        if result == "0":
            self.ledger.acknowledged(effects)
            self._is_back("SET", start, start + latency)
        elif self.may_have_come_to_something(result, scope, met):
            self.ledger.in_doubt(effects)
        else:
            self.ledger.is_refused(effects)
            return
        self.note_moves(effects, result == "0" and changes)

    def note_moves(self, effects, certain):
        for key, value in effects.items():
            if key.startswith("interface."):
                self.moves.made[key.split(".")[1]].append((value, certain))

    @staticmethod
    def may_have_come_to_something(result, scope, met):
        """Whether a SET that was not acknowledged may have been applied all the same.

        Nothing comes of what is refused in a check. What fails later, for the manager broke or gave a false status,
        may have been applied: the answer was lost, or another row of the PDU was done before.
        """
        if result in NOT_ANSWERED:
            return True
        if scope == "rows":
            return bool(met)
        return result in BROKEN and any(kind != "fault-status" for kind in met)

    def _read(self, by, start, latency, result, *pairs):
        start, latency = int(start), int(latency)
        met = self._count("read", start, latency, result)
        if not met:
            self.reads_back[by] += 1
        if result != "0":
            return
        for key, value in (pair.split("=", 1) for pair in pairs):
            if value == "-" and met:
                continue  # a switch that is away serves no rows
            wrong = self.ledger.read(key, value, settles=not met)
            if wrong:
                self.breaks(start, wrong)

    def _walk(self, _, kind, start, varbinds, outcome):
        start = int(start)
        met = self.windows.kinds_open() or self.windows.during(start, start)
        if outcome not in ("ascending", "broken"):
            self.breaks(start, f"a walk by {kind} does not ascend at {outcome}")
        elif outcome == "ascending":  # a request that broke one off is judged by itself
            self.interval.kinds["walks"] += 1
            # One that met something ends early; one that began in quiet and did not is whole.
            if not met and int(varbinds) < WALK_LEAST and not self._began_since(start):
                self.breaks(start, f"a walk by {kind} ended after {varbinds} varbinds while nothing was wrong")

    def _began_since(self, start):
        return bool(self.windows.all) and self.windows.all[-1][1] >= start

    def _trap(self, _, time, kind, *values):
        self.interval.traps += 1
        self.traps[kind] += 1
        if kind == "member":
            self.moves.heard[values[0]].append(values[1])

    def _sink(self, _, drops):
        self.sink_drops = int(drops)

    # Restarts.

    def await_service(self, kind, since):
        """The service is to be back a second after `since`."""
        self.awaited = (kind, since, {"GET", "SET"})

    def is_missing(self, what):
        """Whether GET or SET is still to come; neither is once both came, a SET before the GET that is waited for."""
        return self.awaited is not None and what in self.awaited[2]

    def _is_back(self, what, start, end):
        if self.awaited is None or start < self.awaited[1] or what not in self.awaited[2]:
            return
        kind, since, missing = self.awaited
        seconds = (end - since) / SECOND
        missing.discard(what)
        self.backs.append((kind, what, seconds))
        self.worst_back = max(self.worst_back, seconds)
        bound = BACK_SECONDS + (WIDE_BOUND if kind in SWALLOWING else 0)
        if seconds > bound * self.slowness:
            self.breaks(since, f"{what} is back {seconds:.3f} s after {kind}")
        if not missing:
            self.awaited = None

    def service_missing(self, now):
        if self.awaited is not None:
            kind, since, missing = self.awaited
            self.breaks(since, f"no {' and no '.join(sorted(missing))} {(now - since) / SECOND:.1f} s after {kind}")
            self.awaited = None

    # Processes and the store.

    def died(self, now, name, how):
        self.breaks(now, f"{name} ended by itself: {how}")

    def store_checked(self, now, text):
        if text != "ok":
            self.breaks(now, f"the store is damaged: {text}")

    def sample(self, now, name, pid, kib, descriptors):
        self.samples[(name, pid)].append((now, kib, descriptors))

    # At the end.

    def end(self, now, raised, dropped, queued):
        """The counters are of the switch's notification queue, when all was given time to be sent."""
        self._judge_slow()
        lost, twice, unexpected = self.moves.verdict()
        for each in unexpected:
            self.breaks(now, each)
        if queued:
            self.breaks(now, f"{queued} notifications were never taken")
        if self.sink_drops:
            self.breaks(now, f"the receiver of traps lost {self.sink_drops}: the run says nothing about traps")
        if len(lost) > dropped:
            self.breaks(now, f"{len(lost)} membership traps were lost, {dropped} notifications are counted as dropped: "
                        + ", ".join(lost[:5]))  # fmt: skip
        heard = self.traps["member"] + self.traps["status"]
        if heard < raised - dropped:
            self.breaks(now, f"{heard} traps of {raised} notifications raised, {dropped} of them dropped")
        flat = self._judge_flat(now)
        return {"lost": len(lost), "twice": twice, "heard": heard, "flat": flat}

    def _judge_slow(self):
        for start, end, kind, met in self.slow:
            if any(each in AGENT_GONE or each == "stop-agent" for each in met):
                continue  # who waits for a stopped agent waits as long as it is stopped
            beside_wide = any(began <= end and start <= ended for began, ended in self.wide)
            bound = (WIDE_BOUND if beside_wide else ROW_BOUND) * self.slowness
            if end - start > bound * SECOND:
                self.breaks(start, f"{kind} took {(end - start) / SECOND:.1f} s; one time-out is {bound:.1f} s at most")

    # Of a process that lived ten minutes or more, the second half of its life: memory may rise by NOISE KiB and by a
    # RATE an hour by a fitted line; descriptors by a handful between the first and the last tenth. Each reload costs a
    # stock agent of net-snmp 5.9.3 without our modules 15 KiB and the socket of its trap sink, measured over 60.
    LEAST_SECONDS, NOISE_KIB, RATE_KIB, DESCRIPTORS = 600, 128, 512, 2
    RELOAD_KIB, RELOAD_DESCRIPTORS = 20, 1

    def _judge_flat(self, now):
        told = []
        for (name, pid), samples in self.samples.items():
            life = (samples[-1][0] - samples[0][0]) / SECOND
            if life < self.LEAST_SECONDS:
                continue
            half = [each for each in samples if each[0] >= (samples[0][0] + samples[-1][0]) / 2]
            hours = (half[-1][0] - half[0][0]) / SECOND / 3600
            rise = slope([(at / SECOND / 3600, kib) for at, kib, _ in half]) * hours
            tenth = max(1, len(half) // 10)
            before, after = (statistics.median(fds for _, _, fds in part) for part in (half[:tenth], half[-tenth:]))
            reloads = self._reloads_since(half[0][0]) if name == "snmpd" else 0
            told.append(f"{name} {pid}: {life:.0f} s, memory {rise:+.0f} KiB in the last {hours * 60:.0f} min, "
                        f"descriptors {before:.0f} to {after:.0f}, {reloads} reloads")  # fmt: skip
            if rise > self.NOISE_KIB + self.RATE_KIB * hours + self.RELOAD_KIB * reloads:
                self.breaks(now, f"memory of {name} {pid} is not flat: {rise:.0f} KiB in {hours * 60:.0f} minutes")
            if after > before + self.DESCRIPTORS + self.RELOAD_DESCRIPTORS * reloads:
                self.breaks(now, f"descriptors of {name} {pid} are not flat: {before:.0f} to {after:.0f}")
        return told

    def _reloads_since(self, start):
        return sum(kind == "reload-agent" and began >= start for kind, began, _ in self.windows.all)

    def next_row(self):
        """The interval's figures, and a new interval."""
        done, self.interval = self.interval, Interval()
        times = lambda values: [  # noqa: E731
            f"{each / 1000:.3f}" if each is not None else ""
            for each in (percentile(values, 0.5), percentile(values, 0.99), max(values, default=None))
        ]
        return done, times(done.quiet), times(done.faulty)
