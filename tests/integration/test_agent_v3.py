"""snmpd as an SNMPv3 agent: net-snmp's tools and pysnmp at every security
level with every digest method and privacy protocol, the usmStats reports
that managers understand, and hand-made datagrams for what the tools cannot
send (MAC lengths, privacy parameters, time window, foreign engine IDs);
then changes made at once (a new password, a new engine ID, kept across a
restart)."""

import os
import sys

try:
    import Cryptodome  # noqa: F401  (pycryptodome and pysnmp are Debian's)
except ImportError:
    if os.path.exists("/usr/bin/python3") and sys.executable != "/usr/bin/python3":
        os.execv("/usr/bin/python3", ["/usr/bin/python3"] + sys.argv)
    raise

import subprocess
import unittest

import harness
import usm_wire as usm
from snmp_ber import exchange, pdu

ENGINE_TEXT = "it-engine"
ENGINE = usm.ENGINE_PREFIX + ENGINE_TEXT.encode()
SYS_DESCR = "1.3.6.1.2.1.1.1.0"
SYS_NAME = "1.3.6.1.2.1.1.5.0"
SYSTEM = "1.3.6.1.2.1.1"
GET = 0xa0
UNSUPPORTED_LEVEL, NOT_IN_TIME, UNKNOWN_USER, UNKNOWN_ENGINE, WRONG_DIGEST = range(5)

# One user per combination the managers are run with: (name, auth, priv).
USERS = [("plain", None, None), ("md5", "MD5", None), ("sha", "SHA", None),
         ("sha224", "SHA-224", None), ("sha256", "SHA-256", None), ("sha384", "SHA-384", None),
         ("sha512", "SHA-512", None), ("md5des", "MD5", "DES"), ("shades", "SHA", "DES"),
         ("shaaes", "SHA", "AES"), ("sha256aes", "SHA-256", "AES"),
         ("shaaes192", "SHA", "AES-192"), ("sha256aes192", "SHA-256", "AES-192"),
         ("shaaes256", "SHA", "AES-256"), ("sha256aes256", "SHA-256", "AES-256")]
LEVEL_NAMES = ["noAuthNoPriv", "authNoPriv", "authPriv"]


def settings(engine_text):
    return [s for s in harness.AGENT_SETTINGS if not s.startswith("0x2000000a=")] + \
        ["0x2000000a=" + engine_text]


def passwords(name):
    return "auth-%s-pass" % name, "priv-%s-pass" % name


def add_user(root, name, auth, priv, *extra):
    """Adds a v3 user as an operator does (kxctl), with write access."""
    level = "none" if not auth else "auth" if not priv else "authpriv"
    words = ["name=" + name, "write=yes", "security=" + level]
    a, p = passwords(name)
    if auth:
        words += ["auth=" + auth.lower().replace("-", ""), "auth-password=" + a]
    if priv:
        words += ["priv=" + priv.lower().replace("-", ""), "priv-password=" + p]
    done = harness.kxctl(root, "snmp", "community", "add", *(words + list(extra)))
    assert done.returncode == 0, done.stderr


def wire_user(name, auth, priv, engine=ENGINE, auth_password=None):
    a, p = passwords(name)
    return usm.User(name, engine, auth, auth_password or a, priv, p)


class V3Agent(harness.SnmpAgent):
    """snmpd with the engine ID text given, and v3 helpers."""

    def __init__(self, engine_text=ENGINE_TEXT):
        super().__init__(harness.example_scenario(), prefix="sarn-v3-",
                         settings=settings(engine_text))

    def v3(self, tool, name, auth, priv, args, level=None, auth_password=None):
        """Runs a net-snmp tool as the user; the finished process."""
        a, p = passwords(name)
        level = LEVEL_NAMES[wire_user(name, auth, priv).level if level is None else level]
        cmd = [tool, "-v3", "-u", name, "-l", level, "-t", "5", "-r", "0"]
        if auth:
            cmd += ["-a", auth, "-A", auth_password or a]
        if priv:
            cmd += ["-x", priv, "-X", p]
        cmd += harness.SNMP_OUTPUT + ["127.0.0.1:%d" % self.port] + list(args)
        return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              stdin=subprocess.DEVNULL, universal_newlines=True, timeout=30)

    def send(self, datagram, user=None):
        """The Reply to a datagram (decrypted with user's keys), or None."""
        data = exchange(self.port, datagram)
        return None if data is None else usm.Reply(data, user)

    def discover(self):
        """The report to a discovery: it carries the engine ID, boots and time."""
        probe = usm.User("", b"")
        reply = self.send(usm.message(probe, b"", 0, 0, pdu(GET, [SYS_DESCR])))
        assert reply is not None and reply.report()[0] == UNKNOWN_ENGINE
        return reply

    def ask(self, user, level=None, **kw):
        """A GET of sysDescr.0 by user, inside the time window unless kw
        says otherwise; the Reply."""
        d = self.discover()
        kw.setdefault("boots", d.boots)
        kw.setdefault("time", d.time)
        engine = kw.pop("engine", d.engine_id)
        return self.send(usm.message(user, engine, kw.pop("boots"), kw.pop("time"),
                                     pdu(GET, [SYS_DESCR], request_id=99), level, **kw), user)


class ManagersTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.agent = V3Agent()
        try:
            for name, auth, priv in USERS:
                add_user(cls.agent.root, name, auth, priv)
            # A user whose privacy protocol the agent doesn't know.
            add_user(cls.agent.root, "oddpriv", "SHA", None)
            harness.kxctl_json(cls.agent.root, "setobj", "34,1",
                               cls.user_id("oddpriv"), "0x08000015=9")
            cls.descr = cls.agent.get(SYS_DESCR)[SYS_DESCR]
            cls.system = cls.agent.walk(SYSTEM)
        except BaseException:
            cls.agent.stop()
            raise

    @classmethod
    def user_id(cls, name):
        users = harness.kxctl_json(cls.agent.root, "getall", "34,1")
        return [u["0x08fe0001"] for u in users if u["0x20000005"] == name][0]

    @classmethod
    def tearDownClass(cls):
        cls.agent.stop()

    def bindings(self, done):
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return harness.parse_snmp_bindings(done.stdout)

    def test_net_snmp_tools_at_every_level_method_and_protocol(self):
        for name, auth, priv in USERS:
            with self.subTest(user=name):
                run = lambda tool, *args: self.bindings(self.agent.v3(tool, name, auth, priv, args))
                self.assertEqual(run("snmpget", SYS_DESCR), [(SYS_DESCR, self.descr)])
                self.assertEqual(run("snmpgetnext", SYSTEM + ".1"), [(SYS_DESCR, self.descr)])
                new_name = ("STRING", ("set-by-" + name).encode())
                self.assertEqual(run("snmpset", SYS_NAME, "s", "set-by-" + name),
                                 [(SYS_NAME, new_name)])
                self.assertEqual(run("snmpwalk", SYSTEM),
                                 [(o, new_name if o == SYS_NAME else v) for o, v in self.system])

    def test_pysnmp_at_auth_priv(self):
        from pysnmp import hlapi

        protocols = {"MD5": hlapi.usmHMACMD5AuthProtocol, "SHA-256": hlapi.usmHMAC192SHA256AuthProtocol,
                     "DES": hlapi.usmDESPrivProtocol, "AES": hlapi.usmAesCfb128Protocol}
        for name, auth, priv in [("md5des", "MD5", "DES"), ("sha256aes", "SHA-256", "AES")]:
            a, p = passwords(name)
            error, status, _, bindings = next(hlapi.getCmd(
                hlapi.SnmpEngine(),
                hlapi.UsmUserData(name, a, p, authProtocol=protocols[auth],
                                  privProtocol=protocols[priv]),
                hlapi.UdpTransportTarget(("127.0.0.1", self.agent.port), timeout=5, retries=0),
                hlapi.ContextData(), hlapi.ObjectType(hlapi.ObjectIdentity(SYS_DESCR))))
            self.assertIsNone(error, name)
            self.assertEqual(int(status), 0)
            self.assertEqual(bytes(bindings[0][1]), self.descr[1], name)

    def counter(self, kind):
        """The usmStats counter of kind, read from a report that raises it
        by one."""
        sha, md5des = wire_user("sha", "SHA", None), wire_user("md5des", "MD5", "DES")
        reply = {UNSUPPORTED_LEVEL: lambda: self.agent.ask(md5des, level=usm.AUTH_NO_PRIV),
                 NOT_IN_TIME: lambda: self.agent.ask(sha, boots=12345),
                 UNKNOWN_USER: lambda: self.agent.ask(wire_user("nobody", None, None)),
                 UNKNOWN_ENGINE: self.agent.discover,
                 WRONG_DIGEST: lambda: self.agent.ask(sha, mac_length=0)}[kind]()
        self.assertEqual(reply.report()[0], kind)
        return reply.report()[1]

    def test_reports_managers_understand_each_counted_once(self):
        cases = [  # (kind, user, level, auth password, what the tool prints)
            (WRONG_DIGEST, ("sha", "SHA", None), None, "wrong-password", "Authentication failed"),
            (UNSUPPORTED_LEVEL, ("md5des", "MD5", "DES"), usm.AUTH_NO_PRIV, None,
             "Unsupported security level"),
            (UNKNOWN_USER, ("nobody", None, None), None, None, "Unknown user name")]
        for kind, user, level, password, text in cases:
            with self.subTest(kind=kind):
                before = self.counter(kind)
                done = self.agent.v3("snmpget", *user, [SYS_DESCR], level, password)
                self.assertNotEqual(done.returncode, 0)
                self.assertIn(text, done.stdout + done.stderr)
                self.assertEqual(self.counter(kind), before + 2)
        for kind in (NOT_IN_TIME, UNKNOWN_ENGINE):
            self.assertEqual(self.counter(kind) + 1, self.counter(kind))

    def test_mac_of_exactly_the_methods_length_only(self):
        for name, auth, good, bad in [("md5", "MD5", 12, (0, 1, 11, 13)),
                                      ("sha", "SHA", 12, (0, 1, 11, 13)),
                                      ("sha256", "SHA-256", 24, (0, 12, 23, 25)),
                                      ("sha512", "SHA-512", 48, (12, 47))]:
            user = wire_user(name, auth, None)
            for length in bad:
                reply = self.agent.ask(user, mac_length=length)
                self.assertEqual(reply.report()[0], WRONG_DIGEST, (name, length))
            reply = self.agent.ask(user, mac_length=good)
            self.assertEqual(reply.pdu["bindings"][0][2], self.descr[1])
            self.assertTrue(reply.mac_ok(user), name)

    def test_undecryptable_pdus_are_dropped(self):
        for name, auth, priv in [("md5des", "MD5", "DES"), ("shaaes", "SHA", "AES")]:
            user = wire_user(name, auth, priv)
            bad = [dict(salt=b""), dict(salt=b"1234567"), dict(salt=b"123456789"),
                   dict(mangle=lambda c: b"")]
            if priv == "DES":
                bad += [dict(mangle=lambda c: c[:-1]), dict(mangle=lambda c: c + b"\0")]
            for kw in bad:
                self.assertIsNone(self.agent.ask(user, **kw), (name, kw))
            self.assertEqual(self.agent.ask(user).pdu["bindings"][0][2], self.descr[1])
        self.assertIn("decryptAndCheckSignature failed\n", self.agent.agent.stderr())

    def test_time_window_is_one_sided(self):
        user = wire_user("sha", "SHA", None)
        d = self.agent.discover()
        for boots in (d.boots - 1, d.boots + 1):
            self.assertEqual(self.agent.ask(user, boots=boots).report()[0], NOT_IN_TIME)
        self.assertEqual(self.agent.ask(user, time=d.time - 16).report()[0], NOT_IN_TIME)
        # The engine time moves on while the test runs: a case counts when
        # the reply's time is the time the message was made from.
        for offset, report in ((1, NOT_IN_TIME), (-15, None)):
            for _ in range(5):
                d = self.agent.discover()
                reply = self.agent.ask(user, time=d.time + offset)
                if reply.time == d.time:
                    break
            self.assertEqual(reply.time, d.time, "the engine time never held still")
            self.assertEqual(reply.report() and reply.report()[0], report, offset)

    def test_foreign_engine_id_gets_the_local_engine_boots_and_time(self):
        user = wire_user("sha", "SHA", None)
        d = self.agent.discover()
        self.assertEqual((d.engine_id, d.context_engine_id, d.boots), (ENGINE, ENGINE, 1))
        foreign = b"\x80\x00\x1f\x88\x04other"
        reply = self.agent.ask(user, engine=foreign, context_engine=foreign)
        self.assertEqual(reply.report()[0], UNKNOWN_ENGINE)
        self.assertEqual((reply.engine_id, reply.context_engine_id, reply.boots),
                         (ENGINE, ENGINE, 1))
        self.assertLessEqual(reply.time - d.time, 1)

    def test_auth_priv_replies_are_padded_encrypted_and_signed(self):
        for name, auth, priv in USERS:
            if not priv:
                continue
            user = wire_user(name, auth, priv)
            reply = self.agent.ask(user)
            self.assertEqual(reply.flags & 3, 3, name)
            self.assertTrue(reply.mac_ok(user), name)
            self.assertEqual(reply.pdu["bindings"][0][2], self.descr[1], name)
            self.assertEqual(len(reply.priv_params), 8)
            if priv == "DES":
                self.assertEqual(len(reply.scoped + reply.padding) % 8, 0)
                self.assertEqual(reply.padding, b"\x05" * len(reply.padding))
            else:
                self.assertEqual(reply.padding, b"")

    def test_unknown_privacy_protocol_is_an_unsupported_level(self):
        user = usm.User("oddpriv", ENGINE, "SHA", passwords("oddpriv")[0], "DES", "whatever")
        reply = self.agent.ask(user)
        self.assertEqual(reply.report()[0], UNSUPPORTED_LEVEL)
        self.assertEqual((reply.flags & 3, reply.pdu["request_id"]), (0, 0))
        # Without privacy the same user is served.
        reply = self.agent.ask(user, level=usm.AUTH_NO_PRIV)
        self.assertEqual(reply.pdu["bindings"][0][2], self.descr[1])


