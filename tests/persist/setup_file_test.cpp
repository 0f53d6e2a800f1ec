#include "persist/setup_file.h"

#include <gtest/gtest.h>

#include "persist/default_setup.h"
#include "persist/files.h"
#include "support/fixtures.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

using test::ScratchFolder;

// The first line where two texts differ, for readable failures.
std::string firstDifference(const std::string& a, const std::string& b) {
  std::size_t line = 1, start = 0;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    if (a[i] != b[i]) {
      const auto endA = a.find('\n', i), endB = b.find('\n', i);
      return "line " + std::to_string(line) + ":\n  " + a.substr(start, endA - start) + "\n  " +
             b.substr(start, endB - start);
    }
    if (a[i] == '\n') {
      ++line;
      start = i + 1;
    }
  }
  return a.size() == b.size() ? "" : "lengths differ";
}

// A setup with something non-default in every block, so that a field written or read in the
// wrong place shows.
void richSetup(Column& c, Settings& s) {
  test::makeBasaltColumn(c, s, 7, 1150.0);
  for (int i = 1; i <= 7; ++i) {
    c.Temp(i) = c.InitT(i) = 1400.0 + 3.25 * i;
    c.InitBulkOx(i, 13) = 0.5 + 0.01 * i;
    c.InitBulkTrace(i, 40) = 75.0 + i;
  }
  c.InfiltrantOx(1) = 48.0;
  c.InfiltrantOx(8) = 12.0;
  c.InfiltrantOx(6) = 40.0;
  c.InfiltrantTrace(7) = 33.5;
  c.InfiltrantT = 1250.5;
  c.InfiltrantS = 180.25;
  c.InfiltrantRho = 2.654321;
  c.FluxRate = 1.5e-7;
  c.ActivityFlags(7) = false;
  c.PhaseExcluded(16) = true;
  c.DCoef(1, 8) = 12.5;
  c.DCoef(2, 11) = 4.25;
  c.MassDiffCoef(3, 3) = 2.5e-7;
  c.MassDiffCoef(9, 9) = 1e-6;
  c.SoretCoef(2) = 1.25e-3;
  c.BigDFlags(10) = true;
  c.BigDTi(2) = 0.375;
  c.InflationScalars(1) = 3.5;
  c.InflationScalars(5) = 77.25;
  c.InflationOx(9) = 11.5;
  c.InflationTrace(3) = 41.0;
  c.SetupClosingValue = 42.0;
  c.TopCoolRate = -2.5 / kSecondsPerDay;
  c.BottomCoolRate = 0.5 / kSecondsPerDay;
  s.setMiscText(misc::kTStepTop, "-2.5");
  s.setMiscText(misc::kTStepBottom, "0.5");
  s.setMiscText(misc::kSaveInterval, "5");
  s.setMiscText(misc::kFarfieldThickness, "2");
  s.setMiscText(misc::kDiffusivity, "2.00E-02");
  s.setCompactText(compact::kGrainRadiusMm, "1.50");
  s.chkConstantVis = 1;
  s.optionMix = true;
  s.optionDisplace = false;
  s.OptionDrip = true;
  s.optionLocal = false;
  s.run.chkSkipGas = 0;
  s.run.chkPauseOnError = 1;
  s.chkUseSoret = 1;
  s.chkInflate = 1;
  s.inflationTargetText = "2500";
  s.GraphSelect[2] = "Mg# - Liquid";
  s.comboTraceSelect = "Yb";
  s.comboOxideSelect = "CaO";
}

