"""Traps as a real receiver decodes them: snmptrapd on a free loopback port
gets the start-up warmStart, linkUp and linkDown raised by kxsim's link
events, the enterprise trap a bus message asks for (with every binding type
the agent can encode) and the example plug-in's trap; one agent sends v2c
with the start-up generator, another v1 with the interfaces generator."""

import os
import time
import unittest

import harness

WARM_START = "1.3.6.1.6.3.1.1.5.2"
LINK_DOWN = "1.3.6.1.6.3.1.1.5.3"
LINK_UP = "1.3.6.1.6.3.1.1.5.4"
ENTERPRISE = "1.3.6.1.4.1.32473.1.1.9"
SYS_UPTIME = "1.3.6.1.2.1.1.3.0"
TRAP_OID = "1.3.6.1.6.3.1.1.4.1.0"
IF_INDEX, IF_ADMIN, IF_OPER = ("1.3.6.1.2.1.2.2.1." + c for c in "178")
SYS_NAME = "1.3.6.1.2.1.1.5.0"
START_TRAP_GENERATOR = 0x0abc0001
# generic|specific|enterprise|agent-addr|time-stamp|security|bindings
FORMAT = "%V~%w|%q|%N|%a|%T|%P|%v\n"


class Trap:
    """One trap as snmptrapd logged it."""

    def __init__(self, line):
        fields = line.split("|", 6)
        self.generic, self.specific = int(fields[0]), int(fields[1].lstrip("."))
        self.enterprise, self.agent_addr = fields[2].lstrip("."), fields[3]
        self.time_stamp, self.security = int(fields[4]), fields[5]
        self.bindings = harness.parse_snmp_bindings(fields[6].replace("~", "\n"))

    def notification(self):
        """snmpTrapOID.0 of a v2c trap."""
        return dict(self.bindings)[TRAP_OID]

    def binding_values(self):
        """The bindings after sysUpTime.0 and snmpTrapOID.0 (all of them in v1)."""
        return [b for b in self.bindings if b[0] not in (SYS_UPTIME, TRAP_OID)]


class TrapReceiver:
    """snmptrapd on a free loopback port under root, with its own
    configuration and persistent directory, logging every trap as one line."""

    def __init__(self, root):
        self.port = harness.free_port()
        self.log = root.file("traps.log")
        conf = root.file("snmptrapd.conf")
        with open(conf, "w") as f:
            f.write("disableAuthorization yes\n[snmp] mibs :\n")
        env = dict(os.environ, SNMP_PERSISTENT_DIR=root.file("snmptrapd"))
        self.proc = harness.Process(
            ["snmptrapd", "-f", "-C", "-c", conf, "-Lf", self.log, "-On", "-Oe", "-Ox", "-F", FORMAT,
             "udp:127.0.0.1:%d" % self.port], root.path, "snmptrapd", env=env)
        harness.wait_until(lambda: "NET-SNMP version" in self._text(), what="snmptrapd to start")

    def _text(self):
        try:
            with open(self.log, errors="replace") as f:
                return f.read()
        except FileNotFoundError:
            return ""

    def traps(self):
        return [Trap(line) for line in self._text().split("\n") if line.count("|") >= 6]

    def wait_for(self, count):
        """The traps once there are at least count."""
        return harness.wait_until(lambda: len(self.traps()) >= count and self.traps(),
                                  what="%d traps at snmptrapd" % count)


def settings(version, generators):
    """Every settings key: the service on, traps to 127.0.0.1 as the
    default community (id 0)."""
    return [s for s in harness.AGENT_SETTINGS if s.split("=")[0] not in
            ("0x08000010", "0x08000012", "0x08000011", "0x88000013")] + [
        "0x08000010=127.0.0.1", "0x08000012=%d" % version, "0x08000011=0",
        "0x88000013=%s" % generators]


def router_with_plugin_service():
    scenario = harness.example_scenario("router.json")
    scenario["services"].update(harness.example_scenario("plugin.json")["services"])
    return scenario


