// The silicate liquid: its interaction table, the passage from oxides to components and back,
// mole fractions, and the chemical potentials against the derivative of the total Gibbs energy.
#include "thermo/silicate_liquid.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "liquid_fixtures.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

using test::componentsOf;
using test::liquidTables;
using test::Oxides;
using test::thermoTables;
using test::toArray;

TEST(LiquidWij, TableIsSymmetricWithItsPublishedEntries) {
  RecordingPort port;
  LiquidTables t;
  LiquidWijModule(t, port);
  EXPECT_TRUE(port.messages.empty());
  // Entries spread over the table, read off the published upper triangle, and their mirrors.
  const struct {
    int i, j;
    double w;
  } entries[] = {{1, 2, 26267.0},   {1, 13, 30967.0},  {2, 3, -29450.0},   {3, 10, -130785.0},
                 {4, 6, -179065.0}, {5, 10, 113646.0}, {5, 13, 0.0},       {6, 12, 87410.0},
                 {7, 12, 0.0},      {8, 9, -31732.0},  {10, 13, -96938.0}, {11, 12, 17101.0},
                 {12, 13, 43451.0}, {13, 14, 9210.0},  {1, 14, 0.0},       {12, 15, 0.0}};
  for (const auto& e : entries) {
    EXPECT_EQ(t.LiqW(e.i, e.j), e.w) << e.i << "," << e.j;
    EXPECT_EQ(t.LiqW(e.j, e.i), e.w) << e.j << "," << e.i;
  }
  double rowsOfVolatiles = 0.0;
  for (int j = 1; j <= 15; ++j) {
    EXPECT_EQ(t.LiqW(j, j), 0.0);
    if (j != 13) rowsOfVolatiles += std::fabs(t.LiqW(14, j));
    rowsOfVolatiles += std::fabs(t.LiqW(15, j));
  }
  EXPECT_EQ(rowsOfVolatiles, 0.0);
  EXPECT_EQ(t.LiqCO2Coef(4, 1), -600000.0);
  EXPECT_EQ(t.LiqCO2Coef(11, 2), -23400.0);
  EXPECT_EQ(t.LiqCO2Coef(12, 1), 0.0);
  EXPECT_EQ(t.LiqSCoef(4), -360000.0);
  EXPECT_EQ(t.LiqSCoef(10), -7790.0);

  // A table damaged in two places gives one box for each pair that differs.
  Array2<double> W = t.LiqW;
  W(3, 7) += 1.0;
  W(15, 2) = -5.0;
  EXPECT_EQ(CheckLiquidWijSymmetry(W, port), 2);
  ASSERT_EQ(port.messages.size(), 2u);
  EXPECT_EQ(port.messages[0], "Problem loading liquid interaction parameters!\n");
}

TEST(LiquidComposition, OxidesToComponentsAndBackIsExact) {
  // Compositions with phosphorus, sulfur, chromium and all three volatiles.
  const Oxides cases[] = {
      test::kMorb,
      {48.0, 2.1, 14.0, 2.5, 0.1, 9.5, 0.2, 7.0, 10.5, 3.0, 0.8, 0.6, 1.2, 0.3, 0.25},
      {62.0, 0.6, 16.5, 1.5, 0.0, 3.0, 0.1, 2.0, 5.0, 4.0, 2.5, 0.3, 4.0, 0.1, 0.05},
      {45.0, 3.5, 12.0, 0.5, 0.4, 12.5, 0.2, 13.0, 9.0, 2.0, 1.0, 1.2, 0.0, 0.0, 0.4},
  };
  const ThermoTables& t = thermoTables();
  for (const Oxides& ox : cases) {
    Array1<double> wt = toArray(ox), m(1, 15), c(1, 15), back(1, 15);
    NormalizeOxides(wt);
    double sum = 0.0;
    for (int i = 1; i <= 15; ++i) sum += wt(i);
    EXPECT_NEAR(sum, 100.0, 1e-12);
    OxidesToMoles(t, wt, m);
    for (int i = 1; i <= 15; ++i) EXPECT_DOUBLE_EQ(m(i) * t.OxideMW(i), wt(i));
    RecordingDiagnostics diag;
    ASSERT_TRUE(MolesComponents(t, diag, m, c));
    EXPECT_FALSE(diag.ErrorFlag);
    ComponentsToOxides(t, c, back);
    for (int i = 1; i <= 15; ++i) EXPECT_NEAR(back(i), wt(i), 1e-12 * 100.0) << "oxide " << i;
    // Sulfur raises Fe2O3 by its own amount and takes three FeO per S from the fayalite.
    EXPECT_DOUBLE_EQ(c(4), m(4) + m(15));
    EXPECT_DOUBLE_EQ(c(15), m(15));
    // Mass is kept: the components weigh what the oxides weigh.
    double massC = 0.0;
    for (int i = 1; i <= 15; ++i) massC += back(i);
    EXPECT_NEAR(massC, 100.0, 1e-11);
  }
  // Zero and negative sums leave the oxides alone.
  Array1<double> zero(1, 15);
  NormalizeOxides(zero);
  EXPECT_EQ(zero(1), 0.0);
  Array1<double> neg(1, 15);
  neg(1) = -1.0;
  NormalizeOxides(neg);
  EXPECT_EQ(neg(1), -1.0);
}

