"""What fleets of some sizes cost: memory, start, idle CPU, and the time of one poller's walk over all of them.

Writes the figures as JSON and as a plot. Nothing else should run on the machine; how busy it was otherwise while a
fleet was idle is among the figures.
"""

import argparse
import collections
import json
import os
import pathlib
import platform
import re
import shutil
import subprocess
import time

import fleet_plot

TOPOLOGY = pathlib.Path(__file__).parents[2] / "packaging/topologies/small-fabric.toml"
DESCRIPTION = """[fleet]
name = "figures"
directory = "{folder}/fleet"
topology = "{topology}"
supervisor = "s6"
[snmp]
network = "127.9.0.0"
port = 1161
[[group]]
name = "sw"
count = {count}
"""
SETTLE = 10  # seconds between the start and what is measured of an idle fleet
KINDS = {"switchd": "switchd", "snmpd": "snmpd", "s6-supervise": "supervisor", "s6-svscan": "supervisor"}


def fields(path):
    """The numbers of a file of /proc with lines "NAME: NUMBER ..."."""
    found = re.findall(r"^(\w+):\s+(\d+)", pathlib.Path(path).read_text(), re.MULTILINE)
    return {name: int(number) for name, number in found}


def parent_of(stat):
    return int(stat.rsplit(")", 1)[1].split()[1])


def processes(folder):
    """Pids of the fleet below the folder, by kind: its s6-svscan, and all that descends from it."""
    parents = {}
    names = {}
    root = None
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            pid = int(entry.name)
            parents[pid] = parent_of((entry / "stat").read_text())
            names[pid] = (entry / "comm").read_text().strip()
            if names[pid] == "s6-svscan" and f"{folder}/fleet/services" in (entry / "cmdline").read_text():
                root = pid
        except (FileNotFoundError, ProcessLookupError):
            continue
    kinds = collections.defaultdict(list)
    for pid in parents:
        at = pid
        while at not in (0, root):
            at = parents.get(at, 0)
        if at == root:
            kinds[KINDS[names[pid]]].append(pid)
    return kinds


def handed_out(pid):
    """KiB of memory without a name that the process holds open, which is in nobody's map: what a switch publishes."""
    blocks = 0
    for entry in pathlib.Path(f"/proc/{pid}/fd").iterdir():
        if os.readlink(entry).startswith("/memfd:"):
            blocks += os.stat(entry).st_blocks
    return blocks // 2


def memory(kinds):
    """KiB a process of each kind: proportional, its own anonymous memory, page tables, and memory without a name."""
    result = {}
    for kind, pids in kinds.items():
        rollups = [fields(f"/proc/{pid}/smaps_rollup") for pid in pids]
        total = {name: sum(each[name] for each in rollups) for name in ("Pss", "Pss_Anon", "Pss_File", "Pss_Shmem")}
        result[kind] = {"processes": len(pids)} | {
            f"{name.lower()}_kib_each": round(value / len(pids), 1) for name, value in total.items()
        }
        tables = sum(fields(f"/proc/{pid}/status")["VmPTE"] for pid in pids)
        result[kind]["page_tables_kib_each"] = round(tables / len(pids), 1)
    published = [handed_out(pid) for pid in kinds["switchd"]]
    result["switchd"]["published_kib_each"] = round(sum(published) / len(published), 1)
    return result


def machine_busy():
    """Seconds that all CPUs were not idle."""
    numbers = [int(each) for each in pathlib.Path("/proc/stat").read_text().splitlines()[0].split()[1:9]]
    return (sum(numbers) - numbers[3] - numbers[4]) / os.sysconf("SC_CLK_TCK")


def running(kinds):
    """Seconds on a CPU, and times it went to sleep by itself, by kind."""
    result = {}
    for kind, pids in kinds.items():
        seconds = sum(int(pathlib.Path(f"/proc/{pid}/schedstat").read_text().split()[0]) for pid in pids) / 1e9
        sleeps = sum(fields(f"/proc/{pid}/status")["voluntary_ctxt_switches"] for pid in pids)
        result[kind] = (seconds, sleeps)
    return result


