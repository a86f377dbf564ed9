# SPDX-License-Identifier: Apache-2.0

"""How long a client waits for an answer beside others that flood the service. The tests assert none of it.

usage: floods.py SERVICE CLIENT
"""

import os
import signal
import socket
import time

import harness

ASKED = 300


class Floods(harness.WithService):
    def connecting(self):
        while True:
            with socket.socket(socket.AF_UNIX) as connection:
                connection.connect_ex(self.path)

    def sending(self, line):
        connection = harness.connect(self.path)
        while True:
            connection.sendall(line.encode() * 200)
            answers = 0
            while answers < 200:
                answers += connection.recv(65536).count(b"\n")

    def wait(self, flood, uid):
        floods = [harness.fork(lambda: (uid and os.setuid(uid), flood())) for _ in range(4)]
        time.sleep(0.5)
        waits = []
        try:
            for _ in range(ASKED):
                begin = time.monotonic()
                self.observer.ask("release 1")
                waits.append(1000 * (time.monotonic() - begin))
                time.sleep(0.002)
        except TimeoutError:
            return "no answer"
        finally:
            for pid in floods:
                harness.kill(pid)
        waits.sort()
        return f"{waits[len(waits) // 2]:8.2f} {waits[len(waits) * 99 // 100]:8.2f}"

    def test_waits(self):
        os.chmod(self.path, 0o666)
        print("\nms beside four processes that      median     99 %")
        for name, flood in (("sleep", signal.pause), ("connect", self.connecting),
                            ("are refused requests", lambda: self.sending("request 1 1 0 boost 1500000\n")),
                            ("are refused scenarios", lambda: self.sending("scenario 5\n"))):
            for whose, uid in (("another user's", harness.NOBODY), ("of one's own", 0)):
                if uid == 0 or os.getuid() == 0:
                    print(f"{name + ', ' + whose:32}{self.wait(flood, uid)}", flush=True)


if __name__ == "__main__":
    harness.main()
