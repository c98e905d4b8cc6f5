#!/usr/bin/env bash
# Makes a Wine prefix in which the Talvoran Faulty CSP (a TEST provider) answers for provider
# types 1, 3, 24 and 75, and provider type 2 answers NTE_KEYSET_NOT_DEF:
#
#   tools/faulty-csp/register.sh PREFIX [--dll PATH]
#
# Writes, through one `wine reg import` of a generated .reg file, for each TYPE in 1 3 24 75:
#   HKLM\Software\Microsoft\Cryptography\Defaults\Provider Types\Type NNN  Name, TypeName
#   HKLM\Software\Microsoft\Cryptography\Defaults\Provider\Talvoran Faulty CSP (type TYPE)
#        Image Path (REG_SZ, the DLL's Windows path), Type (DWORD TYPE)
# advapi32 insists that the provider key's Type equals the type asked for, hence one name per
# type, all with the same DLL. Further:
#   ...\Provider Types\Type 002 with a Name whose provider key is absent (NTE_KEYSET_NOT_DEF),
#   ...\OID\EncodingType 1\CryptDllImportPublicKeyInfoEx\1.2.643.2.2.19 -> softgost-csp.dll,
#        so that crypt32 imports GOST SubjectPublicKeyInfo keys as in the softgost prefixes.
# The DLL defaults to PREFIX/../bin/faulty-csp.dll; softgost-csp.dll, to which type 75 is
# forwarded, must lie in the same directory. Idempotent: a stamp in the prefix records what
# was registered; a second call with the same arguments returns at once.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
wine_tools=$(cd "$here/../wine" && pwd)

usage() { echo "usage: $0 PREFIX [--dll PATH]" >&2; exit 2; }
[ $# -ge 1 ] || usage
prefix=$(realpath -m "$1"); shift
dll=
while [ $# -gt 0 ]; do
  case "$1" in
    --dll) [ $# -ge 2 ] || usage; dll=$2; shift ;;
    *) usage ;;
  esac
  shift
done
[ -n "$dll" ] || dll="$(dirname "$prefix")/bin/faulty-csp.dll"
dll=$(realpath -m "$dll")
softgost="$(dirname "$dll")/softgost-csp.dll"
[ -f "$dll" ] || { echo "register.sh: $dll not found (build the faulty-csp target first)" >&2; exit 1; }
[ -f "$softgost" ] || { echo "register.sh: $softgost not found (build the softgost-csp target first)" >&2; exit 1; }

# Wine maps drive Z: to the Unix root.
winpath() { printf 'Z:%s' "$1" | sed 's|/|\\\\|g'; }
base='HKEY_LOCAL_MACHINE\Software\Microsoft\Cryptography'
missing_name="Talvoran Absent GOST Provider"

type_name() {
  case "$1" in
    1) echo "RSA Full (Signature and Key Exchange)" ;;
    3) echo "DSS Signature" ;;
    24) echo "RSA Full and AES" ;;
    75) echo "GOST R 34.10-2001 Signature with Diffie-Hellman Key Exchange" ;;
  esac
}

reg=$(mktemp "${TMPDIR:-/tmp}/faulty-reg.XXXXXX")
trap 'rm -f "$reg"' EXIT
{
  printf 'Windows Registry Editor Version 5.00\r\n\r\n'
  for type in 1 3 24 75; do
    name="Talvoran Faulty CSP (type $type)"
    printf '[%s\\Defaults\\Provider Types\\Type %03d]\r\n"Name"="%s"\r\n"TypeName"="%s"\r\n\r\n' \
      "$base" "$type" "$name" "$(type_name "$type")"
    printf '[%s\\Defaults\\Provider\\%s]\r\n"Image Path"="%s"\r\n"Type"=dword:%08x\r\n"SigInFile"=dword:00000000\r\n\r\n' \
      "$base" "$name" "$(winpath "$dll")" "$type"
  done
  printf '[%s\\Defaults\\Provider Types\\Type 002]\r\n"Name"="%s"\r\n"TypeName"="GOST (legacy type 2)"\r\n\r\n' "$base" "$missing_name"
  printf '[-%s\\Defaults\\Provider\\%s]\r\n\r\n' "$base" "$missing_name"
  printf '[%s\\OID\\EncodingType 1\\CryptDllImportPublicKeyInfoEx\\1.2.643.2.2.19]\r\n"Dll"="%s"\r\n"FuncName"="CryptDllImportPublicKeyInfoEx"\r\n\r\n' \
    "$base" "$(winpath "$softgost")"
} > "$reg"

rc=0
"$wine_tools/reg-import.sh" "$prefix" "$reg" .faulty-csp-registered \
    'HKLM\Software\Microsoft\Cryptography\Defaults\Provider Types\Type 075' Name \
    "Talvoran Faulty CSP (type 75)" || rc=$?
[ "$rc" -eq 3 ] && exit 0
[ "$rc" -eq 0 ] || exit 1
echo "register.sh: registered the Talvoran Faulty CSP for types 1, 3, 24, 75 (type 2 without provider) in $prefix"
