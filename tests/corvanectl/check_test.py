# SPDX-License-Identifier: Apache-2.0

"""What is legal in a platform file and hardly meant, and how long it takes to say so: usage as of corvanectl_test.py."""

import os
import sys
import unittest

sys.dont_write_bytecode = True
import corvanectl_test as tool
from corvanectl_test import run

# A line for each element, so that the places below can be counted.
PLATFORM = """{ "control": {"chipType": 1},
"qos": [
{"id": 7, "name": "TEMP", "groups": [{"availableMin": 1, "availableMax": 9, "nodes": ["/temp"]}]},
{"id": 8, "name": "12", "groups": [{"availableMin": 1, "availableMax": 9, "nodes": ["single"]}]},
{"id": 10, "name": "FREQ", "freqListNode": null, "groups": [
    {"availableMin": 1, "availableMax": 9, "nodes": ["/x/scaling_max_freq", "/x/scaling_min_freq"]}]},
{"id": 11, "name": "FREQ", "freqListNode": "/list", "frequencies": [10, 20, 30], "groups": [
    {"name": "A", "availableMin": 10, "availableMax": 30,
     "boostBase": 15,
     "nodes": ["/y/min",
               "y/max"]}]},
{"id": 20, "name": "TWO", "groups": [
    {"id": 0, "chipType": 1, "name": "G", "availableMin": 1, "availableMax": 9, "nodes": ["/g/0"]},
    {"id": 1, "chipType": 1, "name": "G", "availableMin": 1, "availableMax": 9, "nodes": ["/g/1"]}]}
],
"events": [{"id": 0, "qos": [
    {"id": 7, "phases": [{"duration": 20, "groups": [{"boost": 5}]}]},
    {"id": 8, "phases": [{"duration": 20, "groups": [{"boost": 5}]}]},
    {"id": 20, "phases": [
        {"duration": 20, "groups": [{"boost": 5}, {"id": 1, "limit": 5}]},
        {"duration": 20, "groups": [{"id": 1, "limit": 5}]},
        {"duration": 20, "groups": [{"boost": 5, "limit": 6}]}]}]}],
"scenarios": [{"id": 0, "qos": [
    {"id": 7, "groups": [{"boost": 5}]}]}],
"hints": [{"name": "H", "qos": [{"id": 7, "groups": [{"boost": 5}]}]}]
}
"""

WARNINGS = """\
3: qos[0].id: resource 7 (TEMP) never writes without control.ipaResourceFlag; set that, or leave the resource out
4: qos[1].name: 12 is a number, and hides the resource of that id from scripts; use a word
4: qos[1].id: resource 8 (12) never writes without control.singleNodeQosEnable; set that, or leave the resource out
4: qos[1].groups[0].nodes[0]: single depends on the folder that the service runs in; begin with "/"
6: qos[2].groups[0].nodes: /x/scaling_max_freq comes first, where the minimum is written; swap the two
7: qos[3].name: FREQ is the name of another resource, which is the one that scripts reach by it; rename one
9: qos[3].groups[0].boostBase: 15 is not in frequencies; the nearest are 10 and 20
11: qos[3].groups[0].nodes[1]: y/max depends on the folder that the service runs in; begin with "/"
14: qos[4].groups[1].name: G is the name of another group, and logs tell them apart by it; rename one
17: events[0].qos[0].id: resource 7 (TEMP) never writes without control.ipaResourceFlag; set that, or leave it out
18: events[0].qos[1].id: resource 8 (12) never writes without control.singleNodeQosEnable; set that, or leave it out
21: events[0].qos[2].phases[1]: asks for no boost of group 0, between phases that do: the node falls back meanwhile; give a value
24: scenarios[0].qos[0].id: resource 7 (TEMP) never writes without control.ipaResourceFlag; set that, or leave it out
25: hints[0].qos[0].id: resource 7 (TEMP) never writes without control.ipaResourceFlag; set that, or leave it out
"""


class Sense(tool.TemporaryFiles):
    maxDiff = None

    def test_warns_of_what_is_hardly_meant_with_its_line_and_remedy(self):
        file = self.file("platform.json", PLATFORM)
        for options, status in [([], 0), (["--strict"], 2)]:
            result = run("check", file, *options)
            found = [line.replace(file + ":", "").replace("warning: ", "")
                     for line in result.stdout.splitlines() if "warning: " in line]
            self.assertEqual((result.returncode, found), (status, WARNINGS.splitlines()))
        wrong = self.file("wrong.json", PLATFORM.replace('{"id": 7, "groups"', '{"id": 8, "groups"', 1))
        self.assertEqual((run("check", wrong).returncode, run("check", wrong).stdout),
                         (2, wrong + ":24: scenarios[0].qos[0].id: resource 8 is not on this platform without "
                             "control.singleNodeQosEnable\n"))

    def test_what_is_shipped_is_meant(self):
        for name in ("sample", "linux"):
            result = run("check", "--strict", "platforms/%s.json" % name)
            self.assertEqual(result.returncode, 0, result.stdout)


class Length(tool.TemporaryFiles):
    """Where the time grew with the square of the length, none of these would end before the patience does."""

    def lines(self, content):
        result = run("check", self.file("long.json", content))
        self.assertEqual(result.returncode, 2, result.stderr)
        lines = result.stdout.splitlines()
        self.assertEqual([line for line in lines[100:]], ["and 199901 more"] if len(lines) > 100 else [])
        return [line.split("long.json:", 1)[1] for line in lines[:100]]

    def test_ten_megabytes_in_one_object(self):
        content = '{"qos": [],\n' + ",\n".join('"k%06d": "%s"' % (n, "x" * 36) for n in range(200000)) + "}"
        self.assertGreater(len(content), 10000000)
        lines = self.lines(content)
        self.assertEqual((len(lines), lines[0], lines[99]), (100, "2: k000000: unknown key", "101: k000099: unknown key"))

    def test_thirty_thousand_levels_of_depth_and_of_a_map(self):
        depth = 30000
        self.assertEqual(self.lines('{"qos":\n' + "[" * depth + "]" * depth + "}"),
                         ["2: qos[0]: must be an object, not array"] * 1 + self.lines('{"qos":\n[[]]}')[1:])
        self.assertEqual(self.lines('{"x":\n' * depth + "1" + "}" * depth)[0], "1: x: unknown key")
        levels = ",\n".join('"%d": ["%d"]' % (n, n) for n in range(depth - 1)) + ',\n"%d": []' % depth
        self.assertEqual(self.lines('{"qos": [{"id": 10, "name": "L", "groups": [{"nodes": ["/n"], "levels": {\n%s}}]}]}'
                                    % levels), ["30001: qos[0].groups[0].levels.30000: invalid group value size 0, not equal to "
                                                 "paths size 1"])


if __name__ == "__main__":
    tool.CORVANECTL = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
