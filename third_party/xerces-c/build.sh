# Recipe: Xerces-C for MinGW, static, XMLCh as wchar_t, Windows transcoder, no network.
# Sourced by tools/deps/build-deps.sh, which provides the variables and helpers used
# here. This file is part of the cache key of the build it describes.

build_xerces() {
    local prefix=$1 tmp="$1.tmp" work logf
    work="$SCRATCH/xerces-c"
    logf="$SCRATCH/xerces-c.log"
    mkdir -p "$work"
    rm -rf "$tmp"
    log "building Xerces-C $XERCES_VERSION for MinGW (cached at $prefix)"
    fetch_debian_source "$XERCES_PKG" "$XERCES_VERSION" "$work/src"
    if [ -f "$ROOT/third_party/xerces-c/patches/series" ]; then
        apply_patch_series "$ROOT/third_party/xerces-c/patches" "$work/src"
    fi
    run_logged "$logf" cmake_configure "$work/src" "$work/build" "$tmp" \
        -DCMAKE_PROJECT_INCLUDE="$ROOT/third_party/xerces-c/project-include.cmake" \
        -Dtranscoder=windows \
        -Dmessage-loader=inmemory \
        -Dmutex-manager=windows \
        -Dthreads=ON \
        -Dnetwork=OFF \
        -Dxmlch-type=wchar_t \
        -DCMAKE_DISABLE_FIND_PACKAGE_ICU=ON
    # Only the library: samples and tests are not built.
    run_logged "$logf" cmake --build "$work/build" --target xerces-c -j "$JOBS"
    # Install only what src/ installs (library, headers, CMake config).
    run_logged "$logf" cmake -DCMAKE_INSTALL_PREFIX="$tmp" \
        -P "$work/build/src/cmake_install.cmake"
    local cfg="$tmp/include/xercesc/util/Xerces_autoconf_config.hpp"
    grep -Eq '^#define[[:space:]]+XERCES_XMLCH_T[[:space:]]+wchar_t[[:space:]]*$' "$cfg" \
        && grep -Eq '^typedef[[:space:]]+XERCES_XMLCH_T[[:space:]]+XMLCh;' "$cfg" \
        || die "Xerces-C build: XMLCh is not wchar_t in $cfg"
    grep -q '^#define XERCES_STATIC_LIBRARY' "$cfg" \
        || die "Xerces-C build: $cfg is not configured for a static library"
    [ -f "$tmp/lib/libxerces-c.a" ] || die "Xerces-C build: libxerces-c.a not installed"
    finish_prefix "$tmp" "$prefix"
    rm -rf "$work"
}
