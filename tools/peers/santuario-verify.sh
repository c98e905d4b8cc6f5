#!/usr/bin/env bash
# santuario-verify.sh [--doc-key] KIND FILE.xml KEYDIR
# Verifies the first XML signature in FILE.xml with Apache Santuario (Java, Debian's
# libxml-security-java), secure validation off. Exit 0 only when it verifies.
#  - FILE.xml must use the SignatureMethod of KIND (checked first).
#  - By default the key is KEYDIR's (KIND's <key>-pub.pem, or hmac.key); KeyInfo is
#    not looked at, so a document cannot bring its own key.
#  - --doc-key: the key comes from the document's KeyInfo instead: a KeyValue as is,
#    an X509Certificate only if it is KEYDIR's certificate of KIND or issued by it.
#    For HMAC the key is KEYDIR's either way.
# KIND: rsa-sha1 rsa-sha256 rsa-sha384 rsa-sha512 dsa-sha1 hmac-sha1 hmac-sha256
# hmac-sha384 hmac-sha512 (Santuario knows no GOST). Each Reference's result goes to
# stderr. Exit: 0 verified, 1 not verified, 2 usage or setup error.
set -euo pipefail
# shellcheck source=peers-lib.sh
. "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/peers-lib.sh"

dockey=()
if [ "${1:-}" = --doc-key ]; then dockey=(--doc-key); shift; fi
[ $# -eq 3 ] || { echo "usage: $0 [--doc-key] KIND FILE.xml KEYDIR" >&2; exit 2; }
kind=$1 file=$2 keydir=$3
[ -f "$file" ] || peers_die "$file not found"
[ -d "$keydir" ] || peers_die "$keydir: no such directory"

rc=0
peers_santuario verify "${dockey[@]}" "$kind" "$file" "$keydir" || rc=$?
case $rc in
    0) exit 0 ;;
    2) exit 2 ;;
    *) echo "${0##*/}: $file does not verify ($kind)" >&2; exit 1 ;;
esac
