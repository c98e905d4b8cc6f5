#!/usr/bin/env bash
# Stock xmlsec1 verifies the documents our classes signed, with the key each carries in
# its KeyValue (HMAC: the shared secret), and refuses their tampered copies.
# Usage: xmlsec1-verifies-ours.sh ROOT OUTDIR
set -u
root="$1"; out="$2"
verify="$root/tools/peers/xmlsec1-verify.sh"
status=0
# name:KIND; the HMAC document truncated to 128 bits is checked as hmac-sha256.
for entry in rsa-sha256:rsa-sha256 dsa-sha1:dsa-sha1 hmac-sha256:hmac-sha256 hmac-sha256-128:hmac-sha256; do
  name=${entry%%:*}; kind=${entry#*:}
  args=(--doc-key); [ "${kind%%-*}" = hmac ] && args=()
  if "$verify" "${args[@]}" "$kind" "$out/ours/$name.xml" "$out/keys" >/dev/null 2>&1; then
    echo "$name: xmlsec1 verifies our signature"
  else
    echo "$name: xmlsec1 REFUSES our signature"; status=1
  fi
  if "$verify" "${args[@]}" "$kind" "$out/ours/tampered-$name.xml" "$out/keys" >/dev/null 2>&1; then
    echo "$name: xmlsec1 ACCEPTS a tampered copy"; status=1
  fi
done
exit $status
