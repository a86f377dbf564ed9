# SPDX-License-Identifier: Apache-2.0

"""What becomes of a power-hint file: usage as of corvanectl_test.py."""

import json
import os
import pathlib
import random
import re
import sys
import unittest

sys.dont_write_bytecode = True
import corvanectl_test as tool
from corvanectl_test import run


class Import(tool.TemporaryFiles):
    maxDiff = None

    def imported(self, hints):
        file = hints if isinstance(hints, str) else self.file("hints.json", hints)
        platform = str(self.folder / "platform.json")
        return run("import", file, "-o", platform), platform

    def play(self, platform, script):
        return run("run", platform, "--sandbox", "--script", self.file("script.txt", script))

    def test_the_sample_plays_every_hint_and_says_what_is_lost(self):
        result, platform = self.imported("platforms/powerhint.json")
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        lines = tool.ROOT.joinpath("platforms/powerhint.json").read_text().splitlines()
        lost = re.findall(r"powerhint\.json:(\d+): warning: (Nodes|Actions)\[(\d+)\](\S*): (.*)", result.stdout)
        self.assertEqual([(at, text) for _, _, _, at, text in lost],
                         [("", "RenderHint is a property, and a platform has files only"),
                          ("", "PowerModeName is a property, and a platform has files only"),
                          (".Node", "PowerModeName is a property"), (".Node", "PowerModeName is a property"),
                          (".Node", "RenderHint is a property"),
                          (".Value", '"900000" is no value of LittleMinFreq')] +
                         [(".Duration", "120000 ms becomes until the hint is stopped")] * 3)
        for line, kind, index, _, _ in lost:
            first = lines.index('    "%s": [' % kind) + 1
            self.assertEqual(int(line), first + int(index) + 1)
        self.assertRegex(result.stdout.splitlines()[-1], ": 34 nodes, 24 hints: 11 events, 6 scenarios, the rest requests$")

        self.assertEqual(run("check", "--strict", platform).returncode, 0)
        played = run("run", platform, "--sandbox", "--script", platform.replace(".json", ".txt"))
        self.assertEqual(played.returncode, 0, played.stdout[-800:] + played.stderr)
        self.assertTrue(played.stdout.endswith("each of 34 nodes is at its base\n"))
        self.assertNotIn("refused", played.stdout)

    def test_of_the_hints_that_are_held_the_first_listed_value_wins(self):
        """A random course beside the rule of the power-hint library, with more held hints than scenarios."""
        dice = random.Random(7)
        nodes = [{"Name": "N%d" % n, "Path": "/n%d" % n, "Values": ["v%d" % v for v in range(5)], "DefaultIndex": n}
                 for n in range(5)]
        asked = {"H%d" % h: {n: dice.randrange(5) for n in dice.sample(range(5), 2)} for h in range(10)}
        actions = [{"PowerHint": hint, "Node": "N%d" % n, "Value": "v%d" % v}
                   for hint, values in asked.items() for n, v in values.items()]
        result, platform = self.imported({"Nodes": nodes, "Actions": actions})
        self.assertIn("0 events, 6 scenarios", result.stdout)

        held, script, expected = set(), [], []
        for step in range(80):
            hint = dice.choice(list(asked))
            script.append("hint %s %s\nsay step" % (hint, "stop" if hint in held else "start"))
            held ^= {hint}
            wanted = [[values[n] for name, values in asked.items() if name in held and n in values] for n in range(5)]
            expected.append(["v%d" % min(values, default=n) for n, values in enumerate(wanted)])
        played = self.play(platform, "\n".join(script))
        self.assertEqual(played.returncode, 0, played.stdout + played.stderr)

        now, seen = ["v%d" % n for n in range(5)], []
        for part in played.stdout.split("== step")[:-1]:
            for n, value in re.findall(r"/n(\d) <- (v\d)", part):
                now[int(n)] = value
            seen.append(list(now))
        self.assertEqual(seen, expected)

    def test_a_hint_that_ends_by_itself_is_an_event_until_they_are_used_up(self):
        durations = [19, 20, 60000, 60001] + [500] * 15
        hints = {"Nodes": [{"Name": "N", "Path": "/n", "Values": ["on", "off"]}],
                 "Actions": [{"PowerHint": "H%d" % h, "Node": "N", "Value": "on", "Duration": d}
                             for h, d in enumerate(durations)]}
        result, platform = self.imported(hints)
        self.assertEqual(re.findall(r"(Actions\S+) (.*)", result.stdout),
                         [("Actions[0].Duration:", "19 ms becomes 20 ms"),
                          ("Actions[3].Duration:", "60001 ms becomes until the hint is stopped")])
        made = json.loads(pathlib.Path(platform).read_text())
        self.assertEqual([event["qos"][0]["phases"][0]["duration"] for event in made["events"]],
                         [20, 20, 60000] + [500] * 14)
        self.assertEqual(made["hints"][-1], {"name": "H18", "duration": 500,
                                             "qos": [{"id": 5, "groups": [{"boost": 2}]}]})
        played = self.play(platform, "hint H2 start\nhint H2 stop\nhint H18 start\nsleep 600\nexpect-base")
        self.assertEqual(re.findall("<- (.*)", played.stdout), ["on", "off", "on", "off"], played.stdout)

    def test_says_where_a_file_cannot_be_read(self):
        node = {"Name": "N", "Path": "/n", "Values": ["1", "0"]}
        for hints, fault in [
            ({"Nodes": [node]}, "Actions: must be a list of objects"),
            ({"Nodes": [dict(node, DefaultIndex=2)], "Actions": []}, "Nodes[0].DefaultIndex: 2 is none of 2 values"),
            ({"Nodes": [node, node], "Actions": []}, "Nodes[1].Name: N is the name of another node already"),
            ({"Nodes": [dict(node, Name="A B")], "Actions": []}, "Nodes[0].Name: must be one word"),
            ({"Nodes": [dict(node, Type="Pipe")], "Actions": []},
             'Nodes[0].Type: "Pipe" is neither File nor Property'),
            ({"Nodes": [node], "Actions": [{"PowerHint": "H", "Node": "N", "Value": 1}]},
             "Actions[0].Value: must be a text, not number"),
        ]:
            with self.subTest(fault):
                result, _ = self.imported(hints)
                self.assertEqual((result.returncode, result.stdout.split("hints.json:1: ")[1]), (2, fault + "\n"))

        result, platform = self.imported({"Nodes": [node], "Actions": [
            {"PowerHint": "H", "Node": "N", "Value": "1"}, {"PowerHint": "H", "Node": "N", "Value": "0"},
            {"PowerHint": "H", "Node": "M", "Value": "0", "Type": "EndHint"}], "Extra": {}})
        self.assertEqual(re.findall(r"warning: (.*)", result.stdout),
                         ["Actions[1]: H asks N for another value already", "Actions[2].Node: there is no node M",
                          "Actions[2].Type: has no counterpart in a platform", "Extra: has no counterpart in a platform"])
        played = self.play(platform, "hint H stop\n")
        self.assertEqual((played.returncode, "H has not been started" in played.stderr), (2, True), played.stderr)


if __name__ == "__main__":
    tool.CORVANECTL = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
