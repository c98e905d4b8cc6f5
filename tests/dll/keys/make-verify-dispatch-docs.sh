#!/usr/bin/env bash
# Documents signed by stock xmlsec1 (GOST: the GOST build) with fresh peer keys, for
# verify_dispatch_test and verify_dispatch_faulty_test.
# Usage: make-verify-dispatch-docs.sh ROOT OUTDIR
# Writes OUTDIR/keys (peer-keys.sh), OUTDIR/rsa-sha256.xml and OUTDIR/dsa-sha1.xml (key in
# KeyInfo/KeyValue) and OUTDIR/gost2001.xml (signer's certificate in KeyInfo/X509Data).
set -euo pipefail
[ $# -eq 2 ] || { echo "usage: $0 ROOT OUTDIR" >&2; exit 2; }
root=$1 out=$2
peers="$root/tools/peers"
rm -rf "$out" && mkdir -p "$out"
"$peers/peer-keys.sh" "$out/keys" >/dev/null
for kind in rsa-sha256 dsa-sha1; do
  "$peers/xmlsec1-sign.sh" "$kind" "$peers/templates/$kind-keyvalue.xml" "$out/$kind.xml" "$out/keys"
done
"$peers/xmlsec1-sign.sh" gost2001 "$peers/templates/gost2001-x509.xml" "$out/gost2001.xml" "$out/keys"
# What a verifier outside Wine thinks of them, so that a failure under Wine is not blamed on
# the documents.
for kind in rsa-sha256 dsa-sha1 gost2001; do
  "$peers/xmlsec1-verify.sh" "$kind" "$out/$kind.xml" "$out/keys" >/dev/null
done
echo "verify dispatch documents in $out"
