#!/usr/bin/env bash
# compare-c14n.sh OUTDIR
# Checks the DLL's canonicalising transforms against libxmlsec1: for every case of
# OUTDIR/manifest.tsv (written by xmlsec1-c14n-expected.sh) compares
# OUTDIR/expected/NAME.out (xmlsec1's bytes) with OUTDIR/ours/NAME.out (the DLL's,
# written by the Windows test program) byte for byte. One line per case:
#   NAME: equal
#   NAME: DIFFERS (first difference at byte K: expected "...", ours "...")
#       K counts from 1 like cmp; the excerpts are the same window of both files
#       around K, escaped (\n \r \t \\ \" \xHH), <EOF> where a file ends inside it
#   NAME: ours missing
#   NAME: no reference      xmlsec1 itself failed on the case: nothing to meet
# then "compare-c14n: N cases, E equal, D differ, M missing, R no reference".
# Exit: 0 when nothing differs or is missing and at least one case was compared
# (so an empty manifest, or one without any reference, never passes), 1 otherwise,
# 2 usage error or no manifest.
set -euo pipefail
[ $# -eq 1 ] || { echo "usage: $0 OUTDIR" >&2; exit 2; }
me=${0##*/}
out=$1
manifest="$out/manifest.tsv"
[ -f "$manifest" ] || { echo "$me: $manifest not found (run xmlsec1-c14n-expected.sh first)" >&2; exit 2; }

# Escaped bytes [from, from+len) of a file (0-based), "<EOF>" appended when the file
# ends inside the window.
excerpt() {
  local file=$1 from=$2 len=$3 size s="" b
  size=$(stat -c %s -- "$file")
  for b in $(od -An -v -tu1 -j "$from" -N "$len" -- "$file"); do
    case $b in
      10) s+='\n' ;;
      13) s+='\r' ;;
      9) s+='\t' ;;
      92) s+="\\\\" ;;
      34) s+='\"' ;;
      *)
        if [ "$b" -ge 32 ] && [ "$b" -lt 127 ]; then
          # shellcheck disable=SC2059 # the format is built from a checked byte value
          s+=$(printf "\\$(printf '%03o' "$b")")
        else
          s+=$(printf '\\x%02X' "$b")
        fi ;;
    esac
  done
  [ $((from + len)) -le "$size" ] || s+='<EOF>'
  printf '%s' "$s"
}

n=0 equal=0 differ=0 missing=0 noref=0
while IFS=$'\t' read -r name _method _input; do
  [ -n "$name" ] || continue
  n=$((n + 1))
  exp="$out/expected/$name.out"
  ours="$out/ours/$name.out"
  if [ ! -f "$exp" ]; then
    echo "$name: no reference"
    noref=$((noref + 1))
  elif [ ! -f "$ours" ]; then
    echo "$name: ours missing"
    missing=$((missing + 1))
  elif cmp -s -- "$exp" "$ours"; then
    echo "$name: equal"
    equal=$((equal + 1))
  else
    # cmp -l lists the differing bytes of the common length (1-based); nothing listed
    # means one file is a prefix of the other, which then differ just past its end.
    first=$(cmp -l -- "$exp" "$ours" 2>/dev/null | head -n 1 || true)
    if [ -n "$first" ]; then
      read -r k _ <<<"$first"
    else
      se=$(stat -c %s -- "$exp") so=$(stat -c %s -- "$ours")
      k=$(( (se < so ? se : so) + 1 ))
    fi
    from=$(( k > 17 ? k - 17 : 0 ))
    echo "$name: DIFFERS (first difference at byte $k: expected \"$(excerpt "$exp" "$from" 40)\", ours \"$(excerpt "$ours" "$from" 40)\")"
    differ=$((differ + 1))
  fi
done < "$manifest"

echo "compare-c14n: $n cases, $equal equal, $differ differ, $missing missing, $noref no reference"
[ "$n" -gt 0 ] && [ "$equal" -gt 0 ] && [ "$differ" -eq 0 ] && [ "$missing" -eq 0 ]
