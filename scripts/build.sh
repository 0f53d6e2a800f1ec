#!/usr/bin/env bash
# build.sh DIR [cmake options...]: configures (once) and builds into DIR with Ninja.
set -euo pipefail
dir=$1; shift
root=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$root/$dir"
cmake -S "$root" -B "$root/$dir" -G Ninja "$@" > "$root/$dir/configure.log" 2>&1 \
  || { cat "$root/$dir/configure.log"; exit 1; }
cmake --build "$root/$dir" -j "$(nproc)"
