"""The platform end to end: kxsim serves scenarios, kxctl reads and changes
them over the bus, watches events, meets faulty and silent services, and
edits stores offline."""

import json
import os
import signal
import time
import unittest

import harness

TYPE_MASK = 0xF8000000
ARRAY_BIT = 0x80000000
T_U32, T_U64, T_MESSAGE, T_RAW = 0x08000000, 0x10000000, 0x28000000, 0x30000000

OBJ_ID = "0x08fe0001"
EVENT_KIND = 0x10004
# Slack allowed on a time-out: process start-up under sanitizers on a busy machine.
TIMEOUT_SLACK_S = 4.0


def dotted_quad(text):
    parts = text.split(".")
    if len(parts) != 4:
        return None
    value = 0
    for p in parts:
        if not p.isdigit() or int(p) > 255:
            return None
        value = value << 8 | int(p)
    return value


def check_value(test, where, key, expected, actual):
    """Compares one field as kxctl prints it with its value in a scenario."""
    ktype = key & TYPE_MASK
    if ktype & ARRAY_BIT:
        test.assertIsInstance(actual, list, where)
        test.assertEqual(len(actual), len(expected), where)
        for i, (e, a) in enumerate(zip(expected, actual)):
            check_value(test, "%s[%d]" % (where, i), key & ~ARRAY_BIT, e, a)
        return
    if isinstance(expected, dict) and "base" in expected:
        width = 2 ** 32 if ktype == T_U32 else 2 ** 64
        test.assertIsInstance(actual, int, where)
        test.assertTrue(0 <= actual < width, where)
        if expected.get("rate", 0) == 0:
            test.assertEqual(actual, expected["base"] % width, where)
        elif ktype == T_U64:
            test.assertGreaterEqual(actual, expected["base"], where + " is a growing counter")
        return
    if isinstance(expected, dict) and "clock" in expected:
        test.assertIsInstance(actual, int, where)
        if expected["clock"] == "epoch":
            test.assertLess(abs(actual - time.time()), 120, where + " follows the wall clock")
        return
    if ktype == T_MESSAGE:
        check_object(test, where, expected, actual)
    elif ktype == T_U32 and isinstance(expected, str):
        quad = dotted_quad(expected)
        test.assertEqual(actual, quad if quad is not None else int(expected, 0), where)
    elif ktype == T_RAW:
        test.assertEqual(actual.replace(":", "").lower(), expected.replace(":", "").lower(),
                         where)
    else:
        test.assertEqual(actual, expected, where)


def check_object(test, where, expected, actual):
    """Every field of the scenario object is in the printed one, with its value."""
    test.assertIsInstance(actual, dict, where)
    printed = {int(k, 16): v for k, v in actual.items()}
    for k, v in expected.items():
        key = int(k, 16)
        test.assertIn(key, printed, "%s: field %s missing in %s" % (where, k, actual))
        check_value(test, "%s.%s" % (where, k), key, v, printed[key])


def object_id(obj):
    for k, v in obj.items():
        if int(k, 16) == int(OBJ_ID, 16):
            return v
    return None


