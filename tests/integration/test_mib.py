"""The built-in MIB modules and the example plug-in as net-snmp's tools see
them, snmpd beside kxsim serving the example router with every value that
follows time held still: whole walks in v1 and v2c against the checked-in
walks (walks/router.walk, and walks/refused.walk with every service refusing
or silent), objects that are not there, SETs and the bus messages they
become, the router of 1,000 interfaces and 10,000 routes, and the enterprise
MIB module.  After a deliberate change, write the walks again and review them:
    SARN_BUILD=build/test python3 tests/integration/test_mib.py --write"""

import os
import re
import subprocess
import sys
import unittest

import harness

WALKS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "walks")
SYSTEM = "1.3.6.1.2.1.1"
ENTERPRISE = "1.3.6.1.4.1.32473.1.1"
EXAMPLE = "1.3.6.1.4.1.32473.1.99"
BRIDGE = "1.3.6.1.2.1.17"
# The kernel's release (sarnSoftwareOsVersion) differs between machines.
MOVING = {ENTERPRISE + ".4.4.0"}
# The agent's settings with a contact, a location and the service on.
SETTINGS = harness.agent_settings({"0x20000002": "noc@edge-1.example",
                                   "0x20000003": "rack 4, branch office"})
HELD_AT_S = 3600
SCRIPTS = ENTERPRISE + ".8.1.1"
# Objects that are not there: a column the script table lacks, a scalar's
# other instance, missing rows, bridge objects not served.
MISSES = [SCRIPTS + ".1.1", SYSTEM + ".1.1", ENTERPRISE + ".11.1.1.2.99", EXAMPLE + ".4.1.2.3",
          "1.3.6.1.2.1.2.2.1.10.6",
          BRIDGE + ".4.3.1.2.1.2.3.4.5.6", BRIDGE + ".1.2.0", BRIDGE + ".2.3.0"]
# SETs: community, version, OID, type and value; the value answered or the
# error; the messages the agent then sends (reads aside); the line it writes.
FROM = {"0x88ff0002": [34, 0]}
SETS = [("private", "2c", SYSTEM + ".5.0", "s", "core-7", ("STRING", b"core-7"),
         [{"0x08ff0007": 0xfe000e, "0x88ff0001": [24, 1], "0x2000000c": "core-7"}],
         "Ident::reverseBuild\n"),
        ("private", "2c", ENTERPRISE + ".7.1.0", "i", 0, ("INTEGER", 0),
         [{"0x08ff0007": 0xfe000e, "0x88ff0001": [24, 2]}], "TheSystem::reverseBuild\n"),
        ("private", "1", ENTERPRISE + ".7.1.0", "i", 1, ("INTEGER", 1),
         [{"0x08ff0007": 5, "0x88ff0001": [24]}, {"0x08ff0007": 0xfe000e, "0x88ff0001": [24, 2]}],
         "TheSystem::REBOOT\n"),
        ("private", "2c", SCRIPTS + ".2.2", "s", "wipe-guests", ("STRING", b"wipe-guests"),
         [{"0x08ff0007": 0xfe0003, "0x88ff0001": [48, 101], "0x08fe0001": 2,
           "0x20000066": "wipe-guests"}], "Script::reverseBuild\n"),
        ("private", "2c", SCRIPTS + ".3.1", "i", 1, ("INTEGER", 1),
         [{"0x08ff0007": 1, "0x88ff0001": [48, 101], "0x08fe0001": 1}], "Run, FOREST, run!\n"),
        # Only the plug-in record's writable field goes back.
        ("private", "1", EXAMPLE + ".2.0", "s", "set over v1", ("STRING", b"set over v1"),
         [{"0x08ff0007": 0xfe000e, "0x88ff0001": [77, 1], "0x20000001": "set over v1"}], None),
        ("harbor", "2c", EXAMPLE + ".2.0", "s", "x", "readOnly", [], None),
        ("harbor", "1", SYSTEM + ".5.0", "s", "x", "readOnly", [], None),
        ("private", "2c", SYSTEM + ".4.0", "s", "x", "noSuchName", [], None),
        ("private", "1", SYSTEM + ".6.0", "s", "x", "noSuchName", [], None),
        ("private", "2c", SCRIPTS + ".2.99", "s", "x", "noSuchName", [], None)]
READS = (0xfe000d, 0xfe0002, 0xfe0004, 0xfe0015)


def example_router(faults=None):
    """The example router with the example plug-in's service, held still,
    each service at path given its fault."""
    scenario = harness.held_still(harness.example_scenario("router.json", "plugin.json"),
                                  HELD_AT_S)
    for path, service in scenario["services"].items():
        if faults and faults(path):
            service["fault"] = faults(path)
    return scenario


def refusing(path):
    # The software record is silent (the agent waits its bus time-out); the
    # routes answer, counting too; the rest refuse.
    if path == "65":
        return {"silent": True}
    return None if path == "44,1" else {"error": ["0xfe0006", "refused by the simulator"]}


def router_agent(scenario):
    """snmpd in UTC with a write community, the example plug-in and a C++
    plug-in that throws, catches and casts with the runtime it shares with
    the agent (what it saw is served under 1.3.6.1.4.1.32473.1.98)."""
    plugins = [harness.example_plugin(), harness.program("tests/agent_plugins/cpp_runtime.so")]
    return harness.SnmpAgent(scenario, prefix="sarn-mib-", settings=SETTINGS, plugins=plugins,
                             env=dict(os.environ, TZ="UTC"), write_community="private")


