#!/usr/bin/env python3
"""Defects put into a sound history, each of which the checker must find.

    mutations.py HISTORY [--seed N] [--times N]

Each mutation is put into a copy of the recorded history by itself, several times at places drawn by the seed. Ends with
an error when one of them is not found, or when the history is not sound to begin with. A mutation that finds no place
in this history is told.
"""

import argparse
import copy
import random
import sys

from checker import SETTLE, Checker, record_name, tail
from history import COMMITS, LOCK, SWITCHES, VALUES, cells, outcome, read_lines


class History:
    """A copy to be broken, with what mutations look for."""

    def __init__(self, lines, drawn):
        self.lines, self.random = copy.deepcopy(lines), drawn
        self.run = self.lines[0]
        self.switches = self.run["switches"]
        self.checker = Checker(self.lines)
        self.checker.check()

    def of(self, kind, **wanted):
        return [line for line in self.lines
                if line["is"] == kind and all(line.get(name) == value for name, value in wanted.items())]  # fmt: skip

    def etcd(self, name):
        return [line for line in self.of("etcd") if tail(line["key"]) == name]

    def values(self):
        return [line for line in self.etcd(VALUES) if line["value"] is not None]

    def choose(self, lines):
        if not lines:
            raise LookupError
        return self.random.choice(lines)

    def drop(self, line):
        self.lines[:] = [each for each in self.lines if each is not line]

    def acknowledged(self):
        """Commits that were answered with yes, as (revision, operation)."""
        return sorted(self.checker.acknowledged.items())

    def renumber(self, revision):
        """Takes a revision out of etcd's history as if it had never been."""
        self.lines[:] = [line for line in self.lines if line["is"] != "etcd" or line["revision"] != revision]
        for line in self.lines:
            move(line, revision)
            if line["is"] == "etcd" and tail(line["key"]).startswith(SWITCHES) and line["value"]:
                move(line["value"], revision)


def move(place, revision):
    if isinstance(place.get("revision"), int) and place["revision"] > revision:
        place["revision"] -= 1


def quiet_neighbours(history):
    """Pairs of commits that one switch applied, one after the other, while nothing was wrong."""
    found = []
    for switch in history.switches:
        applied = history.of("applied", switch=switch)
        for before, line in zip(applied, applied[1:]):
            if not history.checker.disturbed(switch, before["seen"] - SETTLE, line["seen"] + SETTLE):
                found.append((before, line))
    return found


# Each breaks one promise in one place; LookupError: there is no place for it.


def two_holders(history):
    """Etcd gives the lock away while it is held."""
    line = history.choose([line for line in history.etcd(LOCK) if line["value"] is None])
    before = [each for each in history.etcd(LOCK) if each["revision"] < line["revision"]][-1]
    other = history.choose([wwn for wwn in history.switches.values() if wwn != before["value"]["wwn"]])
    at = history.choose([each for each in history.of("etcd")
                         if before["revision"] < each["revision"] < line["revision"] + 1])  # fmt: skip
    taken = dict(before["value"], wwn=other, session="another")
    history.lines.append(dict(before, revision=at["revision"], value=taken))


def set_taken_beside_the_holder(history):
    """Another switch takes a set while a session that then commits is open."""
    opened = {line["session"]: line for line in history.of("session", what="opened")}
    places = []
    for revision, commit in history.acknowledged():
        line = opened.get(history.checker.etcd.values[revision]["value"]["session"])
        for op in history.of("op", do="set"):
            if line and outcome(op) == "refused" and op["switch"] != commit["switch"] and \
                    line["seen"] < op["invoke"] and op["return"] < commit["invoke"]:  # fmt: skip
                places.append(op)
    history.choose(places).update(exit=0, status=0, text="")


def acknowledged_commit_lost(history):
    """Etcd never had a commit that was answered with yes."""
    revision, _ = history.choose(history.acknowledged())
    number = history.checker.etcd.values[revision]["value"]["commit"]
    for line in [*history.values(), *(line for line in history.of("etcd") if tail(line["key"]).startswith(COMMITS))]:
        if line["value"] and line["value"]["commit"] > number:
            line["value"]["commit"] -= 1
    history.renumber(revision)


def acknowledged_value_lost(history):
    """A commit came to etcd without one of its values."""
    revision, commit = history.choose(history.acknowledged())
    record = history.checker.etcd.records[history.checker.etcd.values[revision]["value"]["commit"]]
    cell, value = history.choose(sorted(certain_sets(history, commit)))
    record["value"]["changed"] = [each for each in record["value"]["changed"] if cells([each]) != {cell: value}]


def order_swapped(history):
    """One switch applies two commits the other way round."""
    before, line = history.choose(quiet_neighbours(history))
    for name in ("commit", "of", "revision", "session"):
        before[name], line[name] = line[name], before[name]


