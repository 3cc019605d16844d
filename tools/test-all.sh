#!/usr/bin/env bash
# Installs what is missing and runs every test of both builds: the native
# sanitizer build, the Windows build under Wine, the fuzz targets for a short
# while each, and a build of the benchmarks (not run: they are for people).
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
# Wine keeps its prefix under $HOME; a bare environment may not set it.
export HOME=${HOME:-$(getent passwd "$(id -u)" | cut -d: -f6)}
fuzz_seconds=${RUVO_FUZZ_SECONDS:-20}

tools/install-deps.sh all || exit 1

passed=0
failed=0
status=0
step() {  # step <name> <command...>
  local name=$1
  shift
  echo "=== $name"
  if ! "$@"; then
    echo "=== $name: FAILED"
    status=1
    return 1
  fi
}
# Runs ctest and adds its counts to the totals.
run_ctest() {
  local log
  log=$(mktemp)
  ctest "$@" 2>&1 | tee "$log"
  local rc=${PIPESTATUS[0]}
  local line
  line=$(grep -E 'tests passed, [0-9]+ tests? failed out of' "$log" | tail -n 1)
  if [ -n "$line" ]; then
    local total bad
    total=$(sed -E 's/.* out of ([0-9]+).*/\1/' <<<"$line")
    bad=$(sed -E 's/.*passed, ([0-9]+) tests? failed.*/\1/' <<<"$line")
    passed=$((passed + total - bad))
    failed=$((failed + bad))
  fi
  rm -f "$log"
  return "$rc"
}

# The algorithm test's table, made again by hashlib and openssl.
algo_vectors=$(mktemp)
step "algo vectors" python3 tests/data/algo_vectors.py "$algo_vectors" &&
  step "algo vectors: unchanged" cmp "$algo_vectors" tests/data/algo_vectors.txt
rm -f "$algo_vectors"

step "native: configure" cmake --preset native >/dev/null &&
  step "native: build" cmake --build --preset native &&
  step "native: test" run_ctest --preset native
# The API reference; fails on an export without a doc comment.
step "docs" cmake --build --preset native --target docs

export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" LC_ALL=C.UTF-8
if step "windows: configure" cmake --preset windows >/dev/null &&
   step "windows: build" cmake --build --preset windows; then
  step "windows: exports" "$top/tools/check-dll.sh" build/windows/bin/libruvobase.dll
  step "windows: algo exports" "$top/tools/check-algo-dll.sh" build/windows/bin/libruvoalgo.dll
  tools/wine-up.sh
  step "windows: test" run_ctest --preset windows
  # The release zip, unpacked and used as a program's team would use it.
  step "release: zip" bash tools/release.sh &&
    step "release: check" tools/check-release.sh build/release/libruvobase-*-win64.zip
  wineserver -k || true
fi

step "fuzz: configure" cmake --preset fuzz >/dev/null &&
  step "fuzz: build" cmake --build --preset fuzz &&
  step "fuzz: run" tools/run-fuzzers.sh build/fuzz "$fuzz_seconds"

step "bench: configure" cmake --preset bench >/dev/null &&
  step "bench: build" cmake --build --preset bench

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] || status=1
exit $status
