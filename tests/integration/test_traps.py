"""Traps as a real receiver decodes them: snmptrapd on a free loopback port
gets the start-up warmStart, linkUp and linkDown raised by kxsim's link
events, the enterprise trap a bus message asks for (with every binding type
the agent can encode) and the example plug-in's trap; one agent sends v2c
with the start-up generator, another v1 with the interfaces generator, a
third v3 as users of every security level and privacy protocol."""

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
SYS_NAME = "1.3.6.1.2.1.1.5.0"
# generic|specific|enterprise|agent-addr|time-stamp|security|bindings
FORMAT = "%V~%w|%q|%N|%a|%T|%P|%v\n"


def link(index, admin, oper):
    """The bindings of a link trap: ifIndex, ifAdminStatus, ifOperStatus."""
    return [("1.3.6.1.2.1.2.2.1." + column, ("INTEGER", value))
            for column, value in (("1", index), ("7", admin), ("8", oper))]


class Trap:
    """One trap as snmptrapd logged it."""

    def __init__(self, line):
        fields = line.split("|", 6)
        self.v1 = (int(fields[0]), int(fields[1].lstrip(".")), fields[2].lstrip("."), fields[3])
        self.time_stamp, self.security = int(fields[4]), fields[5]
        bindings = harness.parse_snmp_bindings(fields[6].replace("~", "\n"))
        # v2c: what follows sysUpTime.0 and snmpTrapOID.0, which give the name.
        self.names = [name for name, _ in bindings[:2]]
        self.oid = bindings[1][1][1] if self.names == [SYS_UPTIME, TRAP_OID] else None
        self.bindings = bindings[2:] if self.oid else bindings


class TrapAgentTest(unittest.TestCase):
    """snmptrapd, kxsim with the example router and the example plug-in's
    service, and one agent sending traps to snmptrapd, for every test of
    the class."""

    VERSION = 1
    GENERATORS = "[]"
    ENGINE_ID = ""  # the engine-id setting
    RECEIVER_CONF = ""  # further lines of snmptrapd's configuration

    @classmethod
    def setUpClass(cls):
        cls.root = harness.TempRoot(prefix="sarn-traps-")
        cls.addClassCleanup(cls.root.cleanup)
        port = harness.free_port()
        cls.log = cls.root.file("traps.log")
        conf = cls.root.file("snmptrapd.conf")
        with open(conf, "w") as f:
            f.write("disableAuthorization yes\n[snmp] mibs :\n" + cls.RECEIVER_CONF)
        cls.receiver = harness.Process(
            ["snmptrapd", "-f", "-C", "-c", conf, "-Lf", cls.log, "-On", "-Oe", "-Ox", "-F", FORMAT,
             "udp:127.0.0.1:%d" % port], cls.root.path, "snmptrapd",
            env=dict(os.environ, SNMP_PERSISTENT_DIR=cls.root.file("snmptrapd")))
        cls.addClassCleanup(cls.receiver.stop)
        harness.wait_until(lambda: "NET-SNMP" in cls.log_text(), what="snmptrapd to start")
        cls.started = time.monotonic()  # before the agent starts its clock
        cls.agent = harness.SnmpAgent(
            harness.example_scenario("router.json", "plugin.json"), trap_port=port,
            plugins=[harness.example_plugin()], settings=harness.agent_settings({
                "0x08000010": "127.0.0.1", "0x08000012": str(cls.VERSION), "0x08000011": "0",
                "0x88000013": cls.GENERATORS, "0x2000000a": cls.ENGINE_ID}))
        cls.addClassCleanup(cls.agent.stop)

    @classmethod
    def log_text(cls):
        try:
            with open(cls.log, errors="replace") as f:
                return f.read()
        except FileNotFoundError:
            return ""

    def traps(self):
        return [Trap(line) for line in self.log_text().split("\n") if line.count("|") >= 6]

    def kxctl(self, *args):
        harness.kxctl_ok(self.agent.root, *args)

    def raise_traps(self, *commands):
        """Runs each kxctl command, then asks for an enterprise trap as a
        marker; returns the traps that arrived before the marker."""
        before = len(self.traps())
        for command in commands:
            self.kxctl(*command)
        marker = ("STRING", b"marker %d" % before)
        self.kxctl("snmp", "send-trap", "oid=" + SYS_NAME, "type=string", "value=%s" %
                   marker[1].decode())

        def arrived():
            traps = self.traps()[before:]
            ends = [i for i, t in enumerate(traps) if t.bindings == [(SYS_NAME, marker)]]
            return ends and [traps[:ends[0]]]

        return harness.wait_until(arrived, what="the marker trap")[0]


