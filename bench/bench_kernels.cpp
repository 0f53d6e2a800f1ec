// The least-squares kernels at the minimizer's sizes: HSQP sits in its inner loop, once per
// Newton step, with up to 60 unknowns and 15 plus the number of floor constraints.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>

#include "base/array.h"
#include "base/diagnostics.h"
#include "solver/kernels/hfti.h"
#include "solver/kernels/hht.h"
#include "solver/kernels/hsqp.h"
#include "solver/kernels/solve.h"

namespace {

using cx::Array1;
using cx::Array2;

Array2<double> randomMatrix(std::mt19937_64& rng, int rows, int cols) {
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  Array2<double> a(1, rows, 1, cols);
  for (int i = 1; i <= rows; ++i)
    for (int j = 1; j <= cols; ++j) a(i, j) = u(rng);
  return a;
}

Array1<double> randomVector(std::mt19937_64& rng, int n) {
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  Array1<double> v(1, n);
  for (int i = 1; i <= n; ++i) v(i) = u(rng);
  return v;
}

// Copies without allocating (assignment of an Array would allocate anew).
void copyInto(const Array2<double>& from, Array2<double>& to) {
  const int rows = from.rowHi() - from.rowLo() + 1, cols = from.colHi() - from.colLo() + 1;
  std::copy_n(&from.unchecked(from.rowLo(), from.colLo()), rows * cols,
              &to.unchecked(to.rowLo(), to.colLo()));
}
void copyInto(const Array1<double>& from, Array1<double>& to) {
  std::copy_n(from.data(), from.size(), to.data());
}

// The equality-constrained Newton step: a positive definite Hessian, Mc mass-balance rows.
void BM_HSQP(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0)), mc = static_cast<int>(state.range(1));
  std::mt19937_64 rng(2024);
  const Array2<double> g = randomMatrix(rng, n, n);
  Array2<double> a0(1, n, 1, n);
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= n; ++j) {
      double s = i == j ? 1.0 : 0.0;
      for (int k = 1; k <= n; ++k) s += g(k, i) * g(k, j) / n;
      a0(i, j) = s;
    }
  const Array2<double> c0 = randomMatrix(rng, mc, n);
  const Array1<double> f0 = randomVector(rng, n);
  Array1<double> d = randomVector(rng, mc);
  Array2<double> a(1, n, 1, n), c(1, mc, 1, n);
  Array1<double> f(1, n), up(1, n), h(1, n), gw(1, n), rnorm(1, 1), x(1, n);
  Array1<int> ip(1, n);
  int krank = 0;
  cx::RecordingDiagnostics diag;
  const double tol = 2.220446049250313e-16;
  for (auto _ : state) {
    copyInto(a0, a);  // HSQP destroys A, F and C
    copyInto(c0, c);
    copyInto(f0, f);
    cx::HSQP(a, f, c, d, mc, n, tol, up, h, gw, ip, rnorm, x, krank, diag);
    benchmark::DoNotOptimize(x.data());
  }
  if (!diag.reports.empty() || krank != n - mc) state.SkipWithError("HSQP failed");
}
BENCHMARK(BM_HSQP)->Args({60, 20})->Args({60, 15})->Args({60, 30})->Unit(benchmark::kMicrosecond);

// One reflection applied to the 59 other columns of a 60 by 60 matrix, in place and by copying.
template <bool kInPlace>
void BM_HHTColumns(benchmark::State& state) {
  std::mt19937_64 rng(7);
  const Array2<double> a0 = randomMatrix(rng, 60, 60);
  Array2<double> a(1, 60, 1, 60);
  cx::RecordingDiagnostics diag;
  double up = 0.0;
  for (auto _ : state) {
    copyInto(a0, a);
    if constexpr (kInPlace)
      cx::HHT(1, 1, 2, 60, a, 1, 1, 1, up, a, 1, 2, 1, 59, diag);
    else
      cx::hhtCopying(1, 1, 2, 60, a, 1, 1, 1, up, a, 1, 2, 1, 59, diag);
    benchmark::DoNotOptimize(a.unchecked(60, 60));
  }
}
BENCHMARK(BM_HHTColumns<true>)->Name("BM_HHT_InPlace/60")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_HHTColumns<false>)->Name("BM_HHT_Copying/60")->Unit(benchmark::kMicrosecond);

// The reduced problem of HSQP at 60 unknowns and 20 constraints, and the multiplier solve.
void BM_HFTI(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::mt19937_64 rng(11);
  const Array2<double> a0 = randomMatrix(rng, n, n);
  const Array1<double> b0 = randomVector(rng, n);
  Array2<double> a(1, n, 1, n);
  Array1<double> b(1, n), h(1, n), g(1, n), rnorm(1, 1);
  Array1<int> ip(1, n);
  int krank = 0;
  cx::RecordingDiagnostics diag;
  for (auto _ : state) {
    copyInto(a0, a);
    copyInto(b0, b);
    cx::HFTI(a, n, n, b, 1e-12, krank, rnorm, h, g, ip, diag);
    benchmark::DoNotOptimize(b.data());
  }
}
BENCHMARK(BM_HFTI)->Arg(40)->Unit(benchmark::kMicrosecond);

void BM_Solve(benchmark::State& state) {
  std::mt19937_64 rng(13);
  const Array2<double> a0 = randomMatrix(rng, 60, 15);
  const Array1<double> b0 = randomVector(rng, 60);
  Array2<double> a(1, 60, 1, 15);
  Array1<double> b(1, 60);
  cx::RecordingDiagnostics diag;
  for (auto _ : state) {
    copyInto(a0, a);
    copyInto(b0, b);
    cx::Solve(60, 15, a, b, diag);
    benchmark::DoNotOptimize(b.data());
  }
}
BENCHMARK(BM_Solve)->Unit(benchmark::kMicrosecond);

}  // namespace
