# SPDX-License-Identifier: Apache-2.0

"""The example service on a folder of plain files, and processes that are its clients."""

import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

SERVICE = ""  # the programs that are tested
CLIENT = ""
PATIENCE_S = 60
NOBODY = 65534
LAST_PID = pathlib.Path("/proc/sys/kernel/ns_last_pid")

CPU = "sys/devices/system/cpu/cpufreq/policy0/"
BASE = {
    CPU + "scaling_min_freq": "1000000",
    CPU + "scaling_max_freq": "2800000",
    "sys/class/devfreq/gpu/min_freq": "200000000",
    "proc/sys/vm/swappiness": "60",
    "proc/sys/vm/vfs_cache_pressure": "100",
}
BOOSTED = "request 0 1 0 boost 2500000 3 0 boost 700000000 10 0 boost 1"
BOOSTED_NODES = {
    CPU + "scaling_min_freq": "2500000",
    "sys/class/devfreq/gpu/min_freq": "700000000",
    "proc/sys/vm/swappiness": "30",
    "proc/sys/vm/vfs_cache_pressure": "200",
}


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

    def __init__(self, path, uid=None, first_as_root=False):
        ours, theirs = socket.socketpair()

        def life():
            kept = [connect(path)] if first_as_root else []
            if uid is not None:
                os.setuid(uid)
            connection = connect(path)
            socket.send_fds(theirs, [b"."], [connection.fileno()])
            return kept + [connection]

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

    def ask_in_vain(self, line):
        """Whether the service hangs up instead of answering."""
        try:
            return self.ask(line) == ""
        except (BrokenPipeError, ConnectionResetError):
            return True

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

    def start(self, log=None, before=None):
        """@param log instead of the file; before: what the process does before it becomes the service."""
        if log is None:
            log = open(self.root / "log", "ab")
            self.addCleanup(log.close)
        self.service = subprocess.Popen([SERVICE, str(self.root), self.path], stdout=log, stderr=log, preexec_fn=before)
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

    def client_with_pid(self, pid):
        """A client whose process has the number of one that is dead."""
        for _ in range(40):  # fewer than may wait for a service that is stopped
            LAST_PID.write_text(str(pid - 1))
            client = self.client()
            if client.pid == pid:
                return client
            client.end()
        self.service.send_signal(signal.SIGCONT)
        self.skipTest("others take the number first")

    def needs_process_ids(self):
        try:
            LAST_PID.write_text(LAST_PID.read_text())
        except OSError as error:  # anybody may open it
            self.skipTest(f"needs the right to choose a process id: {error}")

    def needs_processes(self):
        if "does not tell processes" in self.log():
            self.skipTest("needs a kernel that tells which process has connected (Linux 6.5)")

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


def main():
    """usage: TEST.py SERVICE CLIENT [TestCase...]"""
    global SERVICE, CLIENT
    SERVICE, CLIENT = map(os.path.abspath, sys.argv[1:3])
    unittest.main(argv=[sys.argv[0]] + sys.argv[3:], verbosity=2)
