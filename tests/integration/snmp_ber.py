"""A minimal BER writer and reader for hand-made SNMP datagrams, one
request/reply exchange over UDP, and a probe of the agent's port."""

import socket

REPLY_WAIT_S = 1.0
GET, GETNEXT, RESPONSE, SET, GETBULK = 0xa0, 0xa1, 0xa2, 0xa3, 0xa5
# An object no MIB module serves: every answer to it is noSuchName, which
# proves that a response came back.
NO_SUCH_OID = "1.3.6.1.4.1.32473.99.99.0"


def ber_length(n):
    if n < 0x80:
        return bytes([n])
    body = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(body)]) + body


def tlv(tag, body):
    return bytes([tag]) + ber_length(len(body)) + body


def ber_int(v):
    size = max(1, (v.bit_length() + 8) // 8)
    return tlv(0x02, v.to_bytes(size, "big", signed=True))


def ber_oid(text):
    arcs = [int(a) for a in text.split(".")]
    out = bytearray([40 * arcs[0] + arcs[1]])
    for arc in arcs[2:]:
        chunk = [arc & 0x7f]
        arc >>= 7
        while arc:
            chunk.insert(0, 0x80 | (arc & 0x7f))
            arc >>= 7
        out += bytes(chunk)
    return tlv(0x06, bytes(out))


def oid_text(body):
    arcs = [body[0] // 40, body[0] % 40]
    value = 0
    for b in body[1:]:
        value = value << 7 | (b & 0x7f)
        if not b & 0x80:
            arcs.append(value)
            value = 0
    return ".".join(map(str, arcs))


def read_tlv(data, pos):
    """(tag, body start, body end) of the TLV at pos; raises on a bad one."""
    tag = data[pos]
    n = data[pos + 1]
    pos += 2
    if n & 0x80:
        count = n & 0x7f
        n = int.from_bytes(data[pos:pos + count], "big")
        pos += count
    if pos + n > len(data):
        raise ValueError("truncated")
    return tag, pos, pos + n


def children(data, start, end):
    """The TLVs between start and end as (tag, body start, body end)."""
    out = []
    while start < end:
        tag, s, e = read_tlv(data, start)
        out.append((tag, s, e))
        start = e
    return out


def pdu(tag, oids, request_id=1, values=None, fields=(0, 0)):
    """A PDU of one binding per OID, each with NULL or its value from values;
    fields are error-status and error-index (or GetBulk's counts)."""
    values = values or [b"\x05\x00"] * len(oids)
    bindings = b"".join(tlv(0x30, ber_oid(o) + v) for o, v in zip(oids, values))
    return tlv(tag, ber_int(request_id) + ber_int(fields[0]) + ber_int(fields[1]) +
               tlv(0x30, bindings))


def read_pdu(data, start=0):
    """{tag, request_id, error_status, error_index, bindings: [(oid, tag,
    value bytes)]} of the PDU at start."""
    tag, pos, end = read_tlv(data, start)
    fields = []
    for _ in range(3):
        _, s, pos = read_tlv(data, pos)
        fields.append(int.from_bytes(data[s:pos], "big", signed=True))
    _, s, e = read_tlv(data, pos)
    bindings = []
    for _, bs, be in children(data, s, e):
        (_, os_, oe), (vt, vs, ve) = children(data, bs, be)
        bindings.append((oid_text(data[os_:oe]), vt, data[vs:ve]))
    return {"tag": tag, "request_id": fields[0], "error_status": fields[1],
            "error_index": fields[2], "bindings": bindings}


def message(version, community, pdu_bytes):
    """A v1 (version 0) or v2c (version 1) message around a PDU."""
    return tlv(0x30, ber_int(version) + tlv(0x04, community.encode()) + pdu_bytes)


def request(pdu_tag, community, oid, value=b"\x05\x00", version=1, request_id=42,
            fields=(0, 0)):
    """A v1 (version 0) or v2c (version 1) request with one binding."""
    return message(version, community, pdu(pdu_tag, [oid], request_id, [value], fields))


def read_response(data):
    """read_pdu's fields of a v1 or v2c message, with its version and community."""
    _, pos, _ = read_tlv(data, 0)
    _, s, e = read_tlv(data, pos)
    _, cs, ce = read_tlv(data, e)
    return dict(read_pdu(data, ce), version=int.from_bytes(data[s:e], "big"),
                community=data[cs:ce])


def exchange(port, datagram, source="127.0.0.1", target="127.0.0.1", wait=REPLY_WAIT_S):
    """Sends one datagram from source to target; the reply's bytes, or None
    after `wait` seconds.  The socket is connected, so only a reply from the
    target counts, and a closed port raises ConnectionRefusedError."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind((source, 0))
        s.connect((target, port))
        s.settimeout(wait)
        s.send(datagram)
        try:
            return s.recv(65536)
        except socket.timeout:
            return None


def burst(port, datagrams, wait=REPLY_WAIT_S, count=None):
    """Sends the datagrams one after another from one socket; the replies
    in order of arrival, until `count` have come or none for `wait` seconds."""
    replies = []
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind(("127.0.0.1", 0))
        s.settimeout(wait)
        for datagram in datagrams:
            s.sendto(datagram, ("127.0.0.1", port))
        try:
            while count is None or len(replies) < count:
                replies.append(s.recv(65536))
        except socket.timeout:
            pass
    return replies


def port_state(port, community="harbor", target="127.0.0.1", version=1):
    """"open" when a GET is answered, "closed" when the port refuses it
    (ICMP port unreachable), "silent" when nothing comes back."""
    try:
        reply = exchange(port, request(GET, community, NO_SUCH_OID, version=version), target=target)
    except ConnectionRefusedError:
        return "closed"
    return "open" if reply else "silent"
