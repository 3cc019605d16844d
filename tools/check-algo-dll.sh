#!/usr/bin/env bash
# Checks a built libruvoalgo.dll: it imports only KERNEL32 and msvcrt, and it
# exports exactly the functions that include/ruvo/algo/algo.h declares.
set -euo pipefail
dll=$1
top=$(cd "$(dirname "$0")/.." && pwd)
dump=$(x86_64-w64-mingw32-objdump -p "$dll")
imports=$(grep 'DLL Name:' <<<"$dump" | awk '{print $3}' | sort)
echo "imports: $(tr '\n' ' ' <<<"$imports")"
if grep -v -i -x -E 'kernel32\.dll|msvcrt\.dll' <<<"$imports"; then
  echo "libruvoalgo.dll imports more than KERNEL32 and msvcrt" >&2
  exit 1
fi
exports=$(sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' <<<"$dump" | awk '/^\t\[ *[0-9]+\]/ {print $NF}' | sort)
declared=$(grep -o -E '\bruvo_[a-z0-9_]+\(' "$top/include/ruvo/algo/algo.h" | tr -d '(' | sort -u)
if [ "$exports" != "$declared" ]; then
  echo "exports differ from the header:" >&2
  diff <(echo "$declared") <(echo "$exports") >&2 || true
  exit 1
fi
echo "exports: $(wc -l <<<"$exports") names, as declared"
