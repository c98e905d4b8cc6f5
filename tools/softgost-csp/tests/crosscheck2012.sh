#!/usr/bin/env bash
# Independent check of the GOST R 34.10-2012 / 34.11-2012 side of the Talvoran Soft GOST CSP
# (provider types 80 and 81) against OpenSSL with the Debian GOST engine
# (libengine-gost-openssl), run natively:
#   crosscheck2012.sh WORKDIR WINEPREFIX SOFTGOST_TOOL_EXE
# 0. the engine's Streebog-256/-512 known answers (RFC 6986 M1);
# 1. the CSP signs (softgost-tool sign DIR 80|81): openssl computes the same Streebog digest
#    and verifies the signature (XML order s || r) with the exported SubjectPublicKeyInfo; it
#    rejects it over another message and in the CryptoAPI order (the whole buffer reversed);
# 2. openssl signs with gost2012_256 keys on every parameter set it knows (A, B, C, XA, XB,
#    TCA..TCD) and gost2012_512 keys (A, B, C); the CSP verifies through
#    CryptImportPublicKeyInfoEx, from the SubjectPublicKeyInfo and from a self-signed
#    certificate; tampered signatures fail.
# The engine is enabled through a private OpenSSL configuration, never the system one:
# $OPENSSL_GOST_CONF when set (tools/peers' configuration), else one written into WORKDIR by
# tools/peers/gen-openssl-conf.sh.
set -euo pipefail
work=$(realpath -m "$1"); prefix=$2; tool=$3
here=$(cd "$(dirname "$0")" && pwd)
run="$here/../../wine/run.sh"
peers="$here/../../peers"

rm -rf "$work"
mkdir -p "$work"
conf=${OPENSSL_GOST_CONF:-}
if [ -z "$conf" ] || [ ! -f "$conf" ]; then
  conf="$work/openssl-gost.cnf"
  "$peers/gen-openssl-conf.sh" "$conf"
fi
export OPENSSL_CONF="$conf"

fails=0
check() {  # check DESCRIPTION COMMAND...
  local what=$1; shift
  if "$@"; then echo "PASS: $what"; else echo "FAIL: $what"; fails=$((fails + 1)); fi
}
winpath() { printf 'Z:%s' "$1" | sed 's|/|\\|g'; }
tool_run() { "$run" "$prefix" "$tool" "$@" </dev/null; }
reverse_file() {  # reverse_file IN OUT: the whole buffer reversed
  python3 -c "import sys; open(sys.argv[2],'wb').write(open(sys.argv[1],'rb').read()[::-1])" "$1" "$2"
}
flip_bit() {  # flip_bit FILE OFFSET
  python3 -c "import sys; b=bytearray(open(sys.argv[1],'rb').read()); b[int(sys.argv[2])]^=1; open(sys.argv[1],'wb').write(b)" "$1" "$2"
}

# 0. The engine itself.
m1=012345678901234567890123456789012345678901234567890123456789012
check "openssl GOST engine: Streebog-256 of RFC 6986 M1" \
  test "$(printf %s "$m1" | openssl dgst -md_gost12_256 -r | cut -d' ' -f1)" = \
       9d151eefd8590b89daa6ba6cb74af9275dd051026bb149a452fd84e5e57b5500
check "openssl GOST engine: Streebog-512 of RFC 6986 M1" \
  test "$(printf %s "$m1" | openssl dgst -md_gost12_512 -r | cut -d' ' -f1)" = \
       1b54d01a4af5b9d5cc3d86d68d285462b19abc2475222f35c085122be4ba1ffa00ad30f8767b3a82384c6574f024c311e2a481332b08ef7f41797891c1646f48

