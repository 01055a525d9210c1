"""The machine that watches another one: Prometheus and its SNMP exporter of the host, in that machine's network, set up
as docs/monitoring.md says."""
import contextlib
import json
import os
import subprocess
import sys
import time

import machine as machines

sys.path.append(os.path.join(machines.SOURCE, "tests", "monitoring"))
import document  # noqa: E402

LONGEST_SECONDS = 60
FETCH = "import sys, urllib.request; print(urllib.request.urlopen(sys.argv[1], timeout=10).read().decode())"


def in_network(machine, argv):
    return ["nsenter", f"--target={machine.inside}", "--net", "--", *argv]


@contextlib.contextmanager
def watching(machine, folder):
    """While it lasts, the machine's switch is watched."""
    configuration = document.quick_configuration(document.block("prometheus"))
    for theirs, ours in (("192.0.2.10", "127.0.0.1"), ("/etc/prometheus/", f"{folder}/")):
        configuration = configuration.replace(theirs, ours)
    (folder / "prometheus.yml").write_text(configuration)
    (folder / "vsan-alerts.yml").write_text(document.quick_rules((document.FILES / "alerts.yml").read_text()))
    commands = (["prometheus-snmp-exporter", f"--config.file={document.FILES / 'snmp.yml'}",
                 "--web.listen-address=127.0.0.1:9116"],
                ["prometheus", f"--config.file={folder}/prometheus.yml", f"--storage.tsdb.path={folder}/data",
                 "--web.listen-address=127.0.0.1:9090"])
    with contextlib.ExitStack() as stack:
        log = stack.enter_context(open(folder / "log", "wb"))
        for command in commands:
            process = subprocess.Popen(in_network(machine, command), stdin=subprocess.DEVNULL, stdout=log, stderr=log)
            stack.callback(process.wait, 20)
            stack.callback(process.kill)
        yield


def asked(machine, path):
    """The data of an answer of Prometheus' API, or None when it gives none."""
    done = subprocess.run(in_network(machine, ["/usr/bin/python3", "-c", FETCH, f"http://127.0.0.1:9090/api/v1/{path}"]),
                          capture_output=True, text=True, timeout=20, check=False)
    return json.loads(done.stdout)["data"] if done.returncode == 0 else None


def firing(machine):
    """The names of the alerts that fire; None when Prometheus does not answer, or saw no switch yet."""
    seen = asked(machine, "query?query=vsanNumber%20or%20up%7Bjob%3D%22vsan%22%7D")
    alerts = asked(machine, "alerts")
    if not seen or not seen["result"] or alerts is None:
        return None
    return {alert["labels"]["alertname"] for alert in alerts["alerts"] if alert["state"] == "firing"}


def wait_for(machine, names):
    """Waits until just these of the alerts that tell of a switch that cannot be reached fire."""
    end = time.monotonic() + LONGEST_SECONDS
    now = None
    while time.monotonic() < end:
        now = firing(machine)
        if now is not None and now & {"VsanSwitchSilent", "VsanAgentDown", "VsanExporterDown"} == names:
            return
        time.sleep(0.3)
    raise AssertionError(f"alerts {names} were to fire; {now} do")