def answered_in_another_order(history):
    """A commit is in etcd behind one that was asked for when it had been answered."""
    places = []
    for (_, one), (_, other) in zip(history.acknowledged(), history.acknowledged()[1:]):
        sets = certain_sets(history, other)
        clears = [op for op in history.checker.clears(other["switch"]) if op is not other]
        alone = not any(op["return"] > one["invoke"] - 100 and op["invoke"] < other["return"] for op in clears)
        if one["return"] < other["invoke"] and one["switch"] != other["switch"] and alone:
            places.append((one, other, sets))
    one, other, sets = history.choose(places)
    for op in sets.values():
        op.update(invoke=one["invoke"] - 50, **{"return": one["invoke"] - 40})
    other.update(invoke=one["invoke"] - 30, **{"return": one["invoke"] - 20})


def certain_sets(history, commit):
    sets = [op for op in history.checker.ops if op["switch"] == commit["switch"] and op["do"] == "set"]
    return history.checker.certain_values(commit, history.checker.clears(commit["switch"]), sets)


def applied_at_some_only(history):
    """One switch never applied a commit that the others have."""
    before, line = history.choose(quiet_neighbours(history))
    later = [each for each in history.of("applied", switch=line["switch"]) if each["seen"] > line["seen"]]
    if not later or history.checker.disturbed(line["switch"], before["seen"], later[0]["seen"]):
        raise LookupError
    history.drop(line)


def applied_twice(history):
    line = history.choose(history.of("applied"))
    history.lines.append(dict(line, seen=line["seen"] + 1))
    history.lines.sort(key=lambda each: each.get("seen", 0) if each["is"] == "applied" else 0)


def applied_what_etcd_has_not(history):
    line = history.choose(history.of("applied"))
    line[history.choose(["of", "session"])] = "nobody"


def applied_at_another_revision(history):
    line = history.choose(history.of("applied"))
    line["revision"] += history.choose([1, -1])


def refused_yet_in_etcd(history):
    """A commit that etcd has was answered with a refusal."""
    _, commit = history.choose(history.acknowledged())
    others = [op for op in history.of("op", do="commit", switch=commit["switch"]) if outcome(op) == "unknown"]
    commit.update(exit=1, status=0x40F00406, text="the fabric cannot be reached")
    for op in others:
        op.update(exit=1, status=0x40F00406)


def refused_set_committed(history):
    """A value is in force that was refused."""
    record = history.choose([line for line in history.checker.etcd.records.values() if line["value"]["changed"]])
    cell, value = next(iter(cells(record["value"]["changed"]).items()))
    for op in history.checker.sets[(cell, value)]:
        op.update(exit=1, status=0x40F00406)


def refused_yet_partly_applied(history):
    """One switch shows a value of a commit that was refused, or of one that it has a part of."""
    read = history.choose(history.of("read"))
    refused = [op for op in history.of("op", do="set") if outcome(op) == "refused"]
    op = history.choose(refused)
    read["timers"][f"{op['vsan']}/{op['key']}"] = op["value"]


def values_that_etcd_never_had(history):
    read = history.choose(history.of("read"))
    read["timers"][history.choose(sorted(read["timers"]))] += 7


def half_of_a_commit(history):
    """A switch shows one value of a commit, and another as it was before."""
    etcd, first = history.checker.etcd, history.run["first"]
    places = []
    for read in history.of("read"):
        revisions = history.checker.states.get(frozenset(read["timers"].items()), [])
        line = etcd.values.get(revisions[0]) if len(revisions) == 1 else None
        changed = line and etcd.records.get(line["value"]["commit"])
        if changed and len(changed["value"]["changed"]) > 1 and line["revision"] > etcd.revisions[0]:
            places.append((read, line, cells(changed["value"]["changed"])))
    read, line, changed = history.choose(places)
    before = cells(etcd.at(line["revision"] - 1)["value"]["timers"])
    cell = history.choose(sorted(changed))
    inherits = "0/" + cell.split("/")[1]
    read["timers"][cell] = before.get(cell, before.get(inherits, first[cell]))


def stays_behind(history):
    """At a quiet point one switch still shows the state before."""
    quiet = history.choose(history.of("quiet"))
    earlier = [read for read in history.of("read") if read["invoke"] < quiet["begin"]]
    read = history.choose(history.of("read", quiet=quiet["number"]))
    other = [each for each in earlier if each["timers"] != read["timers"]]
    show_as(read, history.choose(other))


def show_as(read, other):
    """What one read showed becomes what another one did."""
    shown = {name: copy.copy(other[name]) for name in ("timers", "revision")}
    kept = {name: read[name] for name in shown}
    read.update(shown)
    return kept


def goes_back(history):
    """A switch shows what it had left behind."""
    switch = history.choose(sorted(history.switches))
    reads = sorted(history.of("read", switch=switch), key=lambda read: read["invoke"])
    places = [(one, other) for one, other in zip(reads, reads[1:])
              if one["timers"] != other["timers"] and one["return"] < other["invoke"]]  # fmt: skip
    one, other = history.choose(places)
    other.update(show_as(one, other))


def shows_another_revision(history):
    """What a switch shows is not of the revision that it names."""
    reads = history.of("read")
    read = history.choose(reads)
    read["revision"] = history.choose([each["revision"] for each in reads if each["timers"] != read["timers"]])


