#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those that are missing.
set -euo pipefail
# clang and its compiler-rt build the libFuzzer harnesses of the readers (scripts/fuzz.sh).
packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev
          libeigen3-dev liblapack-dev clang libclang-rt-14-dev
          qt6-base-dev qt6-svg-dev xvfb xauth)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq "${missing[@]}"
fi
