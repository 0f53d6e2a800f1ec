// The olivine, orthopyroxene and ternary feldspar models against analytic solutions and the
// Gibbs-Duhem relation, and the activity doorway's dispatch, range checks and reports.
#include <gtest/gtest.h>

#include <cmath>
#include <string_view>

#include "support.h"
#include "thermo/feldspar.h"
#include "thermo/olivine_opx.h"

namespace cx {
namespace {

using test::ActivityWorld;
using test::kRgas;
using test::vec;

TEST(Olivine, RegularSolutionFromTheFreeEnergyOfMixing) {
  // Two equal sites, symmetric interaction W per formula unit: the activities are exp(mu/RT)
  // of n G = 2 R T sum n_i ln x_i + W n_fo n_fa / n, differentiated here numerically.
  RecordingDiagnostics diag;
  for (double T : {1100.0, 1423.15, 1523.15}) {
    for (double P : {1.0, 5000.0}) {
      const double W = 20333.268 + 0.03012336 * (P - 1.0);
      auto nG = [&](double nFo, double nFa) {
        const double n = nFo + nFa;
        return 2.0 * kRgas * T * (nFo * std::log(nFo / n) + nFa * std::log(nFa / n)) +
               W * nFo * nFa / n;
      };
      for (double x : {0.02, 0.3, 0.5, 0.8, 0.97}) {
        double aFo = -1.0, aFa = -1.0;
        bool failed = true;
        ActOlivine(T, P, x, aFo, aFa, failed, diag);
        ASSERT_FALSE(failed);
        const double h = 1e-6;
        const double muFo = (nG(x + h, 1.0 - x) - nG(x - h, 1.0 - x)) / (2.0 * h);
        const double muFa = (nG(x, 1.0 - x + h) - nG(x, 1.0 - x - h)) / (2.0 * h);
        EXPECT_NEAR(kRgas * T * std::log(aFo), muFo, 1e-3) << x;
        EXPECT_NEAR(kRgas * T * std::log(aFa), muFa, 1e-3) << x;
      }
    }
  }
  // The pure ends have one exponent 0, below the lower limit: the model declines and leaves the
  // outputs as they were; so does a fraction outside 0..1.
  for (double x : {0.0, 1.0, -0.1, 1.1}) {
    double aFo = 7.0, aFa = 8.0;
    bool failed = false;
    ActOlivine(1473.15, 1.0, x, aFo, aFa, failed, diag);
    EXPECT_TRUE(failed) << x;
    EXPECT_EQ(aFo, 7.0);
    EXPECT_EQ(aFa, 8.0);
  }
  // A run-time fault (T = 0) is trapped and reported under the routine's name.
  double aFo = 0.0, aFa = 0.0;
  bool failed = false;
  ActOlivine(0.0, 1.0, 0.5, aFo, aFa, failed, diag);
  EXPECT_TRUE(failed);
  ASSERT_FALSE(diag.reports.empty());
  EXPECT_EQ(diag.reports.back(), "11 error in subroutine ActOlivine.");
}

TEST(Orthopyroxene, ConvergesEverywhereAndObeysGibbsDuhem) {
  RecordingDiagnostics diag;
  const double eps = MachEps();
  for (double T : {1000.0, 1273.15, 1423.15, 1523.15, 1800.0}) {
    for (double P : {1.0, 10000.0}) {
      // Every composition converges, whatever side of Xen = 0.5 the iteration starts on.
      for (int k = 1; k < 2000; ++k) {
        const double x = k / 2000.0;
        double aEn = -1.0, aFs = -1.0;
        bool failed = true;
        ActOpx(T, P, x, aEn, aFs, failed, eps, diag);
        ASSERT_FALSE(failed) << T << " " << P << " " << x;
        EXPECT_GT(aEn, 0.0);
        EXPECT_GT(aFs, 0.0);
        EXPECT_LT(aEn, 1.0);
        EXPECT_LT(aFs, 1.0);
      }
      // The volume terms of the activities are not the exact derivatives of the ordering
      // energy's volume term, so the identity holds at 1 bar only.
      if (P != 1.0) continue;
      for (double x = 0.05; x < 0.96; x += 0.05) {
        const double d = 1e-4;
        double e1, f1, e2, f2;
        bool failed1, failed2;
        ActOpx(T, P, x + d, e1, f1, failed1, eps, diag);
        ActOpx(T, P, x - d, e2, f2, failed2, eps, diag);
        ASSERT_FALSE(failed1 || failed2);
        const double tEn = x * (std::log(e1) - std::log(e2));
        const double tFs = (1.0 - x) * (std::log(f1) - std::log(f2));
        EXPECT_LT(std::fabs(tEn + tFs), 2e-4 * (std::fabs(tEn) + std::fabs(tFs)))
            << T << " " << P << " " << x;
      }
    }
  }
  EXPECT_TRUE(diag.reports.empty());
}

TEST(Orthopyroxene, NearEndsMidpointAndFailures) {
  RecordingDiagnostics diag;
  const double eps = MachEps();
  // Within 0.00005 of either end, the ideal line, exactly.
  for (double x : {0.0, 0.00002, 0.00005, 0.99995, 0.99999, 1.0}) {
    double aEn = -1.0, aFs = -1.0;
    bool failed = true;
    ActOpx(1473.15, 1.0, x, aEn, aFs, failed, eps, diag);
    EXPECT_FALSE(failed);
    EXPECT_EQ(aEn, x);
    EXPECT_EQ(aFs, 1.0 - x);
  }
  // Just inside, the model answers and lies off the ideal line.
  double aEn = 0.0, aFs = 0.0;
  bool failed = true;
  ActOpx(1473.15, 1.0, 0.0002, aEn, aFs, failed, eps, diag);
  EXPECT_FALSE(failed);
  EXPECT_NE(aFs, 1.0 - 0.0002);
  // Xen = 0.5 (x = 0 replaced by 1e-6) answers between its neighbours.
  double lo = 0.0, loFs = 0.0, mid = 0.0, midFs = 0.0, hi = 0.0, hiFs = 0.0;
  ActOpx(1473.15, 1.0, 0.5 - 1e-4, lo, loFs, failed, eps, diag);
  ActOpx(1473.15, 1.0, 0.5, mid, midFs, failed, eps, diag);
  EXPECT_FALSE(failed);
  ActOpx(1473.15, 1.0, 0.5 + 1e-4, hi, hiFs, failed, eps, diag);
  EXPECT_LT(lo, mid);
  EXPECT_LT(mid, hi);
  EXPECT_GT(midFs, hiFs);
  // Far below the ordering transition the Newton iteration for the order parameter can cycle
  // between the clamps (300 K, Xen = 0.511) and does not settle within its 250 rounds: the model
  // declines without a report and leaves the outputs alone.
  const std::size_t reportsBefore = diag.reports.size();
  double a1 = 7.0, a2 = 8.0;
  bool f = false;
  ActOpx(300.0, 1.0, 0.511, a1, a2, f, eps, diag);
  EXPECT_TRUE(f);
  EXPECT_EQ(a1, 7.0);
  EXPECT_EQ(a2, 8.0);
  EXPECT_EQ(diag.reports.size(), reportsBefore);
  // An exponent that overflows is a run-time fault, trapped and reported under the name.
  ActOpx(0.5, 1.0, 0.3, a1, a2, f, eps, diag);
  EXPECT_TRUE(f);
  EXPECT_EQ(a1, 7.0);
  ASSERT_EQ(diag.reports.size(), reportsBefore + 1);
  EXPECT_EQ(diag.reports.back(), "6 error in subroutine ActOpx.");
}

TEST(Feldspar, BinaryJoinIsTheAsymmetricMargulesOfAbAn) {
  // With Xor = 0 only W(ab-an) a c c remains: R T ln gamma_ab = W c^2 (2c - 1) and
  // R T ln gamma_an = 2 W c (1 - c)^2, the asymmetric Margules forms with W(an-ab) = 0.
  ActivityWorld w(1473.15, 1000.0, ActivityWorld::flags());
  constexpr double W = 7924.0;
  for (double T : {1423.15, 1473.15, 1523.15}) {
    for (double c : {0.05, 0.3, 0.5, 0.75, 0.95}) {
      double aAn, aAb, aOr = -5.0;
      ActFeldspar(w.ss.G0End, T, 1000.0, c, 1.0 - c, 0.0, aAn, aAb, aOr);
      const double rt = kRgas * T;
      EXPECT_NEAR(rt * std::log(aAb / (1.0 - c)), W * c * c * (2.0 * c - 1.0), 1e-6) << c;
      EXPECT_NEAR(rt * std::log(aAn / c), 2.0 * W * c * (1.0 - c) * (1.0 - c), 1e-6) << c;
      EXPECT_EQ(aOr, 0.0);
      const FeldsparEnergyResult e = FeldsparEnergy(w.ss.G0End, T, 1000.0, 1.0 - c, 0.0);
      const double g0 = w.ss.G0End(kAlbiteRow) * (1.0 - c) + w.ss.G0End(kAnorthiteRow) * c;
      EXPECT_NEAR(e.G - g0, W * (1.0 - c) * c * c, 1e-6);
    }
  }
}

TEST(Feldspar, DerivativesGibbsDuhemAndStandardStates) {
  ActivityWorld w(1473.15, 1000.0, ActivityWorld::flags());
  const double T = 1473.15, P = 2000.0;
  const double comps[][2] = {{0.3, 0.1}, {0.6, 0.05}, {0.2, 0.5}, {0.45, 0.45}, {0.1, 0.02}};
  for (const auto& c : comps) {
    const double ab = c[0], orr = c[1], an = 1.0 - ab - orr;
    // Gab and Gor are the derivatives of G with the anorthite fraction following.
    const double h = 1e-6;
    const FeldsparEnergyResult e = FeldsparEnergy(w.ss.G0End, T, P, ab, orr);
    const double dAb = (FeldsparEnergy(w.ss.G0End, T, P, ab + h, orr).G -
                        FeldsparEnergy(w.ss.G0End, T, P, ab - h, orr).G) /
                       (2.0 * h);
    const double dOr = (FeldsparEnergy(w.ss.G0End, T, P, ab, orr + h).G -
                        FeldsparEnergy(w.ss.G0End, T, P, ab, orr - h).G) /
                       (2.0 * h);
    EXPECT_NEAR(e.Gab, dAb, 1e-3 * (1.0 + std::fabs(dAb)));
    EXPECT_NEAR(e.Gor, dOr, 1e-3 * (1.0 + std::fabs(dOr)));
    EXPECT_NEAR(an * e.muAn + ab * e.muAb + orr * e.muOr, e.G, 1e-6 * std::fabs(e.G));
    // Gibbs-Duhem along two independent directions of change.
    const double dirs[][3] = {{1.0, -1.0, 0.0}, {0.5, 0.5, -1.0}};
    for (const auto& d : dirs) {
      const double s = 1e-4;
      double p[3], m[3];
      ActFeldspar(w.ss.G0End, T, P, an + s * d[0], ab + s * d[1], orr + s * d[2], p[0], p[1], p[2]);
      ActFeldspar(w.ss.G0End, T, P, an - s * d[0], ab - s * d[1], orr - s * d[2], m[0], m[1], m[2]);
      const double x[3] = {an, ab, orr};
      double sum = 0.0, scale = 0.0;
      for (int i = 0; i < 3; ++i) {
        const double term = x[i] * (std::log(p[i]) - std::log(m[i]));
        sum += term;
        scale += std::fabs(term);
      }
      EXPECT_LT(std::fabs(sum), 1e-4 * scale) << ab << " " << orr;
    }
    // The standard states cancel from the activities.
    Array1<double> other = w.ss.G0End;
    other(kAlbiteRow) += 12345.0;
    other(kAnorthiteRow) -= 54321.0;
    other(kOrthoclaseRow) *= 0.5;
    double a1[3], a2[3];
    ActFeldspar(w.ss.G0End, T, P, an, ab, orr, a1[0], a1[1], a1[2]);
    ActFeldspar(other, T, P, an, ab, orr, a2[0], a2[1], a2[2]);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(a2[i], a1[i], 1e-10 * a1[i]);
  }
}

TEST(Feldspar, ThresholdsAndPureEnds) {
  ActivityWorld w(1473.15, 1000.0, ActivityWorld::flags());
  Array1<double> poisoned = w.ss.G0End;
  // A NaN in the standard states shows whether the energy was evaluated at all.
  poisoned(kAlbiteRow) = std::nan("");
  double aAn, aAb, aOr;
  ActFeldspar(poisoned, 1473.15, 1.0, 1.0, 0.0, 0.0, aAn, aAb, aOr);
  EXPECT_EQ(aAn, 1.0);
  EXPECT_EQ(aAb, 0.0);
  EXPECT_EQ(aOr, 0.0);
  // Orthoclase goes through the model at 5e-7, albite at the same fraction does not.  (With the
  // fractions summing to 1, anorthite would be above 0.99999 and all three ideal; the
  // thresholds are tested on their own.)
  const double x = 5e-7;
  ActFeldspar(w.ss.G0End, 1473.15, 1.0, 0.99998, x, x, aAn, aAb, aOr);
  EXPECT_EQ(aAb, x);
  EXPECT_GT(aOr, 10.0 * x);  // or is strongly non-ideal in anorthite
  EXPECT_NE(aAn, 0.99998);
}

TEST(GetActivity, DispatchTable) {
  const double T = 1473.15, P = 1000.0;
  // Non-ideal options for the feldspars, the simple ones elsewhere (the defaults).
  ActivityWorld w(T, P, ActivityWorld::flags({{2, false}, {3, false}}));
  ActivityContext& ctx = *w.ctx;
  Array1<double> act(1, 16);
  int flag = 0;
  std::string_view model;

  struct Row {
    int phase;
    std::vector<double> x;
    std::string_view model;
  };
  const Row rows[] = {
      {1, {0.8}, "Sack & Ghiorso, 1989"},
      {2, {0.6, 0.3}, "Elkins & Grove, 1990"},
      {2, {0.6}, "Elkins & Grove, 1990"},
      {3, {0.1, 0.3}, "Elkins & Grove, 1990"},
      {3, {0.1}, "Elkins & Grove, 1990"},
      {4, {0.7}, "Modified Sack & Ghiorso, 1989"},
      {8, {0.9}, "Ideal"},
      {18, {0.6}, "Ideal"},
      {19, {0.6}, "Ideal"},
      {29, {0.5, 0.3}, "Duan et al. EOS"},
      {10, {0.25}, "Ideal"},
  };
  for (const Row& r : rows) {
    Array1<double> x(1, 16);
    for (std::size_t i = 0; i < r.x.size(); ++i) x(static_cast<int>(i) + 1) = r.x[i];
    act.fill(-1.0);
    model = "unset";
    GetActivity(ctx, r.phase, T, P, x, static_cast<int>(r.x.size()), act, flag, &model);
    EXPECT_EQ(flag, 0) << r.phase;
    EXPECT_EQ(model, r.model) << r.phase;
  }
  // The rows that map onto the model routines give the routines' own values.
  Array1<double> x = vec({0.8});
  GetActivity(ctx, 1, T, P, x, 1, act, flag);
  double a1, a2;
  bool failed;
  ActOlivine(T, P, 0.8, a1, a2, failed, w.diag);
  EXPECT_EQ(act(1), a1);
  EXPECT_EQ(act(2), a2);
  x = vec({0.6, 0.3});
  GetActivity(ctx, 2, T, P, x, 2, act, flag);
  double f[3];
  ActFeldspar(w.ss.G0End, T, P, 0.6, 0.3, 1.0 - 0.6 - 0.3, f[0], f[1], f[2]);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(act(i + 1), f[i]);
  x = vec({0.1});  // alkali feldspar with one fraction: an, ab = 1 - an
  GetActivity(ctx, 3, T, P, x, 1, act, flag);
  ActFeldspar(w.ss.G0End, T, P, 0.1, 0.9, 0.0, f[0], f[1], f[2]);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(act(i + 1), f[i]);
  // Opx with the Ca-Cr Tschermak component: half of the remainder, cut below 1e-5.
  x = vec({0.7, 0.26});
  GetActivity(ctx, 4, T, P, x, 2, act, flag);
  EXPECT_NEAR(act(3), 0.02, 1e-15);
  x = vec({0.7, 0.29999});
  GetActivity(ctx, 4, T, P, x, 2, act, flag);
  EXPECT_EQ(act(3), 0.0);
  // Biotite and cummingtonite: ideal on three and seven sites.
  x = vec({0.6});
  GetActivity(ctx, 18, T, P, x, 1, act, flag);
  EXPECT_DOUBLE_EQ(act(1), 0.216);
  EXPECT_DOUBLE_EQ(act(2), 0.064);
  GetActivity(ctx, 19, T, P, x, 1, act, flag);
  EXPECT_DOUBLE_EQ(act(1), std::pow(0.6, 7));
  EXPECT_DOUBLE_EQ(act(2), std::pow(0.4, 7));
  // The ideal branch: the remainder becomes the last activity unless it is at most 1e-7.
  x = vec({0.25});
  act.fill(-1.0);
  GetActivity(ctx, 10, T, P, x, 1, act, flag);
  EXPECT_EQ(act(1), 0.25);
  EXPECT_EQ(act(2), 0.75);
  x = vec({1.0 - 5e-8});
  act.fill(-1.0);
  GetActivity(ctx, 10, T, P, x, 1, act, flag);
  EXPECT_EQ(act(2), -1.0);
  // The simple option sends alkali feldspar to the ideal branch; the high-Ca pyroxene with
  // the simple pyroxene model and the non-ideal option computes nothing and names no model.
  ActivityWorld simple(T, P, ActivityWorld::flags({{5, false}}));
  x = vec({0.1, 0.3});
  model = "unset";
  act.fill(-1.0);
  GetActivity(*simple.ctx, 3, T, P, x, 1, act, flag, &model);
  EXPECT_EQ(model, "Ideal");
  EXPECT_EQ(act(1), 0.1);
  model = "unset";
  act.fill(-1.0);
  GetActivity(*simple.ctx, 5, T, P, x, 1, act, flag, &model);
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(model, "unset");
  EXPECT_EQ(act(1), -1.0);
}

TEST(GetActivity, RangeChecksApplyOnlyWhereTheyShould) {
  const double T = 1473.15, P = 1000.0;
  // Olivine's flag is false: a fraction above 1 is refused before the model, Act untouched.
  ActivityWorld w(T, P, ActivityWorld::flags({{7, true}}));
  Array1<double> act(1, 16, -1.0);
  int flag = 0;
  std::string_view model = "unset";
  Array1<double> x = vec({1.2});
  GetActivity(*w.ctx, 1, T, P, x, 1, act, flag, &model);
  EXPECT_EQ(flag, -1);
  EXPECT_EQ(act(1), -1.0);
  EXPECT_EQ(model, "unset");
  x = vec({-0.01});
  GetActivity(*w.ctx, 1, T, P, x, 1, act, flag);
  EXPECT_EQ(flag, -1);
  // Phase 4 is not checked: the same fraction reaches the model (its ideal end branch).
  x = vec({1.2});
  GetActivity(*w.ctx, 4, T, P, x, 1, act, flag);
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(act(1), 1.2);
  // A phase on the simple model is not checked either (nepheline's flag is true).
  x = vec({1.2});
  GetActivity(*w.ctx, 8, T, P, x, 1, act, flag);
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(act(1), 1.2);
  // Phases 2 and 3 with the non-ideal option are checked.
  ActivityWorld tern(T, P, ActivityWorld::flags({{2, false}, {3, false}}));
  for (int phase : {2, 3}) {
    x = vec({0.5, 1.1});
    GetActivity(*tern.ctx, phase, T, P, x, 2, act, flag);
    EXPECT_EQ(flag, -1) << phase;
  }
}

TEST(GetActivity, MissingModelsReportOncePerContextAndFail) {
  const double T = 1473.15, P = 1000.0;
  struct Case {
    int phase, pyroxeneModel;
    std::vector<std::pair<int, bool>> flags;
    std::string_view model;
  };
  const Case cases[] = {
      {6, 1, {{6, false}}, "Sack & Ghiorso"},
      {7, 1, {{7, false}}, "Sack & Ghiorso"},
      {11, 1, {{11, false}}, "Ganguly et al. 1996"},
      {12, 1, {{12, false}}, "Sack & Ghiorso"},
      {13, 1, {{13, false}}, "Sack & Ghiorso, 1989"},
      {4, 2, {}, "Sack & Ghiorso"},
      {4, 3, {}, "Sack & Ghiorso, 1989"},
      {5, 3, {{5, false}}, "Sack & Ghiorso, 1989"},
  };
  for (const Case& c : cases) {
    Array1<bool> flags = ActivityWorld::flags();
    for (const auto& f : c.flags) flags(f.first) = f.second;
    ActivityWorld w(T, P, flags, c.pyroxeneModel);
    Array1<double> x = vec({0.2, 0.2, 0.2, 0.1, 0.1, 0.1, 0.05});
    Array1<double> act(1, 16, -1.0);
    for (int call = 0; call < 3; ++call) {
      int flag = 0;
      std::string_view model;
      GetActivity(*w.ctx, c.phase, T, P, x, 2, act, flag, &model);
      EXPECT_EQ(flag, -1) << c.phase;
      EXPECT_EQ(model, c.model) << c.phase;
    }
    EXPECT_EQ(act(1), -1.0);
    ASSERT_EQ(w.diag.reports.size(), 1u) << c.phase;
    EXPECT_NE(w.diag.reports[0].find("not available"), std::string::npos);
    EXPECT_FALSE(w.diag.ErrorFlag);
    // A second context reports again.
    ActivityContext fresh(w.phases, w.ss, w.diag, flags, c.pyroxeneModel, MachEps());
    int flag = 0;
    GetActivity(fresh, c.phase, T, P, x, 2, act, flag);
    EXPECT_EQ(w.diag.reports.size(), 2u);
  }
  // The defaults select no missing model.
  EXPECT_EQ(unavailableActivityModels(test::tables().ActivityFlags, 1), "");
  Array1<bool> flags = ActivityWorld::flags({{7, false}, {11, false}});
  const std::string msg = unavailableActivityModels(flags, 3);
  EXPECT_NE(msg.find("Spinel"), std::string::npos);
  EXPECT_NE(msg.find("Garnet"), std::string::npos);
  EXPECT_NE(msg.find("pyroxene model 3"), std::string::npos);
  EXPECT_EQ(msg.find("Rhomb Oxide"), std::string::npos);
  EXPECT_NE(unavailableActivityModels(Array1<bool>(1, 5), 1), "");
}

// A liquid model stand-in with potentials mu_i = G0Liq(i) + R T ln X(i) + 100 i.
class IdealishLiquid : public LiquidPotentialSource {
 public:
  explicit IdealishLiquid(const StandardState& ss) : ss_(&ss) {}
  bool liquidPotentials(const Array1<double>& X, Array1<double>& Mu, double T, double) override {
    if (fail) return false;
    for (int i = 1; i <= 15; ++i)
      Mu(i) = ss_->G0Liq(i) + (X(i) > 0.0 ? kRgas * T * std::log(X(i)) : -1e4) + 100.0 * i;
    return true;
  }
  bool fail = false;

