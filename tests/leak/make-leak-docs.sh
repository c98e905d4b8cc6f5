#!/usr/bin/env bash
# Fresh keys and the two documents the leak test verifies over and over, signed by stock
# xmlsec1: rsa-sha256 with its KeyValue, and hmac-sha256 (its secret is keys/hmac.key).
# Usage: make-leak-docs.sh ROOT OUTDIR
set -euo pipefail
[ $# -eq 2 ] || { echo "usage: $0 ROOT OUTDIR" >&2; exit 2; }
root=$1 out=$2
peers="$root/tools/peers"
rm -rf "$out" && mkdir -p "$out"
"$peers/peer-keys.sh" "$out/keys" >/dev/null
"$peers/xmlsec1-sign.sh" rsa-sha256 "$peers/templates/rsa-sha256-keyvalue.xml" "$out/rsa-sha256.xml" "$out/keys"
"$peers/xmlsec1-sign.sh" hmac-sha256 "$peers/templates/hmac-sha256.xml" "$out/hmac-sha256.xml" "$out/keys"
# The signer's own check, so that a failure in the test cannot be blamed on the documents.
"$peers/xmlsec1-verify.sh" --doc-key rsa-sha256 "$out/rsa-sha256.xml" "$out/keys"
"$peers/xmlsec1-verify.sh" hmac-sha256 "$out/hmac-sha256.xml" "$out/keys"
echo "leak test documents in $out"
