#!/usr/bin/env bash
# Installs the build into a temporary prefix and builds a tiny client against
# it twice: through the CMake package and through pkg-config.
set -euo pipefail
build=$1; src=$2; cc=${3:-cc}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cmake --install "$build" --prefix "$tmp/prefix" >/dev/null
libdir=$(dirname "$(find "$tmp/prefix" -name 'libtova_algorithm.so' | head -1)")
# the versioned SONAME and its links
ls "$libdir"/libtova_algorithm.so.1 "$libdir"/libtova_algorithm.so.*.*.* >/dev/null

cmake -S "$src/tests/install/consumer" -B "$tmp/cmake-build" -DCMAKE_PREFIX_PATH="$tmp/prefix" \
      -DCMAKE_C_COMPILER="$cc" >/dev/null
cmake --build "$tmp/cmake-build" >/dev/null
LD_LIBRARY_PATH="$libdir" "$tmp/cmake-build/consumer"

export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
"$cc" -std=c11 -Wall -Wextra -Wpedantic -Werror "$src/tests/install/consumer/main.c" \
      $(pkg-config --cflags --libs tova_algorithm) -o "$tmp/pc-consumer"
LD_LIBRARY_PATH="$libdir" "$tmp/pc-consumer"
echo "install test passed"
