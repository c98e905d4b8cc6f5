# Sourced: the Wine settings every run of a Windows program of this project uses.
# Usage: . tools/wine/env.sh PREFIX
export WINEPREFIX="$(realpath -m "$1")"  # Wine wants an absolute path
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
export WINEARCH=win64
