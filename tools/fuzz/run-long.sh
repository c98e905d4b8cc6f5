#!/usr/bin/env bash
# The long fuzzing run: a million mutated documents (or ITERATIONS) through the decode and
# verify exports, in two workers with seeds 1 and 2, in BUILD_DIR/wineprefix-fuzz; the
# findings go to BUILD_DIR/fuzz-long. See fuzz.sh for what it prints and its exit status.
#
#   tools/fuzz/run-long.sh BUILD_DIR [ITERATIONS] [WORKERS]
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: $0 BUILD_DIR [ITERATIONS] [WORKERS]" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
exec "$here/fuzz.sh" "$1" "${2:-1000000}" --workers "${3:-2}" --seed 1 --out "$(realpath "$1")/fuzz-long"
