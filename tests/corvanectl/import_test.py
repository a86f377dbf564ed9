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
        lost = re.findall(r"powerhint\.json:(\d+): warning: (Nodes|Actions)\[(\d+)\](\S*): (.*)", result.stderr)
        self.assertEqual([(at, text) for _, _, _, at, text in lost],
                         [(".HoldFd", "LatencyUs is not kept open: what holds only meanwhile is gone at once"),
                          ("", "RenderHint is a property, and a platform has files only"),
                          ("", "PowerModeName is a property, and a platform has files only"),
                          (".Node", "PowerModeName is a property"), (".Node", "PowerModeName is a property"),
                          (".Node", "RenderHint is a property"),
                          (".Value", '"900000" is no value of LittleMinFreq')] +
                         [(".Duration", "120000 ms becomes until the hint is stopped")] * 3)
        for line, kind, index, _, _ in lost:
            first = lines.index('    "%s": [' % kind) + 1
            self.assertEqual(int(line), first + int(index) + 1)
        self.assertRegex(result.stdout.splitlines()[-1], ": 34 nodes in %d resources, 24 hints: 11 events, 6 scenarios, the rest requests$" % len(
            json.loads(pathlib.Path(platform).read_text())["qos"]))

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
        self.assertEqual(re.findall(r"(Actions\S+) (.*)", result.stderr),
                         [("Actions[0].Duration:", "19 ms becomes 20 ms"),
                          ("Actions[3].Duration:", "60001 ms becomes until the hint is stopped")])
        made = json.loads(pathlib.Path(platform).read_text())
        self.assertEqual([event["qos"][0]["phases"][0]["duration"] for event in made["events"]],
                         [20, 20, 60000] + [500] * 14)
        self.assertEqual(made["hints"][-1], {"name": "H18", "duration": 500,
                                             "qos": [{"id": 5, "groups": [{"id": 0, "boost": 2}]}]})
        script = "hint H2 start\nhint H2 stop\nhint H18 start\nsleep 300\nhint H18 start\nsleep 600\nhint H18 stop\n"
        played = self.play(platform, script + "expect-base")
        self.assertEqual(re.findall(r"(\S+)s .*<- (.*)", played.stdout),
                         [("0.000", "on"), ("0.000", "off"), ("0.000", "on"), ("0.800", "off")], played.stdout)

    def test_eighty_three_nodes_with_times_of_their_own_fit(self):
        """Each node goes by the longest of what is asked of it, whichever resource it has come into."""
        dice = random.Random(11)
        nodes = [{"Name": "N%d" % n, "Path": "/n%d" % n, "Values": ["a", "b", "c"]} for n in range(83)]
        actions = [{"PowerHint": "H%d" % h, "Node": "N%d" % n, "Value": "a", "Duration": dice.randrange(1, 50) * 100}
                   for h in range(60) for n in dice.sample(range(80), 6)]
        result, platform = self.imported({"Nodes": nodes, "Actions": actions})
        self.assertEqual((result.returncode, run("check", platform).returncode), (0, 0), result.stderr)
        made = json.loads(pathlib.Path(platform).read_text())
        self.assertLessEqual(len(made["qos"]), 39)
        self.assertEqual(sum(len(qos["groups"]) for qos in made["qos"]), 83)
        for hint in made["hints"][:17]:
            played = self.play(platform, "hint %s start\nsleep 60000\nexpect-base" % hint["name"])
            self.assertEqual(played.returncode, 0, played.stdout)
            ends = {node: float(time) for time, node in re.findall(r"(\S+)s  /n(\d+) <- c", played.stdout) if float(time) > 0}
            self.assertEqual(ends, {action["Node"][1:]: action["Duration"] / 1000 for action in actions
                                    if action["PowerHint"] == hint["name"]})
        whole = run("run", platform, "--sandbox", "--script", platform.replace(".json", ".txt"))
        self.assertEqual((whole.returncode, "refused" in whole.stdout), (0, False), whole.stdout[-500:])

    def test_hints_start_and_end_one_another(self):
        nodes = [{"Name": name, "Path": "/" + name, "Values": ["1", "0"]} for name in "abc"]
        actions = [{"PowerHint": "A", "Node": "a", "Value": "1"}, {"PowerHint": "A", "Type": "DoHint", "Value": "B"},
                   {"PowerHint": "B", "Node": "b", "Value": "1", "Duration": 500},
                   {"PowerHint": "B", "Type": "DoHint", "Value": "A"},  # a circle
                   {"PowerHint": "C", "Node": "c", "Value": "1"}, {"PowerHint": "C", "Type": "EndHint", "Value": "A"},
                   {"PowerHint": "C", "Type": "MaskHint", "Value": "A"}, {"PowerHint": "D", "Type": "DoHint", "Value": "E"},
                   {"PowerHint": "E", "Node": "x", "Value": "1"}, {"PowerHint": "E", "Value": "1"}]
        result, platform = self.imported(self.file("hints.json", "// who\n/* made\n it */" + json.dumps(
            {"Nodes": nodes, "Actions": actions})))
        self.assertEqual(re.findall(r"hints.json:3: warning: (.*)", result.stderr),
                         ["Actions[6]: C masks A, and a platform masks nothing", "Actions[8].Node: there is no node x",
                          "Actions[9]: names no node",
                          "Actions[8]: E is lost: nothing of it has a counterpart in a platform",
                          "Actions[7]: D starts or ends E, which is no hint here",
                          "Actions[7]: D is lost: nothing of it has a counterpart in a platform"])
        played = self.play(platform, "hint B stop\nhint A start\nsleep 600\nhint C start\nhint C stop\nexpect-base")
        self.assertEqual(re.findall(r"(\S+)s  (.*)", played.stdout),
                         [("0.000", "/a <- 1"), ("0.000", "/b <- 1"), ("0.500", "/b <- 0"), ("0.600", "/a <- 0"),
                          ("0.600", "/c <- 1"), ("0.600", "/c <- 0")])
        self.assertIn("    A is not held\n", played.stdout)
        whole = run("run", platform, "--sandbox", "--script", platform.replace(".json", ".txt"))
        self.assertEqual(whole.returncode, 0, whole.stdout + whole.stderr)
        self.assertIn("0.540s", whole.stdout.split("== B")[0])  # A's script waits for what it starts

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
            ({"Nodes": [], "Actions": []}, "Nodes: there is no node that is a file"),
            ({"Nodes": [node, dict(node, Name="M")], "Actions": []}, "Nodes[1].Path: /n is the path of N already"),
        ]:
            with self.subTest(fault):
                result, _ = self.imported(hints)
                self.assertEqual((result.returncode, result.stderr.split("hints.json:1: ")[1]), (2, fault + "\n"))

        result, platform = self.imported({"Nodes": [node], "Actions": [
            {"PowerHint": "H", "Node": "N", "Value": "1"}, {"PowerHint": "H", "Node": "N", "Value": "0"},
            {"PowerHint": "H", "Value": "0", "Type": "Other", "More": 1}], "Extra": {}})
        self.assertEqual(re.findall(r"warning: (.*)", result.stderr),
                         ["Actions[1]: H asks N for another value already", 'Actions[2].Type: "Other" has no counterpart in a platform',
                          "Actions[2].More: has no counterpart in a platform", "Extra: has no counterpart in a platform"])
        played = self.play(platform, "hint H stop\n")
        self.assertEqual((played.returncode, "    H is not held\n" in played.stdout), (0, True), played.stderr)


if __name__ == "__main__":
    tool.CORVANECTL = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
