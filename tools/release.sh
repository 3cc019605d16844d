#!/usr/bin/env bash
# Builds the windows preset and its API reference and zips the install tree as
# build/release/libruvobase-<version>-win64.zip (the version is the one of
# project(VERSION) in CMakeLists.txt). Prints the zip's path last.
# usage: bash tools/release.sh
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
cmake --preset windows >/dev/null
cmake --build --preset windows
# The API reference goes into share/doc/libruvobase/html of the tree.
cmake --build --preset windows --target docs
# One zip in the folder, so that build/release/*.zip names this release.
rm -rf build/release
mkdir -p build/release
# CPack installs into a staging folder of its own and zips that.
(cd build/windows && cpack -G ZIP -B "$top/build/release" >/dev/null)
version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")$/\1/p' build/windows/CPackConfig.cmake)
zip=$top/build/release/libruvobase-$version-win64.zip
[ -f "$zip" ] || { echo "release: $zip was not made" >&2; exit 1; }
echo "$zip"
