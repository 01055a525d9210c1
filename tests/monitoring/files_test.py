"""The files of packaging/monitoring by themselves: each is what makes it, is valid, and agrees with the page."""
import concurrent.futures
import json
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import document


def run(command, folder=document.FILES):
    return subprocess.run(command, cwd=folder, capture_output=True, text=True, timeout=60, check=False)


def rules_with_expression(rules, alert, expression):
    """The rules, one of which has another expression."""
    old = rf"(- alert: {alert}\n +expr: )(.*?)(?=^ +(?:for|keep_firing_for|labels):)"
    return re.sub(old, rf"\g<1>{expression}\n", rules, flags=re.M | re.S)


def tested(rules):
    """Whether the cases in alerts_test.yml hold for these rules, and what promtool said."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        shutil.copy(document.FILES / "alerts_test.yml", folder)
        (folder / "alerts.yml").write_text(rules)
        checked = run(["promtool", "check", "rules", "alerts.yml"], folder)
        if checked.returncode != 0:
            raise AssertionError(checked.stdout + checked.stderr)
        done = run(["promtool", "test", "rules", "alerts_test.yml"], folder)
        return done.returncode == 0, done.stdout + done.stderr


class SnmpYml(unittest.TestCase):
    def test_is_what_the_generator_makes(self):
        with tempfile.TemporaryDirectory() as folder:
            made = pathlib.Path(folder) / "snmp.yml"
            done = run([document.FILES / "generate.sh", made])
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertTrue(made.read_text() == (document.FILES / "snmp.yml").read_text(),
                            "snmp.yml is not what the generator makes: type `make monitoring`")

    def test_every_object_that_can_be_read_is_asked_for(self):
        mib = (document.SOURCE / "mibs/VSAN-MIB.txt").read_text()
        objects = re.findall(r"^(\w+) OBJECT-TYPE\n +SYNTAX.*\n(?: +UNITS.*\n)? +MAX-ACCESS (read-\w+)$", mib, re.M)
        names = {name for name, _ in objects}
        self.assertEqual(len(names), 28)
        text = (document.FILES / "snmp.yml").read_text()
        for module in ("vsan", "vsan_v3"):
            part = re.split(r"^\S", text.split(f"\n{module}:\n", 1)[1], maxsplit=1, flags=re.M)[0]
            self.assertLessEqual(names, set(re.findall(r"^  - name: (\w+)$", part, re.M)))


class Alerts(unittest.TestCase):
    def test_cases_hold(self):
        holds, said = tested((document.FILES / "alerts.yml").read_text())
        self.assertTrue(holds, said)

    def test_cases_tell_an_alert_that_never_fires_and_one_that_always_does(self):
        rules = (document.FILES / "alerts.yml").read_text()
        names = document.alert_names()
        self.assertGreaterEqual(len(names), 10)
        changed = {(alert, expression): rules_with_expression(rules, alert, expression) for alert in names
                   for expression in ("vector(0) > 1", "vector(1)")}
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            for which, (holds, _) in zip(changed, pool.map(tested, changed.values())):
                self.assertFalse(holds, which)

    def test_every_alert_says_what_and_what_to_do(self):
        rules = (document.FILES / "alerts.yml").read_text()
        for rule in re.split(r"- alert: ", rules)[1:]:
            for word in ("severity: ", "summary: ", "description: ", "runbook: "):
                self.assertEqual(len(re.findall(rf"^ +{word}", rule, re.M)), 1, rule)

    def test_the_page_has_them_all_and_no_other(self):
        described = set(re.findall(r"\*\*(Vsan\w+)\*\*", document.TEXT))
        self.assertEqual(described, set(document.alert_names()))


class Page(unittest.TestCase):
    def test_has_every_file(self):
        named = set(re.findall(r"`([\w.]+\.(?:yml|sh|json))`", document.TEXT.split("## ", 1)[0]))
        self.assertEqual(named, {path.name for path in document.FILES.iterdir()})


class Dashboard(unittest.TestCase):
    def setUp(self):
        self.board = json.loads((document.FILES / "dashboard.json").read_text())

    def test_panels_are_told_apart_and_do_not_overlap(self):
        panels = self.board["panels"]
        self.assertEqual(len({panel["id"] for panel in panels}), len(panels))
        taken = set()
        for panel in panels:
            at = panel["gridPos"]
            cells = {(x, y) for x in range(at["x"], at["x"] + at["w"]) for y in range(at["y"], at["y"] + at["h"])}
            self.assertFalse(cells & taken, panel["title"])
            self.assertLessEqual(at["x"] + at["w"], 24, panel["title"])
            taken |= cells

    def test_asks_the_data_source_that_is_chosen(self):
        for panel in self.board["panels"]:
            for asked in (panel, *panel["targets"]):
                self.assertEqual(asked["datasource"]["uid"], "${datasource}")
        self.assertEqual([v["name"] for v in self.board["templating"]["list"]], ["datasource", "instance"])

    def test_shows_columns_of_what_it_asks(self):
        for panel in self.board["panels"]:
            for change in panel.get("transformations", []):
                renamed = change["options"].get("renameByName", {})
                values = {name for name in renamed if name.startswith("Value #")}
                self.assertEqual(values, {f"Value #{t['refId']}" for t in panel["targets"]} if renamed else set())


if __name__ == "__main__":
    unittest.main()
