#!/usr/bin/env bash
# openssl-gost-verify.sh [--base64|--capi] CERT_OR_PUBKEY.pem DATA SIG
# Checks a GOST R 34.10-2001 signature SIG over the file DATA (GOST R 34.11-94 digest,
# CryptoPro parameter set) with `openssl dgst -md_gost94 -verify` and the GOST engine.
# CERT_OR_PUBKEY.pem: a PEM certificate or a PEM public key. SIG formats as in
# openssl-gost-sign.sh: raw (s || r, XML SignatureValue order, the default), --base64
# (a SignatureValue's text; whitespace ignored) or --capi (CryptSignHash order).
# DATA must not be empty (the Debian GOST engine 3.0.1 hashes the empty string wrongly).
# Exit: 0 verified, 1 not verified, 2 usage or setup error.
set -euo pipefail
# shellcheck source=peers-lib.sh
. "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/peers-lib.sh"

fmt=raw
case "${1:-}" in --base64) fmt=base64; shift ;; --capi) fmt=capi; shift ;; esac
[ $# -eq 3 ] || { echo "usage: $0 [--base64|--capi] CERT_OR_PUBKEY.pem DATA SIG" >&2; exit 2; }
keyfile=$1 data=$2 sig=$3
[ -f "$keyfile" ] || peers_die "$keyfile not found"
[ -f "$data" ] || peers_die "$data not found"
[ -f "$sig" ] || peers_die "$sig not found"
[ -s "$data" ] || peers_die "$data is empty (the GOST engine's digest of empty data is wrong)"

conf=$(peers_gost_conf)
export OPENSSL_CONF="$conf"
tmpd=$(mktemp -d)
trap 'rm -rf "$tmpd"' EXIT

if grep -q -- '-----BEGIN CERTIFICATE-----' "$keyfile"; then
    openssl x509 -in "$keyfile" -pubkey -noout > "$tmpd/pub.pem" 2>"$tmpd/err" \
        || { cat "$tmpd/err" >&2; peers_die "cannot read the public key of $keyfile"; }
else
    cp "$keyfile" "$tmpd/pub.pem"
fi

case $fmt in
    raw)    cp "$sig" "$tmpd/sig" ;;
    base64) tr -d ' \t\r\n' < "$sig" | base64 -d > "$tmpd/sig" 2>/dev/null \
                || { echo "${0##*/}: $sig is not Base64" >&2; exit 1; } ;;
    capi)   perl -0777 -ne 'print scalar reverse $_' < "$sig" > "$tmpd/sig" ;;
esac
if [ "$(stat -c %s "$tmpd/sig")" -ne 64 ]; then
    echo "${0##*/}: signature is $(stat -c %s "$tmpd/sig") bytes, not 64" >&2
    exit 1
fi

if out=$(openssl dgst -engine gost -md_gost94 -verify "$tmpd/pub.pem" -signature "$tmpd/sig" "$data" 2>&1) \
        && printf '%s\n' "$out" | grep -qx 'Verified OK'; then
    exit 0
fi
printf '%s\n' "$out" | grep -v '^Engine "gost" set\.$' >&2 || true
exit 1
