// The component finder against synthetic liquids built so that a chosen mineral composition is
// in equilibrium with them at a chosen affinity: the finder must recover both.
#include "solver/component_finder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

using test::ActivityWorld;
using test::kRgas;

struct Outcome {
  int nfree = 0, errFlag = 0;
  double affinity = 0.0, sumSquares = 0.0;
  Array1<double> result{1, 16};
};

// The start the saturation state hands over: the ideal guess from the pure-phase affinities,
// x(j) proportional to exp(-Aend(j)/RT), with the fractions of absent endmembers 0.
Array1<double> idealGuess(const Array1<double>& Aend, int count, double T,
                          const std::vector<bool>& present) {
  Array1<double> x(1, 16);
  double s = 0.0, amin = 1e300;
  for (int j = 1; j <= count; ++j)
    if (present[j - 1]) amin = std::min(amin, Aend(j));
  for (int j = 1; j <= count; ++j) {
    x(j) = present[j - 1] ? std::exp(-(Aend(j) - amin) / (kRgas * T)) : 0.0;
    s += x(j);
  }
  for (int j = 1; j <= count; ++j) x(j) /= s;
  return x;
}

// Independent check: R T ln a(j) + Aend(j) - affinity over the endmembers, squared and summed.
double equilibriumMisfit(ActivityWorld& w, int phase, double T, double P, const Outcome& o,
                         const Array1<double>& Aend) {
  Array1<double> act(1, 16);
  int flag = 0;
  GetActivity(*w.ctx, phase, T, P, o.result, o.nfree, act, flag);
  EXPECT_EQ(flag, 0);
  double s = 0.0;
  for (int j = 1; j <= o.nfree + 1; ++j) {
    if (!(act(j) > 1e-16)) continue;
    const double d = kRgas * T * std::log(act(j)) + Aend(j) - o.affinity;
    s += d * d;
  }
  return s;
}

struct Case {
  const char* name;
  int phase;
  std::vector<std::pair<int, bool>> flags;
  std::vector<double> x;  // the equilibrium composition, every endmember
  double A0;              // its affinity, J
  double tempC;
};

TEST(FindComponents, RecoversTheEquilibriumCompositionOfASyntheticLiquid) {
  const Case cases[] = {
      {"olivine Fo90", 1, {}, {0.9, 0.1}, 0.0, 1150.0},
      {"olivine Fo75", 1, {}, {0.75, 0.25}, -2500.0, 1200.0},
      {"olivine Fo40", 1, {}, {0.4, 0.6}, 1800.0, 1250.0},
      {"plagioclase An70 (two endmembers)", 2, {}, {0.7, 0.3}, 0.0, 1200.0},
      {"plagioclase An35 (two endmembers)", 2, {}, {0.35, 0.65}, -1500.0, 1150.0},
      {"plagioclase An60Ab37Or3", 2, {{2, false}, {3, false}}, {0.6, 0.37, 0.03}, 0.0, 1200.0},
      {"plagioclase An30Ab62Or8", 2, {{2, false}, {3, false}}, {0.3, 0.62, 0.08}, 900.0, 1150.0},
      {"plagioclase An80Ab19Or1", 2, {{2, false}, {3, false}}, {0.8, 0.19, 0.01}, -700.0, 1250.0},
      {"alkali feldspar An5Ab45Or50", 3, {{2, false}, {3, false}}, {0.05, 0.45, 0.5}, 0.0, 1150.0},
      {"orthopyroxene En85", 4, {}, {0.85, 0.15, 0.0}, 0.0, 1200.0},
      {"orthopyroxene En60", 4, {}, {0.6, 0.4, 0.0}, -3000.0, 1150.0},
      {"orthopyroxene En80Fs16CCrTs4", 4, {}, {0.8, 0.16, 0.04}, 500.0, 1250.0},
  };
  const double P = 1000.0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const double T = c.tempC + 273.15;
    ActivityWorld w(T, P, ActivityWorld::flags(c.flags));
    const int count = w.ctx->PhaseEndCount(c.phase);
    ASSERT_EQ(count, static_cast<int>(c.x.size()));
    Array1<double> x(1, 16);
    std::vector<bool> present;
    for (int j = 1; j <= count; ++j) {
      x(j) = c.x[j - 1];
      present.push_back(x(j) > 0.0);
    }
    const Array1<double> mu = test::syntheticLiquid(w, c.phase, count, x, c.A0, T, P);
    Array1<double> Aend(1, 16);
    EndmemberAffinities(w.phases, w.ss, c.phase, count, mu, Aend);
    RecordingPort port;
    ComponentFinderContext ctx(*w.ctx, port);
    Array1<double> start = idealGuess(Aend, count, T, present);
    Outcome o;
    FindComponents(ctx, c.phase, T, P, o.nfree, Aend, start, o.result, o.affinity, o.errFlag);
    EXPECT_EQ(o.errFlag, 0);
    EXPECT_FALSE(w.diag.ErrorFlag);
    EXPECT_TRUE(w.diag.reports.empty()) << (w.diag.reports.empty() ? "" : w.diag.reports[0]);
    EXPECT_EQ(port.turns, 1);
    int expectedFree = count - 1;
    while (expectedFree > 1 && c.x[static_cast<std::size_t>(expectedFree)] == 0.0) --expectedFree;
    ASSERT_EQ(o.nfree, expectedFree);
    EXPECT_LT(equilibriumMisfit(w, c.phase, T, P, o, Aend), 10.0);
    EXPECT_NEAR(o.affinity, c.A0, 3.0);
    for (int j = 1; j <= o.nfree; ++j) EXPECT_NEAR(o.result(j), c.x[j - 1], 2e-4) << j;
    EXPECT_FALSE(ctx.secondAttempt);
  }
}

