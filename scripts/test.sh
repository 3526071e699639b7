#!/usr/bin/env bash
# Builds and runs every test in the Release and in the AddressSanitizer +
# UndefinedBehaviorSanitizer configuration, from clean build directories; then
# checks that both builds compute the same bits (the reliability battery's
# digests), runs the Release tests under valgrind memcheck (scripts/valgrind.sh)
# and every fuzz target for a bounded time (scripts/fuzz.sh; TOVA_FUZZ_SECONDS
# per target, default 30). Exits non-zero if any stage fails; the ctest
# summaries are repeated at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
status=0
results=()
mkdir -p build
for preset in release asan; do
  echo "=== $preset ==="
  rm -rf "build/$preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j 2
  if ctest --preset "$preset" 2>&1 | tee "build/ctest-$preset.log"; [ "${PIPESTATUS[0]}" -eq 0 ]; then
    results+=("ok      $preset tests")
  else
    results+=("FAILED  $preset tests")
    status=1
  fi
done

echo "=== determinism: Release and sanitizer builds ==="
battery=tests/reliability/tova_battery
if diff <("build/release/$battery") <("build/asan/$battery"); then
  results+=("ok      same digests in Release and sanitizer builds")
else
  results+=("FAILED  Release and sanitizer builds compute different bits (diff above)")
  status=1
fi

echo "=== valgrind memcheck (Release) ==="
if scripts/valgrind.sh build/release; then
  results+=("ok      valgrind memcheck")
else
  results+=("FAILED  valgrind memcheck (logs in build/release/valgrind/)")
  status=1
fi

echo "=== fuzzing ==="
rm -f build/fuzz/findings/summary.txt
if scripts/fuzz.sh "${TOVA_FUZZ_SECONDS:-30}"; then
  results+=("ok      fuzz targets")
else
  if [ -s build/fuzz/findings/summary.txt ]; then
    results+=("FAILED  fuzz targets (reproducers in build/fuzz/findings/, first lines below)")
  else
    results+=("FAILED  fuzz stage before any finding: set-up or build (see its output above)")
  fi
  status=1
fi

echo
for preset in release asan; do
  echo "--- ctest summary: $preset ---"
  sed -n '/tests passed/,$p' "build/ctest-$preset.log"
done
echo "--- stages ---"
printf '%s\n' "${results[@]}"
[ ! -s build/fuzz/findings/summary.txt ] || { echo "--- fuzz findings ---"; cat build/fuzz/findings/summary.txt; }
exit $status
