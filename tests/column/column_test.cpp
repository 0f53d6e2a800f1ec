#include "column/column.h"

#include <gtest/gtest.h>

namespace cx {
namespace {

Settings farfield(const std::string& k, double topC, double bottomC) {
  Settings s;
  s.setMiscText(misc::kFarfieldThickness, k);
  s.setMiscText(misc::kFarfieldTTop, std::to_string(topC));
  s.setMiscText(misc::kFarfieldTBottom, std::to_string(bottomC));
  return s;
}

TEST(FarField, SlabProfilesFollowEveryRule) {
  struct Case {
    std::string k;
    int expectLo, expectHi;
  };
  // N = 5.  A thickness of 4 is clamped to 3 in the allocation but still builds slabs.
  const Case cases[] = {{"1", -5, 10}, {"2", -10, 15}, {"3", -15, 20}, {"4", -15, 20}};
  for (const auto& cs : cases) {
    Column c;
    c.NumNodes = 5;
    const Settings s = farfield(cs.k, 200.0, 1000.0);
    c.DimensionArrays(s);
    for (int i = 1; i <= 5; ++i) c.Temp(i) = c.InitT(i) = 1473.15;
    c.DimensionFarfield(s);  // keeps the column's temperatures
    ASSERT_EQ(c.Temp.lo(), cs.expectLo) << cs.k;
    ASSERT_EQ(c.Temp.hi(), cs.expectHi) << cs.k;
    ASSERT_EQ(c.InitT.lo(), cs.expectLo);
    const double tTop = 473.15, tBot = 1273.15, mid = (tTop + tBot) / 2.0;
    const int lo = c.Temp.lo(), hi = c.Temp.hi();
    EXPECT_DOUBLE_EQ(c.Temp(lo), tBot);
    EXPECT_DOUBLE_EQ(c.Temp(0), mid);
    // The lower slab is linear from its end to its contact node.
    const double s0 = (mid - tBot) / -lo;
    for (int i = lo; i <= 0; ++i) EXPECT_NEAR(c.Temp(i), tBot + (i - lo) * s0, 1e-9);
    // The upper slab starts at the mean and reuses the lower slab's step, so that its last
    // interior point does not meet Ttop: the jump at its end is kept.
    EXPECT_DOUBLE_EQ(c.Temp(6), mid);
    for (int i = 7; i <= hi - 1; ++i) EXPECT_NEAR(c.Temp(i), mid + (i - 6) * s0, 1e-9);
    EXPECT_DOUBLE_EQ(c.Temp(hi), tTop);
    EXPECT_GT(std::fabs(c.Temp(hi - 1) + s0 - c.Temp(hi)), 1.0);
    for (int i = lo; i <= hi; ++i) EXPECT_DOUBLE_EQ(c.InitT(i), c.Temp(i)) << i;
    // The column keeps its temperatures when slabs exist.
    for (int i = 1; i <= 5; ++i) EXPECT_DOUBLE_EQ(c.Temp(i), 1473.15);
    EXPECT_TRUE(c.InitialNeeded);
  }
}

TEST(FarField, WithoutSlabsTheFarFieldTemperaturesOverwriteTheColumnEnds) {
  for (const std::string k : {"0", "-2"}) {
    Column c;
    c.NumNodes = 6;
    const Settings s = farfield(k, 300.0, 900.0);
    c.DimensionArrays(s);
    for (int i = 1; i <= 6; ++i) c.Temp(i) = c.InitT(i) = 1500.0;
    c.DimensionFarfield(s);
    EXPECT_EQ(c.Temp.lo(), 1) << k;
    EXPECT_EQ(c.Temp.hi(), 6) << k;
    EXPECT_DOUBLE_EQ(c.Temp(1), 900.0 + kKelvinOffset);
    EXPECT_DOUBLE_EQ(c.Temp(6), 300.0 + kKelvinOffset);
    EXPECT_DOUBLE_EQ(c.InitT(6), 300.0 + kKelvinOffset);
    EXPECT_DOUBLE_EQ(c.Temp(3), 1500.0);
  }
}

TEST(FarField, EqualSlabTemperaturesGiveFlatSlabsAndMoreNodesKeepTheOldTop) {
  Column c;
  c.NumNodes = 4;
  Settings s = farfield("1", 700.0, 700.0);
  c.DimensionArrays(s);
  for (int i = 1; i <= 4; ++i) c.Temp(i) = c.InitT(i) = 1300.0 + i;
  c.NumNodes = 7;  // the column grows: the new nodes take the old top's temperature
  c.DimensionFarfield(s);
  for (int i = 1; i <= 4; ++i) EXPECT_DOUBLE_EQ(c.Temp(i), 1300.0 + i);
  for (int i = 5; i <= 7; ++i) EXPECT_DOUBLE_EQ(c.Temp(i), 1304.0);
  for (int i = c.Temp.lo(); i <= 0; ++i) EXPECT_DOUBLE_EQ(c.Temp(i), 973.15);
  for (int i = 8; i <= c.Temp.hi(); ++i) EXPECT_DOUBLE_EQ(c.Temp(i), 973.15);
  // A single node is left alone.
  Column one;
  one.NumNodes = 1;
  const auto before = one.Temp;
  one.DimensionFarfield(s);
  EXPECT_EQ(one.Temp, before);
}

TEST(ColumnArrays, ShapesOfThePerNodeState) {
  Column c;
  c.NumNodes = 12;
  c.DimensionArrays(Settings{});
  EXPECT_EQ(c.FLiq.lo(), 0);  // element 0 exists
  EXPECT_EQ(c.FLiq.hi(), 12);
  EXPECT_EQ(c.PhaseList.colLo(), 0);
  EXPECT_EQ(c.PhaseList.colHi(), 15);
  EXPECT_EQ(c.Xstable.colHi(), 60);
  EXPECT_EQ(c.PhaseX.colHi(), 13);
  EXPECT_EQ(c.InitBulkOx.rowHi(), 300);  // the setup tables hold 300 nodes whatever NumNodes
  EXPECT_THROW(c.Press(13), Fault);
  EXPECT_TRUE(c.PhaseExcluded(8) && c.PhaseExcluded(9));
  EXPECT_FALSE(c.ActivityFlags(1));
  EXPECT_FALSE(c.ActivityFlags(4));
  EXPECT_TRUE(c.ActivityFlags(2));
}

// Compositions are scaled to 100 wt % only when they are off by more than 0.001: a composition
// written with five decimals is not moved at each save.
TEST(Compositions, ScaledTo100OnlyWhenOff) {
  Array1<double> ox(1, kOxides);
  ox.fill(0.0);
  EXPECT_FALSE(scaleOxidesTo100(ox));  // empty: left alone
  ox(1) = 50.0;
  ox(3) = 30.0;
  ox(8) = 20.0005;
  EXPECT_FALSE(scaleOxidesTo100(ox));
  EXPECT_EQ(ox(8), 20.0005);
  ox(13) = 1.0;
  EXPECT_TRUE(scaleOxidesTo100(ox));
  double sum = 0.0;
  for (int j = 1; j <= kOxides; ++j) sum += ox(j);
  EXPECT_NEAR(sum, 100.0, 1e-12);
  EXPECT_NEAR(ox(1) / ox(3), 50.0 / 30.0, 1e-14);  // proportions kept
  Array2<double> rows(1, 2, 1, kOxides);
  rows.fill(0.0);
  rows(2, 1) = 40.0;
  rows(2, 2) = 40.0;
  EXPECT_TRUE(scaleOxidesTo100(rows, 2));
  EXPECT_EQ(rows(2, 1), 50.0);
  EXPECT_EQ(rows(1, 1), 0.0);
}

// The gas velocity's label and tip after the parameter was edited.
TEST(Vwater, ParameterLabelAndTip) {
  Column c;
  Settings s;
  s.optionInfiltrate = true;
  s.optionCompact = false;
  c.FluxRate = 1e-5;
  s.setMiscText(misc::kVaporVelocity, "2.00");
  EXPECT_EQ(vwaterTip(s), "V(water) = fluxrate * Vwater parameter");
  // 2 x 1e-5 cm/s is 1.728 cm/day.
  EXPECT_EQ(vwaterParameterLabel(c, s), vwaterLabel(2e-5, 1e-8));
  EXPECT_EQ(vwaterParameterLabel(c, s), "1.728000");
  s.optionInfiltrate = false;
  s.optionCompact = true;
  EXPECT_EQ(vwaterTip(s), "V(water) = characteristic velocity * Vwater parameter");
  s.setMiscText(misc::kVaporVelocity, "-10.00");
  EXPECT_EQ(vwaterParameterLabel(c, s), "V(water) = 10 nodes per iteration");
  s.setMiscText(misc::kVaporVelocity, "-2.5");
  EXPECT_EQ(vwaterParameterLabel(c, s), "V(water) = 2.5 nodes per iteration");
}

}  // namespace
}  // namespace cx
