"""A switch, its agent, the exporter, Prometheus and Alertmanager on loopback, set up as docs/monitoring.md says."""
import contextlib
import dataclasses
import json
import os
import pathlib
import re
import shlex
import shutil
import socket
import subprocess
import tempfile
import time
import urllib.parse
import urllib.request

import document

BUILD = pathlib.Path(os.environ["VSANMIB_BUILD"]).resolve()
TOPOLOGY = document.SOURCE / "packaging/topologies/small-fabric.toml"


@dataclasses.dataclass
class Lab:
    """What runs, by name, and where it is reached."""
    folder: pathlib.Path
    agent: str
    exporter: str
    prometheus: str
    alertmanager: str
    operators: str
    processes: dict = dataclasses.field(default_factory=dict)


def free_port(kind):
    with socket.socket(socket.AF_INET, kind) as s:
        s.bind(("127.0.0.1", 0))
        return f"127.0.0.1:{s.getsockname()[1]}"


def wait_for(what, ask, seconds=20):
    """What `ask` returns once that is true; fails after so many seconds. An ask that finds nobody is asked again."""
    end = time.monotonic() + seconds
    last = None
    while time.monotonic() < end:
        with contextlib.suppress(OSError, subprocess.SubprocessError):
            last = ask()
            if last:
                return last
        time.sleep(0.1)
    raise AssertionError(f"no {what} after {seconds} s, but {last!r}")


def launch(lab, name, command):
    with open(lab.folder / f"{name}.log", "ab") as log:
        # Nothing outlives a test that is killed.
        lab.processes[name] = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], cwd=lab.folder,
                                               stdin=subprocess.DEVNULL, stdout=log, stderr=log)


def end(lab, name):
    process = lab.processes.pop(name)
    process.kill()
    process.wait(10)


def placed(lab, text):
    """A text of the page with the lab's addresses and folders for those of the page."""
    for theirs, ours in (("127.0.0.1:9116", lab.exporter), ("192.0.2.10", lab.agent),
                         ("127.0.0.1:9093", lab.alertmanager), ("192.0.2.1/", f"{lab.operators}/"),
                         ("/etc/prometheus/", f"{lab.folder}/etc/"), ("/usr/lib/...", f"{BUILD}/lib")):
        text = text.replace(theirs, ours)
    return re.sub(r"^vsanctl ", f"{BUILD}/bin/vsanctl --run-dir {lab.folder}/run ", text, flags=re.M)


def typed(lab, command):
    """What a command of the page prints; it must succeed."""
    done = subprocess.run(["bash", "-ec", placed(lab, command)], cwd=document.SOURCE, capture_output=True, text=True,
                          timeout=20, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.stdout}{done.stderr}")
    return done.stdout


def vsanctl(lab, arguments):
    return typed(lab, f"vsanctl {arguments}")


def shown(lab, what):
    return json.loads(vsanctl(lab, f"--json show {what}"))


def fetch(url):
    with urllib.request.urlopen(url, timeout=15) as answer:
        return answer.read().decode()


def scrape(lab, module):
    return fetch(f"http://{lab.exporter}/snmp?module={module}&target={lab.agent}")


def asked(lab, path, **parameters):
    """The data of an answer of Prometheus' API."""
    return json.loads(fetch(f"http://{lab.prometheus}/api/v1/{path}?{urllib.parse.urlencode(parameters)}"))["data"]


def start_switchd(lab):
    launch(lab, "switchd", [BUILD / "bin/switchd", "--run-dir", lab.folder / "run", "--state", lab.folder / "switch.db",
                            "--topology", TOPOLOGY])
    wait_for("switchd", lambda: subprocess.run(
        [BUILD / "bin/vsanctl", "--run-dir", lab.folder / "run", "show", "status"], capture_output=True, timeout=5,
        check=False).returncode == 0)


