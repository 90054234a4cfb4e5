"""The example plug-in served by snmpd to net-snmp's clients: v1 and v2c
GET, GETNEXT, walk and SET on a constant, on scalars read from a service
record and on a table read from a service list (kxsim plays the service);
and the search of the plug-in directory."""

import json
import os
import shutil
import subprocess
import unittest

import harness

SETTINGS_STORE = "/sarn/store/snmpd"
EXAMPLE = "1.3.6.1.4.1.32473.1.99"
VERSION_OID = EXAMPLE + ".1.0"
MOTD_OID = EXAMPLE + ".2.0"
VISITORS_OID = EXAMPLE + ".3.0"
TABLE = EXAMPLE + ".4.1"
SNMP_TIMEOUT = ["-t", "2", "-r", "1"]
CMD_SET_RECORD = 0xfe000e


def example_plugin():
    path = os.path.join(harness.build_dir(), "examples", "plugin", "example.so")
    if not os.path.exists(path):
        raise AssertionError("the example plug-in is not built: " + path)
    return path


def snmp(tool, port, community, version, *args):
    """Runs a net-snmp tool with numeric OIDs; returns (status, output)."""
    done = subprocess.run([tool, "-v", version, "-c", community, "-On"] + SNMP_TIMEOUT +
                          ["127.0.0.1:%d" % port] + list(args),
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          stdin=subprocess.DEVNULL, timeout=30)
    return done.returncode, done.stdout.decode(errors="replace")


def bindings(output):
    """[(oid, "TYPE: value")] from lines ".1.3... = TYPE: value"."""
    out = []
    for line in output.splitlines():
        if " = " in line:
            oid, value = line.split(" = ", 1)
            out.append((oid.lstrip("."), value))
    return out


class PluginObjectsTest(unittest.TestCase):
    """One agent with the example plug-in for every test of the class."""

    @classmethod
    def setUpClass(cls):
        cls.root = harness.TempRoot()
        cls.port = harness.free_port()
        cls.journal = cls.root.file("journal")
        plugins = os.path.join(cls.root.path, "sarn", "lib", "snmp")
        os.makedirs(plugins)
        shutil.copy(example_plugin(), plugins)
        scenario = os.path.join(harness.source_dir(), "examples", "plugin.json")
        cls.sim = harness.start_kxsim(cls.root, scenario, journal=cls.journal)
        cls.agent = None
        try:
            harness.kxctl_json(cls.root, "store", "put", SETTINGS_STORE, "0", "0x00000001=true")
            cls.agent = harness.Process([harness.program(harness.SNMPD), "--root", cls.root.path,
                                         "--port", str(cls.port)], cls.root.path, "snmpd")
            cls.agent.wait_for_output("plugin loaded: ", stream="stderr")
            for words in (["name=public"], ["name=private", "address=127.0.0.1/32", "write=yes"]):
                r = harness.kxctl(cls.root, "snmp", "community", "add", *words)
                if r.returncode != 0:
                    raise AssertionError("cannot add a community: %r" % r)
        except BaseException:
            cls.tearDownClass()
            raise

    @classmethod
    def tearDownClass(cls):
        if cls.agent:
            cls.agent.stop()
        cls.sim.stop()
        cls.root.cleanup()

    def test_get_and_getnext_in_v1_and_v2c(self):
        for version in ("1", "2c"):
            status, out = snmp("snmpget", self.port, "public", version, VERSION_OID, MOTD_OID)
            self.assertEqual(status, 0, out)
            got = dict(bindings(out))
            self.assertEqual(got[VERSION_OID], 'STRING: "sarn example plug-in 1.0"')
            self.assertTrue(got[MOTD_OID].startswith("STRING: "), out)

            # The counter grows with kxsim's clock from its base of 100.
            status, out = snmp("snmpgetnext", self.port, "public", version, MOTD_OID)
            self.assertEqual(status, 0, out)
            [(oid, value)] = bindings(out)
            self.assertEqual(oid, VISITORS_OID)
            self.assertTrue(value.startswith("Counter32: "), value)
            self.assertGreaterEqual(int(value.split(": ")[1]), 100)

            # From the scalars into the table: the first column's first row.
            status, out = snmp("snmpgetnext", self.port, "public", version, VISITORS_OID)
            self.assertEqual(bindings(out), [(TABLE + ".1.1", "INTEGER: 1")])

            # A row that does not exist is a miss, in v2c as in v1.
            status, out = snmp("snmpget", self.port, "public", version, TABLE + ".2.3")
            self.assertIn("noSuchName", out)

    def test_walk_returns_scalars_then_the_table_column_by_column(self):
        expected_table = [
            (TABLE + ".1.1", "INTEGER: 1"), (TABLE + ".1.2", "INTEGER: 2"),
            (TABLE + ".1.5", "INTEGER: 5"),
            (TABLE + ".2.1", 'STRING: "alpha"'), (TABLE + ".2.2", 'STRING: "beta"'),
            (TABLE + ".2.5", 'STRING: "gamma"'),
            (TABLE + ".3.1", "Gauge32: 10"), (TABLE + ".3.2", "Gauge32: 20"),
            (TABLE + ".3.5", "Gauge32: 50")]
        for version in ("1", "2c"):
            status, out = snmp("snmpwalk", self.port, "public", version, EXAMPLE)
            self.assertEqual(status, 0, out)
            walked = bindings(out)
            self.assertEqual([oid for oid, _ in walked[:3]],
                             [VERSION_OID, MOTD_OID, VISITORS_OID], out)
            # The list is paged two objects at a time by the service; the
            # walk still sees every row once.
            self.assertEqual(walked[3:], expected_table, out)

    def journal_sets(self):
        sets = []
        with open(self.journal) as f:
            for line in f:
                m = json.loads(line)
                if m.get("0x08ff0007") == CMD_SET_RECORD and m.get("0x88ff0001") == [77, 1]:
                    sets.append(m)
        return sets

    def test_set_writes_the_value_back_to_the_service(self):
        for version, text in (("2c", "set over v2c"), ("1", "set over v1")):
            status, out = snmp("snmpset", self.port, "private", version, MOTD_OID, "s", text)
            self.assertEqual(status, 0, out)
            self.assertEqual(bindings(out), [(MOTD_OID, 'STRING: "%s"' % text)])
            sets = harness.wait_until(
                lambda: [m for m in self.journal_sets() if m.get("0x20000001") == text],
                what="the SET in kxsim's journal")
            # Only the writable field goes back, from the agent's service.
            self.assertEqual(sets[-1]["0x88ff0002"][0], 34)
            self.assertNotIn("0x08000002", sets[-1])
            record = harness.kxctl_json(self.root, "get", "77,1")
            self.assertEqual(record["0x20000001"], text)

    def test_read_only_community_cannot_set(self):
        before = len(self.journal_sets())
        for version in ("1", "2c"):
            status, out = snmp("snmpset", self.port, "public", version, MOTD_OID, "s", "nope")
            self.assertNotEqual(status, 0)
            self.assertIn("readOnly", out)
        self.assertEqual(len(self.journal_sets()), before)


