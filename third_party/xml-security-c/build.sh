# Recipe: xml-security-c for MinGW, static, with our CMake build and patch series.
# Sourced by tools/deps/build-deps.sh, which provides the variables and helpers used
# here. This file is part of the cache key of the build it describes.

build_xsec() {
    local prefix=$1 tmp="$1.tmp" work logf
    work="$SCRATCH/xml-security-c"
    logf="$SCRATCH/xml-security-c.log"
    mkdir -p "$work"
    rm -rf "$tmp"
    log "building xml-security-c $XSEC_VERSION for MinGW (cached at $prefix)"
    fetch_debian_source "$XSEC_PKG" "$XSEC_VERSION" "$work/src"
    apply_patch_series "$ROOT/third_party/xml-security-c/patches" "$work/src"
    run_logged "$logf" cmake_configure "$ROOT/third_party/xml-security-c" "$work/build" "$tmp" \
        -DXSEC_SOURCE_DIR="$work/src" \
        -DXERCES_PREFIX="$XERCES_PREFIX"
    run_logged "$logf" cmake --build "$work/build" -j "$JOBS"
    run_logged "$logf" cmake --install "$work/build"
    [ -f "$tmp/lib/libxml-security-c.a" ] || die "xml-security-c build: libxml-security-c.a not installed"
    [ -f "$tmp/include/xsec/framework/XSECConfig.hpp" ] || die "xml-security-c build: XSECConfig.hpp not installed"
    finish_prefix "$tmp" "$prefix"
    rm -rf "$work"
}
