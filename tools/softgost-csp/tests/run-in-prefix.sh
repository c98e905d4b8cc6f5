#!/usr/bin/env bash
# Runs a Windows program in a Wine prefix other than the build's main one, with its own
# persistent wineserver for the duration of the run:  run-in-prefix.sh PREFIX PROGRAM [ARGS...]
set -euo pipefail
wine_tools=$(cd "$(dirname "$0")/../../wine" && pwd)
prefix=$1; shift
"$wine_tools/ensure-prefix.sh" "$prefix"
# A server left by an earlier step (e.g. the registration) must end before ours starts.
(. "$wine_tools/env.sh" "$prefix"; timeout 30 wineserver -w) </dev/null >/dev/null 2>&1 || true
"$wine_tools/server.sh" start "$prefix" </dev/null >/dev/null 2>&1 || true
set +e
"$wine_tools/run.sh" "$prefix" "$@"
rc=$?
set -e
"$wine_tools/server.sh" stop "$prefix" </dev/null >/dev/null 2>&1 || true
exit $rc
