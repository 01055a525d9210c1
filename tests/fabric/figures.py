#!/usr/bin/env python3
"""Figures of a fabric: how soon a commit is in force on all of many switches, and what a fabric costs an agent.

    figures.py --build BUILD --out OUT [--switches 100] [--commits 120] [--seconds 20]

Three members of etcd on loopback. Then
  1. commits at one switch after the other; each switch says in etcd when it has applied one (applied_at);
  2. a timer set over SNMP at one switch's agent, committed, and read over SNMP at the agents of all;
  3. GETs of a timer at two agents in turn, one whose switch is in a fabric and one whose switch is in none: while all
     is well, while commits go on, while a member of etcd is stopped, while all are gone. Ratios, not times.
OUT/figures.json, and a table on standard output.
"""

import argparse
import contextlib
import json
import os
import pathlib
import random
import shutil
import signal
import sys
import tempfile
import threading
import time

import agents
import cluster
import switches

PREFIX = f"/switch/{switches.FABRIC}/"
PATIENCE = 30  # seconds for what must take one
VSAN = switches.VSANS[0]
STATES = ("healthy", "commits going on", "one member stopped", "all of etcd gone")
SLICE = 200  # GETs of one agent before it is the other's turn


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(share * len(values)))]


def spread(milliseconds):
    return {"p50": round(percentile(milliseconds, 0.5), 2), "p99": round(percentile(milliseconds, 0.99), 2),
            "max": round(max(milliseconds), 2), "of": len(milliseconds)}  # fmt: skip


def must(each, *words):
    code, _, _, text = each.ctl(*words)
    if code != 0:
        raise RuntimeError(f"{each.name}: vsanctl {' '.join(map(str, words))}: {text}")


def start_switches(given, directory, etcd, count):
    there = [switches.Switch(directory, given.build.resolve(), number, etcd.urls(number))
             for number in range(1, count + 1)]  # fmt: skip
    for each in there:
        each.start()
    for each in there:
        each.await_state("member", 60)
    return there


def end_switches(there):
    for each in there:
        cluster.end_process(each.process)


def applied_at(etcd, wwns, commit):
    """{WWN: milliseconds since the epoch} of those that say they applied the commit."""
    asked = {"key": cluster.encode(PREFIX + "switches/"), "range_end": cluster.encode(PREFIX + "switches0")}
    found = {}
    for each in etcd.ask("kv/range", asked).get("kvs", ()):
        said = json.loads(cluster.decode(each["value"]))
        if said["commit"] == commit:
            found[cluster.decode(each["key"]).rsplit("/", 1)[1]] = said["applied_at"]
    return found if set(found) == wwns else None


def time_commits(given, there, etcd, drawn):
    """Milliseconds from vsanctl's start until it has its answer, and until the last switch has applied it."""
    wwns, answered, first, last = {each.wwn for each in there}, [], [], []
    for number in range(given.commits):
        each = drawn.choice(there)
        must(each, "timer", "set", "e_d_tov", 1000 + number, "--vsan", VSAN, "--force")
        begin, begun = time.monotonic(), time.time()
        must(each, "kdx", "commit")
        answered.append((time.monotonic() - begin) * 1000)
        commit = etcd.get(PREFIX + "kdx/fctimer/values")[0]["commit"]
        end, found = time.monotonic() + PATIENCE, None
        while found is None:
            if time.monotonic() > end:
                raise RuntimeError(f"commit {commit} is not applied by all after {PATIENCE} s")
            time.sleep(0.02)
            found = applied_at(etcd, wwns, commit)
        first.append(min(found.values()) - begun * 1000)
        last.append(max(found.values()) - begun * 1000)
    return {"answered_ms": spread(answered), "first_applied_ms": spread(first), "all_applied_ms": spread(last)}


