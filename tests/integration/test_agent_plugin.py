"""The example plug-in served by snmpd to net-snmp's clients: v1 and v2c
GET, GETNEXT, walk and SET on a constant, on scalars read from a service
record and on a table read from a service list (kxsim plays the service);
a C++ plug-in that throws, catches and casts with the runtime it shares
with the agent; and the search of the plug-in directory."""

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


def cpp_runtime_plugin():
    return os.path.join(harness.build_dir(), "tests", "agent_plugins", "cpp_runtime.so")


def text(s):
    return ("STRING", s.encode())


class PluginObjectsTest(unittest.TestCase):
    """One agent with the example plug-in for every test of the class."""

    @classmethod
    def setUpClass(cls):
        cls.agent = harness.SnmpAgent(harness.example_scenario("plugin.json"),
                                      write_community="private",
                                      plugins=[example_plugin(), cpp_runtime_plugin()])

    @classmethod
    def tearDownClass(cls):
        cls.agent.stop()

    def run_tool(self, tool, version, *args, community=None):
        done = self.agent.run(tool, args, version=version, community=community)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return harness.parse_snmp_bindings(done.stdout)

    def test_get_and_getnext_in_v1_and_v2c(self):
        for version in ("1", "2c"):
            got = dict(self.run_tool("snmpget", version, VERSION_OID, MOTD_OID))
            self.assertEqual(got[VERSION_OID], text("sarn example plug-in 1.0"))
            self.assertEqual(got[MOTD_OID][0], "STRING")

            # The counter grows with kxsim's clock from its base of 100.
            [(oid, (kind, value))] = self.run_tool("snmpgetnext", version, MOTD_OID)
            self.assertEqual((oid, kind), (VISITORS_OID, "Counter32"))
            self.assertGreaterEqual(value, 100)

            # From the scalars into the table: the first column's first row.
            self.assertEqual(self.run_tool("snmpgetnext", version, VISITORS_OID),
                             [(TABLE + ".1.1", ("INTEGER", 1))])
            # A row that does not exist is a miss, in v2c as in v1.
            self.assertIn("noSuchName", self.agent.error(TABLE + ".2.3", version=version))

    def test_cpp_plugin_throws_and_casts_with_the_agents_runtime(self):
        # What tests/unit/agent/plugins/cpp_runtime.cpp saw in autorun, and
        # the packers the example leaves out.
        base = "1.3.6.1.4.1.32473.1.98"
        self.assertEqual(self.run_tool("snmpwalk", "2c", base), [
            (base + ".1.0", text("thrown rethrown kept")),
            (base + ".2.0", text("types " + base)),
            (base + ".3.0", ("IpAddress", "192.168.0.1")),
            (base + ".4.0", ("Counter64", 1 << 40)),
            (base + ".5.0", ("OID", base)),
            (base + ".6.0", ("INTEGER", -7))])

    def test_walk_returns_scalars_then_the_table_column_by_column(self):
        rows = {1: "alpha", 2: "beta", 5: "gamma"}
        table = [(TABLE + ".1.%d" % i, ("INTEGER", i)) for i in rows]
        table += [(TABLE + ".2.%d" % i, text(name)) for i, name in rows.items()]
        table += [(TABLE + ".3.%d" % i, ("Gauge32", 10 * i)) for i in rows]
        for version in ("1", "2c"):
            walked = self.run_tool("snmpwalk", version, EXAMPLE)
            self.assertEqual([oid for oid, _ in walked[:3]], [VERSION_OID, MOTD_OID, VISITORS_OID])
            # The list is paged two objects at a time by the service; the
            # walk still sees every row once.
            self.assertEqual(walked[3:], table)

    def journal_sets(self):
        return [m for m in self.agent.journal()
                if m.get("0x08ff0007") == CMD_SET_RECORD and m.get("0x88ff0001") == [77, 1]]

    def test_set_writes_the_value_back_to_the_service(self):
        for version, value in (("2c", "set over v2c"), ("1", "set over v1")):
            self.assertEqual(self.run_tool("snmpset", version, MOTD_OID, "s", value,
                                           community="private"), [(MOTD_OID, text(value))])
            sets = harness.wait_until(
                lambda: [m for m in self.journal_sets() if m.get("0x20000001") == value],
                what="the SET in kxsim's journal")
            # Only the writable field goes back, from the agent's service.
            self.assertEqual(sets[-1]["0x88ff0002"][0], 34)
            self.assertNotIn("0x08000002", sets[-1])
            self.assertEqual(harness.kxctl_json(self.agent.root, "get", "77,1")["0x20000001"],
                             value)

    def test_read_only_community_cannot_set(self):
        before = len(self.journal_sets())
        for version in ("1", "2c"):
            done = self.agent.run("snmpset", [MOTD_OID, "s", "nope"], version=version)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn("readOnly", done.stdout + done.stderr)
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

    def test_loads_every_so_below_the_directory_after_the_start_up_steps(self):
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
        test_plugins = os.path.join(harness.build_dir(), "tests", "agent_plugins")
        shutil.copy(os.path.join(test_plugins, "without_autorun.so"),
                    os.path.join(self.plugins, "vendor", "noentry.so"))
        shutil.copy(os.path.join(test_plugins, "with_autorun.so"),
                    os.path.join(self.plugins, "vendor", "extra.so"))

        harness.kxctl_json(self.root, "store", "put", SETTINGS_STORE, "0", "0x00000001=true")
        port = harness.free_port()
        self.agent = harness.Process([harness.program(harness.SNMPD), "--root", self.root.path,
                                      "--port", str(port)], self.root.path, "snmpd")
        harness.wait_until(lambda: "sarn example" in snmp("snmpget", port, "harbor", "2c",
                                                          VERSION_OID)[1],
                           what="the nested plug-in's constant")
        self.agent.wait_for_output("test plugin autorun ran", stream="stderr")
        err = self.agent.stderr()
        lines = err.split("\n")
        loaded = [line for line in lines if line.startswith("plugin loaded: ")]
        self.assertEqual(sorted(loaded), sorted(
            "plugin loaded: %s/%s" % (self.plugins, p)
            for p in ("vendor/deeper/example.so", "vendor/noentry.so", "vendor/extra.so")))
        self.assertIn("failed dlopen: %s/broken.so:\n" % self.plugins, err)
        self.assertIn("plugin %s/vendor/noentry.so has no symbol autorun\n" % self.plugins, err)
        for skipped in ("notes.txt", ".hidden.so", "example.so.disabled", "dir.so"):
            self.assertNotIn(skipped, err)
        # Plug-ins load after the start-up steps, and their autorun runs.
        steps = ["loop = new SnmpLooper();", "communityKeep = new CommunityKeep;",
                 "communityKeep->init();", "addHandler(snmp::ID_COMMUNITIES, communityKeep);",
                 "loop->init();", "plugin loaded: %s/vendor/extra.so" % self.plugins,
                 "test plugin autorun ran"]
        self.assertEqual([line for line in lines if line in steps], steps)
        self.assertTrue(self.agent.alive())


if __name__ == "__main__":
    unittest.main()
