"""snmpd as a service configured the operator's way: its command line, the
default community, `kxctl snmp` (also --offline, before the agent runs) and
raw bus changes that take effect at once and survive a restart, and engine
boots counting the starts."""

import subprocess
import unittest

import harness
from snmp_ber import GET, NO_SUCH_OID, exchange, port_state, read_response, request

SYS_CONTACT = "1.3.6.1.2.1.1.4.0"
SYS_LOCATION = "1.3.6.1.2.1.1.6.0"


def snmpget(port, community, *oids):
    """The values alone, then anything the tool says on standard error."""
    done = harness.net_snmp("snmpget", port, oids, ["-v", "2c", "-c", community], timeout=1,
                            output=["-Oqv"])
    return done.stdout + done.stderr


class CommandLineTest(unittest.TestCase):
    def test_bad_options_are_one_line_and_exit_2(self):
        for args in (["--bogus"], ["--port"], ["--port", "0"], ["--port", "70000"],
                     ["--trap-port", "12x"]):
            done = subprocess.run([harness.program(harness.SNMPD)] + args,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                  stdin=subprocess.DEVNULL, timeout=20)
            self.assertEqual(done.returncode, 2, args)
            self.assertEqual(done.stderr.count(b"\n"), 1, (args, done.stderr))


class OperatorTest(unittest.TestCase):
    def setUp(self):
        self.root = harness.TempRoot()
        self.addCleanup(self.root.cleanup)
        self.port = harness.free_port()
        self.agents = []

    def snmp(self, *args):
        return harness.kxctl_ok(self.root, "snmp", *args)

    def start_agent(self):
        self.agents.append(harness.start_snmpd(self.root, self.port, "snmpd%d" % len(self.agents)))
        self.addCleanup(self.agents[-1].stop)
        return self.agents[-1]

    def start_enabled_agent(self):
        self.snmp("set", "--offline", "enabled=yes")
        agent = self.start_agent()
        harness.wait_until(lambda: port_state(self.port) == "open", what="the service")
        return agent

    def test_default_community_and_raw_bus_changes(self):
        agent = self.start_enabled_agent()
        reply = exchange(self.port, request(GET, "harbor", NO_SUCH_OID, version=0))
        self.assertEqual((read_response(reply)["version"], read_response(reply)["error_status"]),
                         (0, 2))
        # The reply leaves from the address the request was sent to.
        self.assertEqual(port_state(self.port, target="127.0.0.2"), "open")
        self.assertEqual(port_state(self.port, "intruder"), "silent")
        self.assertIn(" authentification failed\n", agent.stderr())

        # A community added, moved and removed with kxctl's raw bus commands.
        self.assertEqual(port_state(self.port, "ops"), "silent")
        ops = harness.kxctl_json(self.root, "add", "34,1", "0x20000005=ops", "0x00000006=true",
                                 "0x08000008=127.0.0.0", "0x08000009=255.0.0.0")["0x08fe0001"]
        self.assertEqual(port_state(self.port, "ops"), "open")
        # Outside the community's network: dropped.
        harness.kxctl_json(self.root, "setobj", "34,1", str(ops), "0x08000008=10.0.0.0")
        self.assertEqual(port_state(self.port, "ops"), "silent")
        harness.kxctl_json(self.root, "remove", "34,1", str(ops))
        names = [c["0x20000005"] for c in harness.kxctl_json(self.root, "getall", "34,1")]
        self.assertEqual(names, ["harbor"])
        self.assertEqual(agent.stop(), 0)

    def test_enabled_opens_and_closes_the_port_at_once(self):
        harness.kxctl_json(self.root, "store", "put", harness.AGENT_SETTINGS_STORE, "0", "0x00000001=false")
        agent = self.start_agent()
        # A disabled agent leaves after a second of idleness: switch it on
        # before that.
        self.snmp("set", "enabled=yes")
        self.assertEqual(port_state(self.port), "open")
        self.assertIn("enabled          yes\n", self.snmp("show").stdout)

        self.snmp("set", "enabled=no")
        self.assertEqual(port_state(self.port), "closed")
        harness.wait_until(lambda: not agent.alive(), what="the disabled agent to leave")
        dump = harness.kxctl_json(self.root, "store", "dump", harness.AGENT_SETTINGS_STORE)
        self.assertFalse(dump["0"]["0x00000001"])

    def test_offline_then_live_changes_apply_at_once_and_survive_a_restart(self):
        # Before the agent runs: kxctl says so, and --offline writes what it
        # starts with.
        r = harness.kxctl(self.root, "snmp", "show")
        self.assertEqual(r.returncode, 1)
        self.assertIn("snmpd is not running (nothing serves it in the bus directory %s/sarn/run/"
                      "bus)\n" % self.root.path, r.stderr)
        self.assertIn("add --offline", r.stderr)
        self.snmp("set", "--offline", "contact=offline@example.net")
        self.snmp("community", "add", "--offline", "name=public")
        first = self.start_enabled_agent()
        self.assertEqual(snmpget(self.port, "public", SYS_CONTACT), '"offline@example.net"\n')
        r = harness.kxctl(self.root, "snmp", "set", "--offline", "contact=x")
        self.assertEqual((r.returncode, "snmpd is running" in r.stderr), (1, True), r)

        self.snmp("community", "add", "name=private", "address=127.0.0.1/32", "write=yes")
        self.snmp("community", "remove", "harbor")
        self.snmp("set", "contact=noc@example.net", "location=rack 4", "time-window=150",
                  "trap-target=192.0.2.1", "trap-version=2c", "trap-community=private",
                  "trap-generators=start-trap", "engine-id=edge-1")
        # Applied at once: the system group serves the new values, the
        # removed community is refused, the added ones answer.
        self.assertEqual(snmpget(self.port, "public", SYS_CONTACT, SYS_LOCATION),
                         '"noc@example.net"\n"rack 4"\n')
        self.assertEqual(port_state(self.port, "harbor"), "silent")
        self.assertEqual(port_state(self.port, "private"), "open")

        show = self.snmp("show").stdout
        communities = self.snmp("community", "list").stdout
        for line in ("contact          noc@example.net\n", "location         rack 4\n",
                     "time-window      150\n", "trap-target      192.0.2.1\n",
                     "trap-version     2c\n", "trap-community   private\n",
                     "trap-generators  start-trap\n", "engine-id        edge-1\n",
                     "engine-boots     1\n"):
            self.assertIn(line, show)
        self.assertIn("private  127.0.0.1/32  yes   yes", communities)
        generators = self.snmp("generators").stdout.splitlines()
        self.assertEqual(generators[:2], ["ID          NAME        ENABLED",
                                          "0x0abc0001  start-trap  yes"])
        first.stop()

        second = self.start_agent()
        second.wait_for_output("engineBoots = 2\n")
        harness.wait_until(lambda: port_state(self.port, "public") == "open", what="the service")
        self.assertEqual(self.snmp("show").stdout,
                         show.replace("engine-boots     1\n", "engine-boots     2\n"))
        self.assertEqual(self.snmp("community", "list").stdout, communities)
        self.assertEqual(port_state(self.port, "harbor"), "silent")
        self.assertEqual(snmpget(self.port, "public", SYS_CONTACT), '"noc@example.net"\n')
        self.assertIn("cmd_get from ", second.stderr())


if __name__ == "__main__":
    unittest.main()
