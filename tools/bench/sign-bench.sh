#!/usr/bin/env bash
# Signing throughput, the DLL against libxmlsec1, on the same documents and keys:
#
#   tools/bench/sign-bench.sh BUILD_DIR [seconds-per-case]     (default 3)
#
# Makes fresh keys (tools/peers/peer-keys.sh; the RSA-2048 private key also as a CryptoAPI
# blob) and three unsigned documents whose Data element holds 1 KB, 1 MB and 10 MB of
# text, in BUILD_DIR/sign-bench. Then runs each case (enveloped RSA-SHA256 and HMAC-SHA256
# signature) on both sides, back to back:
#   BUILD_DIR/bin/cryptxml-sign-bench.exe under Wine in BUILD_DIR/wineprefix, and
#   tools/bench/native's xmlsec1_sign_bench (Debian's libxmlsec1, OpenSSL), host gcc;
# checks that xmlsec1 verifies the DLL's first signed document of each case, and prints a
# table of signatures per second and their ratio (ours / xmlsec1). Build the
# cryptxml-sign-bench target first. The machine's other load shows in the figures: compare
# ratios from one run, not figures from different runs. What an iteration is on each side
# is described at the top of the two programs.
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: $0 BUILD_DIR [seconds-per-case]" >&2; exit 2; }
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(realpath "$1")
seconds=${2:-3}
out="$build/sign-bench"
peers="$root/tools/peers"
# shellcheck source=bench-lib.sh
. "$root/tools/bench/bench-lib.sh"
export TALVORAN_DEPS_CMAKE="$build/deps.cmake"
bench_exe="$build/bin/cryptxml-sign-bench.exe"
[ -f "$bench_exe" ] || { echo "$bench_exe missing: build the cryptxml-sign-bench target" >&2; exit 2; }

kinds="rsa-sha256 hmac-sha256"
sizes="1k 1m 10m"
declare -A text_bytes=([1k]=1024 [1m]=1048576 [10m]=10485760)

rm -rf "$out" && mkdir -p "$out"
"$peers/peer-keys.sh" "$out/keys" >/dev/null
openssl rsa -in "$out/keys/rsa-key.pem" -outform MSBLOB -out "$out/keys/rsa-key.msblob" 2>/dev/null
for size in $sizes; do
  { printf '<Document xmlns="urn:talvoran:bench"><Data>'
    head -c "${text_bytes[$size]}" < <(yes 'lorem ipsum dolor sit amet, consectetur adipiscing elit')
    printf '</Data></Document>'; } > "$out/$size.xml"
done
"$root/tools/bench/native/build.sh" "$out/native" >/dev/null

# xmlsec1_case SIZE KIND: the native program on one case.
xmlsec1_case() {
  local key="$out/keys/rsa-key.pem"
  [ "$2" = hmac-sha256 ] && key="$out/keys/hmac.key"
  "$out/native/xmlsec1_sign_bench" "$2" "$key" "$seconds" "$1" "$out/$1.xml"
}

# Each case runs on both sides back to back, so that a change in the machine's load
# between cases does not tilt the ratio.
: > "$out/ours.txt"
: > "$out/xmlsec1.txt"
echo "ours: $bench_exe under Wine in $build/wineprefix; xmlsec1: $out/native (host gcc)"
status=0
for size in $sizes; do
  for kind in $kinds; do
    bench_ours "$build" "$bench_exe" "$out" "$seconds" "$size" "$kind"
    xmlsec1_case "$size" "$kind" | tee -a "$out/xmlsec1.txt" | sed 's/^/xmlsec1 /'
    # What the DLL signed must verify in xmlsec1 with the peer's key.
    if ! "$peers/xmlsec1-verify.sh" "$kind" "$out/ours-$size-$kind.xml" "$out/keys" >/dev/null 2>&1; then
      echo "ours-$size-$kind.xml: xmlsec1 does NOT verify the DLL's signature"; status=1
    fi
  done
done

bench_table "$out/ours.txt" "$out/xmlsec1.txt" sig/s "$sizes" "$kinds" "$out/{size}.xml"
exit $status
