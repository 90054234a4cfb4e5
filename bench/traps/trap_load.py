#!/usr/bin/env python3
"""Link traps under load: kxsim raises bursts of link events (10,000 each by
default, within two seconds) while a manager polls the agent with GETs.

Checks, and exits 1 when one fails:
  - every trap the link rules call for arrives at a UDP receiver, in order
    per interface (the rules are modelled here: a trap whenever the up bit
    0x100 or the running bit 0x400 of an interface changes);
  - every GET is answered, during the bursts too;
  - the agent's resident memory does not grow from one burst to the next.
Prints the GET latency (median, p99, max) idle and during the bursts, their
ratio, and the agent's CPU time per event.

Usage: trap_load.py BUILD_DIR [--events N] [--burst-ms MS] [--interfaces N]
(scripts/bench-traps builds in Release and runs it)."""

import argparse
import json
import os
import random
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

UP, RUNNING = 0x100, 0x400
LINK_UP = bytes.fromhex("2b0601060301010504")
LINK_DOWN = bytes.fromhex("2b0601060301010503")
# GET sysDescr.0 (answered by the agent alone) and ifOperStatus.1 (read from
# kxsim through the bus), v2c, community "harbor".
GET_HEAD = b"\x02\x01\x01\x04\x06harbor"
GET_NAMES = [bytes.fromhex("2b06010201010100"), bytes.fromhex("2b060102010202010801")]
SETTLE_S = 1.0  # idle polling before the first burst, and after the last
POLL_TIMEOUT_S = 2.0
POLL_INTERVAL_S = 0.002  # a busy manager: 500 GETs a second


def tlv(data, i):
    """(tag, value, next index) of the BER value at data[i]."""
    tag, n = data[i], data[i + 1]
    i += 2
    if n & 0x80:
        count = n & 0x7F
        n = int.from_bytes(data[i:i + count], "big")
        i += count
    return tag, data[i:i + n], i + n


def encode(tag, value):
    """One BER value; short lengths only (every message here is small)."""
    return bytes([tag, len(value)]) + value


def get_request(rid):
    bindings = b"".join(encode(0x30, encode(0x06, n) + b"\x05\x00") for n in GET_NAMES)
    pdu = encode(0x02, rid.to_bytes(3, "big")) + b"\x02\x01\x00\x02\x01\x00" + \
        encode(0x30, bindings)
    return encode(0x30, GET_HEAD + encode(0xA0, pdu))


def request_id(reply):
    _, message, _ = tlv(reply, 0)
    return int.from_bytes(children(children(message)[2][1])[0][1], "big")


def children(value):
    i, out = 0, []
    while i < len(value):
        tag, v, i = tlv(value, i)
        out.append((tag, v))
    return out


def link_trap(datagram):
    """(interface id, up, ifAdminStatus, ifOperStatus) of a v2c link trap."""
    _, message, _ = tlv(datagram, 0)
    pdu = children(message)[2][1]
    bindings = [children(b[1]) for b in children(children(pdu)[3][1])]
    trap = bindings[1][1][1]
    if trap not in (LINK_UP, LINK_DOWN):
        raise ValueError("not a link trap")
    number = [int.from_bytes(b[1][1], "big", signed=True) for b in bindings[2:5]]
    return number[0], trap == LINK_UP, number[1], number[2]


def scenario(interfaces, events, burst_ms, starts, rng):
    """The router, the expected traps per interface in order, and how many
    are expected in all by the end of each burst."""
    objects = [{"0x08fe0001": i, "0x08010001": 1, "0x20010006": "ether%d" % i,
                "0x08010002": 0, "0x08010003": 0} for i in range(1, interfaces + 1)]
    changes, expected = [], {i: [] for i in range(1, interfaces + 1)}
    seen = {i: 0 for i in expected}  # primed: state 0
    totals = []
    for start in starts:
        for k in range(events):
            i = k % interfaces + 1
            state = rng.choice((0, UP, RUNNING, UP | RUNNING))
            changes.append({"after_ms": start + k * burst_ms // events,
                            "set": {"0x08fe0001": i, "0x08010003": state}})
            if state != seen[i]:
                up = bool(state & UP)
                expected[i].append((i, up, 1 if up else 2, 1 if state & RUNNING else 2))
                seen[i] = state
        totals.append(sum(len(t) for t in expected.values()))
    return {"services": {"1": {}, "20,0": {"page": 100, "events": "0x10004",
                                           "commands": {"1": "getall"}, "list": objects,
                                           "changes": changes}}}, expected, totals


