#include "run/node_repair.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "base/diagnostics.h"
#include "run/column.h"

namespace cx {
namespace {

constexpr double kNone = -std::numeric_limits<double>::infinity();

// One repaired quantity of a node: a name for the messages, its place, its lower limit.
struct Field {
  std::string name;
  std::function<double&(Column&, int)> at;
  double lower;
};

// The quantities a repair rebuilds, with the limits that keep masses, oxides and gas shares
// positive.
std::vector<Field> repairedFields(int gasSpecies) {
  std::vector<Field> f;
  const auto one = [&](const char* name, Array1<double> Column::*a, double lower = kNone) {
    f.push_back({name, [a](Column& c, int n) -> double& { return (c.*a)(n); }, lower});
  };
  const auto row = [&](const char* name, Array2<double> Column::*a, int hi, double lower = kNone) {
    for (int k = 1; k <= hi; ++k)
      f.push_back({std::string(name) + "(" + std::to_string(k) + ")",
                   [a, k](Column& c, int n) -> double& { return (c.*a)(n, k); }, lower});
  };
  one("SSolid", &Column::SSolid);
  one("RhoSolid", &Column::RhoSolid);
  one("MassSolid", &Column::MassSolid, 1e-06);
  one("RhoWater", &Column::RhoWater);
  one("MassWater", &Column::MassWater, 1e-08);
  one("SWater", &Column::SWater);
  one("STotal", &Column::STotal);
  one("Temp", &Column::Temp);
  one("Press", &Column::Press);
  one("SLiq", &Column::SLiq);
  one("MassLiq", &Column::MassLiq, 1e-06);
  one("RhoLiq", &Column::RhoLiq);
  one("FLiq", &Column::FLiq);
  one("LiqVisc", &Column::LiqVisc);
  one("FO2", &Column::FO2);
  row("LiqOx", &Column::LiqOx, kOxides, 1e-07);
  row("SolidOx", &Column::SolidOx, kOxides, 0.1);
  row("TraceLiq", &Column::TraceLiq, kTraces);
  row("TraceGasPpm", &Column::TraceGasPpm, kTraces);
  row("TraceSolid", &Column::TraceSolid, kTraces);
  row("PhaseMass", &Column::PhaseMass, kPhaseOrderSize);
  row("GasComp", &Column::GasComp, gasSpecies, 1e-07);
  return f;
}

Column makeColumn(int nodes) {
  Column c;
  c.NumNodes = nodes;
  c.DimensionArrays(Settings{});
  c.ActivityFlags(kGasPhase) = false;  // six gas species
  c.TotalTime = 86400.0;
  return c;
}

// Every field a straight line in the node number, with binary fractions so that means and
// extrapolations are exact.
double linear(std::size_t field, int node) {
  return 8.0 + 0.25 * static_cast<double>(field % 17) +
         (0.5 + 0.125 * static_cast<double>(field % 5)) * node;
}

// Each node's assemblage names its node, so the source is recognisable.
void setAssemblage(Column& c) {
  for (int n = 1; n <= c.NumNodes; ++n) {
    c.PhaseCount(n) = n;
    for (int k = 0; k <= kPhaseListSize; ++k) c.PhaseList(n, k) = 100 * n + k;
    for (int k = 0; k <= kXstableSize; ++k) c.Xstable(n, k) = n + k / 64.0;
  }
}

enum class Repair { Extrapolate, Interpolate };

bool repair(Repair r, Column& c, int node, Diagnostics& diag) {
  return r == Repair::Extrapolate ? Extrapolate(c, node, diag) : Interpolate(c, node, diag);
}

// A linear profile is reproduced exactly by both estimates; the assemblage comes from the nearer
// neighbour; BulkOx holds the oxides of liquid and solid by mass; nothing else moves.
TEST(NodeRepair, LinearProfilesAreReproducedAndTheNearerNeighbourGivesTheAssemblage) {
  struct Case {
    Repair repair;
    int node;
    int assemblageFrom;
    const char* message;
  };
  const Case cases[] = {
      {Repair::Extrapolate, 1, 2, "Extrapolating problem node: 1  Time: 86400.00"},
      {Repair::Extrapolate, 5, 4, "Extrapolating problem node: 5  Time: 86400.00"},
      {Repair::Interpolate, 2, 1, "Interpolating probelm node: 2  Time: 86400.00"},
      {Repair::Interpolate, 3, 2, "Interpolating probelm node: 3  Time: 86400.00"},
      {Repair::Interpolate, 4, 3, "Interpolating probelm node: 4  Time: 86400.00"},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.message);
    Column c = makeColumn(5);
    const std::vector<Field> fields = repairedFields(6);
    for (std::size_t f = 0; f < fields.size(); ++f)
      for (int n = 1; n <= 5; ++n) fields[f].at(c, n) = linear(f, n);
    for (const Field& f : fields) f.at(c, tc.node) = -1234.0;  // the failed node's garbage
    setAssemblage(c);
    c.PhaseX(tc.node, 1) = 42.0;
    Column before = c;
    RecordingDiagnostics diag;
    ASSERT_TRUE(repair(tc.repair, c, tc.node, diag));
    EXPECT_EQ(diag.reports, std::vector<std::string>{tc.message});
    EXPECT_EQ(diag.pauses, 0);
    EXPECT_FALSE(diag.ErrorFlag);
    for (std::size_t f = 0; f < fields.size(); ++f)
      EXPECT_EQ(fields[f].at(c, tc.node), linear(f, tc.node)) << fields[f].name;
    EXPECT_EQ(c.PhaseCount(tc.node), tc.assemblageFrom);
    for (int k = 0; k <= kPhaseListSize; ++k)
      EXPECT_EQ(c.PhaseList(tc.node, k), 100 * tc.assemblageFrom + k);
    for (int k = 0; k <= kXstableSize; ++k)
      EXPECT_EQ(c.Xstable(tc.node, k), tc.assemblageFrom + k / 64.0);
    // Oxide mass of liquid plus solid, by oxide; with both summing to S the bulk sums to S.
    const double mL = c.MassLiq(tc.node), mS = c.MassSolid(tc.node);
    double bulkSum = 0.0, liqSum = 0.0, solSum = 0.0;
    for (int k = 1; k <= kOxides; ++k) {
      EXPECT_NEAR(c.BulkOx(tc.node, k) * (mL + mS),
                  c.LiqOx(tc.node, k) * mL + c.SolidOx(tc.node, k) * mS, 1e-12);
      bulkSum += c.BulkOx(tc.node, k);
      liqSum += c.LiqOx(tc.node, k);
      solSum += c.SolidOx(tc.node, k);
    }
    EXPECT_NEAR(bulkSum, (liqSum * mL + solSum * mS) / (mL + mS), 1e-12);
    // Nothing else changed: the other nodes, and the node's fields a repair does not rebuild.
    for (const Field& f : fields) f.at(before, tc.node) = f.at(c, tc.node);
    for (int k = 1; k <= kOxides; ++k) before.BulkOx(tc.node, k) = c.BulkOx(tc.node, k);
    before.PhaseCount = c.PhaseCount;
    before.PhaseList = c.PhaseList;
    before.Xstable = c.Xstable;
    EXPECT_TRUE(c == before);
  }
}

// A result below its limit is held at the limit (a neighbour without solids does not give a
// node with no or negative solids); fields without a limit may go negative.
TEST(NodeRepair, ResultsBelowTheirLimitsAreClamped) {
  struct Case {
    Repair repair;
    int node;
    int a, b;  // the neighbours
  };
  const Case cases[] = {
      {Repair::Extrapolate, 1, 2, 3},
      {Repair::Extrapolate, 4, 3, 2},
      {Repair::Interpolate, 2, 1, 3},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.node);
    Column c = makeColumn(4);
    const std::vector<Field> fields = repairedFields(6);
    // Extrapolation: 2 * 0 - 5 = -5; interpolation: (-4 - 6) / 2 = -5.
    for (const Field& f : fields) {
      f.at(c, tc.a) = tc.repair == Repair::Extrapolate ? 0.0 : -4.0;
      f.at(c, tc.b) = tc.repair == Repair::Extrapolate ? 5.0 : -6.0;
    }
    RecordingDiagnostics diag;
    ASSERT_TRUE(repair(tc.repair, c, tc.node, diag));
    for (const Field& f : fields) EXPECT_EQ(f.at(c, tc.node), std::max(-5.0, f.lower)) << f.name;
    // And a result just above a limit is kept.
    c.MassSolid(tc.a) = tc.repair == Repair::Extrapolate ? 1e-6 : 2e-6;
    c.MassSolid(tc.b) = tc.repair == Repair::Extrapolate ? 0.0 : 2e-6;
    ASSERT_TRUE(repair(tc.repair, c, tc.node, diag));
    EXPECT_EQ(c.MassSolid(tc.node), 2e-6);
  }
}

