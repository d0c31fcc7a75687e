#!/bin/sh
# Runs a Windows program under Wine: quiet, without a desktop, and without Wine's offers to install more. Usage:
#   run_under_wine.sh WINE WINESERVER PREFIX PROGRAM ARGUMENT...
set -eu
wine=$1 server=$2 WINEPREFIX=$3
shift 3
WINEDEBUG=-all
WINEDLLOVERRIDES='mscoree,mshtml,winemenubuilder.exe='
export WINEPREFIX WINEDEBUG WINEDLLOVERRIDES
mkdir -p "$WINEPREFIX"
# A server that ended with each program would now and then end just when the next one calls it. This one stays for two
# minutes, and so do Wine's services, which therefore must not keep a test's output open.
if "$server" --persistent=120 </dev/null >/dev/null 2>&1; then
    "$wine" wineboot </dev/null >/dev/null 2>&1
fi
exec "$wine" "$@"
