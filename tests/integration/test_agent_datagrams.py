"""snmpd against hand-made datagrams: GetBulk, which it does not answer, and
hostile input (malformed and random datagrams, garbage on its bus socket)
after which it must still answer."""

import glob
import os
import random
import socket
import subprocess
import unittest

import harness
from snmp_ber import (GET, GETBULK, NO_SUCH_OID, REPLY_WAIT_S, ber_length, exchange,
                      port_state, read_response, request)

# The largest UDP payload over IPv4.
MAX_DATAGRAM = 65507


class DatagramTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = harness.TempRoot()
        cls.port = harness.free_port()
        harness.kxctl_json(cls.root, "store", "put", harness.AGENT_SETTINGS_STORE, "0",
                           "0x00000001=true")
        cls.agent = harness.start_snmpd(cls.root, cls.port)
        harness.wait_until(lambda: port_state(cls.port) == "open", what="the service")

    @classmethod
    def tearDownClass(cls):
        cls.agent.stop()
        cls.root.cleanup()

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
        done = subprocess.run(["snmpbulkget", "-v", "2c", "-c", "harbor", "-t", "1", "-r", "0",
                               "127.0.0.1:%d" % self.port, "1.3.6.1.2.1.1"],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              stdin=subprocess.DEVNULL, timeout=30)
        self.assertIn(b"Timeout", done.stdout)
        self.assert_still_serving()

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
        # Requests the agent does not serve: unknown PDU tags.
        pdu_at = good.index(bytes([GET]))
        bad += [good[:pdu_at] + bytes([tag]) + good[pdu_at + 1:] for tag in (0xa9, 0x30, 0xa2, 0xa8)]
        # A huge length inside the PDU; versions the agent does not speak.
        bad.append(good[:pdu_at + 1] + b"\x84\xff\xff\xff\xf0" + good[pdu_at + 2:])
        bad += [request(GET, "harbor", NO_SUCH_OID, version=v) for v in (4, -1)]
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
        rng = random.Random(7)
        packets = []
        for p in sorted(glob.glob(os.path.join(harness.source_dir(), "fuzz", "corpus",
                                               "kx_message_fuzz", "*"))):
            with open(p, "rb") as f:
                packets.append(b"\x6b\x00\x00\x00" + f.read())
        packets += [b"\x6b\x00\x00\x00" + bytes(rng.getrandbits(8) for _ in range(n))
                    for n in (1, 4, 64, 4096)]
        packets += [b"\x00\x00\x00\x00hello", b"\x6b\x01\x00\x00" + b"\xff" * 100, b"\x6b"]
        for packet in packets:
            with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as s:
                s.connect(path)
                s.send(packet)
        self.assertTrue(harness.kxctl_json(self.root, "get", "34")["0x00000001"])
        self.assert_still_serving()


if __name__ == "__main__":
    unittest.main()
