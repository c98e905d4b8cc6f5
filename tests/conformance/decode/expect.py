#!/usr/bin/env python3
"""Expected decode results of XML-signature documents, read independently of the library.

    expect.py --catalog src/algorithms/AlgorithmCatalog.cpp --out FILE SUITE=DIR... [--file NAME=PATH]...

Every SUITE=DIR names a folder of documents; each file below it (sorted, recursively) that is an
XML-signature document by content (it parses and holds a ds:Signature, or it does not parse but
is plainly meant as one) becomes a vector "SUITE/relative/path". Files that are templates
(.tmpl), keys, certificates or data are skipped. --file adds a single document.

The documents are read with Python's own xml.etree.ElementTree, not with the XML stack of the
library. The output is a line format read by DecodeVectorsTest.cpp:

    V <name> <path>                      a vector starts
    E opens                              expected to open
    E refused <hresult> <reason...>      expected to be refused with that HRESULT
    U <note...>                          the expectation is uncertain (the note says why)
    S <id> <c14n> <sigmethod> <sigvalue> <nref> <nobj> <status>   one ds:Signature
    K <n>                                KeyInfo with n published items (0: pKeyInfo NULL)
    KN <name> | KR <mod> <exp> | KD <p> <q> <g> <y> | KG | KM <localname> | KC <localname>
    KX <n>                               X509Data with n items, followed by n lines:
    XC <der> | XL <crl> | XS <subject> | XI <issuer> <serial> | XK <ski> | XU <localname>
    R <uri> <id> <type> <digestmethod> <digestvalue> <ntransforms>   a reference, then
    T <algorithm>                        one line per transform
    O <id> <mimetype> <encoding> <nref>  an object, followed by its manifest's R lines
    Z                                    the vector ends

Strings are "-" for absent, otherwise "s" followed by the hex of their UTF-8 bytes; byte
values are "x" followed by hex. <status> is the expected error word of CryptXmlGetStatus.
"""
import argparse
import base64
import binascii
import os
import re
import sys
import xml.etree.ElementTree as ET

DS = "http://www.w3.org/2000/09/xmldsig#"
DS11 = "http://www.w3.org/2009/xmldsig11#"
XENC = "http://www.w3.org/2001/04/xmlenc#"

C14N_URIS = [
    "http://www.w3.org/TR/2001/REC-xml-c14n-20010315",
    "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments",
    "http://www.w3.org/2001/10/xml-exc-c14n#",
    "http://www.w3.org/2001/10/xml-exc-c14n#WithComments",
    "http://www.w3.org/2006/12/xml-c14n11",
    "http://www.w3.org/2006/12/xml-c14n11#WithComments",
]
XPATH_URI = "http://www.w3.org/TR/1999/REC-xpath-19991116"
XPF_URI = "http://www.w3.org/2002/06/xmldsig-filter2"
TRANSFORM_URIS = set(C14N_URIS) | {
    "http://www.w3.org/2000/09/xmldsig#base64",
    "http://www.w3.org/2000/09/xmldsig#enveloped-signature",
    XPATH_URI,
    XPF_URI,
}

# Digest URIs that the XML-signature library itself maps, although the catalog lacks them.
XSEC_KNOWN_DIGESTS = {
    "http://www.w3.org/2001/04/xmldsig-more#md5",
    "http://www.w3.org/2001/04/xmldsig-more#sha224",
    "http://www.w3.org/2001/04/xmlenc#ripemd160",
}

MAX_SIGNATURES = 16
MAX_TRANSFORMS = 16
MAX_SIGNATURE_VALUE = 2048
MAX_ID = 256

E_INVALIDARG = 0x80070057
E_FAIL = 0x80004005
E_UNEXPECTED = 0x8000FFFF
WS_E_INVALID_FORMAT = 0x803D0000
WS_E_OBJECT_FAULTED = 0x803D0001
CRYPT_XML_E_TOO_MANY_TRANSFORMS = 0x80092102
CRYPT_XML_E_ALGORITHM = 0x80092104
CRYPT_XML_E_TRANSFORM = 0x80092105
CRYPT_XML_E_TOO_MANY_SIGNATURES = 0x8009210E
CRYPT_XML_E_UNEXPECTED_XML = 0x80092110
CRYPT_XML_E_ID_CONFLICT = 0x80092112
STATUS_ERROR_NOT_RESOLVED = 0x1


