"""snmpd against hand-made datagrams: GetBulk, which it does not answer,
large requests among small ones, a burst from several sources while the
agent waits on a slow service, and hostile input (malformed and random
datagrams, garbage on its bus socket) after which it must still answer."""

import os
import pathlib
import random
import select
import socket
import time
import unittest

import harness
from snmp_ber import (GET, GETBULK, NO_SUCH_OID, REPLY_WAIT_S, RESPONSE, SET, ber_length,
                      burst, exchange, message, pdu, read_response, request, tlv)

# The largest UDP payload over IPv4.
MAX_DATAGRAM = 65507


def missing(size, request_id):
    """A v2c GET of `size` bytes for a name that does not exist (the
    agent's space, then arcs 1), and the reply it must get: that name echoed
    with NULL, noSuchName at index 1."""
    arcs = 0
    for _ in range(4):
        name = NO_SUCH_OID + ".1" * arcs
        datagram = request(GET, "harbor", name, request_id=request_id)
        # Each arc 1 is one byte; length fields grow as the name does.
        arcs += size - len(datagram)
    return datagram, message(1, "harbor", pdu(RESPONSE, [name], request_id, fields=(2, 1)))


class DatagramTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = harness.TempRoot()
        cls.addClassCleanup(cls.root.cleanup)
        cls.port = harness.free_port()
        cls.agent = harness.start_serving_snmpd(cls.root, cls.port)
        cls.addClassCleanup(cls.agent.stop)

    def assert_still_serving(self):
        self.assertTrue(self.agent.alive(), self.agent.stderr()[-2000:])
        reply = exchange(self.port, request(GET, "harbor", NO_SUCH_OID, request_id=7))
        self.assertIsNotNone(reply, "no answer to a valid GET")
        self.assertEqual(read_response(reply)["request_id"], 7)

    def test_getbulk_gets_no_answer_and_one_hint_a_minute_per_source(self):
        bulk = request(GETBULK, "harbor", "1.3.6.1.2.1.1", fields=(0, 10))
        for source in ("127.0.0.5", "127.0.0.5", "127.0.0.6"):
            self.assertIsNone(exchange(self.port, bulk, source=source, wait=0.3))
        hint = ("unknown request command\nGetBulk from %s is not answered by this agent: walk "
                "with GetNext instead (snmpwalk, snmptable -CB; turn bulk requests off in "
                "pollers)\n")
        log = harness.wait_until(lambda: hint % "127.0.0.6" in self.agent.stderr() and
                                 self.agent.stderr(), what="the hints")
        self.assertEqual(log.count(hint % "127.0.0.5"), 1)
        done = harness.net_snmp("snmpbulkget", self.port, ["1.3.6.1.2.1.1"], timeout=1)
        self.assertIn("Timeout", done.stderr)
        self.assert_still_serving()

    def test_large_requests_are_read_whole_among_small_ones(self):
        # One after another from one socket, so that they are read together:
        # the small ones fit a receive slot's share of the buffer, the large
        # ones run on past it, up to 60,000 bytes.
        sizes = [60, 60000, 60, 3000, 60, 60000, 2100]
        pairs = [missing(size, 100 + i) for i, size in enumerate(sizes)]
        self.assertEqual([len(d) for d, _ in pairs], sizes)
        replies = burst(self.port, [d for d, _ in pairs], REPLY_WAIT_S * 5, count=len(pairs))
        self.assertEqual(replies, [reply for _, reply in pairs])

    def test_malformed_datagrams_get_no_reply(self):
        good = request(GET, "harbor", NO_SUCH_OID)
        bad = [b"", b"\x30", b"\x30\x00", b"\x00" * 16]
        # Every truncation of a valid request.
        bad += [good[:n] for n in range(1, len(good))]
        # The outer length past the data, and absurd.  (A length shorter
        # than the content is tolerated, like the envelope's tags, which the
        # decoder steps over unread.)
        bad += [b"\x30" + ber_length(len(good)) + good[2:],
                b"\x30\x84\x7f\xff\xff\xff" + good[2:],
                b"\x30\x84\xff\xff\xff\xff" + good[2:],
                b"\x30\x89" + b"\xff" * 9 + good[2:],
                b"\x30\x80" + good[2:] + b"\x00\x00"]
        # A huge length inside the PDU.  (Whole requests the agent does not
        # serve, unknown PDU tags and versions, read no length wrong: they
        # are the dispatch unit test's.)
        pdu_at = good.index(bytes([GET]))
        bad.append(good[:pdu_at + 1] + b"\x84\xff\xff\xff\xf0" + good[pdu_at + 2:])
        # Deep nesting, and the largest datagram there is, both as a
        # sequence that claims every byte and as noise.
        bad.append(b"\x30\x81\xfe" * 85)
        bad.append(b"\x30\x83" + (MAX_DATAGRAM - 5).to_bytes(3, "big") +
                   b"\x30" * (MAX_DATAGRAM - 5))
        rng = random.Random(20261123)
        bad.append(bytes(rng.getrandbits(8) for _ in range(MAX_DATAGRAM)))
        bad += [bytes(rng.getrandbits(8) for _ in range(rng.randint(1, 300)))
                for _ in range(200)]

        self.assertEqual(burst(self.port, bad), [])
        self.assert_still_serving()

    def test_garbage_on_the_bus_socket(self):
        path = os.path.join(self.root.path, "sarn", "run", "bus", "34")
        rng = random.Random(7)
        corpus = pathlib.Path(harness.source_dir(), "fuzz", "corpus", "kx_message_fuzz")
        packets = [b"\x6b\x00\x00\x00" + p.read_bytes() for p in sorted(corpus.iterdir())]
        packets += [b"\x6b\x00\x00\x00" + bytes(rng.getrandbits(8) for _ in range(n))
                    for n in (1, 4, 64, 4096)]
        packets += [b"\x00\x00\x00\x00hello", b"\x6b\x01\x00\x00" + b"\xff" * 100, b"\x6b"]
        for packet in packets:
            with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as s:
                s.connect(path)
                s.send(packet)
        self.assertTrue(harness.kxctl_json(self.root, "get", "34")["0x00000001"])
        self.assert_still_serving()