TEST(FindComponents, AStartAtTheUpperBoundIsReleasedByTheGradient) {
  // Undersaturated liquids (affinity above 0), started from the pure first endmember: the
  // fraction starts held at its upper bound 1, and the gradient (which asks for a lower
  // fraction) releases it; Marquardt then walks to the answer by itself, which it could not do
  // with the fraction held.
  const Case cases[] = {
      {"orthopyroxene", 4, {}, {0.8, 0.2, 0.0}, 3000.0, 1200.0},
      {"plagioclase (two endmembers)", 2, {}, {0.7, 0.3}, 2000.0, 1200.0},
  };
  const double P = 1000.0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const double T = c.tempC + 273.15;
    ActivityWorld w(T, P, ActivityWorld::flags(c.flags));
    const int count = w.ctx->PhaseEndCount(c.phase);
    Array1<double> x(1, 16);
    for (int j = 1; j <= count; ++j) x(j) = c.x[j - 1];
    const Array1<double> mu = test::syntheticLiquid(w, c.phase, count, x, c.A0, T, P);
    Array1<double> Aend(1, 16);
    EndmemberAffinities(w.phases, w.ss, c.phase, count, mu, Aend);
    RecordingPort port;
    ComponentFinderContext ctx(*w.ctx, port);
    Array1<double> start(1, 16);
    start(1) = 1.0;
    start(2) = 1e-9;  // present, so that the fraction is not cut
    Outcome o;
    FindComponents(ctx, c.phase, T, P, o.nfree, Aend, start, o.result, o.affinity, o.errFlag);
    ASSERT_EQ(o.nfree, 1);
    EXPECT_FALSE(ctx.secondAttempt);
    EXPECT_EQ(ctx.Bnd(1, 3), kMaskFree);
    EXPECT_NEAR(o.result(1), c.x[0], 2e-4);
    EXPECT_NEAR(o.affinity, c.A0, 3.0);
    EXPECT_LT(equilibriumMisfit(w, c.phase, T, P, o, Aend), 10.0);
  }
}

TEST(FindComponents, TheLineSearchRecoversWhereMarquardtStalls) {
  // An-rich ternary plagioclase whose ideal start lies far towards orthoclase: Marquardt alone
  // stalls short of the answer, and the second attempt (softest direction of the Hessian, Brent
  // along it, Marquardt again) finds it.
  const double T = 1461.85, P = 892.1, A0 = -2087.9;
  ActivityWorld w(T, P, ActivityWorld::flags({{2, false}, {3, false}}));
  Array1<double> x(1, 16);
  x(1) = 0.7841;
  x(2) = 0.1804;
  x(3) = 1.0 - x(1) - x(2);
  const Array1<double> mu = test::syntheticLiquid(w, 2, 3, x, A0, T, P);
  Array1<double> Aend(1, 16);
  EndmemberAffinities(w.phases, w.ss, 2, 3, mu, Aend);
  RecordingPort port;
  ComponentFinderContext ctx(*w.ctx, port);
  Array1<double> start = idealGuess(Aend, 3, T, {true, true, true});
  EXPECT_LT(start(1), 0.6);
  Outcome o;
  FindComponents(ctx, 2, T, P, o.nfree, Aend, start, o.result, o.affinity, o.errFlag);
  EXPECT_TRUE(ctx.secondAttempt);
  EXPECT_GE(ctx.marquardtRuns, 2);
  ASSERT_EQ(o.nfree, 2);
  EXPECT_NEAR(o.result(1), x(1), 2e-4);
  EXPECT_NEAR(o.result(2), x(2), 2e-4);
  EXPECT_NEAR(o.affinity, A0, 3.0);
  EXPECT_LT(equilibriumMisfit(w, 2, T, P, o, Aend), 10.0);
  EXPECT_FALSE(w.diag.ErrorFlag);
}

