"""snmpd as an SNMPv3 agent: net-snmp's tools and pysnmp at every security
level with every digest method and privacy protocol, the usmStats reports
that managers understand, hand-made datagrams for what the tools cannot
send (MAC lengths, privacy parameters, time window, foreign engine IDs),
and changes made at once (a new password, a new engine ID kept across a
restart)."""

import os
import sys

try:
    import Cryptodome  # noqa: F401  (pycryptodome and pysnmp are Debian's)
except ImportError:
    if os.path.exists("/usr/bin/python3") and sys.executable != "/usr/bin/python3":
        os.execv("/usr/bin/python3", ["/usr/bin/python3"] + sys.argv)
    raise

import unittest

import harness
import usm_wire as usm
from snmp_ber import exchange, pdu

ENGINE = usm.ENGINE_PREFIX + b"it-engine"
SYSTEM = "1.3.6.1.2.1.1"
SYS_DESCR, SYS_UPTIME, SYS_NAME = SYSTEM + ".1.0", SYSTEM + ".3.0", SYSTEM + ".5.0"
UNSUPPORTED_LEVEL, NOT_IN_TIME, UNKNOWN_USER, UNKNOWN_ENGINE, WRONG_DIGEST = range(5)
SERVED, DROPPED = "served", "dropped"

# One user per combination the managers are run with: (name, auth, priv).
USERS = [("plain", None, None), ("md5", "MD5", None), ("sha", "SHA", None),
         ("sha224", "SHA-224", None), ("sha256", "SHA-256", None), ("sha384", "SHA-384", None),
         ("sha512", "SHA-512", None), ("md5des", "MD5", "DES"), ("shades", "SHA", "DES"),
         ("shaaes", "SHA", "AES"), ("sha256aes", "SHA-256", "AES"),
         ("shaaes192", "SHA", "AES-192"), ("sha256aes192", "SHA-256", "AES-192"),
         ("shaaes256", "SHA", "AES-256"), ("sha256aes256", "SHA-256", "AES-256")]
USER = {name: (name, auth, priv) for name, auth, priv in USERS}
USER["nobody"] = ("nobody", None, None)
USER["oddpriv"] = ("oddpriv", "SHA", "DES")  # stored with protocol 9, security auth

# Hand-made requests that raise each report: (user, message options).
REPORT_TRIGGERS = {UNSUPPORTED_LEVEL: ("md5des", {"level": 1}),
                   WRONG_DIGEST: ("sha", {"mac_length": 0}), UNKNOWN_USER: ("nobody", {})}
# Hand-made requests: (user, message options, what the agent does).
FOREIGN = b"\x80\x00\x1f\x88\x04other"
RAW = [(u, {"mac_length": n}, WRONG_DIGEST) for u, lengths in [
    ("md5", (0, 1, 11, 13)), ("sha", (0, 1, 11, 13)), ("sha256", (0, 12, 23, 25)),
    ("sha512", (12, 47))] for n in lengths] + [
    (u, {"salt": salt}, DROPPED) for u in ("md5des", "shaaes") for salt in (b"", b"1234567",
                                                                          b"123456789")] + [
    (u, {"mangle": lambda c: b""}, DROPPED) for u in ("md5des", "shaaes")] + [
    ("md5des", {"mangle": lambda c: c[:-1]}, DROPPED),
    ("shades", {"mangle": lambda c: c + b"\0"}, DROPPED),
    ("sha", {"boots": 1}, NOT_IN_TIME), ("sha", {"boots": -1}, NOT_IN_TIME),
    ("sha", {"time": -16}, NOT_IN_TIME),
    ("sha", {"engine": FOREIGN, "context_engine": FOREIGN}, UNKNOWN_ENGINE),
    ("md5des", {"level": usm.AUTH_NO_PRIV}, UNSUPPORTED_LEVEL),
    ("oddpriv", {}, UNSUPPORTED_LEVEL), ("oddpriv", {"level": usm.AUTH_NO_PRIV}, SERVED),
    ("nobody", {}, UNKNOWN_USER)] + [(u, {}, SERVED) for u, _, _ in USERS]


passwords = harness.v3_passwords


def wire_user(name, engine=ENGINE, auth_password=None):
    name, auth, priv = USER[name]
    a, p = passwords(name)
    return usm.User(name, engine, auth, auth_password or a, priv, p)


