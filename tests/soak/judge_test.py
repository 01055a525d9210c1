"""The judge finds each broken promise in made-up lines, and none where none is broken."""

import os
import sys
import unittest

sys.path.insert(0, os.environ.get("SOAK_SOURCE", os.path.dirname(__file__)))
import judge  # noqa: E402
from judge import SECOND  # noqa: E402

ROW = "name.200"


class Run(unittest.TestCase):
    """A judge who is told lines at times of the test's own."""

    def setUp(self):
        self.judged = judge.Judge()

    def wrong_between(self, kind, start, end):
        self.judged.windows.begin(kind, int(start * SECOND))
        self.judged.windows.end(int(end * SECOND))

    def set_at(self, second, result, value, scope="row", key=ROW, latency=0.01):
        self.judged.take(f"set {int(second * SECOND)} {int(latency * SECOND)} {result} {scope} {key}={value}")

    def read_at(self, second, value, key=ROW):
        self.judged.take(f"read {int(second * SECOND)} 1000 0 {key}={value}", "write-0")

    def get_at(self, second, result="0", latency=0.01, kind="get"):
        self.judged.take(f"pdu {kind} {int(second * SECOND)} {int(latency * SECOND)} {result}")

    def end(self, raised=0, dropped=0, queued=0):
        return self.judged.end(3600 * SECOND, raised, dropped, queued)

    def assert_broken(self, text):
        self.assertEqual(len(self.judged.broken), 1, self.judged.broken)
        self.assertIn(text, self.judged.broken[0])

    def assert_kept(self):
        self.assertEqual(self.judged.broken, [])


class Writes(Run):
    def test_what_was_acknowledged_is_read(self):
        self.set_at(1, 0, "a")
        self.read_at(2, "a")
        self.assert_kept()

    def test_an_acknowledged_write_that_is_lost(self):
        self.set_at(1, 0, "a")
        self.set_at(2, 0, "b")
        self.read_at(3, "a")
        self.assert_broken("an acknowledged write was lost: name.200 reads a")

    def test_a_row_that_is_lost_with_a_restart(self):
        self.set_at(1, 0, "a")
        self.wrong_between("kill-switchd", 2, 3)
        self.read_at(2.5, "-")  # nobody serves it then
        self.assert_kept()
        self.read_at(5, "-")
        self.assert_broken("an acknowledged write was lost")

    def test_a_refused_write_that_is_applied(self):
        self.set_at(1, 0, "a")
        self.set_at(2, 8, "b")
        self.read_at(3, "b")
        self.assert_broken("a refused write was applied: name.200 reads b")

    def test_a_move_that_is_refused_while_nothing_is_wrong(self):
        self.set_at(2, 18, 30, key="interface.7")
        self.assert_broken("set got inconsistentName for interface.7=30 while nothing was wrong")

    def test_a_switch_wide_value_that_is_refused_while_nothing_is_wrong(self):
        self.set_at(2, 10, 30, scope="wide")
        self.assert_broken("while nothing was wrong")

    def test_a_read_that_is_refused_while_nothing_is_wrong(self):
        self.get_at(2, result="1", kind="getbulk")
        self.assert_broken("getbulk got")

    def test_a_write_refused_by_a_false_status_is_refused(self):
        self.set_at(1, 0, "a")
        self.wrong_between("fault-status", 2, 3)
        self.set_at(2.5, 5, "b")
        self.read_at(5, "b")
        self.assert_broken("a refused write was applied")

    def test_a_write_refused_in_a_check_is_refused_also_while_something_is_wrong(self):
        self.set_at(1, 0, "a")
        self.wrong_between("kill-switchd", 2, 3)
        self.set_at(2.5, 10, "b")
        self.read_at(5, "b")
        self.assert_broken("a refused write was applied")

    def test_an_unanswered_write_may_be_either_until_it_was_read(self):
        for result in ("none", "left", 5, 14):
            for value in ("a", "b"):
                self.judged = judge.Judge()
                self.set_at(1, 0, "a")
                self.wrong_between("kill-switchd", 2, 3)
                self.set_at(2.5, result, "b")
                self.read_at(5, value)
                self.assert_kept()
                self.read_at(6, "a" if value == "b" else "b")
                self.assert_broken("an acknowledged write was lost")

    def test_a_later_acknowledgement_ends_the_doubt(self):
        self.set_at(1, 0, "a")
        self.wrong_between("kill-switchd", 2, 3)
        self.set_at(2.5, "none", "b")
        self.set_at(5, 0, "c")
        self.read_at(6, "b")
        self.assert_broken("an acknowledged write was lost")

    def test_rows_of_one_refused_pdu_may_be_done_while_something_is_wrong_only(self):
        self.set_at(1, 0, "a")
        self.set_at(1.5, 12, "b", scope="rows")
        self.read_at(1.7, "b")
        self.assert_broken("a refused write was applied")
        self.judged = judge.Judge()
        self.set_at(1, 0, "a")
        self.wrong_between("fault-status", 2, 3)
        self.set_at(2.5, 5, "b", scope="rows")
        self.read_at(5, "b")
        self.assert_kept()