class PluginDirectoryTest(unittest.TestCase):
    def setUp(self):
        self.root = harness.TempRoot()
        self.plugins = os.path.join(self.root.path, "sarn", "lib", "snmp")
        self.agent = None

    def tearDown(self):
        if self.agent:
            self.agent.stop()
        self.root.cleanup()

    def test_loads_every_so_below_the_directory_and_nothing_else(self):
        nested = os.path.join(self.plugins, "vendor", "deeper")
        os.makedirs(nested)
        shutil.copy(example_plugin(), os.path.join(nested, "example.so"))
        with open(os.path.join(self.plugins, "broken.so"), "w") as f:
            f.write("not an ELF object\n")
        with open(os.path.join(self.plugins, "notes.txt"), "w") as f:
            f.write("plug-ins end in .so\n")
        # Copies of a good plug-in that must be skipped: a dot name, a name
        # that does not end in .so, and a directory named like a plug-in.
        shutil.copy(example_plugin(), os.path.join(self.plugins, ".hidden.so"))
        shutil.copy(example_plugin(), os.path.join(self.plugins, "example.so.disabled"))
        os.makedirs(os.path.join(self.plugins, "dir.so"))
        no_entry = os.path.join(harness.build_dir(), "tests", "agent_plugins",
                                "without_autorun.so")
        shutil.copy(no_entry, os.path.join(self.plugins, "vendor", "noentry.so"))

        harness.kxctl_json(self.root, "store", "put", SETTINGS_STORE, "0", "0x00000001=true")
        port = harness.free_port()
        self.agent = harness.Process([harness.program(harness.SNMPD), "--root", self.root.path,
                                      "--port", str(port)], self.root.path, "snmpd")
        status, out = harness.wait_until(
            lambda: (lambda r: r if "sarn example" in r[1] else None)(
                snmp("snmpget", port, "harbor", "2c", VERSION_OID)),
            what="the nested plug-in's constant")
        err = self.agent.stderr()
        loaded = [line for line in err.split("\n") if line.startswith("plugin loaded: ")]
        self.assertEqual(sorted(loaded), sorted([
            "plugin loaded: %s/vendor/deeper/example.so" % self.plugins,
            "plugin loaded: %s/vendor/noentry.so" % self.plugins]))
        self.assertIn("failed dlopen: %s/broken.so:\n" % self.plugins, err)
        self.assertIn("plugin %s/vendor/noentry.so has no symbol autorun\n" % self.plugins, err)
        for skipped in ("notes.txt", ".hidden.so", "example.so.disabled", "dir.so"):
            self.assertNotIn(skipped, err)
        self.assertTrue(self.agent.alive())


if __name__ == "__main__":
    unittest.main()
