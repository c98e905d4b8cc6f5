#!/usr/bin/env bash
# Verification throughput, the DLL against xmlsec1, on the same documents and keys:
#
#   tools/bench/verify-bench.sh BUILD_DIR [seconds-per-case]     (default 3)
#
# Makes fresh keys (tools/peers/peer-keys.sh) and, for 1 KB and 1 MB of text in the signed
# Data element, an enveloped rsa-sha256 (with KeyValue), gost2001 (with the certificate)
# and hmac-sha256 document, signed by xmlsec1 (stock for RSA and HMAC, the GOST build for
# GOST), all in BUILD_DIR/verify-bench. Then runs each case on both sides, back to back:
#   BUILD_DIR/bin/cryptxml-verify-bench.exe under Wine in BUILD_DIR/wineprefix (the software
#     GOST provider is registered there first, as the softgost_register test does), and
#   tools/bench/native's xmlsec1_verify_bench (stock libxmlsec1 for RSA and HMAC, the GOST
#     build with OPENSSL_CONF=OPENSSL_GOST_CONF for GOST), built here with the host gcc;
# and prints a table of verifications per second and their ratio (ours / xmlsec1).
# Build the cryptxml-verify-bench and softgost-csp targets first. The machine's other load
# shows in the figures: compare ratios from one run, not figures from different runs.
# What an iteration is on each side is described at the top of the two programs.
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: $0 BUILD_DIR [seconds-per-case]" >&2; exit 2; }
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(realpath "$1")
seconds=${2:-3}
out="$build/verify-bench"
peers="$root/tools/peers"
# shellcheck source=bench-lib.sh
. "$root/tools/bench/bench-lib.sh"
export TALVORAN_DEPS_CMAKE="$build/deps.cmake"
deps_value() { sed -n "s/^set($1 \"\\(.*\\)\")\$/\\1/p" "$TALVORAN_DEPS_CMAKE" | tail -n 1; }
export XMLSEC1_GOST_PREFIX=${XMLSEC1_GOST_PREFIX:-$(deps_value XMLSEC1_GOST_PREFIX)}
export OPENSSL_GOST_CONF=${OPENSSL_GOST_CONF:-$(deps_value OPENSSL_GOST_CONF)}
bench_exe="$build/bin/cryptxml-verify-bench.exe"
[ -f "$bench_exe" ] || { echo "$bench_exe missing: build the cryptxml-verify-bench target" >&2; exit 2; }
[ -f "$build/bin/softgost-csp.dll" ] || { echo "softgost-csp.dll missing: build the softgost-csp target" >&2; exit 2; }

kinds="rsa-sha256 gost2001 hmac-sha256"
sizes="1k 1m"
declare -A text_bytes=([1k]=1024 [1m]=1048576)
declare -A keyinfo=(
  [rsa-sha256]='<KeyInfo><KeyValue/></KeyInfo>'
  [gost2001]='<KeyInfo><X509Data><X509Certificate/></X509Data></KeyInfo>'
  [hmac-sha256]='')

# template KIND SIZE: an enveloped-signature template over SIZE bytes of text.
template() {
  local kind=$1 size=$2
  # shellcheck source=../peers/peers-lib.sh
  (. "$peers/peers-lib.sh"; peers_kind "$kind"
   printf '<?xml version="1.0" encoding="UTF-8"?>\n<Document xmlns="urn:talvoran:bench"><Data>'
   head -c "${text_bytes[$size]}" < <(yes 'lorem ipsum dolor sit amet, consectetur adipiscing elit')
   printf '</Data><Signature xmlns="http://www.w3.org/2000/09/xmldsig#"><SignedInfo>'
   printf '<CanonicalizationMethod Algorithm="http://www.w3.org/TR/2001/REC-xml-c14n-20010315"/>'
   printf '<SignatureMethod Algorithm="%s"/><Reference URI=""><Transforms>' "$PEER_SIG_URI"
   printf '<Transform Algorithm="http://www.w3.org/2000/09/xmldsig#enveloped-signature"/></Transforms>'
   printf '<DigestMethod Algorithm="%s"/><DigestValue/></Reference></SignedInfo>' "$PEER_DIGEST_URI"
   printf '<SignatureValue/>%s</Signature></Document>\n' "${keyinfo[$kind]}")
}

rm -rf "$out" && mkdir -p "$out/templates"
"$peers/peer-keys.sh" "$out/keys" >/dev/null
for size in $sizes; do
  for kind in $kinds; do
    template "$kind" "$size" > "$out/templates/$size-$kind.xml"
    "$peers/xmlsec1-sign.sh" "$kind" "$out/templates/$size-$kind.xml" "$out/$size-$kind.xml" "$out/keys"
    opt=(); [ "$kind" = gost2001 ] && opt=(--doc-key)
    "$peers/xmlsec1-verify.sh" "${opt[@]}" "$kind" "$out/$size-$kind.xml" "$out/keys" >/dev/null 2>&1 \
      || { echo "$size-$kind.xml: xmlsec1 does not verify its own signature" >&2; exit 1; }
  done
done
"$root/tools/bench/native/build.sh" "$out/native" >/dev/null

"$root/tools/softgost-csp/register.sh" "$build/wineprefix" --dll "$build/bin/softgost-csp.dll" >/dev/null

# xmlsec1_case SIZE KIND: the native program on one case.
xmlsec1_case() {
  local size=$1 kind=$2 file="$out/$1-$2.xml"
  case $kind in
    rsa-sha256) "$out/native/xmlsec1_verify_bench" "$kind" "$out/keys/rsa-pub.pem" "$seconds" "$size" "$file" ;;
    hmac-sha256) "$out/native/xmlsec1_verify_bench" "$kind" "$out/keys/hmac.key" "$seconds" "$size" "$file" ;;
    gost2001) OPENSSL_CONF="$OPENSSL_GOST_CONF" "$out/native/xmlsec1_verify_bench_gost" "$kind" \
                "$out/keys/gost2001-pub.pem" "$seconds" "$size" "$file" ;;
  esac
}

# Each case runs on both sides back to back, so that a change in the machine's load
# between cases does not tilt the ratio.
: > "$out/ours.txt"
: > "$out/xmlsec1.txt"
echo "ours: $bench_exe under Wine in $build/wineprefix; xmlsec1: $out/native (host gcc)"
for size in $sizes; do
  for kind in $kinds; do
    bench_ours "$build" "$bench_exe" "$out" "$seconds" "$size" "$kind"
    xmlsec1_case "$size" "$kind" | tee -a "$out/xmlsec1.txt" | sed 's/^/xmlsec1 /'
  done
done

bench_table "$out/ours.txt" "$out/xmlsec1.txt" verif/s "$sizes" "$kinds" "$out/{size}-{kind}.xml"
