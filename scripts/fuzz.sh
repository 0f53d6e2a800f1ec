#!/usr/bin/env bash
# fuzz.sh [--ci | SECONDS] [HARNESS...]: builds the libFuzzer harnesses of the readers (setup file, output-file
# blocks, the --oxides argument) with clang into build/fuzz and runs them.
#   --ci      runs each harness once over its corpus (seconds), so that the harnesses cannot rot;
#   SECONDS   fuzzes each harness for that long (default 600), one after the other;
#   HARNESS   setup, output or oxides (default: all three).
# The seed corpus is made from examples/ and fuzz/seeds/; inputs that once failed are kept in
# fuzz/regressions/<harness>/ and run with the corpus.  New findings are written to
# build/fuzz/findings/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
mode=${1:-600}
shift || true
harnesses=("$@")
[ ${#harnesses[@]} -eq 0 ] && harnesses=(setup output oxides)
build="$root/build/fuzz"
mkdir -p "$build"
CXX=${CXX_FUZZ:-clang++} cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DCUMULEX_FUZZ=ON -DCUMULEX_TESTS=OFF -DCUMULEX_BENCH=OFF \
  > "$build/configure.log" 2>&1 || { cat "$build/configure.log"; exit 1; }
cmake --build "$build" -j "$(nproc)" --target fuzz_setup fuzz_output fuzz_oxides

corpus="$build/corpus"
mkdir -p "$corpus/setup" "$corpus/output" "$corpus/oxides" "$build/findings"
cp "$root"/examples/*.cxd "$corpus/setup/"
cp "$root"/fuzz/seeds/output/* "$corpus/output/"
cp "$root"/fuzz/seeds/oxides/* "$corpus/oxides/"
for h in setup output oxides; do
  [ -d "$root/fuzz/regressions/$h" ] && cp "$root/fuzz/regressions/$h"/* "$corpus/$h/" 2>/dev/null || true
done

export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
for h in "${harnesses[@]}"; do
  if [ "$mode" = "--ci" ]; then
    "$build/fuzz/fuzz_$h" -runs=0 "$corpus/$h" 2>&1 | tail -n 2
  else
    echo "== fuzz_$h for $mode s"
    "$build/fuzz/fuzz_$h" -max_total_time="$mode" -timeout=10 -rss_limit_mb=2048 \
      -max_len=300000 -print_final_stats=1 -artifact_prefix="$build/findings/$h-" \
      "$corpus/$h" 2>&1 | grep -E "^(stat::|Done|==|SUMMARY|INFO: Seed)|ERROR" || true
  fi
done
