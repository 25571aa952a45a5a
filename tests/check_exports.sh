#!/usr/bin/env bash
# Usage: check_exports.sh LIBRARY SOURCE_DIR
# The library's dynamic symbols must be exactly the C functions that the exports files
# define, each declared in the public header.
set -euo pipefail
library=$1
source_dir=$2

expected=$(grep -hoE '^[A-Za-z_][A-Za-z0-9_ ]*[ *](kx[cC]alc[A-Za-z0-9_]+)\(' \
             "$source_dir"/src/*/*_exports.cpp | grep -oE 'kx[cC]alc[A-Za-z0-9_]+' | sort -u)
actual=$(nm -D --defined-only "$library" | awk '{print $3}' | sed 's/@.*//' | sort -u)

status=0
if [ "$expected" != "$actual" ]; then
  echo "exports of $library differ from the exports files (< expected, > actual):"
  diff <(echo "$expected") <(echo "$actual") || true
  status=1
fi
for name in $expected; do
  grep -qE "\\b$name\\(" "$source_dir/include/kxcalc.h" ||
    { echo "$name is exported but not declared in include/kxcalc.h"; status=1; }
done
soname=$(readelf -d "$library" | grep -oE 'SONAME.*\[[^]]*\]' | grep -oE '\[.*\]')
case "$soname" in
  *.so.2.17\]) ;;
  *) echo "unexpected SONAME $soname"; status=1 ;;
esac
[ $status -eq 0 ] && echo "$(echo "$expected" | wc -l) exports, SONAME $soname: ok"
exit $status
