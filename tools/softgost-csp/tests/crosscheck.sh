#!/usr/bin/env bash
# Independent check of the Talvoran Soft GOST CSP against OpenSSL with the Debian GOST
# engine (libengine-gost-openssl), run natively:
#   crosscheck.sh WORKDIR WINEPREFIX SOFTGOST_TOOL_EXE
# 1. the CSP signs (softgost-tool sign); openssl computes the same GOST R 34.11-94 digest
#    and verifies the signature with the exported SubjectPublicKeyInfo;
# 2. openssl signs (keys on the CryptoPro A, B and C parameter sets); the CSP verifies
#    through CryptImportPublicKeyInfoEx, from the SubjectPublicKeyInfo and from a
#    self-signed certificate; tampered signatures fail.
# The engine is enabled through a private OpenSSL configuration in WORKDIR, never the
# system one. (The Debian engine 3.0.1 gets the empty-message GOST R 34.11-94 digest
# wrong, so no empty message is used here.)
set -euo pipefail
work=$(realpath -m "$1"); prefix=$2; tool=$3
here=$(cd "$(dirname "$0")" && pwd)
run="$here/../../wine/run.sh"

engine=
for d in $(openssl version -e 2>/dev/null | sed -n 's/^ENGINESDIR: "\(.*\)"/\1/p') /usr/lib/x86_64-linux-gnu/engines-3; do
  [ -f "$d/gost.so" ] && { engine="$d/gost.so"; break; }
done
[ -n "$engine" ] || { echo "crosscheck: GOST engine not found (install libengine-gost-openssl)" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work"
cat > "$work/openssl-gost.cnf" <<CNF
openssl_conf = openssl_init
[openssl_init]
engines = engine_section
[engine_section]
gost = gost_section
[gost_section]
engine_id = gost
dynamic_path = $engine
default_algorithms = ALL
CNF
export OPENSSL_CONF="$work/openssl-gost.cnf"

fails=0
check() {  # check DESCRIPTION COMMAND...
  local what=$1; shift
  if "$@"; then echo "PASS: $what"; else echo "FAIL: $what"; fails=$((fails + 1)); fi
}
winpath() { printf 'Z:%s' "$1" | sed 's|/|\\|g'; }
tool_run() { "$run" "$prefix" "$tool" "$@" </dev/null; }

# The engine itself: the "abc" known answer (CryptoPro parameter set).
abc=$(printf abc | openssl dgst -md_gost94 -r | cut -d' ' -f1)
check "openssl GOST engine loaded (GOST R 34.11-94 of \"abc\")" \
  test "$abc" = b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c

# 1. The CSP signs, openssl verifies.
d1="$work/csp-signs"; mkdir -p "$d1"
printf 'Suppose the original message has length = 50 bytes' > "$d1/msg.bin"
check "softgost-tool sign" tool_run sign "$(winpath "$d1")"
if [ -f "$d1/sig.bin" ]; then
  check "CSP digest = openssl md_gost94 digest" \
    cmp -s "$d1/hash.bin" <(openssl dgst -md_gost94 -binary "$d1/msg.bin")
  openssl pkey -pubin -inform DER -in "$d1/pub.der" -out "$d1/pub.pem"
  check "openssl verifies the CSP's signature" \
    openssl dgst -md_gost94 -verify "$d1/pub.pem" -signature "$d1/sig.bin" "$d1/msg.bin"
  printf 'Suppose the original message has length = 50 bytez' > "$d1/other.bin"
  check "openssl rejects it over another message" \
    bash -c "! openssl dgst -md_gost94 -verify '$d1/pub.pem' -signature '$d1/sig.bin' '$d1/other.bin' >/dev/null 2>&1"
fi

# 2. openssl signs, the CSP verifies.
for ps in A B C; do
  d="$work/openssl-signs-$ps"; mkdir -p "$d"
  printf 'This is message, length=32 bytes' > "$d/msg.bin"
  openssl genpkey -algorithm gost2001 -pkeyopt "paramset:$ps" -out "$d/key.pem"
  openssl pkey -in "$d/key.pem" -pubout -outform DER -out "$d/pub.der"
  openssl dgst -md_gost94 -sign "$d/key.pem" -out "$d/sig.bin" "$d/msg.bin"
  check "CSP verifies openssl's signature (paramset $ps, SubjectPublicKeyInfo)" tool_run verify "$(winpath "$d")"
  if [ "$ps" = A ]; then
    openssl req -new -x509 -key "$d/key.pem" -md_gost94 -subj "/CN=softgost crosscheck" -days 2 \
      -outform DER -out "$d/cert.der"
    check "CSP verifies openssl's signature (certificate)" tool_run verify-cert "$(winpath "$d")"
  fi
  cp "$d/sig.bin" "$d/sig.good"
  # Flip one bit of r.
  python3 -c "import sys; b=bytearray(open(sys.argv[1],'rb').read()); b[40]^=1; open(sys.argv[1],'wb').write(b)" "$d/sig.bin"
  set +e; tool_run verify "$(winpath "$d")" >/dev/null; rc=$?; set -e
  check "CSP rejects a tampered openssl signature (paramset $ps)" test "$rc" = 1
done

echo "crosscheck: $fails failure(s)"
[ "$fails" = 0 ]
