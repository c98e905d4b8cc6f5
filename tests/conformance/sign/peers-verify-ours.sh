#!/usr/bin/env bash
# The independent peers check every document sign_interop_test signed with the DLL, and
# refuse a tampered copy of each.
#
#   peers-verify-ours.sh ROOT OUT
#
# OUT/ours/manifest.tsv lists NAME<TAB>KIND<TAB>KEYMODE for OUT/ours/NAME.xml; KIND is a
# tools/peers kind, KEYMODE "keydir" (the peers use OUT/keys, the document brings nothing)
# or "doc" (the key is the document's KeyValue). Peers by kind:
#   rsa-*, dsa-*, hmac-*   stock xmlsec1 and Apache Santuario (Java)
#   gost2001               the GOST build of xmlsec1, and openssl's GOST engine over the
#                          canonical SignedInfo (Santuario's) with the SignatureValue
#   gost2001-cpxmlsec      openssl's GOST engine as above (no xmlsec1 knows these URIs),
#                          and the GOST xmlsec1 for the reference digests, on a copy whose
#                          URIs are rewritten to the xmldsig-more ones (its signature value
#                          then no longer matches, which is not what is asked of it)
# A GOST key is taken from the document's KeyValue by gost-keyvalue-to-pem.py.
# Same-document references by Id: xmlsec1 is told which attributes are Ids (--id-attr);
# detached ones name a file beside the document, so xmlsec1 runs in that folder.
# Exit 0 only when every peer verifies every document and refuses every tampered copy.
set -uo pipefail
root=$(realpath "$1") out=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=../../../tools/peers/peers-lib.sh
. "$root/tools/peers/peers-lib.sh"
peers="$root/tools/peers"
manifest="$out/ours/manifest.tsv"
[ -f "$manifest" ] || peers_die "$manifest missing (run sign_interop_test first)"
work="$out/peers"
rm -rf "$work" && mkdir -p "$work/tampered"

failures=0 checks=0
report() {  # report EXPECTED(0 verifies|1 refuses) RC TEXT
    checks=$((checks + 1))
    if [ "$1" = 0 ] && [ "$2" = 0 ]; then
        echo "$3: verifies"
    elif [ "$1" = 1 ] && [ "$2" != 0 ]; then
        echo "$3: refuses the tampered copy"
    elif [ "$1" = 0 ]; then
        echo "$3: REFUSES"; failures=$((failures + 1))
    else
        echo "$3: ACCEPTS the tampered copy"; failures=$((failures + 1))
    fi
}

# id_attrs FILE: xmlsec1 options naming every element that carries an Id attribute.
id_attrs() {
    python3 - "$1" <<'PY'
import sys, xml.etree.ElementTree as ET
seen = set()
for e in ET.parse(sys.argv[1]).getroot().iter():
    if 'Id' in e.attrib and e.tag not in seen:
        seen.add(e.tag)
        ns, _, local = e.tag[1:].rpartition('}') if e.tag.startswith('{') else ('', '', e.tag)
        print('--id-attr:Id')
        print(ns + ':' + local if ns else local)
PY
}

# tamper SRC DST: a copy whose signed content differs in one character (the text of the
# document's or the object's data), or, for a detached signature, whose data file does.
tamper() {
    local src=$1 dst=$2
    cp "$src" "$dst"
    for data in $(grep -o 'URI="[^"#][^"]*"' "$src" | sed 's/URI="\(.*\)"/\1/'); do
        [ -f "$(dirname "$src")/$data" ] && printf 'tampered ' | cat - "$(dirname "$src")/$data" > "$(dirname "$dst")/$data"
    done
    python3 - "$dst" <<'PY'
import sys
path = sys.argv[1]
raw = open(path, 'rb').read()
encoding = 'utf-16-le' if raw[:2] == b'<\x00' else 'utf-8'
text = raw.decode(encoding)
for old, new in (('widgets x 2', 'widgets x 3'), ('1000.00', '9000.00')):
    if old in text:
        text = text.replace(old, new, 1)
        break
open(path, 'wb').write(text.encode(encoding))
PY
}

# xmlsec1_check EXPECTED NAME FILE KEYARGS...: xmlsec1 of the kind set by peers_kind, run in
# the document's folder.
xmlsec1_check() {
    local expected=$1 name=$2 file=$3; shift 3
    local -a ids
    mapfile -t ids < <(id_attrs "$file")
    (cd "$(dirname "$file")" && peers_xmlsec1 verify "${ids[@]}" "$@" "$(basename "$file")") >"$work/$name.xmlsec1.log" 2>&1
    report "$expected" $? "$name: xmlsec1$([ "$PEER_GOST" = 1 ] && echo ' (GOST build)')"
}