TEST(SetupFile, ReadWriteReadGivesTheSameStateAndAByteIdenticalSecondWrite) {
  Column c;
  Settings s;
  richSetup(c, s);
  // A file as a user hands it in: read it, write it, read that and write again.
  const std::string given = setupText(c, s);
  Column c2;
  Settings s2;
  const auto r = parseSetup(given, "given.cxd", c2, s2);
  ASSERT_TRUE(r.ok) << r.message;
  const std::string first = setupText(c2, s2);
  Column c3;
  Settings s3;
  ASSERT_TRUE(parseSetup(first, "first.cxd", c3, s3).ok);
  EXPECT_EQ(firstDifference(setupText(c3, s3), first), "");
  // The state read again equals the first within the file's decimals (the normalized oxides of
  // the first reading carry more digits than the file keeps) and exactly from then on.
  EXPECT_TRUE(s3 == s2);
  for (int n = 1; n <= 7; ++n)
    for (int j = 1; j <= kOxides; ++j) EXPECT_NEAR(c3.InitBulkOx(n, j), c2.InitBulkOx(n, j), 5e-6);
  Column c4;
  Settings s4;
  ASSERT_TRUE(parseSetup(setupText(c3, s3), "second.cxd", c4, s4).ok);
  EXPECT_TRUE(c4 == c3);
  EXPECT_TRUE(s4 == s3);
  // The state itself, field by field where the file keeps full values.
  EXPECT_EQ(c2.NumNodes, 7);
  EXPECT_DOUBLE_EQ(c2.DeltaX, 1000.0 / 7);
  EXPECT_EQ(c2.Temp.lo(), -14);  // the far field of thickness 2 was rebuilt
  EXPECT_DOUBLE_EQ(c2.InitT(3), 1409.75);
  EXPECT_NEAR(
      c2.InitBulkOx(2, 13),
      0.52 * 100.0 /
          [&] {
            double sum = 0;
            for (int j = 1; j <= 15; ++j) sum += c.InitBulkOx(2, j);
            return sum;
          }(),
      1e-5);
  EXPECT_DOUBLE_EQ(c2.InitBulkTrace(5, 40), 80.0);
  EXPECT_DOUBLE_EQ(c2.InfiltrantTrace(7), 33.5);
  EXPECT_DOUBLE_EQ(c2.InfiltrantT, 1250.5);
  EXPECT_FALSE(c2.ActivityFlags(7));
  EXPECT_TRUE(c2.PhaseExcluded(16));
  EXPECT_DOUBLE_EQ(c2.DCoef(2, 11), 4.25);
  EXPECT_DOUBLE_EQ(c2.MassDiffCoef(9, 9), 1e-6);
  EXPECT_EQ(c2.DiffusionOrder, 9);
  EXPECT_TRUE(c2.BigDFlags(10));
  EXPECT_DOUBLE_EQ(c2.BigDTi(2), 0.375);
  EXPECT_DOUBLE_EQ(c2.InflationTrace(3), 41.0);
  EXPECT_DOUBLE_EQ(c2.SetupClosingValue, 42.0);
  EXPECT_DOUBLE_EQ(c2.TopCoolRate * kSecondsPerDay, -2.5);
  EXPECT_DOUBLE_EQ(c2.BottomCoolRate * kSecondsPerDay, 0.5);
  EXPECT_DOUBLE_EQ(c2.FluxRate, 1.5e-7);
  EXPECT_EQ(s2.run, s.run);
  EXPECT_TRUE(s2.optionMix && !s2.optionDisplace && s2.OptionDrip && !s2.optionLocal);
  EXPECT_EQ(s2.misc(misc::kSaveInterval), 5.0);
  EXPECT_EQ(s2.chkConstantVis, 1);
  EXPECT_EQ(s2.inflationTargetText, "2500");
  EXPECT_EQ(s2.GraphSelect[2], "Mg# - Liquid");
  EXPECT_EQ(s2.comboTraceSelect, "Yb");
  EXPECT_EQ(s2.comboOxideSelect, "CaO");
  EXPECT_TRUE(c2.InitialNeeded);
}

TEST(SetupFile, PartitionCoefficientsAndTraceContentsBelowTheFilesDecimalsReadBackExactly) {
  Column c;
  Settings s;
  richSetup(c, s);
  // Values a two-decimal column would turn into 0.00 or round: a preset coefficient of Ni in
  // plagioclase, a ppb-level Cs content, a coefficient with many digits.
  c.DCoef(3, 5) = 0.00036;
  c.DCoef(1, 2) = 1.0 / 3.0;
  c.InitBulkTrace(2, 9) = 0.003;
  c.InfiltrantTrace(4) = 2.5e-4;
  c.InflationTrace(6) = 0.0125;
  Column back;
  Settings sb;
  const std::string text = setupText(c, s);
  ASSERT_TRUE(parseSetup(text, "t.cxd", back, sb).ok);
  EXPECT_EQ(back.DCoef(3, 5), 0.00036);
  EXPECT_EQ(back.DCoef(1, 2), 1.0 / 3.0);
  EXPECT_EQ(back.InitBulkTrace(2, 9), 0.003);
  EXPECT_EQ(back.InfiltrantTrace(4), 2.5e-4);
  EXPECT_EQ(back.InflationTrace(6), 0.0125);
  // Values the two decimals hold keep their usual form.
  EXPECT_DOUBLE_EQ(back.DCoef(2, 11), 4.25);
  EXPECT_NE(text.find("4.25,"), std::string::npos);
}

