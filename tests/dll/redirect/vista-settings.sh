#!/usr/bin/env bash
# Imports the Vista settings of redirect_vista_test.exe into PREFIX (once; later runs find
# them in place):  vista-settings.sh PREFIX
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
wine_tools="$here/../../../tools/wine"
set +e
"$wine_tools/reg-import.sh" "$1" "$here/vista-appdefaults.reg" .talvoran-redirect-vista \
  'HKCU\Software\Wine\AppDefaults\redirect_vista_test.exe' Version vista
rc=$?
set -e
case $rc in
  0) echo "vista settings imported" ;;
  3) echo "vista settings unchanged" ;;
  *) exit 1 ;;
esac
