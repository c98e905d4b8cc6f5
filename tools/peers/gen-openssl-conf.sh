#!/usr/bin/env bash
# gen-openssl-conf.sh OUT.cnf
# Writes the private OpenSSL configuration that loads the GOST engine (from the
# template openssl-gost.cnf beside this script) to OUT.cnf. The engine is the one of
# the Debian package libengine-gost-openssl (found with dpkg -L; falls back to
# OpenSSL's engines directory). OUT.cnf is rewritten only when its content changes.
set -euo pipefail

if [ $# -ne 1 ]; then
    echo "usage: $0 OUT.cnf" >&2
    exit 2
fi
out=$1
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

so=$(dpkg -L libengine-gost-openssl 2>/dev/null | grep -E '/engines-[0-9]+/gost\.so$' | head -n 1 || true)
if [ -z "$so" ]; then
    dir=$(openssl version -e 2>/dev/null | sed -n 's/^ENGINESDIR: "\(.*\)"$/\1/p')
    [ -n "$dir" ] && so="$dir/gost.so"
fi
if [ -z "$so" ] || [ ! -f "$so" ]; then
    echo "error: OpenSSL GOST engine (gost.so) not found: install libengine-gost-openssl" >&2
    exit 1
fi

mkdir -p "$(dirname "$out")"
new=$(mktemp "$out.XXXXXX")
sed "s|@GOST_ENGINE_SO@|$so|" "$here/openssl-gost.cnf" > "$new"
chmod 644 "$new"
if cmp -s "$new" "$out"; then
    rm -f "$new"
else
    mv -f "$new" "$out"
fi