TEST(LiquidComposition, FailuresStopInTheirOrder) {
  const ThermoTables& t = thermoTables();
  struct Case {
    const char* what;
    Oxides ox;
    bool ok;
    int failedAt;  // the component that failed; later ones are not written
    const char* name;
    const char* formula;
  };
  const Case cases[] = {
      // P2O5 beyond CaO/3 (by moles): wollastonite runs out.
      {"phosphorus",
       {50.0, 1.0, 15.0, 1.0, 0.0, 8.0, 0.1, 8.0, 0.5, 3.0, 0.2, 2.0, 0, 0, 0},
       false,
       9,
       "p-Wollastonite",
       "CaSiO3"},
      // Sulfur beyond FeO/3: no FeO left for fayalite.
      {"sulfur",
       {50.0, 1.0, 15.0, 1.0, 0.0, 1.0, 0.1, 8.0, 10.0, 3.0, 0.2, 0.2, 0, 0, 2.0},
       false,
       6,
       "Fayalite",
       "Fe2SiO4"},
      // Too little silica for the metasilicates.
      {"silica",
       {5.0, 1.0, 15.0, 1.0, 0.0, 8.0, 0.1, 8.0, 10.0, 3.0, 0.2, 0.2, 0, 0, 0},
       false,
       1,
       "Amorph Silica",
       "SiO2"},
      // K2O beyond Al2O3 gives a negative Al2O3 component, which passes.
      {"potassium",
       {60.0, 0.5, 1.0, 1.0, 0.0, 4.0, 0.1, 1.0, 3.0, 4.0, 8.0, 0.1, 0, 0, 0},
       true,
       0,
       "",
       ""},
  };
  for (const Case& k : cases) {
    for (bool pause : {false, true}) {
      Array1<double> wt = toArray(k.ox), m(1, 15), c(1, 15, -777.0);
      OxidesToMoles(t, wt, m);
      RecordingDiagnostics diag;
      diag.PauseOnError = pause;
      EXPECT_EQ(MolesComponents(t, diag, m, c), k.ok) << k.what;
      EXPECT_EQ(diag.ErrorFlag, !k.ok) << k.what;
      if (k.ok) {
        EXPECT_LT(c(3), 0.0);
        EXPECT_TRUE(diag.reports.empty());
        continue;
      }
      EXPECT_LT(c(k.failedAt), 0.0) << k.what;
      for (int i = 1; i < k.failedAt; ++i) EXPECT_NE(c(i), -777.0) << k.what << " " << i;
      for (int i = k.failedAt + 1; i <= 15; ++i) EXPECT_EQ(c(i), -777.0) << k.what << " " << i;
      if (!pause) {
        EXPECT_TRUE(diag.reports.empty());
        continue;
      }
      ASSERT_EQ(diag.reports.size(), 1u);
      EXPECT_EQ(diag.reports[0],
                std::string("0 error in subroutine MolesComponents.\nOxide concentration too low "
                            "to make system components: ") +
                    k.name + ", (" + k.formula + ").");
      EXPECT_EQ(diag.pauses, 1);
    }
  }
}

