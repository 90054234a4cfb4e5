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

# net-snmp's names: (hash, MAC length), and key length.
AUTH = {"MD5": (hashlib.md5, 12), "SHA": (hashlib.sha1, 12), "SHA-224": (hashlib.sha224, 16),
        "SHA-256": (hashlib.sha256, 24), "SHA-384": (hashlib.sha384, 32),
        "SHA-512": (hashlib.sha512, 48)}
PRIV = {"DES": 16, "AES": 16, "AES-192": 24, "AES-256": 32}
NO_AUTH, AUTH_NO_PRIV, AUTH_PRIV = 0, 1, 2
ENGINE_PREFIX = bytes.fromhex("80007ed904")


def localized_key(password, engine_id, hash_):
    key = hash_((password.encode() * (1048576 // len(password) + 1))[:1048576]).digest()
    return hash_(key + engine_id + key).digest()


class User:
    """A v3 user's name and keys localised for one engine ID."""

    def __init__(self, name, engine_id, auth=None, auth_password=None, priv=None,
                 priv_password=None):
        self.name, self.auth, self.priv = name, auth, priv
        self.level = NO_AUTH if not auth else AUTH_NO_PRIV if not priv else AUTH_PRIV
        if auth:
            hash_ = AUTH[auth][0]
            self.auth_key = localized_key(auth_password, engine_id, hash_)
        if priv:
            self.priv_key = localized_key(priv_password, engine_id, hash_)
            while len(self.priv_key) < PRIV[priv]:
                self.priv_key += hash_(self.priv_key).digest()

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


def message(user, engine, boots, time, pdu_bytes, level=None, mac_length=None, salt=None,
            mangle=None, context_engine=None):
    """A v3 message (reportable) from user at level (the user's unless
    given), with a MAC of mac_length octets (the method's unless given: the
    real MAC cut or padded with zeros), the salt (8 fresh octets unless
    given), and mangle(ciphertext) altering the encrypted PDU if given."""
    level = user.level if level is None else level
    scoped = tlv(0x30, tlv(0x04, context_engine or engine) + tlv(0x04, b"") + pdu_bytes)
    priv_params = b""
    if level == AUTH_PRIV:
        priv_params = os.urandom(8) if salt is None else salt
        padded = scoped + b"\0" * (-len(scoped) % 8 if user.priv == "DES" else 0)
        cipher = user.crypt(padded, priv_params.ljust(8, b"\0")[:8], boots, time, True)
        scoped = tlv(0x04, mangle(cipher) if mangle else cipher)
    flags = [0x04, 0x05, 0x07][level]

    def assemble(mac):
        security = tlv(0x30, tlv(0x04, engine) + ber_int(boots) + ber_int(time) +
                       tlv(0x04, user.name.encode()) + tlv(0x04, mac) + tlv(0x04, priv_params))
        header = tlv(0x30, ber_int(7) + ber_int(65507) + tlv(0x04, bytes([flags])) + ber_int(3))
        return tlv(0x30, ber_int(3) + header + tlv(0x04, security) + scoped)

    if level == NO_AUTH:
        return assemble(b"")
    full = AUTH[user.auth][1]
    mac = user.mac(assemble(b"\0" * full))
    return assemble(mac[:full if mac_length is None else mac_length].ljust(mac_length or 0, b"\0"))


class Reply:
    """A v3 message read back: security parameters, the scoped PDU (and its
    padding, decrypted with user's keys when encrypted) and its PDU."""

    def __init__(self, data, user=None):
        self.data = data
        _, pos, end = read_tlv(data, 0)
        _, (_, hs, he), (_, ss, se), (tag, s, e) = children(data, pos, end)
        self.flags = data[children(data, hs, he)[2][1]]
        fields = children(data, *read_tlv(data, ss)[1:])
        self.engine_id, boots, time, _, self.auth_params, self.priv_params = (
            data[fs:fe] for _, fs, fe in fields)
        self.boots, self.time = int.from_bytes(boots, "big"), int.from_bytes(time, "big")
        self.auth_at = fields[4][1]
        self.scoped, self.padding = data[se:e], b""
        if tag == 0x04:
            plain = user.crypt(data[s:e], self.priv_params, self.boots, self.time, False)
            end = read_tlv(plain, 0)[2]
            self.scoped, self.padding = plain[:end], plain[end:]
        context = children(self.scoped, *read_tlv(self.scoped, 0)[1:])
        self.context_engine_id = self.scoped[context[0][1]:context[0][2]]
        self.pdu = read_pdu(self.scoped, context[1][2])

    def mac_ok(self, user):
        at, n = self.auth_at, len(self.auth_params)
        return self.auth_params == user.mac(self.data[:at] + b"\0" * n + self.data[at + n:])

    def report(self):
        """(usmStats kind, counter) of a report; None for anything else."""
        if self.pdu["tag"] != 0xa8:
            return None
        oid, _, value = self.pdu["bindings"][0]
        assert oid.startswith("1.3.6.1.6.3.15.1.1.") and oid.endswith(".0"), oid
        return int(oid.split(".")[-2]) - 1, int.from_bytes(value, "big")