class BurstDuringBusWaitTest(unittest.TestCase):
    """Four sources keep 32 GETs each in flight, 10,000 in all, while a
    fifth keeps SETting a value whose service answers 50 ms late, so that
    the agent waits on the bus again and again in the middle of a burst."""

    SOURCES, PER_SOURCE, WINDOW = 4, 2500, 32
    SYS_DESCR = "1.3.6.1.2.1.1.1.0"
    SYS_NAME = "1.3.6.1.2.1.1.5.0"

    def test_every_reply_arrives_in_order_per_source(self):
        scenario = harness.with_fault(harness.example_scenario(), "24,1",
                                      {"delay_ms": 50, "commands": ["set"]})
        with harness.SnmpAgent(scenario, write_community="private") as agent:
            got, sets = self.burst(agent.port)
        for source, ids in enumerate(got):
            expected = [source * 100000 + n for n in range(self.PER_SOURCE)]
            self.assertEqual(ids, expected, "source %d: lost or out of order" % source)
        self.assertGreaterEqual(sets, 3, "the agent hardly waited on the bus")

    def burst(self, port):
        """Request ids answered per source, in arrival order, and SETs done."""
        sources = [socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(self.SOURCES)]
        setter = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        try:
            for s in sources + [setter]:
                s.connect(("127.0.0.1", port))
                s.setblocking(False)
            sent = [0] * self.SOURCES
            got = [[] for _ in range(self.SOURCES)]
            sets, set_pending = 0, False
            deadline = time.monotonic() + 120
            while any(len(g) < self.PER_SOURCE for g in got):
                self.assertLess(time.monotonic(), deadline, "replies stopped coming")
                for i, s in enumerate(sources):
                    while sent[i] < self.PER_SOURCE and sent[i] - len(got[i]) < self.WINDOW:
                        s.send(request(GET, "harbor", self.SYS_DESCR, version=1,
                                       request_id=i * 100000 + sent[i]))
                        sent[i] += 1
                if not set_pending and sets < 1000:
                    setter.send(request(SET, "private", self.SYS_NAME,
                                        tlv(0x04, b"burst %d" % sets), version=1,
                                        request_id=sets))
                    set_pending = True
                ready, _, _ = select.select(sources + [setter], [], [], 1.0)
                for s in ready:
                    while True:
                        try:
                            data = s.recv(65536)
                        except BlockingIOError:
                            break
                        r = read_response(data)
                        if s is setter:
                            self.assertEqual(r["error_status"], 0)
                            sets, set_pending = sets + 1, False
                            continue
                        self.assertEqual((r["error_status"], r["bindings"][0][0]),
                                         (0, self.SYS_DESCR))
                        got[sources.index(s)].append(r["request_id"])
            return got, sets
        finally:
            for s in sources + [setter]:
                s.close()


if __name__ == "__main__":
    unittest.main()
