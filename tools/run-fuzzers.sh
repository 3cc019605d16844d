#!/usr/bin/env bash
# Runs every libFuzzer target of a fuzz build for a fixed time each.
# usage: tools/run-fuzzers.sh [build-dir] [seconds-per-target]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build/fuzz}
seconds=${2:-20}
artifacts=$top/fuzz/artifacts
mkdir -p "$artifacts"
status=0
for target in "$build"/bin/*_fuzz; do
  [ -x "$target" ] || continue
  name=$(basename "$target")
  work=$(mktemp -d)
  corpus=()
  [ -d "$top/fuzz/corpus/$name" ] && corpus=("$top/fuzz/corpus/$name")
  echo "== fuzz $name (${seconds}s)"
  if ! "$target" -max_total_time="$seconds" -print_final_stats=0 \
        -artifact_prefix="$artifacts/$name-" "$work" "${corpus[@]}" >"$work.log" 2>&1; then
    tail -n 40 "$work.log"
    echo "fuzz $name: FAILED"
    status=1
  else
    grep -E '^(#[0-9]+ +DONE|Done)' "$work.log" | tail -n 1 || true
  fi
  rm -rf "$work" "$work.log"
done
exit $status
