# Recipe: GoogleTest and GoogleMock for MinGW, static, from /usr/src/googletest.
# Sourced by tools/deps/build-deps.sh, which provides the variables and helpers used
# here. This file is part of the cache key of the build it describes.

build_gtest() {
    local prefix=$1 tmp="$1.tmp" work logf
    work="$SCRATCH/googletest"
    logf="$SCRATCH/googletest.log"
    mkdir -p "$work"
    rm -rf "$tmp"
    log "building GoogleTest $GTEST_VERSION for MinGW (cached at $prefix)"
    [ -f "$GTEST_SRC/CMakeLists.txt" ] || die "GoogleTest sources not found in $GTEST_SRC (package $GTEST_PKG)"
    run_logged "$logf" cmake_configure "$GTEST_SRC" "$work/build" "$tmp" \
        -DBUILD_GMOCK=ON \
        -DINSTALL_GTEST=ON \
        -Dgtest_force_shared_crt=OFF \
        -Dgtest_disable_pthreads=OFF \
        -DCMAKE_DISABLE_FIND_PACKAGE_Python=ON
    run_logged "$logf" cmake --build "$work/build" -j "$JOBS"
    run_logged "$logf" cmake --install "$work/build"
    local l
    for l in gtest gtest_main gmock gmock_main; do
        [ -f "$tmp/lib/lib$l.a" ] || die "GoogleTest build: lib$l.a not installed"
    done
    finish_prefix "$tmp" "$prefix"
    rm -rf "$work"
}
