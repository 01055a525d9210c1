"""Every value that the exporter makes of the agent's, against what vsanctl shows and what the agent answers."""
import os
import re
import subprocess
import unittest

import document
import exposition
import watched_switch
from watched_switch import shown, vsanctl

# Beside the objects: the exporter's own figures, and the agent's clock.
OF_THE_EXPORTER = re.compile(r"snmp_scrape_\w+")
CLOCK = ("sysUpTime", frozenset())
ADMIN = {"active": 1, "suspended": 2}
STATE = {"up": 1, "down": 2}
MEDIA = {"fibre-channel": 1, "ethernet": 2}
BALANCING = {"src-dst": 1, "src-dst-ox": 2}
TRUTH = {"on": 1, "off": 2}
TIMERS = {"Ratov": "r_a_tov", "Edtov": "e_d_tov", "Dstov": "d_s_tov", "Fstov": "f_s_tov"}
COUNTERS = ("ifInDiscards ifInErrors ifOutDiscards ifOutErrors ifHCInOctets ifHCInUcastPkts ifHCInMulticastPkts "
            "ifHCInBroadcastPkts ifHCOutOctets ifHCOutUcastPkts ifHCOutMulticastPkts ifHCOutBroadcastPkts ifHighSpeed "
            "ifCounterDiscontinuityTime ifLastChange").split()


def key(name, **labels):
    return name, frozenset((label, str(value)) for label, value in labels.items())


def vsan_labels(vsans, vsan):
    return {"vsanIndex": vsan, "vsanName": vsans[vsan]["name"]}


def expected_rows(vsans):
    for vsan, row in vsans.items():
        labels = vsan_labels(vsans, vsan)
        yield key("vsanName", **labels), 1
        yield key("vsanMediaType", **labels), MEDIA[row["media"]]
        yield key("vsanAdminState", **labels), ADMIN[row["admin"]]
        yield key("vsanMtu", **labels), row["mtu"]
        yield key("vsanLoadBalancingType", **labels), BALANCING[row["load_balancing"]]
        yield key("vsanOperState", **labels), STATE[row["oper"]]
        yield key("vsanRowStatus", **labels), 1
        yield key("vsanInterOperType", **labels), row["interop"]
        yield key("vsanInorderDelivery", **labels), TRUTH[row["inorder"]]
        yield key("vsanNetworkDropLatency", **labels), row["drop_latency"]


def expected_timers(vsans, timers):
    for row in timers:
        for metric, field in TIMERS.items():
            if row["vsan"] == 0:
                yield key(f"fcTimer{metric}"), row[field]
            else:
                yield key(f"vsanFcTimer{metric}", **vsan_labels(vsans, row["vsan"])), row[field]
        if row["vsan"] != 0:
            for flag in ("ratov", "edtov", "dstov"):
                yield key("vsanFcTimerForceFlag", **vsan_labels(vsans, row["vsan"]), vsanFcTimerForceFlag=flag), 0


def expected_interfaces(vsans, interfaces, memberships):
    for row in interfaces:
        labels = {"ifIndex": row["index"], "ifName": row["name"]}
        yield key("vsanIfVsan", **labels), row["vsan"]
        yield key("vsanIfDenyList", **labels), 0
    for row in memberships:
        yield key("vsanMembershipSummaryInterface", **vsan_labels(vsans, row["vsan"]), ifIndex=row["interface"],
                  ifName=row["name"]), row["interface"]


def expected_vsan_module(lab):
    vsans = {row["vsan"]: row for row in shown(lab, "vsan")["vsans"]}
    interfaces = shown(lab, "interface")["interfaces"]
    expected = {key("vsanNumber"): len(vsans), key("vsanIfNumber"): len(interfaces)}
    # The topology's; nothing shows them but an export.
    exported = vsanctl(lab, "export")
    for metric, field in (("fcSwitchLatency", "switch_latency"), ("fcNetworkLatency", "network_latency")):
        expected[key(metric)] = int(re.search(rf"^{field} *= *(\d+)$", exported, re.M)[1])
    in_order = re.search(r"^\[switch\]$(?:\n(?!\[).*)*?\ninorder_delivery *= *(\w+)$", exported, re.M)[1]
    expected[key("fcInorderDelivery")] = {"true": 1, "false": 2}[in_order]
    expected.update(expected_rows(vsans))
    expected.update(expected_timers(vsans, shown(lab, "timers")["timers"]))
    expected.update(expected_interfaces(vsans, interfaces, shown(lab, "membership")["memberships"]))
    return expected