class V3Agent(harness.SnmpAgent):
    """snmpd and kxsim, the engine ID text "it-engine", and v3 helpers."""

    def __init__(self):
        super().__init__(harness.example_scenario(), prefix="sarn-v3-",
                         settings=harness.agent_settings({"0x2000000a": "it-engine"}))

    def add_user(self, name):
        """Adds a v3 user with write access as an operator does (kxctl)."""
        harness.kxctl_ok(self.root, "snmp", "community", "add", "write=yes",
                         *harness.v3_user_words(*USER[name]))

    def v3(self, tool, name, *args, level=None, auth_password=None):
        """Runs a net-snmp tool as the user; the finished process."""
        _, auth, priv = USER[name]
        a, p = passwords(name)
        level = wire_user(name).level if level is None else level
        credentials = ["-v3", "-u", name, "-l", ["noAuthNoPriv", "authNoPriv", "authPriv"][level]]
        credentials += ["-a", auth, "-A", auth_password or a] if auth else []
        credentials += ["-x", priv, "-X", p] if priv else []
        return harness.net_snmp(tool, self.port, args, credentials, timeout=5)

    def discover(self):
        """The report to a discovery, which carries engine ID, boots and time."""
        reply = exchange(self.port, usm.message(usm.User("", b""), b"", 0, 0, pdu(0xa0, [])))
        return usm.Reply(reply)

    def ask(self, user, boots=0, time=0, engine=ENGINE, **kw):
        """A GET of sysDescr.0 by user with boots and time this far from the
        agent's; the Reply, or None when nothing came back."""
        d = self.discover()
        data = exchange(self.port, usm.message(user, engine, d.boots + boots, d.time + time,
                                               pdu(0xa0, [SYS_DESCR], 99), **kw))
        return data and usm.Reply(data, user)


class ManagersTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.agent = V3Agent()
        cls.addClassCleanup(cls.agent.stop)
        for name in USER:
            if name != "nobody":
                cls.agent.add_user(name)
        odd = [u for u in harness.kxctl_json(cls.agent.root, "getall", "34,1")
               if u["0x20000005"] == "oddpriv"][0]
        harness.kxctl_json(cls.agent.root, "setobj", "34,1", odd["0x08fe0001"],
                           "0x08000015=9", "0x0800000f=1")
        cls.descr = cls.agent.get(SYS_DESCR)[SYS_DESCR]
        cls.system = cls.agent.walk(SYSTEM)

    def test_net_snmp_tools_at_every_level_method_and_protocol(self):
        for name, _, _ in USERS:
            with self.subTest(user=name):
                def run(tool, *args):
                    done = self.agent.v3(tool, name, *args)
                    self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
                    return harness.parse_snmp_bindings(done.stdout)

                self.assertEqual(run("snmpget", SYS_DESCR), [(SYS_DESCR, self.descr)])
                self.assertEqual(run("snmpgetnext", SYSTEM + ".1"), [(SYS_DESCR, self.descr)])
                new_name = ("STRING", ("set-by-" + name).encode())
                self.assertEqual(run("snmpset", SYS_NAME, "s", "set-by-" + name),
                                 [(SYS_NAME, new_name)])
                # The same walk as v2c's, but for the new name and the uptime.
                self.assertEqual(
                    [(o, v[0] if o == SYS_UPTIME else v) for o, v in run("snmpwalk", SYSTEM)],
                    [(o, new_name if o == SYS_NAME else v[0] if o == SYS_UPTIME else v)
                     for o, v in self.system])

    def test_pysnmp_at_auth_priv(self):
        from pysnmp import hlapi as h

        for name, auth, priv in [("md5des", h.usmHMACMD5AuthProtocol, h.usmDESPrivProtocol),
                                 ("sha256aes", h.usmHMAC192SHA256AuthProtocol,
                                  h.usmAesCfb128Protocol)]:
            engine = h.SnmpEngine()
            error, status, _, bindings = next(h.getCmd(
                engine, h.UsmUserData(name, *passwords(name), auth, priv),
                h.UdpTransportTarget(("127.0.0.1", self.agent.port), timeout=5, retries=0),
                h.ContextData(), h.ObjectType(h.ObjectIdentity(SYS_DESCR))))
            engine.transportDispatcher.closeDispatcher()
            self.assertEqual((error, int(status), bytes(bindings[0][1])),
                             (None, 0, self.descr[1]), name)

    def counter(self, kind):
        """The usmStats counter of kind, from a report that raises it by one."""
        name, options = REPORT_TRIGGERS[kind]
        reply = self.agent.ask(wire_user(name), **options)
        self.assertEqual(reply.report()[0], kind)
        return reply.report()[1]

    def test_reports_managers_understand_each_counted_once(self):
        # A wrong digest is reported at the request's level, signed with the
        # user's real key: the tool cannot verify it and says so.
        for kind, name, options, text in [
                (WRONG_DIGEST, "sha", {"auth_password": "wrong-password"},
                 "Authentication failed for sha"),
                (UNSUPPORTED_LEVEL, "md5des", {"level": 1}, "Unsupported security level"),
                (UNKNOWN_USER, "nobody", {}, "Unknown user name")]:
            before = self.counter(kind)
            done = self.agent.v3("snmpget", name, SYS_DESCR, **options)
            self.assertIn(text, done.stdout + done.stderr)
            self.assertEqual(self.counter(kind), before + 2, kind)
        self.assertEqual(self.agent.discover().report()[1] + 1, self.agent.discover().report()[1])

    def test_hand_made_requests(self):
        for name, options, outcome in RAW:
            with self.subTest(user=name, options=options):
                user = wire_user(name)
                reply = self.agent.ask(user, **options)
                if outcome == DROPPED:
                    self.assertIsNone(reply)
                    continue
                # Every reply names the local engine, its boots and time.
                d = self.agent.discover()
                self.assertEqual((reply.engine_id, reply.boots), (ENGINE, d.boots))
                self.assertIn(d.time - reply.time, (0, 1))
                if outcome != SERVED:
                    self.assertEqual(reply.report()[0], outcome)
                    continue
                self.assertEqual(reply.pdu["bindings"], [(SYS_DESCR, 0x04, self.descr[1])])
                self.assertEqual(reply.context_engine_id, ENGINE)
                level = options.get("level", user.level)
                self.assertEqual(reply.flags & 3, [0, 1, 3][level])
                self.assertTrue(level == 0 or reply.mac_ok(user))
                self.assertEqual(reply.padding, b"\x05" * (-len(reply.scoped) % 8)
                                 if level == 2 and user.priv == "DES" else b"")
        # Refused privacy: the report leaves unauthenticated, request-id 0.
        reply = self.agent.ask(wire_user("oddpriv"))
        self.assertEqual((reply.flags & 3, reply.pdu["request_id"]), (0, 0))

    def test_time_window_lets_messages_lag_but_not_lead(self):
        # The engine time moves on while the test runs: a case counts when
        # the reply's time is the time the message was made from.
        for offset, outcome in ((1, NOT_IN_TIME), (-15, None)):
            for _ in range(5):
                d = self.agent.discover()
                reply = self.agent.ask(wire_user("sha"), time=offset)
                if reply.time == d.time:
                    break
            self.assertEqual(reply.time, d.time, "the engine time never held still")
            self.assertEqual(reply.report() and reply.report()[0], outcome, offset)


