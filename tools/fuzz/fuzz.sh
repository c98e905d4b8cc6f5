#!/usr/bin/env bash
# Runs cryptxml-fuzz.exe under Wine, restarts it after every crash, and prints what the run
# saw: iterations, each call's HRESULTs with their counts, crashes, findings, leaks.
#
#   tools/fuzz/fuzz.sh BUILD_DIR ITERATIONS [--workers N] [--seed S] [--out DIR] [--prefix DIR]
#                      [--check-every N] [-- FUZZER_ARGS...]
#
# Seeds: xmlsec1's signature suites (XMLSEC1_TESTS_DIR of BUILD_DIR/deps.cmake), the GOST
# documents of ../shared/vectors and tests/stress/fuzz/regressions. The run is deterministic
# for a seed: worker k runs seed S+k over its share of the iterations, in OUT/wK.
# The prefix (default BUILD_DIR/wineprefix-fuzz) gets the forwarding test provider
# (tools/faulty-csp), through which the fuzzer counts CryptoAPI contexts, keys and hashes
# and through which DSA keys reach verification under Wine at all.
# A crash kills the fuzzer; the next process it is restarted as saves the crashing input as
# OUT/wK/crash-N.xml (crash-N.txt says which iteration, which exception and where) and
# goes on after it. Exit status: 0 when nothing was found, 1 on any crash, hang, finding
# (an HRESULT the library does not document, a broken promise), CryptoAPI handle leak,
# growth of heap, private bytes or handles, or CryptoAPI handles that could not be
# counted; 2 when the run could not be made.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
wine_tools="$root/tools/wine"

usage() {
  sed -n '2,8p' "$0" | sed 's/^# \{0,1\}//' >&2
  exit 2
}
[ $# -ge 2 ] || usage
build=$(realpath "$1") iterations=$2
shift 2
workers=1 seed=1 out="$build/fuzz" prefix="$build/wineprefix-fuzz" check_every=10000
extra=()
while [ $# -gt 0 ]; do
  case "$1" in
    --workers) workers=$2; shift ;;
    --seed) seed=$2; shift ;;
    --out) out=$2; shift ;;
    --prefix) prefix=$2; shift ;;
    --check-every) check_every=$2; shift ;;
    --) shift; extra=("$@"); break ;;
    *) usage ;;
  esac
  shift
done
[[ "$iterations" =~ ^[0-9]+$ && "$workers" =~ ^[1-9][0-9]*$ && "$seed" =~ ^[0-9]+$ ]] || usage

exe="$build/bin/cryptxml-fuzz.exe"
[ -f "$exe" ] || { echo "fuzz.sh: $exe missing: build the cryptxml-fuzz target" >&2; exit 2; }
[ -f "$build/bin/faulty-csp.dll" ] || { echo "fuzz.sh: build the faulty-csp target first" >&2; exit 2; }
suites=$(sed -n 's/^set(XMLSEC1_TESTS_DIR "\(.*\)")$/\1/p' "$build/deps.cmake" | tail -n 1)
[ -d "$suites" ] || { echo "fuzz.sh: XMLSEC1_TESTS_DIR of $build/deps.cmake is missing" >&2; exit 2; }

corpus=()
for suite in aleksey-xmldsig-01 merlin-xmldsig-twenty-three phaos-xmldsig-three merlin-c14n-three \
             merlin-exc-c14n-one merlin-xpath-filter2-three xmldsig2ed-tests; do
  corpus+=(--corpus "$suites/$suite")
done
[ -d "$root/../shared/vectors" ] && corpus+=(--corpus "$(realpath "$root/../shared/vectors")")
corpus+=(--corpus "$root/tests/stress/fuzz/regressions")
# The external data of xmlsec1's suites, as its testDSig.sh maps the URIs.
external=(--external "http://www.w3.org/TR/xml-stylesheet=$suites/external-data/xml-stylesheet-2005"
          --external "http://www.w3.org/Signature/2002/04/xml-stylesheet.b64=$suites/external-data/xml-stylesheet-2005.b64")

