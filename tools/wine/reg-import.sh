#!/usr/bin/env bash
# Imports a .reg file into a Wine prefix once, and checks that it took:
#
#   tools/wine/reg-import.sh PREFIX REGFILE STAMP KEY VALUE EXPECTED
#
# STAMP names a file in PREFIX that records the hash of what was imported: a second call
# with the same content returns at once (status 3, "unchanged"). After the import the
# registry value KEY\VALUE must contain EXPECTED, else the import counts as failed (1).
# Returns 0 when it imported.
set -euo pipefail
wine_tools=$(cd "$(dirname "$0")" && pwd)
[ $# -eq 6 ] || { echo "usage: $0 PREFIX REGFILE STAMP KEY VALUE EXPECTED" >&2; exit 2; }
prefix=$1 reg=$2 stamp="$1/$3" key=$4 value=$5 expected=$6

want=$(sha256sum < "$reg" | cut -c1-64)
if [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$want" ]; then
  exit 3
fi

"$wine_tools/ensure-prefix.sh" "$prefix"
. "$wine_tools/env.sh" "$prefix"
# Output detached: Wine services started here must not hold the caller's pipes open.
if ! wine reg import "$(printf 'Z:%s' "$reg" | sed 's|/|\\|g')" </dev/null >/dev/null 2>&1; then
  echo "reg-import.sh: wine reg import failed in $prefix" >&2
  exit 1
fi
query=$(wine reg query "$key" /v "$value" </dev/null 2>/dev/null || true)
if ! grep -qF "$expected" <<<"$query"; then
  echo "reg-import.sh: $key\\$value does not hold \"$expected\" after the import in $prefix" >&2
  exit 1
fi
printf '%s\n' "$want" > "$stamp"
