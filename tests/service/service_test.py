"""Runs the example service on a folder of plain files, and lets all kinds of clients loose on it.

usage: service_test.py SERVICE CLIENT [TestCase...]
"""

import os
import pathlib
import random
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

SERVICE = ""
CLIENT = ""
PATIENCE_S = 60

CPU = "sys/devices/system/cpu/cpufreq/policy0/"
BASE = {
    CPU + "scaling_min_freq": "1000000",
    CPU + "scaling_max_freq": "2800000",
    "sys/class/devfreq/gpu/min_freq": "200000000",
    "proc/sys/vm/swappiness": "60",
    "proc/sys/vm/vfs_cache_pressure": "100",
}
BOOSTED = "request 0 1 0 boost 2500000 3 0 boost 700000000 10 0 boost 1"


def wait_until(done):
    giving_up = time.monotonic() + PATIENCE_S
    while not done() and time.monotonic() < giving_up:
        time.sleep(0.005)
    return done()


def fork(life):
    """A process that does this, keeps what comes of it, and waits to be killed."""
    pid = os.fork()
    if pid == 0:
        try:
            signal.alarm(2 * PATIENCE_S)  # should nobody be left to kill it
            kept = life()
            while kept:
                signal.pause()
        finally:
            os._exit(1)
    return pid


def kill(pid):
    os.kill(pid, signal.SIGKILL)
    os.waitpid(pid, 0)


def connect(path):
    connection = socket.socket(socket.AF_UNIX)
    connection.settimeout(PATIENCE_S)
    connection.connect(path)
    return connection


class Client:
    """A process of its own, whose connection is ours to use: the service sees the process that connected."""

    def __init__(self, path, uid=0):
        ours, theirs = socket.socketpair()

        def life():
            if uid:
                os.setuid(uid)
            connection = connect(path)
            socket.send_fds(theirs, [b"."], [connection.fileno()])
            return [connection]

        self.pid = fork(life)
        self.dead = False
        ours.settimeout(PATIENCE_S)
        descriptors = socket.recv_fds(ours, 1, 1)[1]
        self.connection = socket.socket(fileno=descriptors[0])
        self.connection.settimeout(PATIENCE_S)
        self.answers = self.connection.makefile("r")
        ours.close()
        theirs.close()

    def send(self, text):
        self.connection.sendall(text.encode())

    def answer(self):
        """All lines up to the last, which begins with ok or error; "" if the service hung up."""
        text = ""
        try:
            for line in self.answers:
                text += line
                if line.startswith(("ok", "error")):
                    break
        except ConnectionResetError:
            pass
        return text

    def ask(self, line):
        self.send(line + "\n")
        return self.answer()

    def handle(self, line):
        word, handle = self.ask(line).split()
        assert word == "ok", line
        return handle

    def hang_up(self):
        self.answers.close()
        self.connection.close()

    def die(self):
        if not self.dead:
            self.dead = True
            kill(self.pid)

    def end(self):
        self.hang_up()
        self.die()


class WithService(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        os.chmod(self.root, 0o755)
        self.path = str(self.root / "socket")
        self.write(BASE)
        self.write({CPU + "scaling_available_frequencies": "1000000 1500000 2500000 2800000\n"})
        self.start()

    def write(self, files):
        for name, text in files.items():
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / name).write_text(text)

    def start(self):
        log = open(self.root / "log", "ab")
        self.addCleanup(log.close)
        self.service = subprocess.Popen([SERVICE, str(self.root), self.path], stdout=log, stderr=log)
        self.addCleanup(self.stop, signal.SIGKILL)
        self.assertTrue(wait_until(lambda: self.is_listening() or self.service.poll() is not None))
        self.assertIsNone(self.service.poll(), self.log())
        self.observer = self.client()

    def is_listening(self):
        with socket.socket(socket.AF_UNIX) as probe:
            return probe.connect_ex(self.path) == 0

    def stop(self, how):
        self.service.send_signal(how)
        return self.service.wait(PATIENCE_S)

    def log(self):
        return (self.root / "log").read_text()[-4000:]

    def client(self, **how):
        client = Client(self.path, **how)
        self.addCleanup(client.end)
        return client

    def nodes(self):
        return {name: (self.root / name).read_text() for name in BASE}

    def expect_nodes(self, **changes):
        """Asks for the tasks, which returns when all that was asked before has been written."""
        self.observe()
        self.assertEqual(self.nodes(), {**BASE, **{name: text for name, text in changes.items()}})

    def observe(self):
        """What is held by whom."""
        return self.observer.ask("dump --task") + self.observer.ask("dump --workMode")

    def count(self):
        """The descriptors and the threads of the service."""
        return [len(os.listdir(f"/proc/{self.service.pid}/{what}")) for what in ("fd", "task")]

    @staticmethod
    def settled(look):
        """What is seen when it has been the same for a while."""
        seen = []
        wait_until(lambda: seen.append(look()) or seen.count(seen[-1]) > 20)
        return seen[-1]


