# SPDX-License-Identifier: Apache-2.0

"""Runs corvanectl as a person would and looks at what it prints, writes and returns.

usage: corvanectl_test.py CORVANECTL [--record] [TestCase...]

With --record, what the tool prints becomes what is expected of it; read what git says of the goldens then.
"""

import copy
import json
import os
import pathlib
import re
import resource
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from xml.etree import ElementTree

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
CORVANECTL = ""
RECORD = False
PATIENCE_S = 300


def run(*args, commands=None):
    """Runs from the top folder, so that file names in messages are the same everywhere."""
    return subprocess.run([CORVANECTL, *args], cwd=ROOT, input=commands or "", capture_output=True, text=True,
                          timeout=PATIENCE_S)


def golden(name, actual):
    """What is on record under this name."""
    if RECORD:
        (HERE / name).write_text(actual)
    return (HERE / name).read_text()


class TemporaryFiles(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def file(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content if isinstance(content, str) else json.dumps(content))
        return str(path)


class Tour(unittest.TestCase):
    maxDiff = None

    def test_every_kind_and_command_writes_what_is_on_record(self):
        result = run("run", "platforms/sample.json", "--sandbox", "--script", "platforms/tour.txt")
        self.assertEqual(result.returncode, 0, result.stderr)
        seen, expected = (text.split("\n== ") for text in (result.stdout, golden("tour.golden", result.stdout)))
        self.assertEqual([chapter.splitlines()[0:1] for chapter in seen],
                         [chapter.splitlines()[0:1] for chapter in expected])
        for chapter, on_record in zip(seen, expected):
            with self.subTest(chapter.split("\n")[0]):
                self.assertEqual(chapter, on_record)

    def test_as_json_it_says_the_same(self):
        result = run("run", "platforms/sample.json", "--sandbox", "--script", "platforms/tour.txt", "--json")
        shown = ""
        for record in map(json.loads, result.stdout.splitlines()):
            if record["what"] == "asked":
                shown += "> " + record["line"] + "\n"
            elif record["what"] == "answered":
                shown += "    refused (-1)" if record["result"] else "    ok"
                shown += ", handle %d" % record["handle"] if "handle" in record else ""
                shown += "".join("\n        " + reason for reason in record["reasons"]) + "\n"
            elif record["what"] == "wrote":
                data = bytes.fromhex(record.get("hex", ""))
                text = record.get("text", "bytes %s (%s)" % (data.hex(" "), record.get("value")))
                failed = ": " + record["error"] if "error" in record else ""
                failed += ": only %d of %d bytes taken" % (record["taken"], len(text)) if "taken" in record else ""
                outcome = " <- " + text + failed if text else " cannot be opened" + failed
                shown += "%9.3fs  %s%s\n" % (record["time"], record["node"], outcome)
        text = re.sub(", no handle\n", "\n", (HERE / "tour.golden").read_text())
        kinds = r"(?:> |    ok|    refused|        [A-Za-z]|[ \d]{5}\.\d{3}s  ).*\n"
        self.assertEqual(shown.splitlines(), "".join(re.findall("^" + kinds, text, re.M)).splitlines())

    def test_the_linux_platform_ends_at_its_base(self):
        result = run("run", "platforms/linux.json", "--sandbox", "--script", "platforms/linux.txt")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertTrue(result.stdout.endswith("each of 5 nodes is at its base\n"), result.stdout[-400:])


class Demo(TemporaryFiles):
    def test_plays_the_same_bytes_each_time(self):
        plays = []
        for name in ("first", "second"):
            files = [self.folder / (name + kind) for kind in (".trace", ".svg", ".jsonl")]
            trace, plot, record = map(str, files)
            result = run("demo", "--trace", trace, "--plot", plot, "--record", record)
            plays.append((result.stdout, result.stderr, *(file.read_bytes() for file in files)))
        self.assertEqual(plays[0], plays[1])
        self.assert_plots(self.folder / "first.jsonl", plays[0][3])
        self.assertLessEqual(plays[0][0].count("\n"), 150)
        self.assertRegex(plays[0][0], "policy0/scaling_min_freq +▄▄▆+█▆+▁+  300000 .. 1804800\n")
        picture = [" ".join(text.itertext()) for text in ElementTree.fromstring(plays[0][3]).iter() if text.tag[-4:] == "text"]
        for text in ["CPU_L /sys/devices/system/cpu/cpufreq/policy0/scaling_min_freq", "max 1862400, cap 300 #4",
                     "min 2419200, event 3", "boost first, boost-first 500 #6", "threads /proc/thread_bind", "FF|4242"]:
            self.assertIn(text, picture)

    def assert_plots(self, record, picture):
        again = self.folder / "again.svg"
        self.assertEqual(run("plot", str(record), "-o", str(again)).returncode, 0)
        self.assertEqual(again.read_bytes(), picture)

    def test_plots_nothing_but_the_record_of_a_run(self):
        begin = '{"time": 0, "what": "began", "platform": "", "nodes": [{"node": "/a", "text": "1"}]}\n'
        for record, said in [("", ": holds no record of a run"), ("[]", ":1: no record of a run"),
                             ('{"time": 0, "what": "settled", "binder": true}', ":1: no record"),
                             (begin + '{"time": 1e300, "what": "settled", "binder": true}', ":2: no record"),
                             (begin + '{"time": 1, "what": "wrote"}', ":2: no record"),
                             (begin + '{"time": 1, "what": "released", "pid": 1.5}', ":2: no record"),
                             (begin, "")]:
            result = run("plot", self.file("record", record), "-o", str(self.folder / "plot.svg"))
            self.assertEqual((result.returncode, said in result.stderr, result.stderr.count("\n")),
                             (2, True, 1) if said else (0, True, 0), result.stderr)
            self.assertEqual((self.folder / "plot.svg").exists(), not said)
        result = run("run", "platforms/sample.json", "--sandbox", "--expect", self.file("record", ""))
        self.assertEqual((result.returncode, result.stderr), (2, "corvanectl: %s: holds no record of a run\n"
                                                              % (self.folder / "record")))

    def test_takes_no_time_unless_it_is_live(self):
        script = self.file("script.txt", """
            request 1 60000 qos=DDR boost=2133000
            sleep 4000000000
            request 1 300 qos=DDR boost=2133000
            sleep 1000
            """)
        arguments = ["run", "platforms/sample.json", "--sandbox", "--script", script]
        at_once = re.findall(r"(\S+)s  /dev/memory_bandwidth", run(*arguments).stdout)
        self.assertEqual(at_once, ["0.000", "60.000", "4000000.000", "4000000.300"])

        script = self.file("script.txt", """
            request 1 300 qos=DDR boost=2133000
            node /sys/class/devfreq/gpu/min_freq fail EBUSY
            request 1 0 qos=GPU boost=415000000 limit=585000000 as <&>
            sleep 1000
            """)
        began = time.monotonic()
        record, plot = self.folder / "record", self.folder / "plot.svg"
        result = run(*arguments, "--live", "--record", str(record), "--plot", str(plot))
        live = re.findall(r"(\S+)s  /dev/memory_bandwidth", result.stdout)
        self.assertGreaterEqual(time.monotonic() - began, 1)
        self.assertGreaterEqual(float(live[1]), 0.3)
        self.assert_plots(record, plot.read_bytes())  # with times to the nanosecond

    def test_ends_with_every_node_at_its_base_and_leaves_a_trace(self):
        trace_file = self.folder / "trace.json"
        result = run("demo", "--trace", str(trace_file))
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.assertTrue(result.stdout.endswith("each of 29 nodes is at its base\n"), result.stdout[-400:])

        events = json.loads(trace_file.read_text())["traceEvents"]
        counters = [e["args"]["value"] for e in events if e["ph"] == "C" and e["name"] == "/dev/memory_bandwidth"]
        self.assertEqual(counters[:2] + counters[-1:], [6640, 19904, 6640])
        self.assertEqual([e["ts"] for e in events], sorted(e["ts"] for e in events))
        labels = [e["name"] for e in events if e["ph"] == "i"]
        self.assertIn("velquist_log:request {0 [0 0:1017600]} {4 [0 0:1244000]}", labels)
        threads = {e["args"]["name"] for e in events if e["name"] == "thread_name"}
        self.assertLess({"pf_CPU_L", "pf_EAS", "pf_binder"}, threads)


class Check(TemporaryFiles):
    maxDiff = None

    def test_names_each_of_ten_faults_with_its_place(self):
        result = run("check", "tests/corvanectl/faults.json")
        self.assertEqual(result.stdout, golden("faults.golden", result.stdout))
        self.assertEqual(result.returncode, 2)

    def test_summarises_a_good_platform(self):
        result = run("check", "platforms/sample.json")
        self.assertEqual(result.returncode, 0, result.stdout)
        self.assertIn("  13  NPU             not on this platform\n", result.stdout)
        self.assertIn("14 resources, 2 events, 2 scenarios, a probe\n", result.stdout)
        self.assertEqual(run("check", "--chip-type", "2", "platforms/sample.json").returncode, 0)

    def test_points_at_the_line_and_column_of_a_syntax_error(self):
        file = self.file("broken.json", '{\n  "name": "x",\n  "qos": [1 2]\n}')
        result = run("check", file)
        self.assertEqual(result.returncode, 2)
        self.assertRegex(result.stderr, r"^corvanectl: .*broken\.json:3:13: syntax error")

    def findings(self, content):
        result = run("check", "--strict", self.file("platform.json", content))
        self.assertEqual(result.returncode, 2, result.stdout)
        return [line.split(": ", 1)[1] for line in result.stdout.splitlines()]

    def test_reads_what_it_can_and_names_what_it_cannot(self):
        for content, expected in [
            ("[]", ["must be an object, not array", "qos: there is no resource"]),
            ('{"name": "a", "name": "b", "qos": {}}',
             ["name: the key is given twice", "qos: must be a list of objects, not object", "qos: there is no resource"]),
            ('{"qos": [{"id": -1, "name": 7, "groups": []}]}',
             ["qos[0].id: -1 is no whole number of 32 bits from 0 up", "qos[0].name: must be a text, not number"]),
            ('{"control": {"workMode": 3}, "qos": [{"id": 48, "name": "x", "groups": [{"nodes": ["n"], '
             '"availableMin": 1.5, "availableMax": 3000000000}]}]}',
             ["qos[0].groups[0].availableMin: 1.5 is no whole number of 32 bits",
              "qos[0].groups[0].availableMax: 3000000000 is no whole number of 32 bits",
              "control.workMode: Init invalid workMode 3"]),
            ('{"qos": [{"id": 48, "name": "x", "groups": [{"nodes": ["n"], "availableMin": 1, "availableMax": 3}]}]}',
             ["qos[0].id: invalid qos id: 48"]),
            ('{"qos": [{"id": 20, "name": "x", "groups": [{"nodes": ["n"], "levels": {"one": ["a"], "2": ["b"], '
             '"2": ["c"]}}]}]}',
             ["qos[0].groups[0].levels.2: the key is given twice",
              "qos[0].groups[0].levels.one: a level must be a whole number"]),
        ]:
            with self.subTest(content):
                self.assertEqual(self.findings(content), expected)

    def test_rules_of_kinds_and_catalogues(self):
        sample = json.loads((ROOT / "platforms/sample.json").read_text())
        at = {entry["name"]: i for i, entry in enumerate(sample["qos"])}

        def where(name):
            return "qos[%d]" % at[name]

        def group(platform, name):
            return platform["qos"][at[name]]["groups"][0]

        def phases(platform):
            return platform["events"][1]["qos"][0]["phases"]

        def item(platform):
            return platform["scenarios"][0]["qos"]

        for change, expected in [
            (lambda p: p["qos"][at["DDR"]].update(freqListNode=None),
             [where("DDR") + ".frequencies: means nothing without freqListNode",
              where("DDR") + ".freqListNode: qos " + where("DDR") +
              " needs a PerfQosFreqConfig (a resource with a freqListNode)"]),
            (lambda p: p["qos"][at["DDR"]].update(freqToBandwidthCoefficient=9e12),
             ["warning: " + where("DDR") + ".freqToBandwidthCoefficient: the bandwidth of 2133000 does not fit 32 bits, "
              "and is cut off"]),
            (lambda p: p["qos"][at["EAS"]]["groups"].pop(),
             ["warning: " + where("EAS") + ".groups: 7 groups, and this resource has 8"]),
            (lambda p: p["qos"][at["EAS"]]["levelToValueMap"]["2"].update(globalBoost=2),
             [where("EAS") + ".levelToValueMap.2: EAS global boost value : 2 is out of bound!"]),
            (lambda p: group(p, "IPA_POWER")["nodes"].pop(),
             [where("IPA_POWER") + ".groups[0].nodes: invalid path size 2"]),
            (lambda p: p["qos"][at["L3_LATENCY"]]["groups"][0].pop("chipType"),
             [where("L3_LATENCY") + ".groups[1].id: inconsistent group id for " + where("L3_LATENCY") +
              ".groups[1]: 1 != 0"]),
            (lambda p: group(p, "MIGRATION").update(boostBase=2),
             ["warning: " + where("MIGRATION") + ".groups[0].boostBase: 2 is no level, and nothing is written for it"]),
            (lambda p: group(p, "TOUCH_RATE").update(levels={"0": ["a"]}),
             [where("TOUCH_RATE") + ".groups[0].availableMin: unknown key",
              where("TOUCH_RATE") + ".groups[0].availableMax: unknown key"]),
            (lambda p: p["events"].append({"id": 17, "qos": []}),
             ["events[2].qos: there is nothing in it"]),
            (lambda p: p["events"].append({**p["events"][0], "id": 17}), ["events[2].id: invalid event id: 17"]),
            (lambda p: p["events"].append(p["events"][0]), ["events[2].id: duplicate event id: 0"]),
            (lambda p: phases(p)[1].update(duration=19),
             ["events[1].qos[0].phases[1].duration: invalid duration: 19 ms"]),
            (lambda p: phases(p)[0]["groups"].append({"id": 0}),
             ["events[1].qos[0].phases[0].groups[1].id: event init duplicate group id: 0"]),
            (lambda p: phases(p)[0]["groups"][0].pop("boost"),
             ["warning: events[1].qos[0].phases[0].groups[0]: there is neither a boost nor a limit"]),
            (lambda p: item(p)[1]["groups"][0].update(boost=825599, limit=600000),
             ["scenarios[0].qos[1].groups[0].boost: operation value(825599) less than avl min(825600)",
              "scenarios[0].qos[1].groups[0].limit: operation value(600000) less than avl min(825600)"]),
            (lambda p: item(p)[3].update(groups=[{"id": 0, "boost": 2}, {"id": 8, "limit": 0}]),
             ["scenarios[0].qos[3].groups[1].id: invalid group id: 8"]),
            (lambda p: item(p).append({"id": 13, "groups": [{"id": 0, "boost": 0}]}),
             ["scenarios[0].qos[4].id: resource 13 is not on this platform"]),
            (lambda p: item(p).append({"id": 40, "groups": [{"id": 0, "boost": 0}]}),
             ["scenarios[0].qos[4].id: there is no resource 40"]),
            (lambda p: (p["probe"].update(gpu=1, duration=0), p.pop("events")),
             ["warning: probe.gpu: 1 is outside 180000000 .. 710000000, and a probe's value is never checked",
              "warning: probe.duration: 0 ms ends a probe at its start",
              "warning: probe: is loaded together with events only, and there is none"]),
            (lambda p: (group(p, "TOUCH_RATE").update(nodes=["/sys/../dev/rate"]), p["qos"].append(
                {"id": 20, "name": "PLACES", "groups": [{"nodes": ["/dev/", "/knob\0", "/" + 256 * "n"],
                                                         "levels": {"0": ["a", "b", "c"]}}]})),
             [where("TOUCH_RATE") + '.groups[0].nodes[0]: "/sys/../dev/rate" must not contain ".."',
              'qos[14].groups[0].nodes[0]: "/dev/" is the path of a folder',
              "qos[14].groups[0].nodes[1]: the path holds a zero byte",
              "qos[14].groups[0].nodes[2]: the path is too long"]),
            (lambda p: (group(p, "TOUCH_RATE").update(nodes=["//dev/./memory_bandwidth"]),
                        group(p, "READ_AHEAD").update(nodes=["/dev/memory_bandwidth/kb"]),
                        p["qos"][at["CPU_B"]].update(freqListNode=p["qos"][at["CPU_M"]]["freqListNode"])),
             [where("CPU_B") + '.freqListNode: "' + sample["qos"][at["CPU_M"]]["freqListNode"] + '" is ' +
              where("CPU_M") + ".freqListNode already",
              where("TOUCH_RATE") + '.groups[0].nodes[0]: "//dev/./memory_bandwidth" is ' + where("DDR") +
              ".groups[0].nodes[0] already",
              where("READ_AHEAD") + '.groups[0].nodes[0]: "/dev/memory_bandwidth/kb" is below a file, ' + where("DDR") +
              ".groups[0].nodes[0]"]),
        ]:
            platform = copy.deepcopy(sample)
            change(platform)
            with self.subTest(expected):
                self.assertEqual(self.findings(platform), expected)


class Run(TemporaryFiles):
    SINGLE = {"name": "single", "qos": [
        {"id": 10, "name": "KNOB", "groups": [{"availableMin": 1, "availableMax": 9, "nodes": ["/knob"]}]}]}

    def test_stops_at_a_command_that_cannot_be_read(self):
        for line, expected in [
            ("bosot 1", 'unknown command "bosot"; "help" lists them\n'),
            ("expcet", 'unknown command "expcet"; did you mean "expect"?\n'),
            ("request 1 x qos=0 boost=1", 'request: "x" is not a number of ms'),
            ("request 1 0 boost=1", 'request: "boost=1" must stand behind a qos='),
            ("request 1 0 qos=0 boots=1", 'request: "boots" is none of qos, group, boost and limit'),
            ("request 1 0 qos=CPU_X boost=1", 'request: "CPU_X" is not the id or name of a resource; did you mean "CPU_B", '
             '"CPU_L" or "CPU_M"?\n'),
            ("request 1 0 qos=0 boost=3000000000", 'request: "3000000000" is too large for a value'),
            ("request 1 0 qos=0 boost=", 'request: "boost=" is not of the form key=value'),
            ("release 1 last", "release: process 1 has had no handle yet"),
            ("release 1 nobody", 'release: "nobody" is not a handle, nor the name of one\n'),
            ("release 9 cmaera", 'release: "cmaera" is not a handle, '
             'nor the name of one; did you mean "camera"?\n'),
            ("mode 1", "mode: a work mode is missing"),
            ("probe begin 1", "probe: neither start nor stop"),
            ("suspend", "suspend: the id or name of a resource is missing"),
            ("sleep 1 2", 'sleep: "2" is one word too many'),
            ("node /no/such fail EIO", "node: no resource of the platform has a node /no/such\n"),
            ("expect /dev/mem_bandwidth 1", 'has a node /dev/mem_bandwidth; did you mean "/dev/memory_bandwidth"?\n'),
            ("node /dev/memory_bandwidth fail E2BIG", 'node: "E2BIG" is none of'),
        ]:
            with self.subTest(line):
                script = self.file("script.txt", "# first\nscenario 9 0 as camera\n" + line + "\nsay not reached\n")
                result = run("run", "platforms/sample.json", "--sandbox", "--script", script)
                self.assertEqual(result.returncode, 2)
                self.assertIn("corvanectl: " + script + ":3: ", result.stderr)
                self.assertIn(expected, result.stderr)
                self.assertNotIn("not reached", result.stdout)

    def test_refuses_arguments_and_files_that_it_cannot_use(self):
        faulty = self.file("faulty.json", '{"qos": []}')
        for args, expected in [
            (["run", "no-such-file.json"], "no-such-file.json: cannot be read: No such file or directory"),
            (["run", faulty, "--sandbox"], faulty + ":1: qos: there is no resource"),
            (["run", "platforms/sample.json", "--sandbox", "--root", "x"], "corvanectl: --sandbox excludes --root"),
            (["run", "platforms/sample.json", "--root", str(self.folder)], "scaling_min_freq: no such node"),
            (["run", "platforms/sample.json", "--sandbox", "--property", "x"], "must be of the form KEY=VALUE"),
            ([], "corvanectl: A subcommand is required; see --help\n"),
            (["fly"], 'corvanectl: unknown command "fly"; see --help\n'),
            (["dfif", "--help-me"], 'corvanectl: unknown command "dfif"; did you mean "diff"?\n'),
            (["--versoin"], 'corvanectl: unknown option "--versoin"; did you mean "--version"?\n'),
            (["diff", "a", "b", "--scritp=c"], 'corvanectl: unknown option "--scritp"; did you mean "--script"?\n'),
            (["run", "no.json", "--expcet", "x"], 'corvanectl: unknown option "--expcet"; did you mean "--expect"?\n'),
        ]:
            with self.subTest(args):
                result = run(*args)
                self.assertEqual(result.returncode, 2, result.stdout)
                self.assertIn(expected, result.stderr)

    def test_fails_when_a_node_is_away_from_its_base_or_a_thread_is_bound(self):
        result = run("run", "platforms/sample.json", "--sandbox", commands="""
            request 100 0 qos=DDR boost=2133000
            probe start 77
            sleep 600
            expect-base
            """)
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn("/dev/memory_bandwidth is at bytes 50 85 00 00 (34128), its base is bytes f0 19 00 00 (6640)",
                      result.stdout)
        self.assertIn("    thread 77 is still bound\n", result.stdout)

    def test_leaves_the_nodes_below_another_root_as_they_were(self):
        platform = self.file("platform.json", {"name": "pair", "qos": self.SINGLE["qos"] + [
            {"id": 11, "name": "SINK", "groups": [{"nodes": ["/sink"], "levels": {"0": ["off"], "1": ["on"]}}]}]})
        knob = pathlib.Path(self.file("device/knob", "12345\n"))
        (self.folder / "device/sink").symlink_to("/dev/null")
        arguments = ["run", platform, "--root", str(self.folder / "device")]
        commands = "request 100 0 qos=KNOB boost=7 qos=SINK boost=1\n"

        put_back = run(*arguments, commands=commands)
        self.assertEqual((put_back.returncode, knob.read_text()), (0, "12345\n"), put_back.stderr)
        self.assertIn("s  /knob <- 7\n", put_back.stdout)
        self.assertIn("    /sink was written on and holds \n", put_back.stdout)
        self.assertTrue(put_back.stdout.endswith("    left as found: 2 nodes\n"), put_back.stdout)
        self.assertEqual(put_back.stderr, "warning: qos[0].groups[0].nodes[0]: %s holds 12345, which is outside 1 .. 9\n"
                         "warning: qos[1].groups[0].nodes[0]: %s/device/sink holds \"\", which is none of the described "
                         "texts\n" % (knob, self.folder))

        kept = run(*arguments, "--keep", commands=commands + "quit\n")
        self.assertEqual((kept.returncode, knob.read_text()), (0, "7"), kept.stderr)
        self.assertTrue(kept.stdout.endswith("    kept: /knob holds 7, and held 12345 before\n"), kept.stdout)

    def test_fits_the_platform_to_the_chip_and_its_property(self):
        result = run("run", "platforms/sample.json", "--sandbox", "--chip-type", "2", "--property",
                     "persist.vendor.cpub_min_freq_skip=1", commands="dump --base_info\nexpect-base\n")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("\n1,CPU_M,0,CPU_M_FREQ,1056000,2419200,1056000,2419200,", result.stdout)
        self.assertIn("\n2,CPU_B,0,CPU_B_FREQ_SKIP,1286400,2841600,1286400,2841600,", result.stdout)

    def test_shows_the_library_log_on_demand(self):
        quiet = run("run", "platforms/sample.json", "--sandbox", commands="request 1 0 qos=10 boost=256\n")
        self.assertEqual(quiet.stderr, "")
        told = run("run", "platforms/sample.json", "--sandbox", commands="log 1\nrequest 1 0 qos=10 boost=256\n")
        self.assertIn("log: I PF_SINGLE_NODE_VALUE_GRP [DoConfig:", told.stderr)
        self.assertIn("[READ_AHEAD_KB] final write (256)\n", told.stderr)


class Processes(TemporaryFiles):
    """Runs that are talked to, and may be ended from outside."""

    def start(self, *args, **kwargs):
        environment = dict(os.environ, TMPDIR=str(self.folder))
        process = subprocess.Popen([CORVANECTL, *args], cwd=ROOT, env=environment, text=True, bufsize=1,
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **kwargs)
        self.addCleanup(self.bury, process)
        return process

    @staticmethod
    def bury(process):
        process.kill()
        process.wait()
        for stream in (process.stdin, process.stdout, process.stderr):
            try:
                stream.close()
            except BrokenPipeError:
                pass  # something was left to tell it

    def await_line(self, process, text):
        for line in process.stdout:
            if text in line:
                return
        self.fail("no " + text)


class Expect(TemporaryFiles):
    """What a script, an earlier run or another platform leads one to expect."""

    SCRIPT = """\
request 1 500 qos=DDR boost=1244000
expect /dev/memory_bandwidth 19904
sleep 100
node /sys/class/devfreq/gpu/min_freq fail EBUSY 1
expect-failure request 2 0 qos=CPU_L boost=1401600 qos=GPU boost=415000000
expect /sys/devices/system/cpu/cpufreq/policy0/scaling_min_freq 1401600
expect-refused request 1 0 qos=CPU_L boost=1401600 limit=300000
sleep 1000
"""

    def play(self, script, *arguments):
        return run("run", "platforms/sample.json", "--sandbox", "--script", self.file("script.txt", script), *arguments)

    def test_a_script_fails_where_a_node_or_an_answer_is_another(self):
        self.assertEqual(self.play(self.SCRIPT).returncode, 0)
        for line, said in [("expect /dev/memory_bandwidth 6641",
                            "/dev/memory_bandwidth is at bytes f0 19 00 00 (6640), expected was 6641"),
                           ("expect-refused release 2 last", "    expected was a refusal"),
                           ("request 1 1 qos=DDR boost=1244000", "    not expected, unless by expect-refused"),
                           ("dump --tsak", "    not expected, unless by expect-refused"),
                           ("debug --no_such_mode", "    not expected, unless by expect-refused"),
                           ("expect-failure release 2 last", "    expected was a write that fails"),
                           ("node /sys/block/sda/queue/read_ahead_kb fail open\nrequest 2 0 qos=READ_AHEAD boost=256",
                            "/sys/block/sda/queue/read_ahead_kb cannot be opened: EACCES\n")]:
            result = self.play(self.SCRIPT + line)
            self.assertEqual((result.returncode, said in result.stdout), (1, True), result.stdout)
        for line in ("expect /no/node 1", "expect /dev/memory_bandwidth", "expect-refused sleep 1", "expect-refused no"):
            self.assertEqual(self.play(line).returncode, 2, line)

    def test_a_run_is_held_to_the_record_of_another(self):
        record = self.folder / "record"
        self.assertEqual(self.play(self.SCRIPT, "--record", str(record)).returncode, 0)
        bandwidth = "/dev/memory_bandwidth <- bytes f0 19 00 00 (6640)"
        self.assertIn({"time": 0.1, "what": "wrote", "node": "/sys/class/devfreq/gpu/min_freq", "text": "415000000",
                       "value": 415000000, "error": "EBUSY"}, map(json.loads, record.read_text().splitlines()))
        self.assertEqual(record.read_text(), self.play(self.SCRIPT, "--json").stdout)

        again = self.play(self.SCRIPT.replace("request 1", "request 7"), "--expect", str(record))
        self.assertEqual((again.returncode, again.stdout.splitlines()[-1]),
                         (0, f"{record}: each of 10 writes is as expected"))
        other = self.play(self.SCRIPT.replace("1 500", "1 300"), "--expect", str(record))
        self.assertEqual((other.returncode, other.stdout.split(f"{record}: ")[1]), (1, (
            f"not as expected (-), but (+):\n> sleep 1000\n  + 0.300s  {bandwidth}\n  - 0.500s  {bandwidth}\n")))

        bad = record.read_text() + "no record\n"
        for text, arguments, said in [(bad, [], "bad:%d: no record of a run as --record writes it\n" % bad.count("\n")),
                                      ("# writes\n", [], "bad:1: no record of a run as --record writes it\n"),
                                      ("", ["--live"], "not with --live\n")]:
            result = self.play("", *arguments, "--expect", self.file("bad", text))
            self.assertEqual((result.returncode, result.stderr.endswith(said)), (2, True), result.stderr)

    def test_two_platforms_differ_in_what_they_write(self):
        sample = json.loads((ROOT / "platforms/sample.json").read_text())
        other = copy.deepcopy(sample)
        next(qos for qos in other["qos"] if qos["name"] == "DDR")["freqToBandwidthCoefficient"] = 0
        next(qos for qos in other["qos"] if qos["name"] == "IPA_TEMP")["name"] = "77"  # a warning, and no more
        first, second = self.file("first.json", sample), self.file("second.json", other)
        script = self.file("script.txt", self.SCRIPT)
        self.assertEqual(run("diff", first, first, "--script", script).stdout, "each of 10 writes is the same\n")
        result = run("diff", first, second, "--script", script)
        self.assertEqual((result.returncode, result.stdout), (1, (
            f"only {first} writes (-), only {second} writes (+):\n"
            "> request 1 500 qos=DDR boost=1244000\n"
            "  - 0.000s  /dev/memory_bandwidth <- bytes c0 4d 00 00 (19904)\n"
            "  + 0.000s  /dev/memory_bandwidth <- 1244000\n"
            "> sleep 1000\n"
            "  - 0.500s  /dev/memory_bandwidth <- bytes f0 19 00 00 (6640)\n"
            "  + 0.500s  /dev/memory_bandwidth <- 415000\n")))

    def test_what_one_of_two_platforms_lacks_is_passed_over(self):
        script = self.file("script.txt", "request 1 0 qos=GPU boost=415000000 as fast\nrelease 1 fast\n")
        for first, second, lacks in [("linux", "sample", "linux"), ("sample", "linux", "linux")]:
            result = run("diff", "platforms/%s.json" % first, "platforms/%s.json" % second, "--script", script)
            self.assertEqual(result.returncode, 1, result.stdout)
            self.assertEqual(result.stderr, "".join("warning: platforms/%s.json: %s:%s; passed over\n" % (lacks, script, said)
                             for said in ('1: request: "GPU" is not the id or name of a resource',
                                          '2: release: "fast" is not a handle, nor the name of one')))
        script = self.file("script.txt", "suspend CPU_X\n")
        result = run("diff", "platforms/sample.json", "platforms/sample.json", "--script", script)
        self.assertEqual(result.returncode, 2)
        self.assertRegex(result.stderr, r"corvanectl: platforms/sample\.json: .*script\.txt:1: suspend: ")

    def test_a_pair_of_level_maps_holds_what_a_frequency_resource_holds(self):
        """The writes of the two are never the same: the one writes maximum, minimum, maximum."""
        levels = {"0": ["300"], "1": ["600"], "2": ["900"]}
        pair = {"qos": [{"id": 10, "name": "FREQ", "groups": [{"nodes": ["/min"], "levels": levels}]},
                        {"id": 11, "name": "MAX", "groups": [{"nodes": ["/max"], "levels": {"0": ["900"]}}]}],
                "hints": [{"name": "FAST", "qos": [{"id": 10, "groups": [{"boost": 2}]}]}]}
        whole = {"qos": [{"id": 10, "name": "FREQ", "freqListNode": None, "groups": [
                     {"availableMin": 300, "availableMax": 900, "nodes": ["/min", "/max"]}]}],
                 "hints": [{"name": "FAST", "qos": [{"id": 10, "groups": [{"boost": 900}]}]}]}
        script = self.file("script.txt", "suspend MAX\nresume MAX\nhint FAST start\nsleep 100\nhint FAST stop\n")
        other = self.file("other.json", json.dumps(whole).replace('"boost": 900', '"boost": 600'))
        pair, whole = self.file("pair.json", pair), self.file("whole.json", whole)
        for options, second, said in [([], whole, "+ 0.000s  /max <- 900"),
                                      (["--held"], whole, "each of 4 values held is the same\n"),
                                      (["--held"], other, "  - 0.000s  /min is at 900\n  + 0.000s  /min is at 600\n")]:
            result = run("diff", pair, second, "--script", script, *options)
            self.assertEqual((result.returncode, said in result.stdout), (0 if "each" in said else 1, True), result.stdout)


class Explain(TemporaryFiles):
    def test_says_who_holds_what_since_when_and_what_waits(self):
        script = self.file("script.txt", """\
request 1 0 qos=CPU_L boost=1401600 as cam
request 7 0 qos=CPU_L limit=1017600 as cap
explain CPU_L
sleep 250
request 2 300 qos=CPU_L limit=1300000
request 3 400 qos=CPU_L boost=1200000 limit=1400000
event 0
mode 6 2 as thermal
mode 6 1
explain CPU_L 0
sleep 300
explain CPU_L
release-all 6
release 7 cap
explain CPU_L
scenario 9 0 as game
explain EAS
suspend GPU CPU_L
sleep 100
suspend CPU_L
request 4 0 qos=CPU_L limit=614400
explain CPU_L
resume CPU_L
explain CPU_L
""")
        result = run("run", "platforms/sample.json", "--sandbox", "--script", script)
        self.assertEqual(result.returncode, 0, result.stderr)
        shown = "".join(line for line in result.stdout.splitlines(True) if " <- " not in line)
        self.assertEqual(shown, golden("explain.golden", shown))

    def test_says_of_every_group_what_the_nodes_are_at(self):
        platform = json.loads((ROOT / "platforms/sample.json").read_text())
        for qos in platform["qos"]:
            result = run("run", "platforms/sample.json", "--sandbox", commands="explain %s\n" % qos["name"])
            nodes = {node for group in qos["groups"] for node in group["nodes"]}
            built = result.returncode == 0
            self.assertEqual(built, bool(nodes), result.stderr)
            self.assertEqual(nodes - set(re.findall(r"^      (/\S+) is at .+$", result.stdout, re.M)), set())
        for bad in ("explain CPU_L 1", "explain 40", "explain no"):
            self.assertEqual(run("run", "platforms/sample.json", "--sandbox", commands=bad).returncode, 2, bad)


class Ends(Processes):
    """Whatever ends a run, the trace is whole and the sandbox gone."""

    def sandbox_run(self, *more):
        self.trace = self.folder / "trace.json"
        return self.start("run", "platforms/sample.json", "--sandbox", "--trace", str(self.trace), *more)

    def assert_in_order(self):
        events = json.loads(self.trace.read_text())["traceEvents"]
        self.assertIn("/dev/memory_bandwidth", [e["name"] for e in events if e["ph"] == "C"])
        self.assertEqual([p.name for p in self.folder.iterdir() if p.name.startswith("corvane-sandbox-")], [])

    def test_by_a_signal_while_it_waits(self):
        for number, command in [(signal.SIGINT, ""), (signal.SIGTERM, "sleep 600000\n"), (signal.SIGHUP, "")]:
            with self.subTest(number):
                process = self.sandbox_run("--live")
                process.stdin.write("request 1 0 qos=DDR boost=2133000\n" + command)
                self.await_line(process, "/dev/memory_bandwidth <- ")
                process.send_signal(number)
                self.assertEqual(process.wait(PATIENCE_S), -number)
                self.assert_in_order()

    def test_by_a_signal_in_the_middle_of_a_script(self):
        script = "request 1 0 qos=DDR boost=2133000\n" + "event 3\nsleep 60000\n" * 100000 + "say not reached\n"
        process = self.sandbox_run("--script", self.file("long.txt", script))
        self.await_line(process, "/dev/memory_bandwidth <- ")
        process.send_signal(signal.SIGINT)
        self.assertNotIn("not reached", process.stdout.read())
        self.assertEqual(process.wait(PATIENCE_S), -signal.SIGINT)
        self.assert_in_order()

    def test_by_a_second_signal_when_a_node_hangs(self):
        process = self.sandbox_run("--live")
        process.stdin.write("node /dev/memory_bandwidth delay 600000\nrequest 1 0 qos=DDR boost=2133000\n")
        self.await_line(process, "ok, handle")
        process.send_signal(signal.SIGINT)
        time.sleep(0.1)  # else the two would be one
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(PATIENCE_S), 128 + signal.SIGTERM)
        self.assertEqual([p for p in self.folder.iterdir() if p.is_dir()], [])

    def test_by_a_reader_who_leaves(self):
        process = self.sandbox_run()
        process.stdin.write("request 1 0 qos=DDR boost=2133000\n")
        self.await_line(process, "/dev/memory_bandwidth <- ")
        process.stdout.close()
        process.stdin.write("dump --task\n")
        self.assertEqual(process.wait(PATIENCE_S), 3)
        self.assertEqual(process.stderr.read(), "corvanectl: standard output cannot be written\n")
        self.assert_in_order()

    def test_with_what_cannot_be_written(self):
        for command in [["check", "platforms/sample.json"], ["run", "platforms/sample.json", "--sandbox"], ["--help"]]:
            with self.subTest(command), open("/dev/full", "w") as full:
                result = subprocess.run([CORVANECTL, *command], cwd=ROOT, input="version\n", stdout=full, text=True,
                                        stderr=subprocess.PIPE, timeout=PATIENCE_S)
                self.assertEqual((result.returncode, result.stderr),
                                 (3, "corvanectl: standard output cannot be written\n"))
        result = run("run", "platforms/sample.json", "--sandbox", "--trace", "/dev/full")
        self.assertEqual((result.returncode, result.stderr), (3, "corvanectl: /dev/full: could not be written whole\n"))
        kept = self.file("kept", "before")
        result = subprocess.run([CORVANECTL, "cpp", "platforms/sample.json", "-o", kept], cwd=ROOT, capture_output=True,
                                text=True, restore_signals=False,
                                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000)))
        self.assertEqual((result.returncode, result.stderr), (3, "corvanectl: %s: could not be written whole\n" % kept))
        self.assertEqual(([p.name for p in self.folder.iterdir()], pathlib.Path(kept).read_text()), (["kept"], "before"))
        result = run("run", "platforms/sample.json", "--sandbox", "--trace", "/no/such/t")
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (3, "", "corvanectl: /no/such/t: cannot be written: No such file or directory\n"))

    def test_nothing_that_is_an_input_or_another_output_is_overwritten(self):
        text = (ROOT / "platforms/sample.json").read_text()
        platform = self.file("platform.json", text)
        (self.folder / "link").symlink_to("platform.json")
        link = str(self.folder / "link")
        new = str(self.folder / "new")
        for command, what in [(["cpp", platform, "-o", platform], "an input"), (["cpp", platform, "-o", link], "an input"),
                              (["run", platform, "--sandbox", "--plot", link], "an input"),
                              (["run", platform, "--sandbox", "--trace", new, "--plot", new], "another output")]:
            result = run(*command)
            self.assertEqual((result.returncode, result.stderr),
                             (2, "corvanectl: %s: would be overwritten, and is %s as well\n" % (command[-1], what)))
        self.assertEqual(pathlib.Path(platform).read_text(), text)
        self.assertEqual(run("cpp", "platforms/sample.json", "-o", link).returncode, 0)
        self.assertEqual((os.path.islink(link), "class SamplePhone" in pathlib.Path(platform).read_text()), (True, True))

    def test_without_an_input_stream(self):
        result = subprocess.run(["sh", "-c", 'exec "$0" run platforms/sample.json --sandbox <&-', CORVANECTL], cwd=ROOT,
                                capture_output=True, timeout=PATIENCE_S)
        self.assertEqual((result.returncode, result.stderr), (0, b""))


