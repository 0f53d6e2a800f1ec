#!/usr/bin/env bash
# Installs what is missing, builds a release build and runs the default basaltic column.
# Any arguments are passed to `cumulex run` (for example --iterations 50 or a setup file); with
# none, the default column runs for 500 iterations (about eight years of model time).  It ends by
# drawing the graphs of the last saved iteration into CXplot.png beside the output.
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
# The graphs of the last saved iteration, beside the output (a build with Qt has `cumulex plot`).
if "$root/build/release/cumulex" plot --help > /dev/null 2>&1; then
  "$root/build/release/cumulex" plot "$dir" --out "$dir/CXplot.png" > /dev/null
  echo "The graphs of the last saved iteration: $dir/CXplot.png"
else
  echo "(This build has no Qt, so no picture of the graphs: see scripts/install-deps.sh.)"
fi