def set_by_snmp(given, there, drawn):
    """One SET over SNMP, one commit, and GETs until each of all agents shows it."""
    ports = [agents.free_udp_port() for _ in there]
    processes = [agents.start_agent(given.build, each.dir, each.dir / "run", port)
                 for each, port in zip(there, ports)]  # fmt: skip
    clients = [agents.Client(port) for port in ports]
    try:
        before = there[0].timers()[f"{VSAN}/7"]
        for each, client in zip(there, clients):
            if not agents.await_value(client, agents.edtov(VSAN), before, PATIENCE):
                raise RuntimeError(f"the agent of {each.name} does not show {before}")
        place, wanted = drawn.randrange(len(there)), 3777
        status = clients[place].set(agents.edtov(VSAN), wanted)
        elsewhere = there[(place + 1) % len(there)].timers()[f"{VSAN}/7"]
        if status != 0 or elsewhere != before:
            raise RuntimeError(f"a SET gave {status}; elsewhere {elsewhere} is in force, not {before}")
        begin = time.monotonic()
        must(there[place], "kdx", "commit")
        shown = sum(agents.await_value(client, agents.edtov(VSAN), wanted, PATIENCE) for client in clients)
        took = (time.monotonic() - begin) * 1000
        if shown != len(there):
            raise RuntimeError(f"{shown} of {len(there)} agents show what was committed")
        return {"agents": len(there), "commit_to_read_at_all_ms": round(took, 1)}
    finally:
        for client in clients:
            client.close()
        for process in processes:
            cluster.end_process(process)


def get_for_a_while(clients, seconds):
    """GETs at the agents in turn, a slice each, another one first each time. A timer that is pending on another switch
    has no value here meanwhile; that is an answer, too."""
    taken = {name: [] for name in clients}
    spent = dict.fromkeys(clients, 0.0)
    end, order = time.monotonic() + seconds, list(clients)
    while time.monotonic() < end:
        order.reverse()
        for name in order:
            begun = time.perf_counter()
            for _ in range(SLICE):
                before = time.perf_counter()
                answer = clients[name].ask(agents.GET, b"public", agents.edtov(VSAN), agents.tlv(5, b""), 2)
                if answer is None or answer[0] != 0:
                    raise RuntimeError(f"no answer of the agent {name}")
                taken[name].append((time.perf_counter() - before) * 1e6)
            spent[name] += time.perf_counter() - begun
    return {name: {"gets_a_second": round(len(times) / spent[name]), **{
        f"{what}_us": round(percentile(times, share), 1) for what, share in (("p50", 0.5), ("p99", 0.99))}}
        for name, times in taken.items()}  # fmt: skip


@contextlib.contextmanager
def commits_going_on(each):
    over, problems = threading.Event(), []

    def run():
        number = 0
        while not over.wait(0.05):
            number += 1
            try:
                must(each, "timer", "set", "d_s_tov", 5000 + number % 5000, "--vsan", switches.VSANS[1], "--force")
                must(each, "kdx", "commit")
            except RuntimeError as problem:
                problems.append(problem)
                return

    thread = threading.Thread(target=run)
    thread.start()
    try:
        yield
    finally:
        over.set()
        thread.join(PATIENCE)
    if problems:
        raise problems[0]


@contextlib.contextmanager
def stopped(etcd, *names):
    etcd.send(signal.SIGSTOP, *names)
    try:
        yield
    finally:
        etcd.send(signal.SIGCONT, *names)
        etcd.await_served()


