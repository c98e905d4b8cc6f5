#!/usr/bin/env bash
# xmlsec1-c14n-expected.sh TESTS_DIR OUTDIR [DOCUMENT.xml ...]
# Reference outputs of Debian's libxmlsec1 for the DLL's canonicalising transforms,
# from xmlsec1's own test documents (TESTS_DIR, the tests/ tree of the xmlsec1 source
# package: XMLSEC1_TESTS_DIR in CMake). compare-c14n.sh later checks the DLL's outputs
# against them byte for byte.
#
# Documents: every *.xml directly in merlin-c14n-three, merlin-exc-c14n-one and
# xmldsig2ed-tests/c14n11, and the *exclusive-c14n* and *c14n-comments* *.xml of
# phaos-xmldsig-three; and any further DOCUMENTs named (suite "extra": the real signed
# documents of ../shared/vectors, for instance). Each goes through each of the five methods of xmlsec1-c14n
# (tools/peers/xmlsec1-c14n.c, built into OUTDIR/tool/), one case per pair:
#   OUTDIR/expected/<SUITE>__<FILE>__<M>.out   the bytes xmlsec1 produced
#   OUTDIR/manifest.tsv                        <NAME> TAB <METHOD URI> TAB <input path>
# SUITE is the document's folder under TESTS_DIR with '/' turned into '_', M one of
# c14n, c14n-comments, exc-c14n, exc-c14n-comments, enveloped, NAME <SUITE>__<FILE>__<M>.
# A case xmlsec1 itself fails stays in the manifest without its .out file and is
# reported on stderr: the DLL has no reference to meet there.
# OUTDIR/expected/ and the manifest are rewritten on every run; OUTDIR/ours/ is left alone.
# Exit: 0 when at least one case has a reference, 1 when none has, 2 usage or setup error.
set -euo pipefail
[ $# -ge 2 ] || { echo "usage: $0 TESTS_DIR OUTDIR [DOCUMENT.xml ...]" >&2; exit 2; }
me=${0##*/}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
[ -d "$1" ] || { echo "$me: $1 is not a directory" >&2; exit 2; }
tests=$(cd "$1" && pwd)
mkdir -p "$2"
out=$(cd "$2" && pwd)
shift 2

bash "$here/../../../tools/peers/build-xmlsec1-c14n.sh" "$out/tool" \
  || { echo "$me: cannot build xmlsec1-c14n" >&2; exit 2; }
tool="$out/tool/xmlsec1-c14n"

short=(c14n c14n-comments exc-c14n exc-c14n-comments enveloped)
uris=(
  "http://www.w3.org/TR/2001/REC-xml-c14n-20010315"
  "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments"
  "http://www.w3.org/2001/10/xml-exc-c14n#"
  "http://www.w3.org/2001/10/xml-exc-c14n#WithComments"
  "http://www.w3.org/2000/09/xmldsig#enveloped-signature"
)

# Suite folder, then the name patterns of its documents. A name matching two patterns
# is taken once.
suites=(merlin-c14n-three merlin-exc-c14n-one xmldsig2ed-tests/c14n11 phaos-xmldsig-three)
declare -A patterns=(
  [merlin-c14n-three]='*.xml'
  [merlin-exc-c14n-one]='*.xml'
  [xmldsig2ed-tests/c14n11]='*.xml'
  [phaos-xmldsig-three]='*exclusive-c14n*.xml *c14n-comments*.xml'
)

docs=() inputs=()
for suite in "${suites[@]}"; do
  dir="$tests/$suite"
  [ -d "$dir" ] || { echo "$me: $dir not found (is $tests xmlsec1's tests/ tree?)" >&2; exit 2; }
  read -r -a pats <<<"${patterns[$suite]}"
  find_args=()
  for p in "${pats[@]}"; do
    [ ${#find_args[@]} -eq 0 ] || find_args+=(-o)
    find_args+=(-name "$p")
  done
  while IFS= read -r -d '' f; do
    docs+=("$suite/${f##*/}") inputs+=("$f")
  done < <(find "$dir" -mindepth 1 -maxdepth 1 -type f \( "${find_args[@]}" \) -print0 | LC_ALL=C sort -z)
done
for f in "$@"; do
  [ -f "$f" ] || { echo "$me: $f not found" >&2; exit 2; }
  docs+=("extra/${f##*/}") inputs+=("$(cd "$(dirname "$f")" && pwd)/${f##*/}")
done
[ ${#docs[@]} -gt 0 ] || { echo "$me: no documents found under $tests" >&2; exit 2; }

rm -rf "$out/expected"
mkdir -p "$out/expected"
manifest="$out/manifest.tsv"
: > "$manifest.tmp"
n=0 failed=0
for d in "${!docs[@]}"; do
  doc=${docs[$d]}
  suite=${doc%/*} file=${doc##*/}
  input=${inputs[$d]}
  for i in "${!short[@]}"; do
    name="${suite//\//_}__${file}__${short[$i]}"
    printf '%s\t%s\t%s\n' "$name" "${uris[$i]}" "$input" >> "$manifest.tmp"
    n=$((n + 1))
    if ! err=$("$tool" "${uris[$i]}" "$input" "$out/expected/$name.out" 2>&1); then
      rm -f "$out/expected/$name.out"
      failed=$((failed + 1))
      echo "$me: $name: xmlsec1 fails: ${err:-no message}" >&2
    fi
  done
done
mv -f "$manifest.tmp" "$manifest"

echo "xmlsec1-c14n-expected: $n cases, $failed failed"
[ "$failed" -lt "$n" ]
