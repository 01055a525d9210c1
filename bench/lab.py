"""Agents and switches of the bench: on loopback, in a directory in memory, gone when the bench ends."""

import contextlib
import dataclasses
import os
import pathlib
import random
import shutil
import socket
import subprocess
import tempfile
import time

START_SECONDS = 30
PORTS = (20000, 32000)
PORT_TRIES = 100
COMMON_LINES = """\
com2sec reader default public
com2sec writer default private
com2sec limited default limited
group readers v2c reader
group writers v2c writer
group limiteds v2c limited
view all included .1
access readers "" any noauth exact all none none
access writers "" any noauth exact all all all
access limiteds "" any noauth exact all none none
maxGetbulkResponses 1000
maxGetbulkRepeats 1000
dontLogTCPWrappersConnects yes
sysContact bench
"""


class BenchError(Exception):
    """A text for whoever runs the bench."""


@dataclasses.dataclass
class Served:
    """A peer that is up."""

    name: str
    vsans: int
    port: int
    directory: pathlib.Path
    agent: list = dataclasses.field(default_factory=list)  # processes
    behind: list = dataclasses.field(default_factory=list)

    def word(self):
        """As the driver's --peer has it."""
        lists = (",".join(str(pid) for pid in pids) for pids in (self.agent, self.behind))
        return ":".join((self.name, str(self.vsans), str(self.port), *lists))


class Lab:
    def __init__(self, build, target=None):
        """`target` is a build for another processor; agent and switch are its, under an emulator, the driver is not."""
        served = (target or build).resolve()
        self.lib = served / "lib"
        self.bin = build.resolve() / "bin"
        self.programs = served / ("starters" if target else "bin")  # switchd and vsanctl
        self.snmpd = str(self.programs / "snmpd") if target else "snmpd"
        self.around = ()  # a command that runs the agents, in front of theirs
        self.agent_environment = {}
        self.processes = []
        self.directory = None

    def __enter__(self):
        memory = "/dev/shm"
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="bench.", dir=memory if os.path.isdir(memory) else None))
        return self

    def __exit__(self, *_):
        for process in reversed(self.processes):
            process.terminate()
        for process in reversed(self.processes):
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.wait(5)
            if process.poll() is None:
                process.kill()
                process.wait()
        shutil.rmtree(self.directory, ignore_errors=True)


def launch(lab, command, directory, name, vsans=0, **more):
    """Starts a process with its output in a file of the directory, and `more` in its environment. It ends with this
    one, however that ends."""
    environment = dict(
        os.environ,
        MIBS="",
        SNMPCONFPATH=str(directory),
        SNMP_PERSISTENT_DIR=str(directory / name),
        BENCH_VSANS=str(vsans),
        **more,
    )
    environment["PATH"] += ":/usr/sbin:/sbin"
    with open(directory / f"{name}.out", "ab") as out:
        command = ["setpriv", "--pdeathsig", "TERM", *command]
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=out, stderr=out, env=environment)
    lab.processes.append(process)
    return process


def checked(command, **more):
    """What a command printed; BenchError with what it complained of when it fails."""
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=120, **more)
    if done.returncode != 0:
        raise BenchError(f"{' '.join(map(str, command[:4]))}: {done.stderr.strip() or done.stdout.strip()}")
    return done.stdout


def free_udp_port():
    """A port of loopback that no socket has now, below those that the kernel gives to whoever asks for any."""
    for _ in range(PORT_TRIES):
        port = random.randrange(*PORTS)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as tried, contextlib.suppress(OSError):
            tried.bind(("127.0.0.1", port))
            return port
    raise BenchError(f"no port from {PORTS[0]} to {PORTS[1]} is free")


def wait_for_switch(lab, run_dir):
    end = time.monotonic() + START_SECONDS
    while True:
        try:
            return checked([lab.programs / "vsanctl", "--run-dir", run_dir, "show", "status"])
        except BenchError as problem:
            if time.monotonic() > end:
                raise BenchError(f"switchd does not start: {problem}") from problem
        time.sleep(0.05)


def start_switch(lab, directory, topology):
    run_dir = directory / "run"
    run_dir.mkdir()
    store = directory / "switch.db"
    command = [lab.programs / "switchd", "--run-dir", run_dir, "--state", store, "--topology", topology]
    return launch(lab, command, directory, "switchd")


def topology_of(lab, vsans):
    """A topology file with so many VSANs."""
    path = lab.directory / f"topology-{vsans}.toml"
    if not path.exists():
        path.write_text(checked([lab.bin / "bench_driver", "topology", vsans]))
    return path


def start_agent(lab, served, lines):
    conf = served.directory / "bench.conf"
    conf.write_text(COMMON_LINES + lines)
    command = [*lab.around, lab.snmpd, "-f", "-C", "-c", str(conf), "-I", "-smux"]
    command += ["-Lf", str(served.directory / "agent.log")]
    command += [f"--persistentDir={served.directory / 'agent'}", f"udp:127.0.0.1:{served.port}"]
    agent = launch(lab, command, served.directory, "snmpd", served.vsans, **lab.agent_environment)
    served.agent = [agent.pid]


def start_peer(lab, peer, vsans, **more_words):
    """Starts all that a peer is made of and does not wait for its agent: see wait_for. The words are for its texts."""
    directory = lab.directory / f"{peer.name}-{vsans}"
    directory.mkdir()
    served = Served(peer.name, vsans, free_udp_port(), directory)
    words = {"lib": lab.lib, "bin": lab.bin, "dir": directory, "vsans": vsans, **more_words}
    if peer.has_switch:
        served.behind = [start_switch(lab, directory, topology_of(lab, vsans)).pid]
        wait_for_switch(lab, directory / "run")
        for command in peer.switch_commands:
            checked([lab.programs / "vsanctl", "--run-dir", directory / "run", *command])
    start_agent(lab, served, peer.agent_lines.format(**words))
    if peer.program:
        command = [word.format(**words) for word in peer.program]
        served.behind = [launch_when(lab, directory / "agentx", command, directory).pid]
    return served


def launch_when(lab, path, command, directory):
    """Starts a program once a path is there."""
    end = time.monotonic() + START_SECONDS
    while not path.exists():
        if time.monotonic() > end:
            raise BenchError(f"{path} does not appear")
        time.sleep(0.02)
    return launch(lab, command, directory, "program")


def children_of(pid):
    return [int(word) for word in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]


def wait_for(lab, served, peer):
    """Waits until a peer answers its first request rightly."""
    try:
        checked([lab.bin / "bench_driver", "wait", "--seconds", START_SECONDS, "--peer", served.word()])
    except BenchError as problem:
        logs = [path for path in sorted(served.directory.glob("*.*")) if path.suffix in (".log", ".out")]
        tails = "".join(f"\n{path.name}: {path.read_text(errors='replace')[-500:]}" for path in logs)
        raise BenchError(f"{problem}{tails}") from problem
    if peer.asks_child:
        served.behind = children_of(served.agent[0])


def pin(lab, served, cpus):
    """Keeps this process, which starts the driver, and all agents and what is behind them on these CPUs."""
    for process in lab.processes:
        if process.poll() is not None:
            raise BenchError(f"{' '.join(map(str, process.args[3:]))} ended with {process.returncode}")
    os.sched_setaffinity(0, cpus)
    for pid in {process.pid for process in lab.processes}.union(*(each.behind for each in served)):
        for task in os.listdir(f"/proc/{pid}/task"):
            os.sched_setaffinity(int(task), cpus)
