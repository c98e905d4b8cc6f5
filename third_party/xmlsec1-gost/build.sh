# Recipe: xmlsec1 with GOST, a native Linux build used only as a test peer
# (tools/peers/). The Debian source package xmlsec1 (Debian's patches applied),
# configured like Debian's own build but with GOST R 34.10-2001 / 34.11-94 (and the
# 2012 algorithms) enabled, the OpenSSL backend only, OpenSSL 3 engine support on,
# static libraries, installed into its cache prefix. Never installed system-wide.
# GOST needs the OpenSSL GOST engine at run time (package libengine-gost-openssl),
# loaded through a private OpenSSL configuration (tools/peers/openssl-gost.cnf).
# Sourced by tools/deps/build-deps.sh, which provides the variables and helpers used
# here (XMLSEC1_PKG, XMLSEC1_VERSION, SCRATCH, JOBS, ROOT). This file is part of the
# cache key of the build it describes.

build_xmlsec1_gost() {
    local prefix=$1 tmp="$1.tmp" work logf
    work="$SCRATCH/xmlsec1-gost"
    logf="$SCRATCH/xmlsec1-gost.log"
    rm -rf "$work" "$tmp"
    mkdir -p "$work"
    log "building xmlsec1 $XMLSEC1_VERSION with GOST for Linux (cached at $prefix)"
    fetch_debian_source "$XMLSEC1_PKG" "$XMLSEC1_VERSION" "$work/src"
    # Debian's patches touch only tests/; the shipped configure is used as is.
    # Static only: the xmlsec1 program then needs no rpath into the cache and the
    # prefix can be moved into place after the install.
    (cd "$work/src" && run_logged "$logf" env CC=gcc ./configure \
        --prefix="$prefix" \
        --disable-shared --enable-static \
        --with-openssl --without-nss --without-gnutls --without-gcrypt \
        --with-default-crypto=openssl \
        --disable-crypto-dl --disable-apps-crypto-dl \
        --enable-openssl3-engines \
        --enable-gost --enable-gost2012 \
        --disable-docs --disable-mans \
        --disable-dependency-tracking)
    run_logged "$logf" make -C "$work/src" -j "$JOBS"
    run_logged "$logf" make -C "$work/src" install DESTDIR="$work/destdir"
    [ -x "$work/destdir$prefix/bin/xmlsec1" ] || die "xmlsec1-gost build: bin/xmlsec1 not installed"
    mv "$work/destdir$prefix" "$tmp"

    # Checks: the program runs, knows the GOST transforms, and (with the GOST engine
    # loaded through a private OpenSSL configuration) verifies xmlsec1's own GOST 2001
    # vector.
    local cflags
    cflags=$("$tmp/bin/xmlsec1-config" --cflags) || die "xmlsec1-gost build: xmlsec1-config failed"
    case " $cflags " in
        *" -DXMLSEC_OPENSSL3_ENGINES=1 "*) ;;
        *) die "xmlsec1-gost build: OpenSSL 3 engine support not enabled ($cflags)" ;;
    esac
    case " $cflags " in
        *" -DXMLSEC_NO_GOST=1 "*|*" -DXMLSEC_NO_GOST2012=1 "*)
            die "xmlsec1-gost build: GOST not enabled ($cflags)" ;;
    esac
    local version
    version=$("$tmp/bin/xmlsec1" --version) || die "xmlsec1-gost build: xmlsec1 --version failed"
    log "xmlsec1-gost: $version"
    "$tmp/bin/xmlsec1" --list-transforms > "$work/transforms.txt" 2>&1 \
        || die "xmlsec1-gost build: xmlsec1 --list-transforms failed"
    grep -q 'gostr34102001-gostr3411' "$work/transforms.txt" \
        || die "xmlsec1-gost build: no gostr34102001-gostr3411 transform"
    grep -q 'gostr3411' "$work/transforms.txt" \
        || die "xmlsec1-gost build: no gostr3411 transform"
    "$ROOT/tools/peers/gen-openssl-conf.sh" "$work/openssl-gost.cnf" \
        || die "xmlsec1-gost build: cannot write the GOST OpenSSL configuration"
    local t="$work/src/tests"
    if ! OPENSSL_CONF="$work/openssl-gost.cnf" "$tmp/bin/xmlsec1" --verify \
            --crypto openssl \
            --trusted-pem "$t/keys/gost2001ca.pem" --untrusted-pem "$t/keys/ca2cert.pem" \
            --enabled-key-data x509 --verification-gmt-time 2007-01-01+10:00:00 \
            "$t/aleksey-xmldsig-01/enveloped-gost2001.xml" >>"$logf" 2>&1; then
        tail -n 30 "$logf" >&2
        die "xmlsec1-gost build: enveloped-gost2001.xml does not verify (full log: $logf)"
    fi
    finish_prefix "$tmp" "$prefix"
    rm -rf "$work"
}
