# shellcheck shell=bash
# shellcheck disable=SC2034 # PEER_* are set here for the scripts that source this file
# Shared helpers of the peer scripts in tools/peers/. Source this file.
#
# Where the GOST pieces are found (first match wins):
#   XMLSEC1_GOST_PREFIX  the cached GOST xmlsec1 build (bin/xmlsec1 below it)
#   OPENSSL_GOST_CONF    the private OpenSSL configuration loading the GOST engine
# both from the environment, else from the deps.cmake named by TALVORAN_DEPS_CMAKE,
# else from <repo>/build/deps.cmake. Without a configuration one is generated into
# ${TMPDIR:-/tmp} from the template openssl-gost.cnf.

PEERS_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

peers_die() {
    echo "${0##*/}: error: $*" >&2
    exit 2
}

# Prints the value of set(NAME "value") from the deps.cmake in use, if any.
_peers_deps_value() {
    local f=${TALVORAN_DEPS_CMAKE:-$PEERS_DIR/../../build/deps.cmake}
    [ -f "$f" ] || return 0
    sed -n "s/^set($1 \"\\(.*\\)\")\$/\\1/p" "$f" | tail -n 1
}

# Prints the path of the OpenSSL configuration that loads the GOST engine.
peers_gost_conf() {
    local conf=${OPENSSL_GOST_CONF:-}
    [ -n "$conf" ] || conf=$(_peers_deps_value OPENSSL_GOST_CONF)
    if [ -z "$conf" ] || [ ! -f "$conf" ]; then
        conf="${TMPDIR:-/tmp}/talvoran-peers-openssl-gost.$(id -u).cnf"
        "$PEERS_DIR/gen-openssl-conf.sh" "$conf" || peers_die "cannot write $conf"
    fi
    echo "$conf"
}

# Prints the path of the GOST xmlsec1 program.
peers_gost_xmlsec1() {
    local prefix=${XMLSEC1_GOST_PREFIX:-}
    [ -n "$prefix" ] || prefix=$(_peers_deps_value XMLSEC1_GOST_PREFIX)
    [ -n "$prefix" ] || peers_die "GOST xmlsec1 not found: set XMLSEC1_GOST_PREFIX or TALVORAN_DEPS_CMAKE (run tools/deps/build-deps.sh first)"
    [ -x "$prefix/bin/xmlsec1" ] || peers_die "$prefix/bin/xmlsec1 missing (run tools/deps/build-deps.sh)"
    echo "$prefix/bin/xmlsec1"
}

# Prints the stock Debian xmlsec1 (package xmlsec1).
peers_stock_xmlsec1() {
    [ -x /usr/bin/xmlsec1 ] || peers_die "/usr/bin/xmlsec1 missing (Debian package xmlsec1; run tools/deps/install-packages.sh)"
    echo /usr/bin/xmlsec1
}

# peers_kind KIND: sets PEER_SIG_URI, PEER_DIGEST_URI, PEER_KEY (file stem in the key
# directory: rsa, dsa, gost2001, hmac) and PEER_GOST (1 for GOST kinds).
peers_kind() {
    PEER_GOST=0
    case "$1" in
        rsa-sha1)    PEER_KEY=rsa
                     PEER_SIG_URI=http://www.w3.org/2000/09/xmldsig#rsa-sha1
                     PEER_DIGEST_URI=http://www.w3.org/2000/09/xmldsig#sha1 ;;
        rsa-sha256)  PEER_KEY=rsa
                     PEER_SIG_URI=http://www.w3.org/2001/04/xmldsig-more#rsa-sha256
                     PEER_DIGEST_URI=http://www.w3.org/2001/04/xmlenc#sha256 ;;
        rsa-sha384)  PEER_KEY=rsa
                     PEER_SIG_URI=http://www.w3.org/2001/04/xmldsig-more#rsa-sha384
                     PEER_DIGEST_URI=http://www.w3.org/2001/04/xmldsig-more#sha384 ;;
        rsa-sha512)  PEER_KEY=rsa
                     PEER_SIG_URI=http://www.w3.org/2001/04/xmldsig-more#rsa-sha512
                     PEER_DIGEST_URI=http://www.w3.org/2001/04/xmlenc#sha512 ;;
        dsa-sha1)    PEER_KEY=dsa
                     PEER_SIG_URI=http://www.w3.org/2000/09/xmldsig#dsa-sha1
                     PEER_DIGEST_URI=http://www.w3.org/2000/09/xmldsig#sha1 ;;
        hmac-sha1)   PEER_KEY=hmac
                     PEER_SIG_URI=http://www.w3.org/2000/09/xmldsig#hmac-sha1
                     PEER_DIGEST_URI=http://www.w3.org/2000/09/xmldsig#sha1 ;;
        hmac-sha256) PEER_KEY=hmac
                     PEER_SIG_URI=http://www.w3.org/2001/04/xmldsig-more#hmac-sha256
                     PEER_DIGEST_URI=http://www.w3.org/2001/04/xmlenc#sha256 ;;
        hmac-sha384) PEER_KEY=hmac
                     PEER_SIG_URI=http://www.w3.org/2001/04/xmldsig-more#hmac-sha384
                     PEER_DIGEST_URI=http://www.w3.org/2001/04/xmldsig-more#sha384 ;;
        hmac-sha512) PEER_KEY=hmac
                     PEER_SIG_URI=http://www.w3.org/2001/04/xmldsig-more#hmac-sha512
                     PEER_DIGEST_URI=http://www.w3.org/2001/04/xmlenc#sha512 ;;
        # The URIs GOST providers' own XML stacks write; no xmlsec1 knows them (openssl
        # checks such signature values over a canonical SignedInfo).
        gost2001-cpxmlsec) PEER_KEY=gost2001 PEER_GOST=1
                     PEER_SIG_URI=urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411
                     PEER_DIGEST_URI=urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411 ;;
        gost2001)    PEER_KEY=gost2001 PEER_GOST=1
                     PEER_SIG_URI=http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411
                     PEER_DIGEST_URI=http://www.w3.org/2001/04/xmldsig-more#gostr3411 ;;
        *) peers_die "unknown kind '$1' (rsa-sha1 rsa-sha256 rsa-sha384 rsa-sha512 dsa-sha1 hmac-sha1 hmac-sha256 hmac-sha384 hmac-sha512 gost2001 gost2001-cpxmlsec)" ;;
    esac
}

