#include "persist/output_file.h"

#include <gtest/gtest.h>

#include <random>

#include "persist/files.h"
#include "persist/snapshot.h"
#include "support/fixtures.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

using test::ScratchFolder;

// A column whose every saved field holds a distinct value, with a far field of one slab.
Column filledColumn(int iteration, unsigned seed = 7) {
  Column c;
  Settings s;
  test::makeBasaltColumn(c, s, 6);
  s.setMiscText(misc::kFarfieldThickness, "1");
  s.setMiscText(misc::kFarfieldTTop, "300");
  s.setMiscText(misc::kFarfieldTBottom, "900");
  c.DimensionFarfield(s);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  c.Iteration = iteration;
  c.TotalTime = 12345.67 * iteration;
  c.PhaseOrder(1) = 1;
  c.PhaseOrder(2) = 2;
  c.PhaseOrder(3) = 5;
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.PhaseCount(i) = 2;
    c.PhaseList(i, 1) = 1;
    c.PhaseList(i, 2) = 5;
    for (int k = 1; k <= 60; ++k) c.Xstable(i, k) = k <= 19 ? u(rng) / 3.0 : 0.0;
    for (int j = 1; j <= kOxides; ++j) {
      c.BulkOx(i, j) = 100.0 * u(rng);
      c.LiqOx(i, j) = 10.0 * u(rng);
      c.SolidOx(i, j) = u(rng);
    }
    for (int k = 1; k <= 10; ++k) c.PhaseMass(i, k) = k * 3.0 * u(rng);
    for (int k = 1; k <= 13; ++k) c.PhaseX(i, k) = 100.0 * u(rng);
    for (int k = 1; k <= c.gasSpeciesCount(); ++k) c.GasComp(i, k) = 33.0 * u(rng);
    for (int t = 1; t <= kTraces; ++t) {
      c.TraceLiq(i, t) = 500.0 * u(rng);
      c.TraceSolid(i, t) = 50.0 * u(rng);
      c.TraceGasPpm(i, t) = u(rng);
      c.TraceBulk(i, t) = 80.0 * u(rng);
    }
    c.LiqVisc(i) = 2.0 + u(rng);
    c.RhoLiq(i) = 26.0 + u(rng);
    c.RhoSolid(i) = 30.0 + u(rng);
    c.Temp(i) = 1300.0 + 100.0 * u(rng);
    c.Press(i) = 1000.0 + u(rng);
    c.FLiq(i) = u(rng);
    c.STotal(i) = 200.0 * u(rng);
    c.SLiq(i) = 150.0 * u(rng);
    c.SSolid(i) = 50.0 * u(rng);
    c.CpBulk(i) = 1.0 + u(rng);
    c.SWater(i) = u(rng);
    c.RhoWater(i) = u(rng);
    c.MassWater(i) = u(rng);
    c.MassSolid(i) = 60.0 * u(rng);
    c.MassLiq(i) = 40.0 * u(rng);
    c.FO2(i) = -8.0 - u(rng);
    c.GridPoint(i) = 166.0 * (i - 1) + u(rng);
    c.Vsolid(i) = -1e-9 * u(rng);
    c.Vliquid(i) = 1e-8 * u(rng);
  }
  for (int m = c.Temp.lo(); m <= 0; ++m) c.Temp(m) = 1000.0 + m;
  for (int m = 7; m <= c.Temp.hi(); ++m) c.Temp(m) = 600.0 + m;
  c.BottomNode = 1;
  c.TopNode = 3;
  c.PileTop = 412.5;
  c.TopNode0 = 2;
  c.PileTop0 = 300.25;
  c.InitTop = 299.0;
  c.LastAddition = 12.5;
  return c;
}

