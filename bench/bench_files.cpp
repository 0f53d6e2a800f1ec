// The cost of the files' guarantees: the checks of a setup as it is read, the index of an output
// file's blocks, and the full-precision checkpoint written with every block and read on restart.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "persist/checkpoint.h"
#include "persist/default_setup.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"

namespace {

struct DefaultColumn {
  std::unique_ptr<cx::Column> column = std::make_unique<cx::Column>();
  cx::Settings settings;
  DefaultColumn() {
    cx::parseSetup(std::string(cx::defaultSetupText()), "default", *column, settings);
  }
};

void BM_ReadAndCheckTheDefaultSetup(benchmark::State& state) {
  const std::string text(cx::defaultSetupText());
  for (auto _ : state) {
    auto column = std::make_unique<cx::Column>();
    cx::Settings settings;
    benchmark::DoNotOptimize(cx::parseSetup(text, "default", *column, settings).ok);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ReadAndCheckTheDefaultSetup)->Unit(benchmark::kMicrosecond);

// An output file of `range(0)` blocks of the default column.
void BM_IndexOutputFile(benchmark::State& state) {
  DefaultColumn d;
  std::string text;
  for (int k = 0; k < state.range(0); ++k) {
    d.column->Iteration = k;
    text += cx::iterationBlock(*d.column);
  }
  for (auto _ : state)
    benchmark::DoNotOptimize(cx::indexOutput(text, "CXoutput.txt").blocks.size());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_IndexOutputFile)->Arg(100)->Unit(benchmark::kMillisecond);

void BM_CheckpointWriteAndRestore(benchmark::State& state) {
  DefaultColumn d;
  const std::string block = cx::iterationBlock(*d.column);
  const std::string output = block;
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::string text = cx::checkpointText(*d.column, block);
    bytes = text.size();
    cx::Column c = *d.column;
    benchmark::DoNotOptimize(cx::restoreCheckpointText(text, output, 0, c).used);
  }
  state.counters["checkpoint_kB"] = static_cast<double>(bytes) / 1024.0;
}
BENCHMARK(BM_CheckpointWriteAndRestore)->Unit(benchmark::kMillisecond);

}  // namespace
