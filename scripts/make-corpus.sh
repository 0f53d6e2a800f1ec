#!/usr/bin/env bash
# make-corpus.sh [BUILD] [ITERATIONS]: the regression corpus of node states.  Runs the default
# column and the example setups for ITERATIONS iterations each (default 500: about 19 000 node
# states) with BUILD's cumulex_solve_corpus (default build/release), writes the states to
# BUILD/corpus/node-states.txt, then solves each cold and warm and prints the summary (failures
# by message and by liquid left, time per solve).  The file is generated, never committed; a
# sample of it is tests/data/node-states-sample.txt.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-build/release}
iterations=${2:-500}
tool="$root/$build/bench/cumulex_solve_corpus"
[ -x "$tool" ] || { echo "build cumulex_solve_corpus first: cmake --build $build --target cumulex_solve_corpus" >&2; exit 1; }
mkdir -p "$root/$build/corpus"
corpus="$root/$build/corpus/node-states.txt"
"$tool" --make "$corpus" --iterations "$iterations"
"$tool" "$corpus" --csv "$root/$build/corpus/solves.csv"
