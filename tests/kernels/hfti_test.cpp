#include "solver/kernels/hfti.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <tuple>
#include <utility>

#include "base/diagnostics.h"
#include "kernel_test_support.h"

namespace cx {
namespace {

using test::randomMatrix;
using test::randomVector;

// Work storage of one HFTI call, sized for N unknowns.
struct HftiWork {
  Array1<double> rnorm{1, 1}, h, g;
  Array1<int> ip;
  explicit HftiWork(int n) : h(1, n), g(1, n), ip(1, n) {}
};

// An M by N matrix of the given rank (a product of M by r and r by N factors; full rank when r is
// min(M, N)).
Array2<double> matrixOfRank(std::mt19937_64& rng, int m, int n, int r) {
  if (r == std::min(m, n)) return randomMatrix(rng, m, n);
  const Array2<double> p = randomMatrix(rng, m, r), q = randomMatrix(rng, r, n);
  Array2<double> a(1, m, 1, n);
  for (int i = 1; i <= m; ++i)
    for (int j = 1; j <= n; ++j) {
      double s = 0.0;
      for (int k = 1; k <= r; ++k) s += p(i, k) * q(k, j);
      a(i, j) = s;
    }
  return a;
}

// Over-determined, square, under-determined and rank-deficient problems: the solution is the
// least-squares solution of least length, as the singular value decomposition gives it, and the
// residual norm and the rank are those of that solution.
TEST(HFTI, MinimumLengthLeastSquaresAgreesWithTheSvd) {
  CX_REQUIRE_EIGEN();
#ifdef CUMULEX_HAVE_EIGEN
  struct Case {
    int m, n, rank;
  };
  const Case cases[] = {{60, 60, 60}, {60, 40, 40}, {45, 30, 30}, {30, 60, 30}, {20, 45, 20},
                        {60, 40, 25}, {40, 40, 33}, {30, 50, 12}, {1, 1, 1},    {5, 1, 1}};
  std::mt19937_64 rng(1729);
  for (const Case& c : cases) {
    for (int seed = 0; seed < 3; ++seed) {
      const Array2<double> a0 = matrixOfRank(rng, c.m, c.n, c.rank);
      const Array1<double> b0 = randomVector(rng, c.m);
      Array2<double> a = a0;
      Array1<double> b(1, std::max(c.m, c.n));
      for (int i = 1; i <= c.m; ++i) b(i) = b0(i);
      HftiWork w(c.n);
      int krank = -7;
      RecordingDiagnostics diag;
      HFTI(a, c.m, c.n, b, 1e-10, krank, w.rnorm, w.h, w.g, w.ip, diag);

      const Eigen::MatrixXd ea = test::toEigen(a0, c.m, c.n);
      const Eigen::VectorXd eb = test::toEigen(b0, c.m);
      Eigen::JacobiSVD<Eigen::MatrixXd> svd(ea, Eigen::ComputeThinU | Eigen::ComputeThinV);
      svd.setThreshold(1e-10);
      const Eigen::VectorXd ref = svd.solve(eb);
      const std::string what =
          std::to_string(c.m) + "x" + std::to_string(c.n) + " rank " + std::to_string(c.rank);
      EXPECT_TRUE(diag.reports.empty()) << what;
      EXPECT_EQ(krank, c.rank) << what;
      EXPECT_LT(test::relativeError(b, ref), 1e-10) << what;
      const double residual = (ea * ref - eb).norm();
      EXPECT_NEAR(w.rnorm(1), residual, 1e-10 * eb.norm()) << what;
    }
  }
#endif
}

// A tolerance above every diagonal keeps no rank: the solution is zero and the residual is the
// whole right-hand side, whose length the reflections do not change.
TEST(HFTI, ToleranceAboveEveryDiagonalGivesRankZero) {
  std::mt19937_64 rng(5);
  for (auto [m, n] : {std::pair{20, 12}, std::pair{12, 20}}) {
    Array2<double> a = randomMatrix(rng, m, n);
    Array1<double> b = randomVector(rng, std::max(m, n));
    double norm = 0.0;
    for (int i = 1; i <= m; ++i) norm += b(i) * b(i);
    HftiWork w(n);
    int krank = -1;
    RecordingDiagnostics diag;
    HFTI(a, m, n, b, 1e6, krank, w.rnorm, w.h, w.g, w.ip, diag);
    EXPECT_EQ(krank, 0);
    for (int i = 1; i <= n; ++i) EXPECT_EQ(b(i), 0.0);
    EXPECT_NEAR(w.rnorm(1), std::sqrt(norm), 1e-14 * std::sqrt(norm));
  }
  // No rows or no columns: nothing to do.
  Array2<double> a;
  Array1<double> b, rnorm;
  Array1<double> h, g;
  Array1<int> ip;
  int krank = 3;
  RecordingDiagnostics diag;
  HFTI(a, 0, 4, b, 0.0, krank, rnorm, h, g, ip, diag);
  EXPECT_EQ(krank, 0);
  EXPECT_TRUE(diag.reports.empty());
}

// The form with unchecked access (arrays proven large enough) and the fully checked form run the
// same arithmetic: the same bits everywhere, work vectors included.
TEST(HFTI, ProvenAndCheckedAccessGiveTheSameBits) {
  std::mt19937_64 rng(99);
  for (auto [m, n, r] : {std::tuple{40, 40, 40}, std::tuple{60, 35, 20}, std::tuple{25, 50, 25}}) {
    const Array2<double> a0 = matrixOfRank(rng, m, n, r);
    const Array1<double> b0 = randomVector(rng, std::max(m, n));
    Array2<double> a1 = a0, a2 = a0;
    Array1<double> b1 = b0, b2 = b0;
    HftiWork w1(n), w2(n);
    int k1 = 0, k2 = 0;
    RecordingDiagnostics diag;
    HFTI(a1, m, n, b1, 1e-10, k1, w1.rnorm, w1.h, w1.g, w1.ip, diag);
    kernels::hftiChecked(a2, m, n, b2, 1e-10, k2, w2.rnorm, w2.h, w2.g, w2.ip, diag);
    EXPECT_EQ(k1, k2);
    EXPECT_TRUE(test::sameBits(a1, a2));
    EXPECT_TRUE(test::sameBits(b1, b2));
    EXPECT_TRUE(test::sameBits(w1.rnorm, w2.rnorm));
    EXPECT_TRUE(test::sameBits(w1.h, w2.h));
    EXPECT_TRUE(test::sameBits(w1.g, w2.g));
    EXPECT_EQ(w1.ip, w2.ip);
  }
}

// Column norms are downdated after each step and recomputed once the largest of them falls below
// about 1e-11 of the norm of the last recomputation (the factor 1e-5).  Here, after the first
// step, the two remaining columns have squared norms x^2 ~ 5e-13 of the first's 4; downdated from
// 1 + x^2 they come out equal and the first would stay in place, recomputed the third (the truly
// longer, x3 > x2) is brought forward.  With the published factor 1e-3 the downdated values would
// have been trusted.
TEST(HFTI, SmallDowndatedNormsAreRecomputedBeforePivoting) {
  const double x2 = 7.0442e-7, x3 = 7.0450e-7;
  ASSERT_EQ((1.0 + x2 * x2) - 1.0, (1.0 + x3 * x3) - 1.0);  // the downdate cannot tell them apart
  Array2<double> a(1, 3, 1, 3);
  a(1, 1) = 2.0;
  a(1, 2) = a(1, 3) = 1.0;
  a(2, 2) = x2;
  a(3, 3) = x3;
  Array1<double> b(1, 3, 1.0);
  HftiWork w(3);
  int krank = 0;
  RecordingDiagnostics diag;
  HFTI(a, 3, 3, b, 0.0, krank, w.rnorm, w.h, w.g, w.ip, diag);
  EXPECT_EQ(w.ip(1), 1);
  EXPECT_EQ(w.ip(2), 3);
  EXPECT_EQ(krank, 3);
}

// A right-hand side too short for M: each reflection of it fails in HHT, which reports and
// returns; HFTI carries on until its own sum of the residual leaves the vector.
TEST(HFTI, ShortRightHandSideIsReportedByEachRoutine) {
  std::mt19937_64 rng(8);
  Array2<double> a = randomMatrix(rng, 6, 4);
  Array1<double> b = randomVector(rng, 5);
  HftiWork w(4);
  int krank = 0;
  RecordingDiagnostics diag;
  HFTI(a, 6, 4, b, 1e-10, krank, w.rnorm, w.h, w.g, w.ip, diag);
  ASSERT_EQ(diag.reports.size(), 5u);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(diag.reports[i], "9 error in subroutine HHT");
  EXPECT_EQ(diag.reports[4], "9 error in subroutine HFTI.");
  EXPECT_TRUE(diag.ErrorFlag);
}

}  // namespace
}  // namespace cx
