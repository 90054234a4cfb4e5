"""Shared helpers of the integration tests: built programs (SARN_BUILD),
sources (SARN_SOURCE), temporary roots, background processes stopped by
their pid with bounded waits, kxctl runs, and snmpd beside kxsim driven by
net-snmp's tools."""

import atexit
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time

import snmp_ber

KXSIM = "sim/kxsim"
KXCTL = "tools/kxctl"
SNMPD = "agent/snmpd"

# No single wait of a test is longer than this; a hang fails the test
# instead of stalling the run.
DEFAULT_WAIT_S = 10.0
POLL_INTERVAL_S = 0.05


def isolate_net_snmp_tools():
    # net-snmp's tools and daemons run by this process get their own
    # configuration and persistent directories, so that nothing depends on
    # what earlier runs left in /var/lib/snmp or ~/.snmp: the persistent
    # directory exists beforehand (a first run would announce creating it),
    # and no MIB modules load (their names and noise are not what the tests
    # compare).
    home = tempfile.mkdtemp(prefix="sarn-netsnmp-")
    atexit.register(shutil.rmtree, home, True)
    os.makedirs(os.path.join(home, "persist", "cert_indexes"))
    os.makedirs(os.path.join(home, "conf"))
    with open(os.path.join(home, "conf", "snmp.conf"), "w") as f:
        f.write("mibs :\n")
    os.environ["SNMP_PERSISTENT_DIR"] = os.path.join(home, "persist")
    os.environ["SNMPCONFPATH"] = os.path.join(home, "conf")
    os.environ.pop("MIBS", None)
    os.environ.pop("MIBDIRS", None)


isolate_net_snmp_tools()


def build_dir():
    build = os.environ.get("SARN_BUILD")
    if not build:
        raise RuntimeError("SARN_BUILD is not set: run through ctest, or export "
                           "SARN_BUILD=<build dir>")
    return build


