#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan) and runs each from its
# checked-in seed corpus for a bounded time:
#   scripts/fuzz.sh [seconds per target] [target ...]   (default: 30 s, every target)
# A finding (crash, sanitizer report, failed check, or one input running longer
# than 10 s) makes the exit status non-zero; its reproducer (crash-*, timeout-*)
# is left in build/fuzz/findings/ to be added to fuzz/corpus/<target>/ with the
# fix. Replay one with: build/fuzz/fuzz/<target> <reproducer>.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
shift || true
need=()
command -v clang++ >/dev/null || need+=(clang)
ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a >/dev/null 2>&1 || need+=(libclang-rt-14-dev)
if ((${#need[@]})); then
  SUDO=""; [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${need[@]}" >/dev/null
fi
cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
      -DCMAKE_CXX_COMPILER=clang++ -DTOVA_FUZZ=ON -DBUILD_TESTING=OFF -DTOVA_BUILD_TOOLS=OFF \
      -DTOVA_BUILD_BENCHMARKS=OFF -DTOVA_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build/fuzz -j 2
mkdir -p build/fuzz/findings
summary=build/fuzz/findings/summary.txt
: >"$summary"
status=0
targets=("$@")
((${#targets[@]})) || targets=($(sed -n 's/^tova_add_fuzzer(\(.*\))$/\1/p' fuzz/CMakeLists.txt))
for target in "${targets[@]}"; do
  work="build/fuzz/corpus/$target"
  mkdir -p "$work"
  echo "=== $target (${seconds}s) ==="
  if ! ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
      nice -n 10 "build/fuzz/fuzz/$target" -max_total_time="$seconds" -max_len=8192 -timeout=10 \
      -rss_limit_mb=4096 -print_final_stats=1 \
      -artifact_prefix="build/fuzz/findings/$target-" "$work" "fuzz/corpus/$target" 2>"build/fuzz/$target.log"; then
    tail -40 "build/fuzz/$target.log"
    echo "FINDING in $target (see build/fuzz/findings/)"
    # The first report lines and the input itself, for a CI log that keeps
    # only its tail.
    { echo "$target:"; grep -m 8 -E "ERROR|runtime error|(config|kinematics|ikine|math|fuzz)/[a-z_0-9]+\.(cpp|hpp)|Test unit written" \
        "build/fuzz/$target.log" || true
      grep -m 1 "^Base64:" "build/fuzz/$target.log" || true; } | sed 's/^/  /' >>"$summary"
    status=1
  fi
  grep -E "stat::number_of_executed_units|stat::average_exec_per_sec" "build/fuzz/$target.log" || true
done
exit $status
