#!/usr/bin/env python3
"""How fast the module is beside the same rows in other tables: one interleaved run. See README.md."""

import argparse
import csv
import os
import pathlib
import signal
import subprocess
import sys
import time

import figures
import lab as labs
import plot
import report
from peers import BASE, OURS, OURS_ONLY, PEERS

SHAPES = tuple(figures.GOALS)
TRAPS = "traps"  # measured by a program of its own
OURS_SHAPES = ("restricted-walk", "timers-walk", "timers-bulk", "summary-walk", "summary-bulk")
SIZES = (10, 100, 1000, 4093)
SLICE_SECONDS = 0.1  # a slice of a run of any length, but for very short ones
ROUNDS_MIN = 3
# What the shares of the time are for; the rest is starting and stopping.
SHARE_PINNED, SHARE_UNPINNED, SHARE_OURS, SHARE_TRAPS = 0.64, 0.13, 0.08, 0.03


def words(text, known, what):
    chosen = text.replace(",", " ").split() or list(known)
    for word in chosen:
        if word not in known:
            raise labs.BenchError(f"{what} {word} is not known; there are {' '.join(known)}")
    return [word for word in known if word in chosen]


def read_sizes(text):
    chosen = text.replace(",", " ").split() or [str(size) for size in SIZES]
    for word in chosen:
        if not word.isdecimal() or not min(SIZES) <= int(word) <= max(SIZES):
            raise labs.BenchError(f"size {word} is no number from {min(SIZES)} to {max(SIZES)}")
    return sorted({int(word) for word in chosen})


def read_options():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build directory")
    parser.add_argument("--out", type=pathlib.Path, required=True, help="where the results go")
    parser.add_argument("--seconds", type=float, default=300, help="how long all takes, about")
    parser.add_argument("--cpu", type=int, help="what is pinned is pinned to this one; default: the last")
    parser.add_argument("--sizes", default="", help="VSANs; default: all sizes")
    parser.add_argument("--peers", default="", help="peers; default: all. The one that ratios are to is always there")
    parser.add_argument("--shapes", default="", help="shapes; default: all")
    given = parser.parse_args()
    given.sizes = read_sizes(given.sizes)
    cpus = os.sched_getaffinity(0)
    given.cpu = max(cpus) if given.cpu is None else given.cpu
    if given.cpu not in cpus:
        raise labs.BenchError(f"there is no CPU {given.cpu} here; there are {' '.join(map(str, sorted(cpus)))}")
    all_shapes = words(given.shapes, (*SHAPES, *OURS_SHAPES, TRAPS), "shape")
    given.shapes = [shape for shape in all_shapes if shape in SHAPES]
    chosen = words(given.peers, [peer.name for peer in PEERS], "peer")
    has_ours = OURS in chosen
    given.ours_shapes = [shape for shape in all_shapes if shape in OURS_SHAPES and has_ours]
    given.traps = TRAPS in all_shapes and has_ours
    given.peers = [peer for peer in PEERS if peer.name in chosen or peer.name == BASE]
    return given


def plan_rounds(seconds, slices):
    """How many rounds of so many slices fit, and how long a slice is."""
    rounds = max(ROUNDS_MIN, int(seconds / (slices * SLICE_SECONDS)))
    return rounds, seconds / (rounds * slices)


def run_driver(lab, served, shapes, seconds, log):
    rounds, slice_seconds = plan_rounds(seconds, len(served) * len(shapes))
    print(f"  {len(served)} agents, {len(shapes)} shapes, {rounds} rounds, slices of {slice_seconds:.3f} s", file=log)
    command = [lab.bin / "bench_driver", "load", "--rounds", rounds, "--slice", f"{slice_seconds:.6f}"]
    for each in served:
        command += ["--peer", each.word()]
    for shape in shapes:
        command += ["--shape", shape]
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode != 0:
        raise labs.BenchError(done.stderr.strip() or f"the driver ended with {done.returncode}")
    return done.stdout.splitlines()


def start_all(lab, given):
    served = []
    for vsans in given.sizes:
        for peer in given.peers:
            served.append((labs.start_peer(lab, peer, vsans), peer))
    for each, peer in served:
        labs.wait_for(lab, each, peer)
    return [each for each, _ in served]


