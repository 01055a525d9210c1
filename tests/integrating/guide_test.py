"""docs/integrating.md typed as it stands in a copy of the source; then platform and module looked at closer."""
import json
import os
import re
import shutil
import subprocess
import unittest

import agent as agents

SOURCE, WORK = os.environ["INTEGRATING_SOURCE"], os.environ["INTEGRATING_WORK"]
COPY, PREFIX = os.path.join(WORK, "source"), os.path.join(WORK, "prefix")
MODULE = os.path.join(PREFIX, "lib/vsanmib/libvsanmib.so")
PLATFORM = os.path.join(COPY, "my-platform/libsecond_platform.so")
PORT = agents.free_port()


def commands():
    """All blocks, with paths and port of this test."""
    with open(os.path.join(SOURCE, "docs/integrating.md"), encoding="utf-8") as text:
        blocks = re.findall(r"^```sh\n(.*?)^```$", text.read(), re.DOTALL | re.MULTILINE)
    typed = "".join(blocks)
    assert "/opt/vsanmib" in typed and "127.0.0.1:1161" in typed
    return typed.replace("/opt/vsanmib", PREFIX).replace("127.0.0.1:1161", f"127.0.0.1:{PORT}")


def type_them():
    """What the terminal shows. Every command has to succeed."""
    shutil.rmtree(WORK, ignore_errors=True)
    shutil.copytree(SOURCE, COPY, ignore=shutil.ignore_patterns("build", ".git", "node_modules"))
    done = subprocess.run(["bash", "-e", "-c", commands()], cwd=COPY, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env={**os.environ, "MIBS": ""}, text=True, timeout=900, check=False)
    assert done.returncode == 0, done.stdout[-6000:]
    return done.stdout


def compile_commands(folder):
    with open(os.path.join(folder, "compile_commands.json"), encoding="utf-8") as text:
        return [entry["command"] for entry in json.load(text)]


def values_below(text, numbers):
    """The instances of a walk's lines below an object, and their values."""
    prefix = re.escape(f"{agents.ROOT}.{numbers}.")
    return dict(re.findall(rf"^{prefix}([\d.]+) = \S+ (.*?)\s*$", text, re.MULTILINE))


