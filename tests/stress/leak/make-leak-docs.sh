#!/usr/bin/env bash
# Fresh keys and the documents the leak tests verify over and over, signed by xmlsec1:
# rsa-sha256 with its KeyValue, hmac-sha256 (its secret is keys/hmac.key), and for the
# counted test in the prefix of the forwarding test provider dsa-sha1 with its KeyValue,
# rsa-sha256-x509 and gost2001-x509 with the signer's certificate (GOST by the GOST build).
# Usage: make-leak-docs.sh ROOT OUTDIR
set -euo pipefail
[ $# -eq 2 ] || { echo "usage: $0 ROOT OUTDIR" >&2; exit 2; }
root=$1 out=$2
peers="$root/tools/peers"
rm -rf "$out" && mkdir -p "$out"
"$peers/peer-keys.sh" "$out/keys" >/dev/null
"$peers/xmlsec1-sign.sh" rsa-sha256 "$peers/templates/rsa-sha256-keyvalue.xml" "$out/rsa-sha256.xml" "$out/keys"
"$peers/xmlsec1-sign.sh" hmac-sha256 "$peers/templates/hmac-sha256.xml" "$out/hmac-sha256.xml" "$out/keys"
"$peers/xmlsec1-sign.sh" dsa-sha1 "$peers/templates/dsa-sha1-keyvalue.xml" "$out/dsa-sha1.xml" "$out/keys"
"$peers/xmlsec1-sign.sh" rsa-sha256 "$peers/templates/rsa-sha256-x509.xml" "$out/rsa-sha256-x509.xml" "$out/keys"
"$peers/xmlsec1-sign.sh" gost2001 "$peers/templates/gost2001-x509.xml" "$out/gost2001-x509.xml" "$out/keys"
# The signer's own check, so that a failure in the test cannot be blamed on the documents.
"$peers/xmlsec1-verify.sh" --doc-key rsa-sha256 "$out/rsa-sha256.xml" "$out/keys"
"$peers/xmlsec1-verify.sh" hmac-sha256 "$out/hmac-sha256.xml" "$out/keys"
"$peers/xmlsec1-verify.sh" --doc-key dsa-sha1 "$out/dsa-sha1.xml" "$out/keys"
"$peers/xmlsec1-verify.sh" --doc-key rsa-sha256 "$out/rsa-sha256-x509.xml" "$out/keys"
"$peers/xmlsec1-verify.sh" --doc-key gost2001 "$out/gost2001-x509.xml" "$out/keys"
echo "leak test documents in $out"
