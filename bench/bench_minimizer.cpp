// The stable-assemblage minimizer on a tholeiitic basalt at 1150 °C and 1 bar: a cold solve at
// fixed temperature, a warm one from its own result, a warm one 10 K cooler, and a solve at
// fixed entropy from 15 K above the temperature that the entropy belongs to.
#include <benchmark/benchmark.h>

#include "base/port.h"
#include "solver/stable_phases.h"

namespace {

constexpr double kBasalt[16] = {0,    50.47, 1.68, 14.70, 1.16, 0.04, 9.39, 0.18,
                                7.58, 11.39, 2.79, 0.16,  0.18, 0.20, 0.0,  0.0};
constexpr double kT = 1150.0 + 273.15;

struct Setup {
  Setup()
      : tables(cx::loadThermoTables()),
        liquid(cx::loadLiquidTables()),
        model(tables, liquid, options(), diag, port),
        ctx(model, port) {
    cx::Array1<double> wt(1, 15);
    for (int j = 1; j <= 15; ++j) wt(j) = kBasalt[j];
    model.setConditions(kT, 1.0);
    model.setLiquidOxides(wt);
  }
  static cx::ModelOptions options() {
    cx::ModelOptions o;
    o.PhaseExcluded(38) = true;
    return o;
  }
  cx::MinimizerState fresh() const {
    cx::MinimizerState st;
    for (int i = 1; i <= 15; ++i) st.BulkMoles(i) = model.BulkMoles(i);
    return st;
  }
  cx::ThermoTables tables;
  cx::LiquidTables liquid;
  cx::RecordingDiagnostics diag;
  cx::NullPort port;
  cx::EquilibriumModel model;
  cx::MinimizerContext ctx;
};

void BM_CalcStablePhasesCold(benchmark::State& state) {
  Setup s;
  for (auto _ : state) {
    cx::MinimizerState st = s.fresh();
    double T = kT, P = 1.0;
    int err = 0;
    cx::CalcStablePhases(s.ctx, st, T, P, err);
    benchmark::DoNotOptimize(st.Xstable(1));
  }
  state.counters["inner"] = s.ctx.counters.innerSteps;
}
BENCHMARK(BM_CalcStablePhasesCold)->Unit(benchmark::kMillisecond);

// Warm from the result of 1150 C, at the same temperature (arg 0) or 10 K cooler (arg 10: the
// step a cooling column takes).
void BM_CalcStablePhasesWarm(benchmark::State& state) {
  Setup s;
  cx::MinimizerState solved = s.fresh();
  double T = kT, P = 1.0;
  int err = 0;
  cx::CalcStablePhases(s.ctx, solved, T, P, err);
  for (auto _ : state) {
    cx::MinimizerState st = solved;
    T = kT - static_cast<double>(state.range(0));
    P = 1.0;
    cx::CalcStablePhases(s.ctx, st, T, P, err);
    benchmark::DoNotOptimize(st.Xstable(1));
  }
  state.counters["inner"] = s.ctx.counters.innerSteps;
}
BENCHMARK(BM_CalcStablePhasesWarm)->Arg(0)->Arg(10)->Unit(benchmark::kMillisecond);

void BM_CalcStablePhasesFixedS(benchmark::State& state) {
  Setup s;
  cx::MinimizerState ref = s.fresh();
  double T = kT, P = 1.0;
  int err = 0;
  cx::CalcStablePhases(s.ctx, ref, T, P, err);
  for (auto _ : state) {
    cx::MinimizerState st = s.fresh();
    st.ConstantT = false;
    st.ConstantS = true;
    st.Ssystem = ref.Ssystem;
    T = kT + 15.0;
    P = 1.0;
    cx::CalcStablePhases(s.ctx, st, T, P, err);
    benchmark::DoNotOptimize(st.Xstable(1));
  }
  state.counters["inner"] = s.ctx.counters.innerSteps;
  state.counters["outer"] = s.ctx.counters.outerPasses;
}
BENCHMARK(BM_CalcStablePhasesFixedS)->Unit(benchmark::kMillisecond);

}  // namespace
