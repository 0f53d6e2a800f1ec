#include "run/node_repair.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "column_fixture.h"

namespace cx {
namespace {

constexpr double kNone = -std::numeric_limits<double>::infinity();

// Visits every quantity a repair rebuilds at node n (six gas species) as f(value, lower limit,
// index); the limits keep masses, oxides and gas shares positive.
template <class F>
void forEachField(Column& c, int n, F f) {
  int i = 0;
  const auto one = [&](Array1<double>& a, double lower = kNone) { f(a(n), lower, i++); };
  const auto row = [&](Array2<double>& a, int hi, double lower = kNone) {
    for (int k = 1; k <= hi; ++k) f(a(n, k), lower, i++);
  };
  one(c.SSolid), one(c.RhoSolid), one(c.MassSolid, 1e-6), one(c.RhoWater);
  one(c.MassWater, 1e-8), one(c.SWater), one(c.STotal), one(c.Temp), one(c.Press), one(c.SLiq);
  one(c.MassLiq, 1e-6), one(c.RhoLiq), one(c.FLiq), one(c.LiqVisc), one(c.FO2);
  row(c.LiqOx, kOxides, 1e-7), row(c.SolidOx, kOxides, 0.1), row(c.TraceLiq, kTraces);
  row(c.TraceGasPpm, kTraces), row(c.TraceSolid, kTraces), row(c.PhaseMass, kPhaseOrderSize);
  row(c.GasComp, 6, 1e-7);
}

// Sets every field of node n to value(index, lower limit).
template <class Value>
void setFields(Column& c, int n, Value value) {
  forEachField(c, n, [&](double& v, double lower, int f) { v = value(f, lower); });
}

// Straight lines in the node number, with binary fractions so that means and extrapolations are
// exact; negative at node 1, around the limits at node 2, well above them beyond.
double linear(int field, int node) {
  return 0.0625 * (field % 3) + (0.5 + 0.125 * (field % 5)) * (node - 2);
}

enum class Kind { Extrapolate, Interpolate, UseNextPrevious };

bool repair(Kind kind, Column& c, int node, Diagnostics& diag, int offset = 0) {
  if (kind == Kind::Extrapolate) return Extrapolate(c, node, diag);
  if (kind == Kind::Interpolate) return Interpolate(c, node, diag);
  return UseNextPrevious(c, node, offset, diag);
}

// A linear profile is reproduced exactly by both estimates, except that a result below its limit
// is held at the limit (a neighbour without solids does not give a node with no or negative
// solids); the assemblage comes from the nearer neighbour (the lower one when both are equally
// near); BulkOx holds the oxides of liquid and solid by mass.  UseNextPrevious copies the
// neighbour exactly, BulkOx included, without limits.  A node without the neighbours a repair
// needs is a trapped fault: reported, ErrorFlag set, false returned.  Nothing else moves.
TEST(NodeRepair, RebuildsTheNodeFromItsNeighbours) {
  struct Case {
    Kind kind;
    int nodes, node, offset, from;  // from: the assemblage's source, 0 for a trapped fault
    const char* message;            // the last report
  };
  const Case cases[] = {
      {Kind::Extrapolate, 5, 1, 0, 2, "Extrapolating problem node: 1  Time: 86400.00"},
      {Kind::Extrapolate, 5, 5, 0, 4, "Extrapolating problem node: 5  Time: 86400.00"},
      {Kind::Interpolate, 5, 2, 0, 1, "Interpolating probelm node: 2  Time: 86400.00"},
      {Kind::Interpolate, 5, 4, 0, 3, "Interpolating probelm node: 4  Time: 86400.00"},
      {Kind::UseNextPrevious, 3, 2, -1, 1, ""},
      {Kind::UseNextPrevious, 3, 2, 1, 3, ""},
      {Kind::Interpolate, 4, 1, 0, 0, "9 error in subroutine Interpolate."},
      {Kind::Interpolate, 4, 4, 0, 0, "9 error in subroutine Interpolate."},
      {Kind::Extrapolate, 4, 2, 0, 0, "5 error in subroutine Extrapolate."},
      {Kind::Extrapolate, 2, 2, 0, 0, "9 error in subroutine Extrapolate."},
      {Kind::UseNextPrevious, 3, 1, -1, 0, "9 error in subroutine UseNextPrevious."},
      {Kind::UseNextPrevious, 3, 3, 1, 0, "9 error in subroutine UseNextPrevious."},
      {Kind::UseNextPrevious, 3, 1, 2, 0, "5 error in subroutine UseNextPrevious."},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(testing::Message() << "case " << &tc - cases);
    const bool ok = tc.from > 0, copy = tc.kind == Kind::UseNextPrevious;
    Column c = makeColumn(tc.nodes);
    for (int n = 1; n <= tc.nodes; ++n) {
      setFields(c, n, [n](int f, double) { return linear(f, n); });
      for (int k = 1; k <= kOxides; ++k) c.BulkOx(n, k) = 3.7 * n + k;
      // Each node's assemblage names its node, so that its source is recognisable.
      c.PhaseCount(n) = n;
      for (int k = 0; k <= kPhaseListSize; ++k) c.PhaseList(n, k) = 100 * n + k;
      for (int k = 0; k <= kXstableSize; ++k) c.Xstable(n, k) = n + k / 64.0;
    }
    if (ok) setFields(c, tc.node, [](int, double) { return -1234.0; });  // the failed node
    c.PhaseX(tc.node, 1) = 42.0;
    // The expected value of each field, and the column the repair must leave.
    const auto expected = [&](int f, double lower) {
      return copy ? linear(f, tc.from) : std::max(linear(f, tc.node), lower);
    };
    Column want = c;
    if (ok) {
      setFields(want, tc.node, expected);
      want.PhaseCount(tc.node) = tc.from;
      for (int k = 0; k <= kPhaseListSize; ++k) want.PhaseList(tc.node, k) = 100 * tc.from + k;
      for (int k = 0; k <= kXstableSize; ++k) want.Xstable(tc.node, k) = tc.from + k / 64.0;
    }
    RecordingDiagnostics diag;
    EXPECT_EQ(repair(tc.kind, c, tc.node, diag, tc.offset), ok);
    EXPECT_EQ(diag.reports.empty() ? "" : diag.reports.back(), tc.message);
    EXPECT_EQ(diag.pauses, 0);
    EXPECT_EQ(diag.ErrorFlag, !ok);
    if (ok) {
      forEachField(c, tc.node, [&](double v, double lower, int f) {
        EXPECT_EQ(v, expected(f, lower)) << "field " << f;
      });
      const double mL = c.MassLiq(tc.node), mS = c.MassSolid(tc.node);
      for (int k = 1; k <= kOxides && !copy; ++k) {
        EXPECT_NEAR(c.BulkOx(tc.node, k) * (mL + mS),
                    c.LiqOx(tc.node, k) * mL + c.SolidOx(tc.node, k) * mS, 1e-12);
        want.BulkOx(tc.node, k) = c.BulkOx(tc.node, k);
      }
      for (int k = 1; k <= kOxides && copy; ++k) want.BulkOx(tc.node, k) = 3.7 * tc.from + k;
    }
    EXPECT_TRUE(c == want);
  }
}

}  // namespace
}  // namespace cx
