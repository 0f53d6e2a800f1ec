// Phase unmixing and the liquidus search, checked against independent references: the Gibbs-
// Duhem relation for the slopes of the mixing energy, a common tangent of the alkali-feldspar
// solvus found by Newton's method on the activities alone, known minima of test functions, and
// the saturation state itself at the liquidus found.
#include <gtest/gtest.h>

#include "support/model_fixture.h"

#include <cmath>
#include <memory>

#include "solver/equilibrium_model.h"
#include "solver/liquidus.h"
#include "solver/phase_unmixing.h"
#include "thermo/feldspar.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

constexpr double R = 8.3143;

struct Fixture : test::ModelFixture {
  using ModelFixture::ModelFixture;
  UnmixingContext& unmix() { return model->sat->unmix; }
};

ModelOptions ternaryFeldspar() {
  ModelOptions o;
  o.ActivityFlags(2) = o.ActivityFlags(3) = false;
  return o;
}

Array1<double> vec(std::initializer_list<double> v) {
  Array1<double> a(1, 16);
  int i = 1;
  for (double x : v) a(i++) = x;
  return a;
}

// R T ln a of the three feldspar endmembers (an, ab, or), straight from the solution model.
void feldsparPotentials(const StandardState& ss, double T, double an, double ab, double or_,
                        double mu[3]) {
  double a[3];
  ActFeldspar(ss.G0End, T, 1.0, an, ab, or_, a[0], a[1], a[2]);
  for (int j = 0; j < 3; ++j) mu[j] = R * T * std::log(a[j]);
}

TEST(VarMet, FindsTheMinimumOfTheBananaFunction) {
  Fixture f;
  const struct { double x1, x2; } starts[] = {{-1.2, 1.0}, {0.0, 0.0}, {2.0, -1.0}};
  for (const auto& s : starts) {
    Array1<double> b = vec({s.x1, s.x2});
    double F = 0.0;
    int err = 0;
    VarMet(f.unmix(), 0, 0.0, 0.0, 2, b, F, vec({}), 1e-10, err);
    EXPECT_EQ(err, 0);
    EXPECT_NEAR(b(1), 1.0, 1e-3) << s.x1 << "," << s.x2;
    EXPECT_NEAR(b(2), 1.0, 2e-3) << s.x1 << "," << s.x2;
    EXPECT_LT(F, 1e-6);
  }
  // The ordering of the rhombohedral oxides has no model yet: a clear failure, not a crash.
  Array1<double> b = vec({0.5, 0.5});
  double F = 0.0;
  int err = 0;
  VarMet(f.unmix(), 6, 1273.15, 1.0, 2, b, F, vec({}), 0.0, err);
  EXPECT_EQ(err, -1);
  ASSERT_FALSE(f.diag.reports.empty());
  EXPECT_EQ(f.diag.reports.back(), "5 error in subroutine VarMet.");
}

// The slope of the molar mixing energy along an independent fraction (the last one taking up
// the change) is, by Gibbs-Duhem, the difference of two partial molar mixing energies:
// dG/dX(i) = R T ln a(i) - R T ln a(N).  MinGrad's gradient against a flat plane must show it.
TEST(Gmixing, SlopesObeyGibbsDuhem) {
  Fixture f(ternaryFeldspar());
  const struct {
    double tempC, an, ab;
  } cases[] = {{700.0, 0.3, 0.4}, {900.0, 0.05, 0.9}, {1100.0, 0.6, 0.3}, {800.0, 0.2, 0.2}};
  for (const auto& c : cases) {
    const double T = c.tempC + 273.15;
    ASSERT_TRUE(f.model->setConditions(T, 1.0));
    Array1<double> x = vec({c.an, c.ab}), grad(1, 15), plane = vec({c.an, c.ab, 0.0, 0.0, 0.0});
    double F = 0.0;
    int err = 0;
    MinGrad(f.unmix(), 2, T, 1.0, 2, x, F, plane, grad, err, true);
    ASSERT_EQ(err, 0);
    double mu[3];
    const double or_ = 1.0 - c.an - c.ab;
    feldsparPotentials(*f.model->ss, T, c.an, c.ab, or_, mu);
    EXPECT_NEAR(F, c.an * mu[0] + c.ab * mu[1] + or_ * mu[2], 1e-6 * std::fabs(F) + 1e-6);
    EXPECT_NEAR(grad(1), mu[0] - mu[2], 0.05) << c.tempC;
    EXPECT_NEAR(grad(2), mu[1] - mu[2], 0.05) << c.tempC;
  }
  // Fractions off the simplex are refused.
  Array1<double> bad = vec({0.7, 0.5}), grad(1, 15);
  double F = 0.0;
  int err = 0;
  MinGrad(f.unmix(), 2, 1073.15, 1.0, 2, bad, F, vec({0, 0, 0, 0, 0}), grad, err, false);
  EXPECT_EQ(err, -1);
  EXPECT_FALSE(f.diag.ErrorFlag);  // a refused trial point is no error of the run
}