TEST(LiquidComposition, MoleFractionsAndTheirFailures) {
  LiquidContext ctx;
  RecordingPort port;
  ctx.port = &port;
  Array1<double> moles(1, 15), x(1, 15, 0.5);
  moles(1) = 1.0;
  moles(3) = 3.0;
  RecordingDiagnostics diag;
  // Only the first n entries count.
  moles(15) = 100.0;
  ASSERT_TRUE(MoleFractions(ctx, diag, moles, x, 14));
  EXPECT_DOUBLE_EQ(x(1), 0.25);
  EXPECT_DOUBLE_EQ(x(3), 0.75);
  EXPECT_EQ(x(2), 0.0);
  EXPECT_EQ(x(15), 0.5);
  // A zero sum leaves x as it was.
  Array1<double> none(1, 15), y(1, 15, 0.3);
  ASSERT_TRUE(MoleFractions(ctx, diag, none, y, 15));
  EXPECT_EQ(y(7), 0.3);
  EXPECT_FALSE(diag.ErrorFlag);
  // A negative entry: ErrorFlag, x untouched, the box only with ComputeMessages.
  moles(5) = -1e-9;
  for (bool messages : {false, true}) {
    ctx.ComputeMessages = messages;
    RecordingDiagnostics d;
    Array1<double> z(1, 15, 0.3);
    EXPECT_FALSE(MoleFractions(ctx, d, moles, z, 15));
    EXPECT_TRUE(d.ErrorFlag);
    EXPECT_EQ(z(1), 0.3);
  }
  ASSERT_EQ(port.messages.size(), 1u);
  EXPECT_EQ(port.messages[0],
            "Problem in computation!\nNegative moles in Subroutine MoleFractions");
  // More entries than the array holds: a trapped subscript fault.
  RecordingDiagnostics d;
  d.PauseOnError = true;
  EXPECT_FALSE(MoleFractions(ctx, d, x, y, 16));
  ASSERT_EQ(d.reports.size(), 1u);
  EXPECT_EQ(d.reports[0], "9 error in subroutine MoleFractions.");
}

// The total Gibbs energy of n moles of components, G = sum n(i)*mu(i), through MoleFractions,
// u_Liquid and G_liquid as the minimizer uses them.
struct LiquidEnergy {
  const StandardState& ss;
  double T, P;
  LiquidContext ctx;
  RecordingDiagnostics diag;
  Array1<double> x{1, 15}, mu{1, 15}, S{1, 15}, H{1, 15};

  double G(const Array1<double>& n) {
    double N = 0.0;
    for (int i = 1; i <= 15; ++i) N += n(i);
    x.fill(0.0);
    EXPECT_TRUE(MoleFractions(ctx, diag, n, x, 15));
    EXPECT_TRUE(u_Liquid(liquidTables(), ss, ctx, diag, 0, x, mu, S, H, T, P));
    double g = 0.0;
    EXPECT_TRUE(G_liquid(ctx, diag, x, g));
    Gmix = 0.0;
    for (int i = 1; i <= 15; ++i)
      if (x(i) > 0.0) Gmix += N * x(i) * (mu(i) - ss.G0Liq(i));
    return N * g;
  }
  double Gmix = 0.0;  // the energy of mixing of the last call, summed apart for its precision
};

TEST(LiquidPotentials, DryPotentialsAreTheDerivativesOfG) {
  const Oxides comps[] = {test::kMorb, test::kAndesite, test::kRhyolite, test::kPicrite};
  for (double TC : {900.0, 1150.0, 1400.0}) {
    const double T = TC + 273.15, P = 2000.0;
    const auto ss = test::standardStates(T, P);
    for (const Oxides& ox : comps) {
      LiquidEnergy e{*ss, T, P, {}, {}};
      Array1<double> n = componentsOf(ox);
      for (int i = 13; i <= 15; ++i) ASSERT_EQ(n(i), 0.0);
      e.G(n);
      const Array1<double> mu = e.mu;
      for (int i = 1; i <= 12; ++i) {
        if (n(i) <= 0.0) {
          EXPECT_EQ(mu(i), 0.0);
          continue;
        }
        const double h = 1e-4 * n(i);
        Array1<double> np = n, nm = n;
        np(i) += h;
        nm(i) -= h;
        const double gp = e.G(np), gpMix = e.Gmix;
        const double gm = e.G(nm), gmMix = e.Gmix;
        EXPECT_NEAR((gp - gm) / (2.0 * h), mu(i), 1e-6 * std::fabs(mu(i)))
            << "component " << i << " at " << TC;
        // The mixing part alone, a hundred times smaller, to the same relative tolerance.
        const double mix = mu(i) - ss->G0Liq(i);
        EXPECT_NEAR((gpMix - gmMix) / (2.0 * h), mix, 1e-6 * std::max(std::fabs(mix), kLiquidR * T))
            << "component " << i << " at " << TC;
      }
    }
  }
}

