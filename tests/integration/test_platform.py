"""kxctl and kxsim end to end, where their unit tests stop: error replies
and time-outs over the real transport, a store edited offline, and two
watchers of one list's events at once, one of them filtered and ending
after its first event."""

import json
import signal
import unittest

import harness

OBJ_ID = "0x08fe0001"
# Slack allowed on a time-out: process start-up under sanitizers on a busy machine.
TIMEOUT_SLACK_S = 4.0
SCENARIO = {"services": {
    "12,1": {"record": {"0x0800000e": 41}, "fault": {"error": ["0xfe0006", "refused by the test"]}},
    "12,2": {"record": {"0x0800000e": 41}, "fault": {"delay_ms": 300}},
    "12,3": {"record": {"0x0800000e": 41}, "fault": {"silent": True}},
    # Events pass a filter on u32 0x10002.
    "20,0": {"events": "0x10004", "list": [{OBJ_ID: 1, "0x20010006": "ether1", "0x08010002": 1},
                                           {OBJ_ID: 2, "0x20010006": "ether2", "0x08010002": 2}]}}}
# kxctl's arguments; its exit status, output and (a part of) its error output.
CALLS = [(["get", "12,1"], 1, "", "error 0xfe0006: refused by the test\n"),
         # A late answer within the time-out is still an answer.
         (["--timeout", "5000", "get", "12,2"], 0, '{"0x0800000e":41}\n', ""),
         (["getobj", "20,0", "99"], 1, "", "error 0xfe0004:"),
         (["get", "77"], 1, "", "error 0xff0101:"),
         (["--timeout", "800", "get", "12,3"], 1, "", "error 0xff0102:")]
STORE = "/sarn/store/snmpd"
# A put merges into the object; an rm of an object the store lacks fails.
# (The rest of the store commands: kxctl's unit test.)
EDITS = [(["store", "put", STORE, "0", "0x20000002=noc", "0x08000010=192.0.2.1"], 0,
          '{"0x08000010":3221225985,"0x20000002":"noc"}\n', ""),
         (["store", "put", STORE, "0", "0x20000002=lab"], 0,
          '{"0x08000010":3221225985,"0x20000002":"lab"}\n', ""),
         (["store", "rm", STORE, "3"], 1, "", "no object 3")]


class PlatformTest(unittest.TestCase):
    def setUp(self):
        self.root = harness.TempRoot()
        self.addCleanup(self.root.cleanup)
        sim = harness.start_kxsim(self.root, self.root.write_json("scenario.json", SCENARIO))
        self.addCleanup(lambda: self.assertEqual(sim.stop(), 0, sim.stderr()))

    def test_error_replies_time_outs_and_store_edits(self):
        for args, status, out, err in EDITS + CALLS:
            with self.subTest(args=args):
                r = harness.kxctl(self.root, *args)
                self.assertEqual((r.returncode, r.stdout.replace(" ", "")), (status, out))
                self.assertIn(err, r.stderr)
        # The silent service: kxctl waits for its time-out, and not much longer.
        self.assertGreaterEqual(r.elapsed, 0.75)
        self.assertLess(r.elapsed, 0.8 + TIMEOUT_SLACK_S)

    def test_two_watchers_one_filtered_and_counted(self):
        everything = harness.start_kxctl_watch(self.root, "20,0", "0x10004", name="watch-all")
        self.addCleanup(everything.__exit__, None, None, None)
        only_two = harness.start_kxctl_watch(self.root, "20,0", "0x10004", "value=2", "--count", "1",
                                             name="watch-two")
        self.addCleanup(only_two.__exit__, None, None, None)
        harness.kxctl_json(self.root, "setobj", "20,0", "1", "0x20010006=uplink")
        harness.kxctl_json(self.root, "setobj", "20,0", "2", "0x20010006=lan")

        lines = harness.wait_until(lambda: len(everything.stdout_lines()) >= 2 and
                                   everything.stdout_lines(), what="two events")
        first, second = (json.loads(line) for line in lines[:2])
        self.assertEqual((first[OBJ_ID], first["0x20010006"], first["0x08ff0007"],
                          first["0x88ff0002"]), (1, "uplink", 0x10004, [20, 0]))
        self.assertEqual(second[OBJ_ID], 2)
        harness.wait_until(lambda: not only_two.alive(), what="watch --count 1 to end")
        self.assertEqual(only_two.stop(), 0, only_two.stderr())
        self.assertEqual([json.loads(line)["0x20010006"] for line in only_two.stdout_lines()],
                         ["lan"])
        self.assertEqual(everything.stop(signal.SIGINT), 0, everything.stderr())
        self.assertEqual(len(everything.stdout_lines()), 2)


if __name__ == "__main__":
    unittest.main()
