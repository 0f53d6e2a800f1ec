#include "transport/thermal_diffusion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "ui/recording_port.h"

namespace cx {
namespace {

constexpr double kPi = std::numbers::pi;

// A column without far field whose end nodes are the fixed boundaries of a slab [0, L].
struct Slab {
  Column column;
  Settings settings;
  RecordingDiagnostics diag;
  RecordingPort port;
  double length = 0.0;

  Slab(int nodes, double dx, double kappa) {
    column.NumNodes = nodes;
    column.DeltaX = dx;
    settings.setMiscText(misc::kFarfieldThickness, "0");
    settings.setMiscText(misc::kDiffusivity, std::to_string(kappa));
    column.DimensionArrays(settings);
    length = (nodes - 1) * dx;
  }
  double x(int i) const { return (i - 1) * column.DeltaX; }
};

// The heat equation on a slab with both ends at 0 has the modes sin(m pi x / L).  For the
// backward-Euler scheme each mode is an exact discrete eigenvector: its amplitude is multiplied
// per step by 1 / (1 + 4 r sin^2(m pi dx / 2L)), r = kappa dt / dx^2.  The continuous solution
// decays as exp(-kappa (m pi / L)^2 t).
TEST(ThermalDiffusion, FourierModesDecayAsTheSchemeAndTheHeatEquationSay) {
  for (int mode : {1, 3}) {
    for (double dtFactor : {0.2, 50.0}) {  // below and far above the explicit limit dx^2/2kappa
      Slab slab(41, 10.0, 0.5);
      Column& c = slab.column;
      const double dtExplicit = c.DeltaX * c.DeltaX / (2.0 * 0.5);
      c.DeltaT = dtFactor * dtExplicit;
      for (int i = 1; i <= c.NumNodes; ++i)
        c.Temp(i) = 1000.0 * std::sin(mode * kPi * slab.x(i) / slab.length);
      const double r = 0.5 * c.DeltaT / (c.DeltaX * c.DeltaX);
      const double factor =
          1.0 /
          (1.0 + 4.0 * r * std::pow(std::sin(mode * kPi * c.DeltaX / (2.0 * slab.length)), 2));
      const int steps = 20;
      for (int s = 0; s < steps; ++s) TDiffusion(c, slab.settings, slab.diag, slab.port);
      const double t = steps * c.DeltaT;
      const double discrete = std::pow(factor, steps);
      const double continuous = std::exp(-0.5 * std::pow(mode * kPi / slab.length, 2) * t);
      for (int i = 1; i <= c.NumNodes; ++i) {
        const double shape = 1000.0 * std::sin(mode * kPi * slab.x(i) / slab.length);
        EXPECT_NEAR(c.Temp(i), shape * discrete, 1e-9 * 1000.0) << "mode " << mode << " node " << i;
      }
      // The scheme's error against the heat equation is first order in time: small for the
      // small step, bounded (and without oscillation) for the large one.
      const double mid = c.Temp(21) / (1000.0 * std::sin(mode * kPi * slab.x(21) / slab.length));
      if (dtFactor < 1.0) {
        EXPECT_NEAR(mid, continuous, 0.01 * continuous + 1e-6);
      } else {
        EXPECT_GT(mid, continuous);  // backward Euler decays more slowly than the truth
        EXPECT_GE(mid, 0.0);
        EXPECT_LT(mid, 1.0);
      }
      EXPECT_FALSE(slab.diag.ErrorFlag);
    }
  }
}

// A slab initially at 0 whose ends are held at 1000 K: the Fourier series of the heating of a
// slab, T = T1 (1 - sum 4/(m pi) sin(m pi x/L) exp(-kappa (m pi/L)^2 t)) over odd m.
TEST(ThermalDiffusion, SlabHeatedFromBothEndsFollowsTheFourierSeries) {
  Slab slab(101, 1.0, 1.0);
  Column& c = slab.column;
  for (int i = 1; i <= c.NumNodes; ++i) c.Temp(i) = 0.0;
  c.Temp(1) = c.Temp(c.NumNodes) = 1000.0;
  c.DeltaT = 0.05;
  const int steps = 400;
  for (int s = 0; s < steps; ++s) TDiffusion(c, slab.settings, slab.diag, slab.port);
  const double t = steps * c.DeltaT, L = slab.length;
  double worst = 0.0;
  for (int i = 2; i < c.NumNodes; ++i) {
    double sum = 0.0;
    for (int m = 1; m < 2000; m += 2)
      sum += 4.0 / (m * kPi) * std::sin(m * kPi * slab.x(i) / L) *
             std::exp(-std::pow(m * kPi / L, 2) * t);
    worst = std::max(worst, std::fabs(c.Temp(i) - 1000.0 * (1.0 - sum)));
  }
  // Discretization error of the scheme at dx = 1, dt = 0.05 after t = 20: a few kelvin at most.
  EXPECT_LT(worst, 5.0);
  EXPECT_EQ(c.Temp(1), 1000.0);
  EXPECT_EQ(c.Temp(c.NumNodes), 1000.0);
}

TEST(ThermalDiffusion, LargeStepsStayBoundedAndMonotoneAndEndsAreNeverWritten) {
  // A step profile with a huge time step: the implicit scheme obeys the maximum principle.
  Slab slab(30, 1.0, 1.0);
  Column& c = slab.column;
  for (int i = 1; i <= c.NumNodes; ++i) c.Temp(i) = i <= 15 ? 1500.0 : 900.0;
  c.DeltaT = 1e6;
  TDiffusion(c, slab.settings, slab.diag, slab.port);
  for (int i = 2; i <= c.NumNodes; ++i) {
    EXPECT_LE(c.Temp(i), c.Temp(i - 1) + 1e-9);
    EXPECT_GE(c.Temp(i), 900.0 - 1e-9);
    EXPECT_LE(c.Temp(i), 1500.0 + 1e-9);
  }
  // kappa large against dx^2/dt: the solution is nearly linear between the fixed ends (the step
  // began 300 K away from that line).
  for (int i = 1; i <= c.NumNodes; ++i)
    EXPECT_NEAR(c.Temp(i), 1500.0 + (900.0 - 1500.0) * (i - 1) / 29.0, 0.01);
  EXPECT_EQ(slab.port.moduleId, "Thermal diffusion...");
}

TEST(ThermalDiffusion, ZeroTimeStepOrDiffusivityIsTrappedAsDivisionByZero) {
  for (bool zeroKappa : {false, true}) {
    Slab slab(10, 1.0, zeroKappa ? 0.0 : 1.0);
    slab.column.DeltaT = zeroKappa ? 10.0 : 0.0;
    TDiffusion(slab.column, slab.settings, slab.diag, slab.port);
    EXPECT_TRUE(slab.diag.ErrorFlag);
    ASSERT_EQ(slab.diag.reports.size(), 1u);
    EXPECT_EQ(slab.diag.reports[0], "11 error in subroutine TDiffusion.");
    EXPECT_EQ(slab.diag.pauses, 0);  // reported without a pause
  }
}

TEST(ThermalDiffusion, FarFieldSlabsDiffuseWithTheColumnAndConserveHeatBetweenFixedEnds) {
  // With slabs the whole grid is solved: heat flows from the hot column into the cold slabs.
  Column c;
  Settings s;
  c.NumNodes = 10;
  c.DeltaX = 1.0;
  s.setMiscText(misc::kFarfieldThickness, "1");
  s.setMiscText(misc::kFarfieldTTop, "100");
  s.setMiscText(misc::kFarfieldTBottom, "100");
  s.setMiscText(misc::kDiffusivity, "1");
  c.DimensionArrays(s);
  for (int i = 1; i <= 10; ++i) c.Temp(i) = 1473.15;
  c.DeltaT = 0.5;
  RecordingDiagnostics diag;
  RecordingPort port;
  // Heat content changes only through the two fixed ends: the sum of interior temperatures
  // changes by dt*kappa/dx^2 times the end gradients of the new profile.
  auto interiorSum = [&] {
    double sum = 0.0;
    for (int i = c.Temp.lo() + 1; i <= c.Temp.hi() - 1; ++i) sum += c.Temp(i);
    return sum;
  };
  const double before = interiorSum();
  TDiffusion(c, s, diag, port);
  const int lo = c.Temp.lo(), hi = c.Temp.hi();
  const double flux = (c.Temp(lo) - c.Temp(lo + 1)) + (c.Temp(hi) - c.Temp(hi - 1));
  EXPECT_NEAR(interiorSum() - before, c.DeltaT * 1.0 / (c.DeltaX * c.DeltaX) * flux, 1e-8);
  EXPECT_LT(c.Temp(1), 1473.15);  // the column's bottom lost heat to the lower slab
  EXPECT_GT(c.Temp(0), 0.5 * (373.15 + 373.15));
}

TEST(BoundaryTemperatures, RatesFloatingEndsAndClampsInTheirOrder) {
  struct Case {
    int skipFarfield, tTop, tBottom, k;
    double topRate, bottomRate;  // K per step (DeltaT = 1)
    double expectLo, expectHi;   // boundary values after the step
  };
  // Column ends at 1200 °C, slab ends at 1000 °C (bottom) and 500 °C (top), limits:
  // max top 1190, max bottom 2000, min top 520, min bottom 0 (°C).
  const Case cases[] = {
      // Far field skipped: nodes 1 and N are the boundaries; a floating end keeps its value.
      {1, 0, 1, 2, -5.0, -5.0, 1200.0, 1190.0},  // top stepped then clamped to its maximum
      {1, 1, 0, 2, -5.0, -5.0, 1195.0, 1190.0},  // a floating top is still clamped
      {1, 1, 1, 0, -50.0, -5.0, 1200.0, 1190.0},
      // Slabs present: the slab ends always follow the rates, floating or not.
      {0, 1, 1, 2, -30.0, 10.0, 1010.0, 520.0},  // 500 - 30 = 470, clamped up to 520
      {0, 0, 0, 1, 25.0, -3.0, 997.0, 525.0},
  };
  for (const auto& cs : cases) {
    Column c;
    Settings s;
    c.NumNodes = 6;
    s.setMiscText(misc::kFarfieldThickness, std::to_string(cs.k));
    s.setMiscText(misc::kFarfieldTTop, "500");
    s.setMiscText(misc::kFarfieldTBottom, "1000");
    c.DimensionArrays(s);
    for (int i = 1; i <= 6; ++i) c.Temp(i) = 1200.0 + kKelvinOffset;
    s.run.chkSkipFarfield = cs.skipFarfield;
    s.run.chkTTop = cs.tTop;
    s.run.chkTBottom = cs.tBottom;
    s.setMiscText(misc::kMaxTTop, "1190");
    s.setMiscText(misc::kMaxTBottom, "2000");
    s.setMiscText(misc::kMinTTop, "520");
    s.setMiscText(misc::kMinTBottom, "0");
    c.TopCoolRate = cs.topRate;
    c.BottomCoolRate = cs.bottomRate;
    c.DeltaT = 1.0;
    applyBoundaryTemperatures(c, s);
    const int lo = cs.skipFarfield ? 1 : c.Temp.lo();
    const int hi = cs.skipFarfield ? 6 : c.Temp.hi();
    EXPECT_NEAR(c.Temp(lo) - kKelvinOffset, cs.expectLo, 1e-9)
        << cs.skipFarfield << cs.tTop << cs.tBottom;
    EXPECT_NEAR(c.Temp(hi) - kKelvinOffset, cs.expectHi, 1e-9)
        << cs.skipFarfield << cs.tTop << cs.tBottom;
  }
}

}  // namespace
}  // namespace cx