class Clients(WithService):
    def test_what_a_process_holds_belongs_to_it_and_not_to_a_connection(self):
        one = self.client()
        handle = one.handle(BOOSTED)
        other = self.client()
        self.assertEqual(other.ask("release " + handle), "ok\n", "an unknown handle is no error")
        self.expect_nodes(**BOOSTED_NODES)

        # Further connections of one process: what one has asked for, another releases, and each may go.
        first, second = connect(self.path), connect(self.path)
        first.sendall(b"mode 1\n")
        mode = first.recv(100).decode().split()[1]
        first.close()
        self.assertIn(f"<{mode}, 1>", self.observe())
        second.sendall(f"release {mode}\n".encode())
        self.assertEqual(second.recv(100), b"ok\n")
        self.assertNotIn(f"<{mode}, 1>", self.observe())
        second.close()

        one.hang_up()
        self.expect_nodes(**BOOSTED_NODES)
        one.die()
        self.assertTrue(wait_until(lambda: self.nodes() == BASE))

    def test_a_connection_outlives_its_process_but_serves_nobody(self):
        client = self.client()
        client.handle(BOOSTED)
        client.handle("scenario 0")
        client.die()
        self.assertEqual(client.answer(), "", "the service hangs up")
        self.expect_nodes()

    def test_a_process_number_that_is_used_again_is_another_process(self):
        last_pid = pathlib.Path("/proc/sys/kernel/ns_last_pid")
        if not os.access(last_pid, os.W_OK):
            self.skipTest("needs the right to choose a process id")
        first = self.client()
        first.handle(BOOSTED)
        self.service.send_signal(signal.SIGSTOP)
        ahead = self.client()  # so that connections are looked at before deaths
        first.die()
        for _ in range(100):
            last_pid.write_text(str(first.pid - 1))
            second = self.client()
            if second.pid == first.pid:
                break
            second.end()
        else:
            self.service.send_signal(signal.SIGCONT)
            self.skipTest("others take the number first")
        second.send("request 0 1 0 boost 1500000\n")
        self.service.send_signal(signal.SIGCONT)
        self.assertRegex(second.answer(), r"ok \d+")
        self.expect_nodes(**{CPU + "scaling_min_freq": "1500000"})
        self.assertEqual(first.answer(), "")
        second.end()

    def test_malformed_lines_change_nothing(self):
        before = self.observe()
        client = self.client()
        for line in ("", " ", "boost", "\0", "request", "request 0", "request 0 1 0 boost", "request 0 1 0 floor 1500000",
                     "request -1 1 0 boost 1500000", "request 0 1 0 boost 15e5", "request 0 1 0 boost 99999999999",
                     "request 0 1 0 boost 1500000 1", "request 10 1 0 boost 1500000", "request 0 1 7 boost 1500000",
                     "request 0 1 0 boost 99", "request 0 33 0 boost 1", "request 0 4294967295 0 boost 1", "release",
                     "release x", "release 1 2", "scenario", "scenario 5", "mode 3", "mode 1 1", "event 0 5",
                     "event 0 maybe", "suspend", "suspend 33", "resume", "dump", "dump --no-such"):
            self.assertRegex(client.ask(line), r"(?s)^(invalid type .*)?error ", line)
        self.assertEqual(client.ask("event 8192"), "ok\n", "unknown as an event; not a way to suspend")
        # Lines come in pieces, or many at once; a dump keeps its place among them.
        for piece in ("mode 1\nre", "lease all\ndump --ev", "ent\nrelease all\n"):
            client.send(piece)
        self.assertRegex(client.answer() + client.answer(), r"^ok \d+\nok\n$")
        self.assertRegex(client.answer(), r"(?s)event\(0\).*ok\n$")
        self.assertEqual(client.answer(), "ok\n")
        client.send("x" * 100000)
        self.assertEqual(client.answer(), "", "a line without an end ends the connection")
        client.end()
        self.assertEqual(self.observe(), before)

    def test_a_client_that_never_reads_loses_its_connection_and_delays_nobody(self):
        deaf = self.client()
        deaf.handle(BOOSTED)
        with self.assertRaises((BrokenPipeError, ConnectionResetError)):
            for _ in range(100000):
                deaf.send("nonsense\n" * 100)
        self.expect_nodes(**BOOSTED_NODES)
        deaf.die()
        self.assertTrue(wait_until(lambda: self.nodes() == BASE))

    def test_a_process_gets_a_bounded_number_of_connections_and_handles(self):
        connections = [connect(self.path) for _ in range(30)]
        served = 0
        for connection in connections:
            try:
                connection.sendall(b"release all\n")
                served += connection.recv(100) == b"ok\n"
            except (BrokenPipeError, ConnectionResetError):
                pass
            connection.close()
        self.assertEqual(served, 8)
        client = self.client()
        answers = [client.ask("mode 1") for _ in range(65)]
        self.assertEqual(sum(answer.startswith("ok") for answer in answers), 64)

    def test_a_suspend_ends_with_the_last_process_that_wants_it(self):
        suspended = self.client()
        self.assertEqual(suspended.ask("suspend 1 3"), "ok\n")
        other = self.client()
        self.assertEqual(other.ask("suspend 1"), "ok\n")
        booster = self.client()
        booster.handle(BOOSTED)
        memory = {name: text for name, text in BOOSTED_NODES.items() if name.startswith("proc")}
        gpu = {name: text for name, text in BOOSTED_NODES.items() if "gpu" in name}
        self.expect_nodes(**memory)
        self.assertEqual(booster.ask("resume 1"), "ok\n", "not its own, which changes nothing")
        suspended.end()
        self.assertTrue(wait_until(lambda: self.nodes() == {**BASE, **memory, **gpu}), self.nodes())
        self.assertEqual(other.ask("resume 1 3"), "ok\n")
        self.expect_nodes(**BOOSTED_NODES)

    @unittest.skipIf(os.getuid() != 0, "needs another user")
    def test_what_concerns_everybody_is_for_the_trusted(self):
        os.chmod(self.path, 0o666)
        nobody = self.client(uid=65534)
        for line in ("suspend 1", "dump --task"):
            self.assertEqual(nobody.ask(line), "error not allowed\n")
        self.assertRegex(nobody.ask("request 0 1 0 boost 1500000"), r"^ok \d+\n$")

    def test_the_client_program_holds_for_the_command_that_it_becomes(self):
        shown = subprocess.run([CLIENT, self.path, BOOSTED, "dump --task", "--", "cat", *sorted(BASE)], cwd=self.root,
                               capture_output=True, text=True, timeout=PATIENCE_S)
        self.assertEqual(shown.returncode, 0, shown.stderr)
        self.assertTrue(shown.stdout.endswith("ok\n30200700000000" + "2800000" + "2500000"), shown.stdout)
        self.assertTrue(wait_until(lambda: self.nodes() == BASE))
        refused = subprocess.run([CLIENT, self.path, "mode 9", "--", "echo", "not reached"], capture_output=True, text=True)
        self.assertEqual((refused.returncode, refused.stdout), (1, "error refused; the log says why\n"))


