"""snmpd keeps serving, and keeps its state, whatever the process around it
does: standard error on a pipe that nobody reads or that closes, SIGHUP, a
stop signal while a bus exchange waits, and kill -9 at random moments
during configuration changes (the stores load whole, nothing acknowledged
is lost, engine boots only rise)."""

import os
import random
import re
import signal
import socket
import subprocess
import time
import unittest

import harness
from snmp_ber import GET, NO_SUCH_OID, port_state, request

SYS_NAME = "1.3.6.1.2.1.1.5.0"
IF_DESCR = "1.3.6.1.2.1.2.2.1.2.1"
AUTH_FAILED = " authentification failed"
DROPPED = re.compile(r"snmpd: (\d+) lines dropped: standard error could not take them")
STOP_WITHIN_S = 0.2
KILLS = 50


def lines_waiting(fd):
    """The complete lines waiting in the non-blocking pipe fd."""
    try:
        return os.read(fd, 1 << 20).decode(errors="replace").split("\n")[:-1]
    except BlockingIOError:
        return []


class ReliabilityTest(unittest.TestCase):
    def setUp(self):
        self.root = harness.TempRoot()
        self.addCleanup(self.root.cleanup)
        self.port = harness.free_port()
        harness.kxctl_json(self.root, "store", "put", harness.AGENT_SETTINGS_STORE, "0", "0x00000001=true")

    def test_a_log_reader_that_stalls_or_goes_costs_lines_not_service(self):
        with harness.Process([harness.program(harness.SNMPD), "--root", self.root.path, "--port",
                              str(self.port)], self.root.path, "snmpd",
                             stderr=subprocess.PIPE) as process:
            agent = process.popen
            harness.wait_until(lambda: port_state(self.port) == "open", what="the service")
            bad = request(GET, "intruder", NO_SUCH_OID)
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
                for i in range(10000):
                    s.sendto(bad, ("127.0.0.1", self.port))
                    # Paced, so that the service socket's buffer keeps them all.
                    if i % 100 == 99:
                        self.assertEqual(port_state(self.port), "open", i)
                os.set_blocking(agent.stderr.fileno(), False)
                # Once the reader catches up, the next line that gets through
                # comes after one that counts those dropped; every line is whole.
                got = lines_waiting(agent.stderr.fileno())
                s.sendto(bad, ("127.0.0.1", self.port))
                self.assertEqual(port_state(self.port), "open")
                after = lines_waiting(agent.stderr.fileno())
                self.assertEqual(after[1:], [AUTH_FAILED], after)
                dropped = int(DROPPED.fullmatch(after[0]).group(1))
                written = got.count(AUTH_FAILED)
                self.assertGreater(dropped, 0)
                self.assertLessEqual(written + dropped, 10000)
                self.assertTrue(all(line.startswith(("loop", "communityKeep", "addHandler",
                                                     "kx: ")) for line in got[:-written]), got)
                # A reader that has gone costs nothing but lines.
                agent.stderr.close()
                s.sendto(bad, ("127.0.0.1", self.port))
                self.assertEqual(port_state(self.port), "open")
            self.assertEqual(process.stop(), 0)

    def test_stop_signals_cut_a_bus_wait_short_and_sighup_is_ignored(self):
        # A record and a paged list whose services never answer.
        waits = [(signal.SIGTERM, "24,1", SYS_NAME), (signal.SIGINT, "20,0", IF_DESCR)]
        scenario = harness.example_scenario()
        for _, path, _ in waits:
            scenario = harness.with_fault(scenario, path, {"silent": True})
        journal = self.root.file("journal")

        def asked(path):
            with open(journal) as f:
                return sum('"0x88ff0001":[%s]' % path in line for line in f)

        # A sanitized build checks for leaks on its way out, which takes
        # longer than the promise; the rest of the run checks that anyway.
        quick_exit = dict(os.environ, ASAN_OPTIONS="detect_leaks=0:abort_on_error=1")
        with harness.start_kxsim(self.root, self.root.write_json("scenario.json", scenario),
                                 journal=journal):
            for sig, path, oid in waits:
                with harness.start_serving_snmpd(self.root, self.port, "snmpd-%d" % sig,
                                                 quick_exit) as agent:
                    agent.popen.send_signal(signal.SIGHUP)
                    self.assertEqual(port_state(self.port), "open")
                    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
                        s.sendto(request(GET, "harbor", oid), ("127.0.0.1", self.port))
                    harness.wait_until(lambda: asked(path), what="the request to " + path)
                    time.sleep(0.3)  # well into the agent's 6 s wait
                    start = time.monotonic()
                    self.assertEqual(agent.stop(sig), 0)
                    self.assertLess(time.monotonic() - start, STOP_WITHIN_S, sig)
                    self.assertIn("the process is stopping", agent.stderr())

    def test_kill_9_during_changes_loses_nothing_and_boots_only_rise(self):
        rng = random.Random(20261124)
        boots = 0
        contact, in_flight = "", ""
        names = []  # communities whose addition was acknowledged
        for i in range(KILLS):
            agent = harness.start_snmpd(self.root, self.port, "snmpd-%d" % i)
            agent.wait_for_output("engineBoots = ")
            started = int(re.search(r"engineBoots = (\d+)", agent.stdout()).group(1))
            self.assertGreater(started, boots, i)
            boots = started
            settings = harness.kxctl_json(self.root, "get", "34")
            self.assertIn(settings["0x20000002"], (contact, in_flight), i)
            contact = settings["0x20000002"]
            present = [c["0x20000005"] for c in harness.kxctl_json(self.root, "getall", "34,1")]
            self.assertLessEqual(set(names), set(present), i)
            self.assertNotIn("damaged", agent.stderr(), i)
            # A change in flight when the agent dies.
            if i % 2:
                in_flight = "c%d" % i
                change = ["set", "34", "0x20000002=" + in_flight]
            else:
                change = ["add", "34,1", "0x20000005=n%d" % i, "0x00000006=true"]
            kxctl = subprocess.Popen([harness.program(harness.KXCTL), "--root", self.root.path]
                                     + change, stdout=subprocess.DEVNULL,
                                     stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
            time.sleep(rng.uniform(0, 0.05))
            agent.stop(signal.SIGKILL)
            if kxctl.wait(timeout=30) == 0:
                if i % 2:
                    contact = in_flight
                else:
                    names.append(change[2].split("=")[1])
        self.assertTrue(names and contact, "no change was acknowledged before a kill")


if __name__ == "__main__":
    unittest.main()
