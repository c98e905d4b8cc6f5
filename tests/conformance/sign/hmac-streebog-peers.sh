#!/usr/bin/env bash
# The HMAC-Streebog signatures the DLL wrote (sign_hmac_streebog_test), checked by the peers:
#
#   hmac-streebog-peers.sh ROOT OUT
#
# OUT/hmac-streebog-256.xml and OUT/hmac-streebog-512.xml are signed under
# urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-256 / -512 with the secret
# OUT/hmac.key.
# 1. openssl's GOST engine answers HMAC-Streebog's known values (RFC 7836, section A.1.1
#    and A.1.2: key 00..1f, data 01 26 bd b8 78 00 af 21 43 41 45 65 63 78 01 00).
# 2. Apache Santuario hands out the canonical SignedInfo of each document (it does not know
#    the method, so SignedInfo is canonicalised with its CanonicalizationMethod), and
#    openssl's HMAC with Streebog of the right size over those bytes must give exactly the
#    bytes of the SignatureValue (no reversal).
# 3. The same HMAC over a SignedInfo changed by one character differs.
# Exit 0 only when every check passes.
set -uo pipefail
root=$(realpath "$1") out=$(realpath "$2")
# shellcheck source=../../../tools/peers/peers-lib.sh
. "$root/tools/peers/peers-lib.sh"
key="$out/hmac.key"
[ -f "$key" ] || peers_die "$key missing (run sign_hmac_streebog_test first)"
conf=$(peers_gost_conf) || exit 2
export OPENSSL_CONF="$conf"
work="$out/peers"
rm -rf "$work" && mkdir -p "$work"

failures=0 checks=0
check() {  # check DESCRIPTION COMMAND...
    local what=$1; shift
    checks=$((checks + 1))
    if "$@"; then echo "PASS: $what"; else echo "FAIL: $what"; failures=$((failures + 1)); fi
}
hmac_hex() {  # hmac_hex SIZE HEXKEY FILE: HMAC-Streebog of FILE in hex
    openssl dgst -engine gost "-md_gost12_$1" -mac hmac -macopt "hexkey:$2" -r "$3" 2>/dev/null | cut -d' ' -f1
}

# 1. The engine itself (RFC 7836 A.1.1, A.1.2).
rfc_key=000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f
printf '\x01\x26\xbd\xb8\x78\x00\xaf\x21\x43\x41\x45\x65\x63\x78\x01\x00' > "$work/rfc7836.bin"
check "openssl GOST engine: HMAC-Streebog-256 of RFC 7836 A.1.1" test "$(hmac_hex 256 $rfc_key "$work/rfc7836.bin")" = \
    a1aa5f7de402d7b3d323f2991c8d4534013137010a83754fd0af6d7cd4922ed9
check "openssl GOST engine: HMAC-Streebog-512 of RFC 7836 A.1.2" test "$(hmac_hex 512 $rfc_key "$work/rfc7836.bin")" = \
    a59bab22ecae19c65fbde6e5f4e9f5d8549d31f037f9df9b905500e171923a773d5f1530f2ed7e964cb2eedc29e9ad2f3afe93b2814f79f5000ffc0366c251e6

hexkey=$(xxd -p -c 256 "$key")
for size in 256 512; do
    doc="$out/hmac-streebog-$size.xml"
    if [ ! -f "$doc" ]; then check "$doc written" false; continue; fi
    # 2. Santuario's canonical SignedInfo, the SignatureValue bytes, openssl's HMAC.
    if ! "$root/tools/peers/santuario-signedinfo.sh" "$doc" "$work/$size.signedinfo" > /dev/null 2> "$work/$size.err"; then
        check "Santuario canonicalises the SignedInfo of $doc" false; continue
    fi
    value=$(python3 - "$doc" <<'PY'
import base64, re, sys
data = open(sys.argv[1], 'rb').read().decode('utf-8')
value = re.search(r'<ds:SignatureValue>(.*?)</ds:SignatureValue>', data, flags=re.S).group(1)
print(base64.b64decode(re.sub(r'\s+', '', value), validate=True).hex())
PY
)
    method=$(grep -o '<ds:SignatureMethod Algorithm="[^"]*"' "$work/$size.signedinfo" | cut -d'"' -f2)
    check "HMAC-Streebog-$size: the canonical SignedInfo names $method" \
        test "$method" = "urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-$size"
    check "HMAC-Streebog-$size: SignatureValue is $((size / 8)) bytes" test "${#value}" = $((size / 4))
    check "HMAC-Streebog-$size: SignatureValue = openssl HMAC md_gost12_$size over the canonical SignedInfo" \
        test "$(hmac_hex "$size" "$hexkey" "$work/$size.signedinfo")" = "$value"
    # 3. One character of SignedInfo changed.
    sed -e 's,<ds:DigestValue>.,<ds:DigestValue>\#,' "$work/$size.signedinfo" > "$work/$size.tampered"
    check "HMAC-Streebog-$size: a tampered SignedInfo gives another value" \
        test "$(hmac_hex "$size" "$hexkey" "$work/$size.tampered")" != "$value" -a -s "$work/$size.tampered" \
        -a "$(cmp -s "$work/$size.signedinfo" "$work/$size.tampered"; echo $?)" = 1
done

echo "$checks checks, $failures failed"
[ "$checks" -ge 10 ] && [ "$failures" = 0 ]
