// The plot model against columns worked out by hand: the values of each family of properties,
// the axis texts, and the scale rules at their edges.
#include "plotmodel/plot_model.h"

#include <gtest/gtest.h>

#include <map>

namespace cx::plotmodel {
namespace {

// Three nodes, 2 cm apart, with values that are easy to check on paper.
Column handColumn(int nodes = 3) {
  Column c;
  c.NumNodes = nodes;
  c.DeltaX = 2.0;
  c.DimensionArrays(Settings{});
  for (int i = 1; i <= nodes; ++i) {
    c.Temp(i) = 1473.15 - 100.0 * i;  // 1100, 1000, 900 °C upward
    c.InitT(i) = 1473.15;             // 1200 °C everywhere at the start
    c.FLiq(i) = 0.5;
    c.RhoLiq(i) = 25.0;  // g per J/bar, as the column holds densities: 2.5 g/cm3
    c.RhoSolid(i) = 30.0;
  }
  return c;
}

GraphModel model(const Column& c, const std::string& property, bool autoScale = true,
                 double lower = 0.0, double upper = 0.0) {
  GraphRequest r;
  r.property = property;
  r.autoScale = autoScale;
  r.lower = lower;
  r.upper = upper;
  return buildGraphModel(c, r);
}

TEST(PlotModelValues, TemperaturesAreInCelsiusWithTheInitialProfileInRed) {
  const GraphModel m = model(handColumn(), "Temperature");
  ASSERT_TRUE(m.drawn);
  ASSERT_EQ(m.Yvec.size(), 3u);
  EXPECT_NEAR(m.Yvec[0], 1100.0, 1e-3);
  EXPECT_NEAR(m.Yvec[2], 900.0, 1e-3);
  EXPECT_NEAR(m.Y0vec[1], 1200.0, 1e-3);
  // Extremes over both curves, 900 and 1200, then the 1 % and 3 % margins.
  EXPECT_NEAR(m.Vmin, 891.0, 1e-3);
  EXPECT_NEAR(m.Vmax, 1236.0, 1e-3);
  // The far-field graph without a far field shows the same two curves.
  const GraphModel far = model(handColumn(), "Temperature - Farfield");
  EXPECT_EQ(far.Yvec, m.Yvec);
  EXPECT_EQ(far.Y0vec, m.Y0vec);
}

TEST(PlotModelValues, MgNumberIsMolarMgOverMgPlusFe2FromTheOxides) {
  Column c = handColumn();
  // 8.0610 g MgO = 0.2 mol, 7.1844 g FeO = 0.1 mol (molar masses 40.304 and 71.844).
  c.LiqOx(2, 8) = 8.0608;
  c.LiqOx(2, 6) = 7.1844;
  c.SolidOx(2, 8) = 40.304;  // forsterite-like solid with no iron: Mg# stays 0 by convention
  GraphRequest r;
  r.property = "Mg# - Liquid";
  const GraphModel liq = buildGraphModel(c, r);
  EXPECT_NEAR(liq.Yvec[1], 2.0 / 3.0, 2e-4);
  EXPECT_EQ(liq.Yvec[0], 0.0f);
  r.property = "Mg# - Solid";
  EXPECT_EQ(buildGraphModel(c, r).Yvec[1], 0.0f);
  // The chosen oxide picks its column of the oxide table.
  r.property = "Oxide wt % - Liquid";
  r.oxide = 6;
  EXPECT_NEAR(buildGraphModel(c, r).Yvec[1], 7.1844, 1e-4);
}

TEST(PlotModelValues, DensitiesAndVelocities) {
  Column c = handColumn();
  c.Vliquid(1) = 1.0 / kSecondsPerDay;  // 1 cm/day upward
  c.Vsolid(1) = -2.0 / kSecondsPerDay;
  // Half the volume liquid at 2.5, half solid at 3.0 g/cm3.
  EXPECT_NEAR(model(c, "Density - Bulk").Yvec[0], 2.75, 1e-9);
  c.FLiq(3) = 1.0;  // all liquid: the solid's density, whatever it holds, plays no part
  EXPECT_NEAR(model(c, "Density - Bulk").Yvec[2], 2.5, 1e-9);
  const GraphModel both = model(c, "Density - Liquid & Solid");
  EXPECT_FLOAT_EQ(both.Yvec[0], 3.0f);   // black: solid, g/cm3
  EXPECT_FLOAT_EQ(both.Y0vec[0], 2.5f);  // red: liquid
  EXPECT_FLOAT_EQ(model(c, "Density - Liquid").Yvec[2], 2.5f);
  EXPECT_FLOAT_EQ(model(c, "Density - Solid").Yvec[2], 3.0f);
  // A basaltic liquid as the equilibrium leaves it: 100 g in 3.704 J/bar (37.04 cm3).
  c.RhoLiq(2) = 100.0 / 3.704;
  EXPECT_NEAR(model(c, "Density - Liquid").Yvec[1], 2.6998, 1e-4);
  const GraphModel v = model(c, "Velocity - Liquid & Solid");
  EXPECT_NEAR(v.Yvec[0], 1.0, 1e-6);
  EXPECT_NEAR(v.Y0vec[0], -2.0, 1e-6);
  // The fluidization ratio of the last compaction step, node by node, with no initial curve.
  c.VRatio(2) = 0.4;
  const GraphModel f = model(c, "V/V(fluidization)");
  ASSERT_TRUE(f.drawn);
  EXPECT_EQ(f.Yvec, (std::vector<float>{0.0f, 0.4f, 0.0f}));
  EXPECT_EQ(f.Y0vec, (std::vector<float>{0.0f, 0.0f, 0.0f}));
}

TEST(PlotModelValues, MultiCurveFamiliesNameTheirCurvesAndSkipAbsentOnes) {
  Column c = handColumn();
  c.PhaseOrder(1) = 1;
  c.PhaseOrder(2) = 2;
  for (int i = 1; i <= 3; ++i) c.PhaseMass(i, 2) = 10.0 * i;  // only the second is present
  // Places of PhaseOrder no phase holds repeat the cumulative mass before them: not drawn.
  for (int k = 3; k <= kPhaseOrderSize; ++k)
    for (int i = 1; i <= 3; ++i) c.PhaseMass(i, k) = 10.0 * i;
  const GraphModel m = model(c, "Mass - Phases");
  ASSERT_TRUE(m.multiCurve);
  ASSERT_EQ(m.curves.size(), 1u);
  EXPECT_EQ(m.curves[0].name, std::string(PhaseNames[2]));
  EXPECT_FLOAT_EQ(m.curves[0].values[2], 30.0f);
  EXPECT_EQ(m.Vmin, 0.0);
  EXPECT_EQ(m.Vmax, 100.0);

  c.GasComp(1, 2) = 40.0;
  const GraphModel gas = model(c, "Mass - Gas Components");
  ASSERT_EQ(gas.curves.size(), 1u);
  EXPECT_EQ(gas.curves[0].name, "CO2");
  c.PhaseX(3, 1) = 88.0;
  ASSERT_EQ(model(c, "Mineral Compositions").curves.size(), 1u);
}

TEST(PlotModelAxis, AxisTextsAreThoseOfTheProgram) {
  const std::map<std::string, std::string> texts = {
      {"Mass - Phases", ""},
      {"Mineral Compositions", "% "},
      {"Mass - Gas Components", "wt. %"},
      {"Temperature", "°C"},
      {"Temperature - Farfield", "°C - (Farfield not active)"},
      {"Pressure", "Bars"},
      {"Liquid Fraction", ""},
      {"Mass - Gas", "wt. %"},
      {"Density - Liquid & Solid", "g/cm3; red = liquid"},
      {"Density - Liquid", "g/cm3"},
      {"Viscosity - Liquid", "log (Poise)"},
      {"Entropy - Bulk", "J/g-C"},
      {"Velocity - Liquid & Solid", "cm/day, red = V(solid)"},
      {"Log f(O2) - Liquid", "log bars"},
      {"V/V(fluidization)", "Dimensionless"},
      {"dV Correction", "Dimensionless"},
      {"Matrix Deformation", "% Deformation"},
  };
  const Column c = handColumn();
  for (const auto& [property, text] : texts)
    EXPECT_EQ(model(c, property).axisText, text) << property;
  // Every property of the list is known to the model (drawn, or explained).
  for (std::string_view p : kPlotProperties) {
    const GraphModel m = model(c, std::string(p));
    EXPECT_TRUE(m.drawn || !m.note.empty()) << p;
    EXPECT_EQ(m.note.find("Unknown"), std::string::npos) << p;
  }
}

TEST(PlotModelScale, AutoScaleMarginsAndTheFlatZeroRule) {
  double lo = 0, hi = 0;
  autoScale({0.0f, 0.0f}, {0.0f, 0.0f}, lo, hi);  // flat at zero: widened to 1 (+3 %)
  EXPECT_EQ(lo, 0.0);
  EXPECT_NEAR(hi, 1.03, 1e-12);
  autoScale({0.0f, 0.00009f}, {}, lo, hi);  // span just below 1e-4 at zero
  EXPECT_NEAR(hi, 1.03, 1e-12);
  autoScale({0.0f, 0.00011f}, {}, lo, hi);  // span just above: kept
  EXPECT_NEAR(hi, 0.00011 * 1.03, 1e-9);
  autoScale({5.0f, 5.0f}, {}, lo, hi);  // flat away from zero: margins only
  EXPECT_NEAR(lo, 4.95, 1e-9);
  EXPECT_NEAR(hi, 5.15, 1e-9);
  autoScale({-10.0f, -2.0f}, {}, lo, hi);  // negative values still open outward
  EXPECT_NEAR(lo, -10.1, 1e-9);
  EXPECT_NEAR(hi, -1.94, 1e-9);
}

TEST(PlotModelScale, TypedBoundsAndTheirFormats) {
  double lo = 0, hi = 0;
  typedScale(2.0, 2.0, lo, hi);  // equal bounds are moved apart by 5 %
  EXPECT_EQ(lo, 2.0);
  EXPECT_NEAR(hi, 2.1, 1e-12);
  typedScale(0.0, 0.0, lo, hi);  // zero stays zero
  EXPECT_EQ(hi, 0.0);
  typedScale(1.0, 3.0, lo, hi);
  EXPECT_EQ(hi, 3.0);
  const GraphModel m = model(handColumn(), "Temperature", false, 950.0, 950.0);
  EXPECT_EQ(m.Vmin, 950.0);
  EXPECT_NEAR(m.Vmax, 997.5, 1e-9);
  const GraphModel phases = model(handColumn(), "Mass - Phases", false, 5.0, 5.0);
  EXPECT_NEAR(phases.Vmax, 5.25, 1e-12);

  EXPECT_EQ(boundFormat(0.1), BoundFormat::Fixed);
  EXPECT_EQ(boundFormat(0.0999), BoundFormat::Scientific);
  EXPECT_EQ(boundFormat(-0.05), BoundFormat::Scientific);
  EXPECT_EQ(boundFormat(0.0), BoundFormat::Fixed);
  EXPECT_EQ(boundFormat(-0.1), BoundFormat::Fixed);
}

TEST(PlotModelFrame, ExtentLinesAndTicks) {
  Column c = handColumn();
  EXPECT_FALSE(model(handColumn(1), "Temperature").drawn);  // a single node draws nothing
  GraphModel m = model(c, "Temperature");
  EXPECT_EQ(m.top, 6.0);
  EXPECT_EQ(m.bottom, 2.0);
  EXPECT_FALSE(m.pileTopLine);  // TopNode 1: no pile yet
  EXPECT_FALSE(m.lastAdditionLine);
  c.TopNode = 2;
  c.LastAddition = 4.0;
  m = model(c, "Temperature");
  EXPECT_TRUE(m.pileTopLine);
  EXPECT_EQ(m.pileTopHeight, 4.0);
  EXPECT_TRUE(m.lastAdditionLine);
  EXPECT_EQ(m.lastAdditionHeight, 4.0);
  for (auto [nodes, every] : {std::pair{29, 1}, {30, 2}, {59, 2}, {60, 3}, {300, 11}})
    EXPECT_EQ(model(handColumn(nodes), "Temperature").tickEvery, every) << nodes;
}

}  // namespace
}  // namespace cx::plotmodel
