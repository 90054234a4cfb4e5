"""snmpd as a service: its command line, the UDP service answering real
net-snmp clients, settings and communities changed over the bus, engine
boots across restarts, the start-up notice and plug-in loading."""

import json
import os
import shutil
import subprocess
import unittest

import harness

SETTINGS_STORE = "/sarn/store/snmpd"
ENABLED = "0x00000001"
ENGINE_BOOTS = "0x0800000d"
CONTACT = "0x20000002"
OBJ_ID = "0x08fe0001"
NAME = "0x20000005"
READ = "0x00000006"
ADDRESS = "0x08000008"
MASK = "0x08000009"
# An object no MIB module serves: every answer to it is noSuchName, which
# proves that a response came back.
NO_SUCH_OID = "1.3.6.1.4.1.32473.99.99.0"
SNMP_TIMEOUT = ["-t", "1", "-r", "0"]


def snmpget(port, community, host="127.0.0.1", version="2c"):
    """Runs snmpget once; returns its combined output."""
    done = subprocess.run(["snmpget", "-v", version, "-c", community] + SNMP_TIMEOUT +
                          ["%s:%d" % (host, port), NO_SUCH_OID],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          stdin=subprocess.DEVNULL, timeout=20)
    return done.stdout.decode(errors="replace")


def answered(output):
    return "noSuchName" in output


class AgentCommandLineTest(unittest.TestCase):
    def run_snmpd(self, *args):
        return subprocess.run([harness.program(harness.SNMPD)] + list(args),
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              stdin=subprocess.DEVNULL, timeout=20)

    def test_help_prints_usage(self):
        done = self.run_snmpd("--help")
        self.assertEqual(done.returncode, 0)
        self.assertIn(b"--port", done.stdout)
        self.assertIn(b"--trap-port", done.stdout)

    def test_bad_options_are_one_line_and_exit_2(self):
        for args in (["--bogus"], ["--port"], ["--port", "0"], ["--port", "70000"],
                     ["--trap-port", "12x"]):
            done = self.run_snmpd(*args)
            self.assertEqual(done.returncode, 2, args)
            self.assertEqual(done.stderr.count(b"\n"), 1, (args, done.stderr))


class AgentServiceTest(unittest.TestCase):
    def setUp(self):
        self.root = harness.TempRoot()
        self.port = harness.free_port()
        self.agents = []

    def tearDown(self):
        for agent in self.agents:
            if agent.alive():
                agent.stop()
        self.root.cleanup()

    def seed_settings(self, *fields):
        harness.kxctl_json(self.root, "store", "put", SETTINGS_STORE, "0", *fields)

    def start_agent(self, expect="loop->init();"):
        name = "snmpd%d" % len(self.agents)
        agent = harness.Process([harness.program(harness.SNMPD), "--root", self.root.path,
                                 "--port", str(self.port)], self.root.path, name)
        self.agents.append(agent)
        agent.wait_for_output(expect, stream="stderr")
        return agent

    def start_enabled_agent(self):
        self.seed_settings(ENABLED + "=true")
        agent = self.start_agent()
        harness.wait_until(lambda: answered(snmpget(self.port, "harbor")),
                           what="the agent to answer")
        return agent

    def test_default_community_answers_v1_and_v2c_and_nothing_else(self):
        agent = self.start_enabled_agent()
        self.assertTrue(answered(snmpget(self.port, "harbor", version="1")))
        # The reply comes back from the address the request was sent to.
        self.assertTrue(answered(snmpget(self.port, "harbor", host="127.0.0.2")))
        self.assertIn("Timeout", snmpget(self.port, "intruder"))
        self.assertIn(" authentification failed\n", agent.stderr())
        self.assertEqual(agent.stop(), 0)

    def test_engine_boots_rise_with_every_start(self):
        self.seed_settings(ENABLED + "=true", CONTACT + "=noc")
        first = self.start_agent()
        first.wait_for_output("engineBoots = 1\n")
        self.assertEqual(first.stop(), 0)
        second = self.start_agent()
        second.wait_for_output("engineBoots = 2\n")
        settings = harness.kxctl_json(self.root, "get", "34")
        self.assertEqual(settings[ENGINE_BOOTS], 2)
        self.assertEqual(settings[CONTACT], "noc")
        self.assertIn("cmd_get from ", second.stderr())

    def test_communities_change_over_the_bus(self):
        self.start_enabled_agent()
        self.assertIn("Timeout", snmpget(self.port, "ops"))

        added = harness.kxctl_json(self.root, "add", "34,1", NAME + "=ops", READ + "=true",
                                   ADDRESS + "=127.0.0.0", MASK + "=255.0.0.0")
        ops = added[OBJ_ID]
        self.assertTrue(answered(snmpget(self.port, "ops")))

        # Outside the community's network: dropped.
        harness.kxctl_json(self.root, "setobj", "34,1", str(ops), ADDRESS + "=10.0.0.0")
        self.assertIn("Timeout", snmpget(self.port, "ops"))

        refused = harness.kxctl(self.root, "setobj", "34,1", str(ops), NAME + "=harbor")
        self.assertEqual(refused.returncode, 1)
        self.assertIn("community with such name already exists", refused.stderr)

        harness.kxctl_json(self.root, "remove", "34,1", str(ops))
        names = [c[NAME] for c in harness.kxctl_json(self.root, "getall", "34,1")]
        self.assertEqual(names, ["harbor"])

    def test_disabling_closes_the_service_and_the_idle_agent_leaves(self):
        agent = self.start_enabled_agent()
        harness.kxctl_json(self.root, "set", "34", ENABLED + "=false")
        harness.wait_until(lambda: not agent.alive(), what="the disabled agent to leave")
        self.assertEqual(agent.stop(), 0)
        self.assertFalse(json.loads(harness.kxctl(self.root, "store", "dump",
                                                  SETTINGS_STORE).stdout)["0"][ENABLED])

    def test_startup_notice_reaches_handler_one(self):
        journal = self.root.file("journal")
        scenario = self.root.write_json("scenario.json", {"services": {"1": {"record": {}}}})
        sim = harness.start_kxsim(self.root, scenario, journal=journal)
        try:
            self.start_agent()

            def notice():
                with open(journal) as f:
                    for line in f:
                        m = json.loads(line)
                        if m.get("0x08ff0007") == 3:
                            return m
                return None

            m = harness.wait_until(notice, what="the start-up notice")
            self.assertEqual(m["0x08000005"], 34)
        finally:
            sim.stop()

    def test_plugins_load_after_the_start_up_steps(self):
        built = os.path.join(harness.build_dir(), "tests", "agent_plugins", "with_autorun.so")
        self.assertTrue(os.path.exists(built), "test plug-in not built: " + built)
        plugins = os.path.join(self.root.path, "sarn", "lib", "snmp", "vendor")
        os.makedirs(plugins)
        shutil.copy(built, os.path.join(plugins, "extra.so"))
        agent = self.start_agent()
        agent.wait_for_output("test plugin autorun ran", stream="stderr")
        steps = ["loop = new SnmpLooper();", "communityKeep = new CommunityKeep;",
                 "communityKeep->init();", "addHandler(snmp::ID_COMMUNITIES, communityKeep);",
                 "loop->init();", "plugin loaded: %s/extra.so" % plugins,
                 "test plugin autorun ran"]
        lines = agent.stderr().split("\n")
        self.assertEqual([line for line in lines if line in steps], steps)


if __name__ == "__main__":
    unittest.main()