 private:
  const StandardState* ss_;
};

TEST(GetActivity, SecondLiquidAndTraps) {
  const double T = 1473.15, P = 1000.0;
  ActivityWorld w(T, P, ActivityWorld::flags());
  IdealishLiquid liquid(w.ss);
  Array1<double> x(1, 15);
  for (int i = 1; i <= 15; ++i) x(i) = i == 7 ? 0.0 : 1.0 / 14.0;
  Array1<double> act(1, 16, -1.0);
  int flag = 0;
  // Without a liquid model the call fails and, with messages off, sets ErrorFlag.
  GetActivity(*w.ctx, 38, T, P, x, 15, act, flag);
  EXPECT_EQ(flag, -1);
  EXPECT_TRUE(w.diag.ErrorFlag);
  w.diag.ErrorFlag = false;
  w.ctx->liquid = &liquid;
  GetActivity(*w.ctx, 38, T, P, x, 15, act, flag);
  EXPECT_EQ(flag, 0);
  for (int i = 1; i <= 15; ++i) {
    if (i == 7)
      EXPECT_EQ(act(i), 0.0);
    else
      EXPECT_NEAR(act(i), x(i) * std::exp(100.0 * i / (kRgas * T)), 1e-12);
  }
  // With messages on, a failure is reported with the phase's name.
  liquid.fail = true;
  w.ctx->ComputeMessages = true;
  GetActivity(*w.ctx, 38, T, P, x, 15, act, flag);
  EXPECT_EQ(flag, -1);
  ASSERT_FALSE(w.diag.reports.empty());
  EXPECT_EQ(w.diag.reports.back().rfind("0 error in subroutine GetActivity for phase Liquid2", 0),
            0u);
  EXPECT_FALSE(w.diag.ErrorFlag);
  // A run-time fault (an activity vector too short) goes the same way, for any phase.
  Array1<double> shortAct(1, 1);
  Array1<double> xo = vec({0.8});
  GetActivity(*w.ctx, 1, T, P, xo, 1, shortAct, flag);
  EXPECT_EQ(flag, -1);
  EXPECT_EQ(w.diag.reports.back().rfind("9 error in subroutine GetActivity for phase Olivine", 0),
            0u);
  // So does a phase number outside the table.
  GetActivity(*w.ctx, 39, T, P, xo, 1, act, flag);
  EXPECT_EQ(flag, -1);
  EXPECT_EQ(w.diag.reports.back(), "9 error in subroutine GetActivity for phase 39");
}

}  // namespace
}  // namespace cx
