#!/usr/bin/env bash
# Fresh peer keys for sign_interop_test: tools/peers/peer-keys.sh's key set in OUT/keys, plus
# the RSA and DSA private keys as CryptoAPI blobs (openssl's MSBLOB: a PRIVATEKEYBLOB,
# "RSA2" for RSA with CALG_RSA_KEYX, "DSS2" for DSA with CALG_DSS_SIGN, which Wine's and
# Windows' providers import with CryptImportKey). The Windows test signs with these keys;
# the peers verify with their PEM public keys.
# Usage: prepare-sign-keys.sh ROOT OUT
set -euo pipefail
root=$1 out=$2
rm -rf "$out" && mkdir -p "$out/ours"
"$root/tools/peers/peer-keys.sh" "$out/keys" >/dev/null
openssl rsa -in "$out/keys/rsa-key.pem" -outform MSBLOB -out "$out/keys/rsa-key.msblob" 2>/dev/null
openssl dsa -in "$out/keys/dsa-key.pem" -outform MSBLOB -out "$out/keys/dsa-key.msblob" 2>/dev/null
# The blob headers the Windows side relies on: PRIVATEKEYBLOB v2, then the magic.
check() {
    local file=$1 head=$2
    [ "$(xxd -p -l 12 "$file")" = "$head" ] || { echo "$file: unexpected blob header $(xxd -p -l 12 "$file")" >&2; exit 1; }
}
check "$out/keys/rsa-key.msblob" 0702000000a4000052534132
check "$out/keys/dsa-key.msblob" 070200000022000044535332
echo "keys in $out/keys: RSA-2048, DSA-1024, GOST R 34.10-2001, HMAC; CryptoAPI blobs for RSA and DSA"
