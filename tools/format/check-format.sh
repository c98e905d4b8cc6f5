#!/usr/bin/env bash
# Fails when a C++ file of src/, tests/ or tools/ is not formatted as .clang-format says.
# Reformat with: tools/format/check-format.sh --fix
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
cd "$root"
command -v clang-format >/dev/null || { echo "clang-format is not installed"; exit 1; }
mapfile -t files < <(find src tests tools -name '*.cpp' -o -name '*.hpp' | sort)
if [ "${1:-}" = "--fix" ]; then
  clang-format -i "${files[@]}"
  exit 0
fi
clang-format --dry-run -Werror "${files[@]}"
echo "${#files[@]} files formatted as .clang-format says"