class ChangesTest(unittest.TestCase):
    def test_new_password_and_engine_id_apply_at_once_and_survive_a_restart(self):
        with V3Agent() as agent:
            agent.add_user("sha")
            old, new = passwords("sha")[0], "a-brand-new-password"
            self.assertEqual(agent.v3("snmpget", "sha", SYS_DESCR).returncode, 0)
            harness.kxctl_ok(agent.root, "snmp", "community", "set", "sha", "auth-password=" + new)
            self.assertEqual(agent.v3("snmpget", "sha", SYS_DESCR, auth_password=new).returncode, 0)
            reply = agent.ask(wire_user("sha", auth_password=old))
            self.assertEqual(reply.report()[0], WRONG_DIGEST)

            harness.kxctl_ok(agent.root, "snmp", "set", "engine-id=renamed")
            renamed = usm.ENGINE_PREFIX + b"renamed"
            self.assertEqual(agent.discover().engine_id, renamed)
            show = harness.kxctl_ok(agent.root, "snmp", "show").stdout
            self.assertIn("engine-id-hex    %s\n" % renamed.hex(), show)

            agent.restart("snmpd-again")
            self.assertEqual((agent.discover().engine_id, agent.discover().boots), (renamed, 2))
            # The keys follow the engine ID: localised for the new one.
            user = wire_user("sha", engine=renamed, auth_password=new)
            reply = agent.ask(user, engine=renamed)
            self.assertEqual(reply.pdu["bindings"][0][2], agent.get(SYS_DESCR)[SYS_DESCR][1])
            self.assertEqual(agent.v3("snmpget", "sha", SYS_DESCR, auth_password=new).returncode, 0)


if __name__ == "__main__":
    unittest.main()
