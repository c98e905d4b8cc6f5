#!/usr/bin/env python3
"""keyvalue-spki.py DOCUMENT.xml OUT.der

Writes the DER SubjectPublicKeyInfo of the first DSAKeyValue or RSAKeyValue in an
XML-signed document, so that the Windows side can import exactly the key the document
names without asking the library under test to read the KeyValue for it."""
import base64
import sys
import xml.etree.ElementTree as ET

DS = "{http://www.w3.org/2000/09/xmldsig#}"
OID_RSA = bytes.fromhex("2a864886f70d010101")   # 1.2.840.113549.1.1.1
OID_DSA = bytes.fromhex("2a8648ce380401")        # 1.2.840.10040.4.1


def tlv(tag, body):
    n = len(body)
    if n < 0x80:
        head = bytes([n])
    else:
        size = n.to_bytes((n.bit_length() + 7) // 8, "big")
        head = bytes([0x80 | len(size)]) + size
    return bytes([tag]) + head + body


def integer(raw):
    raw = raw.lstrip(b"\0") or b"\0"
    if raw[0] & 0x80:
        raw = b"\0" + raw
    return tlv(0x02, raw)


def seq(*items):
    return tlv(0x30, b"".join(items))


def field(parent, name):
    node = parent.find(DS + name)
    if node is None or not (node.text or "").strip():
        raise SystemExit("%s: missing %s" % (sys.argv[1], name))
    return base64.b64decode("".join(node.text.split()))


def spki(root):
    dsa = next(root.iter(DS + "DSAKeyValue"), None)
    if dsa is not None:
        params = seq(integer(field(dsa, "P")), integer(field(dsa, "Q")), integer(field(dsa, "G")))
        key = integer(field(dsa, "Y"))
        return seq(seq(tlv(0x06, OID_DSA), params), tlv(0x03, b"\0" + key))
    rsa = next(root.iter(DS + "RSAKeyValue"), None)
    if rsa is not None:
        key = seq(integer(field(rsa, "Modulus")), integer(field(rsa, "Exponent")))
        return seq(seq(tlv(0x06, OID_RSA), tlv(0x05, b"")), tlv(0x03, b"\0" + key))
    raise SystemExit("%s: no DSAKeyValue or RSAKeyValue" % sys.argv[1])


def main():
    if len(sys.argv) != 3:
        raise SystemExit("usage: keyvalue-spki.py DOCUMENT.xml OUT.der")
    with open(sys.argv[2], "wb") as out:
        out.write(spki(ET.parse(sys.argv[1]).getroot()))


if __name__ == "__main__":
    main()
