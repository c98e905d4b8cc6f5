#!/usr/bin/env bash
# The GOST signature our classes wrote verifies with xmlsec1's GOST build; the tampered
# copy does not. Usage: xmlsec1-crosscheck.sh ROOT OUTDIR
set -u
root="$1"; out="$2"
verify="$root/tools/peers/xmlsec1-verify.sh"
"$verify" gost2001 "$out/signed-gost2001.xml" "$out" || { echo "xmlsec1 refused our GOST signature"; exit 1; }
if "$verify" gost2001 "$out/tampered-gost2001.xml" "$out"; then
  echo "xmlsec1 accepted a tampered GOST signature"; exit 1
fi
echo "xmlsec1 verifies our GOST R 34.10-2001 signature and refuses the tampered copy"
