#!/usr/bin/env bash
# prepare.sh ROOT OUT SUITES
# Everything verify_vectors_test needs besides the suites themselves, made fresh in OUT:
#  OUT/keys/    the suites' certificates as DER, their HMAC secret as raw bytes, and the
#               public keys of the KeyValue-only documents as DER SubjectPublicKeyInfo;
#  OUT/peer/    fresh peer keys (tools/peers/peer-keys.sh);
#  OUT/fresh/   documents signed now by stock xmlsec1 and by the GOST xmlsec1 build, next
#               to payload.txt, the file their detached references name.
# Every made key and document is checked with xmlsec1 before the Windows side sees it, so
# that a failure there cannot come from this script.
set -euo pipefail
[ $# -eq 3 ] || { echo "usage: $0 ROOT OUT SUITES" >&2; exit 2; }
root=$1 out=$2 suites=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
python=${PYTHON:-/usr/bin/python3}
peers=$root/tools/peers
merlin=$suites/merlin-xmldsig-twenty-three
aleksey=$suites/aleksey-xmldsig-01
ext=$suites/external-data

rm -rf "$out"
mkdir -p "$out/keys" "$out/fresh"

die() { echo "prepare.sh: $*" >&2; exit 1; }

# --- Key material of the suites ------------------------------------------------------
for name in rsacert largersacert dsacert expiredcert; do
    openssl x509 -in "$suites/keys/$name.pem" -outform DER -out "$out/keys/$name.der"
done
for name in lugh-cert balor bres morigu macha nemain badb; do
    openssl x509 -in "$merlin/certs/$name.pem" -outform DER -out "$out/keys/merlin-$name.der"
done
# xmlsec1's HMAC key file holds the raw secret ("secret", as the merlin suite says).
cp "$suites/keys/hmackey.bin" "$out/keys/hmackey.bin"
[ "$(cat "$out/keys/hmackey.bin")" = secret ] || die "unexpected HMAC secret in $suites/keys/hmackey.bin"

# The merlin documents that carry only a KeyValue: their key, independently of the library.
urlmap=(--url-map:http://www.w3.org/TR/xml-stylesheet "$ext/xml-stylesheet-2005"
        --url-map:http://www.w3.org/Signature/2002/04/xml-stylesheet.b64 "$ext/xml-stylesheet-2005.b64")
for doc in signature-enveloped-dsa signature-enveloping-dsa signature-enveloping-b64-dsa \
           signature-enveloping-rsa signature-external-dsa signature-external-b64-dsa; do
    "$python" "$here/keyvalue-spki.py" "$merlin/$doc.xml" "$out/keys/merlin-$doc.spki.der"
    openssl pkey -pubin -inform DER -in "$out/keys/merlin-$doc.spki.der" -out "$out/keys/merlin-$doc.pub.pem"
    xmlsec1 verify "${urlmap[@]}" --pubkey-pem "$out/keys/merlin-$doc.pub.pem" --enabled-key-data key-name \
        "$merlin/$doc.xml" >/dev/null 2>&1 || die "xmlsec1 does not verify $doc with the key made from its KeyValue"
done

# --- Freshly signed documents --------------------------------------------------------
"$peers/peer-keys.sh" "$out/peer" >/dev/null
printf 'Detached payload of the talvoran verify-vectors test.\n' > "$out/fresh/payload.txt"

# sign KIND TEMPLATE NAME: signs in OUT/fresh, where relative references resolve to payload.txt.
sign() {
    cp "$2" "$out/fresh/$3.tmpl.xml"
    (cd "$out/fresh" && "$peers/xmlsec1-sign.sh" "$1" "$3.tmpl.xml" "$3.xml" "$out/peer")
    rm -f "$out/fresh/$3.tmpl.xml"
    local args=()
    [ "$1" = gost2001 ] || args=(--doc-key)
    (cd "$out/fresh" && "$peers/xmlsec1-verify.sh" "${args[@]}" "$1" "$3.xml" "$out/peer" >/dev/null 2>&1) \
        || die "xmlsec1 does not verify its own $3.xml"
}
for kind in rsa-sha1 rsa-sha256 rsa-sha512 dsa-sha1; do
    sign "$kind" "$peers/templates/$kind-keyvalue.xml" "$kind-keyvalue"
    sign "$kind" "$peers/templates/$kind-x509.xml" "$kind-x509"
done
sign hmac-sha1 "$peers/templates/hmac-sha1.xml" hmac-sha1
sign hmac-sha256 "$peers/templates/hmac-sha256.xml" hmac-sha256
sign gost2001 "$peers/templates/gost2001-x509.xml" gost2001-x509
sign rsa-sha256 "$here/templates/detached-rsa-sha256-x509.xml" detached-rsa-sha256-x509
sign dsa-sha1 "$here/templates/two-refs-dsa-sha1-keyvalue.xml" two-refs-dsa-sha1-keyvalue
sign hmac-sha256 "$here/templates/mixed-hmac-sha256.xml" mixed-hmac-sha256

echo "verify-vectors material in $out"
