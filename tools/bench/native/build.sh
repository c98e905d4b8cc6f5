#!/usr/bin/env bash
# Builds the libxmlsec1 benchmarks with the host gcc, into OUTDIR:
#   OUTDIR/xmlsec1_verify_bench       Debian's libxmlsec1 (OpenSSL backend): RSA and HMAC
#   OUTDIR/xmlsec1_sign_bench         the same library, signing (RSA and HMAC)
#   OUTDIR/xmlsec1_verify_bench_gost  the GOST-enabled static build in XMLSEC1_GOST_PREFIX
# Usage: build.sh OUTDIR. XMLSEC1_GOST_PREFIX comes from the environment, else from the
# deps.cmake named by TALVORAN_DEPS_CMAKE, else from build/deps.cmake (as for tools/peers).
# libxmlsec1-dev is installed with apt-get if it is missing.
set -euo pipefail
[ $# -eq 1 ] || { echo "usage: $0 OUTDIR" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
out=$1
src="$here/xmlsec1_verify_bench.c"
mkdir -p "$out"

if ! pkg-config --exists xmlsec1-openssl; then
  echo "build.sh: installing libxmlsec1-dev" >&2
  apt-get install -y libxmlsec1-dev >/dev/null
fi
# shellcheck disable=SC2046 # pkg-config output is a word list on purpose
gcc -O2 -Wall -Wextra -o "$out/xmlsec1_verify_bench" "$src" $(pkg-config --cflags --libs xmlsec1-openssl)
# shellcheck disable=SC2046
gcc -O2 -Wall -Wextra -o "$out/xmlsec1_sign_bench" "$here/xmlsec1_sign_bench.c" $(pkg-config --cflags --libs xmlsec1-openssl)

prefix=${XMLSEC1_GOST_PREFIX:-}
if [ -z "$prefix" ]; then
  deps=${TALVORAN_DEPS_CMAKE:-$here/../../../build/deps.cmake}
  [ -f "$deps" ] && prefix=$(sed -n 's/^set(XMLSEC1_GOST_PREFIX "\(.*\)")$/\1/p' "$deps" | tail -n 1)
fi
if [ -z "$prefix" ] || [ ! -x "$prefix/bin/xmlsec1-config" ]; then
  echo "build.sh: no GOST xmlsec1 build (set XMLSEC1_GOST_PREFIX)" >&2
  exit 2
fi
# The GOST build is static: its own libraries first, then the shared ones they need.
# shellcheck disable=SC2046
gcc -O2 -Wall -Wextra -o "$out/xmlsec1_verify_bench_gost" "$src" \
  $("$prefix/bin/xmlsec1-config" --cflags --libs) -ldl
echo "build.sh: built $out/xmlsec1_verify_bench and $out/xmlsec1_verify_bench_gost"