class Refused(Exception):
    def __init__(self, hresult, reason, uncertain=None):
        super().__init__(reason)
        self.hresult = hresult
        self.reason = reason
        self.uncertain = uncertain


def s(text):
    return "-" if text is None else "s" + text.encode("utf-8").hex()


def x(data):
    return "x" + data.hex()


def ds(local):
    return "{%s}%s" % (DS, local)


def local_name(tag):
    return tag.rsplit("}", 1)[-1] if isinstance(tag, str) else ""


def namespace(tag):
    return tag[1:].split("}", 1)[0] if isinstance(tag, str) and tag.startswith("{") else ""


def children(elem):
    return [c for c in elem if isinstance(c.tag, str)]


def first_text(elem):
    """The first text node of an element, as the XML-signature library reads it."""
    return elem.text if elem.text is not None else next(
        (c.tail for c in elem if c.tail), None)


def all_text(elem):
    return "".join(elem.itertext())


def b64(text):
    """Lenient Base64 (white space and line breaks skipped), as the library's decoder."""
    cleaned = re.sub(r"\s+", "", text or "")
    if not cleaned:
        return b""
    return base64.b64decode(cleaned + "=" * (-len(cleaned) % 4))


def strict_b64(text):
    cleaned = re.sub(r"\s+", "", text or "")
    if not cleaned:
        return None
    try:
        return base64.b64decode(cleaned, validate=True)
    except (binascii.Error, ValueError):
        return None


def decode_dname(text):
    """Distinguished-name unescaping as the XML-signature library does it ('\\,' -> ',')."""
    out, i = [], 0
    if text.startswith("\\#"):
        out.append("#")
        i = 2
    while i < len(text):
        c = text[i]
        if c == "\\" and i + 1 < len(text):
            n = text[i + 1]
            if n in "01" and i + 2 < len(text) and text[i + 2] in "0123456789abcdefABCDEF":
                out.append(chr(int(n) * 16 + int(text[i + 2], 16)))
                i += 3
                continue
            out.append(n)
            i += 2
            continue
        out.append(c)
        i += 1
    return "".join(out)


def read_catalog(path):
    text = open(path, encoding="utf-8").read()
    digests = set(re.findall(r'Digest\(L"([^"]+)"', text))
    signatures = set(re.findall(r'Signature\(L"([^"]+)"', text))
    if not digests or not signatures:
        sys.exit("expect.py: no algorithms found in %s" % path)
    return digests, signatures


def find_signatures(elem, out):
    """Depth first, document order; a found Signature is not entered."""
    if elem.tag == ds("Signature"):
        out.append(elem)
        return
    for c in children(elem):
        find_signatures(c, out)


