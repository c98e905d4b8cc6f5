#!/usr/bin/env bash
# Creates the project-local Wine prefix once; later calls return at once.
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
