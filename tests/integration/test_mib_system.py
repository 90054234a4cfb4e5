"""The system group, host resources and the enterprise software, reboot,
script and address groups, read and written with net-snmp's tools against
snmpd and kxsim serving the example router; faults of the router's services
and what the agent answers then."""

import calendar
import json
import os
import subprocess
import time
import unittest

import harness

SETTINGS_STORE = "/sarn/store/snmpd"
READ_COMMUNITY = "harbor"
WRITE_COMMUNITY = "private"
# Every key of the agent's settings object, the service on.
AGENT_SETTINGS = ["0x20000004=harbor", "0x20000002=noc@edge-1.example",
                  "0x20000003=rack 4, branch office", "0x2000000a=", "0x0800000e=15",
                  "0x08000010=0.0.0.0", "0x08000012=0", "0x08000011=4294967295",
                  "0x88000013=[]", "0x0800000d=0", "0x00000001=true"]
# The agent waits 6 s for a silent service; a client must outwait it.
SNMP_TIMEOUT_S = 10
# Numeric OIDs, numeric enums, every octet string in hex.
OUTPUT = ["-On", "-Oe", "-Ox"]

SYSTEM = "1.3.6.1.2.1.1"
HR = "1.3.6.1.2.1.25"
ENTERPRISE = "1.3.6.1.4.1.32473.1.1"


def example_scenario():
    with open(os.path.join(harness.source_dir(), "examples", "router.json")) as f:
        return json.load(f)


def record(scenario, path):
    return scenario["services"][path]["record"]


def objects(scenario, path):
    return scenario["services"][path]["list"]


def mac_bytes(text):
    return bytes.fromhex(text.replace(":", ""))


def u32(value):
    """A scenario u32 (number or dotted quad) as a number."""
    if isinstance(value, str):
        a, b, c, d = (int(x) for x in value.split("."))
        return (a << 24) | (b << 16) | (c << 8) | d
    return value


def fixed(value):
    """A scenario number, also when written as a value that does not move."""
    if isinstance(value, dict):
        if value.get("rate", 0) != 0 or "base" not in value:
            raise ValueError("not a fixed value: %r" % (value,))
        return value["base"]
    return value


def dotted(value):
    v = u32(value)
    return "%d.%d.%d.%d" % (v >> 24, (v >> 16) & 255, (v >> 8) & 255, v & 255)


def as_int32(v):
    v &= 0xffffffff
    return v - (1 << 32) if v & 0x80000000 else v


def parse_value(text):
    """One value as net-snmp prints it with OUTPUT: (type, python value)."""
    if text == '""':
        return ("STRING", b"")
    kind, _, rest = text.partition(": ")
    rest = rest.strip()
    if kind in ("Hex-STRING", "STRING"):
        return ("STRING", bytes.fromhex(rest.replace(" ", "").replace("\n", "")))
    if kind == "Timeticks":
        return ("Timeticks", int(rest[rest.index("(") + 1:rest.index(")")]))
    if kind in ("INTEGER", "Counter32", "Gauge32", "Counter64"):
        return (kind, int(rest))
    if kind == "OID":
        return ("OID", rest.lstrip("."))
    if kind == "IpAddress":
        return ("IpAddress", rest)
    return (kind, rest)


def parse_bindings(output):
    """Lines ".OID = TYPE: value" (hex strings may go on over several
    lines) as an ordered list of (oid, (type, value))."""
    bindings = []
    for line in output.split("\n"):
        if line.startswith("."):
            name, _, value = line.partition(" = ")
            bindings.append([name.lstrip("."), value])
        elif bindings and line.strip() and not line.startswith("End of MIB"):
            bindings[-1][1] += " " + line.strip()
    return [(name, parse_value(value.strip())) for name, value in bindings]


def boot_seconds():
    with open("/proc/uptime") as f:
        return float(f.read().split()[0])


