#include "solver/kernels/hsqp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "base/diagnostics.h"
#include "kernel_test_support.h"

namespace cx {
namespace {

using test::randomMatrix;
using test::randomVector;

constexpr double kMachEps = std::numeric_limits<double>::epsilon();

// One quadratic program: minimize 1/2 x'Ax + F'x subject to Cx = D, and the work storage of a
// call.  C has a spare row, as the minimizer's constraint matrix often has.
struct Qp {
  int n, mc;
  Array2<double> A, C;
  Array1<double> F, D;
  Array1<double> up, h, g, rnorm{1, 1}, x;
  Array1<int> ip;
  int krank = -5;
  std::vector<std::string> reports;

  Qp(int n_, int mc_) : n(n_), mc(mc_), up(1, n_), h(1, n_), g(1, n_), x(1, n_), ip(1, n_) {}
  void run(double tol = kMachEps) {
    Array2<double> a = A, c = C;  // HSQP destroys them
    Array1<double> f = F;
    RecordingDiagnostics diag;
    HSQP(a, f, c, D, mc, n, tol, up, h, g, ip, rnorm, x, krank, diag);
    reports = diag.reports;
  }
};

// A = G'G/n + I (positive definite), or that minus 3 C'C (indefinite, but positive definite on
// the null space of C, which is all the program needs).
Qp randomQp(std::mt19937_64& rng, int n, int mc, bool indefinite) {
  Qp q(n, mc);
  const Array2<double> g = randomMatrix(rng, n, n);
  q.C = randomMatrix(rng, mc + 1, n);
  q.A.redim(1, n, 1, n);
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= n; ++j) {
      double s = i == j ? 1.0 : 0.0;
      for (int k = 1; k <= n; ++k) s += g(k, i) * g(k, j) / n;
      if (indefinite)
        for (int k = 1; k <= mc; ++k) s -= 3.0 * q.C(k, i) * q.C(k, j);
      q.A(i, j) = s;
    }
  q.F = randomVector(rng, n);
  q.D = randomVector(rng, mc);
  return q;
}

#ifdef CUMULEX_HAVE_EIGEN
// The solution of the KKT system  [A C'; C 0] [x; -mu] = [-F; D].
Eigen::VectorXd kktSolution(const Qp& q) {
  const int n = q.n, mc = q.mc;
  Eigen::MatrixXd k = Eigen::MatrixXd::Zero(n + mc, n + mc);
  k.topLeftCorner(n, n) = test::toEigen(q.A, n, n);
  const Eigen::MatrixXd c = test::toEigen(q.C, mc, n);
  k.topRightCorner(n, mc) = c.transpose();
  k.bottomLeftCorner(mc, n) = c;
  Eigen::VectorXd rhs(n + mc);
  rhs.head(n) = -test::toEigen(q.F, n);
  rhs.tail(mc) = test::toEigen(q.D, mc);
  return k.fullPivLu().solve(rhs).head(n);
}
#endif

// Well-conditioned programs of the minimizer's sizes (up to 60 unknowns, 15 to 30 constraints),
// with a definite and with an indefinite Hessian: HSQP's answer is the solution of the KKT system.
TEST(HSQP, EqualityConstrainedProgramsAgreeWithTheirKktSystem) {
  CX_REQUIRE_EIGEN();
#ifdef CUMULEX_HAVE_EIGEN
  std::mt19937_64 rng(424242);
  for (auto [n, mc] : {std::pair{60, 20}, std::pair{60, 15}, std::pair{60, 30}, std::pair{45, 25},
                       std::pair{30, 15}, std::pair{31, 30}}) {
    for (bool indefinite : {false, true}) {
      Qp q = randomQp(rng, n, mc, indefinite);
      q.run();
      const std::string what =
          std::to_string(n) + "/" + std::to_string(mc) + (indefinite ? " indefinite" : " definite");
      EXPECT_TRUE(q.reports.empty()) << what;
      EXPECT_LT(test::relativeError(q.x, kktSolution(q)), 1e-9) << what;
      EXPECT_EQ(q.krank, n - mc) << what;
      EXPECT_GE(q.rnorm(1), 0.0) << what;
    }
  }
#endif
}

// A singular Hessian: A = B B' of rank r.  The minimizers are x0 + z with z in the null spaces of
// both A and C; HSQP gives the one of least length.
TEST(HSQP, SingularReducedHessianGivesTheMinimizerOfLeastLength) {
  CX_REQUIRE_EIGEN();
#ifdef CUMULEX_HAVE_EIGEN
  std::mt19937_64 rng(31337);
  for (auto [n, mc, r] : {std::tuple{40, 15, 15}, std::tuple{60, 20, 25}, std::tuple{30, 10, 5}}) {
    Qp q(n, mc);
    const Eigen::MatrixXd b = test::toEigen(randomMatrix(rng, n, r), n, r);
    const Eigen::MatrixXd a = b * b.transpose();
    const Eigen::MatrixXd c = test::toEigen(randomMatrix(rng, mc, n), mc, n);
    const Eigen::VectorXd x0 = test::toEigen(randomVector(rng, n), n);
    const Eigen::VectorXd mu = test::toEigen(randomVector(rng, mc), mc);
    q.A = test::fromEigen(a);
    q.C = test::fromEigen(c);
    q.D = test::fromEigen(Eigen::VectorXd(c * x0));
    q.F = test::fromEigen(Eigen::VectorXd(-a * x0 + c.transpose() * mu));  // x0 is a minimizer
    q.run(1e-10);

    Eigen::MatrixXd stacked(n + mc, n);
    stacked << a, c;
    const Eigen::MatrixXd kernel = stacked.fullPivLu().kernel();
    ASSERT_EQ(kernel.cols(), n - mc - r);
    const Eigen::VectorXd ref =
        x0 - kernel * (kernel.transpose() * kernel).ldlt().solve(kernel.transpose() * x0);
    EXPECT_TRUE(q.reports.empty());
    EXPECT_EQ(q.krank, r);
    EXPECT_LT(test::relativeError(q.x, ref), 1e-9);
  }
#endif
}

// The flags in Rnorm(1): -1 for sizes that describe no program (X untouched), -2 for dependent
// constraint rows, 0 when the constraints alone fix x, and with no constraints A x = -F.
TEST(HSQP, FlagsAndTheTwoLimitingCases) {
  CX_REQUIRE_EIGEN();
#ifdef CUMULEX_HAVE_EIGEN
  std::mt19937_64 rng(2718);
  const int n = 12;
  for (auto [mc, nn] : {std::pair{-1, n}, std::pair{n + 1, n}, std::pair{0, 0}}) {
    Qp q = randomQp(rng, n, 5, false);
    q.mc = mc;
    q.n = nn;
    q.x.fill(7.0);
    q.run();
    EXPECT_EQ(q.rnorm(1), -1.0);
    EXPECT_EQ(q.krank, 0);
    for (int i = 1; i <= n; ++i) EXPECT_EQ(q.x(i), 7.0);
  }
  // A repeated row; a row that is a sum of two others.  Rounding leaves a diagonal of a few
  // MachEps times the largest element of L (an exact zero in only some cases), so the tolerance
  // that finds dependence reliably lies above MachEps.
  for (int dependent : {0, 1}) {
    Qp q = randomQp(rng, n, 6, false);
    for (int j = 1; j <= n; ++j) q.C(4, j) = dependent ? q.C(1, j) + q.C(2, j) : q.C(2, j);
    q.D(4) = dependent ? q.D(1) + q.D(2) : q.D(2);
    q.run(1e-12);
    EXPECT_EQ(q.rnorm(1), -2.0);
    EXPECT_EQ(q.krank, 0);
  }
  {  // Mc = N: x from C x = D alone
    Qp q = randomQp(rng, n, n, false);
    q.run();
    EXPECT_EQ(q.rnorm(1), 0.0);
    const Eigen::VectorXd ref =
        test::toEigen(q.C, n, n).partialPivLu().solve(test::toEigen(q.D, n));
    EXPECT_LT(test::relativeError(q.x, ref), 1e-10);
  }
  {  // Mc = 0: A x = -F
    Qp q = randomQp(rng, n, 0, false);
    q.run();
    const Eigen::VectorXd ref = test::toEigen(q.A, n, n).llt().solve(-test::toEigen(q.F, n));
    EXPECT_LT(test::relativeError(q.x, ref), 1e-12);
    EXPECT_EQ(q.krank, n);
    EXPECT_LT(q.rnorm(1), 1e-12);
  }
#endif
}

// Unchecked access (arrays proven large enough) and checked access give the same bits.
TEST(HSQP, ProvenAndCheckedAccessGiveTheSameBits) {
  std::mt19937_64 rng(77);
  for (auto [n, mc] : {std::pair{60, 20}, std::pair{20, 0}, std::pair{10, 10}}) {
    Qp q = randomQp(rng, n, mc, true);
    Qp r = q;
    Array2<double> a1 = q.A, c1 = q.C, a2 = q.A, c2 = q.C;
    Array1<double> f1 = q.F, f2 = q.F;
    RecordingDiagnostics diag;
    HSQP(a1, f1, c1, q.D, mc, n, kMachEps, q.up, q.h, q.g, q.ip, q.rnorm, q.x, q.krank, diag);
    kernels::hsqpChecked(a2, f2, c2, r.D, mc, n, kMachEps, r.up, r.h, r.g, r.ip, r.rnorm, r.x,
                         r.krank, diag);
    EXPECT_TRUE(diag.reports.empty());
    EXPECT_TRUE(test::sameBits(a1, a2));
    EXPECT_TRUE(test::sameBits(c1, c2));
    EXPECT_TRUE(test::sameBits(f1, f2));
    EXPECT_TRUE(test::sameBits(q.x, r.x));
    EXPECT_TRUE(test::sameBits(q.up, r.up));
    EXPECT_TRUE(test::sameBits(q.rnorm, r.rnorm));
    EXPECT_EQ(q.krank, r.krank);
  }
}

// A solution vector too short for N: the fault is trapped by HSQP, which stops there.
TEST(HSQP, ShortSolutionVectorIsReported) {
  std::mt19937_64 rng(4);
  Qp q = randomQp(rng, 10, 4, false);
  q.x.redim(1, 3);
  q.run();
  EXPECT_EQ(q.reports, std::vector<std::string>{"9 error in subroutine HSQP."});
}

}  // namespace
}  // namespace cx
