#!/usr/bin/env bash
# Usage: check_install.sh BUILD_DIR CC CXX
# Installs the build into a temporary prefix, then builds two outside projects against it,
# one with CMake's find_package (C++) and one with pkg-config (C), and a third that builds
# kxcalc from source with FetchContent, and runs them. On a processor with AVX2 and FMA the
# dispatching library must have chosen avx2fma3.
set -euo pipefail
build=$1 cc=$2 cxx=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >"$work/install.log"
for file in include/kxcalc.h lib/cmake/kxcalc/kxcalcConfig.cmake lib/pkgconfig/kxcalc.pc \
            lib/libkxcalc.so lib/libkxcalc.so.2 lib/libkxcalc.so.2.17 \
            lib/libkxcalc-avx2fma3.so lib/libkxcalc-generic.so; do
  [ -e "$prefix/$file" ] || { echo "not installed: $file"; exit 1; }
done

if grep -qw avx2 /proc/cpuinfo && grep -qw fma /proc/cpuinfo; then expected=avx2fma3
else expected=generic; fi

cmake -S "$here/find_package" -B "$work/cmake-consumer" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
      -DCMAKE_PREFIX_PATH="$prefix" >"$work/configure.log" ||
  { cat "$work/configure.log"; exit 1; }
cmake --build "$work/cmake-consumer" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
# The installed libraries carry no RUNPATH into the build tree: the loader must find them.
export LD_LIBRARY_PATH=$prefix/lib
cmake_variant=$("$work/cmake-consumer/consumer")
"$work/cmake-consumer/consumer_generic" >/dev/null

export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
# shellcheck disable=SC2046
"$cc" -std=c11 -O2 "$here/../../examples/minimal.c" $(pkg-config --cflags --libs kxcalc) -lm \
      -o "$work/pkgconfig-consumer"
pkgconfig_variant=$("$work/pkgconfig-consumer" | head -n 1)

# GoogleTest, Google Benchmark and libsndfile must not be needed: hide them.
cmake -S "$here/fetch_content" -B "$work/source-consumer" -G Ninja \
      -DCMAKE_CXX_COMPILER="$cxx" -DKXCALC_SOURCE_DIR="$here/../.." \
      -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON \
      -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON >"$work/configure.log" ||
  { cat "$work/configure.log"; exit 1; }
cmake --build "$work/source-consumer" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
source_variant=$(LD_LIBRARY_PATH= "$work/source-consumer/consumer")

echo "find_package: $cmake_variant; pkg-config: $pkgconfig_variant;" \
     "FetchContent: $source_variant; expected $expected"
for variant in "$cmake_variant" "$pkgconfig_variant" "$source_variant"; do
  [ "$variant" = "kernels: $expected" ] || exit 1
done