"$root/tools/faulty-csp/register.sh" "$prefix" --dll "$build/bin/faulty-csp.dll" >/dev/null
# A server left by an earlier step must end before ours starts; ours lives for the run.
(. "$wine_tools/env.sh" "$prefix"; timeout 30 wineserver -w) </dev/null >/dev/null 2>&1 || true
"$wine_tools/server.sh" start "$prefix" </dev/null >/dev/null 2>&1 || true
trap '"$wine_tools/server.sh" stop "$prefix" </dev/null >/dev/null 2>&1 || true' EXIT

# worker K: its share of the iterations with seed S+K, restarted until it finishes.
worker() {
  local k=$1 dir="$out/w$1" count=$(( iterations / workers + ($1 < iterations % workers ? 1 : 0) ))
  local args=(--out "$dir" "${corpus[@]}" "${external[@]}" --iterations "$count" --seed $(( seed + k ))
              --check-every "$check_every" "${extra[@]}")
  rm -rf "$dir" && mkdir -p "$dir"
  local rc=0 restarts=0 resume=()
  while :; do
    rc=0
    "$wine_tools/run.sh" "$prefix" "$exe" "${args[@]}" "${resume[@]}" </dev/null >>"$dir/log.txt" 2>&1 || rc=$?
    [ -f "$dir/summary.txt" ] && return 0
    # 2: the fuzzer could not start; anything else without a summary is a death to resume.
    if [ "$rc" -eq 2 ] || [ ! -f "$dir/state.bin" ] || [ "$restarts" -ge 100000 ]; then
      echo "worker $k: the fuzzer stopped with status $rc without finishing (see $dir/log.txt)" >&2
      return 2
    fi
    restarts=$((restarts + 1))
    resume=(--resume --last-exit "$rc")
  done
}

mkdir -p "$out"
start=$SECONDS
pids=()
for ((k = 0; k < workers; k++)); do
  worker "$k" &
  pids+=($!)
done
status=0
for pid in "${pids[@]}"; do wait "$pid" || status=2; done
seconds=$(( SECONDS - start > 0 ? SECONDS - start : 1 ))

summaries=()
for ((k = 0; k < workers; k++)); do
  [ -f "$out/w$k/summary.txt" ] && summaries+=("$out/w$k/summary.txt")
done
[ ${#summaries[@]} -eq "$workers" ] || { echo "fuzz.sh: not every worker finished" >&2; exit 2; }

awk -v seconds="$seconds" -v workers="$workers" '
  $1 == "hr" { key = $2 " " $3; count[key] += $4; doc[key] = $5; next }
  $1 ~ /-growth$/ { if (!($1 in total) || $2 > total[$1]) total[$1] = $2; margin[$1] = $3; next }
  $1 == "cryptoapi-counts" { csp = csp == "" || csp == $2 ? $2 : "mixed"; next }
  { total[$1] += $2 }
  END {
    printf "iterations: %d in %.0f s (%.0f/s, %d worker%s)\n", total["iterations"], seconds,
           total["iterations"] / seconds, workers, workers == 1 ? "" : "s"
    printf "crashes: %d (hangs %d), restarts: %d\n", total["crashes"], total["hangs"], total["restarts"]
    printf "findings: %d (CryptoAPI handle leaks %d), growth findings: %d\n", total["findings"],
           total["leak-findings"], total["growth-findings"]
    printf "growth after warm-up, worst worker: heap in use %+d (allowed %d), private bytes %+d (allowed %d), handles %+d (allowed %d)\n",
           total["heap-growth"], margin["heap-growth"], total["private-growth"], margin["private-growth"],
           total["handle-growth"], margin["handle-growth"]
    printf "CryptoAPI contexts, keys and hashes counted per input: %s\n", csp
    n = 0
    for (key in count) n++
    printf "HRESULTs seen (%d call/result pairs):\n", n
    for (key in count) printf "  %-32s %s %12d %s\n", substr(key, 1, index(key, " ") - 1),
                              substr(key, index(key, " ") + 1), count[key], doc[key] | "sort"
    close("sort")
    bad = total["crashes"] + total["findings"] + total["growth-findings"] + (csp != "on")
    for (key in doc) if (doc[key] != "documented") bad++
    exit (bad > 0 ? 1 : 0)
  }' "${summaries[@]}" || status=$(( status > 1 ? status : 1 ))
for f in "$out"/w*/crash-*.txt "$out"/w*/finding-*.txt; do
  [ -f "$f" ] || continue
  echo "--- ${f%.txt}.xml"
  cat "$f"
done
exit "$status"
