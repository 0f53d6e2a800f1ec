#!/usr/bin/env bash
# gui-screenshot.sh [OUT.png] [ITERATIONS] [FORM]: runs cumulex-gui on the default column under a
# virtual X display (Xvfb), starts a run of a few iterations and saves a picture of the screen once
# the run has ended.  With FORM (MiscForm, CompactForm, BulkForm, InfiltrantForm, InflationForm,
# SetupDiffusionForm, PartitionCoefsForm, ViewNodeForm, PausedRun, LiquidusSearch) the picture shows
# that form open instead.
# Needs the release build (./test.sh or scripts/build.sh build/release).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=$(realpath -m "${1:-cumulex-gui.png}")
iterations=${2:-5}
form=${3:-}
gui="$root/build/release/cumulex-gui"
[ -x "$gui" ] || gui="$root/build/rel/cumulex-gui"
[ -x "$gui" ] || { echo "cumulex-gui is not built; run ./test.sh first" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# A settings file of its own, so that the picture does not depend on the user's last session.
export XDG_CONFIG_HOME="$work/config"
xvfb-run --auto-servernum --server-args="-screen 0 1400x900x24" \
  "$gui" --dir "$work/run" --iterations "$iterations" --screenshot "$out" \
  ${form:+--dialog "$form"}
echo "Screenshot: $out"