// The two limbs of the alkali-feldspar solvus at T: Newton's method on the equalities of the
// albite and orthoclase potentials, with the orthoclase fractions as unknowns.
bool solvusLimbs(const StandardState& ss, double T, double& x1, double& x2) {
  auto residual = [&](double a, double b, double r[2]) {
    double m1[3], m2[3];
    feldsparPotentials(ss, T, 0.0, 1.0 - a, a, m1);
    feldsparPotentials(ss, T, 0.0, 1.0 - b, b, m2);
    r[0] = m1[1] - m2[1];
    r[1] = m1[2] - m2[2];
  };
  for (int it = 0; it < 60; ++it) {
    double r[2], ra[2], rb[2];
    const double h = 1e-7;
    residual(x1, x2, r);
    if (std::fabs(r[0]) + std::fabs(r[1]) < 1e-6) return true;
    residual(x1 + h, x2, ra);
    residual(x1, x2 + h, rb);
    const double j11 = (ra[0] - r[0]) / h, j21 = (ra[1] - r[1]) / h;
    const double j12 = (rb[0] - r[0]) / h, j22 = (rb[1] - r[1]) / h;
    const double det = j11 * j22 - j12 * j21;
    double d1 = (r[0] * j22 - r[1] * j12) / det, d2 = (j11 * r[1] - j21 * r[0]) / det;
    const double scale =
        std::max({1.0, std::fabs(d1) / (0.5 * x1), std::fabs(d2) / (0.5 * (1 - x2))});
    x1 -= d1 / scale;
    x2 -= d2 / scale;
  }
  return false;
}