def main_run(lab, given, all_cpus, to):
    """The interleaved run, pinned and not. Returns the slices."""
    slices = figures.new_slices()
    served = start_all(lab, given)
    largest = [each for each in served if each.vsans == max(given.sizes)]
    runs = (
        ("pinned", served, given.seconds * SHARE_PINNED, {given.cpu}),
        ("unpinned", largest, given.seconds * SHARE_UNPINNED, all_cpus),
    )
    for cpu, agents, seconds, cpus in runs:
        labs.pin(lab, served, cpus)
        lines = run_driver(lab, agents, given.shapes, seconds, sys.stderr)
        to.writerows([cpu, *row] for row in csv.reader(lines))
        figures.read_slices(lines, cpu, slices)
    return slices


def storm(lab, served, sink, seconds):
    """Traps a second: moves, traps, seconds, CPU nanoseconds of agent and switch."""
    command = [lab.bin / "bench_trap_storm", served.directory / "run", sink, served.vsans, seconds]
    return next(csv.reader([labs.checked(command + [served.agent[0], served.behind[0]])]))


def ours_run(lab, given, cpus, to):
    """What has no counterpart among the peers, at the largest size, pinned. Returns the slices and the storm's row."""
    slices = figures.new_slices()
    sink = labs.free_udp_port()
    served = labs.start_peer(lab, OURS_ONLY, max(given.sizes), sink=sink)
    labs.wait_for(lab, served, OURS_ONLY)
    labs.pin(lab, [served], cpus)
    if given.ours_shapes:
        lines = run_driver(lab, [served], given.ours_shapes, given.seconds * SHARE_OURS, sys.stderr)
        to.writerows(["pinned", *row] for row in csv.reader(lines))
        figures.read_slices(lines, "pinned", slices)
    traps = storm(lab, served, sink, given.seconds * SHARE_TRAPS) if given.traps else None
    if traps:
        moves, count, *rest = traps
        to.writerow(["pinned", 0, served.vsans, TRAPS, served.name, moves, count, *rest])
    return slices, traps


def check_complete(slices, ours, given):
    for shape in given.ours_shapes:
        if len(ours.get(("pinned", max(given.sizes), shape, OURS_ONLY.name), {})) < ROUNDS_MIN:
            raise labs.BenchError(f"no figure of {OURS_ONLY.name}, {shape}")
    for cpu, sizes in (("pinned", given.sizes), ("unpinned", [max(given.sizes)])):
        for vsans in sizes:
            for shape in given.shapes:
                for peer in given.peers:
                    if len(slices.get((cpu, vsans, shape, peer.name), {})) < ROUNDS_MIN:
                        raise labs.BenchError(f"no figure of {peer.name}, {shape}, {vsans} VSANs, {cpu}")


def run(given):
    given.out.mkdir(parents=True, exist_ok=True)
    plot_file = given.out / "ratios.svg"
    plot_file.unlink(missing_ok=True)  # one of another run would be taken for this one's
    all_cpus = os.sched_getaffinity(0)
    with open(given.out / "raw.csv", "w", newline="") as raw:
        to = csv.writer(raw)
        to.writerow(figures.RAW_FIELDS)
        slices, ours, traps = figures.new_slices(), figures.new_slices(), None
        if given.shapes:
            with labs.Lab(given.build) as lab:
                slices = main_run(lab, given, all_cpus, to)
        if given.ours_shapes or given.traps:
            with labs.Lab(given.build) as lab:
                ours, traps = ours_run(lab, given, {given.cpu}, to)
    check_complete(slices, ours, given)
    figures.write_ratios(given.out / "ratios.csv", slices | ours)
    if given.shapes:
        plot.draw(plot_file, slices, given.sizes, given.shapes, given.peers)
        report.print_all(slices, given.sizes, given.shapes, given.peers)
    report.print_only_ours(ours, max(given.sizes), given.ours_shapes, traps)
    drawn = f"; the plot: {plot_file}" if given.shapes else ""
    print(f"\nRows and ratios: {given.out}/raw.csv and ratios.csv{drawn}")


def main():
    start = time.monotonic()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("bench: ended"))  # what it started ends, too
    try:
        run(read_options())
    except labs.BenchError as problem:
        sys.exit(f"bench: {problem}")
    print(f"{time.monotonic() - start:.0f} s in all")


if __name__ == "__main__":
    main()
