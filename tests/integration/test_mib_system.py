"""The system group, host resources and the enterprise software, reboot,
script and address groups, read and written with net-snmp's tools against
snmpd and kxsim serving the example router; the enterprise MIB module, clean
and naming every enterprise object; faults of the router's services (these
and the interface, bridge and health ones) and what the agent answers
then."""

import calendar
import os
import re
import subprocess
import time
import unittest

import harness
from harness import fixed, mac_bytes, objects, record

WRITE_COMMUNITY = "private"
# Every key of the agent's settings object, the service on.
AGENT_SETTINGS = ["0x20000004=harbor", "0x20000002=noc@edge-1.example",
                  "0x20000003=rack 4, branch office", "0x2000000a=", "0x0800000e=15",
                  "0x08000010=0.0.0.0", "0x08000012=0", "0x08000011=4294967295",
                  "0x88000013=[]", "0x0800000d=0", "0x00000001=true"]

SYSTEM = "1.3.6.1.2.1.1"
HR = "1.3.6.1.2.1.25"
ENTERPRISE = "1.3.6.1.4.1.32473.1.1"
HEALTH = ENTERPRISE + ".3"
BRIDGE = "1.3.6.1.2.1.17"
IF_NUMBER, IF_ENTRY = "1.3.6.1.2.1.2.1.0", "1.3.6.1.2.1.2.2.1"
# Always 1970-01-01 00:01:07 local time (the agent runs in UTC here).
SOFTWARE_DATE = ("STRING", bytes([0x07, 0xb2, 1, 1, 0, 1, 7, 0]))


def dotted(value):
    a, b, c, d = (int(x) for x in value.split(".")) if isinstance(value, str) else \
        (value >> 24, (value >> 16) & 255, (value >> 8) & 255, value & 255)
    return "%d.%d.%d.%d" % (a, b, c, d)


def as_int32(v):
    v &= 0xffffffff
    return v - (1 << 32) if v & 0x80000000 else v


def boot_seconds():
    with open("/proc/uptime") as f:
        return float(f.read().split()[0])


def mib_agent(scenario):
    """snmpd in UTC beside kxsim, with contact and location set and a write
    community."""
    return harness.SnmpAgent(scenario, prefix="sarn-mib-", settings=AGENT_SETTINGS,
                             env=dict(os.environ, TZ="UTC"), write_community=WRITE_COMMUNITY)


def date_seconds(date):
    """The calendar part of a DateAndTime, read as UTC."""
    year = date[0] * 256 + date[1]
    return calendar.timegm((year, date[2], date[3], date[4], date[5], date[6], 0, 0, 0))