TEST(LiquidPotentials, PartialEntropyAndEnthalpyOfTheMixing) {
  // On fixed standard states, S(i) - S0(i) = -d(mu(i) - G0(i))/dT and H = mu + T S for the
  // components of the regular solution and the sulfide; water and CO2 keep their asymmetries.
  const double T = 1473.15, P = 1500.0;
  const auto ss = test::standardStates(T, P);
  const LiquidTables& lt = liquidTables();
  Array1<double> n = componentsOf(
      {49.0, 1.8, 14.5, 2.0, 0.05, 8.5, 0.18, 7.5, 10.8, 2.8, 0.4, 0.2, 2.5, 0.4, 0.15});
  LiquidContext ctx;
  RecordingDiagnostics diag;
  Array1<double> x(1, 15), mu(1, 15), S(1, 15), H(1, 15), mup(1, 15), mum(1, 15), scratch(1, 15);
  ASSERT_TRUE(MoleFractions(ctx, diag, n, x, 15));
  ASSERT_TRUE(u_Liquid(lt, *ss, ctx, diag, 0, x, mu, S, H, T, P));
  const double dT = 0.01;
  ASSERT_TRUE(u_Liquid(lt, *ss, ctx, diag, 0, x, mup, scratch, scratch, T + dT, P));
  ASSERT_TRUE(u_Liquid(lt, *ss, ctx, diag, 0, x, mum, scratch, scratch, T - dT, P));
  for (int i = 1; i <= 15; ++i) {
    ASSERT_GT(x(i), 0.0) << i;
    if (i == 14) continue;  // the CO2 terms do not depend on T at all
    const double dmu = (mup(i) - mum(i)) / (2.0 * dT);
    EXPECT_NEAR(S(i) - ss->S0Liq(i), -dmu, 1e-6 * std::fabs(dmu)) << i;
  }
  // The excess energy per mole, written out.
  double Q = 0.0;
  for (int i = 1; i <= 12; ++i)
    for (int j = i + 1; j <= 13; ++j) Q += x(i) * x(j) * lt.LiqW(i, j);
  for (int i = 1; i <= 15; ++i) {
    const double gap = H(i) - T * S(i) - mu(i);
    if (i == 13) {
      EXPECT_NEAR(gap, Q, 1e-9 * std::fabs(mu(i))) << "water: H leaves out -Q";
    } else if (i == 14) {
      // The solution term of CO2 in the volatile-free melt, which H leaves out.
      const double D = 1.0 - x(13) - x(14);
      double E = (1.0 - x(14)) * x(13) * lt.LiqW(13, 14);
      double a = 0.0, b = 0.0, w13 = 0.0, pairs = 0.0;
      for (int k = 1; k <= 12; ++k) {
        const double y = x(k) / D;
        w13 += y * lt.LiqW(k, 13);
        a += y * lt.LiqCO2Coef(k, 1);
        b += y * lt.LiqCO2Coef(k, 2);
        for (int j = k + 1; j <= 12; ++j) pairs += y * (x(j) / D) * lt.LiqW(k, j);
      }
      E += -D * x(13) * w13 + D * (1.0 - x(14)) * (a + std::log(P) * b) - D * D * pairs;
      EXPECT_GT(std::fabs(E), 1000.0);
      EXPECT_NEAR(gap, -E, 1e-9 * std::fabs(mu(i))) << "CO2: H leaves out E";
      // The CO2 potential moves with pressure only through ln P, by D(1 - x14) sum y*b.
      Array1<double> m2(1, 15);
      ASSERT_TRUE(u_Liquid(lt, *ss, ctx, diag, 14, x, m2, scratch, scratch, T, 2.0 * P));
      EXPECT_NEAR(m2(14) - mu(14), D * (1.0 - x(14)) * b * std::log(2.0), 1e-6);
    } else {
      EXPECT_NEAR(gap, 0.0, 1e-9 * std::fabs(mu(i))) << i;
    }
  }
  // Water's two-site entropy of mixing.
  EXPECT_NEAR(S(13) - ss->S0Liq(13), -2.0 * kLiquidR * std::log(x(13)), 1e-4);
}

