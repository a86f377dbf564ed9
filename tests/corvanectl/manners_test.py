# SPDX-License-Identifier: Apache-2.0

"""How the tool deals with the person at the terminal: usage as of corvanectl_test.py."""

import codecs
import contextlib
import fcntl
import os
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import termios
import unittest

sys.dont_write_bytecode = True
import corvanectl_test as tool
from corvanectl_test import run

SANDBOX = ["run", "platforms/sample.json", "--sandbox"]


class Help(tool.TemporaryFiles):
    def words(self, *command):
        """What the completion offers last."""
        script = 'source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _corvanectl "$1"; printf "%s\\n" "${COMPREPLY[@]}"'
        return subprocess.run(["bash", "-c", script, os.path.dirname(tool.CORVANECTL) + "/corvanectl.bash", tool.CORVANECTL,
                               *command], cwd=tool.ROOT, capture_output=True, text=True, check=True).stdout.split()

    def test_bash_completes_verbs_options_and_files(self):
        self.assertEqual(self.words("im"), ["import"])
        self.assertLessEqual({"--plot", "--trace", "--live", "--keep", "--record", "--expect", "--property"},
                             set(self.words("run", "platforms/sample.json", "--")))
        self.assertEqual(self.words("check", "--d") + self.words("check", "--st"), ["--device", "--strict"])
        self.assertEqual(self.words("check", "platforms/sam"), ["platforms/sample.json"])
        self.assertEqual(self.words("run", "--script", "platforms/tou"), ["platforms/tour.txt"])
        self.assertEqual(self.words("run", "--root", "platf"), ["platforms"])

    def test_the_manual_has_every_verb_option_and_command(self):
        manual = run("manual").stdout.replace("\\-", "-")
        verbs = [word for word in self.words("") if not word.startswith("-")]
        for verb in verbs:
            self.assertIn("\n.SS corvanectl %s" % verb, manual)
            for option in self.words(verb, "--"):
                self.assertRegex(manual, r"\n\.B .*%s\b" % option)
        for command in re.findall(r"^    (\w\S*)", run(*SANDBOX, commands="help").stdout, re.M):
            self.assertIn("\n.B %s " % command, manual)
        examples = manual.split(".EX\n")[1].split(".EE\n")[0].splitlines()
        self.assertEqual({line[:11] for line in examples}, {"corvanectl "})

    def test_every_example_works(self):
        (self.folder / "platforms").symlink_to(tool.ROOT / "platforms")
        (self.folder / "changed.json").symlink_to(tool.ROOT / "platforms/sample.json")
        run("demo", "--record", str(self.folder / "demo.jsonl"))
        verbs = [word for word in self.words("") if not word.startswith("-")]
        self.assertLessEqual({"check", "cpp", "demo", "diff", "import", "run"}, set(verbs))
        for verb in [[], *([verb] for verb in verbs)]:
            examples = re.findall(r"^  corvanectl (.*)", run(*verb, "--help").stdout, re.M)
            self.assertTrue(examples, verb)
            for example in examples:
                result = subprocess.run([tool.CORVANECTL, *example.split()], cwd=self.folder, capture_output=True,
                                        text=True, timeout=tool.PATIENCE_S)
                self.assertEqual(result.returncode, 0, example + result.stdout[-200:] + result.stderr)

    def test_every_command_shows_an_example(self):
        listed = run(*SANDBOX, commands="?").stdout[4:]
        names = re.findall(r"^    (\S+)", listed, re.M)
        self.assertEqual(run(*SANDBOX, commands="help").stdout[7:], listed)
        self.assertLessEqual({"request", "status", "exit", "?"}, set(names))
        shown = run(*SANDBOX, commands="".join("help %s\n" % name for name in names)).stdout
        examples = re.findall("        example: (.*)", shown)
        self.assertEqual([example.split()[0] for example in examples], names)

    def test_the_version_is_the_library_s(self):
        library = run(*SANDBOX, commands="version").stdout
        self.assertEqual(run("--version").stdout.split()[1], library.split()[-1])

    def test_status_says_how_things_stand(self):
        script = self.file("script.txt", """\
request 100 0 qos=CPU_L boost=1401600 qos=EAS group=2 boost=1 as camera
request 101 500 qos=GPU limit=415000000
scenario 7 0
event 3
probe start 4242
mode 500 1
suspend DDR 9
status
sleep 1000
release-all 7
resume 9
status
reset
status
exit
say not reached
""")
        shown = run(*SANDBOX, "--script", script).stdout
        shown = "".join(line for line in shown.splitlines(True) if " <- " not in line)
        self.assertEqual(shown, tool.golden("status.golden", shown))