class ExampleRouterTest(unittest.TestCase):
    """Every object of these groups, value by value against the example."""

    @classmethod
    def setUpClass(cls):
        cls.scenario = harness.example_scenario()
        cls.router = mib_agent(cls.scenario)

    @classmethod
    def tearDownClass(cls):
        cls.router.stop()

    def test_system_group(self):
        before = boot_seconds()
        got = self.router.walk(SYSTEM)
        after = boot_seconds()
        self.assertEqual([oid for oid, _ in got], [SYSTEM + ".%d.0" % i for i in range(1, 8)])
        values = dict(got)
        kind, ticks = values.pop(SYSTEM + ".3.0")
        self.assertEqual(kind, "Timeticks")
        # The router reports whole seconds; the agent shows hundredths.  A
        # record may have been cached for up to two seconds.
        self.assertEqual(ticks % 100, 0)
        self.assertLessEqual(int(before) * 100 - 300, ticks)
        self.assertLessEqual(ticks, int(after) * 100 + 100)
        name = record(self.scenario, "24,1")["0x2000000c"].encode()
        self.assertEqual(values, {
            SYSTEM + ".1.0": ("STRING", b"router"),
            SYSTEM + ".2.0": ("OID", "1.3.6.1.4.1.32473.1"),
            SYSTEM + ".4.0": ("STRING", b"noc@edge-1.example"),
            SYSTEM + ".5.0": ("STRING", name),
            SYSTEM + ".6.0": ("STRING", b"rack 4, branch office"),
            SYSTEM + ".7.0": ("INTEGER", 78)})

    def test_host_resources(self):
        res = record(self.scenario, "24,2")
        mem_total, disk_total = fixed(res["0x08000002"]), fixed(res["0x0800000a"])
        mem_used = mem_total - fixed(res["0x08000003"])
        disk_used = disk_total - fixed(res["0x0800000b"])
        offset = as_int32(record(self.scenario, "24,0")["0x0800001b"])

        before = time.time()
        got = self.router.walk(HR)
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
            (device + "3.1.2.1", ("INTEGER", fixed(res["0x08000006"]))),
        ]
        self.assertEqual(got[2:], expected)
        self.assertEqual([oid for oid, _ in got[:2]], [HR + ".1.1.0", HR + ".1.2.0"])

    def test_software_and_reboot_control(self):
        sw = record(self.scenario, "65")
        expected = {ENTERPRISE + ".4.1.0": ("STRING", sw["0x20000001"].encode()),
                    ENTERPRISE + ".4.2.0": SOFTWARE_DATE,
                    ENTERPRISE + ".4.3.0": ("INTEGER", fixed(sw["0x08000004"])),
                    ENTERPRISE + ".4.4.0": ("STRING", os.uname().release.encode()),
                    ENTERPRISE + ".4.5.0": ("INTEGER", fixed(sw["0x08000009"]) + 1),
                    ENTERPRISE + ".7.1.0": ("INTEGER", 0)}
        self.assertEqual(self.router.get(*expected), expected)

    def test_script_and_address_tables(self):
        scripts = objects(self.scenario, "48,101")
        expected = [(ENTERPRISE + ".8.1.1.2.%d" % s["0x08fe0001"],
                     ("STRING", s["0x20000066"].encode())) for s in scripts]
        expected += [(ENTERPRISE + ".8.1.1.3.%d" % s["0x08fe0001"], ("INTEGER", 0))
                     for s in scripts]
        self.assertEqual(self.router.walk(ENTERPRISE + ".8"), expected)

        columns = [lambda a: ("IpAddress", dotted(a["0x08000001"])),
                   lambda a: ("STRING", mac_bytes(a["0x30000002"]))]
        columns += [lambda a, k=k: ("STRING", a[k].encode())
                    for k in ("0x20000007", "0x20000008", "0x20000006", "0x2000000b")]
        expected = [(ENTERPRISE + ".11.1.1.%d.%d" % (column, a["0x08fe0001"]), value(a))
                    for column, value in enumerate(columns, start=2)
                    for a in objects(self.scenario, "10,1")]
        self.assertEqual(self.router.walk(ENTERPRISE + ".11"), expected)

    def test_mib_module_is_clean_and_names_every_enterprise_object(self):
        mibs = os.path.join(harness.source_dir(), "mibs")
        module = os.path.join(mibs, "SARN-ROUTER-MIB.txt")
        ietf = subprocess.run([os.path.join(harness.source_dir(), "scripts", "ietf-mibs")],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              universal_newlines=True, timeout=300)
        self.assertEqual(ietf.returncode, 0, ietf.stderr)
        ietf = ietf.stdout.strip()
        lint = subprocess.run(["smilint", "-c", "/dev/null", "-l", "4", module],
                              env=dict(os.environ, SMIPATH=ietf), stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, universal_newlines=True, timeout=60)
        self.assertEqual((lint.returncode, lint.stdout), (0, ""))

        walk = subprocess.run(["snmpwalk", "-v", "2c", "-c", "harbor", "-t", "10", "-r", "0",
                               "-m", "+SARN-ROUTER-MIB", "-M", "+%s:%s" % (ietf, mibs), "-OS",
                               "127.0.0.1:%d" % self.router.port, "1.3.6.1.4.1.32473"],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              universal_newlines=True, timeout=60)
        self.assertEqual(walk.returncode, 0, walk.stderr)
        # A name the module lacks would show as its parent's name and two
        # or more numbers; every object here takes one number (.0 or the id).
        names = set()
        for line in (l for l in walk.stdout.split("\n") if " = " in l):
            match = re.match(r"SARN-ROUTER-MIB::(sarn\w+)\.\d+ = ", line)
            self.assertTrue(match, line)
            names.add(match.group(1))
        # The example router has every object the module describes.
        with open(module) as f:
            self.assertEqual(len(names), len(re.findall(r"MAX-ACCESS +read-", f.read())))

    def test_v1_reads_and_misses(self):
        got = self.router.get(SYSTEM + ".1.0", SYSTEM + ".7.0", version="1")
        self.assertEqual(got[SYSTEM + ".7.0"], ("INTEGER", 78))
        # No column 1 in the script table, and scalars have only instance 0.
        for oid in (ENTERPRISE + ".8.1.1.1.1", SYSTEM + ".1.1", ENTERPRISE + ".11.1.1.2.99"):
            self.assertIn("noSuchName", self.router.error(oid, version="1"), oid)
            self.assertIn("noSuchName", self.router.error(oid), oid)