class MibAgent:
    """kxsim serving a scenario (with a journal) and snmpd on a free port
    under one temporary root, the agent's process in UTC.  The read
    community is the agent's default; a write community is added over the
    bus.  Stop it with stop() or a with-block."""

    def __init__(self, scenario):
        self.root = harness.TempRoot(prefix="sarn-mib-")
        self.port = harness.free_port()
        self.journal_path = self.root.file("journal")
        self.sim = None
        self.agent = None
        try:
            path = self.root.write_json("scenario.json", scenario)
            self.sim = harness.start_kxsim(self.root, path, journal=self.journal_path)
            harness.kxctl_json(self.root, "store", "put", SETTINGS_STORE, "0", *AGENT_SETTINGS)
            env = dict(os.environ, TZ="UTC")
            self.agent = harness.Process([harness.program(harness.SNMPD), "--root",
                                          self.root.path, "--port", str(self.port)],
                                         self.root.path, "snmpd", env=env)
            harness.wait_until(lambda: self.answers(SYSTEM + ".1.0"),
                               what="snmpd to answer on port %d" % self.port)
            harness.kxctl_json(self.root, "add", "34,1", "0x20000005=" + WRITE_COMMUNITY,
                               "0x00000006=true", "0x00000007=true")
        except BaseException:
            self.stop()
            raise

    def answers(self, oid):
        if not self.agent.alive():
            raise AssertionError("snmpd ended: %s" % self.agent.stderr())
        return self.run("snmpget", [oid], timeout=1).returncode == 0

    def run(self, tool, args, community=READ_COMMUNITY, version="2c", timeout=SNMP_TIMEOUT_S):
        cmd = [tool, "-v", version, "-c", community, "-t", str(timeout), "-r", "0"] + OUTPUT
        cmd += ["127.0.0.1:%d" % self.port] + list(args)
        return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              stdin=subprocess.DEVNULL, timeout=timeout + 20,
                              universal_newlines=True)

    def get(self, *oids, version="2c"):
        """{oid: (type, value)}; raises with the tool's output on an error."""
        done = self.run("snmpget", oids, version=version)
        if done.returncode != 0:
            raise AssertionError("snmpget %s: %s%s" % (oids, done.stdout, done.stderr))
        return dict(parse_bindings(done.stdout))

    def get_error(self, oid, version="2c"):
        """The error text of a GET that must fail."""
        done = self.run("snmpget", [oid], version=version)
        return done.stdout + done.stderr

    def walk(self, oid):
        done = self.run("snmpwalk", [oid])
        if done.returncode != 0:
            raise AssertionError("snmpwalk %s: %s%s" % (oid, done.stdout, done.stderr))
        return parse_bindings(done.stdout)

    def set(self, oid, kind, value, community=WRITE_COMMUNITY, version="2c",
            timeout=SNMP_TIMEOUT_S):
        return self.run("snmpset", [oid, kind, str(value)], community=community,
                        version=version, timeout=timeout)

    def journal(self):
        """The requests kxsim received so far, without the sender path."""
        entries = []
        with open(self.journal_path) as f:
            for line in f:
                m = json.loads(line)
                m.pop("0x88ff0002", None)
                entries.append(m)
        return entries

    def stop(self):
        for proc in (self.agent, self.sim):
            if proc is not None and proc.returncode is None:
                proc.stop()
        self.root.cleanup()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.stop()


def date_seconds(date):
    """The calendar part of a DateAndTime, read as UTC."""
    year = date[0] * 256 + date[1]
    return calendar.timegm((year, date[2], date[3], date[4], date[5], date[6], 0, 0, 0))


