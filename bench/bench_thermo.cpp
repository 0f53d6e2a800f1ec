// The standard states of one temperature and pressure: Gibbs at 1200 °C and 1 kbar, and the
// fluid equation of state alone (the volume search is most of Gibbs's cost).
#include <benchmark/benchmark.h>

#include "base/diagnostics.h"
#include "base/scalar_minimizer.h"
#include "thermo/gibbs.h"

namespace {

void BM_Gibbs(benchmark::State& state) {
  const cx::ThermoTables tables = cx::loadThermoTables();
  cx::StandardState ss(cx::MachEps());
  cx::RecordingDiagnostics diag;
  for (auto _ : state) {
    const bool ok = cx::Gibbs(tables, ss, diag, 1473.15, 1000.0, 1000.0);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(ss.G0End(1));
  }
}
BENCHMARK(BM_Gibbs);

void BM_DuanSpeciesWater(benchmark::State& state) {
  const cx::ThermoTables tables = cx::loadThermoTables();
  cx::DuanState st(cx::MachEps());
  double V, H, S, Cp, G;
  for (auto _ : state) {
    cx::DuanSpecies(tables, st, 1473.15, 1000.0, "H2O", V, H, S, Cp, G, false);
    benchmark::DoNotOptimize(G);
  }
}
BENCHMARK(BM_DuanSpeciesWater);

}  // namespace