TEST(PhaseUnmixing, FindsTheConjugateLimbOfTheSolvus) {
  Fixture f(ternaryFeldspar());
  for (double tempC : {500.0, 600.0}) {
    const double T = tempC + 273.15;
    ASSERT_TRUE(f.model->setConditions(T, 1.0));
    double x1 = 0.05, x2 = 0.9;  // orthoclase fractions of the sodic and the potassic limb
    ASSERT_TRUE(solvusLimbs(*f.model->ss, T, x1, x2)) << tempC;
    ASSERT_GT(x2 - x1, 0.3) << "no solvus at " << tempC;

    // The saturation state's bookkeeping for the pair: all three endmembers buildable.
    SaturationContext& sc = f.sat();
    sc.nAvail = 3;
    for (int j = 1; j <= 3; ++j) sc.Avail(j) = j;
    Array1<double> zero(1, 15), X2(1, 16);
    const double mid = 0.5 * (x1 + x2);
    Array1<double> X = vec({0.0, 1.0 - x1});  // an, ab of the sodic limb
    double Gbest = 0.0, Dist = 0.0;
    int err = 0;
    PhaseUnmixing(sc, 2, T, 1.0, X, X2, Gbest, 2, Dist, zero, zero, err);
    ASSERT_EQ(err, 0);
    EXPECT_NEAR(X2(3), x2, 2e-3) << tempC;  // the potassic limb
    EXPECT_NEAR(Gbest, 0.0, 1.0);           // on the common tangent: no lower point
    double m1[3], m2[3];
    feldsparPotentials(*f.model->ss, T, 0.0, 1.0 - x1, x1, m1);
    feldsparPotentials(*f.model->ss, T, X2(1), X2(2), X2(3), m2);
    EXPECT_NEAR(m1[1], m2[1], 5.0);
    EXPECT_NEAR(m1[2], m2[2], 5.0);
    // The pair: the alkali feldspar's affinity (from orthoclase) and plagioclase's (anorthite,
    // absent here: the first endmember with some activity) are the potentials of the limbs.
    EXPECT_NE(sc.Affinity(2), 1e6);
    EXPECT_NE(sc.Affinity(3), 1e6);

    // Two feldspars on the limbs hold less energy than one of the bulk composition between.
    double gMid = 0.0, g1 = 0.0, g2 = 0.0;
    ASSERT_TRUE(Gmixing(f.unmix(), 2, T, 1.0, vec({0.0, 1.0 - mid, mid}), gMid, 3));
    ASSERT_TRUE(Gmixing(f.unmix(), 2, T, 1.0, vec({0.0, 1.0 - x1, x1}), g1, 3));
    ASSERT_TRUE(Gmixing(f.unmix(), 2, T, 1.0, vec({0.0, 1.0 - x2, x2}), g2, 3));
    EXPECT_LT(0.5 * (g1 + g2), gMid - 10.0) << tempC;

    // From the middle of the solvus the search finds a point below the tangent plane there.
    X = vec({0.0, 1.0 - mid});
    PhaseUnmixing(sc, 2, T, 1.0, X, X2, Gbest, 2, Dist, zero, zero, err);
    ASSERT_EQ(err, 0);
    EXPECT_LT(Gbest, -10.0);
    EXPECT_GT(Dist, 0.01);
  }
  // Inside the ternary: the second composition has the tangent plane's slopes, so each of its
  // potentials is the first composition's shifted by the same height, Gbest (below zero).
  {
    const double T = 600.0 + 273.15;
    ASSERT_TRUE(f.model->setConditions(T, 1.0));
    SaturationContext& sc = f.sat();
    Array1<double> zero(1, 15), X2(1, 16);
    for (const auto& X : {vec({0.1, 0.5}), vec({0.25, 0.35}), vec({0.05, 0.75})}) {
      double Gbest = 0.0, Dist = 0.0;
      int err = 0;
      PhaseUnmixing(sc, 2, T, 1.0, X, X2, Gbest, 2, Dist, zero, zero, err);
      ASSERT_EQ(err, 0);
      EXPECT_LT(Gbest, -1.0) << X(1) << "," << X(2);
      double m1[3], m2[3];
      feldsparPotentials(*f.model->ss, T, X(1), X(2), 1.0 - X(1) - X(2), m1);
      feldsparPotentials(*f.model->ss, T, X2(1), X2(2), X2(3), m2);
      // The search stops when no fraction moves by its tolerance, 1e-4: a potential R T ln a
      // is then known to about R T 1e-4 / x at the fraction x.
      for (int j = 0; j < 3; ++j) {
        const double tol = 2.0 + 2.0 * R * T * 1e-4 / X2(j + 1);
        EXPECT_NEAR(m2[j] - m1[j], Gbest, tol) << "endmember " << j << " at " << X2(j + 1);
      }
    }
  }
  // Far above the solvus the mixing energy is convex: every start comes back to X, which is
  // the only composition.
  const double T = 1200.0 + 273.15;
  ASSERT_TRUE(f.model->setConditions(T, 1.0));
  SaturationContext& sc = f.sat();
  Array1<double> zero(1, 15), X2(1, 16);
  for (const auto& X : {vec({0.0, 0.7}), vec({0.02, 0.6}), vec({0.001, 0.2})}) {
    double Gbest = 0.0, Dist = 0.0;
    int err = 0;
    PhaseUnmixing(sc, 2, T, 1.0, X, X2, Gbest, 2, Dist, zero, zero, err);
    ASSERT_EQ(err, 0);
    EXPECT_EQ(Gbest, 1e12);
    EXPECT_EQ(Dist, 0.0);
    EXPECT_EQ(X2(1), X(1));
    EXPECT_EQ(X2(2), X(2));
  }
}

