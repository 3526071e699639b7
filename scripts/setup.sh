#!/usr/bin/env bash
# Installs what building and testing need, from Debian's packages; does nothing
# when everything is already there. The library itself needs only a C++17
# compiler; Eigen is the tests' independent oracle, valgrind the leak check,
# Orocos KDL the benchmarks' peer.
set -euo pipefail
packages=(cmake ninja-build g++ clang python3 libgtest-dev libgmock-dev libbenchmark-dev
          libeigen3-dev valgrind liborocos-kdl-dev pkgconf)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}" >/dev/null
fi
