#!/usr/bin/env bash
# Checks a built libruvobase.dll: every export is a listed name, and the DLL
# imports nothing but Windows' own DLLs (no MinGW runtime DLL).
set -euo pipefail
dll=$1
top=$(cd "$(dirname "$0")/.." && pwd)
list=$top/../shared/exports.txt
dump=$(x86_64-w64-mingw32-objdump -p "$dll")
imports=$(grep 'DLL Name:' <<<"$dump" | awk '{print $3}')
echo "imports: $(tr '\n' ' ' <<<"$imports")"
if grep -i -E 'libstdc|libgcc|libwinpthread' <<<"$imports"; then
  echo "the DLL imports a MinGW runtime DLL" >&2
  exit 1
fi
if [ -x "$top/../shared/tools/exports-report" ]; then
  report=$("$top/../shared/tools/exports-report" "$dll")
  head -n 1 <<<"$report"
  if grep '^extra' <<<"$report"; then
    echo "exports that are not on the list" >&2
    exit 1
  fi
elif [ -f "$list" ]; then
  echo "exports-report not found; skipping the name check"
fi