class V2cTrapsTest(TrapAgentTest):
    """v2c, the start-up generator only until a test switches on more."""

    VERSION = 1
    GENERATORS = "[%d]" % 0x0abc0001

    def test_start_up_sends_one_warm_start(self):
        self.raise_traps()  # anything sent at start has arrived by now
        first = self.traps()[0]
        self.assertEqual((first.security, first.names, first.oid, first.bindings),
                         ("TRAP2, SNMP v2c, community harbor", [SYS_UPTIME, TRAP_OID], WARM_START,
                          []))
        self.assertEqual([t.oid for t in self.traps()].count(WARM_START), 1)

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
                [trap] = self.raise_traps(args + (["value=" + value] if value else []))
                self.assertEqual((trap.oid, trap.bindings),
                                 (ENTERPRISE + ".0.1", [(SYS_NAME, decoded)]))
        # Without an OID, a type, or (but for NULL) a text: no binding.
        for fields in (["0x080003ea=4", "0x200003eb=x"], ["0x200003e9=" + SYS_NAME, "0x200003eb=x"],
                       ["0x200003e9=" + SYS_NAME, "0x080003ea=4"]):
            with self.subTest(fields=fields):
                [trap] = self.raise_traps(["call", "34", "1"] + fields)
                self.assertEqual(trap.bindings, [])

    def test_generators_switch_link_and_plugin_traps_on_at_once(self):
        # Off: a link event raises nothing.
        self.assertEqual(self.raise_traps(["setobj", "20,0", "2", "0x08010003=1280"]), [])

        # Every subscriber is unsubscribed, then each named one subscribed once.
        self.kxctl("snmp", "set", "trap-generators=start-trap,interfaces,interfaces,example-items")
        self.agent.agent.wait_for_output("subscribed to example-items\n")
        self.assertIn("\nunsubscribed from interfaces\nunsubscribed from example-items\n"
                      "subscribed to interfaces\nsubscribed to example-items\n",
                      self.agent.agent.stdout())
        # ether2 (2) was primed down: up, the same again (no trap: the event's
        # dump instead), the running bit alone, then down.
        traps = self.raise_traps(*[["setobj", "20,0", "2", "0x08010003=%d" % s]
                                   for s in (0x500, 0x500, 0x100, 0)])
        self.assertEqual([(t.oid, t.bindings) for t in traps],
                         [(LINK_UP, link(2, 1, 1)), (LINK_UP, link(2, 1, 2)),
                          (LINK_DOWN, link(2, 2, 2))])
        self.assertEqual(self.agent.agent.stdout().count("Could not handle trap, msg dump: {"), 1)

        # The example plug-in's service: an item renamed.  Its event carries
        # a state field too, but comes from another path: no link trap.
        [trap] = self.raise_traps(["setobj", "77,2", "5", "0x20000003=delta", "0x08010003=0"])
        self.assertEqual((trap.oid, trap.bindings), (
            "1.3.6.1.4.1.32473.1.99.0.1", [("1.3.6.1.4.1.32473.1.99.4.1.1.5", ("INTEGER", 5)),
                                           ("1.3.6.1.4.1.32473.1.99.4.1.2.5", ("STRING", b"delta"))]))


