"""Instructions are summed by the library that ran them, and what a call took is not counted twice."""

import os
import sys
import unittest

sys.path.insert(0, os.environ["BENCH_SOURCE"])
import instructions  # noqa: E402
from lab import BenchError  # noqa: E402

# main of snmpd, with code inlined from a header, calls get_row of the module, which calls memset of libc.
COUNTED = """\
positions: line
events: Ir

ob=(1) /usr/sbin/snmpd
fl=(1) main.c
fn=(1) main
10 7
fi=(2) inlined.h
+3 2
fe=(1)
cob=(2) /usr/lib/libvsanmib.so
cfi=(3) row.cpp
cfn=(2) get_row(int, char const*)
calls=4 20
* 158

ob=(2)
fl=(3)
fn=(2)
20 8
cob=(3) /usr/lib/x86_64-linux-gnu/libc.so.6
cfi=(4) memset.S
cfn=(3) __memset_avx2_unaligned_erms
calls=4 1
-2 150

ob=(3)
fl=(4)
fn=(3)
1 150

totals: 167
"""


class BenchCounts(unittest.TestCase):
    def test_by_library(self):
        count = instructions.read_count(COUNTED, 2, 20)
        wanted = dict.fromkeys(instructions.COLUMNS, 0) | {"net-snmp": 9, "module": 8, "libc": 150}
        self.assertEqual((count.total, count.by_library, count.blocks), (167, wanted, 150))

    def test_a_count_that_does_not_add_up(self):
        for text in (COUNTED.replace("20 8", "20 9"), ""):
            with self.assertRaises(BenchError):
                instructions.read_count(text, 2, 20)

    def test_by_page(self):
        base = instructions.GUEST
        maps = instructions.read_maps(
            f"{base + 0x1000:x}-{base + 0x3000:x} r-xp 00000000 00:00 1 /lib/libvsanmib.so\n"
            f"{base + 0x3000:x}-{base + 0x4000:x} r-xp 00000000 00:00 2 /lib/libc.so.6\n"
            "555500001000-555500002000 r-xp 00000000 00:00 3 /usr/bin/libvsanmib.so\n"
        )
        before, after = [1, 2, 3, 4, 5], [1, 12, 103, 1004, 10005]
        count = instructions.count_pages(before, after, maps, 1, 1)
        wanted = dict.fromkeys(instructions.COLUMNS, 0) | {"module": 110, "libc": 1000, "other": 10000}
        self.assertEqual((count.total, count.by_library), (11110, wanted))
        with self.assertRaises(BenchError):
            instructions.count_pages(before, before, maps, 1, 1)


if __name__ == "__main__":
    unittest.main()
