#!/usr/bin/env bash
# The layer check must fail when a lower folder includes a higher one: a copy of src/
# gets one such include (keys -> dsig) and the check has to reject it, naming the file.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
src=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$src" "$work/src"
echo '#include "dsig/SigContext.hpp"' >>"$work/src/keys/KeyInfoKey.hpp"
if out=$(python3 "$here/check-layers.py" "$work/src" "$here/allowed.txt"); then
  echo "FAIL: an include from keys into dsig was accepted"; exit 1
fi
grep -q '^keys/KeyInfoKey.hpp: includes dsig/SigContext.hpp, but keys may not use dsig$' <<<"$out" \
  || { echo "FAIL: unexpected report:"; echo "$out"; exit 1; }
echo "layer check rejects an upward include"