class Kernel(Processes):
    """On the nodes of a running kernel, in namespaces of its own: see scripts/in-namespaces."""

    PLATFORM = "platforms/linux.json"
    NODES = {"/proc/sys/kernel/msgmax": "8192\n", "/proc/sys/kernel/msgmnb": "20001\n",
             "/proc/sys/kernel/shmmni": "4000\n", "/sys/class/net/lo/mtu": "65536\n",
             "/proc/sys/net/core/somaxconn": "64\n"}
    BOOST = "request 1 0 qos=QUEUE boost=12000 qos=SEGMENTS boost=32768 qos=LOOPBACK boost=2\n"

    def setUp(self):
        super().setUp()
        self.assertIn("CORVANE_IN_NAMESPACES", os.environ, "run this by scripts/in-namespaces")
        for node, text in self.NODES.items():
            pathlib.Path(node).write_text(text)

    def held(self):
        return {node: pathlib.Path(node).read_text() for node in self.NODES}

    def boosted(self):
        process = self.start("run", self.PLATFORM, "--trace", str(self.folder / "trace.json"))
        process.stdin.write(self.BOOST)
        self.await_line(process, "/proc/sys/net/core/somaxconn <- 64")
        self.assertEqual(list(self.held().values()), ["12000\n", "16384\n", "32768\n", "1500\n", "64\n"])
        return process

    def test_every_end_leaves_every_node_as_it_was(self):
        for end, status in [("EOF", 0), ("quit\n", 0), ("bosot\n", 2), (signal.SIGINT, -signal.SIGINT),
                            (signal.SIGTERM, -signal.SIGTERM), (signal.SIGQUIT, -signal.SIGQUIT)]:
            with self.subTest(end):
                process = self.boosted()
                if isinstance(end, str):
                    process.stdin.write("" if end == "EOF" else end)
                    process.stdin.close()
                else:
                    process.send_signal(end)
                self.assertEqual(process.wait(PATIENCE_S), status)
                self.assertEqual(self.held(), self.NODES)
                self.assertTrue(process.stdout.read().endswith("    left as found: 5 nodes\n"))
                events = json.loads((self.folder / "trace.json").read_text())["traceEvents"]
                mtu = [e["args"]["value"] for e in events if e["ph"] == "C" and e["name"] == "/sys/class/net/lo/mtu"]
                self.assertEqual(mtu[:2], [65536, 1500])

    def test_the_base_and_what_the_kernel_refuses(self):
        result = run("run", self.PLATFORM, commands=self.BOOST + "expect-base\nrequest 1 0 qos=SEGMENTS boost=40000\n")
        self.assertEqual(result.returncode, 1)
        self.assertIn("    /sys/class/net/lo/mtu is at 1500, its base is 65536\n"
                      "    /proc/sys/net/core/somaxconn is at 64, its base is 4096\n"
                      "    4 of 5 nodes are not at their base\n", result.stdout)
        self.assertIn("s  /proc/sys/kernel/shmmni <- 40000: EINVAL\n", result.stdout)
        result = run("run", self.PLATFORM, commands=self.BOOST + "release-all 1\nexpect-base\n")
        self.assertEqual(result.returncode, 0, result.stdout)
        self.assertIn("    each of 5 nodes is at its base\n", result.stdout)
        self.assertEqual(self.held(), self.NODES)

    def test_the_device_is_compared_with_its_description(self):
        self.assertEqual([run("check", "--device", self.PLATFORM, *strict).returncode for strict in ([], ["--strict"])],
                         [0, 1])
        pathlib.Path("/proc/sys/kernel/msgmax").write_text("1000")
        pathlib.Path("/sys/class/net/lo/mtu").write_text("9000")
        platform = json.loads((ROOT / self.PLATFORM).read_text())
        platform["qos"].append({"id": 22, "name": "LACKING", "groups": [
            {"nodes": ["/proc/sys/kernel/osrelease", "/proc/sys/kernel/no_such"], "levels": {"0": ["x", "y"]}}]})
        faulty = self.file("faulty.json", platform)
        faults = ["qos[0].groups[0].nodes[0]: /proc/sys/kernel/msgmax holds 1000, which is outside 1024 .. 1048576",
                  'qos[2].groups[0].nodes[0]: /sys/class/net/lo/mtu holds "9000", which is none of the described texts',
                  "qos[3].groups[0].nodes[0]: /proc/sys/kernel/osrelease cannot be written: Permission denied",
                  'qos[3].groups[0].nodes[0]: /proc/sys/kernel/osrelease holds "%s", which is none of the described texts'
                  % os.uname().release,
                  "qos[3].groups[0].nodes[1]: /proc/sys/kernel/no_such is missing: No such file or directory"]
        checked = run("check", "--device", faulty)
        listed = checked.stdout.splitlines()[6:]
        self.assertEqual((checked.returncode, [line for line in listed if ": warning: " not in line]),
                         (1, [faulty + ":1: " + fault for fault in faults]))
        self.assertIn(faulty + ":1: warning: qos[0].groups[0].nodes[1]: /proc/sys/kernel/msgmnb holds 20001, and its "
                      "base is 16384", listed)
        self.assertEqual(run("run", faulty).stderr, "".join("warning: %s\n" % fault for fault in faults))


if __name__ == "__main__":
    CORVANECTL = os.path.abspath(sys.argv.pop(1))
    if "--record" in sys.argv:
        sys.argv.remove("--record")
        RECORD = True
    unittest.main(verbosity=2)
