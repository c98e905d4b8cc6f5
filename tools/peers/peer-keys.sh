#!/usr/bin/env bash
# peer-keys.sh OUTDIR
# Makes fresh keys and self-signed certificates for the peers in OUTDIR (created if
# missing; existing files are overwritten). See README.md for the file list.
set -euo pipefail
# shellcheck source=peers-lib.sh
. "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/peers-lib.sh"

[ $# -eq 1 ] || { echo "usage: $0 OUTDIR" >&2; exit 2; }
out=$1
mkdir -p "$out"
cd "$out"

days=3650
v3=(-addext "basicConstraints=critical,CA:FALSE" -addext "keyUsage=critical,digitalSignature,nonRepudiation")

# cert STEM SUBJECT DIGEST-OPTION: self-signed certificate (PEM and DER) and public key.
cert() {
    openssl req -new -x509 -key "$1-key.pem" "$3" -subj "$2" -days "$days" \
        -set_serial "0x$(openssl rand -hex 8)" "${v3[@]}" -out "$1-cert.pem"
    openssl x509 -in "$1-cert.pem" -outform DER -out "$1-cert.der"
    openssl pkey -in "$1-key.pem" -pubout -out "$1-pub.pem"
}

# RSA-2048.
openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out rsa-key.pem 2>/dev/null
cert rsa "/CN=talvoran peer RSA" -sha256

# DSA-1024 with a 160-bit q: dsa-sha1 signatures are 40 bytes (r || s, 20 bytes each),
# as the dsa-sha1 URI requires and as CryptoAPI's DSS providers (1024 bits at most)
# produce. A 2048-bit DSA key would have a 224/256-bit q and no valid dsa-sha1 value.
openssl genpkey -genparam -algorithm DSA -pkeyopt dsa_paramgen_bits:1024 \
    -pkeyopt dsa_paramgen_q_bits:160 -out dsa-params.pem 2>/dev/null
openssl genpkey -paramfile dsa-params.pem -out dsa-key.pem 2>/dev/null
rm -f dsa-params.pem
cert dsa "/CN=talvoran peer DSA" -sha256

# GOST R 34.10-2001, CryptoPro-A parameter set, certificate signed with GOST R 34.11-94,
# through the OpenSSL GOST engine (private configuration only).
(
    export OPENSSL_CONF
    OPENSSL_CONF=$(peers_gost_conf)
    openssl genpkey -algorithm gost2001 -pkeyopt paramset:A -out gost2001-key.pem
    cert gost2001 "/CN=talvoran peer GOST 2001" -md_gost94
)

# HMAC secret: 32 random bytes, and the same bytes in hex.
openssl rand -out hmac.key 32
od -An -v -tx1 hmac.key | tr -d ' \n' > hmac.hex
echo >> hmac.hex

chmod 600 ./*-key.pem hmac.key