// UseNextPrevious copies the neighbour exactly, without limits or rebuilding.
TEST(NodeRepair, UseNextPreviousCopiesTheNeighbourExactly) {
  for (int offset : {1, -1}) {
    SCOPED_TRACE(offset);
    Column c = makeColumn(3);
    const std::vector<Field> fields = repairedFields(6);
    // Values no estimate would give, some below the repair limits.
    for (std::size_t f = 0; f < fields.size(); ++f)
      for (int n = 1; n <= 3; ++n)
        fields[f].at(c, n) = (n == 2 ? 1.0 : -1e-9) * (1.0 + 0.1 * static_cast<double>(f * n));
    for (int n = 1; n <= 3; ++n)
      for (int k = 1; k <= kOxides; ++k) c.BulkOx(n, k) = 3.7 * n + k;
    setAssemblage(c);
    Column before = c;
    RecordingDiagnostics diag;
    ASSERT_TRUE(UseNextPrevious(c, 2, offset, diag));
    EXPECT_TRUE(diag.reports.empty());
    const int from = 2 + offset;
    for (const Field& f : fields) EXPECT_EQ(f.at(c, 2), f.at(c, from)) << f.name;
    for (int k = 1; k <= kOxides; ++k) EXPECT_EQ(c.BulkOx(2, k), c.BulkOx(from, k));
    EXPECT_EQ(c.PhaseCount(2), from);
    for (int k = 0; k <= kPhaseListSize; ++k) EXPECT_EQ(c.PhaseList(2, k), c.PhaseList(from, k));
    for (int k = 0; k <= kXstableSize; ++k) EXPECT_EQ(c.Xstable(2, k), c.Xstable(from, k));
    // The neighbours themselves are untouched.
    for (const Field& f : fields) {
      EXPECT_EQ(f.at(c, 1), f.at(before, 1)) << f.name;
      EXPECT_EQ(f.at(c, 3), f.at(before, 3)) << f.name;
    }
  }
}