def source_dir():
    """SARN_SOURCE, else two levels above this file."""
    return os.environ.get("SARN_SOURCE") or os.path.dirname(
        os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def program(relative):
    """Absolute path of a built program such as KXSIM; fails clearly when missing."""
    path = os.path.join(build_dir(), relative)
    if not os.access(path, os.X_OK):
        raise RuntimeError("%s is not built (looked for %s)" % (relative, path))
    return path


def free_port(kind=socket.SOCK_DGRAM):
    """A port on 127.0.0.1 that nothing uses at this moment (UDP by default)."""
    with socket.socket(socket.AF_INET, kind) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def wait_until(predicate, timeout=DEFAULT_WAIT_S, what="the condition"):
    """The first true value of predicate(); AssertionError naming `what`
    after `timeout` seconds."""
    deadline = time.monotonic() + timeout
    while True:
        value = predicate()
        if value:
            return value
        if time.monotonic() >= deadline:
            raise AssertionError("timed out after %.1f s waiting for %s" % (timeout, what))
        time.sleep(POLL_INTERVAL_S)


class TempRoot:
    """A temporary directory used as the platform root (--root)."""

    def __init__(self, prefix="sarn-it-"):
        self.path = tempfile.mkdtemp(prefix=prefix)

    def file(self, name):
        return os.path.join(self.path, name)

    def write_json(self, name, doc):
        with open(self.file(name), "w") as f:
            json.dump(doc, f)
        return self.file(name)

    def cleanup(self):
        shutil.rmtree(self.path, ignore_errors=True)


class Process:
    """A background process whose output goes to files (a pipe nobody reads
    could block it).  Always stop it: stop() or a with-block."""

    def __init__(self, args, log_dir, name, env=None, stderr=None):
        """stderr: where standard error goes instead of its file (a pipe)."""
        self.name = name
        self.paths = {s: os.path.join(log_dir, name + "." + s) for s in ("stdout", "stderr")}
        with open(self.paths["stdout"], "wb") as out, open(self.paths["stderr"], "wb") as err:
            self.popen = subprocess.Popen(list(args), stdout=out, stderr=stderr or err,
                                          stdin=subprocess.DEVNULL, env=env)
        self.returncode = None

    def output(self, stream):
        with open(self.paths[stream], errors="replace") as f:
            return f.read()

    def stdout(self):
        return self.output("stdout")

    def stderr(self):
        return self.output("stderr")

    def stdout_lines(self):
        """Complete lines written so far."""
        return self.stdout().split("\n")[:-1]

    def alive(self):
        return self.popen.poll() is None

    def wait_for_output(self, text, stream="stdout", timeout=DEFAULT_WAIT_S):
        """Waits until `text` appears on the stream; fails early if the process ends."""
        def seen():
            if text in self.output(stream):
                return True
            if not self.alive():
                raise AssertionError("%s ended (status %s) before printing %r; stderr:\n%s"
                                     % (self.name, self.popen.returncode, text, self.stderr()))
            return False

        wait_until(seen, timeout, "%r from %s" % (text, self.name))

    def stop(self, sig=signal.SIGTERM, timeout=5.0):
        """Sends sig, waits at most timeout, then kills; the exit status."""
        if self.returncode is not None:
            return self.returncode
        if self.alive():  # never signal a pid already reaped: it may be another's now
            self.popen.send_signal(sig)
        try:
            self.returncode = self.popen.wait(timeout=timeout)
        except subprocess.TimeoutExpired:
            self.popen.kill()
            self.popen.wait(timeout=timeout)
            raise AssertionError("%s did not stop within %.1f s of signal %d; killed"
                                 % (self.name, timeout, sig))
        return self.returncode

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        try:
            self.stop()
        except AssertionError:
            if exc[0] is None:
                raise


def start(args, root, name, text, stream="stdout", env=None):
    """A Process logging under root (a TempRoot or a directory), once it
    has printed text (stopped if it does not)."""
    proc = Process(args, getattr(root, "path", root), name, env=env)
    try:
        proc.wait_for_output(text, stream=stream)
    except AssertionError:
        proc.stop()
        raise
    return proc


def start_snmpd(root, port, name="snmpd", env=None, args=()):
    """snmpd under root on the UDP port, once it has read its settings (not
    once it serves: it may be disabled)."""
    return start([program(SNMPD), "--root", root.path, "--port", str(port)] + list(args), root,
                 name, "loop->init();", "stderr", env)


def start_serving_snmpd(root, port, name="snmpd", env=None):
    """snmpd under root with the service switched on in its stored settings,
    once it answers on the UDP port."""
    kxctl_json(root, "store", "put", AGENT_SETTINGS_STORE, "0", "0x00000001=true")
    agent = start_snmpd(root, port, name, env)
    try:
        wait_until(lambda: snmp_ber.port_state(port) == "open", what="snmpd to serve")
    except AssertionError:
        agent.stop()
        raise
    return agent


def start_kxsim(root, scenario_path, journal=None, name="kxsim"):
    """kxsim serving a scenario under root, once it serves."""
    journal_args = ["--journal", journal] if journal else []
    return start([program(KXSIM), "--root", root.path] + journal_args + [scenario_path], root,
                 name, "kxsim: serving services")


def start_kxctl_watch(root, path, kind, *extra, name="watch"):
    """`kxctl watch` in the background, once it is subscribed."""
    return start([program(KXCTL), "--root", root.path, "watch", path, kind] + list(extra), root,
                 name, "kxctl: watching", "stderr")


def kxctl(root, *args, timeout=30.0):
    """Runs kxctl --root ROOT ARGS... to completion; the finished process,
    its output as text and its run time in `elapsed`."""
    start_s = time.monotonic()
    done = subprocess.run([program(KXCTL), "--root", root.path] + [str(a) for a in args],
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          stdin=subprocess.DEVNULL, timeout=timeout, universal_newlines=True,
                          errors="replace")
    done.elapsed = time.monotonic() - start_s
    return done


def kxctl_ok(root, *args, timeout=30.0):
    """Runs kxctl and requires exit 0; the finished process."""
    r = kxctl(root, *args, timeout=timeout)
    if r.returncode != 0:
        raise AssertionError("kxctl %s: %r" % (" ".join(map(str, args)), r))
    return r


def kxctl_json(root, *args, timeout=30.0):
    """Runs kxctl, requires exit 0, and returns its output parsed as JSON."""
    r = kxctl_ok(root, *args, timeout=timeout)
    try:
        return json.loads(r.stdout)
    except ValueError:
        raise AssertionError("kxctl %s printed no JSON: %r" % (" ".join(map(str, args)), r))


def v3_passwords(name):
    """The auth and privacy passwords the tests give the v3 user name."""
    return "auth-%s-pass" % name, "priv-%s-pass" % name


def v3_user_words(name, auth, priv):
    """`kxctl snmp community add` words for the v3 user name with net-snmp's
    names of its method and protocol (None: none) and its v3_passwords."""
    a, p = v3_passwords(name)
    words = ["name=" + name, "security=" + ("authpriv" if priv else "auth" if auth else "none")]
    words += ["auth=" + auth.lower().replace("-", ""), "auth-password=" + a] if auth else []
    return words + (["priv=" + priv.lower().replace("-", ""), "priv-password=" + p] if priv else [])


# --- snmpd beside kxsim, driven by net-snmp's command-line tools ---------

AGENT_SETTINGS_STORE = "/sarn/store/snmpd"
# Every key of the agent's settings object, the service on, the default
# read community.
AGENT_SETTINGS = ["0x20000004=harbor", "0x20000002=", "0x20000003=", "0x2000000a=",
                  "0x0800000e=15", "0x08000010=0.0.0.0", "0x08000012=0",
                  "0x08000011=4294967295", "0x88000013=[]", "0x0800000d=0",
                  "0x00000001=true"]


def agent_settings(changes):
    """AGENT_SETTINGS with the fields of changes ({key: text}) in place of
    their defaults."""
    settings = dict(s.split("=", 1) for s in AGENT_SETTINGS)
    settings.update(changes)
    return ["%s=%s" % field for field in settings.items()]


# Numeric OIDs, numeric enumerations, octet strings always in hex.
SNMP_OUTPUT = ["-On", "-Oe", "-Ox"]


def net_snmp(tool, port, args, credentials=("-v", "2c", "-c", "harbor"), timeout=10,
             output=SNMP_OUTPUT, wall_timeout=None):
    """Runs a net-snmp tool against 127.0.0.1:port without retries (a lost
    answer is the tool's time-out); the finished process, its output as text."""
    cmd = [tool] + list(credentials) + ["-t", str(timeout), "-r", "0"] + list(output) + [
        "127.0.0.1:%d" % port] + list(args)
    return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          stdin=subprocess.DEVNULL, universal_newlines=True, errors="replace",
                          timeout=wall_timeout or timeout + 20)


