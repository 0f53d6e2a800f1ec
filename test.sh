#!/usr/bin/env bash
# Installs what is missing, builds and runs the whole test suite.
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" build/release -DCMAKE_BUILD_TYPE=Release
cd "$root/build/release"
ctest --output-on-failure -j "$(nproc)"
