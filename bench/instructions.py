#!/usr/bin/env python3
"""How many instructions the agent takes for a request, and in which library. See README.md."""

import argparse
import array
import csv
import dataclasses
import pathlib
import re
import signal
import sys

import lab as labs
from libraries import LIBRARIES, OTHER, library_of
from peers import BASE, OURS, PEERS

VSANS = 4093
PEERS_COUNTED = (OURS, "ours-no-history", BASE, "array")
PEERS_EMULATED = (OURS, "ours-no-history")
WARM_UP = 20  # requests that are not counted
WAIT_SECONDS = 90  # for the requests of one shape, at most; an agent that is counted is forty times as slow
VALGRIND = ("valgrind", "--tool=callgrind", "--instr-atstart=no", "--callgrind-out-file={file}")
# Where the emulator puts the 4 GB of the emulated memory, what it counts with, and that one's pages: see emulated/.
GUEST = 0x200000000
GUEST_SIZE = 1 << 32
PLUGIN = "file={lib}/bench_page_counter.so,out={file}"
PAGE = 1 << 12
# The functions of libc that store or copy blocks, where a step of a repeated instruction counts as one.
BLOCKS = re.compile(r"__(memset|memcpy|memmove|mempcpy)_")
NAME = re.compile(r"(c?)(ob|fn)=\((\d+)\)(?: (.*))?$")
COST = re.compile(r"(?:\d+|[+-]\d+|\*) (\d+)$")  # after the line in the source
COLUMNS = tuple(each.name for each in LIBRARIES if each.name != "kernel")  # which callgrind does not see


@dataclasses.dataclass(frozen=True)
class Shape:
    name: str  # the driver's
    label: str
    requests: int  # the same ones for every peer
    units: int = 1  # what the table is of, in a request


SHAPES = (
    Shape("get-contact", "GET of sysContact, which is the agent's own; a request", 1500),
    Shape("get-1", "GET, one varbind; a request", 1500),
    Shape("getnext-1", "GETNEXT, one varbind; a request", 1500),
    Shape("getnext-row", "GETNEXT, a row of ten columns; a request", 600),
    Shape("getbulk-10x20", "GETBULK, ten columns, 20 rows; a row", 200, 20),
    Shape("set-1", "SET, one column; a request", 600),
    Shape("set-3", "SET, three columns of a row; a request", 400),
)


@dataclasses.dataclass
class Count:
    """Instructions, and what they were for."""

    requests: int
    varbinds: int
    total: int = 0
    blocks: int | None = 0  # of `total`; None: not counted
    by_library: dict = dataclasses.field(default_factory=lambda: dict.fromkeys(COLUMNS, 0))


def read_count(text, requests, varbinds):
    """The count in a file of callgrind's. callgrind_annotate does not say in which library code is that was inlined."""
    count = Count(requests, varbinds)
    names = {"ob": {}, "fn": {}}  # a name stands where its number comes first
    now = {"ob": "", "fn": ""}
    called = False
    for line in text.splitlines():
        if name := NAME.match(line):
            called_one, kind, number, words = name.groups()
            words = names[kind].setdefault(number, words)
            if not called_one:
                now[kind] = words
        elif cost := COST.match(line):
            if not called:  # what a call took is in the lines of the function called
                add(count, now, int(cost[1]))
            called = False
        elif line.startswith("calls="):
            called = True
        elif line.startswith("totals:"):
            count.total = int(line.split()[1])
    if count.total == 0 or count.total != sum(count.by_library.values()):
        raise labs.BenchError(f"the libraries' {sum(count.by_library.values())} instructions are not {count.total}")
    return count


def add(count, now, instructions):
    library = library_of(now["ob"]).name
    count.by_library[library] += instructions
    if library == "libc" and BLOCKS.match(now["fn"]):
        count.blocks += instructions


def control(served, *words):
    """Tells callgrind, which says "OK." when it has done it and exits with 0 whatever happens."""
    said = labs.checked(["callgrind_control", *words, served.agent[0]])
    if "OK." not in said:
        raise labs.BenchError(f"callgrind_control {' '.join(words)}: {said.strip()}")


def load(lab, served, shape, requests):
    """Has the driver send so many requests of the shape of this name; how many requests and varbinds were answered."""
    command = [lab.bin / "bench_driver", "load", "--warm-up", 0, "--requests", requests, "--slice", WAIT_SECONDS]
    row = next(csv.reader([labs.checked([*command, "--peer", served.word(), "--shape", shape])]))
    return int(row[4]), int(row[5])


def count_shape(lab, served, shape, file, number):
    """`number` is that of the file that callgrind writes, from 1."""
    load(lab, served, shape.name, WARM_UP)
    control(served, "--instr=on")
    requests, varbinds = load(lab, served, shape.name, shape.requests)
    control(served, "--instr=off")
    if requests < shape.requests:
        print(f"  {shape.name} of {served.name}: {requests} requests in {WAIT_SECONDS} s", file=sys.stderr)
    control(served, "--dump")
    return read_count(pathlib.Path(f"{file}.{number}").read_text(), requests, varbinds)


def read_maps(text):
    """Where in the emulated memory which library is: (first address, address behind it, name), of a process's maps."""
    maps = []
    for line in text.splitlines():
        if found := re.match(r"([0-9a-f]+)-([0-9a-f]+) \S+ \S+ \S+ \S+ *(.*)", line):
            first, last = (int(number, 16) - GUEST for number in found.group(1, 2))
            if 0 <= first and last <= GUEST_SIZE:
                maps.append((first, last, library_of(found[3]).name))
    return maps