def parse_snmp_value(text):
    """One value as net-snmp prints it with SNMP_OUTPUT: (type, value), the
    value an int, bytes (octet strings), or text (addresses, OIDs)."""
    if text == '""':
        return ("STRING", b"")
    kind, _, rest = text.partition(": ")
    rest = rest.strip()
    if kind in ("Hex-STRING", "STRING"):
        return ("STRING", bytes.fromhex(rest.replace(" ", "")))
    if kind == "Timeticks":
        return ("Timeticks", int(rest[rest.index("(") + 1:rest.index(")")]))
    if kind in ("INTEGER", "Counter32", "Gauge32", "Counter64"):
        return (kind, int(rest))
    return (kind, rest.lstrip(".") if kind == "OID" else rest)


def parse_snmp_bindings(output):
    """The lines ".OID = TYPE: value" of a net-snmp tool (a long hex string
    goes on over several lines) as a list of (oid, (type, value))."""
    bindings = []
    for line in output.split("\n"):
        if line.startswith("."):
            name, _, value = line.partition(" = ")
            bindings.append([name.lstrip("."), value])
        elif bindings and line.strip() and not line.startswith("End of MIB"):
            bindings[-1][1] += " " + line.strip()
    return [(name, parse_snmp_value(value.strip())) for name, value in bindings]