for size in 256 512; do
  type=80; [ "$size" = 512 ] && type=81
  md="-md_gost12_$size"

  # 1. The CSP signs, openssl verifies.
  d="$work/csp-signs-$size"; mkdir -p "$d"
  printf 'Suppose the original message has length = 50 bytes' > "$d/msg.bin"
  check "softgost-tool sign (type $type)" tool_run sign "$(winpath "$d")" "$type"
  if [ -f "$d/sig.bin" ]; then
    check "CSP digest = openssl md_gost12_$size digest" cmp -s "$d/hash.bin" <(openssl dgst "$md" -binary "$d/msg.bin")
    check "CSP signature is $((size / 4)) bytes" test "$(stat -c %s "$d/sig.bin")" = $((size / 4))
    check "openssl reads the CSP's SubjectPublicKeyInfo (type $type)" \
      openssl pkey -pubin -inform DER -in "$d/pub.der" -out "$d/pub.pem"
    check "openssl verifies the CSP's signature (type $type)" \
      openssl dgst "$md" -verify "$d/pub.pem" -signature "$d/sig.bin" "$d/msg.bin"
    printf 'Suppose the original message has length = 50 bytez' > "$d/other.bin"
    check "openssl rejects it over another message (type $type)" \
      bash -c "! openssl dgst $md -verify '$d/pub.pem' -signature '$d/sig.bin' '$d/other.bin' >/dev/null 2>&1"
    reverse_file "$d/sig.bin" "$d/sig.capi"
    check "openssl rejects it in the CryptoAPI byte order (type $type)" \
      bash -c "! openssl dgst $md -verify '$d/pub.pem' -signature '$d/sig.capi' '$d/msg.bin' >/dev/null 2>&1"
  fi

  # 2. openssl signs, the CSP verifies.
  if [ "$size" = 256 ]; then sets="A B C XA XB TCA TCB TCC TCD"; else sets="A B C"; fi
  for ps in $sets; do
    d="$work/openssl-signs-$size-$ps"; mkdir -p "$d"
    printf 'This is message, length=32 bytes' > "$d/msg.bin"
    openssl genpkey -algorithm "gost2012_$size" -pkeyopt "paramset:$ps" -out "$d/key.pem"
    openssl pkey -in "$d/key.pem" -pubout -outform DER -out "$d/pub.der"
    openssl dgst "$md" -sign "$d/key.pem" -out "$d/sig.bin" "$d/msg.bin"
    check "CSP verifies openssl's signature (gost2012_$size paramset $ps, SubjectPublicKeyInfo)" \
      tool_run verify "$(winpath "$d")" "$type"
    if [ "$ps" = A ] || [ "$ps" = TCA ] || [ "$ps" = C ]; then
      openssl req -new -x509 -key "$d/key.pem" "$md" -subj "/CN=softgost crosscheck $size $ps" -days 2 \
        -outform DER -out "$d/cert.der"
      check "CSP verifies openssl's signature (gost2012_$size paramset $ps, certificate)" \
        tool_run verify-cert "$(winpath "$d")" "$type"
    fi
    # softgost-tool reverses the whole s || r for CryptVerifySignature. Given r || s instead, the
    # CSP gets each half reversed on its own (the DSA convention); given the reverse of s || r,
    # it gets s || r unreversed (the XML order): both are refused.
    cp "$d/sig.bin" "$d/sig.good"
    python3 -c "import sys; b=open(sys.argv[1],'rb').read(); h=len(b)//2; open(sys.argv[2],'wb').write(b[h:]+b[:h])" \
      "$d/sig.good" "$d/sig.bin"
    set +e; tool_run verify "$(winpath "$d")" "$type" >/dev/null; rc=$?; set -e
    check "CSP rejects openssl's signature reversed per half (gost2012_$size paramset $ps)" test "$rc" = 1
    reverse_file "$d/sig.good" "$d/sig.bin"
    set +e; tool_run verify "$(winpath "$d")" "$type" >/dev/null; rc=$?; set -e
    check "CSP rejects openssl's signature in XML order (gost2012_$size paramset $ps)" test "$rc" = 1
    cp "$d/sig.good" "$d/sig.bin"
    flip_bit "$d/sig.bin" $((size / 8 + 8))  # a bit of r
    set +e; tool_run verify "$(winpath "$d")" "$type" >/dev/null; rc=$?; set -e
    check "CSP rejects a tampered openssl signature (gost2012_$size paramset $ps)" test "$rc" = 1
  done
done

echo "crosscheck2012: $fails failure(s)"
[ "$fails" = 0 ]