class Guide(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.shown = type_them()

    def test_walk_and_set_are_answered(self):
        self.assertIn('STRING: "VSAN0010"', self.shown)
        self.assertIn('STRING: "edge"', self.shown)
        self.assertRegex(self.shown, r"NEEDED.*libsecond_platform\.so")

    def test_module_alone_ships_without_being_asked(self):
        for folder in ("build/module", "my-switch/build"):
            self.assertFalse([c for c in compile_commands(os.path.join(COPY, folder)) if "-Werror" in c], folder)
        self.assertTrue(os.path.exists(os.path.join(COPY, "my-switch/build/vsanmib/lib/libvsanmib.so")))
        self.assertTrue(all("-O2" in c for c in compile_commands(os.path.join(COPY, "build/module"))))

    def test_boundary_is_plain_c(self):
        folder = os.path.join(PREFIX, "include/vsanmib")
        headers = ["platform/" + name for name in os.listdir(os.path.join(folder, "platform")) if name.endswith(".h")]
        self.assertEqual(len(headers), 11)
        for header in [*headers, "requests.h", "statuses.h", "switch_root.h", "vsan_records.h"]:
            done = subprocess.run(["cc", "-std=gnu99", "-Wall", "-Werror", "-fsyntax-only", "-I", folder,
                                   "-include", header, "-x", "c", "/dev/null"],
                                  stderr=subprocess.PIPE, text=True, check=False, timeout=60)
            self.assertEqual(done.returncode, 0, header + ": " + done.stderr)

    def test_warnings_can_be_asked_for(self):
        folder = os.path.join(WORK, "warnings")
        subprocess.run(["cmake", "-S", COPY, "-B", folder, "-DVSANMIB_ONLY=ON", "-DVSANMIB_WARNINGS=ON",
                        "-DCMAKE_BUILD_TYPE=Debug"], check=True, stdout=subprocess.DEVNULL, timeout=120)
        self.assertTrue(all("-Werror" in c and "-O2" not in c for c in compile_commands(folder)))

    def test_package_knows_its_version(self):
        environment = {**os.environ, "PKG_CONFIG_PATH": os.path.join(PREFIX, "lib/pkgconfig")}
        said = subprocess.run(["pkg-config", "--modversion", "--variable=module", "libvsanmib"], env=environment,
                              stdout=subprocess.PIPE, text=True, check=True, timeout=60).stdout
        module = subprocess.run(["pkg-config", "--variable=module", "libvsanmib"], env=environment,
                                stdout=subprocess.PIPE, text=True, check=True, timeout=60).stdout
        with open(os.path.join(SOURCE, "CMakeLists.txt"), encoding="utf-8") as text:
            version = re.search(r"project\(vsanmib VERSION ([\d.]+)", text.read())[1]
        self.assertIn(version, said)
        self.assertEqual(module.strip(), MODULE)
        # The same major version will do, another will not.
        for asked, found in ((version, True), ("1", True), ("2.0", False)):
            folder = os.path.join(WORK, "asks-" + asked)
            os.makedirs(folder)
            with open(os.path.join(folder, "CMakeLists.txt"), "w", encoding="utf-8") as text:
                text.write("cmake_minimum_required(VERSION 3.22)\nproject(asks LANGUAGES NONE)\n"
                           f"find_package(vsanmib {asked} REQUIRED PATHS {PREFIX} NO_DEFAULT_PATH)\n"
                           f"message(STATUS ${{vsanmib_MODULE}} ${{vsanmib_VERSION}})\n")
            done = subprocess.run(["cmake", "-S", folder, "-B", folder + "/build"], stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, text=True, check=False, timeout=60)
            self.assertEqual(MODULE + version in done.stdout, found, done.stdout)


class Platform(unittest.TestCase):
    """The example behind the module in a stock agent; the guide's commands have built both."""

    def setUp(self):
        self.agent = self.enterContext(agents.Agent(os.path.join(WORK, "agent"), PLATFORM, MODULE, words=["-Dvsan"]))

    def test_walk_has_every_object(self):
        walk = self.agent.ask("walk", agents.ROOT)
        with open(os.path.join(SOURCE, "protocol/records/mib_names.h"), encoding="utf-8") as text:
            objects = re.findall(r'{"(\w+)", &\w+, \d, {([\d, ]+)}}', text.read())
        self.assertEqual(len(objects), 29)
        for name, numbers in objects:
            if name != "vsanSwitchWwn":  # in traps only
                self.assertTrue(values_below(walk, numbers.replace(", ", ".")), name)
        self.assertEqual(values_below(walk, "1.1.3.1.2"), {"1": '"VSAN0001"', "10": '"VSAN0010"', "20": '"VSAN0020"'})
        self.assertEqual(values_below(walk, "1.4.8.1.3"), {"1": "2000", "10": "2000", "20": "2000"})

    def test_sets_are_kept(self):
        cell = agents.ROOT + ".1.1.3.1"
        self.agent.ask("set", cell + ".9.30", "i", "4", cell + ".2.30", "s", "thirty")
        self.agent.ask("set", cell + ".2.10", "s", "edge", cell + ".11.10", "i", "1")
        self.agent.ask("set", agents.ROOT + ".1.4.8.1.3.30", "u", "2500")
        self.agent.ask("set", agents.ROOT + ".1.2.5.1.1.16777216", "i", "30")
        walk = self.agent.ask("walk", agents.ROOT)
        self.assertEqual(values_below(walk, "1.1.3.1.2")["30"], '"thirty"')
        self.assertEqual(values_below(walk, "1.1.3.1.2")["10"], '"edge"')
        self.assertEqual(values_below(walk, "1.1.3.1.11")["10"], "1")
        self.assertEqual(values_below(walk, "1.4.8.1.3")["30"], "2500")
        self.assertEqual(values_below(walk, "1.2.8.1.1.30"), {"16777216": "16777216"})
        self.assertIn(cell + ".9.20 = ", self.agent.ask("set", cell + ".9.20", "i", "6"))
        self.assertEqual(set(values_below(self.agent.ask("walk", agents.ROOT), "1.1.3.1.2")), {"1", "10", "30"})

    def test_failing_pdu_is_undone(self):
        cell = agents.ROOT + ".1.1.3.1"
        refused = self.agent.ask("set", cell + ".9.40", "i", "4", cell + ".9.1", "i", "6")
        self.assertIn("inconsistentName", refused)
        self.assertEqual(set(values_below(self.agent.ask("walk", agents.ROOT), "1.1.3.1.2")), {"1", "10", "20"})

    def test_row_is_read_once_a_pdu(self):
        cells = [f"{agents.ROOT}.1.1.3.1.{column}.10" for column in (2, 3, 4)]
        before = len(re.findall("found the entry for vsan 10 in the cache", self.agent.log()))
        for pdus in (1, 2):
            self.assertEqual(len(re.findall("INTEGER|STRING", self.agent.ask("get", *cells))), 3)
            found = len(re.findall("found the entry for vsan 10 in the cache", self.agent.log())) - before
            self.assertEqual(found, 2 * pdus, "the first column asks in every PDU, the others find its row")

    def test_module_comes_second_unless_it_names_its_platform(self):
        folder = os.path.join(WORK, "order")
        with agents.Agent(folder, PLATFORM, MODULE, module_first=True) as agent:
            self.assertIn("No Such Object", agent.ask("walk", agents.ROOT))
            self.assertIn("undefined symbol", agent.log())
        linked = os.path.join(COPY, "build/module/lib/libvsanmib.so")
        with agents.Agent(folder, PLATFORM, linked, module_first=True) as agent:
            self.assertEqual(len(values_below(agent.ask("walk", agents.ROOT), "1.1.3.1.2")), 3)

    def test_traps_are_sent(self):
        with agents.Traps(os.path.join(WORK, "traps")) as traps, agents.Agent(
                os.path.join(WORK, "trapping"), PLATFORM, MODULE, traps_to=traps.port) as agent:
            agent.ask("set", agents.ROOT + ".1.1.3.1.4.20", "i", "2")
            agent.ask("set", agents.ROOT + ".1.2.5.1.1.16777216", "i", "20")
            trap, vsan = re.escape(agents.ROOT) + r"\.1\.3\.0", r"\.1\.1\.4\.0 = INTEGER: 20\b"
            state = r"\.4\.20 = INTEGER: 2\b.*\.8\.20 = INTEGER: 2\b"
            self.assertTrue(traps.wait_for(rf"OID: {trap}\.1\b.*{vsan}.*{state}"), traps.log())
            moved = r"20 00 00 02 5A 10 3C 01.*16777216 = INTEGER: 16777216\b"
            self.assertTrue(traps.wait_for(rf"OID: {trap}\.2\b.*{moved}.*{vsan}"), traps.log())

    def test_agent_ends_well(self):
        self.agent.ask("walk", agents.ROOT)
        self.assertEqual(self.agent.stop(), 0)
        self.assertIn("EXIT deinit_vsan_mib", self.agent.log())


if __name__ == "__main__":
    unittest.main()