// Replaces the `n`-th line (1-based) of a text.
std::string withLine(const std::string& text, int n, const std::string& replacement) {
  std::string out;
  std::size_t start = 0;
  for (int line = 1; start <= text.size(); ++line) {
    std::size_t end = text.find("\r\n", start);
    if (end == std::string::npos) end = text.size();
    out += line == n ? replacement : text.substr(start, end - start);
    if (end == text.size()) break;
    out += "\r\n";
    start = end + 2;
  }
  return out;
}

int lineOf(const std::string& text, const std::string& prefix) {
  std::size_t pos = text.find("\r\n" + prefix);
  int line = 2;
  for (std::size_t i = 0; i < pos; ++i)
    if (text[i] == '\n') ++line;
  return pos == std::string::npos ? -1 : line;
}

TEST(SetupFile, TheReadersRepairs) {
  Column c;
  Settings s;
  richSetup(c, s);
  std::string text = setupText(c, s);
  // A node count of 1 loads as 10 nodes (the file must then hold 10 node records).
  c.NumNodes = 10;
  c.DimensionArrays(s);
  for (int i = 1; i <= 10; ++i) {
    c.Temp(i) = c.InitT(i) = 1473.15;
    for (int j = 1; j <= 15; ++j) c.InitBulkOx(i, j) = j == 1 ? 60.0 : 40.0 / 14.0;
  }
  c.PhaseExcluded(8) = c.PhaseExcluded(9) = false;  // NephelineSS and LeuciteSS come back excluded
  c.DCoef(3, 4) = -5.0;                             // limited to 0..100000
  c.DCoef(3, 5) = 250000.0;
  c.InitBulkOx(2, 1) = 120.0;                       // oxides sum to 160: scaled to 100
  s.setCompactText(compact::kSolidViscosity, "0");  // a zero field takes its default
  s.setCompactText(compact::kMinLiquidFraction, "-1");
  text = setupText(c, s);
  const int nodeLine = 5;
  text = withLine(text, nodeLine, "1             .000000150    1000.00       0.10000");
  Column r;
  Settings rs;
  const auto res = parseSetup(text, "old.cxd", r, rs);
  ASSERT_TRUE(res.ok) << res.message;
  EXPECT_EQ(r.NumNodes, 10);
  EXPECT_EQ(res.nodeCount, 10);
  EXPECT_DOUBLE_EQ(r.DeltaX, 100.0);
  EXPECT_TRUE(r.PhaseExcluded(8) && r.PhaseExcluded(9));
  EXPECT_EQ(r.DCoef(3, 4), 0.0);
  EXPECT_EQ(r.DCoef(3, 5), 100000.0);
  double sum = 0.0;
  for (int j = 1; j <= 15; ++j) sum += r.InitBulkOx(2, j);
  EXPECT_NEAR(sum, 100.0, 1e-9);
  EXPECT_NEAR(r.InitBulkOx(2, 1), 75.0, 1e-4);  // the file keeps five decimals
  EXPECT_DOUBLE_EQ(r.BulkOx(2, 1), r.InitBulkOx(2, 1));
  EXPECT_EQ(rs.compactText(compact::kSolidViscosity), "5e14");
  EXPECT_EQ(rs.compactText(compact::kMinLiquidFraction), "0.10");
  // The temperatures and trace elements are not normalized.
  EXPECT_DOUBLE_EQ(r.InitT(4), 1473.15);
}

TEST(SetupFile, BadFilesNameTheLineAndFieldAndLeaveTheLoadedSetupIntact) {
  Column c;
  Settings s;
  richSetup(c, s);
  const std::string good = setupText(c, s);
  Column loaded;
  Settings loadedSettings;
  ASSERT_TRUE(parseSetup(good, "good.cxd", loaded, loadedSettings).ok);
  const std::string before = setupText(loaded, loadedSettings);

  struct Case {
    std::string text;
    std::vector<std::string> expect;  // pieces the message must hold
  };
  const int excludeLine = lineOf(good, "Olivine        ,");
  const std::vector<Case> cases = {
      {good.substr(0, good.size() / 2), {"bad.cxd, line ", ", field '", "end of file"}},
      {good.substr(0, 40), {"bad.cxd, line ", ", field '"}},
      {withLine(good, 5, "seven         .000000150    1000.00       0.10000"),
       {"bad.cxd, line 5, field 'NumNodes'", "'seven'"}},
      {withLine(good, 5, "400           .000000150    1000.00       0.10000"),
       {"bad.cxd, line 5, field 'NumNodes'", "300"}},
      {withLine(good, 3, "-2.5000000,.5000000,abc,1000.00,180.25,2.654321"),
       {"bad.cxd, line 3, field 'InfiltrantT'"}},
      {withLine(good, excludeLine, "Olivine        ,perhaps"),
       {"bad.cxd, line " + std::to_string(excludeLine) + ", field 'Exclude of Olivine'"}},
      {"", {"bad.cxd, line 1, field 'title'", "end of file"}},
  };
  for (const auto& cs : cases) {
    const auto r = parseSetup(cs.text, "bad.cxd", loaded, loadedSettings);
    EXPECT_FALSE(r.ok);
    for (const auto& piece : cs.expect)
      EXPECT_NE(r.message.find(piece), std::string::npos) << r.message << "\nlacks: " << piece;
    EXPECT_EQ(setupText(loaded, loadedSettings), before);  // nothing loaded before is lost
  }
}

