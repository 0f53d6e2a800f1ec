#include "solver/kernels/solve.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/diagnostics.h"
#include "kernel_test_support.h"

namespace cx {
namespace {

// Tall and square systems of full column rank, among them the minimizer's multiplier problem
// (60 unknowns' worth of equations in 15 potentials): the least-squares solution.
TEST(Solve, LeastSquaresAgreesWithAPivotedQr) {
  CX_REQUIRE_EIGEN();
#ifdef CUMULEX_HAVE_EIGEN
  std::mt19937_64 rng(161803);
  for (auto [m, n] : {std::pair{60, 15}, std::pair{45, 15}, std::pair{40, 40}, std::pair{15, 15},
                      std::pair{7, 1}}) {
    const Array2<double> a0 = test::randomMatrix(rng, m, n);
    const Array1<double> b0 = test::randomVector(rng, m);
    Array2<double> a = a0;
    Array1<double> b = b0;
    RecordingDiagnostics diag;
    Solve(m, n, a, b, diag);
    const Eigen::VectorXd ref =
        test::toEigen(a0, m, n).colPivHouseholderQr().solve(test::toEigen(b0, m));
    EXPECT_TRUE(diag.reports.empty());
    EXPECT_LT(test::relativeError(b, ref), 1e-10) << m << "x" << n;
  }
#endif
}

// Solve has no rank test: a zero column is a zero pivot, a division by zero that Solve traps.
TEST(Solve, ZeroPivotIsADivisionByZero) {
  std::mt19937_64 rng(12);
  Array2<double> a = test::randomMatrix(rng, 8, 4);
  for (int i = 1; i <= 8; ++i) a(i, 4) = 0.0;
  Array1<double> b = test::randomVector(rng, 8);
  RecordingDiagnostics diag;
  Solve(8, 4, a, b, diag);
  EXPECT_EQ(diag.reports, std::vector<std::string>{"11 error in subroutine Solve."});
  EXPECT_TRUE(diag.ErrorFlag);
}

}  // namespace
}  // namespace cx