BOOSTED_NODES = {
    CPU + "scaling_min_freq": "2500000",
    "sys/class/devfreq/gpu/min_freq": "700000000",
    "proc/sys/vm/swappiness": "30",
    "proc/sys/vm/vfs_cache_pressure": "200",
}


class KilledClients(WithService):
    CLIENTS = 1000
    AT_ONCE = 24

    def test_nothing_of_a_thousand_killed_clients_is_left(self):
        seed = random.randrange(1 << 32)
        chance = random.Random(seed)
        before = self.observe(), self.settled(self.count)
        alive = []
        for number in range(self.CLIENTS):
            lines = [self.some_line(chance) for _ in range(chance.randrange(1, 20))]
            alive.append(fork(lambda: self.live(lines, number)))
            while len(alive) >= self.AT_ONCE:
                kill(alive.pop(chance.randrange(len(alive))))
        self.assertNotEqual(self.observe(), before[0], "somebody holds something")
        for pid in alive:
            kill(pid)

        message = f"seed {seed}\n{self.log()}"
        self.assertTrue(wait_until(lambda: self.nodes() == BASE), message)
        self.assertTrue(wait_until(lambda: (self.observe(), self.count()) == before),
                        f"{message}\n{before}\n{self.observe(), self.count()}")
        self.expect_whole_quota()
        self.assertTrue(wait_until(lambda: self.nodes() == BASE), message)

    @staticmethod
    def some_line(chance):
        cpu = f"1 0 boost {chance.choice((1500000, 2500000))} 1 0 limit {chance.choice((1500000, 2500000, 2800000))}"
        other = f"3 0 boost {chance.randrange(200000000, 800000000)} 10 0 boost 1"
        return chance.choice((
            f"request 0 {cpu} {other}", f"request 0 {cpu}", f"request {chance.randrange(20, 400)} {cpu} {other}",
            "scenario 0", f"mode {chance.randrange(3)}", "event 0", "event 0 stop", "suspend 1 10", "release all",
            "request 0 33 0 boost 1", "dump --task", "nonsense"))

    def live(self, lines, number):
        connections = [connect(self.path) for _ in range(1 + number % 3)]
        for position, line in enumerate(lines):
            connection = connections[position % len(connections)]
            connection.sendall(line.encode() + b"\n")
            if number % 5:  # each fifth one never reads
                connection.recv(10000)
        return connections

    def expect_whole_quota(self):
        """Every handle that the service has to give can be held again: 1,024, of which a process gets 64."""
        holders = [self.client() for _ in range(17)]
        for holder in holders:
            holder.send("mode 1\n" * 64)
        granted = sum(holder.answer().startswith("ok") for holder in holders for _ in range(64))
        self.assertEqual(granted, 1024)
        for holder in holders:
            holder.end()


