#!/usr/bin/env bash
# The Streebog reference digests the DLL wrote (sign_streebog_test), checked by the peers:
#
#   streebog-digests-peers.sh ROOT OUT
#
# OUT/streebog-hmac.xml is an HMAC-SHA256 signature whose same-document references use the
# GOST R 34.11-2012 DigestMethods of both URI families; OUT/hmac.key is its secret.
# 1. openssl's GOST engine answers the known Streebog digests (RFC 6986's first message).
# 2. The GOST build of xmlsec1 (it knows Streebog only under the URNs) verifies the
#    reference digests of a copy whose xmldsig-more Streebog URIs are rewritten to the URNs
#    (its SignatureValue then no longer matches, which is not asked of it here) and hands
#    out the canonical bytes of every reference (--store-references).
# 3. For each reference of the DLL's own document, openssl dgst -md_gost12_256/-512 over
#    those bytes must give exactly the bytes of its DigestValue (no reversal).
# Exit 0 only when every check passes.
set -uo pipefail
root=$(realpath "$1") out=$(realpath "$2")
# shellcheck source=../../../tools/peers/peers-lib.sh
. "$root/tools/peers/peers-lib.sh"
doc="$out/streebog-hmac.xml" key="$out/hmac.key"
[ -f "$doc" ] && [ -f "$key" ] || peers_die "$doc or $key missing (run sign_streebog_test first)"
xmlsec1=$(peers_gost_xmlsec1) || exit 2
conf=$(peers_gost_conf) || exit 2
export OPENSSL_CONF="$conf"
work="$out/peers"
rm -rf "$work" && mkdir -p "$work"

failures=0 checks=0
check() {  # check DESCRIPTION COMMAND...
    local what=$1; shift
    checks=$((checks + 1))
    if "$@"; then echo "PASS: $what"; else echo "FAIL: $what"; failures=$((failures + 1)); fi
}
digest_hex() {  # digest_hex SIZE FILE: the Streebog digest of FILE in hex
    openssl dgst -engine gost "-md_gost12_$1" -r "$2" 2>/dev/null | cut -d' ' -f1
}

# 1. The engine itself.
m1=012345678901234567890123456789012345678901234567890123456789012
printf %s "$m1" > "$work/m1.txt"
check "openssl GOST engine: Streebog-256 of RFC 6986 M1" test "$(digest_hex 256 "$work/m1.txt")" = \
    9d151eefd8590b89daa6ba6cb74af9275dd051026bb149a452fd84e5e57b5500
check "openssl GOST engine: Streebog-512 of RFC 6986 M1" test "$(digest_hex 512 "$work/m1.txt")" = \
    1b54d01a4af5b9d5cc3d86d68d285462b19abc2475222f35c085122be4ba1ffa00ad30f8767b3a82384c6574f024c311e2a481332b08ef7f41797891c1646f48

# 2. xmlsec1 over the copy with the URNs only; every element with an Id is an ID for it.
copy="$work/streebog-urn.xml"
sed -e 's,http://www.w3.org/2001/04/xmldsig-more#gostr34112012-\(256\|512\),urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-\1,g' \
    "$doc" > "$copy"
mapfile -t ids < <(python3 - "$copy" <<'PY'
import sys, xml.etree.ElementTree as ET
seen = set()
for e in ET.parse(sys.argv[1]).getroot().iter():
    if 'Id' in e.attrib and e.tag not in seen:
        seen.add(e.tag)
        ns, _, local = e.tag[1:].rpartition('}') if e.tag.startswith('{') else ('', '', e.tag)
        print('--id-attr:Id')
        print(ns + ':' + local if ns else local)
PY
)
"$xmlsec1" verify --hmackey "$key" "${ids[@]}" --store-references --print-debug "$copy" \
    > "$work/xmlsec1.out" 2> "$work/xmlsec1.err"
refs=$(grep -o '<ds:Reference ' "$doc" | wc -l)
counted=$(sed -n 's|^SignedInfo References (ok/all): \([0-9]*/[0-9]*\)$|\1|p' "$work/xmlsec1.err")
check "xmlsec1 (GOST build) verifies all $refs Streebog reference digests (ok/all: ${counted:-none})" \
    test "$refs" -gt 0 -a "$counted" = "$refs/$refs"

# 3. Each reference: its DigestMethod, DigestValue and xmlsec1's canonical bytes, in order.
python3 - "$doc" "$work/xmlsec1.out" "$work" > "$work/references.tsv" <<'PY' || { echo "FAIL: reading the references"; exit 1; }
import base64, re, sys
doc = open(sys.argv[1], 'rb').read().decode('utf-8')
dump = open(sys.argv[2], 'rb').read()
start, end = b'== PreDigest data - start buffer:\n', b'\n== PreDigest data - end buffer\n'
buffers, at = [], 0
while True:
    i = dump.find(start, at)
    if i < 0:
        break
    j = dump.find(end, i + len(start))
    buffers.append(dump[i + len(start):j])
    at = j + len(end)
refs = re.findall(r'<ds:Reference URI="([^"]*)">.*?<ds:DigestMethod Algorithm="([^"]*)"/>'
                  r'<ds:DigestValue>(.*?)</ds:DigestValue>', doc, re.S)
if len(refs) != len(buffers):
    sys.exit('%d references, %d canonical buffers' % (len(refs), len(buffers)))
for n, ((uri, method, value), data) in enumerate(zip(refs, buffers)):
    open('%s/reference-%d.c14n' % (sys.argv[3], n), 'wb').write(data)
    digest = base64.b64decode(''.join(value.split()), validate=True)
    print('%d\t%s\t%s\t%s' % (n, uri, method, digest.hex()))
PY
while IFS=$'\t' read -r n uri method value; do
    case "$method" in
        urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256|http://www.w3.org/2001/04/xmldsig-more#gostr34112012-256) size=256 ;;
        urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-512|http://www.w3.org/2001/04/xmldsig-more#gostr34112012-512) size=512 ;;
        *) check "reference $n ($uri): $method is a Streebog DigestMethod" false; continue ;;
    esac
    check "reference $n ($uri, $method): DigestValue = openssl md_gost12_$size over xmlsec1's canonical bytes" \
        test "$(digest_hex "$size" "$work/reference-$n.c14n")" = "$value"
done < "$work/references.tsv"

echo "$checks checks, $failures failed"
[ "$checks" -gt 3 ] && [ "$failures" = 0 ]