# peers_has_sig_method FILE URI: true if FILE names URI as an Algorithm (either quote).
peers_has_sig_method() {
    grep -q -F -e "Algorithm=\"$2\"" -e "Algorithm='$2'" "$1"
}

# peers_xmlsec1 ARGS...: runs the xmlsec1 of the current kind (after peers_kind):
# the GOST build with the GOST OpenSSL configuration, or the stock Debian one.
peers_xmlsec1() {
    if [ "$PEER_GOST" = 1 ]; then
        local bin conf
        bin=$(peers_gost_xmlsec1) || exit 2
        conf=$(peers_gost_conf) || exit 2
        OPENSSL_CONF="$conf" "$bin" "$@"
    else
        local bin
        bin=$(peers_stock_xmlsec1) || exit 2
        "$bin" "$@"
    fi
}

# Debian's Apache Santuario (package libxml-security-java) and what it needs at run
# time. slf4j-nop keeps Santuario's own logging off stderr (it warns on every failed
# verification); TALVORAN_SANTUARIO_DEBUG=1 swaps in slf4j-simple at debug level.
_peers_santuario_jars() {
    local logger=slf4j-nop.jar
    [ -z "${TALVORAN_SANTUARIO_DEBUG:-}" ] || logger=slf4j-simple.jar
    echo /usr/share/java/xmlsec.jar /usr/share/java/commons-codec.jar \
        /usr/share/java/slf4j-api.jar "/usr/share/java/$logger"
}

# Prints the directory holding the compiled SantuarioPeer, compiling it on first use:
# $TALVORAN_CACHE/santuario-peer/<key>, key = hash of the source, the compiler and the
# Santuario jar, so an edit or a package upgrade recompiles.
peers_santuario_classes() {
    local src=$PEERS_DIR/santuario/SantuarioPeer.java jar cp key dest tmp
    command -v javac >/dev/null 2>&1 \
        || peers_die "javac missing (Debian package default-jdk-headless; run tools/deps/install-packages.sh)"
    for jar in $(_peers_santuario_jars); do
        [ -f "$jar" ] || peers_die "$jar missing (Debian package libxml-security-java; run tools/deps/install-packages.sh)"
    done
    [ -f "$src" ] || peers_die "$src missing"
    key=$({ sha256sum < "$src"; javac -version 2>&1; sha256sum < /usr/share/java/xmlsec.jar; } \
        | sha256sum | cut -c1-16)
    dest="${TALVORAN_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/talvoran-cryptxml}/santuario-peer/$key"
    if [ ! -f "$dest/SantuarioPeer.class" ]; then
        mkdir -p "$(dirname "$dest")" || peers_die "cannot create $(dirname "$dest")"
        # Compiled aside and renamed into place: parallel tests may race to compile.
        tmp=$(mktemp -d "$(dirname "$dest")/.build.XXXXXX") || peers_die "mktemp failed"
        cp=$(_peers_santuario_jars | tr ' ' ':')
        if ! javac -nowarn -encoding UTF-8 -cp "$cp" -d "$tmp" "$src" >&2; then
            rm -rf "$tmp"
            peers_die "javac failed on $src"
        fi
        mv -T "$tmp" "$dest" 2>/dev/null || rm -rf "$tmp"
        [ -f "$dest/SantuarioPeer.class" ] || peers_die "no SantuarioPeer.class in $dest"
    fi
    echo "$dest"
}

# peers_santuario ARGS...: runs SantuarioPeer with ARGS (exit code passed through).
peers_santuario() {
    local classes cp
    classes=$(peers_santuario_classes) || exit 2
    cp="$classes:$(_peers_santuario_jars | tr ' ' ':')"
    # The JIT's first tier is plenty for one document and starts faster.
    java -XX:+UseSerialGC -XX:TieredStopAtLevel=1 \
        -Dorg.slf4j.simpleLogger.defaultLogLevel=debug -cp "$cp" SantuarioPeer "$@"
}