class Requests(Run):
    def test_errors_while_nothing_is_wrong(self):
        for result, name in (("5", "genErr"), ("none", "noResponse"), ("left", "agentGone"), ("14", "commitFailed")):
            self.judged = judge.Judge()
            self.get_at(1, result, kind="getnext")
            self.assert_broken(f"getnext got {name}")

    def test_what_is_always_there_is_absent_while_nothing_is_wrong(self):
        self.get_at(1, "absent")
        self.assert_broken("found nothing")

    def test_errors_while_something_is_wrong_break_nothing(self):
        self.wrong_between("kill-switchd", 1, 2)
        for at, result in ((0.995, "5"), (1.5, "none"), (2.9, "5"), (1.5, "absent")):
            self.get_at(at, result)
        self.assert_kept()

    def test_a_disturbance_excuses_nothing_later(self):
        self.wrong_between("kill-switchd", 1, 2)
        self.get_at(3.1, "5")
        self.assert_broken("get got genErr")

    def test_a_pdu_that_takes_two_time_outs(self):
        self.wrong_between("fault-hang", 1, 12)
        self.get_at(2, "absent", latency=8.1)
        self.end()
        self.assert_broken("get took 8.1 s; one time-out is 5.5 s at most")

    def test_a_pdu_that_waits_behind_a_set_of_the_whole_switch(self):
        self.wrong_between("fault-hang", 1, 30)
        self.get_at(2, "absent", latency=8.1)
        self.set_at(1.5, 5, "7", scope="wide", latency=9.9)
        self.end()
        self.assert_kept()
        self.set_at(12, 5, "7", scope="wide", latency=13)
        self.end()
        self.assert_broken("set took 13.0 s")

    def test_a_pdu_that_waits_for_a_stopped_agent(self):
        self.wrong_between("stop-agent", 1, 9)
        self.get_at(2, latency=7)
        self.end()
        self.assert_kept()

    def test_walks(self):
        self.judged.take(f"walk getnext {SECOND} 150 ascending")
        self.assert_kept()
        self.judged.take(f"walk getbulk {SECOND} 12 .1.3.6.1.4.1")
        self.assert_broken("a walk by getbulk does not ascend at .1.3.6.1.4.1")

    def test_a_walk_that_ends_early(self):
        self.judged.take(f"walk getnext {SECOND} 12 ascending")
        self.assert_broken("ended after 12 varbinds")


class Restarts(Run):
    def test_back_in_time(self):
        self.judged.await_service("kill-agent", SECOND)
        self.get_at(0.9, latency=0.5)  # asked before: says nothing
        self.get_at(1.5, "absent")
        self.get_at(1.7)
        self.set_at(1.8, 0, "a")
        self.assertEqual([(what, round(seconds, 2)) for _, what, seconds in self.judged.backs],
                         [("GET", 0.71), ("SET", 0.81)])  # fmt: skip

    def test_a_set_that_is_back_before_the_get_that_is_waited_for(self):
        self.judged.await_service("start", SECOND)
        self.set_at(1.2, 0, "a")
        self.assertTrue(self.judged.is_missing("GET"))
        self.get_at(1.3)
        self.assertFalse(self.judged.is_missing("GET"))

    def test_back_late(self):
        self.judged.await_service("kill-agent", SECOND)
        self.get_at(1.5)
        self.set_at(2.1, 0, "a")
        self.assert_broken("SET is back 1.110 s after kill-agent")

    def test_back_after_a_time_out_where_a_request_was_swallowed(self):
        for at, broken in ((5, 0), (14, 1)):
            self.judged = judge.Judge()
            self.judged.await_service("fault-hang", SECOND)
            self.get_at(at)
            self.assertEqual(len(self.judged.broken), broken)

    def test_never_back(self):
        self.judged.await_service("kill-agent", SECOND)
        self.get_at(1.5)
        self.judged.service_missing(21 * SECOND)
        self.assert_broken("no SET 20.0 s after kill-agent")

    def test_a_process_that_ends_by_itself(self):
        self.judged.died(SECOND, "snmpd", -11)
        self.assert_broken("snmpd ended by itself: -11")

    def test_a_damaged_store(self):
        self.judged.store_checked(SECOND, "ok")
        self.assert_kept()
        self.judged.store_checked(SECOND, "row 3 missing from index")
        self.assert_broken("the store is damaged: row 3")


