// The saturation state of all 38 phases against a basaltic liquid at 1200 °C.
#include <benchmark/benchmark.h>

#include "base/port.h"
#include "solver/equilibrium_model.h"

namespace {

void BM_PhaseCompositionsAllPhases(benchmark::State& state) {
  const cx::ThermoTables tables = cx::loadThermoTables();
  const cx::LiquidTables liquid = cx::loadLiquidTables();
  cx::RecordingDiagnostics diag;
  cx::NullPort port;
  cx::EquilibriumModel model(tables, liquid, cx::ModelOptions{}, diag, port);
  const double ox[16] = {0,    50.47, 1.68, 14.70, 1.16, 0.04, 9.39, 0.18,
                         7.58, 11.39, 2.79, 0.16,  0.18, 0.20, 0.0,  0.0};
  cx::Array1<double> wt(1, 15);
  for (int j = 1; j <= 15; ++j) wt(j) = ox[j];
  model.setConditions(1473.15, 1.0);
  model.setLiquidOxides(wt);
  for (auto _ : state) {
    int err = 0;
    model.saturation(0, err);
    benchmark::DoNotOptimize(model.sat->Affinity(1));
  }
}
BENCHMARK(BM_PhaseCompositionsAllPhases)->Unit(benchmark::kMicrosecond);

}  // namespace