class ChangesTest(unittest.TestCase):
    """Changes take effect on the next request, and survive a restart."""

    def setUp(self):
        self.agent = V3Agent()

    def tearDown(self):
        self.agent.stop()

    def test_new_password_works_at_once_and_the_old_one_no_longer(self):
        add_user(self.agent.root, "ops", "SHA", None)
        old, new = passwords("ops")[0], "a-brand-new-password"
        get = lambda password: self.agent.v3("snmpget", "ops", "SHA", None, [SYS_DESCR],
                                             auth_password=password)
        self.assertEqual(get(old).returncode, 0)
        done = harness.kxctl(self.agent.root, "snmp", "community", "set", "ops",
                             "auth-password=" + new)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(get(new).returncode, 0, get(new).stderr)
        self.assertIn("Authentication failed", get(old).stderr)
        reply = self.agent.ask(wire_user("ops", "SHA", None, auth_password=old))
        self.assertEqual(reply.report()[0], WRONG_DIGEST)

    def test_engine_id_change_shows_in_the_next_report_and_after_a_restart(self):
        add_user(self.agent.root, "ops", "SHA", None)
        done = harness.kxctl(self.agent.root, "snmp", "set", "engine-id=renamed")
        self.assertEqual(done.returncode, 0, done.stderr)
        renamed = usm.ENGINE_PREFIX + b"renamed"
        self.assertEqual(self.agent.discover().engine_id, renamed)
        # The keys follow the engine ID: localised for the new one.
        reply = self.agent.ask(wire_user("ops", "SHA", None, engine=renamed))
        self.assertEqual(reply.pdu["bindings"][0][2], self.agent.get(SYS_DESCR)[SYS_DESCR][1])
        show = harness.kxctl(self.agent.root, "snmp", "show").stdout
        self.assertIn("engine-id        renamed\n", show)
        self.assertIn("engine-id-hex    " + renamed.hex() + "\n", show)

        self.agent.agent.stop()
        self.agent.agent = harness.Process(
            [harness.program(harness.SNMPD), "--root", self.agent.root.path, "--port",
             str(self.agent.port)], self.agent.root.path, "snmpd-again")
        harness.wait_until(self.agent._answers, what="snmpd to answer again")
        d = self.agent.discover()
        self.assertEqual((d.engine_id, d.boots), (renamed, 2))
        done = self.agent.v3("snmpget", "ops", "SHA", None, [SYS_DESCR])
        self.assertEqual(done.returncode, 0, done.stderr)


if __name__ == "__main__":
    unittest.main()
