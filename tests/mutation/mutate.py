#!/usr/bin/python3 -B
"""Changes the module in one small way at a time and tells which changes no unit test of it notices.

usage: mutate.py --build FOLDER [--jobs N] [--only TEXT] [--list]

FOLDER holds a build of the unit tests. A mutant is compiled and linked beside it with the commands of that build, so
that neither the tree nor the build is touched. It is noticed when it does not compile, or a test fails, crashes or
takes too long. Ends with 1 when one survives that known_survivors.txt does not explain, and when that explains one
that is noticed, or that is no more.
"""

import argparse
import collections
import concurrent.futures
import functools
import pathlib
import resource
import shlex
import subprocess
import sys
import tempfile

from mutants import mutants_of, tables_of

HERE = pathlib.Path(__file__).resolve().parent
TREE = HERE.parents[1]
MODULE = TREE / "feature/vsan_manager/mib"
KNOWN = HERE / "known_survivors.txt"
TESTS = ["module_tests", "call_failure_tests", "exchange_table_tests"]
SECONDS = 20  # of a test program, which takes a few at most
BUILD_SECONDS = 600
MEMORY = 2 << 30
UNCHANGED = "unchanged"


@functools.cache
def commands(build, target):
    """The compiler's words that make the target, without what the generator puts around them."""
    lines = subprocess.run(["ninja", "-C", build, "-t", "commands", "-s", target], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    compiler = next(part for part in lines[-1].split(" && ") if " -o " in part)
    return tuple(word for word in shlex.split(compiler) if word != "ccache")


def object_of(file):
    return f"feature/vsan_manager/mib/CMakeFiles/vsanmib_objects.dir/{file}.o"


def limit():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CPU, (SECONDS, SECONDS))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def built(command, build):
    """Whether the command ends well. A build that takes for ever says nothing of a mutant."""
    try:
        return subprocess.run(command, cwd=build, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              stdin=subprocess.DEVNULL, timeout=BUILD_SECONDS, check=False).returncode == 0
    except subprocess.TimeoutExpired:
        sys.exit(f"mutate.py: no end after {BUILD_SECONDS} s: {shlex.join(map(str, command))}")


def quiet(command, build, **more):
    """Whether the command ends well, in time."""
    try:
        return subprocess.run(command, cwd=build, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              stdin=subprocess.DEVNULL, timeout=2 * SECONDS, **more).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def compile_command(build, mutant, folder):
    """Compiles the changed source, which finds its own headers as the unchanged one does."""
    (folder / "mutant.cpp").write_text(mutant.text)
    command = list(commands(build, object_of(mutant.file)))
    where = {"-o": folder / "mutant.o", "-c": folder / "mutant.cpp", "-MF": folder / "mutant.d"}
    for option, path in where.items():
        if option in command:
            command[command.index(option) + 1] = str(path)
    return [*command, "-O0"]


def link_command(build, test, folder):
    """Links the test with the changed object before the archive that holds the unchanged one."""
    command = list(commands(build, "bin/" + test))
    out = command.index("-o")
    return command[: out + 1] + [str(folder / test), str(folder / "mutant.o")] + command[out + 2 :]


def noticed_by(build, mutant):
    """What notices the mutant, or nothing."""
    with tempfile.TemporaryDirectory(prefix="mutant-") as name:
        folder = pathlib.Path(name)
        if not built(compile_command(build, mutant, folder), build):
            return "compiler"
        for test in TESTS:
            if not built(link_command(build, test, folder), build):
                return "linker"
            run = [str(folder / test), "--gtest_fail_fast", "--gtest_brief=1"]
            if not quiet(run, build, preexec_fn=limit, env={"SET_SEED": "1"}):
                return test
            (folder / test).unlink()
    return None


def known_survivors():
    """Reasons by the survivors' whole names. A paragraph each: the name, and the reason below it, indented."""
    known, name = {}, None
    for line in KNOWN.read_text().splitlines():
        if line.startswith("#") or not line.strip():
            continue
        if not line.startswith(" "):
            name = line.strip()
            known[name] = ""
        else:
            known[name] += line.strip() + " "
    unexplained = [name for name, reason in known.items() if not reason]
    if unexplained:
        sys.exit(f"{KNOWN}: no reason for {unexplained[0]}")
    return known


def all_mutants(only):
    sources = {str(path.relative_to(MODULE)): path.read_text() for path in sorted(MODULE.rglob("*.cpp"))}
    tables = tables_of([path.read_text() for path in TREE.glob("*/**/*.h")] + list(sources.values()))
    mutants = [each for file, text in sources.items() for each in mutants_of(file, text, tables)]
    return [each for each in mutants if only in full_name(each)]


def full_name(mutant):
    return f"{mutant.file}: {mutant.name}"


def try_all(build, mutants, jobs):
    """The survivors' names, and how many mutants each noticed."""
    survivors, by = [], collections.Counter()
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for mutant, found in zip(mutants, pool.map(lambda each: noticed_by(build, each), mutants)):
            by[found or "nobody"] += 1
            if found is None:
                survivors.append(full_name(mutant))
                print("survives:", survivors[-1], flush=True)
    return survivors, by


def check_unchanged(build):
    """A build whose tests fail, or commands that do not work, would notice every mutant."""
    path = "registration.cpp"
    unchanged = next(mutants_of(path, (MODULE / path).read_text(), set()))
    unchanged = type(unchanged)(path, UNCHANGED, (MODULE / path).read_text())
    found = noticed_by(build, unchanged)
    if found:
        sys.exit(f"mutate.py: the unchanged module is refused by {found}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", required=True, type=lambda path: str(pathlib.Path(path).resolve()))
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--only", default="", help="mutants whose name has this text")
    parser.add_argument("--list", action="store_true", help="prints the mutants' names")
    given = parser.parse_args()
    mutants = all_mutants(given.only)
    if given.list:
        print("\n".join(map(full_name, mutants)))
        return 0
    known = known_survivors()
    check_unchanged(given.build)
    survivors, by = try_all(given.build, mutants, given.jobs)
    print(f"{len(mutants)} mutants:", ", ".join(f"{count} by {who}" for who, count in by.most_common()))
    unlisted = [name for name in survivors if name not in known]
    outdated = [name for name in known if given.only in name and name not in survivors]
    print(f"{len(survivors)} survive, {len(survivors) - len(unlisted)} of them explained in {KNOWN.name}")
    for name in unlisted:
        print("not explained:", name)
    for name in outdated:
        print("explained, but no survivor:", name)
    return 1 if unlisted or outdated else 0


sys.exit(main())
