#include "transport/mass_diffusion.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/fault.h"
#include "base/trap.h"
#include "base/vb.h"
#include "transport/update_bulk.h"

namespace cx {
namespace {

// The gradient terms act only where a content exceeds this: a trace of an oxide has no gradient
// worth following.
constexpr double kActiveLimit = 1e-5;
// An oxide or gas species that a step leaves below this is 0.
constexpr double kZeroLimit = 1e-7;
// An inventory below this is not rescaled (nothing to keep).
constexpr double kInventoryLimit = 1e-4;
// A gas density at or below this is taken as 1.0 before any division.
constexpr double kGasDensityFloor = 0.0001;
// At most this many runs of gas-bearing nodes diffuse, each of more than three nodes (a run of
// two or three nodes has no interior worth a step).
constexpr int kMaxGasRuns = 10;
constexpr int kShortestGasRunSpan = 3;

// The nodes first..first+n-1 of one phase (the liquid, or the gas of a run).  Element k is node
// first + k.  The ends reflect: an end node's missing outer neighbour mirrors its inner one.
struct PhaseGrid {
  int first = 1;
  int n = 0;
  // Centred d(ln F)/dz and d(ln rho)/dz of the phase's volume fraction F and density rho, with
  // the neighbours' mean in the denominator, as the gradient terms use them.
  std::vector<double> fractionGrad, densityGrad;

  int below(int k) const { return k == 0 ? 1 : k - 1; }
  int above(int k) const { return k == n - 1 ? n - 2 : k + 1; }
};

template <class Fraction, class Density>
PhaseGrid makeGrid(int first, int last, double dz, Fraction fraction, Density density) {
  PhaseGrid g;
  g.first = first;
  g.n = last - first + 1;
  g.fractionGrad.assign(static_cast<std::size_t>(g.n), 0.0);
  g.densityGrad.assign(static_cast<std::size_t>(g.n), 0.0);
  const double h = 2.0 * dz;
  auto logGrad = [h](double lo, double hi) {
    const double mean = (lo + hi) / 2.0;
    return mean > 0.0 ? (hi - lo) / h / mean : 0.0;
  };
  for (int k = 0; k < g.n; ++k) {
    const int lo = first + g.below(k), hi = first + g.above(k);
    g.fractionGrad[static_cast<std::size_t>(k)] = logGrad(fraction(lo), fraction(hi));
    g.densityGrad[static_cast<std::size_t>(k)] = logGrad(density(lo), density(hi));
  }
  return g;
}

// The backward-Euler step of dx/dt = D d2x/dz2 on n >= 3 nodes with reflecting ends.  Each row
// reads x(k-1) + b x(k) + x(k+1) = c x_old(k), with c = -dz^2 / (dt D) and b = c - 2; at an end
// the mirrored neighbour doubles the inner one.  The pivots depend only on b, so they are
// factored once per coefficient and shared by every quantity diffusing with it.
class ImplicitStep {
 public:
  ImplicitStep(int n, double dz, double dt, double D) : inv_(static_cast<std::size_t>(n)) {
    c_ = -checkedDiv(dz * dz, dt * D);
    b_ = c_ - 2.0;
    // Elimination to A(k) x(k) + x(k+1) = A(k) B(k); the first row is halved.
    double a = b_ / 2.0;
    inv_[0] = 1.0 / a;
    for (int k = 1; k <= n - 2; ++k) {
      a = b_ - inv_[static_cast<std::size_t>(k - 1)];
      inv_[static_cast<std::size_t>(k)] = 1.0 / a;
    }
    a = b_ - 2.0 * inv_[static_cast<std::size_t>(n - 2)];
    inv_[static_cast<std::size_t>(n - 1)] = 1.0 / a;
  }

  // Advances x (n values) in place.
  void apply(double* x) const {
    const std::size_t n = inv_.size();
    x[0] = c_ * x[0] / b_;
    for (std::size_t k = 1; k + 1 < n; ++k) x[k] = (c_ * x[k] - x[k - 1]) * inv_[k];
    x[n - 1] = (c_ * x[n - 1] - 2.0 * x[n - 2]) * inv_[n - 1];
    for (std::size_t k = n - 1; k-- > 0;) x[k] -= x[k + 1] * inv_[k];
  }

