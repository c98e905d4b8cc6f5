#!/usr/bin/env bash
# The project's two entry points, for a fresh machine as for a warm one:
#   tools/build.sh main   build everything, then sign and verify a sample invoice under Wine
#   tools/build.sh test   build everything, then run the whole test suite under Wine
# Missing Debian packages, the dependency builds (cached outside the work tree) and the
# Wine prefix are set up on the way; what is already there is reused.
set -euo pipefail
export HOME="${HOME:-/root}"  # the dependency cache lives under it; CI may not set it
root=$(cd "$(dirname "$0")/.." && pwd)
build="${TALVORAN_BUILD_DIR:-$root/build}"
what="${1:-}"
case "$what" in main|test) ;; *) echo "usage: tools/build.sh main|test" >&2; exit 2 ;; esac

"$root/tools/deps/install-packages.sh"
mkdir -p "$build"
"$root/tools/deps/build-deps.sh" "$build"

if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S "$root" -B "$build" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo
fi
cmake --build "$build" -j2

prefix="$build/wineprefix"
"$root/tools/wine/server.sh" start "$prefix"
trap '"$root/tools/wine/server.sh" stop "$prefix"' EXIT

case "$what" in
  main)
    # Sign a sample invoice with a GOST key of the software GOST provider, write it to
    # build/signed-invoice.xml, verify it again and print the statuses.
    "$root/tools/softgost-csp/register.sh" "$prefix" --dll "$build/bin/softgost-csp.dll" >/dev/null
    (cd "$build" && "$root/tools/wine/run.sh" "$prefix" "$build/bin/cryptxml-sign-invoice.exe" signed-invoice.xml)
    ;;
  test)
    ctest --test-dir "$build" --output-on-failure -j2
    ;;
esac
