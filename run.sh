#!/usr/bin/env bash
# Installs what is missing, builds a release build and runs the default basaltic column.
# Any arguments are passed to `cumulex run` (for example --iterations 50 or a setup file).
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" build/release -DCMAKE_BUILD_TYPE=Release
dir="$root/cumulex-run"
"$root/build/release/cumulex" run --dir "$dir" "$@"
echo
echo "Results are in $dir: CXsetup.cxd (the setup), CXoutput.txt (saved iterations), CXlog.txt (events)."
echo "Look at the last saved iteration with: build/release/cumulex show $dir"
