#!/usr/bin/env bash
# Usage: check_header_32bit.sh CC CXX HEADER
# Compiles the public header for a 32-bit target as C11 and as C++, which runs its
# static assertions on the record sizes. Exit 77 (skipped) without a 32-bit toolchain.
set -uo pipefail
cc=$1 cxx=$2 header=$3
if ! echo 'int main(void){return 0;}' | "$cc" -m32 -x c - -o /dev/null 2>/dev/null; then
  echo "no 32-bit toolchain (install g++-multilib); skipped"
  exit 77
fi
"$cc" -m32 -std=c11 -Wall -Werror -fsyntax-only -x c "$header" &&
  "$cxx" -m32 -std=c++20 -Wall -Werror -fsyntax-only -x c++ "$header" &&
  echo "32-bit record sizes: ok"
