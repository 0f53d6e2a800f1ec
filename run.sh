#!/usr/bin/env bash
# Installs what is missing, builds a release build and runs the default basaltic column.
# Any arguments are passed to `cumulex run` (for example --iterations 50 or a setup file); with
# none, the default column runs for 500 iterations (about eight years of model time).
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" build/release -DCMAKE_BUILD_TYPE=Release
dir="$root/cumulex-run"
if [ $# -eq 0 ]; then set -- --iterations 500; fi
"$root/build/release/cumulex" run --dir "$dir" "$@"
echo
echo "Results are in $dir: CXsetup.cxd (the setup), CXoutput.txt (saved iterations), CXlog.txt (events)."
echo "Look at the last saved iteration with: build/release/cumulex show $dir"