class Start(WithService):
    def test_the_nodes_are_at_their_base_when_it_ends_and_after_a_crash(self):
        for _ in range(10):
            holders = [self.client() for _ in range(4)]
            for holder in holders:
                holder.handle(BOOSTED)
                holder.handle("mode 2")
                self.assertEqual(holder.ask("suspend 3"), "ok\n")
            self.assertEqual(self.stop(signal.SIGTERM), 0, self.log())
            self.assertEqual(self.nodes(), BASE)
            self.start()
            for holder in holders:
                holder.end()
        holder = self.client()
        holder.handle(BOOSTED)
        self.expect_nodes(**BOOSTED_NODES)
        self.stop(signal.SIGKILL)
        self.assertNotEqual(self.nodes(), BASE)
        self.start()
        self.expect_nodes()

    def test_what_the_device_lacks_is_left_out(self):
        self.stop(signal.SIGTERM)
        (self.root / CPU / "scaling_available_frequencies").unlink()
        (self.root / "sys/class/devfreq/gpu/min_freq").unlink()
        self.start()
        client = self.client()
        self.assertRegex(client.ask("request 0 1 0 boost 2500000"), "^error")
        self.assertNotIn("GPU", self.observe())
        client.handle("request 0 1 0 boost 2500000 10 0 boost 1")
        client.handle("scenario 0")
        self.assertEqual(client.ask("event 0"), "ok\n", "though nothing of it is left")
        self.observe()
        self.assertEqual((self.root / "proc/sys/vm/swappiness").read_text(), "30")
        client.end()
        self.assertTrue(wait_until(lambda: (self.root / "proc/sys/vm/swappiness").read_text() == "60"))
        (self.root / "proc/sys/vm/swappiness").unlink()
        self.stop(signal.SIGTERM)
        nothing = subprocess.run([SERVICE, str(self.root), self.path], capture_output=True, text=True, timeout=PATIENCE_S)
        self.assertEqual(nothing.returncode, 1)
        self.assertIn("nothing to tune here", nothing.stderr)


if __name__ == "__main__":
    SERVICE, CLIENT = map(os.path.abspath, sys.argv[1:3])
    unittest.main(argv=[sys.argv[0]] + sys.argv[3:], verbosity=2)
