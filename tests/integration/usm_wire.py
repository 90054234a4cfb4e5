"""SNMPv3 messages of the user-based security model, built and read by hand
(hashlib, hmac and pycryptodome), for what managers cannot be made to send
and for checking replies octet by octet: RFC 3414 keys and MACs with the
RFC 7860 hashes, DES-CBC, and AES-CFB (RFC 3826) with the key extension of
net-snmp's -x AES-192/AES-256."""

import hashlib
import hmac
import os

from Cryptodome.Cipher import AES, DES

from snmp_ber import ber_int, children, read_pdu, read_tlv, tlv

# net-snmp's name: (hash, MAC length).
AUTH = {"MD5": (hashlib.md5, 12), "SHA": (hashlib.sha1, 12), "SHA-224": (hashlib.sha224, 16),
        "SHA-256": (hashlib.sha256, 24), "SHA-384": (hashlib.sha384, 32),
        "SHA-512": (hashlib.sha512, 48)}
# net-snmp's name: key length.
PRIV = {"DES": 16, "AES": 16, "AES-192": 24, "AES-256": 32}
# The agent's numbers for them (authMethod, encryptionProtocol).
AUTH_NUMBER = {name: i for i, name in enumerate(AUTH)}
PRIV_NUMBER = {name: i for i, name in enumerate(PRIV)}
REPORT = 0xa8
NO_AUTH, AUTH_NO_PRIV, AUTH_PRIV = 0, 1, 2
USM_STATS = "1.3.6.1.6.3.15.1.1"
ENGINE_PREFIX = bytes.fromhex("80007ed904")


def password_to_key(password, hash_):
    stream = (password.encode() * (1048576 // len(password) + 1))[:1048576]
    return hash_(stream).digest()


def localize(key, engine_id, hash_):
    return hash_(key + engine_id + key).digest()


class User:
    """A v3 user's name and localised keys for one engine ID."""

    def __init__(self, name, engine_id, auth=None, auth_password=None, priv=None,
                 priv_password=None):
        self.name, self.auth, self.priv = name, auth, priv
        self.level = NO_AUTH if not auth else AUTH_NO_PRIV if not priv else AUTH_PRIV
        self.auth_key = self.priv_key = b""
        if auth:
            hash_ = AUTH[auth][0]
            self.auth_key = localize(password_to_key(auth_password, hash_), engine_id, hash_)
        if priv:
            key = localize(password_to_key(priv_password, hash_), engine_id, hash_)
            while len(key) < PRIV[priv]:
                key += hash_(key).digest()
            self.priv_key = key

    def mac(self, message):
        """The MAC of a message whose MAC field holds zeros."""
        hash_, length = AUTH[self.auth]
        return hmac.new(self.auth_key, message, hash_).digest()[:length]

    def crypt(self, data, salt, boots, time, encrypt):
        if self.priv == "DES":
            iv = bytes(a ^ b for a, b in zip(self.priv_key[8:16], salt))
            cipher = DES.new(self.priv_key[:8], DES.MODE_CBC, iv)
        else:
            iv = boots.to_bytes(4, "big") + time.to_bytes(4, "big") + salt
            cipher = AES.new(self.priv_key[:PRIV[self.priv]], AES.MODE_CFB, iv, segment_size=128)
        return cipher.encrypt(data) if encrypt else cipher.decrypt(data)


def message(user, engine, boots, time, pdu_bytes, level=None, msg_id=7, flags=None,
            mac_length=None, salt=None, mangle=None, context_engine=None):
    """A v3 message from user to the engine at level (the user's unless
    given): flags as the level makes them (plus reportable) unless given; a
    MAC of mac_length octets (the method's unless given: a longer one is
    the MAC padded with zeros, a shorter one cut); the salt (8 fresh octets
    unless given); mangle(ciphertext) may alter the encrypted PDU."""
    level = user.level if level is None else level
    if flags is None:
        flags = 0x04 | (0x01 if level >= AUTH_NO_PRIV else 0) | (0x02 if level == AUTH_PRIV else 0)
    scoped = tlv(0x30, tlv(0x04, engine if context_engine is None else context_engine) +
                 tlv(0x04, b"") + pdu_bytes)
    priv_params = b""
    if level == AUTH_PRIV:
        priv_params = os.urandom(8) if salt is None else salt
        padded = scoped + b"\x00" * (-len(scoped) % 8 if user.priv == "DES" else 0)
        cipher = user.crypt(padded, priv_params.ljust(8, b"\0")[:8], boots, time, True)
        scoped = tlv(0x04, mangle(cipher) if mangle else cipher)
    if mac_length is None:
        mac_length = AUTH[user.auth][1] if level >= AUTH_NO_PRIV else 0

    def assemble(mac):
        security = tlv(0x30, tlv(0x04, engine) + ber_int(boots) + ber_int(time) +
                       tlv(0x04, user.name.encode()) + tlv(0x04, mac) + tlv(0x04, priv_params))
        header = tlv(0x30, ber_int(msg_id) + ber_int(65507) + tlv(0x04, bytes([flags])) +
                     ber_int(3))
        return tlv(0x30, ber_int(3) + header + tlv(0x04, security) + scoped)

    zeroed = assemble(b"\x00" * mac_length)
    if mac_length == 0 or not user.auth:
        return zeroed
    mac = user.mac(assemble(b"\x00" * AUTH[user.auth][1]))
    return assemble(mac[:mac_length].ljust(mac_length, b"\x00"))


class Reply:
    """A v3 message read back: header, security parameters, the scoped PDU
    (decrypted with user's keys when it is encrypted) and its PDU."""

    def __init__(self, data, user=None):
        self.data = data
        _, pos, end = read_tlv(data, 0)
        (_, vs, ve), (_, hs, he), (_, ss, se), scoped = children(data, pos, end)
        self.version = int.from_bytes(data[vs:ve], "big")
        header = [data[s:e] for _, s, e in children(data, hs, he)]
        self.msg_id = int.from_bytes(header[0], "big")
        self.flags = header[2][0]
        _, ps, pe = read_tlv(data, ss)
        fields = children(data, ps, pe)
        value = [data[s:e] for _, s, e in fields]
        self.engine_id, self.user_name = value[0], value[3]
        self.boots, self.time = (int.from_bytes(v, "big") for v in value[1:3])
        self.auth_params, self.priv_params = value[4], value[5]
        self.auth_at = fields[4][1]
        tag, s, e = scoped
        self.padding = b""
        if tag == 0x04:
            plain = user.crypt(data[s:e], self.priv_params, self.boots, self.time, False)
            _, _, end = read_tlv(plain, 0)
            self.scoped, self.padding = plain[:end], plain[end:]
        else:
            self.scoped = data[se:e]  # the TLV right after the security parameters
        _, cs, ce = read_tlv(self.scoped, 0)
        context = children(self.scoped, cs, ce)
        self.context_engine_id = self.scoped[context[0][1]:context[0][2]]
        self.pdu = read_pdu(self.scoped, context[1][2])

    def mac_ok(self, user):
        zeroed = (self.data[:self.auth_at] + b"\x00" * len(self.auth_params) +
                  self.data[self.auth_at + len(self.auth_params):])
        return self.auth_params == user.mac(zeroed)

    def report(self):
        """(usmStats kind, counter) of a report; None for anything else."""
        if self.pdu["tag"] != REPORT:
            return None
        oid, _, value = self.pdu["bindings"][0]
        prefix = USM_STATS + "."
        assert oid.startswith(prefix) and oid.endswith(".0"), oid
        return int(oid[len(prefix):-2]) - 1, int.from_bytes(value, "big")
