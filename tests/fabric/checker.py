#!/usr/bin/env python3
"""Reads the history of a run of rounds, and nothing else, and tells which promise of the fabric was broken.

    checker.py HISTORY

Each problem names its promise and shows the lines that prove it. Ends with 0 when there is none. What each line is:
history.py. Nothing here starts a process, so that each promise can be broken by made-up lines.
"""

import argparse
import bisect
import collections
import json
import sys

from history import (COMMITS, HELD_ELSEWHERE, LOCK, SECOND, SWITCHES, VALUES, cells, in_force, outcome,
                     read_lines)  # fmt: skip

KEPT_COMMITS = 64
JOINED = "(join)"  # who commits the values that a switch brings into a fabric
NOTHING = {"is": "etcd", "revision": 0, "value": {"commit": 0, "timers": []}}  # before the first commit
OVERLAP = 50  # reads of one switch that may be under way at once, at most
NEAR = SECOND // 5  # how long after a line of a log it is seen, and may be met
SETTLE = SECOND  # how long after a disturbance its effects may still be met
OF_FABRIC = 0x40F00406, 0x40F00407, 0x40F00408, 0x40F00409


class Problem:
    def __init__(self, promise, text, *lines):
        self.promise, self.text, self.lines = promise, text, lines

    def __str__(self):
        shown = "".join("\n    " + json.dumps(line)[:600] for line in self.lines)
        return f"{self.promise}: {self.text}{shown}"


class Etcd:
    """Its changes by revision: every state of the values, and who held the lock at which revision."""

    def __init__(self, lines, first, report):
        self.first, self.report = first, report
        self.by_revision = collections.defaultdict(list)
        for line in lines:
            self.by_revision[line["revision"]].append(line)
        self.holes()
        self.values = {}  # revision -> its line
        self.lock = None
        self.records = {}  # commit -> line
        self.shown = {}  # key of a switch -> line
        for revision in sorted(self.by_revision):
            self.take(revision, {tail(line["key"]): line for line in self.by_revision[revision]})
        self.revisions = sorted(self.values)
        self.by_commit = {line["value"]["commit"]: line for line in self.values.values()}

    def holes(self):
        known = sorted(self.by_revision)
        for before, after in zip(known, known[1:]):
            if after != before + 1:
                self.report("recorded", f"etcd's revisions {before + 1} to {after - 1} are missing in the history")

    def take(self, revision, changed):
        holder = self.lock
        for name, line in changed.items():
            if name == LOCK:
                self.take_lock(line)
            elif name.startswith(COMMITS) and line["value"] is not None:
                self.take_record(line)
            elif name.startswith(SWITCHES) and line["value"] is not None:
                self.take_switch(line)
        if VALUES in changed:
            self.take_values(changed[VALUES], changed, holder)
        for name, line in changed.items():
            if name.startswith(COMMITS) and line["value"] is None:
                self.take_trim(line)

    def take_lock(self, line):
        if line["value"] is None:
            self.lock = None
            return
        # A holder may write its own again: under another lease, or so that an older transaction of it fails.
        if self.lock is not None:
            if any(self.lock["value"][name] != line["value"][name] for name in ("wwn", "session")):
                self.report("one holder", "the lock was taken while another held it", self.lock, line)
        self.lock = line

    def take_values(self, line, changed, holder):
        if line["value"] is None:
            return self.report("never lost", "the committed values are gone", line)
        before = self.values[max(self.values)] if self.values else NOTHING
        self.values[line["revision"]] = line
        now, old = line["value"], before["value"]
        if now["commit"] != old["commit"] + 1:
            self.report("one order", f"commit {now['commit']} follows commit {old['commit']}", before, line)
        if now["user"] == JOINED:
            if holder is not None:
                self.report("one holder", "a switch gave its values while another held the lock", holder, line)
            return None
        if holder is None or any(holder["value"][name] != now[name] for name in ("wwn", "session")):
            self.report("one holder", "values were committed without the lock", *filter(None, (holder, line)))
        if LOCK not in changed or changed[LOCK]["value"] is not None:
            self.report("one holder", "a commit did not give the lock back in its own transaction", line)
        return self.check_record(changed.get(record_name(now["commit"])), line, old)

    def check_record(self, record, line, old):
        now = line["value"]
        if record is None or record["value"] is None:
            return self.report("one order", f"commit {now['commit']} has no record in its own transaction", line)
        said = record["value"]
        if any(said.get(name) != now.get(name) for name in ("commit", "wwn", "session")):
            self.report("one order", "a commit and its record differ", line, record)
        wanted = cells(old["timers"]) | cells(said["changed"])
        given = cells(now["timers"])
        if old["commit"] == 0:  # upon it stands what every switch had
            wanted, given = (in_force(timers, self.first) for timers in (said["changed"], now["timers"]))
        if given != wanted:
            self.report("whole commits", "a commit is not what was in force with its changes", record, line)
        return None

    def take_record(self, line):
        number = line["value"]["commit"]
        if number in self.records:
            self.report("one order", f"commit {number} was recorded twice", self.records[number], line)
        self.records[number] = line

    def take_trim(self, line):
        number = int(line["key"].rsplit("/", 1)[1])
        newest = max((each["value"]["commit"] for each in self.values.values()), default=0)
        if number > newest - KEPT_COMMITS:
            self.report("never lost", f"the record of commit {number} is gone, the last one is {newest}", line)

    def take_switch(self, line):
        """A switch says what it has applied: never less than before, and nothing that etcd never had."""
        name, said = line["key"], line["value"]
        before = self.shown.get(name)
        if before is not None and said["revision"] < before["value"]["revision"]:
            self.report("one order", f"{said['name']} says that it went back", before, line)
        had = self.values.get(said["revision"])
        if said["revision"] and (had is None or had["value"]["commit"] != said["commit"]):
            self.report("one order", f"{said['name']} says that it applied what etcd has not at that revision", line)
        self.shown[name] = line

    def at(self, revision):
        """The values in force in etcd at this revision."""
        place = bisect.bisect_right(self.revisions, revision)
        return self.values[self.revisions[place - 1]] if place else NOTHING