def read_pages(file):
    pages = array.array("Q")
    with open(file, "rb") as counts:
        pages.fromfile(counts, GUEST_SIZE // PAGE)
    return pages


def count_pages(before, after, maps, requests, varbinds):
    """The count between two readings of what the plugin has counted."""
    count = Count(requests, varbinds, sum(after) - sum(before), None)
    for first, last, name in maps:
        pages = slice(first // PAGE, last // PAGE)
        count.by_library[name] += sum(after[pages]) - sum(before[pages])
    if count.total == 0:
        raise labs.BenchError("the emulator counted no instructions")
    count.by_library[OTHER.name] += count.total - sum(count.by_library.values())  # what is in no file
    return count


def count_shape_emulated(lab, served, shape, file):
    load(lab, served, shape.name, WARM_UP)
    before = read_pages(file)
    requests, varbinds = load(lab, served, shape.name, shape.requests)
    after = read_pages(file)
    maps = read_maps(pathlib.Path(f"/proc/{served.agent[0]}/maps").read_text())
    return count_pages(before, after, maps, requests, varbinds)


def count_peer_emulated(build, target, peer, shapes):
    counts = {}
    with labs.Lab(build, target) as lab:
        file = lab.directory / "pages"
        plugin = PLUGIN.format(lib=build.resolve() / "lib", file=file)
        lab.agent_environment = {"QEMU_GUEST_BASE": hex(GUEST), "QEMU_PLUGIN": plugin}
        served = labs.start_peer(lab, peer, VSANS)
        labs.wait_for(lab, served, peer)
        for shape in shapes:
            print(f"  {target.name}: {peer.name}, {shape.name}", file=sys.stderr)
            counts[shape.name] = count_shape_emulated(lab, served, shape, file)
    return counts


def count_peer(build, peer, shapes):
    counts = {}
    with labs.Lab(build) as lab:
        file = lab.directory / "callgrind"
        lab.around = tuple(word.format(file=file) for word in VALGRIND)
        served = labs.start_peer(lab, peer, VSANS)
        labs.wait_for(lab, served, peer)
        for number, shape in enumerate(shapes, 1):
            print(f"  {peer.name}, {shape.name}", file=sys.stderr)
            counts[shape.name] = count_shape(lab, served, shape, file, number)
    return counts


def print_table(counts, peers, shapes):
    print(f"Instructions of the agent, {VSANS} VSANs; not the kernel's, and not those of the switch behind it. Of an")
    print("instruction that stores or copies step by step every step counts: most are in libc, where the last but one")
    print('column, "blocks", is what stores and copies blocks. The module of the two tables is what serves the table.')
    heads = ("all", *COLUMNS, "blocks")
    for shape in shapes:
        print(f"\n  {shape.label}\n    {'':<32}" + "".join(f"{head:>10}" for head in heads) + "  a varbind")
        for peer in peers:
            count = counts[peer.name][shape.name]
            units = count.requests * shape.units
            parts = [f"{part / units:10.0f}" for part in (count.total, *count.by_library.values())]
            parts.append(f"{'-':>10}" if count.blocks is None else f"{count.blocks / units:10.0f}")
            print(f"    {peer.label:<32}" + "".join(parts)
                  + f"{count.total / count.varbinds:11.0f}")  # fmt: skip


def write_csv(path, counts):
    with open(path, "w", newline="") as out:
        to = csv.writer(out)
        to.writerow(("shape", "peer", "vsans", "requests", "varbinds", "instructions", "a_request", "a_varbind",
                     *COLUMNS, "blocks"))  # fmt: skip
        for peer, shapes in counts.items():
            for shape, count in shapes.items():
                shares = (f"{count.total / each:.1f}" for each in (count.requests, count.varbinds))
                parts = (*count.by_library.values(), count.blocks)
                to.writerow((shape, peer, VSANS, count.requests, count.varbinds, count.total, *shares, *parts))


def chosen(text, known, what):
    wanted = text.replace(",", " ").split() or [each.name for each in known]
    for word in wanted:
        if word not in (each.name for each in known):
            raise labs.BenchError(f"{what} {word} is not known; there are {' '.join(each.name for each in known)}")
    return [each for each in known if each.name in wanted]


def read_options():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build directory")
    parser.add_argument("--target", type=pathlib.Path, help="a build for another processor, whose agent is counted")
    parser.add_argument("--out", type=pathlib.Path, required=True, help="where instructions.csv goes")
    parser.add_argument("--peers", default="", help="peers; default: ours, without history too, and the two tables")
    parser.add_argument("--shapes", default="", help="shapes; default: all")
    return parser.parse_args()


def run(given):
    names = PEERS_EMULATED if given.target else PEERS_COUNTED
    counted = [peer for name in names for peer in PEERS if peer.name == name]
    peers, shapes = chosen(given.peers, counted, "peer"), chosen(given.shapes, SHAPES, "shape")
    given.out.mkdir(parents=True, exist_ok=True)
    if given.target:
        counts = {peer.name: count_peer_emulated(given.build, given.target, peer, shapes) for peer in peers}
        file = given.out / f"instructions-{given.target.name}.csv"
        print(f"The agent of {given.target.name}, under an emulator.")
    else:
        counts = {peer.name: count_peer(given.build, peer, shapes) for peer in peers}
        file = given.out / "instructions.csv"
    write_csv(file, counts)
    print_table(counts, peers, shapes)
    print(f"\nAll of it: {file}")


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("bench: ended"))  # what it started ends, too
    try:
        run(read_options())
    except labs.BenchError as problem:
        sys.exit(f"bench: {problem}")


if __name__ == "__main__":
    main()
