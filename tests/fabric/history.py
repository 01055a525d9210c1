"""What a run of rounds writes down, a line of JSON each, and how it is read again.

Times are microseconds of the machine's monotonic clock. A line's `is` tells what it is:

    run       switches: {name: WWN}, refusal_us; first: what each switch showed before any commit, "VSAN/key"
    op        do (set, commit, abort, resume), switch, invoke, return, exit, status, text; of a set vsan, key, value
    etcd      one change of one key: revision, key, value (None: it is gone), version
    drained   etcd's changes are known up to this revision
    session   a switch's log: what (opened, lost, back), switch, session, revision, why, seen
    applied   a switch's log: switch, commit, of, revision, session, seen
    started   a switch's log begins anew: switch, seen
    read      switch, invoke, return, timers: {"VSAN/key": value}, revision; at a quiet point its number
    disturb   what, who, begin, end
    quiet     all is mended: number, begin (what was mended last), end, revision (etcd's), bound_us of this one
"""

import json

SECOND = 1_000_000
OUTCOME_UNKNOWN = 0x40F00407  # a commit: applied everywhere or nowhere
HELD_ELSEWHERE = 0x40190028
UNREACHABLE = 0x40F00406
SESSION_LOST = 0x40F00408
NOT_JOINED = 0x40F00409
NO_SESSION = 0x40F00403
REFUSED_EXIT = 1
VALUES, LOCK, COMMITS, SWITCHES = "kdx/fctimer/values", "kdx/fctimer/lock", "kdx/fctimer/commits/", "switches/"


def read_lines(path):
    with open(path, encoding="utf-8") as file:
        return [json.loads(line) for line in file]


def write_lines(path, lines):
    with open(path, "w", encoding="utf-8") as file:
        for line in lines:
            file.write(json.dumps(line) + "\n")


def outcome(op):
    """done, refused (nothing was changed) or unknown."""
    if op["exit"] == 0:
        return "done"
    doubtful = op["do"] == "commit" and op["status"] == OUTCOME_UNKNOWN
    if op["exit"] == REFUSED_EXIT and op["status"] and not doubtful:
        return "refused"
    return "unknown"


def cells(timers):
    """{"VSAN/key": value} of [[vsan, key, value], …]."""
    return {f"{vsan}/{key}": value for vsan, key, value in timers}


def in_force(timers, first):
    """What a switch shows, with nothing of its own, when these timers were committed."""
    said = cells(timers)
    return {cell: said.get(cell, said.get("0/" + cell.split("/")[1], value)) for cell, value in first.items()}