def tail(key):
    """Without /switch/FABRIC/."""
    return key.split("/", 3)[-1]


def record_name(commit):
    return f"{COMMITS}{commit:010}"


class Checker:
    def __init__(self, lines):
        self.problems = []
        self.counts = collections.Counter()
        self.of = collections.defaultdict(list)
        for line in lines:
            self.of[line["is"]].append(line)
        self.run = self.of["run"][0]
        self.ops = sorted(self.of["op"], key=lambda op: op["invoke"])
        self.outcomes = {id(op): outcome(op) for op in self.ops}

    def report(self, promise, text, *lines):
        self.problems.append(Problem(promise, text, *lines))

    def check(self):
        self.etcd = Etcd(self.of["etcd"], self.run["first"], self.report)
        self.check_recorded()
        self.find_states()
        self.match_commits()
        self.check_acknowledged()
        self.check_refused()
        self.check_applied()
        self.check_reads()
        self.check_holders()
        self.check_quiet()
        self.check_times()
        return self.problems

    def outcome(self, op):
        return self.outcomes[id(op)]

    def check_recorded(self):
        """A history that says nothing proves nothing."""
        drained = max((line["revision"] for line in self.of["drained"]), default=0)
        last = max(self.etcd.by_revision, default=0)
        if drained < last or not self.of["drained"]:
            self.report("recorded", f"etcd's changes are known up to revision {drained} of {last} only")
        for what, lines in (("commit", self.etcd.values), ("read", self.of["read"]), ("op", self.ops),
                            ("quiet", self.of["quiet"]), ("applied", self.of["applied"])):  # fmt: skip
            if not lines:
                self.report("recorded", f"there is no {what}: the run says nothing about it")

    def find_states(self):
        """What each state of etcd makes a switch show -> its revisions."""
        self.states = collections.defaultdict(list)
        first = self.run["first"]
        self.states[frozenset(first.items())].append(0)
        for revision in self.etcd.revisions:
            timers = self.etcd.values[revision]["value"]["timers"]
            self.states[frozenset(in_force(timers, first).items())].append(revision)

    # Operations beside etcd's commits.

    def match_commits(self):
        """Which set each committed value is of."""
        self.sets = collections.defaultdict(list)  # (cell, value) -> sets
        for op in self.ops:
            if op["do"] == "set":
                self.sets[(f"{op['vsan']}/{op['key']}", op["value"])].append(op)
        self.commits_with = collections.defaultdict(list)  # (switch, cell, value) -> revisions
        names = {wwn: name for name, wwn in self.run["switches"].items()}
        self.committed_by = {}  # revision -> switch
        for number, record in self.etcd.records.items():
            line = self.etcd.by_commit.get(number)
            if line is None or line["value"]["user"] == JOINED:
                continue
            switch = names.get(record["value"]["wwn"], "?")
            self.committed_by[line["revision"]] = switch
            for cell, value in cells(record["value"]["changed"]).items():
                self.commits_with[(switch, cell, value)].append(line["revision"])
                self.check_committed_value(switch, cell, value, record)

    def check_committed_value(self, switch, cell, value, record):
        sets = [op for op in self.sets[(cell, value)] if op["switch"] == switch]
        if not sets:
            self.report("whole commits", f"{switch} committed {cell}={value}, which nobody set there", record)
        elif all(self.outcome(op) == "refused" for op in sets):
            self.report("refused is nowhere", f"{cell}={value} was refused and is committed", sets[0], record)

    def clears(self, switch):
        """Operations that may take pending values away."""
        return [op for op in self.ops if op["switch"] == switch and op["do"] in ("commit", "abort")
                and self.outcome(op) != "refused"]  # fmt: skip

    def certain_values(self, commit, clears, sets):
        """(cell, value) -> set, of those that were surely pending on the switch when it was told to commit."""
        last = max((op["return"] for op in clears if op is not commit and op["invoke"] < commit["return"]), default=-1)
        found = {}
        for op in sets:
            if op["invoke"] <= last or op["invoke"] > commit["return"]:
                continue
            cell = f"{op['vsan']}/{op['key']}"
            if self.outcome(op) == "refused":
                continue
            surely = self.outcome(op) == "done" and op["return"] < commit["invoke"]
            others = [each for each in sets if each is not op and self.outcome(each) != "refused"
                      and (each["vsan"], each["key"]) == (op["vsan"], op["key"])
                      and each["return"] > op["invoke"] and each["invoke"] < commit["return"]]  # fmt: skip
            if surely and not others:
                found[(cell, op["value"])] = op
        return found

    def check_acknowledged(self):
        """An acknowledged commit is in etcd, with every value that was pending, and in the order of the answers."""
        self.acknowledged = {}  # revision -> commit that was answered with yes
        for switch in self.run["switches"]:
            clears = self.clears(switch)
            sets = [op for op in self.ops if op["switch"] == switch and op["do"] == "set"]
            for commit in clears:
                if commit["do"] == "commit" and self.outcome(commit) == "done":
                    self.check_one_commit(switch, commit, self.certain_values(commit, clears, sets))
        self.check_real_time()

    def check_one_commit(self, switch, commit, values):
        self.counts["commits acknowledged"] += 1
        if not values:
            self.counts["commits acknowledged, of values that are not certain"] += 1
            return
        revisions = set()
        for (cell, value), op in values.items():
            found = self.commits_with[(switch, cell, value)]
            if not found:
                self.report("never lost", f"{cell}={value} was committed with an answer, etcd never had it", op, commit)
            revisions.update(found)
        if len(revisions) > 1:
            self.report("whole commits", f"one commit is at the revisions {sorted(revisions)}", commit)
        if revisions:
            self.acknowledged[max(revisions)] = commit

    def check_real_time(self):
        """What was answered before another commit was asked for has the lower revision."""
        latest = None  # of those that were answered earliest on, the highest revision
        answered = sorted((commit["return"], revision) for revision, commit in self.acknowledged.items())
        asked = sorted((commit["invoke"], revision) for revision, commit in self.acknowledged.items())
        place = 0
        for invoke, revision in asked:
            while place < len(answered) and answered[place][0] < invoke:
                latest = max(latest or 0, answered[place][1])
                place += 1
            if latest is not None and revision < latest:
                self.report("one order", "a commit came before one that had been answered when it was asked for",
                            self.acknowledged[latest], self.acknowledged[revision])  # fmt: skip

    def check_refused(self):
        """A commit in etcd is one that was answered with yes, or was never answered for certain."""
        doubtful = collections.defaultdict(list)
        known = {id(op) for op in self.acknowledged.values()}
        for op in self.ops:
            if op["do"] == "commit" and self.outcome(op) != "refused" and id(op) not in known:
                doubtful[op["switch"]].append(op)
        for revision in self.etcd.revisions:
            if revision in self.acknowledged or self.etcd.values[revision]["value"]["user"] == JOINED:
                continue
            switch = self.committed_by.get(revision, "?")
            since = self.latest_set(switch, revision)
            found = next((op for op in doubtful[switch] if op["return"] > since), None)
            if found is None:
                self.report("refused is nowhere", f"{switch} committed at revision {revision}; no commit that was "
                            "asked of it can be that one", self.etcd.values[revision])  # fmt: skip
            else:
                doubtful[switch].remove(found)
                self.counts["commits in doubt that are in etcd"] += 1

    def latest_set(self, switch, revision):
        record = self.etcd.records.get(self.etcd.values[revision]["value"]["commit"])
        changed = cells(record["value"]["changed"]) if record else {}
        sets = [op for each in changed.items() for op in self.sets[each] if op["switch"] == switch]
        return max((op["invoke"] for op in sets), default=0)

    # Holders.

    def check_holders(self):
        """Between a session's opening and its own commit nobody else's set is taken."""
        opened = {line["session"]: line for line in self.of["session"] if line["what"] == "opened"}
        intervals = []
        for revision, commit in self.acknowledged.items():
            line = opened.get(self.etcd.values[revision]["value"]["session"])
            if line is not None and line["seen"] < commit["invoke"]:
                intervals.append((line["seen"], commit["invoke"], commit, line))
                self.counts["sessions with a time that is certain"] += 1
        for op in self.ops:
            if op["do"] != "set" or self.outcome(op) != "done":
                continue
            for begin, end, commit, line in intervals:
                if begin < op["invoke"] and op["return"] < end and commit["switch"] != op["switch"]:
                    self.report("one holder", f"{op['switch']} took a set while {commit['switch']} held the lock",
                                line, op, commit)  # fmt: skip

    # What switches applied, and what they show.

    def disturbed(self, switch, begin, end):
        """Whether something was wrong with the switch or with etcd."""
        return any(line["begin"] < end and line["end"] + SETTLE > begin for line in self.of["disturb"]
                   if line["who"] == switch or line["who"] not in self.run["switches"])  # fmt: skip

    def check_applied(self):
        names = {wwn: name for name, wwn in self.run["switches"].items()}
        for switch in self.run["switches"]:
            before = None
            for line in (each for each in self.of["applied"] if each["switch"] == switch):
                self.counts["commits applied"] += 1
                self.check_one_applied(line, names)
                if before is not None:
                    self.check_next_applied(switch, before, line)
                before = line

    def check_one_applied(self, line, names):
        had = self.etcd.values.get(line["revision"])
        if had is None:
            return self.report("one order", f"{line['switch']} applied revision {line['revision']}, at which etcd has "
                               "no values", line)  # fmt: skip
        value = had["value"]
        said = (line["commit"], line["of"], line["session"])
        if said not in ((value["commit"], name, value["session"]) for name in (value["switch"], names[value["wwn"]])):
            self.report("one order", f"{line['switch']} applied what etcd has not at that revision", line, had)
        return None

    def check_next_applied(self, switch, before, line):
        if line["revision"] == before["revision"] or line["commit"] == before["commit"]:
            self.report("once", f"{switch} applied commit {line['commit']} twice", before, line)
        elif line["revision"] < before["revision"]:
            self.report("one order", f"{switch} applied a commit behind a later one", before, line)
        elif line["commit"] != before["commit"] + 1:
            self.counts["commits passed over by a switch that was away"] += 1
            if not self.disturbed(switch, before["seen"], line["seen"]):
                self.report("every commit", f"{switch} passed commits over while nothing was wrong", before, line)

    def check_reads(self):
        """Each shows a state that etcd had, none goes back, and what was acknowledged there is in it."""
        for switch in self.run["switches"]:
            answered = sorted((commit["return"], revision) for revision, commit in self.acknowledged.items()
                              if commit["switch"] == switch)  # fmt: skip
            reads = [read for read in self.of["read"] if read["switch"] == switch]
            seen = []  # (end, the least revision that it can be, read) of the reads before
            for read in sorted(reads, key=lambda each: each["invoke"]):
                seen.append(self.check_one_read(switch, read, seen[-OVERLAP:], answered))

    def check_one_read(self, switch, read, seen, answered):
        self.counts["reads"] += 1
        earlier = max((revision for end, revision, _ in seen if end < read["invoke"]), default=0)
        revisions = self.states.get(frozenset(read["timers"].items()))
        if revisions is not None and read.get("revision") is not None:
            # The switch said which one that is.
            revisions = [read["revision"]] if read["revision"] in revisions else None
        if revisions is None:
            self.report("values of etcd", f"{switch} showed values that etcd never had", read, self.nearest(read))
            return (read["return"], earlier, read)
        if max(revisions) < earlier:
            before = next(each for _, revision, each in seen if revision == earlier)
            self.report("one order", f"{switch} showed values that it had left behind", before, read)
        due = [revision for end, revision in answered[: bisect.bisect_left(answered, (read["invoke"],))]]
        if due and max(revisions) < max(due):
            self.report("never lost", f"{switch} does not show what it had committed with an answer",
                        self.acknowledged[max(due)], read)  # fmt: skip
        return (read["return"], min((each for each in revisions if each >= earlier), default=earlier), read)

    def nearest(self, read):
        """The state that differs least, for whoever looks for the reason."""
        shown = set(read["timers"].items())
        state = min(self.states, key=lambda each: len(shown.symmetric_difference(each)))
        revision = max(self.states[state])
        return {"nearest": revision, "shown": sorted(shown - state), "etcd": sorted(state - shown)}

    # Quiet points and times.

    def check_quiet(self):
        by_number = collections.defaultdict(dict)
        for read in self.of["read"]:
            if read.get("quiet") is not None:
                by_number[read["quiet"]][read["switch"]] = read
        for quiet in self.of["quiet"]:
            reads, had = by_number[quiet["number"]], self.etcd.at(quiet["revision"])
            self.counts["quiet points"] += 1
            for switch in self.run["switches"]:
                if switch not in reads:
                    self.report("all agree", f"{switch} showed nothing at the quiet point", quiet)
                else:
                    self.check_agrees(switch, reads[switch], had, quiet)
            if quiet["end"] - quiet["begin"] > quiet["bound_us"]:
                self.report("all agree", f"that took {(quiet['end'] - quiet['begin']) / SECOND:.1f} s", quiet)
            for problem in quiet.get("problems", ()):
                self.report("served again", problem, quiet)

    def check_agrees(self, switch, read, had, quiet):
        wanted = in_force(had["value"]["timers"], self.run["first"])
        if read["timers"] != wanted:
            differs = {cell: [value, wanted[cell]] for cell, value in read["timers"].items() if wanted[cell] != value}
            self.report("all agree", f"{switch} shows other values than etcd has: {differs}", quiet, read, had)

    def check_times(self):
        """A refusal takes its time at most, unless the switch itself stood still; and names who is in the way."""
        others = set(self.run["switches"]) | set(self.run["switches"].values())
        for op in self.ops:
            self.counts[f"{op['do']} {self.outcome(op)}"] += 1
            if op["status"] in OF_FABRIC and op["return"] - op["invoke"] > self.run["refusal_us"]:
                stood = any(line["who"] == op["switch"] and line["begin"] < op["return"] and
                            line["end"] + SETTLE > op["invoke"] for line in self.of["disturb"])  # fmt: skip
                if not stood:
                    took = (op["return"] - op["invoke"]) / SECOND
                    self.report("refused in time", f"a refusal took {took:.1f} s", op)
            if op["status"] == HELD_ELSEWHERE and not any(name in op["text"] for name in others - {op["switch"]}):
                self.check_unnamed(op)

    def check_unnamed(self, op):
        """Who holds the lock is asked once more for the text, and may have given it back."""
        ends = [line for line in (*self.of["session"], *self.of["applied"]) if line.get("what") != "opened"]
        ended = [line for line in ends if op["invoke"] - NEAR < line["seen"] < op["return"] + NEAR]
        self.counts["refusals that name nobody: the lock came free"] += bool(ended)
        if not ended:
            self.report("the holder is named", "the refusal names no switch", op)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("history")
    checker = Checker(read_lines(parser.parse_args().history))
    problems = checker.check()
    for name, count in sorted(checker.counts.items()):
        print(f"{name}: {count}")
    for problem in problems:
        print("BROKEN", problem)
    print(f"{len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