TEST(FindComponents, FailurePathAsksAndHalts) {
  // Garnet with the non-ideal option has no model in this version: every evaluation is refused,
  // both attempts fail, and the phase gets no affinity.
  const double T = 1473.15, P = 1000.0;
  for (bool pause : {false, true}) {
    for (bool answer : {true, false}) {
      ActivityWorld w(T, P, ActivityWorld::flags({{11, false}}));
      w.diag.PauseOnError = pause;
      RecordingPort port;
      port.answer = answer;
      ComponentFinderContext ctx(*w.ctx, port);
      Array1<double> Aend(1, 16, -1000.0), x(1, 16), result(1, 16);
      x(1) = 0.2;
      x(2) = 0.5;
      x(3) = 0.3;
      int nfree = 0, errFlag = 0;
      double affinity = 0.0;
      FindComponents(ctx, 11, T, P, nfree, Aend, x, result, affinity, errFlag);
      EXPECT_EQ(affinity, kNoAffinity);
      EXPECT_EQ(errFlag, -1);
      EXPECT_TRUE(w.diag.ErrorFlag);
      if (pause) {
        ASSERT_EQ(port.questions.size(), 1u);
        EXPECT_EQ(
            port.questions[0],
            "Unable to find equilibrium components for the phase: " + w.phases.PhaseNames(11) +
                "\nTry selecting a simple activity model from the menu item 'Options: "
                "Solid Solution Models' or excluding this phase.\n   ... Continue?");
        EXPECT_EQ(w.diag.HaltFlag.load(), !answer);
      } else {
        EXPECT_TRUE(port.questions.empty());
        EXPECT_FALSE(w.diag.HaltFlag.load());
      }
    }
  }
}

TEST(FindComponents, HaltAndRunTimeFaults) {
  const double T = 1473.15, P = 1000.0;
  ActivityWorld w(T, P, ActivityWorld::flags());
  Array1<double> x(1, 16), result(1, 16);
  x(1) = 0.8;
  x(2) = 0.2;
  const Array1<double> mu = test::syntheticLiquid(w, 1, 2, x, 0.0, T, P);
  Array1<double> Aend(1, 16);
  EndmemberAffinities(w.phases, w.ss, 1, 2, mu, Aend);
  // The operator halts during the interface's turn: the call ends there, affinity unwritten.
  {
    RecordingPort port;
    port.onTurn = [&w](int) { w.diag.HaltFlag = true; };
    ComponentFinderContext ctx(*w.ctx, port);
    int nfree = 0, errFlag = 0;
    double affinity = -42.0;
    Array1<double> start = x;
    FindComponents(ctx, 1, T, P, nfree, Aend, start, result, affinity, errFlag);
    EXPECT_EQ(affinity, -42.0);
    EXPECT_EQ(port.turns, 1);
    w.diag.HaltFlag = false;
  }
  // An affinity vector too short for the phase is a trapped subscript fault.
  {
    RecordingPort port;
    ComponentFinderContext ctx(*w.ctx, port);
    Array1<double> shortAend(1, 1, 0.0), start = x;
    int nfree = 0, errFlag = 0;
    double affinity = 0.0;
    FindComponents(ctx, 1, T, P, nfree, shortAend, start, result, affinity, errFlag);
    ASSERT_FALSE(w.diag.reports.empty());
    EXPECT_EQ(w.diag.reports.back(), "9 error in subroutine FindComponents.");
    EXPECT_TRUE(w.diag.ErrorFlag);
  }
}

