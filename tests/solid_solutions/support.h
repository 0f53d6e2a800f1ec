// Shared set-up of the solid-solution tests: the tables, the option rows, the standard states of
// one temperature and an activity context over them; and a synthetic liquid whose potentials put
// a chosen mineral composition in equilibrium with it.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "base/diagnostics.h"
#include "base/scalar_minimizer.h"
#include "thermo/activity.h"
#include "thermo/gibbs.h"
#include "thermo/phase_model_rows.h"

namespace cx::test {

inline constexpr double kRgas = 8.3143;

inline const ThermoTables& tables() {
  static const ThermoTables t = loadThermoTables();
  return t;
}

// Everything GetActivity needs at one temperature and pressure, with the given options.
struct ActivityWorld {
  ActivityWorld(double T, double P, const Array1<bool>& flags, int pyroxeneModel = 1)
      : ss(MachEps()),
        rows(UpdatePhaseConstants(tables(), flags, pyroxeneModel)),
        phases(tables(), rows) {
    EXPECT_TRUE(Gibbs(tables(), ss, diag, T, P, P));
    ctx = std::make_unique<ActivityContext>(phases, ss, diag, flags, pyroxeneModel, MachEps());
  }
  // The loader's default options with some flags changed.
  static Array1<bool> flags(const std::vector<std::pair<int, bool>>& changes = {}) {
    Array1<bool> f = tables().ActivityFlags;
    for (const auto& c : changes) f(c.first) = c.second;
    return f;
  }
  RecordingDiagnostics diag;
  StandardState ss;
  PhaseModelRows rows;
  PhaseTable phases;
  std::unique_ptr<ActivityContext> ctx;
};

inline Array1<double> vec(std::initializer_list<double> values) {
  Array1<double> a(1, static_cast<int>(values.size()) + 15);
  int i = 1;
  for (double v : values) a(i++) = v;
  return a;
}

// Potentials MuLiq(1..15) of a liquid with which the phase at the full fractions X(1..count)
// has the affinity A0: each endmember's potential G0 + R T ln a, less A0, must equal its make-up
// in the liquid's potentials.  Of the many liquids that satisfy these `count` equations the one
// of least norm is taken (normal equations of the stoichiometry, solved by elimination).
inline Array1<double> syntheticLiquid(ActivityWorld& w, int phase, int count,
                                      const Array1<double>& X, double A0, double T, double P) {
  Array1<double> act(1, 16);
  int flag = 0;
  GetActivity(*w.ctx, phase, T, P, X, count - 1, act, flag);
  EXPECT_EQ(flag, 0);
  // Only the endmembers present take part: the others are cut by the finder.
  std::vector<int> present;
  for (int j = 1; j <= count; ++j)
    if (X(j) > 0.0) present.push_back(j);
  const int k = static_cast<int>(present.size());
  const int nc = thermo_data::kNumLiquidComponents;
  std::vector<double> rhs(k), S(k * nc), M(k * k);
  for (int a = 0; a < k; ++a) {
    const int j = present[a];
    rhs[a] = w.ss.G0End(w.phases.PhaseEndIndex(phase, j)) + kRgas * T * std::log(act(j)) - A0;
    for (int i = 1; i <= nc; ++i) S[a * nc + (i - 1)] = w.phases.PhaseStoich(phase, j, i);
  }
  for (int a = 0; a < k; ++a)
    for (int b = 0; b < k; ++b) {
      double s = 0.0;
      for (int i = 0; i < nc; ++i) s += S[a * nc + i] * S[b * nc + i];
      M[a * k + b] = s;
    }
  // Gaussian elimination with partial pivoting on (S S') y = rhs.
  std::vector<double> y = rhs;
  for (int c = 0; c < k; ++c) {
    int p = c;
    for (int r = c + 1; r < k; ++r)
      if (std::fabs(M[r * k + c]) > std::fabs(M[p * k + c])) p = r;
    for (int q = 0; q < k; ++q) std::swap(M[c * k + q], M[p * k + q]);
    std::swap(y[c], y[p]);
    for (int r = c + 1; r < k; ++r) {
      const double f = M[r * k + c] / M[c * k + c];
      for (int q = c; q < k; ++q) M[r * k + q] -= f * M[c * k + q];
      y[r] -= f * y[c];
    }
  }
  for (int c = k - 1; c >= 0; --c) {
    for (int q = c + 1; q < k; ++q) y[c] -= M[c * k + q] * y[q];
    y[c] /= M[c * k + c];
  }
  Array1<double> mu(1, nc);
  for (int i = 1; i <= nc; ++i) {
    double s = 0.0;
    for (int a = 0; a < k; ++a) s += S[a * nc + (i - 1)] * y[a];
    mu(i) = s;
  }
  // The liquid must reproduce every endmember potential.
  for (int a = 0; a < k; ++a) {
    double s = 0.0;
    for (int i = 1; i <= nc; ++i) s += w.phases.PhaseStoich(phase, present[a], i) * mu(i);
    EXPECT_NEAR(s, rhs[a], 1e-6 * std::fabs(rhs[a])) << "endmember " << present[a];
  }
  return mu;
}

}  // namespace cx::test
