#!/usr/bin/env python3
"""What each option of the small build saves of the module, and what the module takes of an agent's memory. Ends with an
error when the target's module is too large, or when an option changes what it exports. See docs/size.md."""

import argparse
import dataclasses
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys

import lab as labs
from instructions import GUEST, GUEST_SIZE, load
from peers import OURS, PEERS

MODULE = "libvsanmib.so"
VSANS = 100
SHAPES = (("getnext-row", 200), ("set-3", 200))  # what the agent is asked before its memory is looked at


@dataclasses.dataclass(frozen=True)
class Processor:
    name: str
    preset: str
    build: pathlib.Path  # with libraries, and programs that run
    emulated: bool


@dataclasses.dataclass(frozen=True)
class Size:
    octets: int
    code: int  # what is mapped read-only: text, constants, symbols
    data: int  # what is mapped writable, without what begins as zeros
    relocations: int
    relative: int
    exports: frozenset


def cached(build, name):
    """A variable of the build's CMake cache, or None."""
    found = re.search(f"^{name}:[A-Z]*=(.*)$", (build / "CMakeCache.txt").read_text(), re.MULTILINE)
    return found and found[1]


def run(command):
    """Runs a command that may take its time; BenchError with the end of what it said when it fails."""
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        raise labs.BenchError(f"{' '.join(map(str, command[:4]))}:\n{done.stdout[-2000:]}")


def build_module(processor, folder, options):
    """The stripped module as these options make it, linked to the libraries that it ships with."""
    platform = ";".join(str(processor.build / "lib" / f"libswitch{name}.so") for name in ("agent", "platform"))
    wanted = {"VSANMIB_ONLY": "ON", "VSANMIB_TESTS": "OFF", "VSANMIB_PLATFORM_LIBRARIES": platform,
              "VSANMIB_SMALL": "ON", "VSANMIB_SMALL_OPTIONS": ";".join(options),
              "CMAKE_BUILD_WITH_INSTALL_RPATH": "ON"}  # fmt: skip
    if prefix := cached(processor.build, "POWERPC_PREFIX"):
        wanted["POWERPC_PREFIX"] = prefix
    run(["cmake", "--preset", processor.preset, "-B", folder,
         *(f"-D{name}:STRING={value}" for name, value in wanted.items())])  # fmt: skip
    run(["cmake", "--build", folder, "-j2", "--target", "vsanmib"])
    stripped = folder / f"{len(options)}" / MODULE
    stripped.parent.mkdir(exist_ok=True)
    run([cached(folder, "CMAKE_STRIP"), "-o", stripped, folder / "lib" / MODULE])
    return stripped


def readelf(path, what):
    return labs.checked(["readelf", "-W", what, path]).splitlines()


def size_of(path):
    code = data = 0
    for line in readelf(path, "-l"):
        if segment := re.match(r" +LOAD +\S+ \S+ \S+ (0x\S+) \S+ (...) ", line):
            if "W" in segment[2]:
                data += int(segment[1], 16)
            else:
                code += int(segment[1], 16)
    entries = [line.split()[2] for line in readelf(path, "-r") if re.match("[0-9a-f]+ +[0-9a-f]+ +R_", line)]
    symbols = (line.split() for line in readelf(path, "--dyn-syms"))
    exports = frozenset(words[7] for words in symbols if len(words) > 7 and words[4] == "GLOBAL" and words[6].isdigit())
    relative = sum(entry.endswith("_RELATIVE") for entry in entries)
    if code == 0 or not entries or not exports:
        raise labs.BenchError(f"{path}: readelf says nothing that is understood")
    return Size(os.path.getsize(path), code, data, len(entries), relative, exports)


def sizes_of(processor, out, options):
    """A row for the options so far, beginning with none, and the modules of the first and of the last row."""
    rows, modules = [], []
    for count in range(len(options) + 1):
        print(f"  {processor.name}: {' '.join(options[:count]) or 'as usual'}", file=sys.stderr)
        modules.append(build_module(processor, out / processor.name, options[:count]))
        rows.append(size_of(modules[-1]))
        if rows[-1].exports != rows[0].exports:
            raise labs.BenchError(f"{options[count - 1]} changes what {MODULE} exports: "
                                  f"{sorted(rows[-1].exports ^ rows[0].exports)}")  # fmt: skip
    return rows, (modules[0], modules[-1])


@dataclasses.dataclass
class Memory:
    """KiB that are resident, and of those what this process has written to, which no other shares."""

    resident: int = 0
    own: int = 0