TEST(LiquidPotentials, OneComponentCallsAndEdgeCases) {
  const double T = 1423.15, P = 1000.0;
  const auto ss = test::standardStates(T, P);
  const LiquidTables& lt = liquidTables();
  LiquidContext ctx;
  RecordingDiagnostics diag;
  Array1<double> n =
      componentsOf({52.0, 1.2, 15.0, 1.5, 0.03, 7.5, 0.15, 6.5, 9.5, 3.2, 0.9, 0.2, 1.5, 0.2, 0.1});
  Array1<double> x(1, 15), mu(1, 15), S(1, 15), H(1, 15);
  ASSERT_TRUE(MoleFractions(ctx, diag, n, x, 15));
  ASSERT_TRUE(u_Liquid(lt, *ss, ctx, diag, 0, x, mu, S, H, T, P));
  for (int i = 1; i <= 15; ++i) EXPECT_EQ(ctx.LiqMu(i), mu(i));
  // Each component alone gives what the full call gives, and touches nothing else; the
  // potentials of the last full call stay in LiqMu.
  for (int which = 1; which <= 15; ++which) {
    Array1<double> m1(1, 15, 7.0), s1(1, 15, 7.0), h1(1, 15, 7.0);
    ASSERT_TRUE(u_Liquid(lt, *ss, ctx, diag, which, x, m1, s1, h1, T, P));
    for (int i = 1; i <= 15; ++i) {
      if (i == which) {
        EXPECT_DOUBLE_EQ(m1(i), mu(i)) << which;
        EXPECT_DOUBLE_EQ(s1(i), S(i)) << which;
        EXPECT_DOUBLE_EQ(h1(i), H(i)) << which;
      } else {
        EXPECT_EQ(m1(i), 7.0) << which << " touched " << i;
        EXPECT_EQ(s1(i), 7.0);
        EXPECT_EQ(h1(i), 7.0);
      }
    }
  }
  // A number outside 0..15 computes nothing.
  for (int which : {-3, 16}) {
    Array1<double> m1(1, 15, 7.0);
    ASSERT_TRUE(u_Liquid(lt, *ss, ctx, diag, which, x, m1, S, H, T, P));
    for (int i = 1; i <= 15; ++i) EXPECT_EQ(m1(i), 7.0);
  }
  for (int i = 1; i <= 15; ++i) EXPECT_EQ(ctx.LiqMu(i), mu(i));
  double G = 5.0;
  ASSERT_TRUE(G_liquid(ctx, diag, x, G));
  double sum = 0.0;
  for (int i = 1; i <= 15; ++i) sum += x(i) * mu(i);
  EXPECT_NEAR(G, 5.0 + sum, 1e-9 * std::fabs(sum));

  // A dry liquid: water's outputs are zero and ln(1 - x13) drops out; an absent component
  // gets zeros.
  Array1<double> dry = x;
  dry(13) = 0.0;
  dry(7) = 0.0;
  Array1<double> md(1, 15, 3.0), sd(1, 15, 3.0), hd(1, 15, 3.0);
  ASSERT_TRUE(u_Liquid(lt, *ss, ctx, diag, 0, dry, md, sd, hd, T, P));
  for (int i : {7, 13}) {
    EXPECT_EQ(md(i), 0.0);
    EXPECT_EQ(sd(i), 0.0);
    EXPECT_EQ(hd(i), 0.0);
  }
  EXPECT_NEAR(sd(1), ss->S0Liq(1) - kLiquidR * std::log(dry(1)), 1e-9);
  EXPECT_FALSE(diag.ErrorFlag);

  // x13 + x14 = 1: the CO2 branch divides by zero, a trapped fault 11; P = 0 with CO2 present
  // is fault 5; arrays too short are fault 9.  Reports only with PauseOnError.
  Array1<double> fluid(1, 15), shortArray(1, 12);
  fluid(13) = 0.6;
  fluid(14) = 0.4;
  Array1<double> dilute = x;
  const struct {
    const Array1<double>* x;
    Array1<double>* mu;
    double P;
    bool pause;
    const char* report;
  } faults[] = {{&fluid, &mu, P, true, "11 error in subroutine u_Liquid."},
                {&fluid, &mu, P, false, nullptr},
                {&dilute, &mu, 0.0, true, "5 error in subroutine u_Liquid."},
                {&dilute, &shortArray, P, true, "9 error in subroutine u_Liquid."}};
  for (const auto& f : faults) {
    RecordingDiagnostics d;
    d.PauseOnError = f.pause;
    EXPECT_FALSE(u_Liquid(lt, *ss, ctx, d, 0, *f.x, *f.mu, S, H, T, f.P));
    EXPECT_TRUE(d.ErrorFlag);
    if (f.report) {
      ASSERT_EQ(d.reports.size(), 1u);
      EXPECT_EQ(d.reports[0], f.report);
    } else {
      EXPECT_TRUE(d.reports.empty());
    }
  }
  // The same faults with trapping off travel to the caller.
  RecordingDiagnostics untrapped;
  untrapped.TrapErrors = false;
  EXPECT_THROW(u_Liquid(lt, *ss, ctx, untrapped, 0, fluid, mu, S, H, T, P), Fault);
}

}  // namespace
}  // namespace cx
