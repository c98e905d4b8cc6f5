#!/usr/bin/env bash
# Registers the Talvoran Soft GOST CSP (a TEST provider) in a Wine prefix:
#
#   tools/softgost-csp/register.sh PREFIX [--type2-keyset-missing] [--dll PATH]
#
# Writes, through one `wine reg import` of a generated .reg file, for the three providers the
# one DLL serves (type 75 = GOST R 34.10-2001, 80 = GOST R 34.10-2012 256, 81 = 2012 512):
#   HKLM\Software\Microsoft\Cryptography\Defaults\Provider Types\Type 075|080|081  Name, TypeName
#   HKLM\Software\Microsoft\Cryptography\Defaults\Provider\Talvoran Soft GOST CSP
#        Image Path (REG_SZ, the DLL's Windows path), Type (DWORD 75); likewise
#        ...\Talvoran Soft GOST 2012-256 CSP (Type 80) and ...\Talvoran Soft GOST 2012-512 CSP (Type 81)
#   HKLM\Software\Microsoft\Cryptography\OID\EncodingType 1\CryptDllImportPublicKeyInfoEx\<OID>
#        Dll, FuncName (crypt32's public-key import handler) for 1.2.643.2.2.19 (GOST R 34.10-2001
#        keys), 1.2.643.7.1.1.1.1 and 1.2.643.7.1.1.1.2 (GOST R 34.10-2012 256 / 512 keys)
# With --type2-keyset-missing also provider type 2 ("Type 002") whose Name has no provider
# key, so that CryptAcquireContext(type 2) answers NTE_KEYSET_NOT_DEF (0x80090019).
# The DLL defaults to PREFIX/../bin/softgost-csp.dll. Idempotent: a stamp in the prefix
# records what was registered; a second call with the same arguments returns at once.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
wine_tools=$(cd "$here/../wine" && pwd)

usage() { echo "usage: $0 PREFIX [--type2-keyset-missing] [--dll PATH]" >&2; exit 2; }
[ $# -ge 1 ] || usage
prefix=$(realpath -m "$1"); shift
type2=0
dll=
while [ $# -gt 0 ]; do
  case "$1" in
    --type2-keyset-missing) type2=1 ;;
    --dll) [ $# -ge 2 ] || usage; dll=$2; shift ;;
    *) usage ;;
  esac
  shift
done
[ -n "$dll" ] || dll="$(dirname "$prefix")/bin/softgost-csp.dll"
dll=$(realpath -m "$dll")
[ -f "$dll" ] || { echo "register.sh: $dll not found (build the softgost-csp target first)" >&2; exit 1; }

name="Talvoran Soft GOST CSP"
name_256="Talvoran Soft GOST 2012-256 CSP"
name_512="Talvoran Soft GOST 2012-512 CSP"
missing_name="Talvoran Absent GOST Provider"
# Wine maps drive Z: to the Unix root.
winpath="Z:$(printf '%s' "$dll" | sed 's|/|\\\\|g')"
base='HKEY_LOCAL_MACHINE\Software\Microsoft\Cryptography'

reg=$(mktemp "${TMPDIR:-/tmp}/softgost-reg.XXXXXX")
trap 'rm -f "$reg"' EXIT
{
  printf 'Windows Registry Editor Version 5.00\r\n\r\n'
  provider() {  # provider NAME TYPE(decimal) TYPENAME
    printf '[%s\\Defaults\\Provider Types\\Type %03d]\r\n"Name"="%s"\r\n"TypeName"="%s"\r\n\r\n' "$base" "$2" "$1" "$3"
    printf '[%s\\Defaults\\Provider\\%s]\r\n"Image Path"="%s"\r\n"Type"=dword:%08x\r\n"SigInFile"=dword:00000000\r\n\r\n' "$base" "$1" "$winpath" "$2"
  }
  provider "$name" 75 "GOST R 34.10-2001 Signature with Diffie-Hellman Key Exchange"
  provider "$name_256" 80 "GOST R 34.10-2012 (256) Signature with Diffie-Hellman Key Exchange"
  provider "$name_512" 81 "GOST R 34.10-2012 (512) Signature with Diffie-Hellman Key Exchange"
  for oid in 1.2.643.2.2.19 1.2.643.7.1.1.1.1 1.2.643.7.1.1.1.2; do
    printf '[%s\\OID\\EncodingType 1\\CryptDllImportPublicKeyInfoEx\\%s]\r\n"Dll"="%s"\r\n"FuncName"="CryptDllImportPublicKeyInfoEx"\r\n\r\n' "$base" "$oid" "$winpath"
  done
  if [ "$type2" = 1 ]; then
    printf '[%s\\Defaults\\Provider Types\\Type 002]\r\n"Name"="%s"\r\n"TypeName"="GOST (legacy type 2)"\r\n\r\n' "$base" "$missing_name"
    printf '[-%s\\Defaults\\Provider\\%s]\r\n\r\n' "$base" "$missing_name"
  fi
} > "$reg"

rc=0
"$wine_tools/reg-import.sh" "$prefix" "$reg" .softgost-csp-registered \
    "HKLM\\Software\\Microsoft\\Cryptography\\Defaults\\Provider\\$name_512" "Image Path" "softgost-csp.dll" || rc=$?
[ "$rc" -eq 3 ] && exit 0
[ "$rc" -eq 0 ] || exit 1
extra=; [ "$type2" = 1 ] && extra=" (and provider type 2 with its provider key missing)"
echo "register.sh: registered $name, $name_256 and $name_512 in $prefix$extra"
