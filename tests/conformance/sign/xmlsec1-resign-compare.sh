#!/usr/bin/env bash
# Byte for byte against xmlsec1: RSA PKCS#1 v1.5 and HMAC signatures are deterministic, so
# xmlsec1, given the DLL's own document as a template (DigestValue and SignatureValue
# emptied) and the same key, must write the same document. For every enveloped RSA and
# HMAC document of the manifest the two are compared whole, after removing the XML
# declaration xmlsec1 adds and the line breaks it puts into Base64 values.
# Usage: xmlsec1-resign-compare.sh ROOT OUT     (OUT as sign_interop_test leaves it)
# Exit: 0 every document is equal, 1 one differs or xmlsec1 refused, 2 setup error.
set -euo pipefail
root=$1 out=$2
# shellcheck source=../../../tools/peers/peers-lib.sh
. "$root/tools/peers/peers-lib.sh"
manifest="$out/ours/manifest.tsv"
[ -f "$manifest" ] || peers_die "$manifest missing (run sign_interop_test first)"
work="$out/resign"
rm -rf "$work" && mkdir -p "$work"

# compare OURS THEIRS: "same" when the Signature elements are equal once the whitespace in
# Base64 values is removed; "wrapped" when only the signature values differ because
# xmlsec1 broke a DigestValue longer than 64 characters inside SignedInfo (then its
# signature covers other bytes, as it must) and everything else is equal; else "differ".
compare() {
    python3 - "$1" "$2" <<'PY'
import re, sys
def signature(path):
    data = open(path, 'rb').read().decode('utf-8')
    m = re.search(r'<ds:Signature[ >].*</ds:Signature>', data, flags=re.S)
    return m.group(0) if m else ''
def squeeze(text):
    return re.sub(r'(<ds:(DigestValue|SignatureValue)>)(.*?)(</ds:\2>)',
                  lambda m: m.group(1) + re.sub(r'\s+', '', m.group(3)) + m.group(4), text, flags=re.S)
def without_value(text):
    return re.sub(r'<ds:SignatureValue>.*?</ds:SignatureValue>', '', text, flags=re.S)
ours, theirs = signature(sys.argv[1]), signature(sys.argv[2])
wrapped = re.search(r'<ds:DigestValue>[^<]*\n[^<]*</ds:DigestValue>', theirs) is not None
if ours and squeeze(ours) == squeeze(theirs):
    print('same')
elif ours and wrapped and without_value(squeeze(ours)) == without_value(squeeze(theirs)):
    print('wrapped')
else:
    print('differ')
PY
}

status=0 compared=0
while IFS=$'\t' read -r name kind keymode; do
    case "$name" in ''|'#'*) continue ;; esac
    case "$kind:$name" in
        rsa-*:*-enveloped|hmac-*:*-enveloped) ;;
        *) continue ;;
    esac
    [ "$keymode" = keydir ] || continue
    template="$work/$name.template.xml"
    python3 - "$out/ours/$name.xml" "$template" <<'PY'
import re, sys
data = open(sys.argv[1], 'rb').read().decode('utf-8')
data = re.sub(r'(<ds:(DigestValue|SignatureValue)>).*?(</ds:\2>)', r'\1\3', data, flags=re.S)
open(sys.argv[2], 'wb').write(data.encode('utf-8'))
PY
    if [ "${kind%%-*}" = hmac ]; then
        keyargs=(--hmackey "$out/keys/hmac.key")
    else
        keyargs=(--privkey-pem "$out/keys/rsa-key.pem")
    fi
    if ! /usr/bin/xmlsec1 sign "${keyargs[@]}" --output "$work/$name.xmlsec1.xml" "$template" 2>"$work/$name.err"; then
        echo "$name: xmlsec1 REFUSED to sign the template"; status=1; continue
    fi
    compared=$((compared + 1))
    case $(compare "$out/ours/$name.xml" "$work/$name.xmlsec1.xml") in
        same) echo "$name: xmlsec1 writes the same Signature element, byte for byte" ;;
        wrapped) echo "$name: xmlsec1 writes the same digest and SignedInfo but for the line breaks it puts into the long DigestValue (so its signature value covers other bytes)" ;;
        *) echo "$name: xmlsec1 writes a DIFFERENT Signature element"; status=1 ;;
    esac
    # openssl over the canonical SignedInfo, as Santuario reads it from our document.
    "$root/tools/peers/santuario-signedinfo.sh" "$out/ours/$name.xml" "$work/$name.signedinfo" >/dev/null
    python3 - "$out/ours/$name.xml" "$work/$name.ours.sig" <<'PY'
import base64, re, sys
data = open(sys.argv[1], 'rb').read().decode('utf-8')
value = re.search(r'<ds:SignatureValue>(.*?)</ds:SignatureValue>', data, flags=re.S).group(1)
open(sys.argv[2], 'wb').write(base64.b64decode(re.sub(r'\s+', '', value)))
PY
    digest=${kind#*-}
    if [ "${kind%%-*}" = hmac ]; then
        openssl dgst "-$digest" -mac HMAC -macopt "hexkey:$(xxd -p -c 256 "$out/keys/hmac.key")" -binary \
            -out "$work/$name.openssl.sig" "$work/$name.signedinfo"
    else
        openssl dgst "-$digest" -sign "$out/keys/rsa-key.pem" -out "$work/$name.openssl.sig" "$work/$name.signedinfo"
    fi
    if cmp -s "$work/$name.ours.sig" "$work/$name.openssl.sig"; then
        echo "$name: openssl computes the same SignatureValue over the canonical SignedInfo"
    else
        echo "$name: openssl computes a DIFFERENT SignatureValue"; status=1
    fi
done < "$manifest"
[ "$compared" -gt 0 ] || { echo "no enveloped RSA or HMAC document in $manifest"; exit 1; }
echo "$compared documents compared"
exit $status