class Screen:
    """What a person sees of the bytes that a terminal is sent."""

    TOKEN = re.compile(r"\x1b\[([?>\d]*)([A-Za-z@])|\x1b.|(.)", re.S)

    def __init__(self, columns):
        self.columns, self.row, self.column, self.inserts = columns, 0, 0, False
        self.rows = [""]

    def feed(self, text):
        for number, command, letter in self.TOKEN.findall(text):
            self.act(command, int(number or 1) if number.isdigit() or not number else 0) if command else self.put(letter)

    def put(self, letter):
        if letter == "\r":
            self.column = 0
        elif letter == "\b":
            self.column -= 1
        elif letter == "\n":
            self.row += 1
        elif letter >= " ":
            if self.column == self.columns:
                self.row, self.column = self.row + 1, 0
            self.change(self.inserts and letter or "", letter)
            self.column += 1
        self.rows += [""] * (self.row + 1 - len(self.rows))

    def change(self, inserted, written="", deleted=0):
        """Changes the row at the cursor."""
        self.rows += [""] * (self.row + 1 - len(self.rows))
        row = self.rows[self.row].ljust(self.column)
        end = row[self.column + deleted:]
        self.rows[self.row] = row[:self.column] + (inserted + end if inserted else written + end[len(written):])

    def act(self, command, number):
        if command in "AC":
            self.row, self.column = self.row - number * (command == "A"), self.column + number * (command == "C")
        elif command == "D":
            self.column -= number
        elif command == "G":
            self.column = number - 1
        elif command == "P":
            self.change("", "", number)
        elif command == "@":
            self.change(" " * number)
        elif command in "hl" and number == 4:
            self.inserts = command == "h"
        elif command in "JK":
            self.rows[self.row] = self.rows[self.row][:self.column]
            del self.rows[self.row + 1 if command == "J" else len(self.rows):]
        elif command != "m" and number:
            raise NotImplementedError(command)


class OnTerminal(tool.TemporaryFiles):
    """The tool with a person in front of it, by way of a pseudo terminal."""

    def start(self, *arguments, columns=80, **environment):
        self.process, self.tty = pty.fork()
        if self.process == 0:
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 50, columns, 0, 0))
            os.chdir(tool.ROOT)
            os.execve(tool.CORVANECTL, [tool.CORVANECTL, *arguments],
                      {**os.environ, "TERM": "xterm", "LC_ALL": "C.UTF-8", "TMPDIR": str(self.folder),
                       "XDG_STATE_HOME": str(self.folder), **environment})
        self.addCleanup(self.abandon, self.process, self.tty)
        self.modes = termios.tcgetattr(self.tty)
        self.screen, self.decoder = Screen(columns), codecs.getincrementaldecoder("utf-8")()

    def see(self, *rows):
        """Waits until these patterns are rows of the screen, the last of them the last row."""
        while not self.shows(rows):
            ready = select.select([self.tty], [], [], tool.PATIENCE_S)[0]
            self.assertTrue(ready, "%s not in\n%s" % (rows, "\n".join(self.screen.rows)))
            self.screen.feed(self.decoder.decode(os.read(self.tty, 4096)))

    def shows(self, rows):
        seen = [row.rstrip() for row in self.screen.rows]
        places = [[i for i, row in enumerate(seen) if re.search(pattern + "$", row)] for pattern in rows]
        return all(places) and places[-1][-1] == len(seen) - 1 and [each[-1] for each in places] == sorted(
            each[-1] for each in places)

    def type(self, text, *rows):
        os.write(self.tty, text.encode())
        self.see(*rows)

    @staticmethod
    def abandon(process, tty):
        """Ends what a failed test leaves running."""
        os.close(tty)
        with contextlib.suppress(ChildProcessError):  # it has been waited for
            if os.waitpid(process, os.WNOHANG)[0] == 0:
                os.kill(process, signal.SIGKILL)
                os.waitpid(process, 0)

    def end(self):
        """How it ended, and whether the terminal is as it was."""
        status = os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1])
        return status, termios.tcgetattr(self.tty) == self.modes


