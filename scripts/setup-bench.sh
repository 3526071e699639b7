#!/usr/bin/env bash
# Installs what the benchmarks need (Google Benchmark, and Orocos KDL as the
# peer that bench_kinematics compares against), builds them in Release and runs
# bench_kinematics: scripts/setup-bench.sh [benchmark options...]
# The library never depends on KDL; without it the peer rows are left out.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh   # Google Benchmark and Orocos KDL are among its packages
cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DTOVA_BUILD_BENCHMARKS=ON \
      -DBUILD_TESTING=OFF -DTOVA_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build/bench -j 2 --target bench_kinematics
build/bench/bench/bench_kinematics "$@"
