#include "column/settings.h"

#include <gtest/gtest.h>

#include <cmath>

namespace cx {
namespace {

TEST(SettingsFieldChecks, MiscFormFieldsRefuseIllegalValuesAndRestoreTheListedOnes) {
  struct Case {
    int k;
    const char* text;
    bool accepted;
    const char* shown;
  };
  const Case cases[] = {
      {0, "0.5", true, "0.50"},
      {0, "0.995", false, "0.6"},
      {0, "abc", false, "0.6"},
      {1, "0.02", true, "2.00E-02"},
      {1, "-1", false, "0.01"},
      {2, "2600", false, "2500"},
      {2, "-40", true, "-40.00"},
      {4, "-1", false, "0"},
      {8, "-5", true, "-5.00"},
      {9, "0", true, "0.00"},
      {9, "1.5", false, "1.0"},
      {10, "0.005", false, "0.1"},
      {11, "10", true, "10"},
      {11, "0.5", false, "1.0"},
      {12, "-10", true, "-10.00"},
      {12, "-11", false, "1.0"},
      {13, "1.0", false, "0.9"},
      {14, "3", true, "3"},
      {14, "4", false, "0"},
      {15, "2501", false, "300"},
      {16, "-3000", true, "-3000.00"},
      {16, "hot", false, "300"},
      {17, "2", true, "2"},
      {17, "", false, "1"},
      {6, "-0.5", true, "-0.50000"},
      {7, "12abc", false, "-2.50000"},
  };
  Settings s;
  const double rate = -2.5 / 86400.0;  // the present bottom cooling rate, K/s
  for (const auto& cs : cases) {
    const FieldCheck r = s.checkMiscField(cs.k, cs.text, rate);
    EXPECT_EQ(r.accepted, cs.accepted) << cs.k << " " << cs.text;
    EXPECT_EQ(r.text, cs.shown) << cs.k << " " << cs.text;
    EXPECT_EQ(r.message, cs.accepted ? "" : "Illegal value entered!");
  }
  // Editing stores what the field shows; the value is read from the text at each use.
  EXPECT_FALSE(s.editMiscField(misc::kTimeStepMultiplier, "2").accepted);
  EXPECT_EQ(s.misc(misc::kTimeStepMultiplier), 1.0);
  EXPECT_TRUE(s.editMiscField(misc::kTimeStepMultiplier, " 0.25 ").accepted);
  EXPECT_EQ(s.misc(misc::kTimeStepMultiplier), 0.25);
}

TEST(SettingsFieldChecks, CompactionFieldsAndTheirCharacteristicScales) {
  Settings s;
  EXPECT_FALSE(s.editCompactField(compact::kGrainRadiusMm, "-0.1").accepted);
  EXPECT_EQ(s.compactText(compact::kGrainRadiusMm), "0.3");
  EXPECT_TRUE(s.editCompactField(compact::kSolidViscosity, "1e15").accepted);
  EXPECT_EQ(s.compactText(compact::kSolidViscosity), "1.00E+15");
  EXPECT_TRUE(s.editCompactField(compact::kMinLiquidFraction, "0.001").accepted);
  EXPECT_EQ(s.compactText(compact::kMinLiquidFraction), "0.0010");
  // delta = a sqrt(eta Ko / mu), tau = sqrt(eta mu) / (a g drho), v = drho g Ko a^2 / mu,
  // with a in cm and the viscosities in poise; between them tau * v = delta * sqrt(Ko).
  const double a = 0.03, eta = 1e16, mu = 110.0, k0 = 0.0015, dr = 0.3;
  EXPECT_NEAR(s.compactionLength(), a * std::sqrt(eta * k0 / mu), 1e-9);
  EXPECT_NEAR(s.compactionTimeScaleDays(), std::sqrt(eta * mu) / (a * 980.0 * dr) / 86400.0, 1e-6);
  EXPECT_NEAR(s.compactionVelocity(), dr * 980.0 * k0 * a * a / mu, 1e-18);
  EXPECT_NEAR(s.compactionTimeScaleDays() * 86400.0 * s.compactionVelocity(),
              s.compactionLength() * std::sqrt(k0), 1e-9 * s.compactionLength());
  // Other fields: at least zero, or any number for the diffusion coefficients.
  EXPECT_EQ(Settings::checkNonNegativeField("-1", "0.00").text, "0.00");
  EXPECT_EQ(Settings::checkNonNegativeField("12.345", "0.00").text, "12.35");
  EXPECT_EQ(Settings::checkDiffusionField("1e-7", "0").text, "1.00E-07");
  EXPECT_FALSE(Settings::checkDiffusionField("x", "1.00E-07").accepted);
}

// The bulk form's limits: what a column can be, and what the setup file reads back.  A refused
// value restores what the field showed before.
TEST(SettingsFieldChecks, BulkFormLimitsAndTheNodeShown) {
  struct Case {
    int k;
    const char* text;
    bool accepted;
    const char* shown;
  };
  const Case cases[] = {
      {bulk::kNodeT, "1200", true, "1200.00"},
      {bulk::kNodeT, "1200.125", true, "1200.125"},  // typed digits are kept
      {bulk::kNodeT, "273.15", true, "273.15"},
      {bulk::kNodeT, "273.1", false, "prev"},
      {bulk::kNodeT, "3000.5", false, "prev"},  // above what the setup file holds
      {bulk::kLengthM, "0", false, "prev"},
      {bulk::kLengthM, "0.005", true, "0.005"},
      {bulk::kLengthM, "2e7", false, "prev"},
      {bulk::kPressure, "1000", true, "1000.00"},
      {bulk::kPressure, "-1", false, "prev"},
      {bulk::kPressure, "100001", false, "prev"},
      {bulk::kTTop, "599.99", false, "prev"},
      {bulk::kTTop, "600", true, "600.00"},
      {bulk::kTBottom, "2000", true, "2000.00"},
      {bulk::kTBottom, "2000.01", false, "prev"},
      {bulk::kNumNodes, "1", false, "prev"},  // would read back as 10 nodes
      {bulk::kNumNodes, "2", true, "2"},
      {bulk::kNumNodes, "300", true, "300"},
      {bulk::kNumNodes, "301", false, "prev"},
      {bulk::kNumNodes, "20.5", false, "prev"},
      {bulk::kNode, "0", false, "prev"},
      {bulk::kNode, "20", true, "20"},
      {bulk::kNode, "21", false, "prev"},
      {bulk::kNode, "many", false, "prev"},
  };
  for (const auto& cs : cases) {
    const FieldCheck r = Settings::checkBulkField(cs.k, cs.text, "prev", 20);
    EXPECT_EQ(r.accepted, cs.accepted) << cs.k << " " << cs.text;
    EXPECT_EQ(r.text, cs.shown) << cs.k << " " << cs.text;
    EXPECT_EQ(r.message, cs.accepted ? "" : "Illegal value entered!");
  }
}

TEST(SettingsFieldChecks, CompositionPartitionAndInflationFields) {
  // Compositions keep every digit typed (a trace of 0.005 ppm is not 0.01), never below 0.
  EXPECT_EQ(Settings::checkCompositionField("0.005", "0.00").text, "0.005");
  EXPECT_EQ(Settings::checkCompositionField("49.5", "0.00").text, "49.50");
  EXPECT_FALSE(Settings::checkCompositionField("-0.1", "1.00").accepted);
  EXPECT_EQ(Settings::checkCompositionField("-0.1", "1.00").text, "1.00");
  // Partition coefficients: 0 to 100000, the preset's small ones kept whole.
  EXPECT_EQ(Settings::checkPartitionField("0.00036", "0.00").text, "0.00036");
  EXPECT_EQ(Settings::checkPartitionField("3.2487", "0.00").text, "3.2487");
  EXPECT_EQ(Settings::checkPartitionField("2", "0.00").text, "2.00");
  // Small coefficients stay plain decimals, as the preset's neighbours in the same form show.
  EXPECT_EQ(Settings::checkPartitionField("0.0002", "0.00").text, "0.0002");
  EXPECT_EQ(Settings::checkPartitionField("7e-05", "0.00").text, "0.00007");
  EXPECT_EQ(Settings::checkPartitionField("1e-15", "0.00").text, "1E-15");  // every digit kept
  for (const char* bad : {"-1", "100001", "x", ""})
    EXPECT_FALSE(Settings::checkPartitionField(bad, "0.50").accepted) << bad;
  // Inflation: the final height must exceed the column's, with its own words.
  const FieldCheck low = Settings::checkInflationField(inflation::kFinalHeight, "10", "0", 20.0);
  EXPECT_FALSE(low.accepted);
  EXPECT_EQ(low.message, "Illegal value entered! Value must be larger that inital column height.");
  EXPECT_EQ(low.text, "0");
  EXPECT_FALSE(Settings::checkInflationField(inflation::kFinalHeight, "20", "0", 20.0).accepted);
  EXPECT_TRUE(Settings::checkInflationField(inflation::kFinalHeight, "25", "0", 20.0).accepted);
  const FieldCheck word = Settings::checkInflationField(inflation::kFinalHeight, "x", "0", 20.0);
  EXPECT_EQ(word.message, "Illegal value entered!");
  EXPECT_FALSE(Settings::checkInflationField(inflation::kT, "-5", "0", 20.0).accepted);
  EXPECT_TRUE(Settings::checkInflationField(inflation::kRate, "0.5", "0", 20.0).accepted);
}

}  // namespace
}  // namespace cx