 private:
  double b_ = 0.0, c_ = 0.0;
  std::vector<double> inv_;  // 1 / A(k)
};

// The work of one quantity over a grid: the values before the step (saved) and after it.
struct Work {
  std::vector<double> saved, x, stepped;
  void resize(int n) {
    saved.resize(static_cast<std::size_t>(n));
    x.resize(static_cast<std::size_t>(n));
    stepped.resize(static_cast<std::size_t>(n));
  }
};

// Column `col` of nodes first..first+n-1.  The corners of the block are checked once; the loop
// between them runs unchecked.
void requireRows(const Array2<double>& a, int first, int last, int col) {
  static_cast<void>(a(first, col));
  static_cast<void>(a(last, col));
}
void gather(const Array2<double>& a, int col, const PhaseGrid& g, std::vector<double>& out) {
  requireRows(a, g.first, g.first + g.n - 1, col);
  for (int k = 0; k < g.n; ++k) out[static_cast<std::size_t>(k)] = a.unchecked(g.first + k, col);
}
void scatter(const std::vector<double>& in, const PhaseGrid& g, int col, Array2<double>& a) {
  requireRows(a, g.first, g.first + g.n - 1, col);
  for (int k = 0; k < g.n; ++k) a.unchecked(g.first + k, col) = in[static_cast<std::size_t>(k)];
}

// The terms the gradients of the phase's fraction and density add to the diffusion step:
// D dt (dF/dz / F) dC/dz with the values before the step, and D dt (drho/dz / rho) dx/dz with
// the values after it.  With `floors`, only contents above kActiveLimit change, and a result
// below kZeroLimit becomes 0.
void gradientCorrection(const PhaseGrid& g, double dz, double Ddt, bool floors, Work& w) {
  const double h = 2.0 * dz;
  w.stepped = w.x;
  for (int k = 0; k < g.n; ++k) {
    const auto ku = static_cast<std::size_t>(k);
    if (floors && !(w.stepped[ku] > kActiveLimit)) continue;
    const auto lo = static_cast<std::size_t>(g.below(k)), hi = static_cast<std::size_t>(g.above(k));
    const double dC = (w.saved[hi] - w.saved[lo]) / h;
    const double dx = (w.stepped[hi] - w.stepped[lo]) / h;
    w.x[ku] += (g.fractionGrad[ku] * dC + g.densityGrad[ku] * dx) * Ddt;
    if (floors && w.x[ku] < kZeroLimit) w.x[ku] = 0.0;
  }
}

// The Soret terms of one oxide, explicit, before its diffusion step: d/dz (a c dT/dz) with
// a = D S, as a c d2T/dz2 (every node) and the gradient terms a dT/dz c (dF/dz / F +
// drho/dz / rho + dc/dz / c) (nodes holding more than kActiveLimit), the latter taken at half
// weight.  The half weight is intended: at the Soret equilibrium the missing half is in
// proportion to the content everywhere, the inventory rescaling after the step restores it,
// and the zero-flux state is still c ~ exp(-S T).
void soretTerms(const Column& c, const PhaseGrid& g, const std::vector<double>& T, double a,
                Work& w) {
  const double dz = c.DeltaX, dt = c.DeltaT, h = 2.0 * dz;
  auto temp = [&](int k) { return T[static_cast<std::size_t>(k)]; };
  for (int k = 0; k < g.n; ++k) {
    const auto ku = static_cast<std::size_t>(k);
    const double curvature = temp(g.above(k)) + temp(g.below(k)) - 2.0 * temp(k);
    w.x[ku] += curvature * (a * dt / (dz * dz)) * w.saved[ku];
  }
  for (int k = 0; k < g.n; ++k) {
    const auto ku = static_cast<std::size_t>(k);
    if (!(w.x[ku] > kActiveLimit)) continue;
    const auto lo = static_cast<std::size_t>(g.below(k)), hi = static_cast<std::size_t>(g.above(k));
    const double dT = (temp(g.above(k)) - temp(g.below(k))) / h;
    const double mean = (w.saved[hi] + w.saved[lo]) / 2.0;
    const double dC = mean > 0.0 ? (w.saved[hi] - w.saved[lo]) / h / mean : 0.0;
    w.x[ku] += 0.5 * dT * w.saved[ku] * a * dt * (g.fractionGrad[ku] + g.densityGrad[ku] + dC);
    if (w.x[ku] < kZeroLimit) w.x[ku] = 0.0;
  }
}

// One quantity (column `col` of `a`) through the step and the gradient terms.
void diffuse(Array2<double>& a, int col, const PhaseGrid& g, const ImplicitStep& step, double dz,
             double Ddt, bool floors, Work& w) {
  gather(a, col, g, w.saved);
  w.x = w.saved;
  step.apply(w.x.data());
  gradientCorrection(g, dz, Ddt, floors, w);
  scatter(w.x, g, col, a);
}

void diffuseLiquid(Column& c, const Settings& s, int f, Work& w) {
  const int N = c.NumNodes;
  const double dz = c.DeltaX, dt = c.DeltaT;
  const PhaseGrid g = makeGrid(
      f, N, dz, [&](int i) { return c.FLiq(i); }, [&](int i) { return c.RhoLiq(i); });
  w.resize(g.n);

  // The inventory of an oxide over the whole column, each node's liquid weighted by its mass
  // and density.
  double Q = 0.0;
  for (int i = 1; i <= N; ++i) Q += c.RhoLiq(i);
  std::vector<double> weight(static_cast<std::size_t>(N + 1));
  for (int i = 1; i <= N; ++i)
    weight[static_cast<std::size_t>(i)] = checkedDiv(c.MassLiq(i) / 100.0 * c.RhoLiq(i), Q);
  requireRows(c.LiqOx, 1, N, kOxides);  // the loops below run unchecked
  auto inventory = [&](int j) {
    double sum = 0.0;
    for (int i = 1; i <= N; ++i)
      sum += weight[static_cast<std::size_t>(i)] * c.LiqOx.unchecked(i, j);
    return sum;
  };

  const int balance = diffusion::MassBalanceOx(c.MassDiffCoef);
  const bool soret = s.chkUseSoret == 1;
  std::vector<double> temps;
  if (soret)
    for (int k = 0; k < g.n; ++k) temps.push_back(c.Temp(f + k));
  for (int j = 1; j <= kOxides; ++j) {
    const double D = c.MassDiffCoef(j, j);
    if (j == balance || D == 0.0) continue;
    const double before = inventory(j);
    gather(c.LiqOx, j, g, w.saved);
    w.x = w.saved;
    if (soret && c.SoretCoef(j) != 0.0) soretTerms(c, g, temps, D * c.SoretCoef(j), w);
    ImplicitStep(g.n, dz, dt, D).apply(w.x.data());
    gradientCorrection(g, dz, D * dt, /*floors=*/true, w);
    scatter(w.x, g, j, c.LiqOx);
    // The step keeps the inventory only to within its end treatment and floors; rescale.
    const double after = inventory(j);
    if (after > kInventoryLimit) {
      const double factor = before / after;
      for (int i = 1; i <= N; ++i) c.LiqOx.unchecked(i, j) *= factor;
    }
  }
  // The mass-balance oxide closes every node's liquid to 100 wt %.
  for (int i = 1; i <= N; ++i) {
    double others = 0.0;
    for (int j = 1; j <= kOxides; ++j)
      if (j != balance) others += c.LiqOx(i, j);
    c.LiqOx(i, balance) = 100.0 - others;
    if (c.LiqOx(i, balance) < kZeroLimit) c.LiqOx(i, balance) = 0.0;
  }

  // The trace elements share one coefficient: one factorization serves all forty.
  const double traceD = val(s.traceDiffusionText);
  if (traceD > 0.0) {
    const ImplicitStep step(g.n, dz, dt, traceD);
    for (int k = 1; k <= kTraces; ++k)
      diffuse(c.TraceLiq, k, g, step, dz, traceD * dt, /*floors=*/false, w);
  }
}

// The gas diffuses within each run of gas-bearing nodes, its ends reflecting.
void diffuseGas(Column& c, double gasD, const ThermoTables& tables, Diagnostics& diag, Work& w) {
  const int N = c.NumNodes;
  auto floored = [](double rho) { return rho <= kGasDensityFloor ? 1.0 : rho; };
  auto gasFraction = [&](int i) {
    if (!(c.MassWater(i) > 0.0)) return 0.0;
    const double gas = c.MassWater(i) / floored(c.RhoWater(i));
    const double v =
        gas + c.MassSolid(i) / floored(c.RhoSolid(i)) + c.MassLiq(i) / floored(c.RhoLiq(i));
    return gas / v;
  };
  std::vector<std::pair<int, int>> runs;
  for (int i = 1; i <= N && static_cast<int>(runs.size()) < kMaxGasRuns; ++i) {
    if (!(c.MassWater(i) > 0.0)) continue;
    const int r = i;
    while (i < N && c.MassWater(i + 1) > 0.0) ++i;
    if (i - r >= kShortestGasRunSpan) runs.emplace_back(r, i);
  }
  const int species = std::min(c.gasSpeciesCount(), c.GasComp.colHi());
  for (const auto& [r, last] : runs) {
    const PhaseGrid g =
        makeGrid(r, last, c.DeltaX, gasFraction, [&](int i) { return floored(c.RhoWater(i)); });
    w.resize(g.n);
    const ImplicitStep step(g.n, c.DeltaX, c.DeltaT, gasD);
    for (int j = 1; j <= species; ++j)
      diffuse(c.GasComp, j, g, step, c.DeltaX, gasD * c.DeltaT, /*floors=*/true, w);
    for (int i = r; i <= last; ++i) {
      double sum = 0.0;
      for (int j = 1; j <= species; ++j) sum += c.GasComp(i, j);
      if (sum > 0.0)
        for (int j = 1; j <= species; ++j) c.GasComp(i, j) *= 100.0 / sum;
    }
    for (int k = 1; k <= kTraces; ++k)
      diffuse(c.TraceGasPpm, k, g, step, c.DeltaX, gasD * c.DeltaT, /*floors=*/false, w);
    // The bulk of the run's nodes follows their gas.
    int first = r, end = last;
    UpdateBulk(c, first, end, tables, diag);
  }
}

}  // namespace

void MassDiffusion(Column& c, const Settings& s, int firstNode, const ThermoTables& tables,
                   Diagnostics& diag, Port& port) {
  port.setModuleId("Mass diffusion...");
  runTrapped(diag, subroutineSuffix("MassDiffusion"), [&] {
    const int N = c.NumNodes;
    const int f = std::max(firstNode, 1);
    if (f >= N - 1) return;
    Work w;
    requireRows(c.BulkOx, 1, N, kOxides);
    requireRows(c.TraceBulk, 1, N, kTraces);
    requireRows(c.TraceLiq, 1, N, kTraces);
    const Array2<double> liquidBefore = c.LiqOx, traceBefore = c.TraceLiq;
    diffuseLiquid(c, s, f, w);
    // The bulk follows its liquid, so that the next equilibration starts from it: each node's
    // bulk changes by the liquid's mass fraction times the change of the liquid.
    for (int i = 1; i <= N; ++i) {
      const double total = c.MassLiq(i) + c.MassSolid(i) + c.MassWater(i);
      const double share = total > 0.0 ? c.MassLiq(i) / total : 0.0;
      for (int j = 1; j <= kOxides; ++j)
        c.BulkOx.unchecked(i, j) +=
            share * (c.LiqOx.unchecked(i, j) - liquidBefore.unchecked(i, j));
      for (int k = 1; k <= kTraces; ++k)
        c.TraceBulk.unchecked(i, k) +=
            share * (c.TraceLiq.unchecked(i, k) - traceBefore.unchecked(i, k));
    }
    const double gasD = val(s.gasDiffusionText);
    if (gasD > 0.0) diffuseGas(c, gasD, tables, diag, w);
  });
}

}  // namespace cx
