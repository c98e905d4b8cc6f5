#!/usr/bin/env bash
# xmlsec1-verify.sh [--doc-key] KIND FILE.xml KEYDIR
# Verifies the XML signature in FILE.xml with xmlsec1 (stock Debian for RSA, DSA and
# HMAC; the GOST build for gost2001). Exit 0 only when the signature verifies.
#  - FILE.xml must use the SignatureMethod of KIND (checked first).
#  - By default the key is KEYDIR's (KIND's public key, or hmac.key); the document's
#    KeyValue and X509Data are ignored, so a document cannot bring its own key.
#  - --doc-key: the key comes from the document's KeyInfo instead: a KeyValue as is,
#    an X509Certificate only if it chains to KEYDIR's certificate of KIND (trusted).
#    (xmlsec1 1.2.37 reads no GOST KeyValue: gost2001 needs X509Data then.)
# Exit: 0 verified, 1 not verified, 2 usage or setup error.
set -euo pipefail
# shellcheck source=peers-lib.sh
. "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/peers-lib.sh"

dockey=0
if [ "${1:-}" = --doc-key ]; then dockey=1; shift; fi
[ $# -eq 3 ] || { echo "usage: $0 [--doc-key] KIND FILE.xml KEYDIR" >&2; exit 2; }
kind=$1 file=$2 keydir=$3
peers_kind "$kind"
[ -f "$file" ] || peers_die "$file not found"

if ! peers_has_sig_method "$file" "$PEER_SIG_URI"; then
    echo "${0##*/}: $file: SignatureMethod is not $PEER_SIG_URI (kind $kind)" >&2
    exit 1
fi

if [ "$PEER_KEY" = hmac ]; then
    [ -f "$keydir/hmac.key" ] || peers_die "$keydir/hmac.key not found"
    keyargs=(--hmackey "$keydir/hmac.key" --enabled-key-data key-name)
elif [ "$dockey" = 1 ]; then
    cert="$keydir/$PEER_KEY-cert.pem"
    [ -f "$cert" ] || peers_die "$cert not found"
    keyargs=(--trusted-pem "$cert")
else
    pub="$keydir/$PEER_KEY-pub.pem"
    [ -f "$pub" ] || peers_die "$pub not found"
    keyargs=(--pubkey-pem "$pub" --enabled-key-data key-name)
fi

rc=0
peers_xmlsec1 verify "${keyargs[@]}" "$file" || rc=$?
case $rc in
    0) exit 0 ;;
    *) echo "${0##*/}: $file does not verify ($kind)" >&2; exit 1 ;;
esac
