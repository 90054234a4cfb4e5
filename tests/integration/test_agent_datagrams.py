"""snmpd against hand-made datagrams: error statuses that net-snmp's tools
hide, the source-address filter seen from two local addresses, requests it
does not serve, large requests among small ones, a burst from several
sources while the agent waits on a slow service, and hostile input (the
fuzz corpora, malformed and random datagrams, garbage on its bus socket)
after which it must still answer."""

import glob
import os
import random
import select
import socket
import subprocess
import time
import unittest

import harness
from snmp_ber import REPLY_WAIT_S, ber_int, ber_length, exchange, pdu, read_pdu, read_tlv, tlv

SETTINGS_STORE = "/sarn/store/snmpd"
SYS_CONTACT = "1.3.6.1.2.1.1.4.0"
NO_SUCH_OID = "1.3.6.1.4.1.32473.99.99.0"
GET, GETNEXT, RESPONSE, SET, GETBULK = 0xa0, 0xa1, 0xa2, 0xa3, 0xa5
READ_ONLY = 4
# The largest UDP payload over IPv4.
MAX_DATAGRAM = 65507


def request(pdu_tag, community, oid, value=b"\x05\x00", version=1, request_id=42,
            error_fields=(0, 0)):
    """A v1 (version 0) or v2c (version 1) request with one binding."""
    return tlv(0x30, ber_int(version) + tlv(0x04, community.encode()) +
               pdu(pdu_tag, [oid], request_id, [value], error_fields))


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
    reply = tlv(0x30, ber_int(1) + tlv(0x04, b"harbor") +
                pdu(RESPONSE, [name], request_id, fields=(2, 1)))
    return datagram, reply


def parse_response(data):
    """{version, community, tag, request_id, error_status, error_index, bindings}."""
    _, pos, _ = read_tlv(data, 0)
    _, s, e = read_tlv(data, pos)
    _, cs, ce = read_tlv(data, e)
    return dict(read_pdu(data, ce), version=int.from_bytes(data[s:e], "big"),
                community=data[cs:ce])


class DatagramTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = harness.TempRoot()
        cls.port = harness.free_port()
        harness.kxctl_json(cls.root, "store", "put", SETTINGS_STORE, "0", "0x00000001=true")
        cls.agent = harness.Process([harness.program(harness.SNMPD), "--root", cls.root.path,
                                     "--port", str(cls.port)], cls.root.path, "snmpd")
        try:
            harness.wait_until(lambda: exchange(cls.port, request(GET, "harbor", NO_SUCH_OID),
                                                wait=0.2), what="the agent to answer")
            harness.kxctl_json(cls.root, "add", "34,1", "0x20000005=local", "0x00000006=true",
                               "0x00000007=true", "0x08000008=127.0.0.1",
                               "0x08000009=255.255.255.255")
        except BaseException:
            cls.tearDownClass()
            raise

    @classmethod
    def tearDownClass(cls):
        cls.agent.stop()
        cls.root.cleanup()

    def exchange(self, datagram, **kw):
        return exchange(self.port, datagram, **kw)

    def assert_still_serving(self):
        self.assertTrue(self.agent.alive(), self.agent.stderr()[-2000:])
        reply = self.exchange(request(GET, "harbor", NO_SUCH_OID, request_id=7))
        self.assertIsNotNone(reply, "no answer to a valid GET")
        self.assertEqual(parse_response(reply)["request_id"], 7)

    def test_set_without_write_right_is_read_only_at_index_zero(self):
        for version in (0, 1):
            reply = self.exchange(request(SET, "harbor", SYS_CONTACT, tlv(0x04, b"x"),
                                          version=version, request_id=1000 + version))
            self.assertIsNotNone(reply)
            r = parse_response(reply)
            self.assertEqual((r["version"], r["community"], r["tag"], r["request_id"]),
                             (version, b"harbor", RESPONSE, 1000 + version))
            self.assertEqual((r["error_status"], r["error_index"]), (READ_ONLY, 0))

    def test_community_for_one_host_drops_other_sources(self):
        reply = self.exchange(request(GET, "local", NO_SUCH_OID, request_id=5))
        self.assertIsNotNone(reply, "127.0.0.1 is the community's host")
        self.assertEqual(parse_response(reply)["request_id"], 5)
        # Same community, same agent address, another source: dropped.
        self.assertIsNone(self.exchange(request(GET, "local", NO_SUCH_OID), source="127.0.0.2"))
        self.assertIsNone(self.exchange(request(GET, "local", NO_SUCH_OID), source="127.0.0.2",
                                        target="127.0.0.2"))
        # The any-source community answers that source.
        self.assertIsNotNone(self.exchange(request(GET, "harbor", NO_SUCH_OID),
                                           source="127.0.0.2"))

    def test_getbulk_gets_no_answer_and_one_hint_a_minute_per_source(self):
        bulk = request(GETBULK, "harbor", "1.3.6.1.2.1.1", version=1, error_fields=(0, 10))
        # Sources no other test uses: each has its own minute.
        for source in ("127.0.0.5", "127.0.0.5", "127.0.0.6"):
            self.assertIsNone(self.exchange(bulk, source=source, wait=0.3))
        hint = ("unknown request command\nGetBulk from %s is not answered by this agent: walk "
                "with GetNext instead (snmpwalk, snmptable -CB; turn bulk requests off in "
                "pollers)\n")
        log = harness.wait_until(lambda: hint % "127.0.0.6" in self.agent.stderr() and
                                 self.agent.stderr(), what="the hints")
        self.assertEqual(log.count(hint % "127.0.0.5"), 1)
        done = subprocess.run(["snmpbulkget", "-v", "2c", "-c", "harbor", "-t", "1", "-r", "0",
                               "127.0.0.1:%d" % self.port, "1.3.6.1.2.1.1"],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              stdin=subprocess.DEVNULL, timeout=30)
        self.assertIn(b"Timeout", done.stdout)
        self.assert_still_serving()

    def test_large_requests_are_read_whole_among_small_ones(self):
        # One after another from one socket, so that they are read together:
        # the small ones fit a receive slot's share of the buffer, the large
        # ones run on past it, up to 60,000 bytes.
        sizes = [60, 60000, 60, 3000, 60, 60000, 2100]
        pairs = [missing(size, 100 + i) for i, size in enumerate(sizes)]
        self.assertEqual([len(d) for d, _ in pairs], sizes)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
            s.settimeout(REPLY_WAIT_S * 5)
            for datagram, _ in pairs:
                s.sendto(datagram, ("127.0.0.1", self.port))
            for _, reply in pairs:
                self.assertEqual(s.recv(65536), reply)

    def test_fuzz_corpus_replayed_on_the_service_port(self):
        corpus = sorted(glob.glob(os.path.join(harness.source_dir(), "fuzz", "corpus",
                                               "engine_create_reply_fuzz", "*")))
        self.assertTrue(corpus, "no datagram corpus")
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
            for path in corpus:
                with open(path, "rb") as f:
                    s.sendto(f.read(), ("127.0.0.1", self.port))
        self.assert_still_serving()

    def test_malformed_datagrams_get_no_reply(self):
        good = request(GET, "harbor", NO_SUCH_OID)
        self.assertIsNotNone(self.exchange(good))
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
        # Requests the agent does not serve: unknown PDU tags.
        pdu_at = good.index(bytes([GET]))
        for tag in (0xa9, 0x30, 0xa2, 0xa8):
            mutated = bytearray(good)
            mutated[pdu_at] = tag
            bad.append(bytes(mutated))
        # A huge length inside the PDU; versions the agent does not speak.
        bad.append(good[:pdu_at + 1] + b"\x84\xff\xff\xff\xf0" + good[pdu_at + 2:])
        bad.append(request(GET, "harbor", NO_SUCH_OID, version=4))
        bad.append(request(GET, "harbor", NO_SUCH_OID, version=-1))
        # Deep nesting, and the largest datagram there is, both as a
        # sequence that claims every byte and as noise.
        bad.append(b"\x30\x81\xfe" * 85)
        bad.append(b"\x30\x83" + (MAX_DATAGRAM - 5).to_bytes(3, "big") +
                   b"\x30" * (MAX_DATAGRAM - 5))
        rng = random.Random(20261123)
        bad.append(bytes(rng.getrandbits(8) for _ in range(MAX_DATAGRAM)))
        bad += [bytes(rng.getrandbits(8) for _ in range(rng.randint(1, 300)))
                for _ in range(200)]

        # Sent in a burst from one socket, then any reply is collected.
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
            s.bind(("127.0.0.1", 0))
            for d in bad:
                s.sendto(d, ("127.0.0.1", self.port))
            s.settimeout(REPLY_WAIT_S)
            replies = []
            try:
                while True:
                    replies.append(s.recv(65536))
            except socket.timeout:
                pass
        self.assertEqual(replies, [])
        self.assert_still_serving()

    def test_garbage_on_the_bus_socket(self):
        path = os.path.join(self.root.path, "sarn", "run", "bus", "34")
        corpus = sorted(glob.glob(os.path.join(harness.source_dir(), "fuzz", "corpus",
                                               "kx_message_fuzz", "*")))
        rng = random.Random(7)
        packets = []
        for p in corpus:
            with open(p, "rb") as f:
                packets.append(b"\x6b\x00\x00\x00" + f.read())
        packets += [b"\x6b\x00\x00\x00" + bytes(rng.getrandbits(8) for _ in range(n))
                    for n in (1, 4, 64, 4096)]
        packets += [b"\x00\x00\x00\x00hello", b"\x6b\x01\x00\x00" + b"\xff" * 100, b"\x6b"]
        for packet in packets:
            with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as s:
                s.connect(path)
                s.send(packet)
        settings = harness.kxctl_json(self.root, "get", "34")
        self.assertTrue(settings["0x00000001"])
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
                        r = parse_response(data)
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
