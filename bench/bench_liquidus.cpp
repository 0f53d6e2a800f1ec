// One liquidus search of a dry mid-ocean-ridge basalt at 1 bar, from 1200 °C: the saturation
// state of every phase at the start and at each change of leader, and of the leader alone at
// each step of the walk.  The default options (the second liquid and its unmixing search
// included) and, for comparison, without the second liquid.
#include <benchmark/benchmark.h>

#include "base/port.h"
#include "solver/liquidus.h"

namespace {

void liquidusSearch(benchmark::State& state, bool withLiquid2) {
  const cx::ThermoTables tables = cx::loadThermoTables();
  const cx::LiquidTables liquid = cx::loadLiquidTables();
  cx::ModelOptions options;
  options.PhaseExcluded(38) = !withLiquid2;
  const double ox[16] = {0,    50.47, 1.68, 14.70, 1.16, 0.04, 9.39, 0.18,
                         7.58, 11.39, 2.79, 0.16,  0.18, 0.0,  0.0,  0.0};
  cx::Array1<double> wt(1, 15);
  for (int j = 1; j <= 15; ++j) wt(j) = ox[j];
  for (auto _ : state) {
    cx::RecordingDiagnostics diag;
    cx::NullPort port;
    cx::EquilibriumModel model(tables, liquid, options, diag, port);
    double T = 1473.15;
    const cx::LiquidusResult r = cx::Find_Liquidus(model, port, wt, T, 1.0);
    benchmark::DoNotOptimize(r.T);
    state.counters["T_C"] = r.T - 273.15;
    state.counters["evaluations"] = r.evaluations;
  }
}

void BM_LiquidusBasalt1Bar(benchmark::State& state) {
  liquidusSearch(state, true);
}
void BM_LiquidusBasalt1BarNoLiquid2(benchmark::State& state) {
  liquidusSearch(state, false);
}
BENCHMARK(BM_LiquidusBasalt1Bar)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LiquidusBasalt1BarNoLiquid2)->Unit(benchmark::kMillisecond);

}  // namespace