class SnmpAgent:
    """kxsim serving a scenario (with a journal) and snmpd on a free UDP port
    under one temporary root, the agent's settings seeded first (AGENT_SETTINGS
    unless `settings` is given), the given plug-ins installed and, if asked,
    a write community added over the bus, and traps sent to `trap_port`.  Stop
    it with stop() or a with-block: both processes are stopped by their pid."""

    COMMUNITY = "harbor"
    # The agent waits 6 s for a silent service; a client must outwait it.
    TIMEOUT_S = 10

    def __init__(self, scenario, prefix="sarn-snmp-", settings=None, env=None,
                 write_community=None, plugins=(), trap_port=None):
        self.root = TempRoot(prefix=prefix)
        self.port = free_port()
        self.journal_path = self.root.file("journal")
        self.write_community = write_community
        self.sim = self.agent = None
        try:
            for plugin in plugins:
                os.makedirs(self.root.file("sarn/lib/snmp"), exist_ok=True)
                shutil.copy(plugin, self.root.file("sarn/lib/snmp"))
            self.sim = start_kxsim(self.root, self.root.write_json("scenario.json", scenario),
                                   journal=self.journal_path)
            kxctl_json(self.root, "store", "put", AGENT_SETTINGS_STORE, "0",
                       *(settings or AGENT_SETTINGS))
            self.agent = start_snmpd(self.root, self.port, env=env,
                                     args=["--trap-port", str(trap_port)] if trap_port else [])
            wait_until(self._answers, what="snmpd to answer on port %d" % self.port)
            if write_community:
                kxctl_json(self.root, "add", "34,1", "0x20000005=" + write_community,
                           "0x00000006=true", "0x00000007=true")
        except BaseException:
            self.stop()
            raise

    def _answers(self):
        if not self.agent.alive():
            raise AssertionError("snmpd ended: %s" % self.agent.stderr())
        # Any answer will do, noSuchName included.
        done = self.run("snmpget", ["1.3.6.1"], timeout=1)
        return "Timeout" not in done.stderr + done.stdout

    def run(self, tool, args, timeout=TIMEOUT_S, wall_timeout=None, community=None,
            version="2c"):
        """Runs a net-snmp tool against the agent; the finished process."""
        return net_snmp(tool, self.port, args, ["-v", version, "-c", community or self.COMMUNITY],
                        timeout, wall_timeout=wall_timeout)

    def _bindings(self, tool, args, **kw):
        done = self.run(tool, args, **kw)
        if done.returncode != 0:
            raise AssertionError("%s %s: %s%s" % (tool, args, done.stdout, done.stderr))
        return parse_snmp_bindings(done.stdout)

    def get(self, *oids, version="2c"):
        """{oid: (type, value)}; raises with the tool's output on an error."""
        return dict(self._bindings("snmpget", oids, version=version))

    def walk(self, oid, wall_timeout=None):
        return self._bindings("snmpwalk", [oid], wall_timeout=wall_timeout)

    def error(self, oid, version="2c"):
        """The output of a GET that must fail."""
        done = self.run("snmpget", [oid], version=version)
        return done.stdout + done.stderr

    def restart(self, name):
        """Stops snmpd and starts it again on the same root and port, once it answers."""
        self.agent.stop()
        self.agent = start_snmpd(self.root, self.port, name)
        wait_until(self._answers, what="snmpd to answer again")

    def journal(self):
        """The requests kxsim received so far, in order."""
        with open(self.journal_path) as f:
            return [json.loads(line) for line in f]

    def stop(self):
        """Stops both processes (kxsim also when snmpd had to be killed)."""
        try:
            if self.agent:
                self.agent.stop()
        finally:
            try:
                if self.sim:
                    self.sim.stop()
            finally:
                self.root.cleanup()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.stop()


# 2026-01-01 00:00:00 UTC.
HELD_EPOCH = 1767225600


def example_scenario(name="router.json", *more):
    """A scenario of examples/, parsed, with the services of the `more` ones added."""
    with open(os.path.join(source_dir(), "examples", name)) as f:
        scenario = json.load(f)
    for other in more:
        scenario["services"].update(example_scenario(other)["services"])
    return scenario


def example_plugin():
    """The example plug-in as built."""
    return program("examples/plugin/example.so")


def held_still(scenario, at_s):
    """A copy of the scenario whose values that follow time stay where they
    are at_s seconds into a run begun at HELD_EPOCH."""
    held = {"uptime": at_s, "epoch": HELD_EPOCH + at_s}

    def still(value):
        if isinstance(value, dict) and "base" in value:
            return int(value["base"] + value.get("rate", 0) * at_s)
        return held[value["clock"]] if isinstance(value, dict) and "clock" in value else value

    scenario = json.loads(json.dumps(scenario))
    for service in scenario["services"].values():
        for obj in service.get("list", []) + [service.get("record", {})]:
            obj.update({key: still(value) for key, value in obj.items()})
    return scenario


def with_fault(scenario, path, fault):
    """A copy of the scenario whose service at path has the fault."""
    scenario = json.loads(json.dumps(scenario))
    scenario["services"][path]["fault"] = fault
    return scenario
