"""Shared helpers of the integration tests.

Where the built programs are (SARN_BUILD) and the sources (SARN_SOURCE),
temporary roots, free ports, background processes that are always stopped
by their pid with bounded waits, and kxctl runs whose output is parsed as
JSON.  Python 3 standard library only.
"""

import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time

KXSIM = "sim/kxsim"
KXCTL = "tools/kxctl"
SNMPD = "agent/snmpd"

# No single wait of a test is longer than this; a hang fails the test
# instead of stalling the run.
DEFAULT_WAIT_S = 10.0
POLL_INTERVAL_S = 0.05


def build_dir():
    """The build directory, from SARN_BUILD (set by CTest)."""
    build = os.environ.get("SARN_BUILD")
    if not build:
        raise RuntimeError("SARN_BUILD is not set: run through ctest, or export "
                           "SARN_BUILD=<build dir>")
    return build


def source_dir():
    """The source tree, from SARN_SOURCE, else two levels above this file."""
    src = os.environ.get("SARN_SOURCE")
    if src:
        return src
    return os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


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
    """Calls predicate until it returns something true; returns that value.

    Raises AssertionError naming `what` after `timeout` seconds.
    """
    deadline = time.monotonic() + timeout
    while True:
        value = predicate()
        if value:
            return value
        if time.monotonic() >= deadline:
            raise AssertionError("timed out after %.1f s waiting for %s" % (timeout, what))
        time.sleep(POLL_INTERVAL_S)


class TempRoot:
    """A temporary directory used as the platform root (--root); removed on exit."""

    def __init__(self, prefix="sarn-it-"):
        self.path = tempfile.mkdtemp(prefix=prefix)

    def file(self, name):
        return os.path.join(self.path, name)

    def write_json(self, name, doc):
        path = self.file(name)
        with open(path, "w") as f:
            json.dump(doc, f)
        return path

    def cleanup(self):
        shutil.rmtree(self.path, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.cleanup()


class Process:
    """A background process whose output goes to files (a pipe nobody reads
    could block it).  Always stop it: stop() or a with-block."""

    def __init__(self, args, log_dir, name, env=None):
        self.args = list(args)
        self.name = name
        self.stdout_path = os.path.join(log_dir, name + ".out")
        self.stderr_path = os.path.join(log_dir, name + ".err")
        with open(self.stdout_path, "wb") as out, open(self.stderr_path, "wb") as err:
            self.popen = subprocess.Popen(self.args, stdout=out, stderr=err,
                                          stdin=subprocess.DEVNULL, env=env)
        self.pid = self.popen.pid
        self.returncode = None

    def stdout(self):
        with open(self.stdout_path, "r", errors="replace") as f:
            return f.read()

    def stderr(self):
        with open(self.stderr_path, "r", errors="replace") as f:
            return f.read()

    def stdout_lines(self):
        """Complete lines written so far."""
        text = self.stdout()
        return text.split("\n")[:-1]

    def alive(self):
        return self.popen.poll() is None

    def wait_for_output(self, text, stream="stdout", timeout=DEFAULT_WAIT_S):
        """Waits until `text` appears on the stream; fails early if the process ends."""
        read = self.stdout if stream == "stdout" else self.stderr

        def seen():
            if text in read():
                return True
            if not self.alive():
                raise AssertionError("%s ended (status %s) before printing %r; stderr:\n%s"
                                     % (self.name, self.popen.returncode, text, self.stderr()))
            return False

        wait_until(seen, timeout, "%r from %s" % (text, self.name))

    def stop(self, sig=signal.SIGTERM, timeout=5.0):
        """Sends sig to the pid, waits at most timeout, then kills; returns the status."""
        if self.returncode is not None:
            return self.returncode
        if self.alive():
            try:
                os.kill(self.pid, sig)
            except ProcessLookupError:
                pass
        try:
            self.returncode = self.popen.wait(timeout=timeout)
        except subprocess.TimeoutExpired:
            os.kill(self.pid, signal.SIGKILL)
            self.popen.wait(timeout=timeout)
            self.returncode = None
            raise AssertionError("%s did not stop within %.1f s of signal %d; killed"
                                 % (self.name, timeout, sig))
        return self.returncode

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        if self.returncode is None:
            try:
                self.stop()
            except AssertionError:
                if exc[0] is None:
                    raise


def start_kxsim(root, scenario_path, journal=None, name="kxsim"):
    """Starts kxsim on a scenario under root and waits until it serves."""
    args = [program(KXSIM), "--root", root.path]
    if journal:
        args += ["--journal", journal]
    args.append(scenario_path)
    proc = Process(args, root.path, name)
    try:
        proc.wait_for_output("kxsim: serving services")
    except AssertionError:
        proc.stop()
        raise
    return proc


class KxctlResult:
    def __init__(self, returncode, stdout, stderr, elapsed):
        self.returncode = returncode
        self.stdout = stdout
        self.stderr = stderr
        self.elapsed = elapsed

    def __repr__(self):
        return "kxctl exit %d\nstdout: %s\nstderr: %s" % (self.returncode, self.stdout,
                                                         self.stderr)


def kxctl(root, *args, timeout=30.0):
    """Runs kxctl --root ROOT ARGS... to completion (bounded by timeout)."""
    cmd = [program(KXCTL), "--root", root.path] + [str(a) for a in args]
    start = time.monotonic()
    done = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          stdin=subprocess.DEVNULL, timeout=timeout)
    return KxctlResult(done.returncode, done.stdout.decode(errors="replace"),
                       done.stderr.decode(errors="replace"), time.monotonic() - start)


def kxctl_json(root, *args, timeout=30.0):
    """Runs kxctl, requires exit 0, and returns its standard output parsed as JSON."""
    r = kxctl(root, *args, timeout=timeout)
    if r.returncode != 0:
        raise AssertionError("kxctl %s failed: %r" % (" ".join(map(str, args)), r))
    try:
        return json.loads(r.stdout)
    except ValueError:
        raise AssertionError("kxctl %s printed no JSON: %r" % (" ".join(map(str, args)), r))


def start_kxctl_watch(root, path, kind, *extra, name="watch"):
    """Starts `kxctl watch` in the background and waits until it is subscribed."""
    args = [program(KXCTL), "--root", root.path, "watch", path, kind] + [str(a) for a in extra]
    proc = Process(args, root.path, name)
    try:
        proc.wait_for_output("kxctl: watching", stream="stderr")
    except AssertionError:
        proc.stop()
        raise
    return proc
