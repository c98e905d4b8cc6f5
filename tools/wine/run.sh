#!/usr/bin/env bash
# Runs a Windows program under Wine in the given prefix: run.sh PREFIX PROGRAM [ARGS...]
# The test driver keeps one persistent wineserver alive for the whole run, so a program
# starts in milliseconds.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
prefix="$1"
shift
"$here/ensure-prefix.sh" "$prefix"
. "$here/env.sh" "$prefix"
exec wine "$@"
