// Trace elements: one node's distribution over liquid, solids and gas, and the cost of trace
// elements in an iteration of the default column.
#include <benchmark/benchmark.h>

#include <filesystem>

#include "base/port.h"
#include "persist/default_setup.h"
#include "persist/setup_file.h"
#include "run/run_driver.h"
#include "trace/partition_preset.h"
#include "trace/update_trace.h"
#include "transport/update_bulk.h"

namespace {

// A node of 60 g liquid, four crystal phases and a little gas.
void BM_UpdateTraceNode(benchmark::State& state) {
  cx::Column c;
  c.NumNodes = 1;
  c.DimensionArrays(cx::Settings{});
  c.BigDFlags(0) = true;
  cx::CorlettCoefsModule(c);
  const int phases[] = {1, 2, 5, 7};
  double cumulative = 0.0;
  for (int j = 1; j <= 4; ++j) {
    c.PhaseOrder(j) = phases[j - 1];
    cumulative += 10.0 - j;
    c.PhaseMass(1, j) = cumulative;
  }
  for (int j = 5; j <= cx::kPhaseOrderSize; ++j) c.PhaseMass(1, j) = cumulative;
  c.MassSolid(1) = cumulative;
  c.MassWater(1) = 0.2;
  c.MassLiq(1) = 100.0 - cumulative - 0.2;
  c.RhoLiq(1) = 27.0;
  c.RhoSolid(1) = 31.0;
  c.RhoWater(1) = 4.0;
  c.Press(1) = 1000.0;
  c.FLiq(1) = c.MassLiq(1) / 100.0;
  for (int k = 1; k <= cx::kTraces; ++k) c.TraceBulk(1, k) = 1.0 + k;
  cx::Array1<double> liquidOx(1, cx::kOxides);
  cx::RecordingDiagnostics diag;
  cx::NullPort port;
  for (auto _ : state) {
    cx::UpdateTrace(c, 1, liquidOx, diag, port);
    benchmark::ClobberMemory();
  }
  if (diag.ErrorFlag) state.SkipWithError("UpdateTrace failed");
}
BENCHMARK(BM_UpdateTraceNode)->Unit(benchmark::kNanosecond);

// The trace work of one iteration of the default column after its initial state: the
// bookkeeping of every node and the distribution of its trace elements, in the walk and after
// it.  Against BM_ColumnIterations (one equilibrating iteration) this is the cost of turning
// trace elements on; the runs themselves cannot be compared, since the bookkeeping that comes
// with trace elements moves each node's state and so the solver's path.
void BM_TraceStepsOfAnIteration(benchmark::State& state) {
  const auto dir = std::filesystem::temp_directory_path() / "cumulex-bench-traces";
  std::filesystem::create_directories(dir);
  cx::Column column;
  cx::Settings settings;
  cx::parseSetup(std::string(cx::defaultSetupText()), "default", column, settings);
  cx::NullPort port;
  cx::EventLog log(port);
  column.FindInitialOnly = true;
  cx::RunContext ctx{column, settings, log, port, dir};
  cx::CmdStart(ctx);
  const cx::ThermoTables tables = cx::loadThermoTables();
  const cx::Column start = column;
  for (auto _ : state) {
    state.PauseTiming();
    column = start;
    state.ResumeTiming();
    cx::UpdateTraceAllNodes(column, log, port);  // in the walk, node by node
    int first = 1, last = column.NumNodes;
    cx::UpdateBulk(column, first, last, tables, log);
    cx::UpdateTraceAllNodes(column, log, port);
    benchmark::ClobberMemory();
  }
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_TraceStepsOfAnIteration)->Unit(benchmark::kMicrosecond);

}  // namespace
