"""A fabric of three switches with stock agents: what managers and operators see of it, and what goes wrong around it.

VSANMIB_BUILD is the build directory; VSANMIB_PRELOAD a sanitizer's runtime for the stock agent.
"""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.dirname(__file__))
import agents  # noqa: E402
import cluster  # noqa: E402
import history  # noqa: E402
import switches  # noqa: E402

BUILD = pathlib.Path(os.environ.get("VSANMIB_BUILD", "build/release")).resolve()
PRELOAD = os.environ.get("VSANMIB_PRELOAD", "")
PREFIX = f"/switch/{switches.FABRIC}/"
VALUES, LOCK = PREFIX + history.VALUES, PREFIX + history.LOCK
GEN_ERROR, NO_SUCH_INSTANCE = 5, 0x81
REFUSED_SECONDS = 4.5  # what is refused after three, on a busy machine; vsanctl itself waits for five
GET_MS = 1500  # no GET waits for etcd, which costs three seconds
E, D = "e_d_tov", "d_s_tov"


def until(condition, seconds=10):
    """Whether it came true in time."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


class FabricTest(unittest.TestCase):
    """A directory and an etcd of one member, whose elections need not be waited for."""

    etcd_options = ()

    @classmethod
    def setUpClass(cls):
        os.environ["PATH"] += ":/usr/sbin:/sbin"
        cls.made = contextlib.ExitStack()
        cls.dir = pathlib.Path(tempfile.mkdtemp(prefix="fabric."))
        cls.made.callback(shutil.rmtree, cls.dir, True)
        try:
            cls.start_all()
        except BaseException:
            cls.made.close()
            raise

    @classmethod
    def start_all(cls):
        cls.etcd = cls.made.enter_context(cluster.Cluster(cls.dir, 1, 10, 100))
        cls.etcd.start_all()

    @classmethod
    def tearDownClass(cls):
        cls.made.close()

    @classmethod
    def switch(cls, number, state="member", **how):
        each = switches.Switch(cls.dir, BUILD, number, cls.etcd.urls(), **how)
        each.start()
        cls.made.callback(lambda: cluster.end_process(each.process))
        if state is not None:
            each.await_state(state)
        return each

    @classmethod
    def agent(cls, each):
        port = agents.free_udp_port()
        process = agents.start_agent(BUILD, each.dir, each.dir / "run", port, PRELOAD)
        client = agents.Client(port)
        cls.made.callback(lambda: (client.close(), cluster.end_process(process)))
        if not until(lambda: client.get(agents.edtov(10), 0.2) is not None, 20):
            raise RuntimeError(f"the agent of {each.name} does not answer")
        return client

    def done(self, each, *words):
        code, _, status, text = each.ctl(*words)
        self.assertEqual((code, status), (0, 0), text)

    def refused(self, each, wanted, *words):
        """The text of the refusal, which has this status."""
        code, _, status, text = each.ctl(*words)
        self.assertEqual(f"{status:#010x}", f"{wanted:#010x}", f"exit {code}: {text}")
        return text

    def set(self, each, value, vsan=10, timer=E):
        self.done(each, "timer", "set", timer, value, "--vsan", vsan)

    def shows(self, each, value, vsan=10, key=7):
        return each.timers()[f"{vsan}/{key}"] == value

    def all_show(self, there, value, vsan=10, key=7):
        for each in there:
            self.assertTrue(until(lambda each=each: self.shows(each, value, vsan, key)),
                            f"{each.name} shows {each.timers()}")  # fmt: skip

    def said(self, each, words):
        return words in each.log.read_text(errors="replace")

    def applied(self, each):
        """Numbers of the commits that its log says it applied."""
        lines = each.log.read_text(errors="replace").splitlines()
        return [int(line.split("applied commit ")[1].split()[0]) for line in lines if "applied commit " in line]


class Sessions(FabricTest):
    @classmethod
    def start_all(cls):
        super().start_all()
        cls.here, cls.there, cls.third = (cls.switch(number) for number in (1, 2, 3))
        cls.at_here, cls.at_there = cls.agent(cls.here), cls.agent(cls.there)

    def tearDown(self):
        for each in (self.here, self.there, self.third):
            if each.show("kdx")["session"]:
                self.done(each, "kdx", "abort")
        self.assertTrue(until(lambda: self.etcd.get(LOCK)[0] is None))

    def test_a_set_over_snmp_is_pending_here_until_the_commit_brings_it_into_force_everywhere(self):
        running = self.here.timers()["10/7"]
        self.assertEqual(self.at_here.set(agents.edtov(10), 2500), 0)
        self.assertEqual(self.at_here.get(agents.edtov(10)), 2500, "pending, where the session is")
        self.all_show((self.here, self.there, self.third), running)
        self.done(self.here, "kdx", "commit")
        self.assertTrue(self.shows(self.here, 2500), "at once where it was acknowledged")
        self.all_show((self.there, self.third), 2500)
        self.assertTrue(agents.await_value(self.at_there, agents.edtov(10), 2500, 5))
        self.assertEqual(self.at_here.get(agents.edtov(10)), 2500)

    def test_running_values_are_read_over_snmp_elsewhere_while_a_session_is_open(self):
        running = self.there.timers()["20/7"]
        self.set(self.here, 3100 if running != 3100 else 3200, 20)
        self.assertTrue(until(lambda: self.there.show("kdx")["remote_lock"]))
        status, tag, _ = self.at_there.ask(agents.GET, b"public", agents.edtov(20), agents.tlv(5, b""), 5)
        self.assertEqual((status, tag), (0, NO_SUCH_INSTANCE), "what is pending is elsewhere")
        self.done(self.there, "kdx", "show-running", "on")
        self.assertEqual(self.at_there.get(agents.edtov(20)), running)
        self.done(self.there, "kdx", "show-running", "off")

    def test_another_switch_is_refused_over_snmp_and_told_who_holds_the_lock(self):
        self.set(self.here, 2600)
        self.assertEqual(self.at_there.set(agents.edtov(10), 2700), GEN_ERROR)
        shown = json.dumps(self.there.show("errors"))
        self.assertIn("another switch holds the distribution lock", shown)
        text = self.refused(self.third, history.HELD_ELSEWHERE, "timer", "set", E, 2700, "--vsan", 10)
        self.assertIn(self.here.name, text)
        self.assertIn(self.here.name, self.there.show("kdx")["holder"])
        self.done(self.here, "kdx", "abort")
        self.assertTrue(until(lambda: self.third.ctl("timer", "set", E, 2800, "--vsan", 10)[0] == 0))

    def test_an_abort_drops_the_values_and_gives_the_lock_back(self):
        running = self.here.timers()
        self.set(self.here, 3333)
        self.assertIsNotNone(self.etcd.get(LOCK)[0])
        self.done(self.here, "kdx", "abort")
        self.assertTrue(until(lambda: self.etcd.get(LOCK)[0] is None))
        self.assertEqual(self.here.timers(), running)
        self.assertEqual(self.at_here.get(agents.edtov(10)), running["10/7"])
        self.refused(self.here, history.NO_SESSION, "kdx", "commit")

    def test_a_vsan_that_is_kept_out_is_this_switchs_own_matter(self):
        self.done(self.here, "kdx", "keep-out", 40)
        try:
            self.set(self.here, 1234, 40)
            self.assertTrue(self.shows(self.here, 1234, 40), "at once")
            self.assertIsNone(self.etcd.get(LOCK)[0])
            pending = self.here.show("timers", "--pending")["pending_timers"]
            self.assertNotIn(40, [row["vsan"] for row in pending])
            self.set(self.here, 2345)
            self.done(self.here, "kdx", "commit")
            self.all_show((self.there, self.third), 2345)
            self.assertFalse(self.shows(self.there, 1234, 40))
        finally:
            self.here.ctl("kdx", "take-in", 40)

    def test_what_was_committed_is_told_with_who_and_what(self):
        self.set(self.third, 1777)
        self.done(self.third, "kdx", "commit")
        self.all_show((self.here,), 1777)
        shown = self.here.show("fabric")
        last = max(shown["commits"], key=lambda each: each["number"])
        self.assertEqual((last["switch"], shown["commit"]), (self.third.name, last["number"]))
        self.assertIn("1777", str(last["changed"]))
        self.assertTrue(until(lambda: {(each["name"], each["alive"]) for each in self.here.show("fabric")["switches"]}
                              == {("s1", True), ("s2", True), ("s3", True)}))  # fmt: skip


class Away(FabricTest):
    @classmethod
    def start_all(cls):
        super().start_all()
        cls.here, cls.there = cls.switch(1), cls.switch(2)

    def kill(self, each):
        each.process.kill()
        each.process.wait(20)

    def commit(self, each, value, vsan=10):
        self.set(each, value, vsan)
        self.done(each, "kdx", "commit")

    def test_a_switch_that_was_down_catches_up(self):
        self.kill(self.there)
        for value in (2100, 2200, 2300):
            self.commit(self.here, value)
        self.there.start()
        self.there.await_state("member")
        self.all_show((self.there,), 2300)
        applied = self.applied(self.there)
        self.assertEqual(applied, sorted(set(applied)), "each once")

    def test_so_does_one_whose_commits_etcd_has_forgotten(self):
        self.commit(self.here, 1100)
        self.all_show((self.there,), 1100)
        self.kill(self.there)
        for value in (1200, 1300):
            self.commit(self.here, value, 20)
        self.etcd.compact(self.etcd.revision())
        self.there.start()
        self.there.await_state("member")
        self.all_show((self.there,), 1300, 20)
        self.assertTrue(self.shows(self.there, 1100))
        self.commit(self.there, 1400, 20)
        self.all_show((self.here,), 1400, 20)

    def test_and_one_that_stood_still_while_etcd_forgot(self):
        self.there.process.send_signal(signal.SIGSTOP)
        try:
            self.commit(self.here, 1500, 30)
            self.etcd.compact(self.etcd.revision())
        finally:
            self.there.process.send_signal(signal.SIGCONT)
        self.all_show((self.there,), 1500, 30)

    def test_a_switch_killed_in_the_middle_of_a_commit_has_it_once_or_not_at_all(self):
        done = 0
        for number, delay in enumerate((0, 0.002, 0.004, 0.008, 0.015, 0.03, 0.06, 0.3)):
            before, value = self.here.timers()["10/9"], 6000 + number
            self.set(self.here, value, timer=D)
            started = subprocess.Popen(self.here.command("kdx", "commit"), stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, text=True)  # fmt: skip
            time.sleep(delay)
            self.kill(self.here)
            acknowledged = switches.answer_of(started)[0] == 0
            self.here.start()
            self.here.await_state("member")
            committed, revision = self.etcd.get(VALUES)
            self.assertTrue(until(lambda revision=revision: [each.applied_revision() for each in (
                self.here, self.there)] == [revision, revision]))  # fmt: skip
            wanted = value if committed and [10, 9, value] in committed["timers"] else before
            self.assertFalse(acknowledged and wanted != value, "what was acknowledged is there")
            self.all_show((self.here, self.there), wanted, key=9)
            done += wanted == value
            if wanted != value:
                self.here.ctl("kdx", "abort")
        applied = self.applied(self.here)
        self.assertEqual(applied, sorted(set(applied)), "each once")
        self.assertGreater(done, 0, "none of the commits was done: this says nothing")


class LostSession(FabricTest):
    @classmethod
    def start_all(cls):
        super().start_all()
        cls.here, cls.there = cls.switch(1), cls.switch(2)

    def lose(self, value):
        """A session with this value pending, whose lock is taken away."""
        self.set(self.here, value)
        self.etcd.delete(LOCK)
        self.assertTrue(until(lambda: self.here.show("kdx")["lost"]))

    def test_the_loss_is_said_and_the_values_are_committed_when_they_are_resumed(self):
        self.lose(2400)
        self.assertTrue(self.said(self.here, " lost: "))
        self.refused(self.here, history.SESSION_LOST, "kdx", "commit")
        self.assertEqual([row["value"] for row in self.here.show("kdx")["pending"]], [2400])
        self.done(self.here, "kdx", "resume")
        self.assertEqual(self.etcd.get(LOCK)[0]["switch"], self.here.name)
        self.done(self.here, "kdx", "commit")
        self.all_show((self.here, self.there), 2400)

    def test_or_dropped_by_an_abort(self):
        before = self.here.timers()
        self.lose(2450)
        self.done(self.here, "kdx", "abort")
        self.assertEqual(self.here.show("kdx")["pending"], [])
        self.assertEqual(self.here.timers(), before)
        self.set(self.there, 2460)
        self.done(self.there, "kdx", "commit")
        self.all_show((self.here,), 2460)

    def test_another_may_be_the_holder_before_they_are_resumed(self):
        self.lose(2470)
        self.set(self.there, 2480, 20)
        self.refused(self.here, history.HELD_ELSEWHERE, "kdx", "resume")
        self.done(self.there, "kdx", "commit")
        self.assertTrue(until(lambda: self.here.ctl("kdx", "resume")[0] == 0))
        self.done(self.here, "kdx", "commit")
        self.all_show((self.here, self.there), 2470)
        self.all_show((self.here, self.there), 2480, 20)


class NoQuorum(FabricTest):
    @classmethod
    def start_all(cls):
        super().start_all()
        cls.here, cls.there = cls.switch(1), cls.switch(2)
        cls.at_here = cls.agent(cls.here)

    def refused_in_time(self, *words):
        begin = time.monotonic()
        self.refused(self.here, history.UNREACHABLE, *words)
        self.assertLess(time.monotonic() - begin, REFUSED_SECONDS)

    def longest_get(self, count=200):
        """Milliseconds."""
        longest = 0
        for _ in range(count):
            begin = time.monotonic()
            self.assertIsNotNone(self.at_here.get(agents.edtov(10)))
            longest = max(longest, (time.monotonic() - begin) * 1000)
        return longest

    def test_without_etcd_changes_are_refused_and_reads_go_on(self):
        self.etcd.send(signal.SIGSTOP, "e1")
        try:
            begin = time.monotonic()
            started = subprocess.Popen(self.here.command("timer", "set", E, 2500, "--vsan", 10),
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)  # fmt: skip
            self.assertLess(self.longest_get(), GET_MS, "while a change waits for etcd")
            code, _, status, text = switches.answer_of(started)
            self.assertEqual((code, f"{status:#x}"), (1, f"{history.UNREACHABLE:#x}"), text)
            self.assertLess(time.monotonic() - begin, REFUSED_SECONDS)
            self.refused_in_time("timer", "set", E, 2500, "--vsan", 10)
            self.assertEqual(self.here.show("kdx")["pending"], [], "nothing was changed")
            self.assertEqual(self.at_here.set(agents.edtov(10), 2500), GEN_ERROR)
            self.assertLess(self.longest_get(), GET_MS)
            self.here.await_state("unreachable")
            self.done(self.here, "switch", "set", "--switch-latency", 600)
        finally:
            self.etcd.send(signal.SIGCONT, "e1")
        self.here.await_state("member")
        self.there.await_state("member")
        self.assertTrue(until(lambda: self.here.ctl("timer", "set", E, 2600, "--vsan", 10)[0] == 0))
        self.done(self.here, "kdx", "commit")
        self.all_show((self.there,), 2600)


class Merging(FabricTest):
    @classmethod
    def start_all(cls):
        super().start_all()
        cls.here = cls.switch(1, more="[timers]\ne_d_tov = 2100")
        cls.number = 1

    def conflicting(self):
        """A switch that comes with other values than the fabric has."""
        type(self).number += 1
        return self.switch(self.number, "conflict", more=f"[timers]\ne_d_tov = {2200 + self.number}")

    def test_a_switch_with_other_values_stays_out_until_it_takes_theirs(self):
        there = self.conflicting()
        own = there.timers()["0/7"]
        self.refused(there, history.NOT_JOINED, "timer", "set", E, 2500, "--vsan", 10)
        self.assertEqual(there.timers()["0/7"], own)
        self.assertIn("differ", there.show("fabric")["why"])
        self.done(there, "fabric", "join", "--take", "theirs")
        there.await_state("member")
        self.assertEqual(there.timers(), self.here.timers())

    def test_or_has_all_others_take_its_own(self):
        there = self.conflicting()
        own = there.timers()["0/7"]
        self.done(there, "fabric", "join", "--take", "ours")
        there.await_state("member")
        self.assertEqual(there.timers()["0/7"], own)
        self.all_show((self.here,), own, 0)

    def test_one_with_none_of_its_own_takes_theirs(self):
        type(self).number += 1
        there = self.switch(self.number)
        self.assertEqual(there.timers(), self.here.timers())

    def test_a_switch_that_left_is_one_of_its_own_and_is_told_what_differs_when_it_comes_back(self):
        type(self).number += 1
        there = self.switch(self.number)
        kept = there.timers()
        self.done(there, "fabric", "leave")
        there.await_state("left")
        self.set(self.here, 3900)
        self.done(self.here, "kdx", "commit")
        self.assertTrue(self.shows(self.here, 3900))
        self.assertEqual(there.timers(), kept)
        names = [each["name"] for each in self.here.show("fabric")["switches"]]
        self.assertNotIn(there.name, names)
        self.set(there, 3800)
        self.done(there, "kdx", "commit")
        self.assertTrue(self.shows(there, 3800))
        there.process.kill()
        there.process.wait(20)
        there.start()
        there.await_state("left")
        self.refused(there, history.NOT_JOINED, "fabric", "join")
        self.assertEqual(there.show("fabric")["state"], "conflict")
        self.assertTrue(self.shows(there, 3800))
        self.done(there, "fabric", "join", "--take", "theirs")
        self.all_show((there, self.here), 3900)


def openssl(directory, *words):
    done = subprocess.run(["openssl", *map(str, words)], cwd=directory, capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"openssl {words[0]}: {done.stderr}")


def make_authority(directory, name):
    openssl(directory, "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", 2,
            "-subj", f"/CN={name}", "-keyout", f"{name}.key", "-out", f"{name}.pem")  # fmt: skip


def make_certificate(directory, authority, name, usage):
    (directory / f"{name}.ext").write_text(f"subjectAltName=IP:127.0.0.1,DNS:localhost\nextendedKeyUsage={usage}\n")
    openssl(directory, "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj",
            f"/O={name}", "-keyout", f"{name}.key", "-out", f"{name}.csr")  # fmt: skip
    openssl(directory, "x509", "-req", "-in", f"{name}.csr", "-CA", f"{authority}.pem", "-CAkey", f"{authority}.key",
            "-CAcreateserial", "-days", 2, "-extfile", f"{name}.ext", "-out", f"{name}.pem")  # fmt: skip


class Secured(FabricTest):
    """An etcd that takes clients of its authority only, over TLS, and those with a password only."""

    @classmethod
    def start_all(cls):
        for name in ("ca", "stranger"):
            make_authority(cls.dir, name)
        # Its own gateway comes to the member with the server's certificate, so that this one is a client's too. And it
        # refuses certificates with a common name as soon as users have passwords: it would be another user's name.
        make_certificate(cls.dir, "ca", "server", "serverAuth,clientAuth")
        make_certificate(cls.dir, "ca", "client", "clientAuth")
        make_certificate(cls.dir, "stranger", "other", "clientAuth")
        (cls.dir / "password").write_text("of-the-fabric\n")
        (cls.dir / "wrong").write_text("of-somebody\n")
        os.chmod(cls.dir / "password", 0o600)
        os.chmod(cls.dir / "wrong", 0o600)
        cls.etcd = cls.made.enter_context(SecuredEtcd(cls.dir))
        cls.etcd.start("e1")
        cls.etcd.await_health()
        for words in (("user", "add", "root:top"), ("user", "grant-role", "root", "root"), ("role", "add", "fabric"),
                      ("role", "grant-permission", "fabric", "readwrite", "/switch/", "--prefix"),
                      ("user", "add", "switch:of-the-fabric"), ("user", "grant-role", "switch", "fabric"),
                      ("auth", "enable")):  # fmt: skip
            cls.etcd.ctl(*words)

    def options(self, client="client", password="password"):
        return ("--fabric-ca", self.dir / "ca.pem", "--fabric-cert", self.dir / f"{client}.pem", "--fabric-key",
                self.dir / f"{client}.key", "--fabric-user", "switch", "--fabric-password-file",
                self.dir / password)  # fmt: skip

    def test_switches_with_certificate_and_password_are_a_fabric(self):
        here, there = (self.switch(number, options=self.options()) for number in (1, 2))
        self.set(here, 2500)
        self.done(here, "kdx", "commit")
        self.all_show((here, there), 2500)

    def test_one_of_another_authority_or_with_a_wrong_password_or_that_does_not_know_the_member_is_not_in_it(self):
        believer = list(self.options())
        believer[1] = self.dir / "stranger.pem"
        kinds = self.options(client="other"), self.options(password="wrong"), believer
        there = [self.switch(number, None, options=options) for number, options in enumerate(kinds, 3)]
        for each in there:
            shown = each.await_state("unreachable")
            self.assertNotEqual(shown["why"], "")
            self.refused(each, history.UNREACHABLE, "timer", "set", E, 2700, "--vsan", 10)


class SecuredEtcd(cluster.Cluster):
    """One member that wants certificates."""

    def __init__(self, directory):
        files = ("--cert-file", directory / "server.pem", "--key-file", directory / "server.key", "--client-cert-auth",
                 "--trusted-ca-file", directory / "ca.pem")  # fmt: skip
        super().__init__(directory, 1, 10, 100, files)

    def urls(self, first=0):
        return [url.replace("http:", "https:") for url in super().urls(first)]

    def ctl(self, *words):
        command = ["etcdctl", "--endpoints", self.urls()[0], "--cacert", "ca.pem", "--cert", "client.pem", "--key",
                   "client.key", *words]  # fmt: skip
        done = subprocess.run(command, cwd=self.directory, capture_output=True, text=True, timeout=30,
                              env=dict(os.environ, ETCDCTL_API="3"))  # fmt: skip
        if done.returncode != 0:
            raise RuntimeError(f"etcdctl {words}: {done.stderr}")

    def await_health(self):
        def healthy():
            with contextlib.suppress(RuntimeError):
                self.ctl("endpoint", "health")
                return True
            return False

        if not until(healthy, 20):
            raise RuntimeError("the secured etcd does not serve")


if __name__ == "__main__":
    unittest.main()