def walk_lines(bindings):
    """A walk as the lines of a walk file: OID, type and value, the value of
    a MOVING object as *, an octet string as JSON text when it is printable
    ASCII and as 0x and hex otherwise."""
    lines = []
    for oid, (kind, value) in bindings:
        if oid in MOVING:
            value = "*"
        elif isinstance(value, bytes):
            printable = all(32 <= b < 127 for b in value)
            value = '"%s"' % value.decode() if printable and b'"' not in value else "0x" + value.hex()
        lines.append("%s %s %s" % (oid, kind, value))
    return lines


class RouterTest(unittest.TestCase):
    """One agent over the example router for every test of the class."""

    WRITE = False

    @classmethod
    def setUpClass(cls):
        cls.agent = router_agent(example_router())
        cls.addClassCleanup(cls.agent.stop)

    def assert_walks(self, agent, name):
        """Walks of the whole tree in v2c and v1 are the walk file, and so is
        a GET of each object it lists."""
        with open(os.path.join(WALKS, name)) as f:
            expected = f.read().splitlines()
        for version in ("2c", "1"):
            done = agent.run("snmpwalk", ["1.3.6.1"], version=version, wall_timeout=120)
            self.assertEqual(done.returncode, 0, done.stderr)
            got = walk_lines(harness.parse_snmp_bindings(done.stdout))
            if self.WRITE and version == "2c":
                with open(os.path.join(WALKS, name), "w") as f:
                    f.writelines(line + "\n" for line in got)
                expected = got
            self.assertEqual(got, expected, "v%s walk against %s" % (version, name))
        oids = [line.split(" ", 1)[0] for line in expected]
        got = [line for i in range(0, len(oids), 60)
               for line in walk_lines(agent.get(*oids[i:i + 60]).items())]
        self.assertEqual(got, expected, "GET of every object of " + name)

    def test_walks_and_gets(self):
        self.assert_walks(self.agent, "router.walk")

    def test_misses_are_no_such_name_in_v1_and_v2c(self):
        for oid in MISSES:
            for version in ("1", "2c"):
                self.assertIn("noSuchName", self.agent.error(oid, version=version), oid)

    def test_sets_become_bus_messages(self):
        with router_agent(example_router()) as agent:  # the others' router stays as it is
            for community, version, oid, kind, value, answer, messages, line in SETS:
                with self.subTest(oid=oid, value=value, community=community):
                    mark, log = len(agent.journal()), len(agent.agent.stderr())
                    done = agent.run("snmpset", [oid, kind, str(value)], community=community,
                                     version=version)
                    if isinstance(answer, str):
                        self.assertIn(answer, done.stdout + done.stderr)
                    else:
                        self.assertEqual(harness.parse_snmp_bindings(done.stdout), [(oid, answer)])
                    writes = [m for m in agent.journal()[mark:] if m["0x08ff0007"] not in READS]
                    self.assertEqual(writes, [dict(m, **FROM) for m in messages])
                    self.assertIn(line or "", agent.agent.stderr()[log:])

    def test_start_up(self):
        # The start-up notice, and the plug-ins loaded after the start-up steps.
        notice = {"0x08ff0007": 3, "0x88ff0001": [1], "0x08000005": 34}
        self.assertIn(dict(notice, **FROM), self.agent.journal())
        steps = ["loop = new SnmpLooper();", "communityKeep = new CommunityKeep;",
                 "communityKeep->init();", "addHandler(snmp::ID_COMMUNITIES, communityKeep);",
                 "loop->init();", "plugin loaded: %s/sarn/lib/snmp/example.so" % self.agent.root.path]
        lines = self.agent.agent.stderr().split("\n")
        self.assertEqual([line for line in lines if line in steps], steps)

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
        walk = harness.net_snmp("snmpwalk", self.agent.port, [ENTERPRISE], output=[
            "-m", "+SARN-ROUTER-MIB", "-M", "+%s:%s" % (ietf, mibs), "-OS"])
        self.assertEqual(walk.returncode, 0, walk.stderr)
        # A name the module lacks shows as its parent's name and two or more
        # numbers; every object here takes one number (.0 or the id).
        names = set()
        for line in (l for l in walk.stdout.split("\n") if " = " in l):
            match = re.match(r"SARN-ROUTER-MIB::(sarn\w+)\.\d+ = ", line)
            self.assertTrue(match, line)
            names.add(match.group(1))
        # The example router has every object the module describes.
        with open(module) as f:
            self.assertEqual(len(names), len(re.findall(r"MAX-ACCESS +read-", f.read())))

    def test_refusing_and_silent_services_leave_defaults_and_empty_tables(self):
        scenario = example_router(refusing)
        # The route service counts its routes, disabled ones included.
        del scenario["services"]["44,1"]["count"]
        with router_agent(scenario) as agent:
            self.assert_walks(agent, "refused.walk")


class ScaleTest(unittest.TestCase):
    def test_tables_of_a_thousand_interfaces_and_ten_thousand_routes_walk_whole(self):
        with harness.SnmpAgent(harness.example_scenario("scale-mib.json")) as agent:
            # A column of each table, a binding per row.
            for column, rows in (("1.3.6.1.2.1.2.2.1.2", 1000), ("1.3.6.1.2.1.31.1.1.1.6", 1000),
                                 ("1.3.6.1.2.1.4.24.4.1.4", 10000), ("1.3.6.1.2.1.4.21.1.7", 10000)):
                self.assertEqual(len(agent.walk(column, wall_timeout=240)), rows, column)


if __name__ == "__main__":
    if "--write" in sys.argv:
        sys.argv.remove("--write")
        RouterTest.WRITE = True
    unittest.main()