class Platform(unittest.TestCase):
    def setUp(self):
        self.root = harness.TempRoot()
        self.addCleanup(self.root.cleanup)

    def serve(self, scenario, name="scenario.json"):
        """Starts kxsim on a scenario (a dict, or the path of a file)."""
        path = scenario if isinstance(scenario, str) else self.root.write_json(name, scenario)
        sim = harness.start_kxsim(self.root, path)
        self.addCleanup(self.stop_cleanly, sim)
        return sim

    def stop_cleanly(self, proc):
        status = proc.stop()
        self.assertEqual(status, 0, "%s did not exit cleanly: %s" % (proc.name, proc.stderr()))

    def check_scenario(self, doc):
        """Reads every record and list of a scenario with kxctl and compares."""
        checked = 0
        for path, service in doc["services"].items():
            if "fault" in service:
                continue
            if "record" in service:
                got = harness.kxctl_json(self.root, "get", path)
                check_object(self, "get " + path, service["record"], got)
                checked += 1
            elif "list" in service:
                got = harness.kxctl_json(self.root, "getall", path)
                self.assertIsInstance(got, list, "getall " + path)
                plain = [o for o in service["list"] if "repeat" not in o]
                rows = sum(o["repeat"]["count"] for o in service["list"] if "repeat" in o)
                self.assertEqual(len(got), len(plain) + rows, "getall " + path)
                ids = [object_id(o) for o in got]
                self.assertEqual(ids, sorted(ids), "getall %s lists ids in order" % path)
                by_id = {object_id(o): o for o in got}
                for i, expected in enumerate(plain):
                    oid = object_id(expected)
                    if oid is None:
                        continue
                    self.assertIn(oid, by_id, "getall %s: object %s missing" % (path, oid))
                    check_object(self, "getall %s[%d]" % (path, i), expected, by_id[oid])
                if service.get("count", True):
                    count = harness.kxctl_json(self.root, "count", path)
                    self.assertEqual(count.get("0x08fe0014"), len(got), "count " + path)
                checked += 1
        return checked

    def test_every_service_of_the_router_example_reads_back_as_written(self):
        path = os.path.join(harness.source_dir(), "examples", "router.json")
        with open(path) as f:
            doc = json.load(f)
        self.serve(path)
        self.assertGreater(self.check_scenario(doc), 5)
        # Pages of 4 objects: the interface list needs two get-all requests.
        got = harness.kxctl_json(self.root, "getall", "20,0", "--page", "2")
        self.assertEqual(len(got), len(doc["services"]["20,0"]["list"]))

    def test_value_forms_of_every_type_read_back(self):
        doc = {"services": {
            "60,1": {"record": {
                "0x20000002": "caf\u00e9 \"quoted\"", "0x08000010": "192.0.2.1",
                "0x08000011": 4294967295, "0x10000003": 18446744073709551615,
                "0x00000001": True, "0x00000002": False, "0x300003e9": "4c:5e:0c:00:00:01",
                "0x88000013": [0, 1, 180092929], "0xa0000004": ["a", ""],
                "0x28000020": {"0x08000001": 5, "0x20000002": "inner"},
                "0xa8000021": [{"0x08000001": 1}, {"0x08000001": 2}],
                "0x08000006": {"base": 7, "rate": 0}}},
            "60,2": {"list": [{"0x20000002": "no id given"}, {OBJ_ID: 7, "0x20000002": "seven"}]},
        }}
        self.serve(doc)
        self.assertEqual(self.check_scenario(doc), 2)

    def test_the_ten_thousand_row_lists_of_the_scale_example_page_completely(self):
        rows = 10000
        self.serve(os.path.join(harness.source_dir(), "examples", "scale.json"))
        count = harness.kxctl_json(self.root, "count", "20,0")
        self.assertEqual(count["0x08fe0014"], rows)
        for extra in ([], ["--page", "997"]):
            got = harness.kxctl_json(self.root, "getall", "20,0", *extra, timeout=120)
            self.assertEqual(len(got), rows)
            self.assertEqual([o[OBJ_ID] for o in got], list(range(1, rows + 1)))
            self.assertEqual(got[0]["0x20010006"], "ether1")
            self.assertEqual(got[-1]["0x20010006"], "ether%d" % rows)
            self.assertEqual(got[-1]["0x300003e9"], "02:00:00:00:27:10")
        addresses = harness.kxctl_json(self.root, "getall", "20,1", timeout=120)
        self.assertEqual(len(addresses), rows)
        first = dotted_quad("10.0.0.1")
        self.assertEqual([a["0x08000001"] for a in addresses],
                         [first + 4 * k for k in range(rows)])

    def test_watch_prints_the_event_of_a_change(self):
        doc = {"services": {"20,0": {"events": "0x10004", "list": [
            {OBJ_ID: 1, "0x20010006": "ether1", "0x08010002": 1},
            {OBJ_ID: 2, "0x20010006": "ether2", "0x08010002": 2}]}}}
        self.serve(doc)
        everything = harness.start_kxctl_watch(self.root, "20,0", "0x10004", name="watch-all")
        self.addCleanup(everything.__exit__, None, None, None)
        # Two watchers at once: each kxctl is a bus service of its own.  The
        # second passes object 2 only and ends after its first event.
        only_two = harness.start_kxctl_watch(self.root, "20,0", "0x10004", "value=2",
                                             "--count", "1", name="watch-two")
        self.addCleanup(only_two.__exit__, None, None, None)

        harness.kxctl_json(self.root, "setobj", "20,0", "1", "0x20010006=uplink")
        harness.kxctl_json(self.root, "setobj", "20,0", "2", "0x20010006=lan")

        lines = harness.wait_until(lambda: len(everything.stdout_lines()) >= 2 and
                                   everything.stdout_lines(), what="two events")
        first, second = (json.loads(line) for line in lines[:2])
        self.assertEqual((first[OBJ_ID], first["0x20010006"], first["0x08ff0007"],
                          first["0x88ff0002"]), (1, "uplink", EVENT_KIND, [20, 0]))
        self.assertEqual(second[OBJ_ID], 2)

        harness.wait_until(lambda: not only_two.alive(), what="watch --count 1 to end")
        self.assertEqual(only_two.stop(), 0, only_two.stderr())
        [filtered] = only_two.stdout_lines()
        self.assertEqual(json.loads(filtered)[OBJ_ID], 2)
        self.assertEqual(json.loads(filtered)["0x20010006"], "lan")

        self.assertEqual(everything.stop(signal.SIGINT), 0, everything.stderr())
        self.assertEqual(len(everything.stdout_lines()), 2)

    def test_error_replies_print_their_code_and_text(self):
        self.serve({"services": {
            "12,1": {"record": {"0x0800000e": 41},
                     "fault": {"error": ["0xfe0006", "refused by the test"]}},
            "12,2": {"record": {"0x0800000e": 41}, "fault": {"delay_ms": 300}},
            "20,0": {"list": [{OBJ_ID: 1}]}}})
        r = harness.kxctl(self.root, "get", "12,1")
        self.assertEqual(r.returncode, 1, r)
        self.assertIn("error 0xfe0006: refused by the test", r.stderr)
        self.assertEqual(r.stdout, "")

        # A late answer within the time-out is still an answer.
        self.assertEqual(harness.kxctl_json(self.root, "--timeout", "5000", "get", "12,2"),
                         {"0x0800000e": 41})

        r = harness.kxctl(self.root, "getobj", "20,0", "99")
        self.assertEqual(r.returncode, 1, r)
        self.assertIn("error 0xfe0004:", r.stderr)

        r = harness.kxctl(self.root, "get", "77")
        self.assertEqual(r.returncode, 1, r)
        self.assertIn("error 0xff0101:", r.stderr)

    def test_a_silent_service_times_out_within_the_time_out(self):
        self.serve({"services": {"12,1": {"record": {"0x0800000e": 41},
                                          "fault": {"silent": True}}}})
        r = harness.kxctl(self.root, "--timeout", "800", "get", "12,1", timeout=30)
        self.assertEqual(r.returncode, 1, r)
        self.assertIn("error 0xff0102:", r.stderr)
        self.assertGreaterEqual(r.elapsed, 0.75, "kxctl must wait for the time-out")
        self.assertLess(r.elapsed, 0.8 + TIMEOUT_SLACK_S, "and not much longer")

    def test_store_put_dump_rm_round_trip_offline(self):
        store = "/sarn/store/snmpd"
        put = harness.kxctl_json(self.root, "store", "put", store, "0", "0x00000001=true",
                                 "0x20000002=noc", "0x08000010=192.0.2.1",
                                 "0x88000013=[1,180092929]")
        self.assertEqual(put["0x08000010"], 0xC0000201)
        harness.kxctl_json(self.root, "store", "put", store, "0", "0x20000002=lab")
        harness.kxctl_json(self.root, "store", "put", store, "3", "0x20000005=public")

        dump = harness.kxctl_json(self.root, "store", "dump", store)
        self.assertEqual(sorted(dump), ["0", "3"])
        self.assertEqual(dump["0"], {"0x00000001": True, "0x20000002": "lab",
                                     "0x08000010": 0xC0000201,
                                     "0x88000013": [1, 180092929]})
        self.assertEqual(dump["3"], {"0x20000005": "public"})
        self.assertTrue(os.path.isdir(os.path.join(self.root.path, "sarn/store/snmpd")),
                        "the store lives below the root")

        self.assertEqual(harness.kxctl(self.root, "store", "rm", store, "0").returncode, 0)
        self.assertEqual(harness.kxctl_json(self.root, "store", "dump", store), {"3": {
            "0x20000005": "public"}})
        r = harness.kxctl(self.root, "store", "rm", store, "0")
        self.assertEqual(r.returncode, 1, r)
        self.assertIn("no object 0", r.stderr)


if __name__ == "__main__":
    unittest.main(verbosity=2)