class SetTest(unittest.TestCase):
    """SETs and the bus messages they become, seen in kxsim's journal."""

    @classmethod
    def setUpClass(cls):
        cls.router = mib_agent(harness.example_scenario())

    @classmethod
    def tearDownClass(cls):
        cls.router.stop()

    def setUp(self):
        self.mark = len(self.router.journal())

    def sent(self, *commands):
        """Requests since the mark, of one of the commands, without the sender."""
        entries = self.router.journal()[self.mark:]
        for m in entries:
            m.pop("0x88ff0002", None)
        return [m for m in entries if m.get("0x08ff0007") in commands]

    def assertSet(self, oid, kind, value):
        done = self.router.set(oid, kind, value)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return dict(harness.parse_snmp_bindings(done.stdout))[oid]

    def test_sys_name_goes_to_the_identity_service(self):
        self.assertEqual(self.assertSet(SYSTEM + ".5.0", "s", "core-7"), ("STRING", b"core-7"))
        self.assertEqual(self.sent(0xfe000e), [{"0x08ff0007": 0xfe000e, "0x88ff0001": [24, 1],
                                                "0x2000000c": "core-7"}])
        self.assertIn("Ident::reverseBuild\n", self.router.agent.stderr())
        # The service took it: a fresh read shows the new name.
        self.assertEqual(harness.kxctl_json(self.router.root, "get", "24,1")["0x2000000c"],
                         "core-7")

    def test_reboot_control_zero_only_sets_and_one_reboots(self):
        oid = ENTERPRISE + ".7.1.0"
        self.assertSet(oid, "i", 0)
        self.assertEqual(self.sent(5, 0xfe000e), [{"0x08ff0007": 0xfe000e, "0x88ff0001": [24, 2]}])
        self.mark = len(self.router.journal())
        self.assertEqual(self.assertSet(oid, "i", 1), ("INTEGER", 1))
        self.assertEqual(self.sent(5, 0xfe000e), [{"0x08ff0007": 5, "0x88ff0001": [24]},
                                                  {"0x08ff0007": 0xfe000e, "0x88ff0001": [24, 2]}])
        self.assertIn("TheSystem::REBOOT\n", self.router.agent.stderr())

    def test_script_rename_and_run(self):
        name = ENTERPRISE + ".8.1.1.2.2"
        self.assertEqual(self.assertSet(name, "s", "wipe-guests"), ("STRING", b"wipe-guests"))
        self.assertEqual(self.sent(0xfe0003), [{"0x08ff0007": 0xfe0003, "0x88ff0001": [48, 101],
                                                "0x08fe0001": 2, "0x20000066": "wipe-guests"}])
        self.mark = len(self.router.journal())
        self.assertSet(ENTERPRISE + ".8.1.1.3.1", "i", 1)
        self.assertEqual(self.sent(1, 0xfe0003),
                         [{"0x08ff0007": 1, "0x88ff0001": [48, 101], "0x08fe0001": 1}])
        self.assertIn("Run, FOREST, run!\n", self.router.agent.stderr())

    def test_contact_location_and_missing_rows_are_not_writable(self):
        for oid in (SYSTEM + ".4.0", SYSTEM + ".6.0", ENTERPRISE + ".8.1.1.2.99"):
            done = self.router.set(oid, "s", "x")
            self.assertIn("noSuchName", done.stdout + done.stderr, oid)
        self.assertEqual(self.sent(0xfe000e, 0xfe0003), [])
        self.assertEqual(self.router.get(SYSTEM + ".4.0")[SYSTEM + ".4.0"],
                         ("STRING", b"noc@edge-1.example"))