// One-dimensional minima: a parabola, a V (the liquidus search's |affinity|) and a minimum
// beyond the upper bound, which the walk must approach and stop at.
TEST(FindMinimum, ConvergesInsideItsBounds) {
  const struct {
    double (*f)(double);
    double start, step, lower, upper, expected, tol;
  } cases[] = {
      {[](double x) { return (x - 1300.0) * (x - 1300.0); }, 1200.0, -10.0, 500.0, 3500.0, 1300.0,
       1e-3},
      {[](double x) { return std::fabs(x - 1234.5); }, 1473.0, -10.0, 500.0, 3500.0, 1234.5, 1e-3},
      {[](double x) { return -x; }, 3000.0, 10.0, 500.0, 3500.0, 3500.0, 1e-3},
  };
  for (const auto& c : cases) {
    FindMinimumRecord rec;
    double x = c.start, step = c.step, F = c.f(x);
    int flag = 0, calls = 0;
    do {
      FindMinimum(rec, x, F, flag, c.lower, c.upper, step, 30000.0);
      ASSERT_GE(x, c.lower);
      ASSERT_LE(x, c.upper);
      if (flag == 1 || flag == 2) F = c.f(x);
    } while ((flag == 1 || flag == 2) && ++calls < 1000);
    EXPECT_NE(flag, -2) << c.expected;
    EXPECT_NEAR(x, c.expected, c.tol);
    EXPECT_EQ(F, c.f(x));
  }
}

// Dry liquids (1-bar experiments are run on degassed glasses): a mid-ocean-ridge basalt (Gale et
// al. 2013, without its H2O), a calc-alkaline andesite and a picrite.
Array1<double> oxides(std::initializer_list<double> wt) {
  Array1<double> a(1, 15);
  int i = 1;
  for (double x : wt) a(i++) = x;
  return a;
}
const Array1<double> kMorb = oxides(
    {50.47, 1.68, 14.70, 1.16, 0.04, 9.39, 0.18, 7.58, 11.39, 2.79, 0.16, 0.18, 0.0, 0.0, 0.0});
const Array1<double> kAndesite =
    oxides({59.5, 0.8, 17.2, 2.0, 0.0, 4.5, 0.1, 3.4, 6.5, 3.7, 1.6, 0.2, 0.0, 0.0, 0.0});
const Array1<double> kPicrite =
    oxides({46.5, 0.9, 10.5, 1.2, 0.3, 9.5, 0.17, 19.0, 8.7, 1.5, 0.1, 0.1, 0.0, 0.0, 0.0});

TEST(Liquidus, TheLeaderSaturatesAndEveryOtherPhaseIsUndersaturated) {
  const struct {
    const char* name;
    const Array1<double>* ox;
    double pBar;
  } cases[] = {{"MORB", &kMorb, 1.0},         {"MORB", &kMorb, 5000.0},
               {"andesite", &kAndesite, 1.0}, {"andesite", &kAndesite, 5000.0},
               {"picrite", &kPicrite, 1.0},   {"picrite", &kPicrite, 5000.0}};
  // The second liquid stays out: its affinity compares its silica potential at the second
  // composition with the liquid's, and in these liquids it can come out negative far from any
  // immiscibility (see the notes of the liquidus command).
  // In the picrite the pure sanidine (the simple alkali feldspar) comes out oversaturated by
  // 6 to 45 kJ above 1450 degrees C, more so the hotter, so that the leader would pass between
  // it and the spinel until the search gives up; it is left out there too.
  for (const auto& c : cases) {
    ModelOptions options;
    options.PhaseExcluded(38) = true;
    if (c.ox == &kPicrite) options.PhaseExcluded(3) = true;
    Fixture f(options);
    double T = 1473.15;
    const LiquidusResult r = Find_Liquidus(*f.model, f.port, *c.ox, T, c.pBar);
    ASSERT_TRUE(r.found) << c.name << " " << c.pBar << ": " << r.message << " T " << T - 273.15
                         << " phase " << r.phase << " affinity " << r.affinity << " changes "
                         << r.leaderChanges << " evals " << r.evaluations;
    EXPECT_TRUE(r.withinOneJoule);
    EXPECT_EQ(r.T, T);
    // A fresh saturation state at the temperature found, independent of the search's history.
    Fixture check(options);
    ASSERT_TRUE(check.model->setConditions(T, c.pBar));
    ASSERT_TRUE(check.model->setLiquidOxides(*c.ox));
    int err = 0;
    check.model->saturation(0, err);
    EXPECT_NEAR(check.sat().Affinity(r.phase), 0.0, 1.0) << c.name << " " << c.pBar;
    for (int id = 1; id <= 38; ++id) {
      if (id == r.phase) continue;
      EXPECT_GT(check.sat().Affinity(id), -1.0) << c.name << " phase " << id;
    }
    EXPECT_EQ(f.port.status, " Finding liquidus temperature... Done!");
  }
}

