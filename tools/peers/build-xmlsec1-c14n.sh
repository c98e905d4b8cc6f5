#!/usr/bin/env bash
# Builds xmlsec1-c14n.c (reference canonicalisation from Debian's libxmlsec1) with the
# host gcc into OUTDIR/xmlsec1-c14n. An existing binary is kept when it is newer than
# the source and this script and was built with the same command line against the
# same libxmlsec1 version (recorded in OUTDIR/xmlsec1-c14n.stamp).
# Usage: build-xmlsec1-c14n.sh OUTDIR. libxmlsec1-dev is installed with apt-get if
# it is missing.
set -euo pipefail
[ $# -eq 1 ] || { echo "usage: $0 OUTDIR" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
out=$1
src="$here/xmlsec1-c14n.c"
bin="$out/xmlsec1-c14n"
stamp="$out/xmlsec1-c14n.stamp"
mkdir -p "$out"

if ! pkg-config --exists xmlsec1-openssl; then
  echo "build-xmlsec1-c14n.sh: installing libxmlsec1-dev" >&2
  apt-get install -y libxmlsec1-dev >/dev/null
fi
# The OpenSSL flavour only for its flags: the xmlsec headers change struct layouts
# with the XMLSEC_* defines, which must be those the Debian library was built with.
read -r -a flags <<<"$(pkg-config --cflags --libs xmlsec1-openssl)"
cmd=(gcc -O2 -Wall -Wextra -o "$bin.tmp" "$src" "${flags[@]}")
want="xmlsec1 $(pkg-config --modversion xmlsec1-openssl): ${cmd[*]}"

if [ -x "$bin" ] && [ "$bin" -nt "$src" ] && [ "$bin" -nt "${BASH_SOURCE[0]}" ] \
   && [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$want" ]; then
  exit 0
fi
"${cmd[@]}"
mv -f "$bin.tmp" "$bin"
printf '%s\n' "$want" > "$stamp"
echo "build-xmlsec1-c14n.sh: built $bin" >&2
