#!/usr/bin/env python3
"""The target's packages, unpacked: made for it, the native ones' files and exports, and an emulated agent that answers
from them. `make package-powerpc` runs it."""

import argparse
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCE / "bench"))
from lab import free_udp_port  # noqa: E402

PACKAGES = ("switchd", "snmpd-mod-vsan", "vsanmib-dev")
EMULATOR = ("qemu-ppc", "-L", "/usr/powerpc-linux-gnu")
VSAN_NAME = ".1.3.6.1.4.1.32473.9.282.1.1.3.1.2.1"
START_SECONDS = 60
given = argparse.Namespace()


def checked(*command):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=120)
    assert done.returncode == 0, f"{command}: {done.stderr}{done.stdout}"
    return done.stdout


def package(name, architecture, folder):
    found = [*folder.glob(f"{name}_*_{architecture}.deb")]
    assert len(found) == 1, f"{name} for {architecture} in {folder}: {found}"
    return found[0]


def field(name, what):
    return checked("dpkg-deb", "-f", package(name, "powerpc", given.packages), what).strip()


def unpack(folder, architecture, into):
    for name in PACKAGES:
        checked("dpkg-deb", "-x", package(name, architecture, folder), into)


def files_below(folder):
    """With the processor's part of a path left out."""
    return {re.sub("lib/[a-z0-9_]+-linux-gnu/", "lib/*/", str(file.relative_to(folder)))
            for file in folder.rglob("*") if not file.is_dir()}  # fmt: skip


def exports(file):
    symbols = (line.split() for line in checked("readelf", "-W", "--dyn-syms", file).splitlines())
    return {words[7] for words in symbols if len(words) > 7 and words[4] == "GLOBAL" and words[6].isdigit()}


class TargetPackages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.root = pathlib.Path(cls.folder.name) / "target"
        unpack(given.packages, "powerpc", cls.root)
        cls.libraries = [*(cls.root / "usr/lib").glob("*/vsanmib/*.so")]

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def library(self, name):
        return next(file for file in self.libraries if file.name == name)

    def test_are_the_targets(self):
        for name in PACKAGES:
            self.assertEqual(field(name, "Architecture"), "powerpc")
        self.assertEqual(len(self.libraries), 4)
        for file in (*self.libraries, self.root / "usr/sbin/switchd", self.root / "usr/bin/vsanctl"):
            header = checked("readelf", "-h", file)
            self.assertRegex(header, "Class: +ELF32")
            self.assertRegex(header, "Machine: +PowerPC\n")

    def test_libraries_are_small(self):
        limit = int(re.search(r"VSANMIB_SMALL_LIMIT (\d+)", (SOURCE / "packaging/small.cmake").read_text())[1])
        self.assertLessEqual(self.library("libvsanmib.so").stat().st_size, limit)
        for file in self.libraries:
            self.assertNotIn(".debug_info", checked("readelf", "-S", file))

    def test_say_what_they_need(self):
        module, switch = field("snmpd-mod-vsan", "Depends"), field("switchd", "Depends")
        for wanted in (r"libc6 \(>= ", r"libsnmp40 \(>= 5\.9", r"snmpd\b", r"switchd \(= "):
            self.assertRegex(module, wanted)
        for wanted in (r"libc6 \(>= ", r"libstdc\+\+6 \(>= ", r"libsqlite3-0 \(>= ", r"libevent-core-2\.1-7 \(>= "):
            self.assertRegex(switch, wanted)
        self.assertNotIn("-cross", module + switch)

    def test_have_the_native_ones_files_and_exports(self):
        native = pathlib.Path(self.folder.name) / "native"
        unpack(given.native, checked("dpkg", "--print-architecture").strip(), native)
        self.assertEqual(files_below(self.root), files_below(native))
        for file in self.libraries:
            other = next((native / "usr/lib").glob(f"*/vsanmib/{file.name}"))
            self.assertTrue(exports(file))
            self.assertEqual(exports(file), exports(other), file.name)

    def start(self, *command):
        """A program of the target, which ends with the test."""
        libraries = f"LD_LIBRARY_PATH={given.prefix}/lib"
        process = subprocess.Popen([str(word) for word in (*EMULATOR, "-E", libraries, *command)],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)  # fmt: skip
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def wait_until(self, process, done):
        end = time.monotonic() + START_SECONDS
        while not done():
            self.assertIsNone(process.poll(), f"{process.args} ended")
            self.assertLess(time.monotonic(), end, f"{process.args}: not in time")
            time.sleep(0.1)

    def test_an_agent_answers_from_them(self):
        work = pathlib.Path(tempfile.mkdtemp(dir=self.folder.name))
        (work / "run").mkdir()
        topology = self.root / "usr/share/doc/switchd/examples/small-fabric.toml"
        switch = self.start(self.root / "usr/sbin/switchd", "--run-dir", work / "run", "--state", work / "switch.db",
                            "--topology", topology)  # fmt: skip
        self.wait_until(switch, lambda: [*(work / "run").glob("*.sock")])
        lines = f"dlmod switch_agent {self.library('libswitchagent.so')}\nswitchRunDir {work}/run\n"
        lines += f"dlmod vsan_mib {self.library('libvsanmib.so')}\nrocommunity public\n"
        (work / "snmpd.conf").write_text(lines)
        port = free_udp_port()
        agent = self.start(given.prefix / "sbin/snmpd", "-f", "-C", "-c", work / "snmpd.conf", "-I", "-smux", "-Lf",
                           work / "log", f"--persistentDir={work}/agent", f"udp:127.0.0.1:{port}")  # fmt: skip
        address = f"127.0.0.1:{port}"
        get = ("snmpget", "-v2c", "-c", "public", "-m", "", "-t", "1", "-r", "0", "-Oqv", address, VSAN_NAME)
        said = []

        def answered():
            said.append(subprocess.run(get, capture_output=True, text=True, timeout=60).stdout.strip())
            return said[-1] != ""

        self.wait_until(agent, answered)
        self.assertRegex(said[-1], '^"[^"]+"$')


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--packages", type=lambda path: pathlib.Path(path).resolve(), required=True)
    parser.add_argument("--native", type=lambda path: pathlib.Path(path).resolve(), required=True)
    parser.add_argument("--prefix", type=lambda path: pathlib.Path(path).resolve(), required=True)
    parser.parse_args(namespace=given)
    unittest.main(argv=sys.argv[:1])
