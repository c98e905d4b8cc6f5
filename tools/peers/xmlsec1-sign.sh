#!/usr/bin/env bash
# xmlsec1-sign.sh KIND TEMPLATE.xml OUT.xml KEYDIR
# Signs TEMPLATE.xml (an XML-DSig template: empty DigestValue/SignatureValue and, if
# wanted, <KeyInfo><KeyValue/></KeyInfo> or <X509Data><X509Certificate/></X509Data>)
# with the key of KIND from KEYDIR (made by peer-keys.sh) and writes OUT.xml.
# KIND: rsa-sha1 rsa-sha256 rsa-sha512 dsa-sha1 hmac-sha1 hmac-sha256 (stock Debian
# xmlsec1) or gost2001 (the GOST xmlsec1 build). The template's SignatureMethod must
# be the one of KIND. Exit: 0 signed, 1 xmlsec1 failed, 2 usage or setup error.
set -euo pipefail
# shellcheck source=peers-lib.sh
. "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/peers-lib.sh"

[ $# -eq 4 ] || { echo "usage: $0 KIND TEMPLATE.xml OUT.xml KEYDIR" >&2; exit 2; }
kind=$1 tmpl=$2 out=$3 keydir=$4
peers_kind "$kind"
[ -f "$tmpl" ] || peers_die "template $tmpl not found"
peers_has_sig_method "$tmpl" "$PEER_SIG_URI" \
    || peers_die "$tmpl: SignatureMethod is not $PEER_SIG_URI (kind $kind)"

if [ "$PEER_KEY" = hmac ]; then
    [ -f "$keydir/hmac.key" ] || peers_die "$keydir/hmac.key not found (run peer-keys.sh)"
    keyargs=(--hmackey "$keydir/hmac.key")
else
    key="$keydir/$PEER_KEY-key.pem" cert="$keydir/$PEER_KEY-cert.pem"
    if [ ! -f "$key" ] || [ ! -f "$cert" ]; then
        peers_die "$key or $cert not found (run peer-keys.sh)"
    fi
    keyargs=(--privkey-pem "$key,$cert")
fi

rc=0
peers_xmlsec1 sign --output "$out" "${keyargs[@]}" "$tmpl" || rc=$?
if [ "$rc" -ne 0 ]; then
    rm -f "$out"
    echo "${0##*/}: xmlsec1 could not sign $tmpl ($kind)" >&2
    exit 1
fi