class TrapAgentTest(unittest.TestCase):
    """snmptrapd and one agent for every test of the class."""

    VERSION = 1
    GENERATORS = "[]"

    @classmethod
    def setUpClass(cls):
        cls.root = harness.TempRoot(prefix="sarn-traps-")
        cls.receiver = TrapReceiver(cls.root)
        plugin = os.path.join(harness.build_dir(), "examples", "plugin", "example.so")
        try:
            cls.agent = harness.SnmpAgent(router_with_plugin_service(), plugins=[plugin],
                                          settings=settings(cls.VERSION, cls.GENERATORS),
                                          trap_port=cls.receiver.port)
            cls.started = time.monotonic()
        except BaseException:
            cls.tearDownClass()
            raise

    @classmethod
    def tearDownClass(cls):
        try:
            if getattr(cls, "agent", None):
                cls.agent.stop()
        finally:
            cls.receiver.proc.stop()
            cls.root.cleanup()

    def kxctl(self, *args):
        done = harness.kxctl(self.agent.root, *args)
        self.assertEqual(done.returncode, 0, "kxctl %s: %s" % (args, done.stderr))

    def raise_traps(self, *commands):
        """Runs each kxctl command, then an enterprise trap as a marker, and
        returns the traps that arrived meanwhile, the marker left out: those
        the commands raised, as the receiver got them after the marker."""
        before = len(self.receiver.traps())
        for command in commands:
            self.kxctl(*command)
        marker = "marker %d" % before
        self.kxctl("snmp", "send-trap", "oid=" + SYS_NAME, "type=string", "value=" + marker)

        def arrived():
            traps = self.receiver.traps()[before:]
            for i, t in enumerate(traps):
                if t.binding_values() == [(SYS_NAME, ("STRING", marker.encode()))]:
                    return [traps[:i]]
            return None

        return harness.wait_until(arrived, what="the marker trap")[0]


class V2cTrapsTest(TrapAgentTest):
    """v2c, the start-up generator only until a test switches on more."""

    VERSION = 1
    GENERATORS = "[%d]" % START_TRAP_GENERATOR

    def test_start_up_sends_one_warm_start_with_time_and_oid_only(self):
        first = self.receiver.wait_for(1)[0]
        self.assertEqual(first.security, "TRAP2, SNMP v2c, community harbor")
        self.assertEqual([name for name, _ in first.bindings], [SYS_UPTIME, TRAP_OID])
        self.assertEqual(first.notification(), ("OID", WARM_START))
        self.raise_traps()  # anything sent at start has arrived by now
        self.assertEqual(sum(t.bindings[1:2] == [(TRAP_OID, ("OID", WARM_START))]
                             for t in self.receiver.traps()), 1)

    def test_enterprise_trap_carries_one_binding_of_each_type(self):
        cases = [  # type word, value text, as the receiver decodes it
            ("integer", "-42", ("INTEGER", -42)),
            ("string", "hello", ("STRING", b"hello")),
            ("null", None, ("NULL", "")),
            ("oid", "1.3.6.1.4.1.32473", ("OID", "1.3.6.1.4.1.32473")),
            # Written in the fewest octets: only addresses from 1.0.0.0 to
            # 127.255.255.255 take the four a receiver accepts.
            ("ipaddress", "10.0.0.1", ("IpAddress", "10.0.0.1")),
            ("counter", "4000000000", ("Counter32", 4000000000)),
            ("timeticks", "12345", ("Timeticks", 12345)),
            ("unsigned", "7", ("7", "")),  # net-snmp prints UInteger32 without a type
        ]
        for word, value, decoded in cases:
            with self.subTest(type=word):
                args = ["snmp", "send-trap", "oid=" + SYS_NAME, "type=" + word]
                if value is not None:
                    args.append("value=" + value)
                [trap] = self.raise_traps(args)
                self.assertEqual(trap.notification(), ("OID", ENTERPRISE + ".0.1"))
                self.assertEqual(trap.binding_values(), [(SYS_NAME, decoded)])
        # Without an OID, a type, or (but for NULL) a text: no binding.
        for fields in (["0x080003ea=4", "0x200003eb=x"], ["0x200003e9=" + SYS_NAME, "0x200003eb=x"],
                       ["0x200003e9=" + SYS_NAME, "0x080003ea=4"]):
            with self.subTest(fields=fields):
                [trap] = self.raise_traps(["call", "34", "1"] + fields)
                self.assertEqual(trap.binding_values(), [])

    def test_generators_switch_link_and_plugin_traps_on_at_once(self):
        # Off: a link event raises nothing.
        self.assertEqual(self.raise_traps(["setobj", "20,0", "2", "0x08010003=1280"]), [])

        self.kxctl("snmp", "set", "trap-generators=start-trap,interfaces,example-items")
        self.agent.agent.wait_for_output("subscribed to example-items\n")
        self.assertIn("unsubscribed from interfaces\nunsubscribed from example-items\n"
                      "subscribed to interfaces\nsubscribed to example-items\n",
                      self.agent.agent.stdout())
        # ether2 started down (state 0): up and running, the same again (no
        # trap; the event's dump instead), running bit off alone, then down.
        traps = self.raise_traps(*(["setobj", "20,0", "2", "0x08010003=%d" % s]
                                   for s in (0x500, 0x500, 0x100, 0)))
        self.assertEqual([(t.notification()[1], t.binding_values()) for t in traps], [
            (LINK_UP, [(IF_INDEX, ("INTEGER", 2)), (IF_ADMIN, ("INTEGER", 1)),
                       (IF_OPER, ("INTEGER", 1))]),
            (LINK_UP, [(IF_INDEX, ("INTEGER", 2)), (IF_ADMIN, ("INTEGER", 1)),
                       (IF_OPER, ("INTEGER", 2))]),
            (LINK_DOWN, [(IF_INDEX, ("INTEGER", 2)), (IF_ADMIN, ("INTEGER", 2)),
                         (IF_OPER, ("INTEGER", 2))])])
        self.assertIn('Could not handle trap, msg dump: {', self.agent.agent.stdout())

        # The example plug-in's service: an item renamed.
        [trap] = self.raise_traps(["setobj", "77,2", "5", "0x20000003=delta"])
        self.assertEqual(trap.notification(), ("OID", "1.3.6.1.4.1.32473.1.99.0.1"))
        self.assertEqual(trap.binding_values(), [("1.3.6.1.4.1.32473.1.99.4.1.1.5", ("INTEGER", 5)),
                                                 ("1.3.6.1.4.1.32473.1.99.4.1.2.5",
                                                  ("STRING", b"delta"))])