def expected_interface_module(lab):
    interfaces = shown(lab, "interface")["interfaces"]
    expected = {key("ifNumber"): len(interfaces), key("ifTableLastChange"): 0}
    for row in interfaces:
        labels = {"ifIndex": row["index"], "ifName": row["name"]}
        expected.update({key(counter, **labels): 0 for counter in COUNTERS})
        expected.update({key("ifType", **labels): 56, key("ifMtu", **labels): 2112,
                         key("ifAdminStatus", **labels): STATE[row["state"]],
                         key("ifOperStatus", **labels): STATE[row["state"]]})
    return expected


def numbers_in_snmp_yml(module):
    """{metric: OID} of the module's metrics that are numbers."""
    text = (document.FILES / "snmp.yml").read_text().split(f"\n{module}:\n", 1)[1]
    text = re.split(r"^\S", text, maxsplit=1, flags=re.M)[0]
    return dict(re.findall(r"^  - name: (\w+)\n    oid: (\S+)\n    type: (?:gauge|counter)$", text, re.M))


def answered(lab, oid):
    """{index: value} of what the agent answers below an OID."""
    done = subprocess.run(["snmpbulkwalk", "-v2c", "-c", "public", "-On", "-Oq", "-Oe", "-Ot", lab.agent, oid],
                          capture_output=True, text=True, timeout=20, check=True, env=os.environ | {"MIBS": ""})
    rows = re.findall(rf"^\.{re.escape(oid)}\.(\S+) (-?\d+)$", done.stdout, re.M)
    return {index: float(value) for index, value in rows}


def index_of(labels):
    named = dict(labels)
    return ".".join(named[label] for label in ("vsanIndex", "ifIndex") if label in named) or "0"


class Scrape(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.lab = cls.enterClassContext(watched_switch.running(with_prometheus=False))
        # Names as people give them; every octet counts of the 32.
        for vsan, name in ((50, "büro–größe"), (51, 'a"b\\\\c{d}'), (52, "日本語日本語日本語日"), (53, "n" * 32)):
            vsanctl(cls.lab, f"vsan create {vsan} --name '{name}'")

    def scraped(self, module):
        found = exposition.samples(watched_switch.scrape(self.lab, module))
        self.assertGreater(found.pop(CLOCK), 0)
        return {name: value for name, value in found.items() if not OF_THE_EXPORTER.fullmatch(name[0])}

    def check_same(self, found, expected):
        differ = {name: (found.get(name), expected.get(name)) for name in found.keys() | expected.keys()
                  if found.get(name) != expected.get(name)}
        self.assertEqual(differ, {}, "found, expected")

    def check_vsan_module(self, module):
        found = self.scraped(module)
        # Now in a table that was changed; vsanctl has no clock of the agent's to compare with.
        self.assertGreater(found.pop(key("vsanTableLastChange")), 0)
        self.check_same(found, expected_vsan_module(self.lab))
        # With the one that was taken out, all objects; the tables' indexes are labels.
        self.assertEqual(len({name for name, _ in found}) + 1, 28)

    def test_vsan_module_is_what_vsanctl_shows(self):
        self.check_vsan_module("vsan")

    def test_vsan_module_of_a_v3_user(self):
        self.check_vsan_module("vsan_v3")

    def test_interface_module_is_what_vsanctl_shows(self):
        for module in ("vsan_if", "vsan_if_v3"):
            self.check_same(self.scraped(module), expected_interface_module(self.lab))

    def test_numbers_are_what_the_agent_answers(self):
        for module in ("vsan", "vsan_if"):
            found = self.scraped(module)
            metrics = numbers_in_snmp_yml(module)
            self.assertGreater(len(metrics), 20)
            for metric in sorted(set(metrics) - {"sysUpTime"}):
                mine = {index_of(labels): value for (name, labels), value in found.items() if name == metric}
                self.assertEqual(mine, answered(self.lab, metrics[metric]), metric)

    def test_without_switchd_the_agent_answers_and_no_number_of_the_switch_is_there(self):
        watched_switch.end(self.lab, "switchd")
        try:
            self.assertEqual(self.scraped("vsan"), {})
        finally:
            watched_switch.start_switchd(self.lab)


if __name__ == "__main__":
    unittest.main()
