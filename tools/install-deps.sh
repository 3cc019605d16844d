#!/usr/bin/env bash
# Installs what the builds need on Debian 12 and is not there yet. Run as root.
# usage: tools/install-deps.sh [windows|native|all]   (default: all)
set -euo pipefail
what=${1:-all}
# Wine keeps its prefix under $HOME; a bare environment may not set it.
export HOME=${HOME:-$(getent passwd "$(id -u)" | cut -d: -f6)}

# Doxygen makes the API reference (and checks that every export has one).
common=(cmake make g++ python3 openssl googletest doxygen)
# spdlog (headers only) is the auto log benchmark's peer.
windows=(g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine wine64
         libz-mingw-w64-dev libspdlog-dev
         zip unzip pkg-config clang lld llvm)
# zip, unzip, pkg-config: the release zip and its check; clang, lld and llvm
# (llvm-dlltool): the MSVC import libraries and the MSVC-target link.
# GLib, inih, OpenSSL, libzip and libarchive are benchmark peers only.
native=(clang libclang-rt-14-dev libbenchmark-dev uthash-dev robin-map-dev libabsl-dev unzip
        zlib1g-dev pkg-config libglib2.0-dev libinih-dev libssl-dev libzip-dev libarchive-dev)

want=("${common[@]}")
case "$what" in
  windows) want+=("${windows[@]}") ;;
  native) want+=("${native[@]}") ;;
  all) want+=("${windows[@]}" "${native[@]}") ;;
  *) echo "usage: $0 [windows|native|all]" >&2; exit 2 ;;
esac

missing=()
for pkg in "${want[@]}"; do
  dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || missing+=("$pkg")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq "${missing[@]}" >/dev/null
fi

# A Wine prefix made once, without the Mono and Gecko installers (they would
# wait for a click).
if [ "$what" != native ] && [ ! -f "${WINEPREFIX:-$HOME/.wine}/system.reg" ]; then
  echo "making the Wine prefix"
  WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" wineboot -i >/dev/null 2>&1 || true
  wineserver -w || true
fi