// A node without the neighbours a repair needs is a trapped fault: the routine reports it,
// sets ErrorFlag, returns false and leaves the column as it was.
TEST(NodeRepair, MissingNeighboursAreTrappedFaults) {
  struct Case {
    const char* name;
    int nodes;
    std::function<bool(Column&, Diagnostics&)> call;
    const char* trap;
  };
  const Case cases[] = {
      {"interpolate bottom", 4, [](Column& c, Diagnostics& d) { return Interpolate(c, 1, d); },
       "9 error in subroutine Interpolate."},
      {"interpolate top", 4, [](Column& c, Diagnostics& d) { return Interpolate(c, 4, d); },
       "9 error in subroutine Interpolate."},
      {"extrapolate interior", 4, [](Column& c, Diagnostics& d) { return Extrapolate(c, 2, d); },
       "5 error in subroutine Extrapolate."},
      {"extrapolate in two nodes", 2,
       [](Column& c, Diagnostics& d) { return Extrapolate(c, 2, d); },
       "9 error in subroutine Extrapolate."},
      {"use previous of node 1", 3,
       [](Column& c, Diagnostics& d) { return UseNextPrevious(c, 1, -1, d); },
       "9 error in subroutine UseNextPrevious."},
      {"use next of the top", 3,
       [](Column& c, Diagnostics& d) { return UseNextPrevious(c, 3, 1, d); },
       "9 error in subroutine UseNextPrevious."},
      {"offset of two", 3, [](Column& c, Diagnostics& d) { return UseNextPrevious(c, 1, 2, d); },
       "5 error in subroutine UseNextPrevious."},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.name);
    Column c = makeColumn(tc.nodes);
    const std::vector<Field> fields = repairedFields(6);
    for (std::size_t f = 0; f < fields.size(); ++f)
      for (int n = 1; n <= tc.nodes; ++n) fields[f].at(c, n) = linear(f, n);
    const Column before = c;
    RecordingDiagnostics diag;
    EXPECT_FALSE(tc.call(c, diag));
    ASSERT_FALSE(diag.reports.empty());
    EXPECT_EQ(diag.reports.back(), tc.trap);
    EXPECT_TRUE(diag.ErrorFlag);
    EXPECT_TRUE(c == before);
  }
}

}  // namespace
}  // namespace cx
