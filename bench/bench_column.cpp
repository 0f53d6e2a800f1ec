// One iteration of the default column (with the processes this build has), and the files.
#include <benchmark/benchmark.h>

#include <filesystem>

#include "base/port.h"
#include "persist/default_setup.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "run/run_driver.h"

namespace {

// Arg 0: iterations per call; arg 1: 1 = with equilibration (the default column), 0 = thermal only.
void BM_ColumnIterations(benchmark::State& state) {
  const auto dir = std::filesystem::temp_directory_path() / "cumulex-bench-column";
  std::filesystem::create_directories(dir);
  cx::Column column;
  cx::Settings settings;
  cx::parseSetup(std::string(cx::defaultSetupText()), "default", column, settings);
  settings.setMiscText(cx::misc::kSaveInterval, "100");  // saves are measured on their own
  const bool equilibrate = state.range(1) == 1;
  if (!equilibrate) settings.run.chkSkipEquilibration = 1;
  cx::NullPort port;
  cx::EventLog log(port);
  cx::RunContext ctx{column, settings, log, port, dir};
  ctx.iterationLimit = equilibrate ? 1 : 10;
  cx::CmdStart(ctx);  // iteration 0 and the first saves
  ctx.iterationLimit = static_cast<int>(state.range(0));
  for (auto _ : state) {
    if (column.Iteration > 90000) state.SkipWithError("iteration limit");
    cx::CmdStart(ctx);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  // Node equilibrations per second, for the equilibrating column.
  if (equilibrate)
    state.counters["nodes/s"] = benchmark::Counter(
        static_cast<double>(state.iterations() * state.range(0) * column.NumNodes),
        benchmark::Counter::kIsRate);
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_ColumnIterations)->Args({50, 0})->Args({1, 1})->Unit(benchmark::kMillisecond);

void BM_WriteAndReadIterationBlock(benchmark::State& state) {
  cx::Column column;
  cx::Settings settings;
  cx::parseSetup(std::string(cx::defaultSetupText()), "default", column, settings);
  for (auto _ : state) {
    const std::string block = cx::iterationBlock(column);
    cx::Column copy = column;
    benchmark::DoNotOptimize(cx::parseIteration(block, "CXoutput.txt", 0, copy).ok);
  }
}
BENCHMARK(BM_WriteAndReadIterationBlock)->Unit(benchmark::kMicrosecond);

}  // namespace
