#!/usr/bin/env bash
# Usage: check_exports.sh LIBRARY HEADER NAME,NAME,... OBJDUMP
# The library's exports must be exactly the given names, each declared in the public
# header. A Linux library carries its SONAME; a Windows DLL exports the names undecorated,
# imports from nothing but KERNEL32 and the C runtime, and carries version information.
set -euo pipefail
library=$1 header=$2 objdump=$4
expected=$(tr ',' '\n' <<<"$3" | sort -u)

status=0
fail() { echo "$library: $*"; status=1; }

case "$library" in
  *.dll)
    details=$("$objdump" -p "$library")
    actual=$(sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' <<<"$details" |
               sed -n 's/^\s*\[ *[0-9]*\] //p' | sort -u)
    imports=$(sed -n 's/^\s*DLL Name: //p' <<<"$details" | sort -u | tr '\n' ' ')
    for dll in $imports; do
      case "${dll,,}" in
        kernel32.dll | msvcrt.dll) ;;
        *) fail "imports from $dll" ;;
      esac
    done
    LC_ALL=C strings -el "$library" | grep -qx '2\.17' || fail "no version information 2.17"
    identity="imports $imports"
    ;;
  *)
    actual=$(nm -D --defined-only "$library" | awk '{print $3}' | sed 's/@.*//' | sort -u)
    soname=$(readelf -d "$library" | grep -oE 'SONAME.*\[[^]]*\]' | grep -oE '\[.*\]')
    stem=$(basename "$library" | sed -E 's/\.so(\..*)?$//')
    case "$soname" in
      "[$stem.so.2.17]" | "[libkxcalc.so.2]") ;;
      *) fail "unexpected SONAME $soname" ;;
    esac
    identity="SONAME $soname"
    ;;
esac

if [ "$expected" != "$actual" ]; then
  fail "exports differ from the exports files (< expected, > actual):"
  diff <(echo "$expected") <(echo "$actual") || true
fi
for name in $expected; do
  grep -qE "\\b$name\\(" "$header" || fail "$name is exported but not declared in $header"
done
[ $status -eq 0 ] && echo "$(echo "$expected" | wc -l) exports, $identity: ok"
exit $status