class ExampleRouterTest(unittest.TestCase):
    """Every object of these groups, value by value against the example."""

    @classmethod
    def setUpClass(cls):
        cls.scenario = example_scenario()
        cls.router = MibAgent(cls.scenario)

    @classmethod
    def tearDownClass(cls):
        cls.router.stop()

    def walk(self, oid):
        return self.router.walk(oid)

    def test_system_group(self):
        before = boot_seconds()
        got = self.walk(SYSTEM)
        after = boot_seconds()
        self.assertEqual([oid for oid, _ in got], [SYSTEM + ".%d.0" % i for i in range(1, 8)])
        values = dict(got)
        self.assertEqual(values[SYSTEM + ".1.0"], ("STRING", b"router"))
        self.assertEqual(values[SYSTEM + ".2.0"], ("OID", "1.3.6.1.4.1.32473.1"))
        kind, ticks = values[SYSTEM + ".3.0"]
        self.assertEqual(kind, "Timeticks")
        # The router reports whole seconds; the agent shows hundredths.  A
        # record may have been cached for up to two seconds.
        self.assertEqual(ticks % 100, 0)
        self.assertLessEqual(int(before) * 100 - 300, ticks)
        self.assertLessEqual(ticks, int(after) * 100 + 100)
        self.assertEqual(values[SYSTEM + ".4.0"], ("STRING", b"noc@edge-1.example"))
        self.assertEqual(values[SYSTEM + ".5.0"],
                         ("STRING", record(self.scenario, "24,1")["0x2000000c"].encode()))
        self.assertEqual(values[SYSTEM + ".6.0"], ("STRING", b"rack 4, branch office"))
        self.assertEqual(values[SYSTEM + ".7.0"], ("INTEGER", 78))

    def test_host_resources(self):
        res = record(self.scenario, "24,2")
        mem_total, mem_free = fixed(res["0x08000002"]), fixed(res["0x08000003"])
        disk_total, disk_free = fixed(res["0x0800000a"]), fixed(res["0x0800000b"])
        mem_used, disk_used = mem_total - mem_free, disk_total - disk_free
        load = fixed(res["0x08000006"])
        offset = as_int32(record(self.scenario, "24,0")["0x0800001b"])

        before = time.time()
        got = self.walk(HR)
        after = time.time()
        values = dict(got)

        kind, ticks = values[HR + ".1.1.0"]
        self.assertEqual(kind, "Timeticks")
        self.assertLessEqual(abs(ticks - boot_seconds() * 100), 400)
        kind, date = values[HR + ".1.2.0"]
        self.assertEqual(len(date), 11)
        self.assertLessEqual(int(before) - 1, date_seconds(date))
        self.assertLessEqual(date_seconds(date), after + 1)
        self.assertEqual(date[7], 0)
        sign = b"-" if offset < 0 else b"+"
        self.assertEqual(date[8:], sign + bytes([abs(offset) // 3600, abs(offset) // 60 % 60]))

        entry, device = HR + ".2.3.1.", HR + ".3."
        expected = [
            (HR + ".2.2.0", ("INTEGER", mem_total)),
            (entry + "1.1", ("INTEGER", 1)), (entry + "1.2", ("INTEGER", 2)),
            (entry + "2.1", ("OID", "1.3.6.1.2.1.25.2.1.4")),
            (entry + "2.2", ("OID", "1.3.6.1.2.1.25.2.1.1")),
            (entry + "3.1", ("STRING", b"disk")), (entry + "3.2", ("STRING", b"main memory")),
            (entry + "4.1", ("INTEGER", 1024)), (entry + "4.2", ("INTEGER", 1024)),
            (entry + "5.1", ("INTEGER", disk_total)), (entry + "5.2", ("INTEGER", mem_total)),
            (entry + "6.1", ("INTEGER", disk_used)), (entry + "6.2", ("INTEGER", mem_used)),
            (entry + "7.1", ("Counter32", 0)), (entry + "7.2", ("Counter32", 0)),
            (device + "2.1.1.1", ("INTEGER", 1)),
            (device + "2.1.2.1", ("OID", "1.3.6.1.2.1.25.3.1.3")),
            (device + "3.1.2.1", ("INTEGER", load)),
        ]
        self.assertEqual(got[2:], expected)
        self.assertEqual([oid for oid, _ in got[:2]], [HR + ".1.1.0", HR + ".1.2.0"])

    def test_software_and_reboot_control(self):
        sw = record(self.scenario, "65")
        got = self.router.get(*[ENTERPRISE + s for s in
                                (".4.1.0", ".4.2.0", ".4.3.0", ".4.4.0", ".4.5.0", ".7.1.0")])
        self.assertEqual(got[ENTERPRISE + ".4.1.0"], ("STRING", sw["0x20000001"].encode()))
        # Always 1970-01-01 00:01:07 local time (the agent runs in UTC here).
        self.assertEqual(got[ENTERPRISE + ".4.2.0"],
                         ("STRING", bytes([0x07, 0xb2, 1, 1, 0, 1, 7, 0])))
        self.assertEqual(got[ENTERPRISE + ".4.3.0"], ("INTEGER", fixed(sw["0x08000004"])))
        self.assertEqual(got[ENTERPRISE + ".4.4.0"], ("STRING", os.uname().release.encode()))
        self.assertEqual(got[ENTERPRISE + ".4.5.0"], ("INTEGER", fixed(sw["0x08000009"]) + 1))
        self.assertEqual(got[ENTERPRISE + ".7.1.0"], ("INTEGER", 0))

    def test_script_and_address_tables(self):
        scripts = objects(self.scenario, "48,101")
        expected = [(ENTERPRISE + ".8.1.1.2.%d" % s["0x08fe0001"],
                     ("STRING", s["0x20000066"].encode())) for s in scripts]
        expected += [(ENTERPRISE + ".8.1.1.3.%d" % s["0x08fe0001"], ("INTEGER", 0))
                     for s in scripts]
        self.assertEqual(self.walk(ENTERPRISE + ".8"), expected)

        addresses = objects(self.scenario, "10,1")
        columns = [("IpAddress", lambda a: dotted(a["0x08000001"])),
                   ("STRING", lambda a: mac_bytes(a["0x30000002"])),
                   ("STRING", lambda a: a["0x20000007"].encode()),
                   ("STRING", lambda a: a["0x20000008"].encode()),
                   ("STRING", lambda a: a["0x20000006"].encode()),
                   ("STRING", lambda a: a["0x2000000b"].encode())]
        expected = []
        for column, (kind, value) in enumerate(columns, start=2):
            expected += [(ENTERPRISE + ".11.1.1.%d.%d" % (column, a["0x08fe0001"]),
                          (kind, value(a))) for a in addresses]
        self.assertEqual(self.walk(ENTERPRISE + ".11"), expected)

    def test_v1_reads_and_misses(self):
        got = self.router.get(SYSTEM + ".1.0", SYSTEM + ".7.0", version="1")
        self.assertEqual(got[SYSTEM + ".7.0"], ("INTEGER", 78))
        # No column 1 in the script table, and scalars have only instance 0.
        for oid in (ENTERPRISE + ".8.1.1.1.1", SYSTEM + ".1.1", ENTERPRISE + ".11.1.1.2.99"):
            self.assertIn("noSuchName", self.router.get_error(oid, version="1"), oid)
            self.assertIn("noSuchName", self.router.get_error(oid), oid)


class SetTest(unittest.TestCase):
    """SETs and the bus messages they become, seen in kxsim's journal."""

    def setUp(self):
        self.router = MibAgent(example_scenario())

    def tearDown(self):
        self.router.stop()

    def sent(self, since, command=None):
        entries = self.router.journal()[since:]
        return [m for m in entries if command is None or m.get("0x08ff0007") == command]

    def assertSet(self, oid, kind, value):
        done = self.router.set(oid, kind, value)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return dict(parse_bindings(done.stdout))[oid]

    def test_sys_name_goes_to_the_identity_service(self):
        mark = len(self.router.journal())
        self.assertEqual(self.assertSet(SYSTEM + ".5.0", "s", "core-7"), ("STRING", b"core-7"))
        self.assertEqual(self.sent(mark, 0xfe000e),
                         [{"0x08ff0007": 0xfe000e, "0x88ff0001": [24, 1],
                           "0x2000000c": "core-7"}])
        self.assertIn("Ident::reverseBuild\n", self.router.agent.stderr())
        # The service took it: a fresh agent read shows the new name.
        self.assertEqual(harness.kxctl_json(self.router.root, "get", "24,1")["0x2000000c"],
                         "core-7")

    def test_reboot_control_zero_only_sets_and_one_reboots(self):
        oid = ENTERPRISE + ".7.1.0"
        mark = len(self.router.journal())
        self.assertSet(oid, "i", 0)
        sent = self.sent(mark)
        self.assertNotIn(5, [m["0x08ff0007"] for m in sent])
        self.assertEqual([m for m in sent if m["0x08ff0007"] == 0xfe000e],
                         [{"0x08ff0007": 0xfe000e, "0x88ff0001": [24, 2]}])

        mark = len(self.router.journal())
        self.assertEqual(self.assertSet(oid, "i", 1), ("INTEGER", 1))
        sent = [m for m in self.sent(mark) if m["0x08ff0007"] in (5, 0xfe000e)]
        self.assertEqual(sent, [{"0x08ff0007": 5, "0x88ff0001": [24]},
                                {"0x08ff0007": 0xfe000e, "0x88ff0001": [24, 2]}])
        self.assertIn("TheSystem::REBOOT\n", self.router.agent.stderr())

    def test_script_rename_and_run(self):
        name = ENTERPRISE + ".8.1.1.2.2"
        mark = len(self.router.journal())
        self.assertEqual(self.assertSet(name, "s", "wipe-guests"), ("STRING", b"wipe-guests"))
        self.assertEqual(self.sent(mark, 0xfe0003),
                         [{"0x08ff0007": 0xfe0003, "0x88ff0001": [48, 101],
                           "0x08fe0001": 2, "0x20000066": "wipe-guests"}])

        mark = len(self.router.journal())
        self.assertSet(ENTERPRISE + ".8.1.1.3.1", "i", 1)
        self.assertEqual(self.sent(mark, 1),
                         [{"0x08ff0007": 1, "0x88ff0001": [48, 101], "0x08fe0001": 1}])
        self.assertEqual(self.sent(mark, 0xfe0003), [])
        self.assertIn("Run, FOREST, run!\n", self.router.agent.stderr())

    def test_contact_location_and_missing_rows_are_not_writable(self):
        mark = len(self.router.journal())
        for oid in (SYSTEM + ".4.0", SYSTEM + ".6.0", ENTERPRISE + ".8.1.1.2.99"):
            done = self.router.set(oid, "s", "x")
            self.assertIn("noSuchName", done.stdout + done.stderr, oid)
        self.assertEqual(self.sent(mark, 0xfe000e) + self.sent(mark, 0xfe0003), [])
        got = self.router.get(SYSTEM + ".4.0", SYSTEM + ".6.0")
        self.assertEqual(got[SYSTEM + ".4.0"], ("STRING", b"noc@edge-1.example"))
        # A read-only community cannot write at all.
        done = self.router.set(SYSTEM + ".5.0", "s", "x", community=READ_COMMUNITY,
                               timeout=1)
        self.assertNotEqual(done.returncode, 0)
        self.assertEqual(self.sent(mark, 0xfe000e), [])


class FaultTest(unittest.TestCase):
    """Services that refuse or stay silent: default records, missing rows,
    and the agent still answering afterwards."""

    def test_refusing_and_silent_services(self):
        scenario = example_scenario()
        services = scenario["services"]
        refuse = {"error": ["0xfe0006", "refused by the simulator"]}
        services["24,1"]["fault"] = refuse
        services["10,1"]["fault"] = refuse
        services["65"]["fault"] = {"silent": True}
        # More free than total: the used figures wrap.
        services["24,2"]["record"].update({"0x08000002": 1000, "0x08000003": 1500,
                                           "0x0800000a": 0, "0x0800000b": 1})
        with MibAgent(scenario) as router:
            # An unreachable settings record is served as its defaults.
            self.assertEqual(router.get(SYSTEM + ".5.0")[SYSTEM + ".5.0"], ("STRING", b""))
            self.assertIn("GetProvider::getData error: refused by the simulator\n",
                          router.agent.stderr())
            # An unreadable list has no rows.
            self.assertIn("noSuchName", router.get_error(ENTERPRISE + ".11.1.1.2.1"))
            nxt = router.run("snmpgetnext", [ENTERPRISE + ".11"])
            self.assertNotIn(ENTERPRISE + ".11.", nxt.stdout)

            started = time.monotonic()
            got = router.get(ENTERPRISE + ".4.1.0", ENTERPRISE + ".4.2.0",
                             ENTERPRISE + ".4.5.0")
            self.assertGreaterEqual(time.monotonic() - started, 5)
            self.assertEqual(got[ENTERPRISE + ".4.1.0"], ("STRING", b""))
            self.assertEqual(got[ENTERPRISE + ".4.2.0"],
                             ("STRING", bytes([0x07, 0xb2, 1, 1, 0, 1, 7, 0])))
            self.assertEqual(got[ENTERPRISE + ".4.5.0"], ("INTEGER", 1))

            # The agent goes on answering the rest.
            entry = HR + ".2.3.1."
            got = router.get(SYSTEM + ".1.0", entry + "6.1", entry + "6.2", HR + ".2.2.0")
            self.assertEqual(got[SYSTEM + ".1.0"], ("STRING", b"router"))
            self.assertEqual(got[entry + "6.1"], ("INTEGER", -1))
            self.assertEqual(got[entry + "6.2"], ("INTEGER", -500))
            self.assertEqual(got[HR + ".2.2.0"], ("INTEGER", 1000))


if __name__ == "__main__":
    unittest.main()
