#!/usr/bin/env python3
"""Plants defects one by one into a copy of the tree: prints the seed, and the PDU by which the model found each.

Fails when one is not found within so many random SETs, when its text is no longer in the tree, or when the tree without
a defect differs from the model.
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
from typing import NamedTuple

HERE = os.path.dirname(os.path.abspath(__file__))
TREE = os.path.dirname(os.path.dirname(HERE))
MODULE = "feature/vsan_manager/mib/"


class Defect(NamedTuple):
    what: str
    file: str
    sound: str
    defective: str


DEFECTS = [
    Defect("a group with a malformed line reads and writes what belongs to no VSAN",
           "platform/agent_extension/roles_gate.cpp",
           "if (who.closed != 0 || who.held == nullptr) {\n    return who.closed;",
           "if (who.closed != 0 || who.held == nullptr) {\n    return 0;"),
    Defect("a tenant takes a foreign interface into a VSAN of its own",
           "platform/agent_extension/roles_answers.cpp",
           "return holds(held.vsans, vsan) ? 0 : int{kStatusVsanDenied};",
           "return holds(held.vsans, vsan) || vsan != 0 ? 0 : int{kStatusVsanDenied};"),
    Defect("rows of a refused PDU stay listed and reach the VSAN's next PDU",
           MODULE + "vsan_table_write/row_lists.cpp",
           "mark(pdu_is_over, key.vsanIndex, true);",
           "mark(pdu_is_over, key.vsanIndex, false);"),
    Defect("a destroy that is undone costs the VSAN its interfaces",
           "feature/managers/rows/dropped_vsans.cpp",
           "change.interfaces.back().vsan = id;",
           "change.interfaces.back().vsan = kDefaultVsan;"),
    Defect("the row of the last lookup answers a later PDU",
           MODULE + "read_side/vsan_table.cpp",
           "get_pdu_reqid() == cache.request_id && exact",
           "exact"),
    Defect("a creation that is refused later in its PDU is not taken back",
           MODULE + "vsan_table_write/row_status.cpp",
           "  send_back(kMsgDelete, key);\n",
           ""),
    Defect("a VSAN that a refused PDU made, and named once more, stays",
           MODULE + "vsan_table_write/row_status.cpp",
           "find_saved(row) != nullptr || find_pending(row) != nullptr;",
           "find_saved(row) != nullptr;"),
    Defect("the VSAN that an interface left is shown as up",
           "feature/managers/published/published_rows.cpp",
           "find_interface(before, interface.index); was != nullptr) {\n      touched.push_back(was->vsan);",
           "find_interface(before, interface.index); was != nullptr) {\n      touched.push_back(interface.vsan);"),
    Defect("a deleted VSAN's timers stay in the store",
           "feature/managers/store/store.cpp",
           "DELETE FROM timer WHERE vsan = ? AND key = ?",
           "DELETE FROM timer WHERE vsan = ? AND key = -?"),
    Defect("bits of the force flag that mean nothing are kept",
           MODULE + "fabric_write/force_flags.cpp",
           "flags_of_vsan[vsan] = flags;",
           "flags_of_vsan[vsan] = flags | 1;"),
    Defect("a DELETE leaves the time of the last change as it was",
           "feature/managers/state/change_effects.cpp",
           "  if (table_changed) {",
           "  if (table_changed && change.vsans_removed.empty()) {"),
]

TARGETS = ["whole_model_test", "watched_module", "switchd", "vsanctl"]


def run(command: list[str], **how) -> subprocess.CompletedProcess:
    return subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **how)


def build(copy: str) -> None:
    done = run(["cmake", "--build", "--preset", "release", "--target", *TARGETS], cwd=copy)
    if done.returncode != 0:
        sys.exit(f"the copy does not build:\n{done.stdout[-3000:]}")


def refresh(copy: str) -> None:
    """The tree as it is, and its build folder if there is one."""
    files = run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=TREE).stdout.split("\n")
    for name in filter(None, files):
        source, target = os.path.join(TREE, name), os.path.join(copy, name)
        if os.path.isfile(source) and not (os.path.exists(target) and same(source, target)):
            os.makedirs(os.path.dirname(target), exist_ok=True)
            shutil.copy(source, target)
    done = run(["cmake", "--preset", "release", "-DVSANMIB_TESTS=ON"], cwd=copy)
    if done.returncode != 0:
        sys.exit(f"the copy is not configured:\n{done.stdout[-3000:]}")


def same(one: str, other: str) -> bool:
    with open(one, "rb") as a, open(other, "rb") as b:
        return a.read() == b.read()


def difference(copy: str, seed: int, pdus: int) -> str:
    """The first PDU after which the copy is not what the model says, in a line; "" when there is none."""
    settings = {**os.environ, "MODEL_SEED": str(seed), "MODEL_PDUS": str(pdus)}
    done = run([os.path.join(copy, "build/release/bin/whole_model_test")], env=settings, timeout=1200)
    if done.returncode == 0:
        return ""
    at, which = re.search(r"PDU (\d+) of", done.stdout), re.search(r'Which is: "([a-z ]+)', done.stdout)
    if at is None or which is None:
        sys.exit(f"the test does not run:\n{done.stdout[-3000:]}")
    return f"PDU {at.group(1)}: {which.group(1)}"


def plant(copy: str, defect: Defect) -> None:
    path = os.path.join(copy, defect.file)
    with open(path, encoding="utf-8") as file:
        text = file.read()
    if text.count(defect.sound) != 1:
        sys.exit(f"{defect.file}: {text.count(defect.sound)} times in the tree: {defect.sound}")
    with open(path, "w", encoding="utf-8") as file:
        file.write(text.replace(defect.sound, defect.defective))


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--copy", default=os.path.join(TREE, "build/defects"))
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--pdus", type=int, default=10000)
    parser.add_argument("--only", default="", help="a text of the defects to plant")
    how = parser.parse_args()
    refresh(how.copy)
    build(how.copy)
    print(f"seed {how.seed}", flush=True)
    found = difference(how.copy, how.seed, how.pdus)
    print(f"no defect: {found or 'no difference'}", flush=True)
    missed = 1 if found else 0
    for defect in (each for each in DEFECTS if how.only in each.what):
        plant(how.copy, defect)
        build(how.copy)
        found = difference(how.copy, how.seed, how.pdus)
        print(f"{defect.what}: {found or 'NOT FOUND'}", flush=True)
        missed += 0 if found else 1
        shutil.copy(os.path.join(TREE, defect.file), os.path.join(how.copy, defect.file))
    sys.exit(f"{missed} wrong" if missed else 0)


if __name__ == "__main__":
    main()
