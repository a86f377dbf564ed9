"""How the tool deals with the person at the terminal: usage as of corvanectl_test.py."""

import os
import re
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
import corvanectl_test as tool
from corvanectl_test import run

SANDBOX = ["run", "platforms/sample.json", "--sandbox"]


class Help(tool.TemporaryFiles):
    def words(self, *command):
        """What the completion offers last."""
        script = 'source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _corvanectl "$1"; printf "%s\\n" "${COMPREPLY[@]}"'
        return subprocess.run(["bash", "-c", script, tool.ROOT / "tools/corvanectl/corvanectl.bash", tool.CORVANECTL,
                               *command], cwd=tool.ROOT, capture_output=True, text=True, check=True).stdout.split()

    def test_bash_completes_verbs_options_and_files(self):
        self.assertEqual(self.words("im"), ["import"])
        self.assertLessEqual({"--plot", "--trace", "--live", "--keep", "--record", "--expect", "--property"},
                             set(self.words("run", "platforms/sample.json", "--")))
        self.assertEqual(self.words("check", "--d") + self.words("check", "--st"), ["--device", "--strict"])
        self.assertEqual(self.words("check", "platforms/sam"), ["platforms/sample.json"])
        self.assertEqual(self.words("run", "--script", "platforms/tou"), ["platforms/tour.txt"])
        self.assertEqual(self.words("run", "--root", "platf"), ["platforms"])

    def test_every_example_works(self):
        (self.folder / "platforms").symlink_to(tool.ROOT / "platforms")
        (self.folder / "changed.json").symlink_to(tool.ROOT / "platforms/sample.json")
        verbs = [word for word in self.words("") if not word.startswith("-")]
        self.assertLessEqual({"check", "cpp", "demo", "diff", "import", "run"}, set(verbs))
        for verb in [[], *([verb] for verb in verbs)]:
            examples = re.findall(r"^  corvanectl (.*)", run(*verb, "--help").stdout, re.M)
            self.assertTrue(examples, verb)
            for example in examples:
                result = subprocess.run([tool.CORVANECTL, *example.split()], cwd=self.folder, capture_output=True,
                                        text=True, timeout=tool.PATIENCE_S)
                self.assertEqual(result.returncode, 0, example + result.stdout[-200:] + result.stderr)

    def test_every_command_shows_an_example_that_works(self):
        listed = run(*SANDBOX, commands="?").stdout[4:]
        names = re.findall(r"^    (\S+)", listed, re.M)
        self.assertEqual(run(*SANDBOX, commands="help").stdout[7:], listed)
        self.assertLessEqual({"request", "status", "exit", "?"}, set(names))
        platform = str(self.folder / "phone.json")
        run("import", "platforms/powerhint.json", "-o", platform)
        shown = run(*SANDBOX, commands="".join("help %s\n" % name for name in names)).stdout
        examples = re.findall("        example: (.*)", shown)
        self.assertEqual([example.split()[0] for example in examples], names)
        for name, example in zip(names, examples):
            before = examples[0] + "\n" if name == "release" else ""
            arguments = ["run", platform, "--sandbox"] if name == "hint" else SANDBOX
            result = run(*arguments, commands=before + example)
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

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


if __name__ == "__main__":
    tool.CORVANECTL = os.path.abspath(sys.argv.pop(1))
    if "--record" in sys.argv:
        sys.argv.remove("--record")
        tool.RECORD = True
    unittest.main(verbosity=2)