def compare_gets(given, directory, etcd):
    """The same GETs in each state of etcd, beside those of a switch without a fabric."""
    there = start_switches(given, directory, etcd, 3)
    alone = switches.Switch(directory, given.build.resolve(), 200, [])
    alone.outside_fabric = True
    alone.start()
    ports = {"fabric": agents.free_udp_port(), "alone": agents.free_udp_port()}
    processes = [agents.start_agent(given.build, each.dir, each.dir / "run", ports[name])
                 for name, each in (("fabric", there[0]), ("alone", alone))]  # fmt: skip
    clients = {name: agents.Client(port) for name, port in ports.items()}
    try:
        for name, client in clients.items():
            if not agents.await_value(client, agents.edtov(VSAN), there[0].timers()[f"{VSAN}/7"], PATIENCE):
                raise RuntimeError(f"the agent {name} does not answer")
        get_for_a_while(clients, given.seconds / 10)  # warm
        found = {"healthy": get_for_a_while(clients, given.seconds)}
        with commits_going_on(there[1]):
            found["commits going on"] = get_for_a_while(clients, given.seconds)
        with stopped(etcd, etcd.leader()):
            found["one member stopped"] = get_for_a_while(clients, given.seconds)
        etcd.kill(*etcd.names)
        time.sleep(1)
        found["all of etcd gone"] = get_for_a_while(clients, given.seconds)
        state = there[0].show("fabric")["state"]
        if state != "unreachable":
            raise RuntimeError(f"without etcd the switch says that it is {state}")
        return found
    finally:
        for client in clients.values():
            client.close()
        for process in processes:
            cluster.end_process(process)
        end_switches([*there, alone])


def print_table(found):
    print(f"{found['switches']} switches, etcd of three members, {found['commits']['all_applied_ms']['of']} commits")
    print("\n| from `kdx commit` until | p50 | p99 | longest |\n|---|---|---|---|")
    for name, what in (("answered_ms", "it is acknowledged"), ("first_applied_ms", "the first switch applied it"),
                       ("all_applied_ms", f"all {found['switches']} applied it")):  # fmt: skip
        each = found["commits"][name]
        print(f"| {what} | {each['p50']} ms | {each['p99']} ms | {each['max']} ms |")
    by_snmp = found["snmp"]
    print(f"\nSet over SNMP at one, committed, and read over SNMP at all {by_snmp['agents']} agents: "
          f"{by_snmp['commit_to_read_at_all_ms']} ms.")  # fmt: skip
    print("\n| GET of a timer | a second, with the fabric : without | ratio | p50 | p99 |\n|---|---|---|---|---|")
    for state in STATES:
        fabric, alone = found["gets"][state]["fabric"], found["gets"][state]["alone"]
        print(f"| {state} | {fabric['gets_a_second']} : {alone['gets_a_second']} | "
              f"{fabric['gets_a_second'] / alone['gets_a_second']:.2f} | {fabric['p50_us']} : {alone['p50_us']} us | "
              f"{fabric['p99_us']} : {alone['p99_us']} us |")  # fmt: skip


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("--switches", type=int, default=100)
    parser.add_argument("--commits", type=int, default=120)
    parser.add_argument("--seconds", type=float, default=20, help="of GETs in each state")
    return parser.parse_args()


def main():
    given = arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # nothing is left behind
    given.out.mkdir(parents=True, exist_ok=True)
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    directory, drawn = pathlib.Path(tempfile.mkdtemp(prefix="fabric-figures.")), random.Random(1)
    found = {"switches": given.switches, "heartbeat_ms": cluster.HEARTBEAT_MS, "election_ms": cluster.ELECTION_MS}
    try:
        (directory / "many").mkdir()
        with cluster.Cluster(directory / "many") as etcd:
            etcd.start_all()
            there = start_switches(given, directory / "many", etcd, given.switches)
            try:
                found["commits"] = time_commits(given, there, etcd, drawn)
                found["snmp"] = set_by_snmp(given, there, drawn)
            finally:
                end_switches(there)
        (directory / "few").mkdir()
        with cluster.Cluster(directory / "few") as etcd:
            etcd.start_all()
            found["gets"] = compare_gets(given, directory / "few", etcd)
        (given.out / "figures.json").write_text(json.dumps(found, indent=2) + "\n")
        print_table(found)
        return 0
    finally:
        shutil.rmtree(directory, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