def idle(kinds, seconds):
    """Percent of one CPU that an idle fleet takes, by kind, and what else ran meanwhile."""
    busy, before, began = machine_busy(), running(kinds), time.monotonic()
    time.sleep(seconds)
    busy, after, took = machine_busy() - busy, running(kinds), time.monotonic() - began
    percent = {kind: round((after[kind][0] - before[kind][0]) / took * 100, 2) for kind in kinds}
    return {
        "seconds": round(took, 1),
        "percent_of_one_cpu": percent,
        "wakeups_a_second": {kind: round((after[kind][1] - before[kind][1]) / took, 1) for kind in kinds},
        "rest_of_the_machine_percent_of_one_cpu": round(busy / took * 100 - sum(percent.values()), 2),
    }


def timed(command, **more):
    began = time.monotonic()
    done = subprocess.run(command, capture_output=True, text=True, check=False, **more)
    if done.returncode != 0:
        raise SystemExit(f"{' '.join(map(str, command))}: {done.stderr}{done.stdout}")
    return round(time.monotonic() - began, 2), done.stdout


def walks(build, targets, rounds):
    lines = "\n".join(address for group in json.loads(targets) for address in group["targets"]) + "\n"
    results = [json.loads(timed([build / "bin/fleet_walk"], input=lines)[1]) for _ in range(rounds)]
    return sorted(results, key=lambda each: each["seconds"])


def measure(build, folder, count, seconds):
    """All figures of one size."""
    file = folder / "fleet.toml"
    file.write_text(DESCRIPTION.format(folder=folder, topology=TOPOLOGY, count=count))
    vsanfleet = build / "bin/vsanfleet"
    free = fields("/proc/meminfo")["MemAvailable"]
    started, _ = timed([vsanfleet, "start", file])
    try:
        time.sleep(SETTLE)
        kinds = processes(folder)
        figures = {
            "switches": count,
            "start_seconds": started,
            "memory": memory(kinds),
            "machine_mib": round((free - fields("/proc/meminfo")["MemAvailable"]) / 1024, 1),
            "idle": idle(kinds, seconds),
            "status_seconds": timed([vsanfleet, "status", file])[0],
            "walks": walks(build, timed([vsanfleet, "targets", file])[1], 3),
        }
        figures["machine_mib_after_walks"] = round((free - fields("/proc/meminfo")["MemAvailable"]) / 1024, 1)
        used = timed(["du", "-sm", folder / "fleet"])[1].split()[0]
        figures["disk_mib"] = int(used)
    finally:
        stopped, _ = timed([vsanfleet, "stop", "--remove", file])
    return figures | {"stop_seconds": stopped}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--out", type=pathlib.Path, required=True, help="folder of fleet.json and fleet.svg")
    parser.add_argument("--sizes", default="10 100 1000")
    parser.add_argument("--seconds", type=int, default=60, help="how long an idle fleet is watched")
    chosen = parser.parse_args()
    folder = chosen.build.resolve() / "fleet-figures"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    chosen.out.mkdir(parents=True, exist_ok=True)
    result = {
        "machine": {
            "cpus": os.cpu_count(),
            "memory_mib": fields("/proc/meminfo")["MemTotal"] // 1024,
            "kernel": platform.release(),
        },
        "sizes": [],
    }
    for count in map(int, chosen.sizes.split()):
        result["sizes"].append(measure(chosen.build.resolve(), folder, count, chosen.seconds))
        print(json.dumps(result["sizes"][-1], indent=2), flush=True)
    (chosen.out / "fleet.json").write_text(json.dumps(result, indent=2) + "\n")
    fleet_plot.draw(chosen.out / "fleet.svg", result["sizes"], folder)
    shutil.rmtree(folder)


if __name__ == "__main__":
    main()
