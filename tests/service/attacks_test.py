# SPDX-License-Identifier: Apache-2.0

"""Attacks on the example service: what each tries did succeed once."""

import ctypes
import fcntl
import os
import pathlib
import platform
import resource
import signal
import socket
import struct
import subprocess
import time
import unittest

import harness
from harness import (BASE, BOOSTED, BOOSTED_NODES, CPU, NOBODY, PATIENCE_S, Client, WithService, connect, fork, kill, main,
                     wait_until)

GPU = "sys/class/devfreq/gpu/min_freq"
needs_root = unittest.skipIf(os.getuid() != 0, "needs another user")


def as_before_linux_5_3():
    """For this process and what it becomes, the kernel knows nothing of pidfds."""
    getsockopt = {"x86_64": 55, "aarch64": 209}[platform.machine()]
    so_peerpidfd, pidfd_open, errno = 77, 434, 0x50000
    load, jump_if, leave = 0x20, 0x15, 0x06
    program = b"".join(struct.pack("HBBI", *line) for line in (
        (load, 0, 0, 0),  # the number of the call
        (jump_if, 4, 0, pidfd_open), (jump_if, 0, 2, getsockopt),
        (load, 0, 0, 32),  # its third argument
        (jump_if, 2, 0, so_peerpidfd),
        (leave, 0, 0, 0x7fff0000),
        (leave, 0, 0, errno | 38), (leave, 0, 0, errno | 92)))
    libc = ctypes.CDLL(None, use_errno=True)
    buffer = ctypes.create_string_buffer(program)
    filter_ = struct.pack("HxxxxxxP", len(program) // 8, ctypes.addressof(buffer))
    allowed = libc.prctl(38, 1, 0, 0, 0)
    assert allowed == 0 and libc.prctl(22, 2, ctypes.create_string_buffer(filter_)) == 0


class Takeover(WithService):
    """Of the service, of another's identity, of rights that one has had."""

    def test_processes_that_connect_all_the_time_keep_nobody_waiting(self):
        def life():
            while True:
                with socket.socket(socket.AF_UNIX) as connection:
                    connection.connect_ex(self.path)

        client = self.client()
        flood = [fork(life) for _ in range(8)]
        for pid in flood:
            self.addCleanup(kill, pid)
        giving_up = time.monotonic() + PATIENCE_S / 2
        for _ in range(100):
            self.assertEqual(client.ask("release all"), "ok\n")
            self.assertLess(time.monotonic(), giving_up)
        self.assertEqual(self.stop(signal.SIGTERM), 0, self.log())

    @needs_root
    def test_rights_are_those_of_the_connection(self):
        os.chmod(self.path, 0o666)
        dropped = self.client(uid=NOBODY, first_as_root=True)
        self.assertEqual(dropped.ask("suspend 1"), "error not allowed\n")

    def test_a_child_gets_nothing_of_whoever_has_its_dead_parents_number(self):
        self.needs_process_ids()
        for before in (None, as_before_linux_5_3):
            with self.subTest(before=before):
                self.stop(signal.SIGTERM)
                self.start(before=before)
                self.service.send_signal(signal.SIGSTOP)
                thief = self.client()  # the connection is here, too, when it has died
                thief.die()
                victim = self.client_with_pid(thief.pid)
                self.service.send_signal(signal.SIGCONT)
                victim.handle(BOOSTED)
                thief.ask_in_vain("release all")
                self.expect_nodes(**BOOSTED_NODES)

    def test_a_kernel_that_tells_no_processes_ends_things_with_their_connection(self):
        self.stop(signal.SIGTERM)
        self.start(before=as_before_linux_5_3)
        self.assertIn("does not tell processes", self.log())
        client = self.client()
        handle = client.handle(BOOSTED)
        self.observer.ask("release " + handle)
        self.expect_nodes(**BOOSTED_NODES)
        client.die()
        client.hang_up()  # the last that has the connection
        self.assertTrue(wait_until(lambda: self.nodes() == BASE))

    def test_a_boost_whose_release_could_not_be_written_does_not_stay(self):
        def leave_boosted():
            handle = self.observer.handle(BOOSTED)
            self.expect_nodes(**BOOSTED_NODES)
            resource.prlimit(self.service.pid, resource.RLIMIT_FSIZE, (0, resource.RLIM_INFINITY))
            self.observer.ask("release " + handle)
            self.observe()
            self.assertEqual(self.nodes(), {**BASE, **BOOSTED_NODES})
            resource.prlimit(self.service.pid, resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))

        self.stop(signal.SIGTERM)
        self.start(before=lambda: signal.signal(signal.SIGXFSZ, signal.SIG_IGN))
        leave_boosted()
        self.assertTrue(wait_until(lambda: self.nodes() == BASE), "written anew after a while")
        leave_boosted()
        self.assertEqual(self.stop(signal.SIGTERM), 0)
        self.assertEqual(self.nodes(), BASE, "written anew at the end")

    def test_a_second_service_and_what_is_no_socket_stay_out(self):
        def run():
            return subprocess.run([harness.SERVICE, str(self.root), self.path], capture_output=True, timeout=PATIENCE_S).returncode

        self.observer.handle(BOOSTED)
        self.expect_nodes(**BOOSTED_NODES)
        self.assertEqual(run(), 1)
        self.expect_nodes(**BOOSTED_NODES)
        self.assertEqual(self.client().ask("release all"), "ok\n", "the socket still stands")
        self.stop(signal.SIGTERM)
        self.assertFalse(os.path.exists(self.path))
        self.write({"socket": "precious"})
        self.assertEqual(run(), 1)
        self.assertEqual((self.root / "socket").read_text(), "precious")
        os.unlink(self.path)
        with socket.socket(socket.AF_UNIX) as other:
            other.bind(self.path)
            other.listen()
            self.assertEqual(run(), 1, "somebody else answers there")
        self.start()  # nobody does any more


