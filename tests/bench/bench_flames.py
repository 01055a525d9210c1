"""A flame graph has the widths that the samples say: those of recorded_stacks.txt, ten samples of an agent."""

import os
import pathlib
import sys
import unittest
import xml.etree.ElementTree as xml

sys.path.insert(0, os.environ["BENCH_SOURCE"])
import flame_graph  # noqa: E402

RECORDED = pathlib.Path(__file__).with_name("recorded_stacks.txt").read_text()
SVG = "{http://www.w3.org/2000/svg}"
INSIDE = flame_graph.WIDTH - 2 * flame_graph.SIDE
GAP = 0.5  # px between boxes


def boxes_of(picture):
    """(tooltip, rectangle's attributes, label or None) of every box."""
    groups = xml.fromstring(picture).iter(SVG + "g")
    return [(each.findtext(SVG + "title"), each.find(SVG + "rect").attrib, each.findtext(SVG + "text"))
            for each in groups]  # fmt: skip


def share_of(rectangle):
    return (float(rectangle["width"]) + GAP) / INSIDE


class BenchFlames(unittest.TestCase):
    def setUp(self):
        self.stacks = flame_graph.read_stacks(RECORDED)
        self.boxes = boxes_of(flame_graph.draw(self.stacks, "a title <here>"))

    def one(self, function):
        found = [box for box in self.boxes if box[0].startswith(function + ",")]
        self.assertEqual(len(found), 1, function)
        return found[0]

    def test_widths_are_shares_of_the_samples(self):
        self.assertEqual(len(self.stacks), 10)
        for function, library, samples in (
            ("_start", "net-snmp", 10),
            ("handle_snmp_packet", "net-snmp", 8),
            ("keep_pdu", "extension", 6),
            ("get_vsanEntry", "module", 5),
            ("slot_ring_write", "platform", 3),
            ("udp_sendmsg", "kernel", 2),
            ("hosts_ctl", "libwrap", 1),
            ("put_natural", "module", 1),
        ):
            title, rectangle, _ = self.one(function)
            self.assertEqual(title, f"{function}, {library}: {10 * samples:.1f} %")
            self.assertAlmostEqual(share_of(rectangle), samples / 10, places=3, msg=function)

    def test_what_is_called_stands_on_its_caller(self):
        for caller, called in (("get_vsanEntry", "record_line"), ("record_line", "sdwrap_hist_event")):
            below, above = self.one(caller)[1], self.one(called)[1]
            self.assertEqual(int(below["y"]) - int(above["y"]), flame_graph.ROW)
            self.assertGreaterEqual(float(above["x"]), float(below["x"]))
            self.assertLessEqual(float(above["x"]) + float(above["width"]), float(below["x"]) + float(below["width"]))

    def test_labels_fit_and_libraries_differ_in_colour(self):
        for title, rectangle, label in self.boxes:
            self.assertLessEqual(len(label or "") * flame_graph.LETTER, float(rectangle["width"]), title)
        self.assertEqual(self.one("_start")[2], "_start")
        self.assertNotEqual(self.one("get_vsanEntry")[1]["fill"], self.one("keep_pdu")[1]["fill"])

    def test_the_legend_has_what_each_library_took_itself(self):
        picture = flame_graph.draw(self.stacks, "")
        for text in ("net-snmp 10.0 %", "libc 10.0 %", "module 10.0 %", "extension 10.0 %", "platform 30.0 %",
                     "kernel 30.0 %"):  # fmt: skip
            self.assertIn(f">{text}<", picture)
        self.assertNotIn("libwrap 0", picture)

    def test_narrow_boxes_are_left_out_and_take_their_room(self):
        stacks = [[("main", "other"), ("a", "module")]] * 2 + [[("main", "other"), ("b", "platform")]] * 998
        boxes = boxes_of(flame_graph.draw(stacks, ""))
        self.assertEqual([title for title, _, _ in boxes], ["main, other: 100.0 %", "b, platform: 99.8 %"])
        self.assertAlmostEqual(float(boxes[1][1]["x"]), flame_graph.SIDE + 0.002 * INSIDE, places=1)

    def test_names_are_the_functions_own(self):
        for symbol, name in (
            ("switch_roles::(anonymous namespace)::keep_pdu(netsnmp_agent_request_info_s*, int)", "keep_pdu"),
            ("std::vector<int, std::allocator<int> >::push_back(int&&)", "push_back"),
            ("void add<(kind)2>(row const&) [clone .isra.0]", "add"),
            ("bool table::operator()(row const&) const", "operator()"),
            ("main", "main"),
            ("__libc_start_main@@GLIBC_2.34", "__libc_start_main"),
            ("udp_send_skb.isra.0", "udp_send_skb"),
        ):
            self.assertEqual(flame_graph.short_name(symbol), name)


if __name__ == "__main__":
    unittest.main()
