# SPDX-License-Identifier: Apache-2.0

"""Lets all kinds of clients loose on the example service."""

import os
import random
import signal
import socket
import subprocess
import unittest

import harness
from harness import BASE, BOOSTED, BOOSTED_NODES, CPU, PATIENCE_S, WithService, connect, fork, kill, main, wait_until


class Clients(WithService):
    def test_what_a_process_holds_belongs_to_it_and_not_to_a_connection(self):
        self.needs_processes()
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
        self.needs_processes()
        client = self.client()
        client.handle(BOOSTED)
        client.handle("scenario 0")
        client.die()
        self.assertEqual(client.answer(), "", "the service hangs up")
        self.expect_nodes()

    def test_a_process_number_that_is_used_again_is_another_process(self):
        self.needs_process_ids()
        self.needs_processes()
        first = self.client()
        first.handle(BOOSTED)
        self.service.send_signal(signal.SIGSTOP)
        ahead = self.client()  # so that connections are looked at before deaths
        first.die()
        second = self.client_with_pid(first.pid)
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
                     "release x", "release 1 2", "scenario", "scenario 5", "mode 3", "mode 1 1", "event 0 5", "event 8192",
                     "event 0 maybe", "suspend", "suspend 33", "resume", "dump", "dump --no-such"):
            self.assertRegex(client.ask(line), r"(?s)^(invalid type .*)?error ", line)
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
        self.settled(self.count)  # those of this process that tried whether it listens have gone
        connections = [connect(self.path) for _ in range(30)]
        served = 0
        for connection in connections:
            try:
                connection.sendall(b"release all\n")
                served += connection.recv(100) == b"ok\n"
            except (BrokenPipeError, ConnectionResetError):
                pass
        self.assertEqual(served, 8)
        for connection in connections:
            connection.close()
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

    def test_the_client_program_holds_for_the_command_that_it_becomes(self):
        shown = subprocess.run([harness.CLIENT, self.path, BOOSTED, "dump --task", "--", "cat", *sorted(BASE)], cwd=self.root,
                               capture_output=True, text=True, timeout=PATIENCE_S)
        self.assertEqual(shown.returncode, 0, shown.stderr)
        self.assertTrue(shown.stdout.endswith("ok\n30200700000000" + "2800000" + "2500000"), shown.stdout)
        self.assertTrue(wait_until(lambda: self.nodes() == BASE))
        refused = subprocess.run([harness.CLIENT, self.path, "mode 9", "--", "echo", "not reached"], capture_output=True, text=True)
        self.assertEqual((refused.returncode, refused.stdout), (1, "error refused; the log says why\n"))


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
        nothing = subprocess.run([harness.SERVICE, str(self.root), self.path], capture_output=True, text=True, timeout=PATIENCE_S)
        self.assertEqual(nothing.returncode, 1)
        self.assertIn("nothing to tune here", nothing.stderr)


if __name__ == "__main__":
    main()