TEST(Liquidus, RefusesBadInputBeforeAnyEvaluation) {
  Fixture f;
  Array1<double> noSilica = kMorb;
  noSilica(1) = 0.0;
  ModelOptions allOut;
  allOut.PhaseExcluded.fill(true);
  const struct {
    const Array1<double>* ox;
    double pBar;
    bool excludeAll;
    const char* message;
    int evaluations;
  } cases[] = {
      {&kMorb, 0.5, false, "No valid pressure specified!", 0},
      {&kMorb, 200000.0, false, "No valid pressure specified!", 0},
      {&noSilica, 1.0, false, "No silica entered...\n            Check all oxide input values!", 0},
      {&kMorb, 1.0, true, "All phases are excluded!", 0},
  };
  for (const auto& c : cases) {
    Fixture g(c.excludeAll ? allOut : ModelOptions{});
    double T = 1473.15;
    const LiquidusResult r = Find_Liquidus(*g.model, g.port, *c.ox, T, c.pBar);
    EXPECT_FALSE(r.found);
    EXPECT_TRUE(r.badInput);
    EXPECT_EQ(r.message, c.message);
    EXPECT_EQ(r.evaluations, c.evaluations);
    ASSERT_EQ(g.port.messages.size(), 1u);
    EXPECT_EQ(g.port.messages[0], c.message);
  }
}

// With the ternary feldspars, the saturation state hands plagioclase to the unmixing search and
// writes the pair at once; each phase's endmembers then share its affinity, since a composition
// with the tangent plane's slopes has every potential shifted by the same height.
TEST(PhaseUnmixing, SaturationStateWritesThePairWithEqualEndmemberAffinities) {
  Fixture f(ternaryFeldspar());
  ASSERT_TRUE(f.model->setConditions(1150.0 + 273.15, 1.0));
  ASSERT_TRUE(f.model->setLiquidOxides(kAndesite));
  int err = 0;
  f.model->saturation(0, err);
  // The last unmixing search of the pass: the feldspar pair (the second liquid stays out by
  // default).
  EXPECT_EQ(f.sat().unmixPhase, 2);
  for (int id : {2, 3}) {
    ASSERT_LT(f.sat().Affinity(id), 1e6) << id;
    Array1<double> act(1, 15), xs(1, 15);
    for (int j = 1; j <= 3; ++j) xs(j) = f.sat().PhaseX(id, j);
    GetActivity(*f.model->activity, id, f.model->T, 1.0, xs, 3, act, err);
    ASSERT_EQ(err, 0);
    for (int j = 1; j <= 3; ++j) {
      if (xs(j) < 1e-3) continue;
      double aend = f.model->ss->G0End(f.sat().endIndex(id, j));
      for (int i = 1; i <= 15; ++i)
        aend -= f.model->phases.PhaseStoich(id, j, i) * f.model->MuLiq(i);
      EXPECT_NEAR(R * f.model->T * std::log(act(j)) + aend, f.sat().Affinity(id), 60.0)
          << "phase " << id << " endmember " << j;
    }
  }
}

}  // namespace
}  // namespace cx