class Fairness(WithService):
    def test_a_turn_is_bounded_in_lines(self):
        loud, quiet = self.client(), self.client()
        loud.ask("release all")
        quiet.ask("release all")
        self.service.send_signal(signal.SIGSTOP)
        loud.send("scenario 0\n" * 64)
        quiet.send("scenario 0\n")
        self.service.send_signal(signal.SIGCONT)
        handle = int(quiet.answer().split()[1])
        self.assertLess(handle, max(int(loud.answer().split()[1]) for _ in range(64)), "handles count up")

    def test_a_user_gets_so_many_lines_a_second(self):
        client = self.client()
        begin = time.monotonic()
        answered = 0
        while time.monotonic() < begin + 1.5:
            client.send("release 1\n" * 100)
            answered += sum(client.answer() == "ok\n" for _ in range(100))
        self.assertLess(answered, 2000 * (time.monotonic() - begin + 0.25) + 100)

    @needs_root
    def test_a_user_leaves_room_for_others_and_root_has_its_own(self):
        os.chmod(self.path, 0o666)
        crowd = []
        while not crowd or not crowd[-1].ask_in_vain("release all"):
            crowd.append(self.client(uid=NOBODY))
        self.assertEqual(len(crowd) - 1, 64, "processes of a user")
        for one in crowd[:8]:
            one.send("scenario 0\n" * 64)
        granted = sum(one.answer().startswith("ok") for one in crowd[:8] for _ in range(64))
        self.assertEqual(granted, 256, "handles of a user")
        other = self.client(uid=NOBODY - 1)
        other.handle("scenario 0")
        for number in range(192):  # three users more than there is room for
            crowd.append(self.client(uid=NOBODY - 2 - number % 3))
            for _ in range(4):
                crowd[-1].ask_in_vain("scenario 0")
        root = self.client()
        for _ in range(64):
            root.handle("mode 1")

    @needs_root
    def test_what_concerns_everybody_is_for_the_trusted(self):
        os.chmod(self.path, 0o666)
        nobody = self.client(uid=NOBODY)
        for line in ("suspend 1", "resume 1", "dump --task", "dump --workMode", "mode 1", "event 0", "event 0 stop",
                     "request 0 45 0 boost 1"):
            self.assertEqual(nobody.ask(line), "error not allowed\n")
        for line in ("request 0 1 0 boost 1500000", "scenario 0"):
            nobody.handle(line)

    def test_an_event_ends_when_the_last_that_wants_it_has_stopped_it_or_seen_it_end(self):
        one, other, third = self.client(), self.client(), self.client()
        boosted = {CPU + "scaling_min_freq": "2500000", GPU: "600000000"}
        for client in (one, other):
            self.assertEqual(client.ask("event 0 60000"), "ok\n")
        self.assertEqual(one.ask("event 0 stop"), "ok\n")
        self.expect_nodes(**boosted)
        other.end()
        self.assertTrue(wait_until(lambda: self.nodes() == BASE))

        one.ask("event 0 60000")
        third.ask("event 0 1000")
        one.ask("event 0 stop")
        self.expect_nodes(**boosted)
        giving_up = time.monotonic() + 40
        self.assertTrue(wait_until(lambda: self.nodes() == BASE))
        self.assertLess(time.monotonic(), giving_up, "long before it ends by itself")