TEST(Hessian, IsSymmetricAndAnnihilatesTheComposition) {
  // H(i, j) = d mu_i / d n_j: symmetric (a Maxwell relation) and H x = 0 (Gibbs-Duhem), and for
  // olivine H(1, 1) = R T (2 / x - 2) - 2 W y ... checked against the regular solution.
  const double T = 1473.15, P = 1000.0;
  ActivityWorld w(T, P, ActivityWorld::flags({{2, false}, {3, false}}));
  RecordingPort port;
  ComponentFinderContext ctx(*w.ctx, port);
  struct Row {
    int phase;
    std::vector<double> x;
  };
  const Row rows[] = {{1, {0.7, 0.3}}, {2, {0.5, 0.4, 0.1}}, {4, {0.75, 0.25, 0.0}}};
  for (const Row& r : rows) {
    const int n = static_cast<int>(r.x.size());
    Array1<double> x(1, 16);
    for (int i = 1; i <= n; ++i) x(i) = r.x[i - 1];
    Array2<double> H(1, 16, 1, 16, -1.0);
    Hessian(ctx, r.phase, T, P, x, n, H);
    for (int i = 1; i <= n; ++i) EXPECT_EQ(x(i), r.x[i - 1]);  // restored
    double scale = 0.0;
    for (int i = 1; i <= n; ++i)
      for (int j = 1; j <= n; ++j) scale = std::max(scale, std::fabs(H(i, j)));
    for (int i = 1; i <= n; ++i) {
      double hx = 0.0;
      for (int j = 1; j <= n; ++j) {
        if (r.x[i - 1] == 0.0 || r.x[j - 1] == 0.0) {
          EXPECT_EQ(H(i, j), 0.0);
          continue;
        }
        EXPECT_NEAR(H(i, j), H(j, i), 2e-3 * scale) << r.phase;
        hx += H(i, j) * x(j);
      }
      EXPECT_NEAR(hx, 0.0, 2e-3 * scale) << r.phase;
    }
    if (r.phase == 1) {
      // mu_fo = 2 R T ln x + W y^2 with x = n_fo / n: d mu_fo / d n_fo = y (2 R T / x - 2 W y).
      const double W = 20333.268 + 0.03012336 * (P - 1.0), xf = 0.7, y = 0.3;
      EXPECT_NEAR(H(1, 1), y * (2.0 * kRgas * T / xf - 2.0 * W * y), 1e-3 * scale);
    }
  }
}

}  // namespace
}  // namespace cx

namespace cx {
namespace {

TEST(Marquardt, HoldsAStartAtTheLowerBoundAndSolvesAFreeOne) {
  // Olivine Fo75 in equilibrium at affinity -800 J.  Started at the lower bound the fraction is
  // held there (its Jacobian column vanishes within 2h of the bound, so the gradient never asks
  // for release); started inside it converges to the composition.
  const double T = 1473.15, P = 1000.0;
  test::ActivityWorld w(T, P, test::ActivityWorld::flags());
  Array1<double> x(1, 16);
  x(1) = 0.75;
  x(2) = 0.25;
  const Array1<double> mu = test::syntheticLiquid(w, 1, 2, x, -800.0, T, P);
  Array1<double> Aend(1, 16);
  EndmemberAffinities(w.phases, w.ss, 1, 2, mu, Aend);
  RecordingPort port;
  ComponentFinderContext ctx(*w.ctx, port);
  for (double start : {1e-16, 0.3}) {
    Array1<double> B(1, 16);
    Array2<double> Bnd(1, 16, 1, 3);
    B(1) = start;
    Bnd(1, 1) = 1e-16;
    Bnd(1, 2) = 1.0;
    Bnd(1, 3) = kMaskFree;
    Bnd(2, 1) = -1e125;
    Bnd(2, 2) = 1e125;
    Bnd(2, 3) = kMaskFree;
    int freeCount = 0;
    double ss = -1.0;
    Marquardt(ctx, B, Bnd, 2, 2, freeCount, ss, 1, Aend, T, P);
    EXPECT_EQ(freeCount, 2);
    if (start == 1e-16) {
      EXPECT_EQ(B(1), 1e-16);
      EXPECT_EQ(Bnd(1, 3), kMaskAtLower);
    } else {
      EXPECT_NEAR(B(1), 0.75, 1e-5);
      EXPECT_NEAR(B(2), -800.0, 0.5);
      EXPECT_LT(ss, 1.0);
      EXPECT_EQ(Bnd(1, 3), kMaskFree);
    }
  }
}

}  // namespace
}  // namespace cx
