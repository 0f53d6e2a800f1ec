#include "solver/kernels/hht.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "base/diagnostics.h"
#include "base/fault.h"
#include "kernel_test_support.h"

namespace cx {
namespace {

using test::sameBits;

// The arrays one HHT call may see: two matrices and two vectors, any of which can stand for U or
// for C (the same one for both when the call works on one array, as the kernels do).
struct HhtState {
  Array2<double> P, Q;
  Array1<double> v, w;
  double up = 0.0;

  HhtArray pick(int which) {
    if (which == 0) return P;
    if (which == 1) return Q;
    if (which == 2) return v;
    return w;
  }
  // Up is a separate scalar, or (to test the guard against aliasing) an element of P or v.
  double& upRef(int where) {
    if (where == 1) return P(P.rowLo() + 1, P.colLo() + 1);
    if (where == 2) return v(v.lo() + 2);
    return up;
  }
  bool operator==(const HhtState& o) const {
    return sameBits(P, o.P) && sameBits(Q, o.Q) && sameBits(v, o.v) && sameBits(w, o.w) &&
           std::memcmp(&up, &o.up, sizeof up) == 0;
  }
};

struct HhtCall {
  int mode = 1, lpivot = 1, l1 = 2, m = 2;
  int uWhich = 0, uRow = 1, uCol = 1, uDir = 1, upWhere = 0;
  int cWhich = 0, cRow = 1, cCol = 1, cDir = 1, ncv = 0;
};

// Random values with exact zeros of both signs mixed in, and now and then a NaN or an infinity.
double randomValue(std::mt19937_64& rng, bool allowNonFinite) {
  std::uniform_real_distribution<double> u(-2.0, 2.0);
  const int kind = static_cast<int>(rng() % 100);
  if (kind < 12) return 0.0;
  if (kind < 18) return -0.0;
  if (allowNonFinite && kind == 18) return std::numeric_limits<double>::quiet_NaN();
  if (allowNonFinite && kind == 19) return std::numeric_limits<double>::infinity();
  return u(rng);
}

void fill(std::mt19937_64& rng, Array2<double>& a, bool nonFinite, bool zeroColumn) {
  for (int i = a.rowLo(); i <= a.rowHi(); ++i)
    for (int j = a.colLo(); j <= a.colHi(); ++j) a(i, j) = randomValue(rng, nonFinite);
  if (zeroColumn) {  // a column of zeros gives a sum that is exactly zero
    const int j = a.colLo() + static_cast<int>(rng() % (a.colHi() - a.colLo() + 1));
    for (int i = a.rowLo(); i <= a.rowHi(); ++i) a(i, j) = (i % 2) ? -0.0 : 0.0;
  }
}
void fill(std::mt19937_64& rng, Array1<double>& a, bool nonFinite) {
  for (int i = a.lo(); i <= a.hi(); ++i) a(i) = randomValue(rng, nonFinite);
}

void runCall(HhtState& s, const HhtCall& c, bool copying, Diagnostics& diag) {
  auto fn = copying ? &hhtCopying : &HHT;
  fn(c.mode, c.lpivot, c.l1, c.m, s.pick(c.uWhich), c.uRow, c.uCol, c.uDir, s.upRef(c.upWhere),
     s.pick(c.cWhich), c.cRow, c.cCol, c.cDir, c.ncv, diag);
}

// The in-place reflection must give the copying one's numbers bit for bit, and fail in the same
// places with the arrays left in the same state: over calls shaped like the kernels' own (columns
// of the array that holds U, rows, vectors), and over arbitrary ones (strides leaving the array,
// a vector where a matrix belongs, U overlapping C, Up inside an array, zeros of either sign,
// sums that are exactly zero, NaN and infinity).
TEST(HHT, InPlaceGivesTheCopyingNumbersBitForBit) {
  std::mt19937_64 rng(20240605);
  auto pickIn = [&](int lo, int hi) { return lo + static_cast<int>(rng() % (hi - lo + 1)); };
  int reflected = 0, faulted = 0;
  for (int trial = 0; trial < 6000; ++trial) {
    const bool big = trial % 10 == 0;  // now and then more than one chunk of columns
    const int rows = big ? 70 : pickIn(3, 10), cols = big ? 75 : pickIn(3, 10);
    const int lo = pickIn(0, 1);  // lower bounds 0 or 1
    const bool nonFinite = trial % 7 == 0;
    HhtState a{Array2<double>(lo, rows, lo, cols), Array2<double>(1, rows, 1, cols),
               Array1<double>(lo, rows + 1), Array1<double>(1, rows), randomValue(rng, false)};
    fill(rng, a.P, nonFinite, trial % 3 == 0);
    fill(rng, a.Q, nonFinite, trial % 5 == 0);
    fill(rng, a.v, nonFinite);
    fill(rng, a.w, false);

    HhtCall c;
    const int pattern = pickIn(0, 5);
    c.mode = pickIn(1, 2);
    c.m = pickIn(2, std::min(rows, cols));
    c.lpivot = pickIn(1, c.m - 1);
    c.l1 = pickIn(c.lpivot + 1, c.lpivot + 2);
    if (pattern == 0) {  // a column of P reflects the columns to its right (triangularization)
      c.uCol = pickIn(1, cols - 1);
      c.cCol = c.uCol + 1;
      c.ncv = cols - c.uCol;
    } else if (pattern == 4) {  // the same, but C takes in U's column
      c.uCol = pickIn(2, cols - 1);
      c.cCol = c.uCol - pickIn(0, 1);
      c.ncv = cols - c.cCol + 1;
    } else if (pattern == 5) {  // the same, but Up is an element of P that C reads
      c.cCol = 2;
      c.ncv = cols - 1;
      c.upWhere = 1;
    } else if (pattern == 1) {  // a row of P reflects the rows above it
      c.uRow = pickIn(1, rows);
      c.uDir = c.cDir = 0;
      c.ncv = c.uRow - 1;
    } else if (pattern == 2) {  // a row of Q reflects columns or rows of P, or the vector v
      const int kind = pickIn(0, 2);
      c.uWhich = 1;
      c.uRow = pickIn(1, rows);
      c.uDir = 0;
      c.cWhich = kind == 2 ? 2 : 0;
      c.cCol = kind == 2 ? 0 : 1;
      c.cDir = kind == 0 ? 1 : 0;
      c.ncv = kind == 0 ? pickIn(0, cols) : kind == 1 ? pickIn(0, rows) : 1;
    } else if (pattern == 3) {  // anything at all
      c = HhtCall{pickIn(0, 3),
                  pickIn(-1, 4),
                  pickIn(0, 5),
                  pickIn(0, rows + 1),
                  pickIn(0, 3),
                  pickIn(-1, rows + 1),
                  pickIn(0, 1) * pickIn(-1, cols + 1),
                  pickIn(-1, 2),
                  pickIn(0, 2),
                  pickIn(0, 3),
                  pickIn(-1, rows + 1),
                  pickIn(0, 1) * pickIn(-1, cols + 1),
                  pickIn(-1, 2),
                  pickIn(-1, 5)};
    }
    RecordingDiagnostics da, db;
    // Mode 2 mostly applies a reflection built by mode 1 on the same U.
    if (c.mode == 2 && trial % 2 == 0) {
      HhtCall build = c;
      build.mode = 1;
      build.ncv = 0;
      RecordingDiagnostics scratch;
      runCall(a, build, true, scratch);
    }
    HhtState b = a;
    const HhtState before = a;
    runCall(a, c, true, da);
    runCall(b, c, false, db);
    ASSERT_TRUE(a == b) << "trial " << trial;
    ASSERT_EQ(da.reports, db.reports) << "trial " << trial;
    if (!da.reports.empty()) ++faulted;
    if (!(a == before)) ++reflected;
  }
  // The draw must have exercised both outcomes often, or the comparison proves little.
  EXPECT_GT(reflected, 2000);
  EXPECT_GT(faulted, 200);
}

// A reflection is orthogonal and symmetric: built from u, it maps u onto s e(Lpivot) with
// |s| = |u| over the pivot and L1..M, keeps the length of every vector it is applied to, leaves
// the elements outside the pivot and L1..M alone, and applied twice gives back what it started
// from.
TEST(HHT, ReflectionMapsItsVectorOntoTheAxisAndKeepsLengths) {
  struct Case {
    int lpivot, l1, m, ncv;
  };
  std::mt19937_64 rng(7);
  for (const Case& k :
       {Case{1, 2, 60, 59}, Case{5, 6, 40, 20}, Case{3, 8, 30, 4}, Case{1, 2, 2, 1}}) {
    const int n = k.ncv + 1;
    Array2<double> a = test::randomMatrix(rng, k.m, n);
    const Array2<double> a0 = a;
    double up = 0.0;
    RecordingDiagnostics diag;
    HHT(1, k.lpivot, k.l1, k.m, a, 1, 1, 1, up, a, 1, 2, 1, k.ncv, diag);

    auto part = [&](const Array2<double>& x, int col) {  // length over the pivot and L1..M
      double s = x(k.lpivot, col) * x(k.lpivot, col);
      for (int i = k.l1; i <= k.m; ++i) s += x(i, col) * x(i, col);
      return std::sqrt(s);
    };
    EXPECT_NEAR(std::abs(a(k.lpivot, 1)), part(a0, 1), 1e-14 * part(a0, 1));
    EXPECT_LT(a(k.lpivot, 1) * a0(k.lpivot, 1), 0.0);  // s opposes the pivot's sign
    for (int j = 2; j <= n; ++j) {
      EXPECT_NEAR(part(a, j), part(a0, j), 1e-14 * part(a0, j));
      for (int i = 1; i <= k.m; ++i)
        if (i != k.lpivot && i < k.l1) {
          EXPECT_EQ(a(i, j), a0(i, j));
        }
    }
    // The original vector itself goes onto the axis.
    Array1<double> u(1, k.m);
    for (int i = 1; i <= k.m; ++i) u(i) = a0(i, 1);
    HHT(2, k.lpivot, k.l1, k.m, a, 1, 1, 1, up, u, 1, 0, 0, 1, diag);
    EXPECT_NEAR(u(k.lpivot), a(k.lpivot, 1), 1e-14 * part(a0, 1));
    for (int i = k.l1; i <= k.m; ++i) EXPECT_NEAR(u(i), 0.0, 1e-14 * part(a0, 1));
    // Twice is the identity.
    HHT(2, k.lpivot, k.l1, k.m, a, 1, 1, 1, up, a, 1, 2, 1, k.ncv, diag);
    for (int j = 2; j <= n; ++j)
      for (int i = 1; i <= k.m; ++i) EXPECT_NEAR(a(i, j), a0(i, j), 1e-13);
    EXPECT_TRUE(diag.reports.empty());
  }
}

// The calls that must leave things alone, and the reflection stored without being applied.
TEST(HHT, EdgeCasesLeaveTheArraysAsTheyShould) {
  std::mt19937_64 rng(11);
  const Array2<double> c0 = test::randomMatrix(rng, 6, 3);
  RecordingDiagnostics diag;

  // Zero from the pivot down: mode 1 returns with Up unchanged and C untouched; mode 2 after it
  // finds no reflection and leaves C alone too.
  Array1<double> u(1, 6);
  u(1) = 3.0;  // before the pivot: not part of the reflection
  Array2<double> c = c0;
  double up = 42.0;
  HHT(1, 2, 3, 6, u, 1, 0, 0, up, c, 1, 1, 1, 3, diag);
  EXPECT_EQ(up, 42.0);
  EXPECT_TRUE(sameBits(c, c0));
  HHT(2, 2, 3, 6, u, 1, 0, 0, up, c, 1, 1, 1, 3, diag);
  EXPECT_TRUE(sameBits(c, c0));

  // Ncv = 0: the reflection is built and stored, nothing else changes.
  Array1<double> v = test::randomVector(rng, 6);
  const Array1<double> v0 = v;
  HHT(1, 1, 2, 6, v, 1, 0, 0, up, c, 1, 1, 1, 0, diag);
  EXPECT_NE(up, 42.0);
  EXPECT_NE(v(1), v0(1));
  for (int i = 2; i <= 6; ++i) EXPECT_EQ(v(i), v0(i));
  EXPECT_TRUE(sameBits(c, c0));

  // The pivot goes back to (Lpivot, UCol) when the walk is down a column, whatever URow is: with
  // U starting in row 2 the value read from (2, 1) is written to (1, 1).
  Array2<double> m = test::randomMatrix(rng, 4, 1);
  const Array2<double> m0 = m;
  HHT(1, 1, 2, 3, m, 2, 1, 1, up, c, 1, 1, 1, 0, diag);
  EXPECT_NE(m(1, 1), m0(1, 1));
  EXPECT_DOUBLE_EQ(std::abs(m(1, 1)), std::hypot(m0(2, 1), m0(3, 1), m0(4, 1)));
  for (int i = 2; i <= 4; ++i) EXPECT_EQ(m(i, 1), m0(i, 1));

  // Arguments that describe no reflection: L1 > M, Lpivot >= L1, Lpivot < 1.
  for (auto [lp, l1, m] : {std::tuple{1, 7, 6}, std::tuple{3, 3, 6}, std::tuple{0, 2, 6}}) {
    Array1<double> w = v0;
    double up2 = 5.0;
    HHT(1, lp, l1, m, w, 1, 0, 0, up2, c, 1, 1, 1, 3, diag);
    EXPECT_TRUE(sameBits(w, v0));
    EXPECT_EQ(up2, 5.0);
    EXPECT_TRUE(sameBits(c, c0));
  }
  EXPECT_TRUE(diag.reports.empty());
}

// A stride that leaves the array is trapped by HHT itself (its message has no full stop), and
// with trapping off the fault reaches the caller.
TEST(HHT, StrideOutOfTheArrayIsReportedOrThrown) {
  std::mt19937_64 rng(3);
  Array2<double> a = test::randomMatrix(rng, 5, 5);
  double up = 0.0;
  RecordingDiagnostics diag;
  HHT(1, 1, 2, 5, a, 1, 1, 1, up, a, 1, 2, 1, 5, diag);  // the fifth vector is column 6
  ASSERT_EQ(diag.reports, std::vector<std::string>{"9 error in subroutine HHT"});
  EXPECT_TRUE(diag.ErrorFlag);

  // Sizes are 16-bit: a length beyond that is an overflow, not a request for a huge work vector.
  Array1<double> small = test::randomVector(rng, 5);
  HHT(1, 1, 2, 1000000, small, 1, 0, 0, up, small, 1, 0, 0, 1, diag);
  EXPECT_EQ(diag.reports.back(), "6 error in subroutine HHT");

  RecordingDiagnostics strict;
  strict.TrapErrors = false;
  Array1<double> v = test::randomVector(rng, 5);
  try {
    HHT(1, 1, 2, 5, v, 1, 3, 0, up, v, 1, 0, 0, 1, strict);  // a vector read as a matrix
    FAIL() << "no fault";
  } catch (const Fault& f) {
    EXPECT_EQ(f.number(), kFaultSubscript);
  }
}

}  // namespace
}  // namespace cx
