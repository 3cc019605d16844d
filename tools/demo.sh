#!/usr/bin/env bash
# Installs what is missing, builds the Windows DLL and the demo, and runs the
# demo under Wine.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
# Wine keeps its prefix under $HOME; a bare environment may not set it.
export HOME=${HOME:-$(getent passwd "$(id -u)" | cut -d: -f6)}
tools/install-deps.sh windows
cmake --preset windows >/dev/null
cmake --build --preset windows --target ruvobase ruvo_demo
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" LC_ALL=C.UTF-8
cd build/windows/bin
wine ruvo_demo.exe
wineserver -k || true
