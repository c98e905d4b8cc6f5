#!/usr/bin/env bash
# santuario-signedinfo.sh [--direct] FILE.xml OUT
# Writes the canonical octets of the first signature's SignedInfo in FILE.xml, as
# Apache Santuario computes them, to OUT: the data a SignatureValue is over. Works for
# algorithms Santuario does not know (GOST): when it refuses the signature, the
# SignedInfo element is canonicalized in place with its CanonicalizationMethod.
# --direct takes that second way always (to compare the two).
# Exit: 0 written, 1 FILE.xml has no usable signature, 2 usage or setup error.
set -euo pipefail
# shellcheck source=peers-lib.sh
. "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/peers-lib.sh"

direct=()
if [ "${1:-}" = --direct ]; then direct=(--direct); shift; fi
[ $# -eq 2 ] || { echo "usage: $0 [--direct] FILE.xml OUT" >&2; exit 2; }
file=$1 out=$2
[ -f "$file" ] || peers_die "$file not found"

rc=0
peers_santuario signedinfo "${direct[@]}" "$file" "$out" || rc=$?
case $rc in
    0) exit 0 ;;
    2) rm -f "$out"; exit 2 ;;
    *) rm -f "$out"; echo "${0##*/}: no canonical SignedInfo from $file" >&2; exit 1 ;;
esac
