#!/usr/bin/env bash
# selftest.sh WORKDIR
# Self-test of the peers (ctest: peers_selftest). Needs XMLSEC1_TESTS_DIR (xmlsec1's
# tests/ tree) and the GOST xmlsec1 / configuration as peers-lib.sh finds them
# (XMLSEC1_GOST_PREFIX, OPENSSL_GOST_CONF). WORKDIR is emptied and refilled.
# Checks, for every template: sign, verify (KEYDIR key and --doc-key), and that a
# tampered copy, another key and another kind fail; xmlsec1's own GOST 2001 vector
# verifies with the GOST build and a tampered copy does not; raw GOST signatures with
# openssl in all three formats; and that the GOST SignatureValues (ours and the
# vector's) are exactly what openssl-gost-verify.sh accepts over the canonical
# SignedInfo, i.e. raw format = SignatureValue byte order. Santuario (Java) verifies
# every non-GOST document too, and its canonical SignedInfo of the GOST documents is
# byte for byte xmlsec1's, also under GOST URIs neither of them knows.
set -uo pipefail
HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=peers-lib.sh
. "$HERE/peers-lib.sh"

[ $# -eq 1 ] || { echo "usage: $0 WORKDIR" >&2; exit 2; }
if [ -z "${XMLSEC1_TESTS_DIR:-}" ] || [ ! -d "$XMLSEC1_TESTS_DIR" ]; then
    peers_die "XMLSEC1_TESTS_DIR (xmlsec1's tests/ tree) not set or missing"
fi
W=$1
rm -rf "$W"
mkdir -p "$W"
W=$(cd "$W" && pwd)

failures=0 checks=0
pass() { checks=$((checks + 1)); echo "ok   $*"; }
fail() { checks=$((checks + 1)); failures=$((failures + 1)); echo "FAIL $*"; }
# expect RC DESCRIPTION CMD...: runs CMD (output to $W/last.log) and wants exit code RC.
expect() {
    local want=$1 what=$2 rc=0; shift 2
    "$@" >"$W/last.log" 2>&1 || rc=$?
    if [ "$rc" -eq "$want" ]; then
        pass "$what"
    else
        fail "$what (exit $rc, wanted $want)"
        sed 's/^/     | /' "$W/last.log" | tail -n 15
    fi
}
# tamper IN OUT: changes one character of the signed text.
tamper() { sed 's/Signed by a talvoran peer/Signed by a talvoran peeR/; s/Hello, World!/Hello, World?/' "$1" > "$2"; }

# The peers themselves.
GOST_XMLSEC1=$(peers_gost_xmlsec1) || exit 2
GOST_CONF=$(peers_gost_conf) || exit 2
echo "GOST xmlsec1: $GOST_XMLSEC1 ($("$GOST_XMLSEC1" --version))"
echo "GOST OpenSSL configuration: $GOST_CONF"
echo "stock xmlsec1: $(peers_stock_xmlsec1) ($(/usr/bin/xmlsec1 --version))"
SANTUARIO_CLASSES=$(peers_santuario_classes) || exit 2
echo "Santuario: libxml-security-java $(dpkg-query -W -f='${Version}' libxml-security-java 2>/dev/null), peer classes in $SANTUARIO_CLASSES"

# 0. The engine is there and hashes a known answer (CryptoPro parameter set, "abc").
abc=$(printf abc | OPENSSL_CONF="$GOST_CONF" openssl dgst -md_gost94 -r 2>/dev/null | cut -d' ' -f1)
if [ "$abc" = b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c ]; then
    pass "GOST engine: md_gost94(\"abc\")"
else
    fail "GOST engine: md_gost94(\"abc\") = '$abc'"
fi

# 1. Keys.
expect 0 "peer-keys.sh" "$HERE/peer-keys.sh" "$W/keys"
expect 0 "peer-keys.sh (second set)" "$HERE/peer-keys.sh" "$W/keys2"

# 2. Every template: sign, verify, and the failures.
mkdir -p "$W/signed"
for tmpl in "$HERE"/templates/*.xml; do
    name=$(basename "$tmpl" .xml)
    kind=${name%-keyvalue}; kind=${kind%-x509}
    doc="$W/signed/$name.xml"
    expect 0 "$name: sign" "$HERE/xmlsec1-sign.sh" "$kind" "$tmpl" "$doc" "$W/keys"
    [ -f "$doc" ] || continue
    expect 0 "$name: verify" "$HERE/xmlsec1-verify.sh" "$kind" "$doc" "$W/keys"
    tamper "$doc" "$W/signed/$name.tampered.xml"
    expect 1 "$name: tampered copy fails" "$HERE/xmlsec1-verify.sh" "$kind" "$W/signed/$name.tampered.xml" "$W/keys"
    expect 1 "$name: another key fails" "$HERE/xmlsec1-verify.sh" "$kind" "$doc" "$W/keys2"
    other=rsa-sha256; [ "$kind" = rsa-sha256 ] && other=rsa-sha1
    expect 1 "$name: another kind fails" "$HERE/xmlsec1-verify.sh" "$other" "$doc" "$W/keys"
    case $name in
        *-x509)
            expect 0 "$name: verify with the document's certificate" \
                "$HERE/xmlsec1-verify.sh" --doc-key "$kind" "$doc" "$W/keys"
            expect 1 "$name: document's certificate not trusted fails" \
                "$HERE/xmlsec1-verify.sh" --doc-key "$kind" "$doc" "$W/keys2"
            if grep -q '<X509Certificate>[A-Za-z0-9+/]' "$doc"; then
                pass "$name: X509Certificate filled in"
            else
                fail "$name: X509Certificate empty"
            fi ;;
        *-keyvalue)
            expect 0 "$name: verify with the document's KeyValue" \
                "$HERE/xmlsec1-verify.sh" --doc-key "$kind" "$doc" "$W/keys"
            if grep -q -E '<(RSA|DSA)KeyValue>' "$doc"; then
                pass "$name: KeyValue filled in"
            else
                fail "$name: KeyValue empty"
            fi ;;
    esac

    # The same document through Santuario, which knows no GOST.
    [ "$kind" = gost2001 ] && continue
    expect 0 "$name: Santuario verifies" "$HERE/santuario-verify.sh" "$kind" "$doc" "$W/keys"
    expect 1 "$name: Santuario: tampered copy fails" \
        "$HERE/santuario-verify.sh" "$kind" "$W/signed/$name.tampered.xml" "$W/keys"
    expect 1 "$name: Santuario: another key fails" "$HERE/santuario-verify.sh" "$kind" "$doc" "$W/keys2"
    expect 1 "$name: Santuario: another kind fails" "$HERE/santuario-verify.sh" "$other" "$doc" "$W/keys"
    case $name in
        *-x509)
            expect 0 "$name: Santuario verifies with the document's certificate" \
                "$HERE/santuario-verify.sh" --doc-key "$kind" "$doc" "$W/keys"
            expect 1 "$name: Santuario: document's certificate not trusted fails" \
                "$HERE/santuario-verify.sh" --doc-key "$kind" "$doc" "$W/keys2" ;;
        *-keyvalue)
            expect 0 "$name: Santuario verifies with the document's KeyValue" \
                "$HERE/santuario-verify.sh" --doc-key "$kind" "$doc" "$W/keys"
            expect 1 "$name: Santuario: tampered copy fails with the document's KeyValue" \
                "$HERE/santuario-verify.sh" --doc-key "$kind" "$W/signed/$name.tampered.xml" "$W/keys" ;;
    esac
done

# SignedInfo in canonical form, as xmlsec1 signed or verified it (from its debug dump).
# signed_info OUT XMLSEC1-VERIFY-ARGS...
signed_info() {
    local out=$1; shift
    OPENSSL_CONF="$GOST_CONF" "$GOST_XMLSEC1" verify --store-signatures --print-debug "$@" \
        > "$W/debug.txt" 2>&1 || return 1
    python3 - "$W/debug.txt" "$out" <<'PY'
import sys
data = open(sys.argv[1], 'rb').read()
start = b'== PreSigned data - start buffer:\n'
end = b'\n== PreSigned data - end buffer\n'
i = data.index(start) + len(start)          # the first buffer is the signature's
j = data.index(end, i)
open(sys.argv[2], 'wb').write(data[i:j])
PY
}
# signature_value DOC OUT: the SignatureValue text of DOC.
signature_value() {
    python3 - "$1" "$2" <<'PY'
import sys, xml.etree.ElementTree as ET
ns = '{http://www.w3.org/2000/09/xmldsig#}'
v = ET.parse(sys.argv[1]).getroot().find('.//' + ns + 'SignatureValue').text
open(sys.argv[2], 'w').write(v)
PY
}

# 3. xmlsec1's own GOST 2001 vector with the GOST build.
T=$XMLSEC1_TESTS_DIR
vec="$T/aleksey-xmldsig-01/enveloped-gost2001.xml"
expect 0 "enveloped-gost2001.xml: verify (certificate chain to gost2001ca)" \
    env OPENSSL_CONF="$GOST_CONF" "$GOST_XMLSEC1" verify \
        --trusted-pem "$T/keys/gost2001ca.pem" --untrusted-pem "$T/keys/ca2cert.pem" \
        --enabled-key-data x509 --verification-gmt-time 2007-01-01+10:00:00 "$vec"
# The vector is signed by the key of the certificate it carries (CN=Ran, issued by
# keys/gost2001ca.pem), not by keys/gost2001cert.pem: take that certificate's key.
mkdir -p "$W/veckeys"
python3 - "$vec" "$W/veckeys/gost2001-cert.pem" <<'PY'
import sys, xml.etree.ElementTree as ET
ns = '{http://www.w3.org/2000/09/xmldsig#}'
b64 = ''.join(ET.parse(sys.argv[1]).getroot().find('.//' + ns + 'X509Certificate').text.split())
lines = [b64[i:i + 64] for i in range(0, len(b64), 64)]
open(sys.argv[2], 'w').write('-----BEGIN CERTIFICATE-----\n' + '\n'.join(lines) + '\n-----END CERTIFICATE-----\n')
PY
expect 0 "enveloped-gost2001.xml: its certificate chains to keys/gost2001ca.pem (openssl verify)" \
    env OPENSSL_CONF="$GOST_CONF" openssl verify -CAfile "$T/keys/gost2001ca.pem" \
        -attime "$(date -d 2007-01-01T10:00:00Z +%s)" "$W/veckeys/gost2001-cert.pem"
OPENSSL_CONF="$GOST_CONF" openssl x509 -in "$W/veckeys/gost2001-cert.pem" -pubkey -noout > "$W/veckeys/gost2001-pub.pem" 2>/dev/null
expect 0 "enveloped-gost2001.xml: verify with its public key (xmlsec1-verify.sh)" \
    "$HERE/xmlsec1-verify.sh" gost2001 "$vec" "$W/veckeys"
tamper "$vec" "$W/enveloped-gost2001.tampered.xml"
cmp -s "$vec" "$W/enveloped-gost2001.tampered.xml" && fail "vector tampering changed nothing"
expect 1 "enveloped-gost2001.xml: tampered copy fails" \
    "$HERE/xmlsec1-verify.sh" gost2001 "$W/enveloped-gost2001.tampered.xml" "$W/veckeys"
expect 1 "enveloped-gost2001.xml: another key fails" \
    "$HERE/xmlsec1-verify.sh" gost2001 "$vec" "$W/keys"

# 4. Raw GOST R 34.10-2001 signatures with openssl.
printf 'talvoran peers: raw GOST R 34.10-2001 data\n' > "$W/data.txt"
printf 'talvoran peers: raw GOST R 34.10-2001 datA\n' > "$W/data-tampered.txt"
: > "$W/empty.txt"
for fmt in raw base64 capi; do
    opt=(); [ "$fmt" = raw ] || opt=("--$fmt")
    expect 0 "openssl GOST ($fmt): sign" "$HERE/openssl-gost-sign.sh" "${opt[@]}" "$W/keys/gost2001-key.pem" "$W/data.txt" "$W/sig.$fmt"
    expect 0 "openssl GOST ($fmt): verify with the certificate" "$HERE/openssl-gost-verify.sh" "${opt[@]}" "$W/keys/gost2001-cert.pem" "$W/data.txt" "$W/sig.$fmt"
    expect 0 "openssl GOST ($fmt): verify with the public key" "$HERE/openssl-gost-verify.sh" "${opt[@]}" "$W/keys/gost2001-pub.pem" "$W/data.txt" "$W/sig.$fmt"
    expect 1 "openssl GOST ($fmt): tampered data fails" "$HERE/openssl-gost-verify.sh" "${opt[@]}" "$W/keys/gost2001-cert.pem" "$W/data-tampered.txt" "$W/sig.$fmt"
    expect 1 "openssl GOST ($fmt): another key fails" "$HERE/openssl-gost-verify.sh" "${opt[@]}" "$W/keys2/gost2001-cert.pem" "$W/data.txt" "$W/sig.$fmt"
done
perl -0777 -ne 'print scalar reverse $_' < "$W/sig.raw" > "$W/sig.raw-reversed"
expect 1 "openssl GOST: raw signature read as CryptoAPI order fails" \
    "$HERE/openssl-gost-verify.sh" --capi "$W/keys/gost2001-cert.pem" "$W/data.txt" "$W/sig.raw"
expect 0 "openssl GOST: reversed raw signature verifies as CryptoAPI order" \
    "$HERE/openssl-gost-verify.sh" --capi "$W/keys/gost2001-cert.pem" "$W/data.txt" "$W/sig.raw-reversed"
expect 2 "openssl GOST: empty data refused" "$HERE/openssl-gost-sign.sh" "$W/keys/gost2001-key.pem" "$W/empty.txt" "$W/sig.empty"

# 5. The two GOST peers agree: an XML SignatureValue is openssl's raw signature over
# the canonical SignedInfo (ours and the vector's).
if signed_info "$W/si-ours.xml" --pubkey-pem "$W/keys/gost2001-pub.pem" --enabled-key-data key-name "$W/signed/gost2001-x509.xml" \
        && signature_value "$W/signed/gost2001-x509.xml" "$W/sv-ours.b64"; then
    expect 0 "gost2001 SignatureValue = openssl raw signature over SignedInfo (ours)" \
        "$HERE/openssl-gost-verify.sh" --base64 "$W/keys/gost2001-cert.pem" "$W/si-ours.xml" "$W/sv-ours.b64"
else
    fail "cannot extract SignedInfo/SignatureValue of our gost2001 document"
fi
if signed_info "$W/si-vec.xml" --pubkey-pem "$W/veckeys/gost2001-pub.pem" --enabled-key-data key-name "$vec" \
        && signature_value "$vec" "$W/sv-vec.b64"; then
    expect 0 "gost2001 SignatureValue = openssl raw signature over SignedInfo (vector)" \
        "$HERE/openssl-gost-verify.sh" --base64 "$W/veckeys/gost2001-cert.pem" "$W/si-vec.xml" "$W/sv-vec.b64"
else
    fail "cannot extract SignedInfo/SignatureValue of enveloped-gost2001.xml"
fi

# 6. Santuario's canonical SignedInfo is xmlsec1's: both of its ways on a document it
# can verify, and the fallback on the GOST documents, whose algorithms it does not know.
# same_bytes DESCRIPTION A B
same_bytes() {
    if cmp -s "$2" "$3"; then pass "$1"; else fail "$1 ($2 and $3 differ)"; fi
}
rsa_doc="$W/signed/rsa-sha256-x509.xml"
if signed_info "$W/si-rsa.xml" --pubkey-pem "$W/keys/rsa-pub.pem" --enabled-key-data key-name "$rsa_doc"; then
    expect 0 "Santuario SignedInfo (rsa-sha256): written" "$HERE/santuario-signedinfo.sh" "$rsa_doc" "$W/si-rsa.santuario"
    same_bytes "Santuario SignedInfo (rsa-sha256) = xmlsec1's" "$W/si-rsa.xml" "$W/si-rsa.santuario"
    expect 0 "Santuario SignedInfo --direct (rsa-sha256): written" \
        "$HERE/santuario-signedinfo.sh" --direct "$rsa_doc" "$W/si-rsa.direct"
    same_bytes "Santuario SignedInfo --direct (rsa-sha256) = xmlsec1's" "$W/si-rsa.xml" "$W/si-rsa.direct"
else
    fail "cannot extract SignedInfo of rsa-sha256-x509.xml"
fi
for which in ours vec; do
    case $which in
        ours) doc="$W/signed/gost2001-x509.xml" cert="$W/keys/gost2001-cert.pem" ;;
        vec)  doc=$vec cert="$W/veckeys/gost2001-cert.pem" ;;
    esac
    [ -f "$W/si-$which.xml" ] || { fail "gost2001 ($which): no SignedInfo from xmlsec1 to compare"; continue; }
    expect 0 "Santuario SignedInfo (gost2001, $which): written" \
        "$HERE/santuario-signedinfo.sh" "$doc" "$W/si-$which.santuario"
    same_bytes "Santuario SignedInfo (gost2001, $which) = xmlsec1's" "$W/si-$which.xml" "$W/si-$which.santuario"
    expect 0 "Santuario SignatureValue (gost2001, $which): written" \
        peers_santuario signaturevalue "$doc" "$W/sv-$which.raw"
    expect 0 "gost2001 ($which): openssl verifies Santuario's SignatureValue over its SignedInfo" \
        "$HERE/openssl-gost-verify.sh" "$cert" "$W/si-$which.santuario" "$W/sv-$which.raw"
done
# The same under the CryptoPro URNs: only the Algorithm strings change in the canonical
# form, so xmlsec1's buffer with the same substitution is the expected value.
cp_sub='s#http://www.w3.org/2001/04/xmldsig-more\#gostr34102001-gostr3411#urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411#; s#http://www.w3.org/2001/04/xmldsig-more\#gostr3411#urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411#'
if [ -f "$W/si-ours.xml" ]; then
    sed "$cp_sub" "$W/signed/gost2001-x509.xml" > "$W/gost2001-cpxmlsec.xml"
    sed "$cp_sub" "$W/si-ours.xml" > "$W/si-cpxmlsec.expected"
    if grep -q 'urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411"' "$W/si-cpxmlsec.expected"; then
        expect 0 "Santuario SignedInfo (gost2001 under cpxmlsec URNs): written" \
            "$HERE/santuario-signedinfo.sh" "$W/gost2001-cpxmlsec.xml" "$W/si-cpxmlsec.santuario"
        same_bytes "Santuario SignedInfo (gost2001 under cpxmlsec URNs) = xmlsec1's, URNs swapped" \
            "$W/si-cpxmlsec.expected" "$W/si-cpxmlsec.santuario"
    else
        fail "cpxmlsec URN substitution changed nothing"
    fi
fi

echo "$((checks - failures))/$checks checks passed"
[ "$failures" -eq 0 ]
