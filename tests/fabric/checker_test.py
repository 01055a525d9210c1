"""The checker finds each broken promise in made-up histories, and none where none is broken."""

import collections
import os
import random
import sys
import unittest

sys.path.insert(0, os.path.dirname(__file__))
import checker  # noqa: E402
import history  # noqa: E402
import model  # noqa: E402
import mutations  # noqa: E402

SEEDS = range(8)


def problems(lines):
    return checker.Checker(lines).check()


class Mutations(unittest.TestCase):
    def test_a_sound_history_has_no_problem(self):
        for seed in SEEDS:
            self.assertEqual([str(each) for each in problems(model.sound(seed))], [], seed)

    def test_each_mutation_is_found_each_time(self):
        tried = collections.Counter()
        for seed in SEEDS:
            lines, drawn = model.sound(seed), random.Random(seed)
            for mutate, promise in mutations.MUTATIONS.items():
                found = mutations.try_mutation(lines, mutate, drawn)
                if found is not None:
                    self.assertIn(promise, found, f"{mutate.__name__}, seed {seed}")
                    tried[mutate] += 1
        for mutate in mutations.MUTATIONS:
            self.assertGreaterEqual(tried[mutate], len(SEEDS) // 2, f"{mutate.__name__} has hardly a place")

    def test_the_original_is_left_as_it_was(self):
        lines = model.sound(1)
        mutations.try_mutation(lines, mutations.two_holders, random.Random(1))
        self.assertEqual(lines, model.sound(1))


class Doubt(unittest.TestCase):
    """What may be so or otherwise is no problem either way."""

    def setUp(self):
        self.made = model.Model(1)
        self.session = {"name": "x1", "pending": {}}

    def told(self):
        self.made.lines += [{"is": "drained", "revision": self.made.revision}]
        self.made.quiet()
        return [str(each) for each in problems(self.made.lines)]

    def commit_before(self):
        session = {"name": "x0", "pending": {}}
        self.made.set("s2", session)
        self.made.commit("s2", session)

    def test_a_commit_without_a_certain_answer_may_be_in_etcd(self):
        self.made.set("s1", self.session)
        self.made.commit("s1", self.session, answered=False)
        self.assertEqual(self.told(), [])

    def test_a_commit_without_a_certain_answer_may_be_nowhere(self):
        self.commit_before()
        self.made.set("s1", self.session)
        self.made.op("commit", "s1", 1, history.OUTCOME_UNKNOWN)
        self.made.lock = None
        self.made.etcd({history.LOCK: None})
        self.assertEqual(self.told(), [])

    def test_a_commit_that_vsanctl_got_no_answer_to_is_one_of_them(self):
        self.made.set("s1", self.session)
        self.made.commit("s1", self.session, answered=False)
        next(line for line in self.made.lines if line.get("do") == "commit").update(exit=3, status=0)
        self.assertEqual(self.told(), [])

    def test_a_set_that_was_refused_is_nowhere(self):
        self.made.set("s1", self.session)
        self.made.commit("s1", self.session)
        next(line for line in self.made.lines if line.get("do") == "set").update(exit=1, status=history.UNREACHABLE)
        self.assertIn("was refused and is committed", self.told()[0])

    def test_a_set_without_an_answer_may_be_committed(self):
        self.made.set("s1", self.session)
        self.made.commit("s1", self.session)
        next(line for line in self.made.lines if line.get("do") == "set").update(exit=3, status=0)
        self.assertEqual(self.told(), [])

    def test_pending_values_of_a_lost_session_are_committed_by_a_later_one(self):
        self.made.set("s1", self.session)
        self.made.op("commit", "s1", 1, history.SESSION_LOST)
        self.made.etcd({history.LOCK: None})
        self.made.lock = None
        self.commit_before()
        again = {"name": "x2", "pending": self.session["pending"]}
        self.made.op("resume", "s1", middle=lambda: self.made.open("s1", again))
        self.made.commit("s1", again)
        self.assertEqual(self.told(), [])

    def test_and_must_all_be_in_it(self):
        self.made.set("s1", self.session)
        lost = dict(self.session["pending"])
        self.made.lock, again = None, {"name": "x2", "pending": {}}
        self.made.etcd({history.LOCK: None})
        while not set(again["pending"]).difference(lost):
            self.made.set("s1", again)
        for cell in lost:
            again["pending"].pop(cell, None)
        self.made.commit("s1", again)
        self.assertIn("etcd never had it", " ".join(self.told()))

    def test_a_value_set_twice_is_committed_as_it_was_set_last(self):
        for _ in range(20):
            self.made.set("s1", self.session)
        self.made.commit("s1", self.session)
        self.assertEqual(self.told(), [])

    def test_a_holder_may_write_its_lock_again(self):
        self.made.set("s1", self.session)
        self.made.etcd({history.LOCK: self.made.lock})
        self.made.commit("s1", self.session)
        self.assertEqual(self.told(), [])

    def test_the_first_values_may_be_those_of_a_switch_that_joined(self):
        self.made.number = 1
        self.made.etcd({history.VALUES: {"commit": 1, "wwn": self.made.wwns["s1"], "switch": "s1", "at": 1,
                                         "user": checker.JOINED, "session": "0", "timers": [[0, 7, 1500]]}})
        self.made.timers, self.made.revisions[1] = {"0/7": 1500}, self.made.revision
        self.made.states[1] = dict(self.made.timers)
        for name in self.made.wwns:
            self.made.apply(name)
        self.made.set("s1", self.session)
        self.made.commit("s1", self.session)
        self.assertEqual(self.told(), [])

    def test_an_abort_drops_what_was_pending(self):
        self.commit_before()
        self.made.set("s1", self.session)
        self.made.op("abort", "s1", middle=lambda: self.made.etcd({history.LOCK: None}))
        self.made.lock, again = None, {"name": "x2", "pending": {}}
        self.made.set("s1", again)
        self.made.commit("s1", again)
        self.assertEqual(self.told(), [])


class Away(unittest.TestCase):
    def passed_over(self, who, begin, end):
        lines = [line for line in model.sound(3) if line["is"] != "disturb"]
        applied = [line for line in lines if line["is"] == "applied" and line["switch"] == "s1"]
        for line in applied[3:5]:
            lines = [each for each in lines if each is not line]
        around = applied[2]["seen"], applied[5]["seen"]
        lines.append({"is": "disturb", "what": "kill", "who": who, "begin": around[0] + begin, "end": around[1] + end})
        return [each.text for each in problems(lines)
                if each.promise == "every commit" and each.lines[0]["seen"] == around[0]]  # fmt: skip

    def test_a_switch_that_was_away_may_pass_commits_over(self):
        self.assertEqual(self.passed_over("s1", 1, -1), [])

    def test_so_may_all_while_etcd_is_disturbed(self):
        self.assertEqual(self.passed_over("e1", 1, -1), [])

    def test_another_switch_that_is_away_excuses_nothing(self):
        self.assertEqual(len(self.passed_over("s2", 1, -1)), 1)

    def test_nor_does_what_was_over_long_before(self):
        self.assertEqual(len(self.passed_over("s1", -100 * history.SECOND, -101 * history.SECOND)), 1)


class Recorded(unittest.TestCase):
    def without(self, what):
        lines = [line for line in model.sound(1) if line["is"] != what]
        return " ".join(each.text for each in problems(lines) if each.promise == "recorded")

    def test_a_history_that_says_nothing_proves_nothing(self):
        self.assertIn("no commit", self.without("etcd"))
        self.assertIn("no read", self.without("read"))
        self.assertIn("no quiet", self.without("quiet"))
        self.assertIn("no op", self.without("op"))
        self.assertIn("no applied", self.without("applied"))
        self.assertIn("up to revision 0", self.without("drained"))

    def test_a_problem_shows_its_lines(self):
        lines = model.sound(1)
        next(line for line in lines if line["is"] == "read")["timers"]["0/7"] = 1
        shown = str(problems(lines)[0])
        self.assertIn('"is": "read"', shown)
        self.assertIn('["0/7", 1]', shown)


class Words(unittest.TestCase):
    def test_outcomes(self):
        self.assertEqual(history.outcome({"do": "set", "exit": 1, "status": history.OUTCOME_UNKNOWN}), "refused")
        for exit_code, status, wanted in ((0, 0, "done"), (1, history.UNREACHABLE, "refused"), (3, 0, "unknown"),
                                          (1, history.OUTCOME_UNKNOWN, "unknown"), (None, None, "unknown"),
                                          (1, 0, "unknown")):  # fmt: skip
            self.assertEqual(history.outcome({"do": "commit", "exit": exit_code, "status": status}), wanted)

    def test_a_vsan_without_a_value_has_that_of_the_switch(self):
        first = {"0/7": 1, "10/7": 1, "20/7": 2, "20/8": 3}
        self.assertEqual(history.in_force([[0, 7, 5], [20, 7, 6]], first),
                         {"0/7": 5, "10/7": 5, "20/7": 6, "20/8": 3})  # fmt: skip


if __name__ == "__main__":
    unittest.main()