class Edges(WithService):
    def test_who_finds_no_descriptor_left_is_hung_up_on(self):
        used = self.settled(lambda: {int(name) for name in os.listdir(f"/proc/{self.service.pid}/fd")})
        lowest = min(set(range(len(used) + 1)) - used)
        hard = resource.prlimit(self.service.pid, resource.RLIMIT_NOFILE)[1]
        resource.prlimit(self.service.pid, resource.RLIMIT_NOFILE, (lowest, hard))
        client = self.client()
        client.connection.settimeout(10)
        self.assertTrue(client.ask_in_vain("release all"))
        resource.prlimit(self.service.pid, resource.RLIMIT_NOFILE, (hard, hard))
        self.assertEqual(self.client().ask("release all"), "ok\n")

    def test_a_node_that_hangs_holds_up_neither_other_dumps_nor_the_end(self):
        self.stop(signal.SIGTERM)
        (self.root / GPU).unlink()
        os.mkfifo(self.root / GPU)  # to open it is to wait for somebody who reads
        self.start()
        client, waiting = self.client(), self.client()
        client.handle("request 0 1 0 boost 2500000")
        waiting.send("dump --task\n")
        self.assertRegex(client.ask("dump --event"), r"(?s)event\(0\).*ok\n$")
        self.assertTrue(wait_until(lambda: client.ask("dump --base_info") == "error another dump is being made\n"))
        node = self.root / CPU / "scaling_min_freq"
        self.service.send_signal(signal.SIGTERM)
        self.assertEqual(waiting.answer() + client.answer(), "", "hung up")
        self.assertTrue(wait_until(lambda: not self.is_listening()))
        self.assertTrue(wait_until(lambda: node.read_text() == "1000000"), "what does not hang is at its base")
        self.assertEqual(self.stop(signal.SIGTERM), -signal.SIGTERM)

    def test_a_thread_that_cannot_be_started_fails_the_dump_only(self):
        status = pathlib.Path(f"/proc/{self.service.pid}/status").read_text().split()
        size = int(status[status.index("VmSize:") + 1]) * 1024
        if size > 1 << 40:
            self.skipTest("a sanitizer has the address space")
        resource.prlimit(self.service.pid, resource.RLIMIT_AS, (size + (1 << 20), resource.RLIM_INFINITY))
        self.assertEqual(self.observer.ask("dump --task"), "error no thread for it\n")
        resource.prlimit(self.service.pid, resource.RLIMIT_AS, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
        self.observer.handle(BOOSTED)
        self.expect_nodes(**BOOSTED_NODES)

    def test_a_handle_of_the_service_before_is_nothing_to_this_one(self):
        old = self.observer.handle(BOOSTED)
        self.stop(signal.SIGTERM)
        self.start()
        self.assertGreater(int(self.observer.handle(BOOSTED)), int(old))

    def test_a_byte_out_of_band_keeps_nobody_busy(self):
        # Were it kept apart, epoll would report it, and recv would never have it.
        client = self.client()
        client.connection.send(b"release al")
        client.connection.send(b"l", socket.MSG_OOB)
        self.assertEqual(client.ask(""), "ok\n", "a byte like others")

    def test_a_line_that_is_too_long_ends_the_connection(self):
        self.assertTrue(self.client().ask_in_vain("scenario " + " " * 600 + "0"))

    def test_a_hang_up_of_the_terminal_is_an_end_like_others_and_may_come_with_one(self):
        self.observer.handle(BOOSTED)
        self.expect_nodes(**BOOSTED_NODES)
        self.service.send_signal(signal.SIGSTOP)
        self.service.send_signal(signal.SIGTERM)
        self.service.send_signal(signal.SIGHUP)
        self.assertEqual(self.stop(signal.SIGCONT), 0)
        self.assertEqual(self.nodes(), BASE)

    def test_a_log_that_nobody_reads_or_that_is_closed_holds_nothing_up(self):
        for closed in (False, True):
            with self.subTest(closed=closed):
                self.stop(signal.SIGTERM)
                ours, theirs = os.pipe()
                fcntl.fcntl(theirs, fcntl.F_SETPIPE_SZ, 4096)
                self.start(log=theirs)
                os.close(theirs)
                if closed:
                    os.close(ours)
                for _ in range(100):
                    self.assertRegex(self.observer.ask("request 1 1 0 boost 1500000"), "^error")
                self.observer.handle(BOOSTED)
                self.expect_nodes(**BOOSTED_NODES)
                if not closed:
                    os.close(ours)


if __name__ == "__main__":
    main()
