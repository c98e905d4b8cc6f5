#!/usr/bin/env bash
# server.sh start|stop PREFIX: one persistent wineserver for a test run.
# Starting it also starts Wine's own services (services.exe, winedevice.exe, ...) with their
# output detached: started by the first test instead, they would inherit ctest's output pipe
# and keep it open, so ctest would wait for them for as long as the server lives.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
"$here/ensure-prefix.sh" "$2"
. "$here/env.sh" "$2"
case "$1" in
  start)
    wineserver -p </dev/null >/dev/null 2>&1
    wine cmd.exe /c exit </dev/null >/dev/null 2>&1
    ;;
  stop) wineserver -k 2>/dev/null || true ;;
  *) echo "usage: server.sh start|stop PREFIX" >&2; exit 2 ;;
esac
