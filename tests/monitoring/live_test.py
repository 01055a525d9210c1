"""Prometheus watches a switch as the page says: what breaks fires its alert, and the dashboard's queries answer."""
import http.server
import json
import re
import threading
import unittest

import document
import watched_switch
from watched_switch import asked, vsanctl, wait_for

LABELS = {"vsanIndex", "vsanName", "ifIndex", "ifName"}


def firing(lab):
    """{name: alert} of what fires; of several of a name, one."""
    alerts = asked(lab, "alerts")["alerts"]
    return {alert["labels"]["alertname"]: alert for alert in alerts if alert["state"] == "firing"}


def wait_for_alerts(lab, *names, without=()):
    """The alerts, when all of those named fire at once, and none of the others."""

    def fire():
        now = firing(lab)
        return now if set(names) <= now.keys() and not set(without) & now.keys() else None

    return wait_for(f"alerts {names} without {without}", fire, 30)


def answers(lab, query):
    return asked(lab, "query", query=query)["result"]


def dashboard_queries(board):
    """Every query of the dashboard, as Grafana asks it for all switches."""
    queries = [target["expr"] for panel in board["panels"] for target in panel["targets"]]
    return [query.replace("$__rate_interval", "60s").replace("$instance", ".*") for query in queries]


class Receiver(http.server.BaseHTTPRequestHandler):
    """Takes the messages for the operators; what came is in the server's `messages`."""

    def do_POST(self):
        self.server.messages.append(json.loads(self.rfile.read(int(self.headers["Content-Length"]))))
        self.send_response(200)
        self.end_headers()

    def log_message(self, *_):
        """Says nothing."""


class Live(unittest.TestCase):
    def setUp(self):
        self.lab = self.enterContext(watched_switch.running(with_prometheus=True))
        host, port = self.lab.operators.split(":")
        self.operators = self.enterContext(http.server.ThreadingHTTPServer((host, int(port)), Receiver))
        self.operators.messages = []
        threading.Thread(target=self.operators.serve_forever, daemon=True).start()
        self.addCleanup(self.operators.shutdown)

    def told(self, name):
        """Whether the operators were told of an alert."""
        return any(alert["labels"]["alertname"] == name for m in self.operators.messages for alert in m["alerts"])

    def check_annotations(self, alert):
        for name in ("summary", "description", "runbook"):
            text = alert["annotations"][name]
            self.assertTrue(text)
            self.assertNotRegex(text, r"<no value>|<error|\{\{|%!")

    def a_switch_that_is_well(self):
        wait_for("scrapes of all jobs", lambda: len(answers(self.lab, "up == 1")) == 3)
        wait_for("numbers of both modules", lambda: answers(self.lab, "vsanNumber") and answers(self.lab, "ifNumber"))
        targets = {(t["labels"]["job"], t["labels"]["instance"]) for t in asked(self.lab, "targets")["activeTargets"]}
        self.assertEqual(targets, {("vsan", self.lab.agent), ("vsan-interfaces", self.lab.agent),
                                   ("snmp-exporter", self.lab.exporter)})
        # Before its first scrape Prometheus saw no switch.
        wait_for("quiet", lambda: firing(self.lab) == {})

    def a_vsan_goes_down(self):
        for interface in ("fc1/1", "fc1/2"):
            vsanctl(self.lab, f"interface down {interface}")
        vsanctl(self.lab, "vsan rename 10 größe")
        alerts = wait_for_alerts(self.lab, "VsanDown", "VsanInterfaceLeft", "VsanTableChanged")
        self.assertEqual(alerts.keys(), {"VsanDown", "VsanInterfaceLeft", "VsanTableChanged"})
        labels = alerts["VsanDown"]["labels"]
        self.assertEqual((labels["vsanIndex"], labels["vsanName"]), ("10", "größe"))
        self.assertIn(alerts["VsanInterfaceLeft"]["labels"]["ifName"], {"fc1/1", "fc1/2"})
        for alert in alerts.values():
            self.check_annotations(alert)
        wait_for("message", lambda: self.told("VsanDown"))
        self.assertEqual({m["groupLabels"]["instance"] for m in self.operators.messages
                          if m["groupLabels"]}, {self.lab.agent})
        self.assertFalse(self.told("VsanTableChanged"))

    def the_dashboard_shows_it(self):
        board = json.loads((document.FILES / "dashboard.json").read_text())
        queries = dashboard_queries(board)
        self.assertGreater(len(queries), 30)
        for query in queries:
            with self.subTest(query=query):
                # A rate takes two scrapes.
                self.assertTrue(wait_for(query, lambda query=query: answers(self.lab, query)))
        metrics = set(asked(self.lab, "label/__name__/values"))
        named = set(re.findall(r"\b(?:vsan|fc|if|sys)[A-Z]\w+", " ".join(queries))) - LABELS
        self.assertGreater(len(named), 25)
        self.assertLessEqual(named, metrics)

    def the_vsan_manager_hangs(self):
        vsanctl(self.lab, "fault hang --service vsan-manager --spare-vsanctl")
        alerts = wait_for_alerts(self.lab, "VsanSwitchSilent", "VsanScrapeSlow", without=("VsanAgentDown", "VsanDown"))
        for alert in alerts.values():
            self.check_annotations(alert)
        for block in document.blocks("sh")[2:]:
            for line in block.splitlines():
                printed = watched_switch.typed(self.lab, line)
                if line == "vsanctl fault list":
                    self.assertIn("hang", printed)

    def the_agent_dies(self):
        watched_switch.end(self.lab, "snmpd")
        self.check_annotations(wait_for_alerts(self.lab, "VsanAgentDown")["VsanAgentDown"])
        vsanctl(self.lab, "fault clear")
        watched_switch.start_snmpd(self.lab)
        alerts = wait_for_alerts(self.lab, "VsanAgentRestarted", "VsanDown",
                                 without=("VsanAgentDown", "VsanSwitchSilent"))
        self.check_annotations(alerts["VsanAgentRestarted"])

    def the_exporter_dies(self):
        watched_switch.end(self.lab, "exporter")
        alerts = wait_for_alerts(self.lab, "VsanExporterDown", without=("VsanAgentDown", "VsanSwitchSilent"))
        self.check_annotations(alerts["VsanExporterDown"])

    def test_what_breaks_is_told(self):
        self.a_switch_that_is_well()
        self.a_vsan_goes_down()
        self.the_dashboard_shows_it()
        self.the_vsan_manager_hangs()
        self.the_agent_dies()
        self.the_exporter_dies()


if __name__ == "__main__":
    unittest.main()
