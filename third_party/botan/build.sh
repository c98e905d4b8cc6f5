# Recipe: Botan 2 for MinGW, static, only the GOST R 34.10-2001 / 34.11-94 modules (and
# what they need), from the Debian source package. Used by tools/softgost-csp only.
# Sourced by tools/deps/build-deps.sh, which provides the variables and helpers used
# here. This file is part of the cache key of the build it describes.

BOTAN_MODULES=gost_3410,gost_3411,streebog,emsa_raw,emsa1,auto_rng,system_rng,hmac_drbg,sha2_32

build_botan() {
    local prefix=$1 tmp="$1.tmp" work logf
    work="$SCRATCH/botan"
    logf="$SCRATCH/botan.log"
    rm -rf "$work" "$tmp"
    log "building Botan $BOTAN_VERSION for MinGW (cached at $prefix)"
    fetch_debian_source "$BOTAN_PKG" "$BOTAN_VERSION" "$work/src"
    (cd "$work/src" && run_logged "$logf" python3 ./configure.py \
        --os=mingw --cpu=x86_64 --cc=gcc --cc-bin=x86_64-w64-mingw32-g++-posix \
        --ar-command=x86_64-w64-mingw32-ar \
        --minimized-build --enable-modules="$BOTAN_MODULES" \
        --disable-shared-library --build-targets=static --without-documentation \
        --prefix="$tmp" --libdir=lib --includedir=include)
    run_logged "$logf" make -C "$work/src" -j "$JOBS"
    run_logged "$logf" make -C "$work/src" install
    [ -f "$tmp/lib/libbotan-2.a" ] || die "Botan build: libbotan-2.a not installed"
    [ -f "$tmp/include/botan-2/botan/gost_3410.h" ] || die "Botan build: gost_3410.h not installed"
    finish_prefix "$tmp" "$prefix"
    rm -rf "$work"
}