def missing_at_the_quiet_point(history):
    quiet = history.choose(history.of("quiet"))
    history.drop(history.choose(history.of("read", quiet=quiet["number"])))


def agrees_too_late(history):
    quiet = history.choose(history.of("quiet"))
    quiet["end"] = quiet["begin"] + quiet["bound_us"] + 1


def commit_without_the_lock(history):
    line = history.choose(history.values())
    line["value"]["session"] = "another"


def commit_keeps_the_lock(history):
    revision = history.choose(history.values())["revision"]
    history.lines[:] = [line for line in history.lines if line["is"] != "etcd" or line["revision"] != revision
                        or tail(line["key"]) != LOCK]  # fmt: skip


def commit_changes_more_than_it_says(history):
    line = history.choose([line for line in history.values() if line["value"]["timers"]])
    history.choose(line["value"]["timers"])[2] += 1


def commit_number_again(history):
    line = history.choose(history.values())
    line["value"]["commit"] -= 1


def record_missing(history):
    line = history.choose(history.values())
    number = line["value"]["commit"]
    history.lines[:] = [each for each in history.lines
                        if each["is"] != "etcd" or tail(each["key"]) != record_name(number)
                        or each["value"] is None]  # fmt: skip


def switch_says_it_went_back(history):
    lines = [line for line in history.of("etcd") if tail(line["key"]).startswith(SWITCHES) and line["value"]
             and line["value"]["revision"] > 0]  # fmt: skip
    line = history.choose(lines)
    earlier = [each for each in history.checker.etcd.revisions if each < line["value"]["revision"]]
    before = [each for each in lines if each["key"] == line["key"] and each["revision"] < line["revision"]]
    if not earlier or not before or before[-1]["value"]["revision"] <= earlier[0]:
        raise LookupError
    line["value"]["revision"] = earlier[0]


def hole_in_the_record(history):
    known = sorted({line["revision"] for line in history.of("etcd")})
    revision = history.choose(known[1:-1])
    history.lines[:] = [line for line in history.lines if line["is"] != "etcd" or line["revision"] != revision]


def refusal_takes_too_long(history):
    places = [op for op in history.of("op")
              if not history.checker.disturbed(op["switch"], op["invoke"], op["return"] + 100 * SETTLE)]  # fmt: skip
    op = history.choose(places)
    op.update(exit=1, status=0x40F00406, text="")
    op["return"] = op["invoke"] + history.run["refusal_us"] + 1


def refusal_names_nobody(history):
    places = [op for op in history.of("op") if op["status"] == 0x40190028]
    op = history.choose(places)
    op["text"] = "another switch"
    ended = [line for line in history.of("applied") if op["invoke"] - SETTLE < line["seen"] < op["return"] + SETTLE]
    for line in (*ended, *history.of("session")):
        history.drop(line)  # nobody gave the lock back just then


MUTATIONS = {
    two_holders: "one holder", set_taken_beside_the_holder: "one holder", acknowledged_commit_lost: "never lost",
    acknowledged_value_lost: "never lost", order_swapped: "one order", answered_in_another_order: "one order",
    applied_at_some_only: "every commit", applied_twice: "once", applied_what_etcd_has_not: "one order",
    applied_at_another_revision: "one order", refused_yet_in_etcd: "refused is nowhere",
    refused_set_committed: "refused is nowhere", refused_yet_partly_applied: "values of etcd",
    values_that_etcd_never_had: "values of etcd", half_of_a_commit: "values of etcd", stays_behind: "all agree",
    goes_back: "one order", shows_another_revision: "values of etcd", missing_at_the_quiet_point: "all agree",
    agrees_too_late: "all agree",
    commit_without_the_lock: "one holder", commit_keeps_the_lock: "one holder",
    commit_changes_more_than_it_says: "whole commits", commit_number_again: "one order", record_missing: "one order",
    switch_says_it_went_back: "one order", hole_in_the_record: "recorded", refusal_takes_too_long: "refused in time",
    refusal_names_nobody: "the holder is named",
}  # fmt: skip


def found_promises(lines):
    return {problem.promise for problem in Checker(lines).check()}


def try_mutation(lines, mutate, drawn):
    """The promises that are broken then; None: there is no place for it here."""
    history = History(lines, drawn)
    try:
        mutate(history)
    except LookupError:
        return None
    return found_promises(history.lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("history")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--times", type=int, default=3)
    given = parser.parse_args()
    lines, drawn, missed = read_lines(given.history), random.Random(given.seed), 0
    if found_promises(lines):
        print("the history is not sound to begin with")
        return 1
    for mutate, promise in MUTATIONS.items():
        results = [try_mutation(lines, mutate, drawn) for _ in range(given.times)]
        tried = [found for found in results if found is not None]
        kept = sum(promise not in found for found in tried)
        missed += kept
        print(f"{mutate.__name__}: " + (f"found {len(tried) - kept} of {len(tried)} times" if tried else "no place"))
    print(f"{missed} not found")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
