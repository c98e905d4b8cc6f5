#!/usr/bin/env bash
# The DLL exports exactly the functions named in the .def file, and imports system DLLs only.
# Usage: check-exports.sh OBJDUMP DLL DEF
set -euo pipefail
objdump="$1"; dll="$2"; def="$3"

expected=$(sed -n '/^EXPORTS/,$p' "$def" | tail -n +2 | awk 'NF{print $1}' | sort)
actual=$("$objdump" -p "$dll" | awk '/\[Ordinal\/Name Pointer\] Table/{t=1;next} t&&/^[ \t]*\[/{print $NF;next} t&&!NF{t=0}' | sort)
if [ "$expected" != "$actual" ]; then
  echo "export table differs from the .def file:"
  diff <(echo "$expected") <(echo "$actual") || true
  exit 1
fi
echo "exports ($(echo "$actual" | wc -l)): $(echo $actual)"

allowed='^(KERNEL32|ADVAPI32|CRYPT32|msvcrt|USER32|WS2_32|bcrypt|ncrypt)\.dll$'
imports=$("$objdump" -p "$dll" | awk '/DLL Name:/{print $3}' | sort -u)
bad=$(echo "$imports" | grep -v -i -E "$allowed" || true)
if [ -n "$bad" ]; then
  echo "imports a DLL that is not a system DLL: $bad"
  exit 1
fi
echo "imports: $(echo $imports)"
