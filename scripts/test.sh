#!/usr/bin/env bash
# Builds and runs every test in the Release and in the AddressSanitizer +
# UndefinedBehaviorSanitizer configuration, from clean build directories.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
status=0
for preset in release asan; do
  echo "=== $preset ==="
  rm -rf "build/$preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j 2
  ctest --preset "$preset" || status=1
done
exit $status
