#!/usr/bin/env bash
# Creates the project-local Wine prefix once; later calls return at once.
# Wine has no CryptXml.dll of its own, while every Windows version the library targets
# does. A prefix inside a build directory therefore gets that build's stand-in
# (BUILD/standin/CryptXml.dll, a recording test double) as its system CryptXml.dll, so
# that the library meets the platform it expects; redirection tests read what it recorded.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/env.sh" "$1"
if [ ! -f "$WINEPREFIX/.talvoran-ready" ]; then
  echo "creating Wine prefix $WINEPREFIX" >&2
  mkdir -p "$WINEPREFIX"
  wine wineboot -i </dev/null >/dev/null 2>&1
  wineserver -w
  touch "$WINEPREFIX/.talvoran-ready"
fi
standin="$(dirname "$WINEPREFIX")/standin/CryptXml.dll"
system="$WINEPREFIX/drive_c/windows/system32/CryptXml.dll"
if [ -f "$standin" ] && ! cmp -s "$standin" "$system"; then
  # Tests start in parallel: replace the file in one step.
  cp "$standin" "$system.$$"
  mv -f "$system.$$" "$system"
fi
