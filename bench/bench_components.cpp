// The mineral component finder, the costliest step of a saturation test: olivine and ternary
// plagioclase in equilibrium with a liquid at 1200 °C, from the ideal start the saturation state
// hands over; and the activity doorway alone for the same two phases.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

#include "base/diagnostics.h"
#include "base/port.h"
#include "base/scalar_minimizer.h"
#include "solver/component_finder.h"
#include "thermo/gibbs.h"

namespace {

constexpr double kT = 1473.15, kP = 1000.0, kR = 8.3143;

// The default options, with the ternary feldspar model or the simple one.
cx::Array1<bool> feldsparFlags(const cx::ThermoTables& tables, bool ternaryFeldspar) {
  cx::Array1<bool> flags = tables.ActivityFlags;
  flags(2) = flags(3) = !ternaryFeldspar;
  return flags;
}

struct Setup {
  explicit Setup(bool ternaryFeldspar)
      : tables(cx::loadThermoTables()),
        flags(feldsparFlags(tables, ternaryFeldspar)),
        ss(cx::MachEps()),
        rows(cx::UpdatePhaseConstants(tables, flags, 1)),
        phases(tables, rows) {
    cx::Gibbs(tables, ss, diag, kT, kP, kP);
    act = std::make_unique<cx::ActivityContext>(phases, ss, diag, flags, 1, cx::MachEps());
    finder = std::make_unique<cx::ComponentFinderContext>(*act, port);
  }
  // Aend of a liquid in which the composition x(1..count) has the affinity A0, and the ideal
  // start the saturation state would guess from it.
  void equilibrium(int phase, int count, std::initializer_list<double> x, double A0) {
    cx::Array1<double> X(1, 16), a(1, 16);
    int i = 1;
    for (double v : x) X(i++) = v;
    int flag = 0;
    cx::GetActivity(*act, phase, kT, kP, X, count - 1, a, flag);
    double s = 0.0;
    for (int j = 1; j <= count; ++j) {
      Aend(j) = A0 - kR * kT * std::log(a(j));
      start(j) = std::exp(-Aend(j) / (kR * kT));
      s += start(j);
    }
    for (int j = 1; j <= count; ++j) start(j) /= s;
  }
  cx::ThermoTables tables;
  cx::Array1<bool> flags;
  cx::RecordingDiagnostics diag;
  cx::StandardState ss;
  cx::PhaseModelRows rows;
  cx::PhaseTable phases;
  cx::NullPort port{true};
  std::unique_ptr<cx::ActivityContext> act;
  std::unique_ptr<cx::ComponentFinderContext> finder;
  cx::Array1<double> Aend{1, 16}, start{1, 16}, X{1, 16}, result{1, 16};
};

void runFinder(benchmark::State& state, Setup& s, int phase) {
  int nfree = 0, errFlag = 0;
  double affinity = 0.0;
  long evaluations = 0;
  for (auto _ : state) {
    for (int j = 1; j <= 16; ++j) s.X(j) = s.start(j);
    cx::FindComponents(*s.finder, phase, kT, kP, nfree, s.Aend, s.X, s.result, affinity, errFlag);
    evaluations += s.finder->functionEvaluations;
    benchmark::DoNotOptimize(affinity);
  }
  state.counters["residual_evals"] = benchmark::Counter(static_cast<double>(evaluations) /
                                                        static_cast<double>(state.iterations()));
  if (errFlag != 0 || std::fabs(affinity - (-1500.0)) > 3.0) state.SkipWithError("not converged");
}

void BM_FindComponentsOlivine(benchmark::State& state) {
  Setup s(false);
  s.equilibrium(1, 2, {0.82, 0.18}, -1500.0);
  runFinder(state, s, 1);
}
BENCHMARK(BM_FindComponentsOlivine);

void BM_FindComponentsTernaryFeldspar(benchmark::State& state) {
  Setup s(true);
  s.equilibrium(2, 3, {0.62, 0.35, 0.03}, -1500.0);
  runFinder(state, s, 2);
}
BENCHMARK(BM_FindComponentsTernaryFeldspar);

void BM_GetActivityTernaryFeldspar(benchmark::State& state) {
  Setup s(true);
  cx::Array1<double> x(1, 16), a(1, 16);
  x(1) = 0.62;
  x(2) = 0.35;
  int flag = 0;
  for (auto _ : state) {
    cx::GetActivity(*s.act, 2, kT, kP, x, 2, a, flag);
    benchmark::DoNotOptimize(a(3));
  }
}
BENCHMARK(BM_GetActivityTernaryFeldspar);

void BM_GetActivityOpx(benchmark::State& state) {
  Setup s(false);
  cx::Array1<double> x(1, 16), a(1, 16);
  x(1) = 0.83;
  int flag = 0;
  for (auto _ : state) {
    cx::GetActivity(*s.act, 4, kT, kP, x, 1, a, flag);
    benchmark::DoNotOptimize(a(2));
  }
}
BENCHMARK(BM_GetActivityOpx);

}  // namespace
