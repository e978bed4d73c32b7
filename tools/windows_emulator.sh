#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Runs a Windows program without a screen, in a Windows folder of the build's own:
#
#   tools/windows_emulator.sh build-windows/build/bin/quiver.exe list models
#
# CTest starts every test of `make test-windows` through it. --start makes that folder and keeps its server at hand, so that programs
# start fast; --stop ends the server.
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX="${WINEPREFIX:-$here/build-windows/wine}"
export WINEDEBUG="${WINEDEBUG:--all}"
# Neither a debugger nor anything with a window, whatever the program does.
export WINEDLLOVERRIDES='winedbg.exe=d;mscoree=d;mshtml=d'
unset DISPLAY
server=$(command -v wineserver || echo /usr/lib/wine/wineserver64)
case "${1:-}" in
  --start)
    mkdir -p "$WINEPREFIX"
    "$server" -p 2>/dev/null || true  # it refuses where one still runs, which serves as well
    "$0" cmd /c exit >/dev/null 2>&1 || { echo 'tools/windows_emulator.sh: wine does not start; try it with WINEDEBUG=err+all.' >&2; exit 1; }
    exit 0 ;;
  --stop)
    "$server" -k || true
    exit 0 ;;
esac
wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
exec "$wine" "$@"
