#!/usr/bin/env bash
# Fresh peer keys and documents signed by stock xmlsec1, for the interop test to verify.
# Usage: make-peer-docs.sh ROOT OUTDIR
set -euo pipefail
root="$1"; out="$2"
rm -rf "$out" && mkdir -p "$out/ours"
"$root/tools/peers/peer-keys.sh" "$out/keys" >/dev/null
for kind in rsa-sha256 dsa-sha1; do
  "$root/tools/peers/xmlsec1-sign.sh" "$kind" "$root/tools/peers/templates/$kind-keyvalue.xml" "$out/peer-$kind.xml" "$out/keys"
done
"$root/tools/peers/xmlsec1-sign.sh" hmac-sha256 "$root/tools/peers/templates/hmac-sha256.xml" "$out/peer-hmac-sha256.xml" "$out/keys"
echo "peer documents in $out"