class Traps(Run):
    KEY = "interface.7"

    def moves(self, *vsans):
        for vsan in vsans:
            self.set_at(1, 0, vsan, key=self.KEY)

    def heard(self, *vsans):
        for vsan in vsans:
            self.judged.take(f"trap {SECOND} member 7 {vsan}")

    def test_all_heard(self):
        self.moves(5, 10, 20)
        self.heard(5, 10, 20)
        self.assertEqual(self.end(raised=3), {"lost": 0, "twice": 0, "heard": 3, "flat": []})
        self.assert_kept()

    def test_one_lost(self):
        for heard in ((5, 20), (5, 10), (10, 20), (5, 10, 5)):
            self.judged = judge.Judge()
            self.moves(5, 10, 20)
            self.heard(*heard)
            self.end(raised=2)
            self.assert_broken("1 membership traps were lost, 0 notifications are counted as dropped")

    def test_one_lost_of_an_interface_that_is_silent(self):
        self.moves(5)
        self.end()
        self.assert_broken("1 membership traps were lost")

    def test_one_lost_and_counted(self):
        self.moves(5, 10, 20)
        self.heard(5, 20)
        self.end(raised=3, dropped=1)
        self.assert_kept()

    def test_the_last_one_twice(self):
        self.moves(5, 10, 20)
        self.heard(5, 10, 10, 20)
        self.assertEqual(self.end(raised=3)["twice"], 1)
        self.assert_kept()

    def test_an_unanswered_move_may_be_heard(self):
        for heard in ((5, 20), (5, 10, 20)):
            self.judged = judge.Judge()
            self.wrong_between("kill-agent", 1, 2)
            self.moves(5)
            self.set_at(1.5, "left", 10, key=self.KEY)
            self.moves(20)
            self.heard(*heard)
            self.end()
            self.assert_kept()

    def test_a_move_to_where_it_may_be_already_may_be_silent(self):
        for heard in ((5, 10), (5, 10, 10)):
            self.judged = judge.Judge()
            self.wrong_between("fault-hang", 1, 2)
            self.moves(5)
            self.set_at(1.5, 5, 10, key=self.KEY)
            self.moves(10)
            self.heard(*heard)
            self.end()
            self.assert_kept()

    def test_a_trap_of_nothing(self):
        self.moves(5)
        self.heard(5, 30)
        self.end(raised=1)
        self.assert_broken("interface 7 in VSAN 30: no such move was made")

    def test_a_trap_of_a_refused_move(self):
        self.moves(5)
        self.wrong_between("fault-status", 1.5, 2.5)
        self.set_at(2, 10, 30, key=self.KEY)
        self.heard(5, 30)
        self.end(raised=1)
        self.assert_broken("interface 7 in VSAN 30")

    def test_fewer_than_were_raised(self):
        self.judged.take(f"trap {SECOND} status 5 2")
        self.end(raised=2)
        self.assert_broken("1 traps of 2 notifications raised")

    def test_left_in_the_queue(self):
        self.end(queued=3)
        self.assert_broken("3 notifications were never taken")

    def test_a_receiver_that_lost_some(self):
        self.judged.take("sink 4")
        self.end()
        self.assert_broken("the receiver of traps lost 4")


class Flatness(Run):
    def life(self, kib, descriptors, seconds=1200):
        for second in range(0, seconds + 1, 5):
            self.judged.sample(second * SECOND, "snmpd", 42, kib(second), descriptors(second))
        return self.end()

    def test_flat(self):
        told = self.life(lambda second: 20000 + second % 7 * 8, lambda second: 13 + second % 3)["flat"]
        self.assertEqual(len(told), 1)
        self.assert_kept()

    def test_growth_of_the_first_half_is_warming_up(self):
        self.life(lambda second: 20000 + min(second, 600) * 10, lambda _: 13)
        self.assert_kept()

    def test_memory_that_grows(self):
        self.life(lambda second: 20000 + second // 2, lambda _: 13)
        self.assert_broken("memory of snmpd 42 is not flat: 300 KiB in 10 minutes")

    def test_descriptors_that_grow(self):
        self.life(lambda _: 20000, lambda second: 13 + second // 100)
        self.assert_broken("descriptors of snmpd 42 are not flat: 19 to 24")

    def test_what_a_reload_costs_the_agent_is_not_counted_and_no_more(self):
        for each, broken in ((1, 0), (4, 1)):
            self.judged = judge.Judge()
            for second in range(610, 1200, 60):
                self.wrong_between("reload-agent", second, second + 0.1)
            self.life(lambda _: 20000, lambda second, each=each: 13 + max(0, second - 600) // 60 * each)
            self.assertEqual(len(self.judged.broken), broken, self.judged.broken)

    def test_another_process_is_another_story(self):
        for second in range(0, 1201, 5):
            pid = 42 if second < 600 else 43
            self.judged.sample(second * SECOND, "snmpd", pid, 20000 if pid == 42 else 40000, 13)
        self.end()
        self.assert_kept()


class Rows(Run):
    def test_a_row_splits_latencies_by_what_was_wrong(self):
        self.wrong_between("fault-delay", 1, 2)
        self.get_at(1.5, latency=0.3)
        for _ in range(3):
            self.get_at(5, latency=0.002)
        done, quiet, faulty = self.judged.next_row()
        self.assertEqual((quiet, faulty), (["2.000"] * 3, ["300.000"] * 3))
        self.assertEqual((done.kinds["get"], done.results["ok"]), (4, 4))
        self.assertEqual(self.judged.next_row()[1], ["", "", ""])


if __name__ == "__main__":
    unittest.main()