class Reader:
    def __init__(self, digests, signatures):
        self.digests = digests
        self.signatures = signatures
        self.uncertain = []

    # --- references -----------------------------------------------------------------
    def transforms_of(self, ref):
        tl = ref.find(ds("Transforms"))
        return [] if tl is None else [t for t in children(tl) if t.tag == ds("Transform")]

    def check_transforms_known(self, ref):
        for t in self.transforms_of(ref):
            alg = t.get("Algorithm")
            if alg not in TRANSFORM_URIS:
                raise Refused(CRYPT_XML_E_TRANSFORM, "unknown cxTfm %s" % alg)

    def reference(self, ref):
        dm = ref.find(ds("DigestMethod"))
        alg = None if dm is None else dm.get("Algorithm")
        if alg not in self.digests:
            raise Refused(CRYPT_XML_E_ALGORITHM, "digest method %s" % alg,
                          "digest method %s is known to the XML-signature library though not in "
                          "the catalog" % alg if alg in XSEC_KNOWN_DIGESTS else None)
        dv = ref.find(ds("DigestValue"))
        digest = b64(all_text(dv)) if dv is not None else b""
        transforms = [t.get("Algorithm") for t in self.transforms_of(ref)]
        if len(transforms) > MAX_TRANSFORMS:
            raise Refused(CRYPT_XML_E_TOO_MANY_TRANSFORMS, "%d transforms" % len(transforms))
        lines = ["R %s %s %s %s %s %d" % (s(ref.get("URI")), s(ref.get("Id")), s(ref.get("Type")),
                                        s(alg), x(digest[:200]), len(transforms))]
        lines += ["T %s" % s(t) for t in transforms]
        return lines

    # --- KeyInfo ----------------------------------------------------------------------
    def x509data(self, elem):
        certs, crls, items = [], [], []
        subject = issuer = serial = ski = None
        custom = []
        for c in children(elem):
            name = local_name(c.tag)
            if c.tag == ds("X509Certificate"):
                if first_text(c) is not None:
                    certs.append("XC " + x(b64(first_text(c))))
            elif c.tag == ds("X509CRL"):
                if first_text(c) is not None:
                    crls.append("XL " + x(b64(first_text(c))))
            elif c.tag == ds("X509SubjectName"):
                subject = decode_dname(first_text(c) or "")
            elif c.tag == ds("X509IssuerSerial"):
                iname = c.find(ds("X509IssuerName"))
                iserial = c.find(ds("X509SerialNumber"))
                if iname is not None and iserial is None:
                    raise Refused(CRYPT_XML_E_UNEXPECTED_XML, "issuerName && !issuerSerial",
                                  "X509IssuerSerial without X509SerialNumber: the XML-signature "
                                  "library itself already rejects it while loading")
                if iname is None and iserial is not None:
                    raise Refused(CRYPT_XML_E_UNEXPECTED_XML, "!issuerName && issuerSerial",
                                  "X509IssuerSerial without X509IssuerName: the XML-signature "
                                  "library itself already rejects it while loading")
                if iname is not None:
                    issuer = decode_dname(first_text(iname) or "")
                    serial = first_text(iserial) or ""
            elif c.tag == ds("X509SKI"):
                ski = b64(first_text(c) or "")
            else:
                custom.append("XU " + s(name))
                self.uncertain.append("X509Data child %s listed as a custom X509Data item" % name)
        items += certs + crls
        if subject is not None:
            items.append("XS " + s(subject))
        if issuer is not None:
            items.append("XI %s %s" % (s(issuer), s(serial)))
        if ski is not None:
            items.append("XK " + x(ski))
        items += custom
        return ["KX %d" % len(items)] + items

    def key_value(self, kv):
        kids = children(kv)
        if not kids:
            raise Refused(E_UNEXPECTED, "empty KeyValue", "empty KeyValue: the XML-signature "
                          "library rejects it while loading; HRESULT of that failure not fixed")
        k = kids[0]
        if k.tag == ds("RSAKeyValue"):
            m, e = k.find(ds("Modulus")), k.find(ds("Exponent"))
            return ["KR %s %s" % (x(b64(all_text(m))), x(b64(all_text(e))))]
        if k.tag == ds("DSAKeyValue"):
            parts = [k.find(ds(n)) for n in ("P", "Q", "G", "Y")]
            if any(p is None for p in parts):
                self.uncertain.append("DSAKeyValue without all of P, Q, G, Y")
            return ["KD " + " ".join(x(b64(all_text(p)) if p is not None else b"") for p in parts)]
        if local_name(k.tag) == "GOSTKeyValue":
            return ["KG"]
        if k.tag == "{%s}ECKeyValue" % DS11:
            return ["KC " + s("KeyValue")]
        raise Refused(E_UNEXPECTED, "unknown KeyValue %s" % local_name(k.tag),
                      "KeyValue child %s is rejected by the XML-signature library while loading "
                      "(UnknownKeyValue); the HRESULT it becomes is not fixed" % local_name(k.tag))

    def key_info(self, ki, root):
        items, retrievals = [], []
        for c in children(ki):
            if c.tag == ds("RetrievalMethod"):
                uri = c.get("URI")
                retrievals.append("KM " + s("RetrievalMethod"))
                note = "RetrievalMethod URI=%s Type=%s: listed last as a RETRIEVAL item; the " \
                       "XML-signature library dereferences it while loading" % (uri, c.get("Type"))
                if uri and not uri.startswith("#"):
                    note += " (an external URI: may fail to load instead)"
                self.uncertain.append(note)
            elif c.tag == ds("X509Data"):
                lines = self.x509data(c)
                items.append(lines)
            elif c.tag == ds("KeyName"):
                items.append(["KN " + s(first_text(c) or "")])
            elif c.tag == ds("KeyValue"):
                items.append(self.key_value(c))
            else:
                items.append(["KC " + s(local_name(c.tag))])
        flat = [l for item in items for l in item] + retrievals
        n = len(items) + len(retrievals)
        return ["K %d" % n] + (flat if n else [])

    # --- a whole signature --------------------------------------------------------------
    def signature(self, sig, root):
        sid = sig.get("Id")
        if sid is not None and len(sid) > MAX_ID:
            raise Refused(E_INVALIDARG, "Id longer than %d" % MAX_ID)
        si = sig.find(ds("SignedInfo"))
        if si is None:
            raise Refused(E_UNEXPECTED, "no SignedInfo", "Signature without SignedInfo")
        refs = [r for r in children(si) if r.tag == ds("Reference")]
        objects = [o for o in children(sig) if o.tag == ds("Object")]
        # Loading: references with their transforms, then manifests. The XML-signature
        # library refuses a Reference without DigestValue and a Signature without
        # SignatureValue while loading; the library reports those as E_FAIL.
        manifest_refs = [r for o in objects for m in children(o) if m.tag == ds("Manifest")
                         for r in children(m) if r.tag == ds("Reference")]
        for r in refs + manifest_refs:
            self.check_transforms_known(r)
            if r.find(ds("DigestValue")) is None:
                raise Refused(E_FAIL, "Reference without DigestValue (refused while loading)")
        sv = sig.find(ds("SignatureValue"))
        if sv is None:
            raise Refused(E_FAIL, "no SignatureValue (refused while loading)")
        ki = sig.find(ds("KeyInfo"))
        key_lines = self.key_info(ki, root) if ki is not None else ["K 0"]
        cm = si.find(ds("CanonicalizationMethod"))
        c14n = None if cm is None else cm.get("Algorithm")
        if c14n not in C14N_URIS:
            raise Refused(CRYPT_XML_E_ALGORITHM, "canonicalization %s" % c14n,
                          "unknown CanonicalizationMethod")
        smel = si.find(ds("SignatureMethod"))
        smeth = None if smel is None else smel.get("Algorithm")
        if smeth not in self.signatures:
            raise Refused(CRYPT_XML_E_ALGORITHM, "signature method %s" % smeth)
        if not re.sub(r"\s+", "", all_text(sv)):
            raise Refused(E_FAIL, "empty SignatureValue")
        value = strict_b64(all_text(sv))
        if not value:
            raise Refused(E_FAIL, "SignatureValue is not Base64")
        if len(value) > MAX_SIGNATURE_VALUE:
            raise Refused(E_INVALIDARG, "SignatureValue of %d bytes" % len(value))
        # KeyInfo checks already ran in key_info (X509 pairing).
        obj_lines, ids = [], set()
        for o in objects:
            oid = o.get("Id")
            if oid:
                if oid in ids:
                    raise Refused(CRYPT_XML_E_ID_CONFLICT, "duplicate Object Id %s" % oid)
                ids.add(oid)
            mrefs = []
            for m in [m for m in children(o) if m.tag == ds("Manifest")]:
                mrefs += [r for r in children(m) if r.tag == ds("Reference")]
            lines = []
            for r in mrefs:
                lines += self.reference(r)
                # A Manifest reference has no signature of its own to take the charset of
                # the XPath element from: the library refuses it as a state error.
                if any(t.get("Algorithm") in (XPATH_URI, XPF_URI) for t in self.transforms_of(r)):
                    raise Refused(WS_E_OBJECT_FAULTED, "XPath transform in a Manifest reference")
            obj_lines.append("O %s %s %s %d" % (s(oid), s(o.get("MimeType")), s(o.get("Encoding")),
                                               len(mrefs)))
            obj_lines += lines
        ref_lines = []
        for r in refs:
            ref_lines += self.reference(r)
        status = STATUS_ERROR_NOT_RESOLVED if refs else 0
        head = "S %s %s %s %s %d %d %d" % (s(sid), s(c14n), s(smeth), x(value), len(refs),
                                           len(objects), status)
        return [head] + key_lines + ref_lines + obj_lines