TEST(SetupFile, OpenSaveAndSaveAsThroughTheWorkingCopy) {
  ScratchFolder work("setup");
  RecordingPort port;
  Column c;
  Settings s;
  richSetup(c, s);
  ASSERT_TRUE(WriteSetup(work.path(), c, s));
  const auto saved = work.path() / "mine.cxd";
  ASSERT_TRUE(saveSetupAs(work.path(), saved, c, s, port));
  EXPECT_EQ(readWholeFile(saved), readWholeFile(work.path() / "CXsetup.cxd"));
  EXPECT_EQ(port.labels["Title"], " CUmulex [mine.cxd]");

  // Opening a file rewrites the working copy at once, with the reader's repairs.
  std::string text = *readWholeFile(saved);
  auto replace = [&](const std::string& from, const std::string& to) {
    const auto at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    text.replace(at, from.size(), to);
  };
  replace("Nephaline(pure),False", "Nephaline(pure),True");
  replace("NephelineSS    ,True", "NephelineSS    ,False");
  const auto other = work.path() / "other.cxd";
  ASSERT_TRUE(writeFileAtomically(other, text));
  Column o;
  Settings os;
  const auto r = openSetup(work.path(), other, o, os, port);
  ASSERT_TRUE(r.ok) << r.message;
  EXPECT_TRUE(o.PhaseExcluded(14));
  const std::string working = *readWholeFile(work.path() / "CXsetup.cxd");
  EXPECT_NE(working.find("NephelineSS    ,True"), std::string::npos);
  EXPECT_EQ(working, setupText(o, os));

  // A damaged file changes neither the loaded setup nor the working copy.
  const auto damaged = work.path() / "damaged.cxd";
  ASSERT_TRUE(writeFileAtomically(damaged, text.substr(0, 300)));
  const auto bad = openSetup(work.path(), damaged, o, os, port);
  EXPECT_FALSE(bad.ok);
  EXPECT_NE(bad.message.find("damaged.cxd"), std::string::npos);
  EXPECT_EQ(*readWholeFile(work.path() / "CXsetup.cxd"), working);
  EXPECT_TRUE(o.PhaseExcluded(14));

  // ReadSetup of a folder without a working copy says so.
  ScratchFolder empty("setup-empty");
  const auto missing = ReadSetup(empty.path(), o, os, port);
  EXPECT_FALSE(missing.ok);
  EXPECT_EQ(
      port.messages.back(),
      "The file 'CXsetup.cxd' cannot be found....\n   Check all input values for correctness!");
}

TEST(SetupFile, TheEmbeddedDefaultLoadsAndIsTheBasalticColumn) {
  Column c;
  Settings s;
  const auto r = parseSetup(std::string(defaultSetupText()), "default", c, s);
  ASSERT_TRUE(r.ok) << r.message;
  EXPECT_EQ(c.NumNodes, 20);
  EXPECT_DOUBLE_EQ(c.TopPressure, 1000.0);
  for (int i = 2; i < 20; ++i) EXPECT_DOUBLE_EQ(c.Temp(i), 1200.0 + kKelvinOffset);
  EXPECT_LT(c.TopCoolRate, 0.0);
  EXPECT_GT(c.InitBulkOx(1, 1), 45.0);
  EXPECT_LT(c.InitBulkOx(1, 1), 53.0);
  for (int t = 1; t <= kTraces; ++t) EXPECT_GT(c.InitBulkTrace(1, t), 0.0) << TraceNames[t];
  // The file as shipped is exactly what the writer produces.
  EXPECT_EQ(firstDifference(setupText(c, s), std::string(defaultSetupText())), "");
}

}  // namespace
}  // namespace cx