class V1TrapsTest(TrapAgentTest):
    """v1, the interfaces generator only."""

    VERSION = 0
    GENERATORS = "[0]"

    def test_link_and_enterprise_traps_without_warm_start(self):
        # ether1 (1) was primed up and running, stored as 0x100 of 0x500:
        # the running bit going off alone looks like no change the first time
        # (the masks of priming and trapping differ on purpose).  Then down
        # and up.
        traps = self.raise_traps(*[["setobj", "20,0", "1", "0x08010003=%d" % s]
                                   for s in (0x100, 0, 1280)],
                                 ["snmp", "send-trap", "oid=" + SYS_NAME, "type=integer",
                                  "value=5"])
        self.assertEqual([(t.v1, t.bindings) for t in traps], [
            ((2, 0, LINK_DOWN, "127.0.0.1"), link(1, 2, 2)),
            ((3, 0, LINK_UP, "127.0.0.1"), link(1, 1, 1)),
            ((6, 1, ENTERPRISE, "127.0.0.1"), [(SYS_NAME, ("INTEGER", 5))])])
        lifetime_ticks = (time.monotonic() - self.started) * 100
        for t in traps:
            self.assertEqual(t.security, "TRAP, SNMP v1, community harbor")
            self.assertTrue(0 < t.time_stamp < lifetime_ticks, t.time_stamp)
        self.assertNotIn(WARM_START, [t.v1[2] for t in self.traps()])


# v3 trap users: (name, auth, priv) in net-snmp's names; the level follows.
V3_USERS = [("plain", None, None), ("sha", "SHA", None), ("md5des", "MD5", "DES"),
            ("sha256aes", "SHA-256", "AES"), ("shaaes192", "SHA", "AES-192"),
            ("sha512aes256", "SHA-512", "AES-256")]
# Known to snmptrapd with another auth password.
WRONG_PASSWORD = ("wrongpw", "SHA-256", "AES")
V3_ENGINE = "trap-engine"


def create_user(name, auth, priv, auth_password=None):
    """snmptrapd's line for a trap user of the agent's engine."""
    a, p = harness.v3_passwords(name)
    words = [name] + ([auth, '"%s"' % (auth_password or a)] if auth else []) + (
        [priv, '"%s"' % p] if priv else [])
    return "createUser -e 0x80007ed904%s %s\n" % (V3_ENGINE.encode().hex(), " ".join(words))


class V3TrapsTest(TrapAgentTest):
    """v3, no generators: enterprise traps sent as each user in turn."""

    VERSION = 3
    ENGINE_ID = V3_ENGINE
    RECEIVER_CONF = "".join(create_user(*u) for u in V3_USERS) + create_user(
        *WRONG_PASSWORD, auth_password="not-the-password")

    def test_receiver_decodes_every_level_method_and_protocol(self):
        for user in V3_USERS + [WRONG_PASSWORD]:
            self.kxctl("snmp", "community", "add", *harness.v3_user_words(*user))
        # The wrong password first: the traps that follow show it was handled.
        for name, _, _ in [WRONG_PASSWORD] + V3_USERS:
            self.kxctl("snmp", "set", "trap-community=" + name)
            self.kxctl("snmp", "send-trap")
        harness.wait_until(lambda: len(self.traps()) >= len(V3_USERS), what="every user's trap")
        self.assertEqual([(t.security, t.oid) for t in self.traps()],
                         [("TRAP2, SNMP v3, user %s, context " % name, ENTERPRISE + ".0.1")
                          for name, _, _ in V3_USERS])
        self.assertIn("Authentication failed for wrongpw\n", self.log_text())
        self.assertEqual(self.agent.agent.stdout().count("snmp v3 trap\n"), len(V3_USERS) + 1)

if __name__ == "__main__":
    unittest.main()
