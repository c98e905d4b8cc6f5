#!/usr/bin/env bash
# Installs the Debian (bookworm) packages the project needs to build and test.
# Idempotent: when everything is present it only runs dpkg-query and exits.
set -euo pipefail

# The one list of packages. Later work appends to it.
TALVORAN_PACKAGES="
  wine wine64
  gcc-mingw-w64-x86-64-posix g++-mingw-w64-x86-64-posix
  binutils-mingw-w64-x86-64 mingw-w64-x86-64-dev
  cmake ninja-build make
  dpkg-dev xz-utils bzip2 patch
  googletest
  llvm-14
  clang-format
  python3
  openssl libengine-gost-openssl
  xmlsec1 gcc pkg-config libxml2-dev libxslt1-dev libssl-dev
  libxml-security-java default-jdk-headless
  debian-archive-keyring ca-certificates
"

missing=()
for pkg in $TALVORAN_PACKAGES; do
    status=$(dpkg-query -W -f='${db:Status-Abbrev}' "$pkg" 2>/dev/null || true)
    case "$status" in
        ii*) ;;
        *) missing+=("$pkg") ;;
    esac
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "install-packages: installing missing packages: ${missing[*]}" >&2
SUDO=
if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null 2>&1; then
        SUDO=sudo
    else
        echo "error: packages missing (${missing[*]}) and not running as root (no sudo)" >&2
        exit 1
    fi
fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update
$SUDO env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${missing[@]}"
