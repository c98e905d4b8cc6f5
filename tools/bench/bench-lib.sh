# shellcheck shell=bash
# What the benchmark drivers share. Source this file.

# bench_table OURS.txt XMLSEC1.txt UNIT "SIZES" "KINDS" DOC-PATTERN: the table of both sides'
# rates (column 5 of the lines "SIZE KIND ..."), with their ratio; DOC-PATTERN names the
# document of a case, with {size} and {kind} replaced.
bench_table() {
  local ours_file=$1 theirs_file=$2 unit=$3 sizes=$4 kinds=$5 pattern=$6 size kind doc
  rate() { awk -v s="$2" -v k="$3" '$1 == s && $2 == k { print $5 }' "$1"; }
  echo
  printf '%-40s %-12s %12s %12s %7s\n' document algorithm "ours $unit" "xmlsec1 $unit" ratio
  for size in $sizes; do
    for kind in $kinds; do
      doc=${pattern//\{size\}/$size}
      doc=${doc//\{kind\}/$kind}
      local ours theirs ratio
      ours=$(rate "$ours_file" "$size" "$kind") theirs=$(rate "$theirs_file" "$size" "$kind")
      ratio=$(awk -v a="${ours:-0}" -v b="${theirs:-0}" 'BEGIN { if (b > 0) printf "%.2f", a / b; else print "-" }')
      printf '%-40s %-12s %12s %12s %7s\n' "$(basename "$doc") ($(stat -c %s "$doc") bytes)" "$kind" "${ours:--}" \
        "${theirs:--}" "$ratio"
    done
  done
}

# bench_ours BUILD EXE OUT SECONDS SIZE KIND: one case of the Windows program under Wine, its
# result line appended to OUT/ours.txt and shown; anything else it says goes to stderr.
bench_ours() {
  local build=$1 exe=$2 out=$3 seconds=$4 size=$5 kind=$6 root
  root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
  "$root/tools/wine/run.sh" "$build/wineprefix" "$exe" "$out" "$seconds" "$size" "$kind" </dev/null \
    | tr -d '\r' | awk -v s="$size" '$1 == s { print; next } $1 != "size" { print > "/dev/stderr" }' \
    | tee -a "$out/ours.txt" | sed 's/^/ours    /'
}
