#!/usr/bin/env bash
# Checks a release zip the way its users meet it: unpacked into a fresh
# folder, it holds the documented tree and no path of the machine that built
# it; each .def names exactly the DLL's exports; and a small program
# (tests/consumer) links and runs under Wine through the CMake package,
# through pkg-config, and through the MSVC import libraries with clang and
# lld-link (skipped, with the reason, when those tools are missing).
# usage: tools/check-release.sh build/release/libruvobase-<version>-win64.zip
set -uo pipefail
zip=$(realpath "$1")
top=$(cd "$(dirname "$0")/.." && pwd)
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" LC_ALL=C.UTF-8
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
pass() { echo "ok: $*"; }

# --- the tree
name=$(basename "$zip" .zip)
(cd "$work" && unzip -q "$zip") || { echo "FAIL: $zip does not unpack"; exit 1; }
tree=$work/$name
[ -d "$tree" ] || { echo "FAIL: the zip has no top folder $name"; exit 1; }
version=${name#libruvobase-}
version=${version%-win64}
expected=(LICENSE share/doc/libruvobase/README.md share/doc/libruvobase/LICENSE
          share/doc/libruvobase/html/index.html
          include/ruvo/base/defs.h include/ruvo/algo/algo.h include/ruvo/zip/zip.h
          lib/cmake/ruvobase/ruvobaseConfig.cmake lib/cmake/ruvobase/ruvobaseConfigVersion.cmake
          lib/cmake/ruvobase/ruvobaseTargets.cmake lib/pkgconfig/ruvobase.pc)
for dll in libruvobase libruvoalgo libruvozip; do
  expected+=("bin/$dll.dll" "lib/$dll.dll.a" "lib/$dll.def" "lib/$dll.lib")
done
missing=0
for f in "${expected[@]}"; do
  [ -f "$tree/$f" ] || { fail "the tree lacks $f"; missing=1; }
done
[ $missing = 0 ] && pass "the tree has the ${#expected[@]} documented files"
extra=$(cd "$tree" && find . -type f \( -name '*.exe' -o -path './bin/*' ! -name 'libruvo*.dll' \))
[ -z "$extra" ] && pass "no programs and nothing but the DLLs in bin/" || fail "unexpected files: $extra"
headers=$(cd "$top/include" && find ruvo -name '*.h' | sort)
[ "$headers" = "$(cd "$tree/include" && find ruvo -name '*.h' | sort)" ] &&
  pass "include/ holds every public header" || fail "include/ differs from the public headers"

# --- no path of the build machine, in any file
for path in "$top/build" "$top"; do
  hits=$(grep -rlF "$path" "$tree")
  [ -z "$hits" ] && pass "no file names $path" || fail "files that name $path: $hits"
done

# --- each .def lists exactly the export table
for dll in libruvobase libruvoalgo libruvozip; do
  exports=$(x86_64-w64-mingw32-objdump -p "$tree/bin/$dll.dll" |
            sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | awk '/^\t\[ *[0-9]+\]/ {print $NF}' | sort)
  listed=$(awk '$1 != "EXPORTS" && $1 != "LIBRARY" && NF {print $1}' "$tree/lib/$dll.def" | sort)
  if [ -n "$exports" ] && [ "$exports" = "$listed" ]; then
    pass "$dll.def lists the $(wc -l <<<"$exports") exports"
  else
    fail "$dll.def differs from the export table"
    diff <(echo "$exports") <(echo "$listed") | head
  fi
done

# Runs a program of the consumer with the release's DLLs beside it.
# Wine ends a crashed program with status 0, so success is a status of 77
# from the MSVC-target program (which has no output) and the last line
# "consumer: all calls answered" from the others.
run_under_wine() {  # run_under_wine <what> <exe> <expected status> [expected last line]
  cp "$tree"/bin/*.dll "$(dirname "$2")"/
  local out status
  out=$(wine "$2" </dev/null 2>&1)
  status=$?
  if [ "$status" = "$3" ] && { [ $# -lt 4 ] || [ "$(tail -n 1 <<<"$out" | tr -d '\r')" = "$4" ]; }; then
    pass "$1 ran under Wine"
  else
    fail "$1 ended with status $status: $out"
  fi
}

# --- the CMake package, from a MinGW project
consumer=$top/tests/consumer
if cmake -S "$consumer" -B "$work/cmake" -DCMAKE_TOOLCHAIN_FILE="$top/cmake/mingw-w64-posix.cmake" \
         -DCMAKE_BUILD_TYPE=Release -Druvobase_DIR="$tree/lib/cmake/ruvobase" >"$work/cmake.log" 2>&1 &&
   cmake --build "$work/cmake" >>"$work/cmake.log" 2>&1; then
  pass "find_package(ruvobase) and ruvo::base link"
  run_under_wine "the CMake consumer" "$work/cmake/consumer.exe" 0 "consumer: all calls answered"
else
  fail "the CMake consumer does not build"; tail -n 20 "$work/cmake.log"
fi

# --- pkg-config
mkdir -p "$work/pc"
if flags=$(PKG_CONFIG_LIBDIR=$tree/lib/pkgconfig PKG_CONFIG_PATH= pkg-config --cflags --libs ruvobase) &&
   [ "$(PKG_CONFIG_LIBDIR=$tree/lib/pkgconfig pkg-config --modversion ruvobase)" = "$version" ] &&
   # shellcheck disable=SC2086
   x86_64-w64-mingw32-gcc-posix -DRUVO_EXPECTED_VERSION="\"$version\"" "$consumer/main.c" "$consumer/calls.c" \
     $flags -lversion -o "$work/pc/consumer.exe"; then
  pass "pkg-config gives the flags ($flags)"
  run_under_wine "the pkg-config consumer" "$work/pc/consumer.exe" 0 "consumer: all calls answered"
else
  fail "the pkg-config consumer does not build"
fi

# --- the MSVC import libraries, with no C runtime
need=()
command -v clang >/dev/null || need+=(clang)
command -v lld-link >/dev/null || need+=(lld)
dlltool=$(command -v llvm-dlltool || command -v x86_64-w64-mingw32-dlltool || true)
[ -n "$dlltool" ] || need+=(llvm-dlltool)
if [ ${#need[@]} -gt 0 ]; then
  echo "SKIP: the MSVC-target link needs ${need[*]}, which are not installed"
else
  mkdir -p "$work/msvc"
  printf 'LIBRARY kernel32.dll\nEXPORTS\nExitProcess\n' >"$work/msvc/kernel32.def"
  # There is no Windows SDK here; of its C headers the library's need only
  # wchar.h, for wchar_t, which the compiler's stddef.h gives.
  mkdir -p "$work/msvc/sdk"
  printf '#include <stddef.h>\n' >"$work/msvc/sdk/wchar.h"
  machine=()
  [[ $dlltool == *llvm-dlltool* ]] && machine=(-m i386:x86-64)
  if "$dlltool" "${machine[@]}" -d "$work/msvc/kernel32.def" -l "$work/msvc/kernel32.lib" &&
     clang --target=x86_64-pc-windows-msvc -fuse-ld=lld -ffreestanding -nostdlib -O1 \
       -I"$tree/include" -isystem "$work/msvc/sdk" "$consumer/start.c" "$consumer/calls.c" \
       "$tree/lib/libruvobase.lib" "$tree/lib/libruvoalgo.lib" "$work/msvc/kernel32.lib" \
       -Wl,/entry:start -Wl,/subsystem:console -o "$work/msvc/consumer.exe"; then
    pass "the .lib files link an MSVC-target program"
    run_under_wine "the MSVC-target consumer" "$work/msvc/consumer.exe" 77
  else
    fail "the MSVC-target link failed"
  fi
fi

echo "check-release: $failures failed"
[ "$failures" -eq 0 ]
