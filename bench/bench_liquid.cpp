// The silicate liquid's chemical potentials, which the minimizer evaluates in its inner loop:
// u_Liquid for all 15 components and for one, and the mole fractions before it, for a wet basalt
// with CO2 and sulfur at 1200 °C and 1 kbar.
#include <benchmark/benchmark.h>

#include <memory>

#include "base/diagnostics.h"
#include "base/scalar_minimizer.h"
#include "thermo/gibbs.h"
#include "thermo/silicate_liquid.h"

namespace {

struct LiquidBench {
  cx::ThermoTables tables = cx::loadThermoTables();
  cx::LiquidTables liquid = cx::loadLiquidTables();
  std::unique_ptr<cx::StandardState> ss = std::make_unique<cx::StandardState>(cx::MachEps());
  cx::LiquidContext ctx;
  cx::RecordingDiagnostics diag;
  cx::Array1<double> moles{1, 15}, x{1, 15}, mu{1, 15}, S{1, 15}, H{1, 15};
  static constexpr double T = 1473.15, P = 1000.0;

  LiquidBench() {
    cx::Gibbs(tables, *ss, diag, T, P, P);
    const double wt[15] = {49.0, 1.8, 14.5, 2.0, 0.05, 8.5, 0.18, 7.5,
                           10.8, 2.8, 0.4,  0.2, 2.5,  0.4, 0.15};
    cx::Array1<double> w(1, 15), m(1, 15);
    for (int i = 1; i <= 15; ++i) w(i) = wt[i - 1];
    cx::NormalizeOxides(w);
    cx::OxidesToMoles(tables, w, m);
    cx::MolesComponents(tables, diag, m, moles);
    cx::MoleFractions(ctx, diag, moles, x, 15);
  }
};

void BM_uLiquidAll(benchmark::State& state) {
  LiquidBench b;
  for (auto _ : state) {
    const bool ok = cx::u_Liquid(b.liquid, *b.ss, b.ctx, b.diag, 0, b.x, b.mu, b.S, b.H, b.T, b.P);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(b.mu.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_uLiquidAll);

void BM_uLiquidOne(benchmark::State& state) {
  LiquidBench b;
  for (auto _ : state) {
    const bool ok = cx::u_Liquid(b.liquid, *b.ss, b.ctx, b.diag, 6, b.x, b.mu, b.S, b.H, b.T, b.P);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(b.mu.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_uLiquidOne);

void BM_MoleFractionsAndULiquid(benchmark::State& state) {
  LiquidBench b;
  for (auto _ : state) {
    cx::MoleFractions(b.ctx, b.diag, b.moles, b.x, 15);
    const bool ok = cx::u_Liquid(b.liquid, *b.ss, b.ctx, b.diag, 0, b.x, b.mu, b.S, b.H, b.T, b.P);
    benchmark::DoNotOptimize(ok);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_MoleFractionsAndULiquid);

}  // namespace