TEST(OutputFile, ABlockWrittenReadAndWrittenAgainIsTheSame) {
  const Column original = filledColumn(4);
  const std::string block = iterationBlock(original);
  Column loaded;  // another node count and far field: the reader re-dimensions
  const auto r = parseIteration(block, "CXoutput.txt", 4, loaded);
  ASSERT_TRUE(r.ok) << r.message;
  EXPECT_EQ(iterationBlock(loaded), block);
  EXPECT_EQ(loaded.NumNodes, 6);
  EXPECT_EQ(loaded.Temp.lo(), -6);
  EXPECT_EQ(loaded.Temp.hi(), 12);
  EXPECT_DOUBLE_EQ(loaded.Temp(-6), 994.0);
  EXPECT_DOUBLE_EQ(loaded.Temp(12), 612.0);
  // Xstable and the plain numbers keep full precision.
  for (int k = 1; k <= 19; ++k) EXPECT_EQ(loaded.Xstable(3, k), original.Xstable(3, k));
  EXPECT_EQ(loaded.FO2(2), original.FO2(2));
  EXPECT_EQ(loaded.PileTop, 412.5);
  EXPECT_EQ(loaded.TopNode, 3);
  EXPECT_EQ(loaded.PhaseOrder(3), 5);
  EXPECT_NEAR(loaded.Temp(4), original.Temp(4), 1e-7);
  EXPECT_NEAR(loaded.TotalTime, original.TotalTime, 0.005);
}

TEST(OutputFile, ABlockSavedBeforeTraceElementsReadsWithZeroTracesAndANote) {
  const Column original = filledColumn(3);
  std::string block = iterationBlock(original);
  // Cut the four trace tables: from "Trace Liquid:" to the node column heading.
  const auto from = block.find("Trace Liquid:");
  const auto to = block.find("Liq Viscosity");
  ASSERT_NE(from, std::string::npos);
  ASSERT_NE(to, std::string::npos);
  block.erase(from, to - from);
  Column loaded = filledColumn(1, 99);  // traces present before the read must not survive it
  const auto r = parseIteration(block, "old.txt", 3, loaded);
  ASSERT_TRUE(r.ok) << r.message;
  EXPECT_EQ(r.note, kNoTraceTablesNote);
  for (int i = 1; i <= loaded.NumNodes; ++i)
    for (int t = 1; t <= kTraces; ++t) {
      EXPECT_EQ(loaded.TraceLiq(i, t), 0.0);
      EXPECT_EQ(loaded.TraceSolid(i, t), 0.0);
      EXPECT_EQ(loaded.TraceGasPpm(i, t), 0.0);
      EXPECT_EQ(loaded.TraceBulk(i, t), 0.0);
    }
  // Everything after the missing tables is still read in its place.
  EXPECT_EQ(loaded.FO2(4), original.FO2(4));
  EXPECT_EQ(loaded.PileTop, original.PileTop);
  EXPECT_DOUBLE_EQ(loaded.Temp(-6), original.Temp(-6));
  // A whole block carries no note.
  EXPECT_EQ(parseIteration(iterationBlock(original), "new.txt", 3, loaded).note, "");
}

TEST(OutputFile, LoadingIterationKKeepsBlocksUpToKAndDropsTheRest) {
  ScratchFolder work("output");
  RecordingDiagnostics diag;
  RecordingPort port;
  port.answer = true;
  for (int it : {0, 1, 2, 3, 4, 5, 10, 15})
    ASSERT_TRUE(WriteIteration(work.path(), filledColumn(it, 100 + it), it == 0, diag));
  Column c;
  const auto r = loadIteration(work.path(), 4, c, diag, port);
  ASSERT_TRUE(r.ok) << r.message;
  const std::string text = *readWholeFile(work.path() / "CXoutput.txt");
  EXPECT_EQ(listIterations(text), (std::vector<int>{0, 1, 2, 3, 4}));
  EXPECT_EQ(c.Iteration, 4);
  EXPECT_FALSE(c.InitialNeeded);
  EXPECT_EQ(port.questions.back(),
            "Do you wish to load and reset the output file to iteration: 4?\nAll data above this "
            "point will be lost!");
  EXPECT_EQ(port.status, "Requested iteration loaded successfully!");
  // The last block is still whole and equal to what was written.
  Column again;
  ASSERT_TRUE(parseIteration(text, "CXoutput.txt", 4, again).ok);
  EXPECT_EQ(iterationBlock(again), iterationBlock(filledColumn(4, 104)));

  // A No changes nothing; an iteration that is not there is reported with the last one seen.
  port.answer = false;
  Column untouched = c;
  EXPECT_FALSE(loadIteration(work.path(), 2, untouched, diag, port).ok);
  EXPECT_EQ(port.status, "Abort load last interation.");
  EXPECT_EQ(listIterations(*readWholeFile(work.path() / "CXoutput.txt")).size(), 5u);
  const auto missing = ReadIteration(work.path(), 9, untouched, diag);
  EXPECT_FALSE(missing.found);
  EXPECT_EQ(missing.message, "Iteration not found!\nLast iteration is: 4");
  EXPECT_TRUE(diag.ErrorFlag);
}