class Receiver(threading.Thread):
    """The trap sink: a UDP socket with a deep buffer, decoding every trap."""

    def __init__(self):
        super().__init__(daemon=True)
        self.sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        try:  # past rmem_max when privileged, else as deep as allowed
            self.sock.setsockopt(socket.SOL_SOCKET, 33, 16 << 20)  # SO_RCVBUFFORCE
        except OSError:
            self.sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 16 << 20)
        self.sock.bind(("127.0.0.1", 0))
        self.port = self.sock.getsockname()[1]
        self.traps, self.other = {}, 0

    def run(self):
        while True:
            data = self.sock.recv(65536)
            try:
                trap = link_trap(data)
                self.traps.setdefault(trap[0], []).append(trap)
            except (ValueError, IndexError):
                self.other += 1

    def count(self):
        return sum(len(t) for t in self.traps.values())


def poll(port, stop, latencies, lost):
    """A GET every POLL_INTERVAL_S (or as soon as the last is answered, when
    later) until stop is set; (send time, seconds) per reply."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.connect(("127.0.0.1", port))
        s.settimeout(POLL_TIMEOUT_S)
        rid = 0
        next_at = time.monotonic()
        while not stop.is_set():
            next_at += POLL_INTERVAL_S
            time.sleep(max(0, next_at - time.monotonic()))
            rid = (rid + 1) & 0x7FFFFF
            sent = time.monotonic()
            s.send(get_request(rid))
            try:
                while request_id(s.recv(65536)) != rid:
                    pass  # a late reply to an earlier request
                latencies.append((sent, time.monotonic() - sent))
            except socket.timeout:
                lost.append(sent)


def wait_until_answered(port, proc):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.connect(("127.0.0.1", port))
        s.settimeout(0.1)
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            if proc.poll() is not None:
                raise SystemExit("snmpd ended at start")
            try:
                s.send(get_request(0))
                s.recv(65536)
                return
            except socket.timeout:
                pass
            except ConnectionRefusedError:  # not listening yet
                time.sleep(0.05)
    raise SystemExit("snmpd did not answer within 10 s")


def rss_kb(pid):
    with open("/proc/%d/status" % pid) as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return 0


def cpu_s(pid):
    with open("/proc/%d/stat" % pid) as f:
        fields = f.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def quantile(values, q):
    v = sorted(values)
    return v[min(len(v) - 1, int(q * len(v)))]


def latency_text(values):
    if not values:
        return "no replies"
    return "median %.2f ms, p99 %.2f ms, max %.2f ms (%d GETs)" % (
        quantile(values, 0.5) * 1000, quantile(values, 0.99) * 1000, max(values) * 1000,
        len(values))


def free_udp_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def start(build, root, port, trap_port, procs):
    """kxsim on root/router.json, then snmpd once kxsim serves; both are
    appended to procs.  Returns kxsim's start time."""
    log = lambda name: open(os.path.join(root, name), "w")
    subprocess.run([os.path.join(build, "tools", "kxctl"), "--root", root, "store", "put",
                    "/sarn/store/snmpd", "0", "0x00000001=true", "0x08000010=127.0.0.1",
                    "0x08000012=1", "0x08000011=0", "0x88000013=[0]"],
                   check=True, stdout=subprocess.DEVNULL)
    procs.append(subprocess.Popen([os.path.join(build, "sim", "kxsim"), "--root", root,
                                   os.path.join(root, "router.json")], stdout=log("sim.out"),
                                  stderr=log("sim.err")))
    started = time.monotonic()
    while "serving" not in open(os.path.join(root, "sim.out")).read():
        if time.monotonic() - started > 10 or procs[0].poll() is not None:
            raise SystemExit("kxsim did not start: see " + root)
        time.sleep(0.05)
    procs.append(subprocess.Popen([os.path.join(build, "agent", "snmpd"), "--root", root,
                                   "--port", str(port), "--trap-port", str(trap_port)],
                                  stdout=log("snmpd.out"), stderr=log("snmpd.err")))
    wait_until_answered(port, procs[1])
    return started


def run_bursts(agent, receiver, burst_times, totals):
    """Waits out every burst; the agent's CPU rate while idle before the
    first, (CPU seconds, seconds) of each burst and its drain, and VmRSS
    before and after each."""
    if time.monotonic() > burst_times[0][0] - SETTLE_S:
        raise SystemExit("the agent started too late for the first burst")
    time.sleep(max(0, burst_times[0][0] - time.monotonic() - SETTLE_S))
    idle_cpu = cpu_s(agent)
    time.sleep(SETTLE_S - 0.05)
    idle_cpu = (cpu_s(agent) - idle_cpu) / (SETTLE_S - 0.05)
    rss, burst_cpu = [rss_kb(agent)], []
    for total, (begin, end) in zip(totals, burst_times):
        time.sleep(max(0, begin - time.monotonic()))
        cpu_begin = cpu_s(agent)
        # The burst's traps, or whatever came by ten seconds after it.
        while time.monotonic() < end or (receiver.count() < total and
                                         time.monotonic() < end + 10):
            time.sleep(0.01)
        burst_cpu.append((cpu_s(agent) - cpu_begin, time.monotonic() - begin))
        time.sleep(0.3)
        rss.append(rss_kb(agent))
    return idle_cpu, burst_cpu, rss


