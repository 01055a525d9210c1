#!/usr/bin/env python3
"""How fast the module is beside the same rows in other tables: one interleaved run. See README.md."""

import argparse
import csv
import os
import pathlib
import subprocess
import sys
import time

import figures
import lab as labs
import plot
import report
from peers import BASE, PEERS

SHAPES = tuple(figures.GOALS)
OURS_SHAPES = ("restricted-walk", "timers-walk", "timers-bulk", "summary-walk", "summary-bulk")
SIZES = (10, 100, 1000, 4093)
SLICE_SECONDS = 0.2  # a slice of a run of any length, but for very short ones
ROUNDS_MIN = 3
# What the shares of the time are for; the rest is starting and stopping.
SHARE_PINNED, SHARE_UNPINNED, SHARE_OURS = 0.68, 0.14, 0.06


def words(text, known, what):
    chosen = text.replace(",", " ").split() or list(known)
    for word in chosen:
        if word not in known:
            raise labs.BenchError(f"{what} {word} is not known; there are {' '.join(known)}")
    return [word for word in known if word in chosen]


def read_options():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build directory")
    parser.add_argument("--out", type=pathlib.Path, required=True, help="where the results go")
    parser.add_argument("--seconds", type=float, default=300, help="how long all takes, about")
    parser.add_argument("--sizes", default="", help="VSANs; default: all sizes")
    parser.add_argument("--peers", default="", help="peers; default: all. The one that ratios are to is always there")
    parser.add_argument("--shapes", default="", help="shapes; default: all")
    given = parser.parse_args()
    given.sizes = [int(word) for word in given.sizes.replace(",", " ").split()] or list(SIZES)
    all_shapes = words(given.shapes, SHAPES + OURS_SHAPES, "shape")
    given.shapes = [shape for shape in all_shapes if shape in SHAPES]
    given.ours_shapes = [shape for shape in all_shapes if shape in OURS_SHAPES]
    chosen = words(given.peers, [peer.name for peer in PEERS], "peer")
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
    ports = iter(labs.free_udp_ports(len(given.sizes) * len(given.peers)))
    served = []
    for vsans in given.sizes:
        for peer in given.peers:
            served.append((labs.start_peer(lab, peer, vsans, next(ports)), peer))
    for each, peer in served:
        labs.wait_for(lab, each, peer)
    return [each for each, _ in served]


def main_run(lab, given, all_cpus, to):
    """The interleaved run, pinned and not. Returns the slices."""
    slices = figures.new_slices()
    served = start_all(lab, given)
    largest = [each for each in served if each.vsans == max(given.sizes)]
    runs = (
        ("pinned", served, given.seconds * SHARE_PINNED, {max(all_cpus)}),
        ("unpinned", largest, given.seconds * SHARE_UNPINNED, all_cpus),
    )
    for cpu, agents, seconds, cpus in runs:
        labs.pin(lab, served, cpus)
        lines = run_driver(lab, agents, given.shapes, seconds, sys.stderr)
        to.writerows([cpu, *row] for row in csv.reader(lines))
        figures.read_slices(lines, cpu, slices)
    return slices


def check_complete(slices, given):
    for cpu, sizes in (("pinned", given.sizes), ("unpinned", [max(given.sizes)])):
        for vsans in sizes:
            for shape in given.shapes:
                for peer in given.peers:
                    if len(slices.get((cpu, vsans, shape, peer.name), {})) < ROUNDS_MIN:
                        raise labs.BenchError(f"no figure of {peer.name}, {shape}, {vsans} VSANs, {cpu}")


def run(given):
    given.out.mkdir(parents=True, exist_ok=True)
    all_cpus = os.sched_getaffinity(0)
    with open(given.out / "raw.csv", "w", newline="") as raw:
        to = csv.writer(raw)
        to.writerow(figures.RAW_FIELDS)
        with labs.Lab(given.build) as lab:
            slices = main_run(lab, given, all_cpus, to)
    check_complete(slices, given)
    figures.write_ratios(given.out / "ratios.csv", slices)
    plot.draw(given.out / "ratios.svg", slices, given.sizes, given.shapes, given.peers)
    for vsans in given.sizes:
        report.print_size(slices, "pinned", vsans, given.shapes, given.peers)
    report.print_size(slices, "unpinned", max(given.sizes), given.shapes, given.peers)
    report.print_history(slices, "pinned", given.sizes, given.shapes)
    report.print_growth(slices, "pinned", given.sizes, given.shapes, given.peers)
    print(f"\nRows and ratios: {given.out}/raw.csv and ratios.csv; the plot: {given.out}/ratios.svg")


def main():
    start = time.monotonic()
    try:
        run(read_options())
    except labs.BenchError as problem:
        sys.exit(f"bench: {problem}")
    print(f"{time.monotonic() - start:.0f} s in all")


if __name__ == "__main__":
    main()