class FaultTest(unittest.TestCase):
    """Services that refuse or stay silent: default records, missing rows,
    and the agent still answering afterwards."""

    def test_refusing_and_silent_services(self):
        scenario = harness.example_scenario()
        services = scenario["services"]
        refuse = {"error": ["0xfe0006", "refused by the simulator"]}
        for path in ("24,1", "10,1", "20,0", "12,1"):
            services[path]["fault"] = refuse
        services["65"]["fault"] = {"silent": True}
        # More free than total: the used figures wrap.
        services["24,2"]["record"].update({"0x08000002": 1000, "0x08000003": 1500,
                                           "0x0800000a": 0, "0x0800000b": 1})
        with mib_agent(scenario) as router:
            # An unreachable settings record is served as its defaults.
            self.assertEqual(router.get(SYSTEM + ".5.0")[SYSTEM + ".5.0"], ("STRING", b""))
            self.assertIn("GetProvider::getData error: refused by the simulator\n",
                          router.agent.stderr())
            # An unreadable list has no rows.
            self.assertIn("noSuchName", router.error(ENTERPRISE + ".11.1.1.2.1"))
            nxt = router.run("snmpgetnext", [ENTERPRISE + ".11"])
            self.assertNotIn(ENTERPRISE + ".11.", nxt.stdout)

            started = time.monotonic()
            got = router.get(ENTERPRISE + ".4.1.0", ENTERPRISE + ".4.2.0", ENTERPRISE + ".4.5.0")
            self.assertGreaterEqual(time.monotonic() - started, 5)
            self.assertEqual(got, {ENTERPRISE + ".4.1.0": ("STRING", b""),
                                   ENTERPRISE + ".4.2.0": SOFTWARE_DATE,
                                   ENTERPRISE + ".4.5.0": ("INTEGER", 1)})

            # The interface list's count is refused too, so its rows are
            # counted: none, and a walk moves on past their table.  Without
            # interfaces there is no bridge: its scalars are missing, the
            # constant stays and the forwarding table is empty.
            self.assertEqual(router.get(IF_NUMBER), {IF_NUMBER: ("INTEGER", 0)})
            self.assertFalse(router.getnext(IF_ENTRY)[0][0].startswith(IF_ENTRY + "."))
            self.assertIn("noSuchName", router.error(BRIDGE + ".1.1.0"))
            self.assertEqual(router.walk(BRIDGE), [(BRIDGE + ".2.1.0", ("INTEGER", 3))])
            # The health record's defaults, -273 degrees included.
            got = router.get(HEALTH + ".8.0", HEALTH + ".9.0", HEALTH + ".10.0")
            self.assertEqual(got, {HEALTH + ".8.0": ("INTEGER", 0),
                                   HEALTH + ".9.0": ("STRING", b"n/a"),
                                   HEALTH + ".10.0": ("INTEGER", -2730)})

            # The agent goes on answering the rest.
            entry = HR + ".2.3.1."
            got = router.get(SYSTEM + ".1.0", entry + "6.1", entry + "6.2", HR + ".2.2.0")
            self.assertEqual(got, {SYSTEM + ".1.0": ("STRING", b"router"),
                                   entry + "6.1": ("INTEGER", -1),
                                   entry + "6.2": ("INTEGER", -500),
                                   HR + ".2.2.0": ("INTEGER", 1000)})


if __name__ == "__main__":
    unittest.main()