class Colours(OnTerminal):
    def test_colours_are_for_terminals_alone(self):
        script = self.file("script.txt", "say Hello\nscenario 7 99\nnode /dev/memory_bandwidth fail EBUSY\nreset\n"
                           "request 1 0 qos=DDR boost=2133000\n")
        for command in (["check", "tests/corvanectl/faults.json"], [*SANDBOX, "--script", script]):
            plain = subprocess.run([tool.CORVANECTL, *command], cwd=tool.ROOT, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, timeout=tool.PATIENCE_S).stdout
            for environment, coloured in ({}, True), ({"NO_COLOR": "1"}, False), ({"TERM": "dumb"}, False):
                self.start(*command, **environment)
                shown = b"".join(iter(self.read, b"")).replace(b"\r", b"")
                self.end()
                self.assertEqual(b"\x1b[31m" in shown, coloured, shown)
                self.assertEqual(re.sub(rb"\x1b\[\d*m", b"", shown), plain)

    def read(self):
        try:
            return os.read(self.tty, 4096)
        except OSError:  # the other end is closed
            return b""


class Terminal(OnTerminal):
    def test_completes_and_remembers_lines(self):
        self.start(*SANDBOX)
        self.see(">")
        self.type("requ\t", "> request")
        self.type("1 0 qos=DD\tboost=2133000 as camera\r", r"> request 1 0 qos=DDR boost=2133000 as camera",
                  "    ok, handle 1", "  0.000s  /dev/memory_bandwidth <- .*34128.", ">")
        self.type("expect-refused rele\t 1 c\t\r", "> expect-refused release 1 camera", "expected was a refusal", ">")
        self.type("expect /sys/devices/system/cpu/cpufreq/policy0/scaling_m\t", "/scaling_m")
        self.type("\t", "policy0/scaling_max_freq.*", "policy0/scaling_min_freq", "> expect .*/scaling_m")
        self.type("a\t1804800\r", "> expect .*/scaling_max_freq 1804800", "is at 1804800", ">")
        self.type("zzz\t\r", 'unknown command "zzz".*', ">")
        self.type("exit\r", "> exit", "")
        self.assertEqual(self.end(), (1, True))

        self.start(*SANDBOX)
        self.type("\x10\x10", "> zzz")
        self.type("\x0e", "> exit")
        self.type("\x15say Gr\u00fc\u00dfe\x1b[D\x7fS\r", "== Gr\u00fcSe", ">")
        self.type("\x04", "")
        self.assertEqual(self.end(), (0, True))

    def test_writes_appear_above_the_line_that_is_typed(self):
        self.start(*SANDBOX, "--live", columns=40)
        self.see(">")
        self.type("request 1 1500 qos=DDR boost=2133000\r", "ok, handle 1", ">")
        line = "say " + "0123456789" * 8
        self.type(line + "\x02" * 30, "> " + line[:38], line[38:78], line[78:])
        self.see("/dev/memory_bandwidth <- byt", "es f0 19 00 00 .6640.", "> " + line[:38], line[38:78], line[78:])
        self.assertEqual("\n".join(self.screen.rows).count("> say"), 1)
        self.type("\x01\x0bstatus\r", "> status", "held: nothing", ">")

    def test_a_signal_puts_nodes_back_and_the_terminal_too(self):
        knob = self.folder / "knob"
        platform = self.file("platform.json", {"name": "single", "qos": [
            {"id": 10, "name": "KNOB", "groups": [{"availableMin": 1, "availableMax": 9, "nodes": ["/knob"]}]}]})
        for number in (signal.SIGINT, signal.SIGTERM):
            knob.write_text("5\n")
            self.start("run", platform, "--root", str(self.folder), XDG_STATE_HOME="/dev/null")
            self.see(">")
            self.type("request 1 0 qos=KNOB boost=7\r", "ok, handle 1", ">")
            self.assertEqual(knob.read_text(), "7")
            self.type("half a comm", "> half a comm")
            if number == signal.SIGTERM:
                os.kill(self.process, number)
            else:
                self.type("\x03", ">")
            self.type("" if number == signal.SIGTERM else "\x03", "left as found: 1 node", "")
            self.assertEqual(self.end(), (-number, True))
            self.assertEqual(knob.read_text(), "5\n")


if __name__ == "__main__":
    tool.CORVANECTL = os.path.abspath(sys.argv.pop(1))
    if "--record" in sys.argv:
        sys.argv.remove("--record")
        tool.RECORD = True
    unittest.main(verbosity=2)