def read_memory(smaps, emulated):
    """By file, from the text of a process's smaps; "" is all. What follows a library without a name is its zeros."""
    by_file = {"": Memory()}
    end = name = counted = None
    for line in smaps.splitlines():
        if mapping := re.match(r"([0-9a-f]+)-([0-9a-f]+) \S+ \S+ \S+ \S+ *(.*)", line):
            first, last = (int(number, 16) for number in mapping.group(1, 2))
            counted = not emulated or GUEST <= first < GUEST + GUEST_SIZE
            if mapping[3] or first != end:
                name = pathlib.PurePath(mapping[3]).name or "anonymous"
            end = last
        elif counted and (number := re.match(r"(Rss|Anonymous): +(\d+) kB", line)):
            for memory in (by_file[""], by_file.setdefault(name, Memory())):
                if number[1] == "Rss":
                    memory.resident += int(number[2])
                else:
                    memory.own += int(number[2])
    return by_file


def memory_with(processor, native_build, module):
    """Of an agent with this module that has been asked for a while."""
    with labs.Lab(native_build, processor.build if processor.emulated else None) as lab:
        folder = lab.directory / "lib"
        folder.mkdir()
        for library in (module, *(lab.lib / f"libswitch{name}.so" for name in ("agent", "platform"))):
            shutil.copy(library, folder)
        lab.lib = folder
        lab.agent_environment = {"QEMU_GUEST_BASE": hex(GUEST)}
        peer = next(peer for peer in PEERS if peer.name == OURS)
        served = labs.start_peer(lab, peer, VSANS)
        labs.wait_for(lab, served, peer)
        for shape, requests in SHAPES:
            load(lab, served, shape, requests)
        memory = read_memory(pathlib.Path(f"/proc/{served.agent[0]}/smaps").read_text(), processor.emulated)
    if MODULE not in memory:
        raise labs.BenchError(f"{MODULE} is not in the agent's memory")
    return memory


def print_sizes(rows, options):
    names = list(rows)
    print("Octets of the stripped module; code: mapped read-only; data: mapped writable; relocations, and the relative")
    print("of them. A row has all options above it too.\n")
    print("| | " + " | ".join(f"{name} | code | data | relocations | relative" for name in names) + " |")
    print("|---" + "|---" * 5 * len(names) + "|")
    for number, label in enumerate(("as usual", *(f"`{option}`" for option in options))):
        cells = [f"{value:,}" for name in names for value in dataclasses.astuple(rows[name][number])[:5]]
        print(f"| {label} | " + " | ".join(cells) + " |")


def print_memory(memories):
    print(f"\nKiB of an agent that served {VSANS} VSANs: resident, and of that its own, which is what relocations and")
    print("variables cost; of the module and of the whole agent.\n")
    print("| | module, resident | own | agent, resident | own |\n|---|---|---|---|---|")
    for label, memory in memories:
        cells = (memory[MODULE].resident, memory[MODULE].own, memory[""].resident, memory[""].own)
        print(f"| {label} | " + " | ".join(f"{cell:,}" for cell in cells) + " |")


def measure(given):
    target = Processor("powerpc", "powerpc-small", given.target.resolve(), True)
    native = Processor("x86-64", "release", given.build.resolve(), False)
    options = cached(target.build, "VSANMIB_SMALL_OPTIONS").split(";")
    out = given.out.resolve()
    out.mkdir(parents=True, exist_ok=True)
    rows, memories = {}, []
    for processor in (target, native):
        rows[processor.name], modules = sizes_of(processor, out, options)
        for label, module in zip(("as usual", "small"), modules):
            memories.append((f"{processor.name}, {label}", memory_with(processor, native.build, module)))
    print_sizes(rows, options)
    print_memory(memories)
    size, limit = rows[target.name][-1].octets, int(cached(target.build, "VSANMIB_SMALL_LIMIT"))
    if size > limit:
        raise labs.BenchError(f"the target's module has {size:,} octets, more than {limit:,}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the native build, with the bench's driver")
    parser.add_argument("--target", type=pathlib.Path, required=True, help="the small build for the target")
    parser.add_argument("--out", type=pathlib.Path, required=True, help="where it builds")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("sizes: ended"))  # what it started ends, too
    try:
        measure(parser.parse_args())
    except labs.BenchError as problem:
        sys.exit(f"sizes: {problem}")


if __name__ == "__main__":
    main()
