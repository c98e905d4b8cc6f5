#!/usr/bin/env python3
"""The GOST R 34.10-2001 public key of a document's KeyValue as a PEM SubjectPublicKeyInfo.

    gost-keyvalue-to-pem.py DOC.xml OUT.pem

Reads the first ds:KeyValue/ds:GOSTKeyValue in the XML-DSig namespace form
(PublicKeyParameters/{publicKeyParamSet, digestParamSet[, encryptionParamSet]} with
"urn:oid:" values, PublicKey = Base64 of X || Y, 64 bytes little-endian each half) and
writes the SubjectPublicKeyInfo that openssl's GOST engine and the GOST xmlsec1 read:
algorithm 1.2.643.2.2.19 with parameters SEQUENCE { publicKeyParamSet, digestParamSet },
subjectPublicKey = BIT STRING of the DER OCTET STRING of the 64 key bytes (the same bytes
a certificate carries). Written here from the standards, not by the library under test.
Exit 1 when the document has no such KeyValue.
"""
import base64
import sys
import xml.etree.ElementTree as ET

DSIG = '{http://www.w3.org/2000/09/xmldsig#}'
GOST2001_KEY = '1.2.643.2.2.19'


def der_length(n):
    if n < 0x80:
        return bytes([n])
    body = n.to_bytes((n.bit_length() + 7) // 8, 'big')
    return bytes([0x80 | len(body)]) + body


def der(tag, body):
    return bytes([tag]) + der_length(len(body)) + body


def oid(text):
    parts = [int(p) for p in text.split('.')]
    body = bytes([40 * parts[0] + parts[1]])
    for p in parts[2:]:
        chunk = [p & 0x7F]
        p >>= 7
        while p:
            chunk.insert(0, 0x80 | (p & 0x7F))
            p >>= 7
        body += bytes(chunk)
    return der(0x06, body)


def plain_oid(text):
    text = text.strip()
    return text[len('urn:oid:'):] if text.startswith('urn:oid:') else text


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    root = ET.parse(sys.argv[1]).getroot()
    value = root.find('.//' + DSIG + 'KeyValue/' + DSIG + 'GOSTKeyValue')
    if value is None:
        print(sys.argv[1] + ': no ds:KeyValue/ds:GOSTKeyValue', file=sys.stderr)
        return 1
    params = value.find(DSIG + 'PublicKeyParameters')
    public_set = params.findtext(DSIG + 'publicKeyParamSet')
    digest_set = params.findtext(DSIG + 'digestParamSet')
    key = base64.b64decode(''.join(value.findtext(DSIG + 'PublicKey').split()))
    if len(key) != 64 or not public_set or not digest_set:
        print(sys.argv[1] + ': incomplete GOST KeyValue', file=sys.stderr)
        return 1
    algorithm = der(0x30, oid(GOST2001_KEY) + der(0x30, oid(plain_oid(public_set)) + oid(plain_oid(digest_set))))
    spki = der(0x30, algorithm + der(0x03, b'\x00' + der(0x04, key)))
    text = base64.encodebytes(spki).decode('ascii')
    with open(sys.argv[2], 'w') as out:
        out.write('-----BEGIN PUBLIC KEY-----\n' + text + '-----END PUBLIC KEY-----\n')
    return 0


if __name__ == '__main__':
    sys.exit(main())