def start_snmpd(lab):
    launch(lab, "snmpd", ["snmpd", "-f", "-C", "-c", lab.folder / "snmpd.conf", "-I", "-smux,ifTable,ifXTable",
                          f"--persistentDir={lab.folder}/agent", "-Lf", lab.folder / "agent.log", f"udp:{lab.agent}"])
    wait_for("agent", lambda: subprocess.run(
        ["snmpget", "-v2c", "-c", "public", "-t", "0.5", "-r", "0", lab.agent, "1.3.6.1.2.1.1.3.0"],
        capture_output=True, timeout=5, check=False, env=os.environ | {"MIBS": ""}).returncode == 0)


def start_exporter(lab):
    (arguments,) = re.findall(r'^ARGS="(.*)"$', placed(lab, document.block("exporter")), re.M)
    launch(lab, "exporter", ["prometheus-snmp-exporter", *shlex.split(arguments)])
    wait_for("exporter", lambda: fetch(f"http://{lab.exporter}/metrics"))


def start_prometheus(lab):
    """Prometheus by the page's configuration, which checked it, with times that a test can wait for."""
    path = lab.folder / "etc/prometheus.yml"
    path.write_text(document.quick_configuration(path.read_text()))
    rules = lab.folder / "etc/vsan-alerts.yml"
    rules.write_text(document.quick_rules(rules.read_text()))
    launch(lab, "prometheus", ["prometheus", f"--config.file={path}", f"--storage.tsdb.path={lab.folder}/data",
                               f"--web.listen-address={lab.prometheus}"])
    wait_for("prometheus", lambda: fetch(f"http://{lab.prometheus}/-/ready"))


def start_alertmanager(lab):
    path = lab.folder / "etc/alertmanager.yml"
    path.write_text(path.read_text().replace("group_wait: 30s", "group_wait: 1s"))
    launch(lab, "alertmanager", ["prometheus-alertmanager", f"--config.file={path}", f"--storage.path={lab.folder}/sent",
                                 f"--web.listen-address={lab.alertmanager}", "--cluster.listen-address="])
    wait_for("alertmanager", lambda: fetch(f"http://{lab.alertmanager}/-/ready"))


def install_packages(command):
    words = set(command.split()[3:])
    assert words == document.packages() - {"python3"}, f"{command} is not what packages.txt has"


def restart_services(lab, command):
    for unit in command.split()[2:]:
        assert pathlib.Path(f"/lib/systemd/system/{unit}.service").is_file(), f"{unit} is no unit"
    start_alertmanager(lab)
    start_prometheus(lab)


def set_up(lab, lines):
    """The page's lines that set things up. Packages are there, and there is no systemd to ask."""
    for line in lines.splitlines():
        if line.startswith("apt-get "):
            install_packages(line)
        elif line.startswith("systemctl "):
            restart_services(lab, line)
        else:
            typed(lab, line)


@contextlib.contextmanager
def running(with_prometheus):
    """A lab whose switch, agent and exporter run, and Prometheus if asked. All of it ends with the context."""
    lab = Lab(pathlib.Path(tempfile.mkdtemp(prefix="watched.")), free_port(socket.SOCK_DGRAM),
              *(free_port(socket.SOCK_STREAM) for _ in range(4)))
    try:
        for name in ("run", "agent", "etc"):
            (lab.folder / name).mkdir()
        (lab.folder / "snmpd.conf").write_text(
            f"dlmod switch_agent {BUILD}/lib/libswitchagent.so\nswitchRunDir {lab.folder}/run\n"
            f"dlmod vsan_mib {BUILD}/lib/libvsanmib.so\n{placed(lab, document.block('snmpd'))}")
        for name in ("prometheus", "alertmanager"):
            (lab.folder / f"etc/{name}.yml").write_text(placed(lab, document.block(name)))
        start_switchd(lab)
        start_snmpd(lab)
        before, after = document.blocks("sh")[:2]
        set_up(lab, before)
        start_exporter(lab)
        if with_prometheus:
            set_up(lab, after)
        yield lab
    finally:
        for name in list(lab.processes):
            end(lab, name)
        shutil.rmtree(lab.folder)
