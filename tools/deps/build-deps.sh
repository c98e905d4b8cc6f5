#!/usr/bin/env bash
# Builds the project's third-party dependencies for 64-bit Windows (MinGW-w64)
# into a cache outside the work tree and writes BUILD_DIR/deps.cmake with
# their install prefixes.
#
#   tools/deps/build-deps.sh BUILD_DIR
#
# Cache: $TALVORAN_CACHE/<name>/<version>-<key>/ (key = hash of the recipe
# files and versions). Each prefix has include/ and lib/ (static .a files).
# Nothing already cached is rebuilt.
set -euo pipefail

if [ $# -ne 1 ]; then
    echo "usage: $0 BUILD_DIR" >&2
    exit 2
fi

DEPS_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ROOT=$(cd "$DEPS_DIR/../.." && pwd)
# shellcheck source=lib.sh
. "$DEPS_DIR/lib.sh"

BUILD_DIR=$1
mkdir -p "$BUILD_DIR"
BUILD_DIR=$(cd "$BUILD_DIR" && pwd)

TOOLCHAIN="$ROOT/cmake/mingw-w64-x86_64.cmake"
JOBS=${TALVORAN_JOBS:-2}

XERCES_PKG=xerces-c
XERCES_VERSION=3.2.4+debian-1
XSEC_PKG=xml-security-c
XSEC_VERSION=3.0.0-2
GTEST_SRC=/usr/src/googletest
GTEST_PKG=googletest   # the Debian binary package that ships $GTEST_SRC
# Test data only: the signed documents of xmlsec1's own test suites (its tests/ tree).
XMLSEC1_PKG=xmlsec1
XMLSEC1_VERSION=1.2.37-2
BOTAN_PKG=botan   # for tools/softgost-csp, the test GOST provider
BOTAN_VERSION=2.19.3+dfsg-1+deb12u1

"$DEPS_DIR/install-packages.sh"

GTEST_VERSION=$(dpkg-query -W -f='${Version}' "$GTEST_PKG" 2>/dev/null) \
    || die "Debian package $GTEST_PKG is not installed"

# A key covers lib.sh, the toolchain and the dependency's own third_party/ folder (its
# recipe build.sh, patches, build files): editing this driver rebuilds nothing.
COMMON_FILES=("$DEPS_DIR/lib.sh" "$TOOLCHAIN")
CC_VERSION=$(x86_64-w64-mingw32-g++-posix -dumpfullversion 2>/dev/null || echo unknown)

XERCES_KEY=$(cache_key "${COMMON_FILES[@]}" "$ROOT/third_party/xerces-c" \
    -- "$XERCES_PKG=$XERCES_VERSION" "gcc=$CC_VERSION")
XSEC_KEY=$(cache_key "${COMMON_FILES[@]}" "$ROOT/third_party/xml-security-c" \
    -- "$XSEC_PKG=$XSEC_VERSION" "xerces=$XERCES_KEY" "gcc=$CC_VERSION")
BOTAN_KEY=$(cache_key "${COMMON_FILES[@]}" "$ROOT/third_party/botan" \
    -- "$BOTAN_PKG=$BOTAN_VERSION" "gcc=$CC_VERSION")
GTEST_KEY=$(cache_key "${COMMON_FILES[@]}" "$ROOT/third_party/googletest" \
    -- "$GTEST_PKG=$GTEST_VERSION" "gcc=$CC_VERSION")

XERCES_PREFIX="$TALVORAN_CACHE/xerces-c/$XERCES_VERSION-$XERCES_KEY"
XSEC_PREFIX="$TALVORAN_CACHE/xml-security-c/$XSEC_VERSION-$XSEC_KEY"
GTEST_PREFIX="$TALVORAN_CACHE/googletest/$GTEST_VERSION-$GTEST_KEY"
BOTAN_PREFIX="$TALVORAN_CACHE/botan/$BOTAN_VERSION-$BOTAN_KEY"
XMLSEC1_TESTS_DIR="$TALVORAN_CACHE/xmlsec1-tests/$XMLSEC1_VERSION"
# Test peer (tools/peers/): xmlsec1 with GOST, built natively for Linux from the same source.
XMLSEC1_GOST_KEY=$(cache_key "$DEPS_DIR/lib.sh" "$ROOT/third_party/xmlsec1-gost" \
    -- "$XMLSEC1_PKG=$XMLSEC1_VERSION" "gcc=$(gcc -dumpfullversion 2>/dev/null || echo unknown)" \
       "libssl-dev=$(dpkg-query -W -f='${Version}' libssl-dev 2>/dev/null || echo unknown)")
XMLSEC1_GOST_PREFIX="$TALVORAN_CACHE/xmlsec1-gost/$XMLSEC1_VERSION-$XMLSEC1_GOST_KEY"
OPENSSL_GOST_CONF="$BUILD_DIR/peers/openssl-gost.cnf"

# Scratch space, created only when something is built; removed on exit
# unless TALVORAN_KEEP_SCRATCH=1.
SCRATCH=
init_scratch() {
    if [ -z "$SCRATCH" ]; then
        SCRATCH=$(mktemp -d "${TMPDIR:-/tmp}/talvoran-deps.XXXXXX")
    fi
}
cleanup() {
    if [ -n "$SCRATCH" ]; then
        if [ "${TALVORAN_KEEP_SCRATCH:-0}" = 1 ]; then
            log "scratch kept in $SCRATCH"
        else
            rm -rf "$SCRATCH"
        fi
    fi
}
trap cleanup EXIT

for recipe in xerces-c xml-security-c googletest botan; do
    # shellcheck source=/dev/null
    . "$ROOT/third_party/$recipe/build.sh"
done

LOCKED=0
ensure() {
    local name=$1 version=$2 prefix=$3 fn=$4
    if [ ! -d "$prefix" ] && [ "$LOCKED" = 0 ]; then
        # Serialise concurrent builds sharing this cache (e.g. two build trees).
        mkdir -p "$TALVORAN_CACHE"
        exec 9>"$TALVORAN_CACHE/.build.lock"
        if command -v flock >/dev/null 2>&1; then
            flock 9
        fi
        LOCKED=1
    fi
    if [ -d "$prefix" ]; then
        log "$name $version: cached at $prefix"
    else
        mkdir -p "$(dirname "$prefix")"
        init_scratch
        "$fn" "$prefix"
    fi
}

ensure Xerces-C "$XERCES_VERSION" "$XERCES_PREFIX" build_xerces
ensure xml-security-c "$XSEC_VERSION" "$XSEC_PREFIX" build_xsec
ensure GoogleTest "$GTEST_VERSION" "$GTEST_PREFIX" build_gtest
ensure Botan "$BOTAN_VERSION" "$BOTAN_PREFIX" build_botan

# Keeps only the tests/ tree of the xmlsec1 source package; moved into place in one
# rename, so a half-fetched tree never looks cached.
fetch_xmlsec1_tests() {
    local dest=$1 tmp
    tmp=$(mktemp -d "$(dirname "$dest")/.xmlsec1-tests.XXXXXX")
    fetch_debian_source "$XMLSEC1_PKG" "$XMLSEC1_VERSION" "$tmp/src"
    [ -d "$tmp/src/tests" ] || { rm -rf "$tmp"; die "$XMLSEC1_PKG $XMLSEC1_VERSION has no tests/ folder"; }
    mv "$tmp/src/tests" "$tmp/tests"
    rm -rf "$tmp/src"
    finish_prefix "$tmp/tests" "$dest"
    rmdir "$tmp"
    log "xmlsec1 $XMLSEC1_VERSION: test documents in $dest"
}
ensure "xmlsec1 tests" "$XMLSEC1_VERSION" "$XMLSEC1_TESTS_DIR" fetch_xmlsec1_tests

# Test peers (tools/peers/): the GOST xmlsec1 and the private OpenSSL configuration
# that loads the GOST engine for them.
# shellcheck source=/dev/null
. "$ROOT/third_party/xmlsec1-gost/build.sh"
ensure "xmlsec1 with GOST" "$XMLSEC1_VERSION" "$XMLSEC1_GOST_PREFIX" build_xmlsec1_gost
"$ROOT/tools/peers/gen-openssl-conf.sh" "$OPENSSL_GOST_CONF"

cat > "$BUILD_DIR/deps.cmake.new" <<CMAKE
set(XERCES_PREFIX "$XERCES_PREFIX")
set(XSEC_PREFIX "$XSEC_PREFIX")
set(GTEST_PREFIX "$GTEST_PREFIX")
set(BOTAN_PREFIX "$BOTAN_PREFIX")
set(XMLSEC1_TESTS_DIR "$XMLSEC1_TESTS_DIR")
set(XMLSEC1_GOST_PREFIX "$XMLSEC1_GOST_PREFIX")
set(OPENSSL_GOST_CONF "$OPENSSL_GOST_CONF")
CMAKE
# Rewritten only when a prefix changed, so that CMake does not configure again for nothing.
if cmp -s "$BUILD_DIR/deps.cmake.new" "$BUILD_DIR/deps.cmake"; then
  rm -f "$BUILD_DIR/deps.cmake.new"
else
  mv -f "$BUILD_DIR/deps.cmake.new" "$BUILD_DIR/deps.cmake"
  log "wrote $BUILD_DIR/deps.cmake"
fi