# openssl_gost_check EXPECTED NAME FILE PUB.pem: the SignatureValue over the canonical SignedInfo.
openssl_gost_check() {
    local expected=$1 name=$2 file=$3 pub=$4
    "$peers/santuario-signedinfo.sh" "$file" "$work/signedinfo" >/dev/null 2>&1 || { report "$expected" 1 "$name: openssl GOST (no SignedInfo)"; return; }
    # Content changed elsewhere leaves SignedInfo as it was (the digest check catches it, see
    # xmlsec1); here a tampered copy gets a SignedInfo whose DigestValue differs in one digit.
    if [ "$expected" = 1 ]; then
        python3 - "$work/signedinfo" <<'PY'
import re, sys
data = open(sys.argv[1], 'rb').read()
m = re.search(rb'<ds:DigestValue>(.)', data)
i = m.start(1)
data = data[:i] + (b'B' if data[i:i + 1] == b'A' else b'A') + data[i + 1:]
open(sys.argv[1], 'wb').write(data)
PY
    fi
    python3 - "$file" "$work/sigvalue" <<'PY'
import re, sys
data = open(sys.argv[1], 'rb').read().decode('utf-8')
open(sys.argv[2], 'w').write(re.search(r'<ds:SignatureValue>(.*?)</ds:SignatureValue>', data, re.S).group(1))
PY
    "$peers/openssl-gost-verify.sh" --base64 "$pub" "$work/signedinfo" "$work/sigvalue" >"$work/last.log" 2>&1
    report "$expected" $? "$name: openssl GOST engine over the canonical SignedInfo"
}

# digest_check EXPECTED NAME FILE PUB.pem: the GOST xmlsec1's reference count on the rewritten copy.
digest_check() {
    local expected=$1 name=$2 file=$3 pub=$4 copy="$work/$name.xmldsig-more.xml"
    sed -e 's|urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411|http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411|g' \
        -e 's|urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411|http://www.w3.org/2001/04/xmldsig-more#gostr3411|g' "$file" > "$copy"
    local -a ids
    mapfile -t ids < <(id_attrs "$copy")
    peers_kind gost2001
    peers_xmlsec1 verify "${ids[@]}" --pubkey-pem "$pub" --enabled-key-data key-name "$copy" >"$work/$name.digest.log" 2>&1
    local total ok
    total=$(sed -n 's|^SignedInfo References (ok/all): [0-9]*/\([0-9]*\)$|\1|p' "$work/$name.digest.log")
    ok=$(sed -n 's|^SignedInfo References (ok/all): \([0-9]*\)/[0-9]*$|\1|p' "$work/$name.digest.log")
    [ -n "$total" ] && [ "$total" -gt 0 ] && [ "$ok" = "$total" ]
    report "$expected" $? "$name: xmlsec1 (GOST build) reference digests"
}

# check EXPECTED NAME FILE KIND KEYMODE: every peer of the kind on one document.
check() {
    local expected=$1 name=$2 file=$3 kind=$4 keymode=$5
    peers_kind "$kind"
    local keys="$out/keys"
    if [ "$PEER_GOST" = 1 ]; then
        local pub="$work/$name.gost-pub.pem"
        [ -f "$pub" ] || "$here/gost-keyvalue-to-pem.py" "$out/ours/$name.xml" "$pub" || { report 0 1 "$name: GOST KeyValue"; return; }
        if [ "$kind" = gost2001 ]; then
            xmlsec1_check "$expected" "$name" "$file" --pubkey-pem "$pub" --enabled-key-data key-name
        else
            digest_check "$expected" "$name" "$file" "$pub"
        fi
        openssl_gost_check "$expected" "$name" "$file" "$pub"
        return
    fi
    local -a keyargs santuario=()
    if [ "$PEER_KEY" = hmac ]; then
        keyargs=(--hmackey "$keys/hmac.key" --enabled-key-data key-name)
    elif [ "$keymode" = doc ]; then
        keyargs=(--enabled-key-data key-value --enabled-key-data rsa --enabled-key-data dsa)
        santuario=(--doc-key)
    else
        keyargs=(--pubkey-pem "$keys/$PEER_KEY-pub.pem" --enabled-key-data key-name)
    fi
    xmlsec1_check "$expected" "$name" "$file" "${keyargs[@]}"
    "$peers/santuario-verify.sh" "${santuario[@]}" "$kind" "$file" "$keys" >"$work/last.log" 2>&1
    report "$expected" $? "$name: Santuario"
}

documents=0
while IFS=$'\t' read -r name kind keymode; do
    case "$name" in ''|'#'*) continue ;; esac
    documents=$((documents + 1))
    check 0 "$name" "$out/ours/$name.xml" "$kind" "$keymode"
    tamper "$out/ours/$name.xml" "$work/tampered/$name.xml"
    if cmp -s "$out/ours/$name.xml" "$work/tampered/$name.xml" && ! ls "$work/tampered/"*.data >/dev/null 2>&1; then
        report 0 1 "$name: nothing to tamper with"
        continue
    fi
    check 1 "$name" "$work/tampered/$name.xml" "$kind" "$keymode"
done < "$manifest"

[ "$documents" -gt 0 ] || { echo "no document in $manifest"; exit 1; }
echo "$documents documents, $checks checks, $failures failed"
[ "$failures" = 0 ]