def failures(expected, receiver, lost, busy, rss):
    found = []
    for i, traps in expected.items():
        got = receiver.traps.get(i, [])
        if got != traps:
            same = next((k for k, (a, b) in enumerate(zip(traps, got)) if a != b),
                        min(len(traps), len(got)))
            found.append("interface %d: %d traps expected, %d received, the first %d alike" %
                         (i, len(traps), len(got), same))
    if lost:
        found.append("%d GETs unanswered" % len(lost))
    if not busy:
        found.append("no GET answered during a burst")
    # Allocator noise aside, a later burst must not take more memory.
    if len(rss) > 2 and rss[-1] - rss[1] > 256:
        found.append("VmRSS grew by %d kB after the first burst" % (rss[-1] - rss[1]))
    return found


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("build")
    ap.add_argument("--events", type=int, default=10000, help="link events per burst")
    ap.add_argument("--bursts", type=int, default=2)
    ap.add_argument("--burst-ms", type=int, default=2000)
    ap.add_argument("--interfaces", type=int, default=100)
    ap.add_argument("--seed", type=int, default=1)
    args = ap.parse_args()

    root = tempfile.mkdtemp(prefix="sarn-trap-load-")
    procs = []
    try:
        receiver = Receiver()
        receiver.start()
        # Bursts start 3 s after kxsim (the agent is up by then) and 3 s apart.
        starts = [3000 + b * (args.burst_ms + 3000) for b in range(args.bursts)]
        doc, expected, totals = scenario(args.interfaces, args.events, args.burst_ms, starts,
                                         random.Random(args.seed))
        with open(os.path.join(root, "router.json"), "w") as f:
            json.dump(doc, f)
        port = free_udp_port()
        sim_start = start(args.build, root, port, receiver.port, procs)
        burst_times = [(sim_start + s / 1000, sim_start + (s + args.burst_ms) / 1000)
                       for s in starts]

        stop, latencies, lost = threading.Event(), [], []
        poller = threading.Thread(target=poll, args=(port, stop, latencies, lost), daemon=True)
        poller.start()
        idle_cpu, burst_cpu, rss = run_bursts(procs[1].pid, receiver, burst_times, totals)
        time.sleep(SETTLE_S)
        stop.set()
        poller.join()

        in_burst = lambda t: any(b - 0.05 <= t <= e + 0.5 for b, e in burst_times)
        idle = [d for t, d in latencies if not in_burst(t)]
        busy = [d for t, d in latencies if in_burst(t)]
        events = args.events * args.bursts
        print("link events: %d in %d bursts of %d ms over %d interfaces" %
              (events, args.bursts, args.burst_ms, args.interfaces))
        print("traps: %d expected, %d received, %d other datagrams" %
              (totals[-1], receiver.count(), receiver.other))
        print("GET idle:  " + latency_text(idle))
        print("GET burst: " + latency_text(busy))
        if idle and busy:
            print("GET p99 ratio burst/idle: %.1f" % (quantile(busy, 0.99) /
                                                      quantile(idle, 0.99)))
        print("GETs unanswered within %.0f s: %d" % (POLL_TIMEOUT_S, len(lost)))
        cpu_used = sum(c for c, _ in burst_cpu)
        seconds = sum(t for _, t in burst_cpu)
        print("agent CPU: idle %.1f%% of a core, bursts %.1f%%; %.1f us per event beyond idle" %
              (idle_cpu * 100, cpu_used * 100 / seconds,
               (cpu_used - idle_cpu * seconds) * 1e6 / events))
        print("agent VmRSS kB: before %d, after each burst %s" %
              (rss[0], ", ".join(str(r) for r in rss[1:])))
        found = failures(expected, receiver, lost, busy, rss)
        for f in found[:10]:
            print("FAIL: " + f)
        print("trap load: " + ("FAILED" if found else "passed"))
        return 1 if found else 0
    finally:
        for p in reversed(procs):
            p.send_signal(signal.SIGTERM)
            try:
                p.wait(timeout=5)
            except subprocess.TimeoutExpired:
                p.kill()
        if os.environ.get("KEEP_ROOT") == "1":
            print("root kept: " + root)
        else:
            shutil.rmtree(root, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