class V1TrapsTest(TrapAgentTest):
    """v1, the interfaces generator only."""

    VERSION = 0
    GENERATORS = "[0]"

    def test_no_warm_start_link_traps_with_agent_address_and_time_stamp(self):
        # ether1 starts up (1280); down, then up again.
        traps = self.raise_traps(["setobj", "20,0", "1", "0x08010003=0"],
                                 ["setobj", "20,0", "1", "0x08010003=1280"])
        self.assertNotIn(WARM_START, [t.enterprise for t in self.receiver.traps()])
        lifetime_ticks = (time.monotonic() - self.started) * 100 + 100
        self.assertEqual([(t.generic, t.specific, t.enterprise, t.agent_addr) for t in traps],
                         [(2, 0, LINK_DOWN, "127.0.0.1"), (3, 0, LINK_UP, "127.0.0.1")])
        for t in traps:
            self.assertEqual(t.security, "TRAP, SNMP v1, community harbor")
            self.assertTrue(0 < t.time_stamp < lifetime_ticks, t.time_stamp)
        self.assertEqual(traps[0].binding_values(), [(IF_INDEX, ("INTEGER", 1)),
                                                     (IF_ADMIN, ("INTEGER", 2)),
                                                     (IF_OPER, ("INTEGER", 2))])

    def test_enterprise_trap_is_enterprise_specific_1(self):
        [trap] = self.raise_traps(["snmp", "send-trap", "oid=" + SYS_NAME, "type=integer",
                                   "value=5"])
        self.assertEqual((trap.generic, trap.specific, trap.enterprise), (6, 1, ENTERPRISE))
        self.assertEqual(trap.binding_values(), [(SYS_NAME, ("INTEGER", 5))])


if __name__ == "__main__":
    unittest.main()
