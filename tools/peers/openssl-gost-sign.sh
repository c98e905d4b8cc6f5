#!/usr/bin/env bash
# openssl-gost-sign.sh [--base64|--capi] KEY.pem DATA SIG
# Signs the file DATA with the GOST R 34.10-2001 private key KEY.pem (PEM, as made by
# peer-keys.sh) over its GOST R 34.11-94 digest (CryptoPro parameter set), with
# `openssl dgst -md_gost94 -sign` and the GOST engine, and writes the signature to SIG:
#   default   64 raw bytes s || r, each half big-endian: the byte order of an XML
#             SignatureValue
#   --base64  the same bytes in Base64 (one line), as in <SignatureValue>
#   --capi    the 64 bytes reversed: the order CryptSignHash of a GOST CSP returns
# DATA must not be empty (the Debian GOST engine 3.0.1 hashes the empty string wrongly).
# Exit: 0 signed, 1 openssl failed, 2 usage or setup error.
set -euo pipefail
# shellcheck source=peers-lib.sh
. "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/peers-lib.sh"

fmt=raw
case "${1:-}" in --base64) fmt=base64; shift ;; --capi) fmt=capi; shift ;; esac
[ $# -eq 3 ] || { echo "usage: $0 [--base64|--capi] KEY.pem DATA SIG" >&2; exit 2; }
key=$1 data=$2 sig=$3
[ -f "$key" ] || peers_die "$key not found"
[ -f "$data" ] || peers_die "$data not found"
[ -s "$data" ] || peers_die "$data is empty (the GOST engine's digest of empty data is wrong)"

conf=$(peers_gost_conf)
tmp=$(mktemp)
trap 'rm -f "$tmp"' EXIT
if ! OPENSSL_CONF="$conf" openssl dgst -engine gost -md_gost94 -sign "$key" -out "$tmp" "$data" 2>"$tmp.err"; then
    cat "$tmp.err" >&2; rm -f "$tmp.err"
    echo "${0##*/}: openssl could not sign $data" >&2
    exit 1
fi
grep -v '^Engine "gost" set\.$' "$tmp.err" >&2 || true
rm -f "$tmp.err"
[ "$(stat -c %s "$tmp")" -eq 64 ] || peers_die "unexpected signature size $(stat -c %s "$tmp") (want 64)"
case $fmt in
    raw)    cp "$tmp" "$sig" ;;
    base64) base64 -w0 < "$tmp" > "$sig"; echo >> "$sig" ;;
    capi)   perl -0777 -ne 'print scalar reverse $_' < "$tmp" > "$sig" ;;
esac
