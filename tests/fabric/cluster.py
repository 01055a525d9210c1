"""Members of an etcd on loopback, which can be killed, stopped and started again; and what is asked of them.

Their data is in the directory given, and outlives a kill. Heartbeats and elections are quicker than etcd's own default
(100 and 1000 ms), so that a round need not wait for a second when a leader goes.
"""

import base64
import concurrent.futures
import contextlib
import http.client
import json
import os
import random
import signal
import socket
import subprocess
import time

HEARTBEAT_MS, ELECTION_MS = 50, 500
PORTS = (20000, 32000)
ALL = base64.b64encode(b"\0").decode()  # as a key and as the end of a range: every key that there is


def free_tcp_ports(count):
    """Ports that nobody has now; they are not given out twice by one call."""
    found = []
    for _ in range(1000):
        port = random.SystemRandom().randrange(*PORTS)
        with socket.socket() as tried, contextlib.suppress(OSError):
            tried.bind(("127.0.0.1", port))
            found.append(port)
        if len(set(found)) == count:
            return sorted(set(found))
    raise RuntimeError("no free ports")


# A child goes with the thread that started it, so that one thread which lives as long as the program starts them all.
STARTER = concurrent.futures.ThreadPoolExecutor(max_workers=1)


def start_process(command, log, **environment):
    """In the background, gone with this program, its output appended to the file."""
    return STARTER.submit(start_here, command, log, environment).result(20)


def start_here(command, log, environment):
    with open(log, "ab") as out:
        return subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *map(str, command)], stdin=subprocess.DEVNULL,
                                stdout=out, stderr=out, env=dict(os.environ, **environment))  # fmt: skip


def end_process(process):
    if process is not None and process.poll() is None:
        process.send_signal(signal.SIGCONT)
        process.kill()
        process.wait(20)


class Cluster:
    """Used as a context: no member is left running."""

    def __init__(self, directory, members=3, heartbeat=HEARTBEAT_MS, election=ELECTION_MS, options=()):
        self.directory, self.options = directory, options
        self.timings = ["--heartbeat-interval", heartbeat, "--election-timeout", election]
        ports = free_tcp_ports(2 * members)
        self.names = [f"e{number + 1}" for number in range(members)]
        self.client = dict(zip(self.names, ports[:members]))
        self.peer = dict(zip(self.names, ports[members:]))
        self.processes = dict.fromkeys(self.names)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self.processes.values():
            end_process(process)

    def urls(self, first=0):
        """Where clients find the members; a rotation, so that not all clients take the same one."""
        names = self.names[first % len(self.names) :] + self.names[: first % len(self.names)]
        return [f"http://127.0.0.1:{self.client[name]}" for name in names]

    def start(self, name):
        peers = ",".join(f"{each}=http://127.0.0.1:{port}" for each, port in self.peer.items())
        mine, others = self.urls(self.names.index(name))[0], f"http://127.0.0.1:{self.peer[name]}"
        self.processes[name] = start_process(
            ["etcd", "--name", name, "--data-dir", self.directory / name, "--listen-client-urls", mine,
             "--advertise-client-urls", mine, "--listen-peer-urls", others, "--initial-advertise-peer-urls", others,
             "--initial-cluster", peers, "--initial-cluster-token", str(self.directory), "--logger", "zap",
             "--log-outputs", "stderr", *self.timings, *self.options],
            self.directory / f"{name}.log")  # fmt: skip

    def start_all(self, seconds=30):
        for name in self.names:
            self.start(name)
        self.await_served(seconds)

    def await_served(self, seconds=30):
        end = time.monotonic() + seconds
        while not all(self.is_served(name) for name in self.names):
            if time.monotonic() > end:
                raise RuntimeError(f"etcd does not serve, see {self.directory}")
            time.sleep(0.05)

    def is_served(self, name):
        """Whether it answers for the whole cluster: a read that its leader confirms."""
        try:
            self.ask("kv/range", {"key": ALL, "limit": 1}, name, timeout=1)
        except (OSError, http.client.HTTPException, ValueError):
            return False
        return True

    def kill(self, *names):
        for name in names:
            self.processes[name].kill()
            self.processes[name].wait(20)

    def send(self, number, *names):
        for name in names:
            self.processes[name].send_signal(number)

    def leader(self):
        """Name of the member that leads; the first one when nobody says so."""
        for name in self.names:
            with contextlib.suppress(OSError, http.client.HTTPException, ValueError, KeyError):
                status = self.ask("maintenance/status", {}, name, timeout=0.5)
                if status["leader"] == status["header"]["member_id"]:
                    return name
        return self.names[0]

    def ask(self, what, body, name=None, timeout=10):
        """A call of etcd's JSON gateway."""
        connection = http.client.HTTPConnection("127.0.0.1", self.client[name or self.names[0]], timeout=timeout)
        with contextlib.closing(connection):
            connection.request("POST", f"/v3/{what}", json.dumps(body))
            answer = connection.getresponse()
            text = answer.read()
            if answer.status != 200:
                raise OSError(f"etcd says {answer.status}: {text[:200]}")
            return json.loads(text)

    def revision(self):
        return int(self.ask("kv/range", {"key": ALL, "limit": 1})["header"]["revision"])

    def get(self, key):
        """(value, revision of its last change); (None, 0) when there is none."""
        found = self.ask("kv/range", {"key": encode(key)}).get("kvs", [])
        return (json.loads(decode(found[0]["value"])), int(found[0]["mod_revision"])) if found else (None, 0)

    def put(self, key, value):
        self.ask("kv/put", {"key": encode(key), "value": encode(value)})

    def delete(self, key):
        self.ask("kv/deleterange", {"key": encode(key)})

    def compact(self, revision):
        self.ask("kv/compaction", {"revision": revision, "physical": True})

    def changes(self, first, last, timeout=30):
        """All changes of all keys from one revision to another."""
        found = []
        if first > last:
            return found
        connection = http.client.HTTPConnection("127.0.0.1", self.client[self.names[0]], timeout=timeout)
        with contextlib.closing(connection):
            asked = {"create_request": {"key": ALL, "range_end": ALL, "start_revision": first}}
            connection.request("POST", "/v3/watch", json.dumps(asked))
            for line in connection.getresponse():
                said = json.loads(line)["result"]
                if said.get("canceled"):
                    raise RuntimeError(f"etcd does not tell its changes from {first}: {said}")
                found += [change_line(event) for event in said.get("events", ())]
                if found and found[-1]["revision"] >= last:
                    return [line for line in found if line["revision"] <= last]
        raise RuntimeError(f"etcd told its changes from {first} to {found[-1:]} only, not to {last}")


def encode(text):
    return base64.b64encode(text.encode()).decode()


def decode(text):
    return base64.b64decode(text).decode()


def change_line(event):
    """As the history has it."""
    about = event["kv"]
    gone = event.get("type") == "DELETE"
    return {"is": "etcd", "revision": int(about["mod_revision"]), "key": decode(about["key"]),
            "value": None if gone else parsed(decode(about.get("value", ""))),
            "version": int(about.get("version", 0))}  # fmt: skip


def parsed(text):
    try:
        return json.loads(text)
    except ValueError:
        return text
