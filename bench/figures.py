"""From the driver's rows to ratios: the median over rounds, the least and the largest."""

import collections
import csv
import dataclasses
import statistics

from peers import BASE, OURS

RAW_FIELDS = (
    "cpu", "round", "vsans", "shape", "peer", "requests", "varbinds", "seconds", "agent_cpu_ns", "manager_cpu_ns",
)  # fmt: skip

# Goals of `ours`: how fast it is to be at least, as a multiple of the base's varbinds a second.
GOALS = {
    "getnext-1": 1.0,
    "getnext-row": 1.0,
    "getbulk-1x50": 1.05,
    "getbulk-10x20": 1.1,
    "set-1": 0.6,
    "set-3": 0.55,
}
HISTORY_COST_GOAL = 0.10  # of the varbinds a second without it, at most
GROWTH_GOAL = 1.1  # the cost of a varbind at the largest size, as a multiple of that at the smallest, at most


@dataclasses.dataclass(frozen=True)
class Slice:
    """What one peer did in one slice."""

    varbinds: int
    seconds: float
    agent_ns: int
    behind_ns: int

    @property
    def cost(self):
        """Seconds of a varbind."""
        return self.seconds / self.varbinds

    @property
    def cpu_cost(self):
        """Nanoseconds of a varbind on a CPU, the driver's apart."""
        return (self.agent_ns + self.behind_ns) / self.varbinds


@dataclasses.dataclass(frozen=True)
class Spread:
    median: float
    low: float
    high: float


def spread(values):
    values = list(values)
    return Spread(statistics.median(values), min(values), max(values)) if values else None


def read_slices(lines, cpu, slices):
    """Adds the driver's rows to `slices`: (cpu, vsans, shape, peer) -> {round: Slice}."""
    for line in csv.reader(lines):
        count, vsans, shape, peer, _, varbinds, seconds, agent_ns, behind_ns = line
        key = (cpu, int(vsans), shape, peer)
        slices[key][int(count)] = Slice(int(varbinds), float(seconds), int(agent_ns), int(behind_ns))


def new_slices():
    return collections.defaultdict(dict)


def speed_ratio(slices, cpu, vsans, shape, peer, base=BASE):
    """How many times as fast the peer is as the base, round by round; None when one of them was not measured."""
    of_peer = slices.get((cpu, vsans, shape, peer), {})
    of_base = slices.get((cpu, vsans, shape, base), {})
    return spread(of_base[each].cost / of_peer[each].cost for each in of_peer if each in of_base)


def cpu_ratio(slices, cpu, vsans, shape, peer):
    """The same by CPU time, which other programs on the machine disturb less; None also when none was counted."""
    of_peer = slices.get((cpu, vsans, shape, peer), {})
    of_base = slices.get((cpu, vsans, shape, BASE), {})
    return spread(
        of_base[each].cpu_cost / of_peer[each].cpu_cost
        for each in of_peer
        if each in of_base and of_peer[each].cpu_cost > 0
    )


def growth(slices, cpu, small, large, shape, peer):
    """The cost of a varbind at the large size as a multiple of that at the small one."""
    of_small = slices.get((cpu, small, shape, peer), {})
    of_large = slices.get((cpu, large, shape, peer), {})
    return spread(of_large[each].cost / of_small[each].cost for each in of_large if each in of_small)


def costs(slices, key):
    """Medians for one varbind, in us: from request to answer, the agent's CPU, the CPU of what is behind it."""
    rows = slices.get(key, {}).values()
    if not rows:
        return None
    return (
        statistics.median(each.cost * 1e6 for each in rows),
        statistics.median(each.agent_ns / each.varbinds / 1e3 for each in rows),
        statistics.median(each.behind_ns / each.varbinds / 1e3 for each in rows),
    )


def write_ratios(path, slices):
    with open(path, "w", newline="") as out:
        to = csv.writer(out)
        to.writerow(("cpu", "vsans", "shape", "peer", "rounds", "ratio", "ratio_min", "ratio_max", "cpu_ratio", "goal",
                     "us_per_varbind", "agent_cpu_us", "manager_cpu_us"))  # fmt: skip
        for key, rounds in slices.items():
            cpu, vsans, shape, peer = key
            ratio = speed_ratio(slices, cpu, vsans, shape, peer)
            ratios = (f"{ratio.median:.4f}", f"{ratio.low:.4f}", f"{ratio.high:.4f}") if ratio else ("", "", "")
            by_cpu = cpu_ratio(slices, cpu, vsans, shape, peer)
            goal = GOALS.get(shape, "") if peer == OURS else ""
            goal = (f"{by_cpu.median:.4f}" if by_cpu else "", goal)
            times = (f"{cost:.3f}" for cost in costs(slices, key))
            to.writerow((cpu, vsans, shape, peer, len(rounds), *ratios, *goal, *times))
