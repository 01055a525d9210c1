"""The driver fails, and says what is wrong, where an answer is wrong or missing."""

import os
import pathlib
import socket
import sys
import unittest

SOURCE = pathlib.Path(os.environ["BENCH_SOURCE"])
BUILD = pathlib.Path(os.environ["BENCH_BUILD"])

sys.path.insert(0, str(SOURCE))
import lab as labs  # noqa: E402
from peers import PEERS  # noqa: E402

TABLE = ".1.3.6.1.4.1.32473.9.282.1.1.3.1"
PEER = next(peer for peer in PEERS if peer.name == "array")
SERVED, EXPECTED = 10, 11


class BenchNotices(unittest.TestCase):
    def load(self, lab, word, shape):
        with self.assertRaises(labs.BenchError) as failed:
            labs.checked([lab.bin / "bench_driver", "load", "--slice", "0.2", "--peer", word, "--shape", shape])
        return str(failed.exception)

    def test_a_row_that_is_missing(self):
        with labs.Lab(BUILD) as lab:
            served = labs.start_peer(lab, PEER, SERVED)
            labs.wait_for(lab, served, PEER)
            served.vsans = EXPECTED
            missing = f'{TABLE}.2.{EXPECTED}: expected STRING "fabric-0011", got {TABLE}.3.1 INTEGER 1'
            for shape in ("getnext-1", "getnext-row"):
                self.assertIn(f"peer array with {EXPECTED} VSANs, shape {shape}: {missing}",
                              self.load(lab, served.word(), shape))  # fmt: skip
            problem = self.load(lab, served.word(), "set-1")
            self.assertIn(f"shape set-1: {TABLE}.6.{EXPECTED}: expected INTEGER 1, got error status", problem)

    def test_a_value_that_is_another(self):
        with labs.Lab(BUILD) as lab:
            served = labs.start_peer(lab, PEER, SERVED)
            labs.wait_for(lab, served, PEER)
            agent = f"udp:127.0.0.1:{served.port}"
            labs.checked(["snmpset", "-v2c", "-c", "private", "-m", "", agent, f"{TABLE}.2.3", "s", "fabric-0004"])
            for shape in ("get-1", "getnext-1", "getnext-row", "getbulk-1x50", "getbulk-10x20"):
                self.assertIn(
                    f'shape {shape}: {TABLE}.2.3: expected STRING "fabric-0003", got {TABLE}.2.3 STRING "fabric-0004"',
                    self.load(lab, served.word(), shape),
                )

    def test_an_agent_that_is_silent(self):
        with labs.Lab(BUILD) as lab, socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as silent:
            silent.bind(("127.0.0.1", 0))
            word = f"silent:{SERVED}:{silent.getsockname()[1]}::"
            with self.assertRaises(labs.BenchError) as failed:
                labs.checked([lab.bin / "bench_driver", "wait", "--seconds", "0.6", "--peer", word])
            problem = f'{TABLE}.2.1: expected STRING "fabric-0001", got no answer'
            self.assertIn(f"peer silent with {SERVED} VSANs does not serve: {problem}", str(failed.exception))

    def test_an_agent_that_is_gone(self):
        with labs.Lab(BUILD) as lab:
            word = f"gone:{SERVED}:{labs.free_udp_port()}::"
            self.assertIn("Connection refused", self.load(lab, word, "getnext-1"))


if __name__ == "__main__":
    unittest.main()