TEST(OutputFile, ABlockCutOffByACrashIsReportedAndTheBlocksBeforeItStillLoad) {
  std::string text;
  for (int it : {0, 1, 2}) text += iterationBlock(filledColumn(it, it));
  const std::string whole = text;
  text += iterationBlock(filledColumn(3, 3)).substr(0, 2500);  // cut in the middle of a table
  Column c;
  const auto r = parseIteration(text, "CXoutput.txt", 3, c);
  EXPECT_TRUE(r.found);
  EXPECT_FALSE(r.ok);
  EXPECT_NE(r.message.find("CXoutput.txt, line"), std::string::npos);
  EXPECT_NE(r.message.find("iteration 3"), std::string::npos);
  EXPECT_EQ(c.NumNodes, Column{}.NumNodes);  // nothing was loaded
  for (int it : {0, 1, 2}) EXPECT_TRUE(parseIteration(text, "CXoutput.txt", it, c).ok) << it;
  EXPECT_EQ(lastCompleteIteration(text, "CXoutput.txt", Column{}), 2);
  // A word where a number belongs names its line.
  std::string damaged = whole;
  damaged.replace(damaged.find("Phase order\r\n") + 13, 1, "x");
  Column d;
  const auto bad = parseIteration(damaged, "CXoutput.txt", 0, d);
  EXPECT_FALSE(bad.ok);
  EXPECT_NE(bad.message.find("PhaseOrder"), std::string::npos);
}

TEST(OutputFile, ReplayStepsThroughEveryBlockAndIterationZeroSetsTheReferenceCurves) {
  ScratchFolder work("replay");
  RecordingDiagnostics diag;
  for (int it : {0, 1, 2, 3}) ASSERT_TRUE(WriteIteration(work.path(), filledColumn(it, it), it == 0, diag));
  Column c;
  std::vector<int> seen;
  const int shown = replayIterations(work.path(), c, diag, [&](int it) {
    seen.push_back(it);
    return true;
  });
  EXPECT_EQ(shown, 4);
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3}));
  const Column zero = filledColumn(0, 0);
  // The Mg number of the liquid of iteration 0: (MgO / 40.3044) / (FeO / 71.8464 + MgO / 40.3044).
  const double mg = zero.LiqOx(2, 8) / 40.3044;
  const double fe = zero.LiqOx(2, 6) / 71.8464;
  EXPECT_NEAR(c.InitMgLiq(2), mg / (mg + fe), 1e-4);
  EXPECT_NEAR(c.InitFLiq(5), zero.FLiq(5), 1e-8);
  // A halt stops the film.
  diag.HaltFlag = true;
  EXPECT_EQ(replayIterations(work.path(), c, diag, [](int) { return true; }), 0);
}

TEST(Snapshot, OneRowPerNodeWithPhaseMassesUndone) {
  const Column c = filledColumn(7);
  const std::string text = snapshotText(c);
  std::vector<std::string> rows;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find("\r\n", start);
    rows.push_back(text.substr(start, end - start));
    start = end + 2;
  }
  ASSERT_EQ(rows.size(), 3u + 6u);
  EXPECT_EQ(rows[0].substr(0, 18), "Node\tT(°C)\tP(bar)");
  EXPECT_NE(rows[0].find("Mass: ol\tMass: pl\tMass: cpx\tMass Gas\tTotalSolid"), std::string::npos);
  // Node 2's row: the second phase mass is slot 2 minus slot 1.
  std::vector<std::string> cells;
  std::size_t p = 0;
  const std::string& row = rows[4];
  while (true) {
    const std::size_t q = row.find('\t', p);
    cells.push_back(row.substr(p, q - p));
    if (q == std::string::npos) break;
    p = q + 1;
  }
  ASSERT_EQ(cells.size(), 3u + 15u + 3u + 2u + 15u);
  EXPECT_EQ(cells[0], "2");
  EXPECT_NEAR(std::stod(cells[1]), c.Temp(2) - 273.15, 0.006);
  EXPECT_NEAR(std::stod(cells[19]), c.PhaseMass(2, 2) - c.PhaseMass(2, 1), 1e-4);
  EXPECT_NEAR(std::stod(cells[22]), c.PhaseMass(2, 10), 1e-4);
}

}  // namespace
}  // namespace cx