def looks_like_signature_document(data):
    return b"http://www.w3.org/2000/09/xmldsig#" in data and b"Signature" in data


def expect(data, digests, signatures):
    """Returns (is_signature_document, lines)."""
    try:
        root = ET.fromstring(data)
    except ET.ParseError as e:
        if not looks_like_signature_document(data):
            return False, []
        return True, ["E refused 0x%08X not well-formed XML (%s)" % (WS_E_INVALID_FORMAT, e)]
    sigs = []
    find_signatures(root, sigs)
    if not sigs:
        return False, []
    if len(sigs) > MAX_SIGNATURES:
        return True, ["E refused 0x%08X %d signatures" % (CRYPT_XML_E_TOO_MANY_SIGNATURES, len(sigs))]
    reader = Reader(digests, signatures)
    if b"<!DOCTYPE" in data:
        reader.uncertain.append("the document has a DOCTYPE; the library's parser keeps its "
                                "default DTD handling")
    body = []
    try:
        for sig in sigs:
            body += reader.signature(sig, root)
    except Refused as r:
        if r.uncertain:
            reader.uncertain.append(r.uncertain)
        return True, ["E refused 0x%08X %s" % (r.hresult, r.reason)] + \
            ["U " + u for u in reader.uncertain]
    return True, ["E opens"] + ["U " + u for u in reader.uncertain] + \
        ["N %d" % len(sigs)] + body


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--catalog", required=True)
    ap.add_argument("--out", required=True)
    ap.add_argument("--file", action="append", default=[])
    ap.add_argument("suites", nargs="*")
    args = ap.parse_args()
    digests, signatures = read_catalog(args.catalog)

    candidates = []
    for item in args.suites:
        suite, folder = item.split("=", 1)
        for dirpath, dirnames, filenames in os.walk(folder):
            dirnames.sort()
            for f in sorted(filenames):
                if f.endswith((".tmpl", ".pem", ".der", ".key", ".crt", ".data", ".txt", ".b64",
                               ".bin", ".xsl", ".dtd", ".sh")):
                    continue
                path = os.path.join(dirpath, f)
                rel = os.path.relpath(path, folder).replace(os.sep, "/")
                candidates.append(("%s/%s" % (suite, rel), path))
    for item in args.file:
        name, path = item.split("=", 1)
        candidates.append((name, path))

    out, counts = [], {}
    for name, path in candidates:
        data = open(path, "rb").read()
        is_doc, lines = expect(data, digests, signatures)
        if not is_doc:
            continue
        out.append("V %s %s" % (name, os.path.abspath(path)))
        out += lines
        out.append("Z")
        key = lines[0][2:].split(" ")[0:2]
        key = "opens" if key[0] == "opens" else "refused " + key[1]
        counts[key] = counts.get(key, 0) + 1
    tmp = args.out + ".tmp"
    with open(tmp, "w", encoding="utf-8", newline="\n") as fh:
        fh.write("\n".join(out) + "\n")
    os.replace(tmp, args.out)
    total = sum(counts.values())
    print("expect.py: %d vectors: %s" % (total, ", ".join("%s %d" % kv for kv in sorted(counts.items()))))


if __name__ == "__main__":
    main()
