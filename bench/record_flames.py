#!/usr/bin/env python3
"""Records where the agent as shipped spends its time, and draws a flame graph a shape. See README.md."""

import argparse
import os
import pathlib
import signal
import sys

import flame_graph
import lab as labs
from peers import OURS, PEERS

VSANS = 4093
HERTZ = 997  # not in step with anything that is done every millisecond
STACK_BYTES = 16384  # of each sample, to find the callers in
WARM_UP_SECONDS = 1
SECONDS = 10
SHAPES = (
    ("getnext-row", "GETNEXT of a row"),
    ("getbulk-10x20", "GETBULK of ten columns and 20 rows"),
)  # fmt: skip
# Without inlined functions: to look them up takes the better part of an hour.
SCRIPT = ("perf", "script", "--no-inline", "-F", "comm,event,ip,sym,dso", "-i")


def load_command(lab, served, shape, seconds):
    return (lab.bin / "bench_driver", "load", "--slice", seconds, "--peer", served.word(), "--shape", shape)


def record(lab, served, shape, seconds):
    """What `perf script` prints of the agent, user space and kernel, while the shape is asked for."""
    data = lab.directory / "perf.data"
    labs.checked(load_command(lab, served, shape, WARM_UP_SECONDS))
    labs.checked(["perf", "record", "-q", "-e", "cpu-clock", "-F", HERTZ, "--call-graph", f"dwarf,{STACK_BYTES}",
                  "-o", data, "-p", served.agent[0], "--", *load_command(lab, served, shape, seconds)])  # fmt: skip
    return labs.checked([*SCRIPT, data])


def run(given):
    given.out.mkdir(parents=True, exist_ok=True)
    peer = next(peer for peer in PEERS if peer.name == OURS)
    with labs.Lab(given.build) as lab:
        served = labs.start_peer(lab, peer, VSANS)
        labs.wait_for(lab, served, peer)
        labs.pin(lab, [served], {max(os.sched_getaffinity(0))})  # as in most figures of the bench
        for shape, label in SHAPES:
            stacks = flame_graph.read_stacks(record(lab, served, shape, given.seconds))
            if not stacks:
                raise labs.BenchError(f"{shape}: no samples")
            path = given.out / f"flame-{shape}.svg"
            path.write_text(flame_graph.draw(stacks, f"Where the agent spends its time: {label}, {VSANS} VSANs"))
            print(f"{shape}: {len(stacks)} samples; {path}")
            print(flame_graph.summary(stacks))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build directory")
    parser.add_argument("--out", type=pathlib.Path, required=True, help="where the pictures go")
    parser.add_argument("--seconds", type=float, default=SECONDS, help="of each picture")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("bench: ended"))  # what it started ends, too
    try:
        run(parser.parse_args())
    except labs.BenchError as problem:
        sys.exit(f"bench: {problem}")


if __name__ == "__main__":
    main()
