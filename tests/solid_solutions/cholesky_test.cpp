// The packed Cholesky factorization and solve against Eigen's dense ones, with and without
// masked rows, and the Rayleigh-quotient minimizer against Eigen's eigenvalues.
#include "solver/kernels/cholesky.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "base/scalar_minimizer.h"

#ifdef CUMULEX_HAVE_EIGEN
#include <Eigen/Dense>
#endif

namespace cx {
namespace {

TEST(PackedCholesky, IndexingIsRowAfterRowOfTheLowerTriangle) {
  int k = 0;
  for (int i = 1; i <= 6; ++i)
    for (int j = 1; j <= i; ++j) EXPECT_EQ(packedIndex(i, j), ++k);
  EXPECT_EQ(packedSize(6), k);
}

#ifdef CUMULEX_HAVE_EIGEN

using Matrix = Eigen::MatrixXd;

// A random symmetric positive definite matrix, its condition set by the spread of the diagonal.
Matrix randomSpd(int n, std::mt19937& rng, double spread) {
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  Matrix a(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) a(i, j) = u(rng);
  Matrix m = a * a.transpose();
  for (int i = 0; i < n; ++i) m(i, i) += std::pow(spread, static_cast<double>(i) / n);
  return m;
}

TEST(PackedCholesky, AgreesWithDenseCholesky) {
  std::mt19937 rng(20261122);
  for (int n = 1; n <= 16; ++n) {
    for (double spread : {1.0, 1e4}) {
      for (int maskCase = 0; maskCase < 3; ++maskCase) {
        const Matrix m = randomSpd(n, rng, spread);
        // Mask: all free; every third row held; the first row fixed (when n > 1).
        Array1<int> mask(1, n, 1);
        for (int i = 1; i <= n; ++i) {
          if (maskCase == 1 && i % 3 == 0) mask(i) = -2;
          if (maskCase == 2 && i == 1 && n > 1) mask(i) = 0;
        }
        std::vector<int> rows;
        for (int i = 1; i <= n; ++i)
          if (mask(i) > 0) rows.push_back(i);
        const int k = static_cast<int>(rows.size());
        Matrix sub(k, k);
        for (int a = 0; a < k; ++a)
          for (int b = 0; b < k; ++b) sub(a, b) = m(rows[a] - 1, rows[b] - 1);
        const Eigen::LLT<Matrix> llt(sub);
        ASSERT_EQ(llt.info(), Eigen::Success);
        const Matrix L = llt.matrixL();

        Array1<double> packed(1, packedSize(n));
        for (int i = 1; i <= n; ++i)
          for (int j = 1; j <= i; ++j) packed(packedIndex(i, j)) = m(i - 1, j - 1);
        ASSERT_TRUE(choleskyDecompose(packed, n, mask));
        const double scale = L.cwiseAbs().maxCoeff();
        for (int a = 0; a < k; ++a)
          for (int b = 0; b <= a; ++b)
            EXPECT_NEAR(packed(packedIndex(rows[a], rows[b])), L(a, b), 1e-12 * scale)
                << n << " " << maskCase;

        Eigen::VectorXd rhs = Eigen::VectorXd::Random(k);
        const Eigen::VectorXd x = llt.solve(rhs);
        Array1<double> b(1, n, 123.0);  // masked rows must come back 0
        for (int a = 0; a < k; ++a) b(rows[a]) = rhs(a);
        choleskySolve(packed, n, b, mask);
        for (int i = 1; i <= n; ++i)
          if (mask(i) <= 0) {
            EXPECT_EQ(b(i), 0.0);
          }
        const double xs = x.cwiseAbs().maxCoeff();
        for (int a = 0; a < k; ++a) EXPECT_NEAR(b(rows[a]), x(a), 1e-10 * xs) << n;
      }
    }
  }
}

TEST(PackedCholesky, RefusesMatricesThatAreNotPositiveDefinite) {
  // Eigenvalues 3 and -1; and a singular one.
  const double indefinite[] = {1.0, 2.0, 1.0};
  const double singular[] = {1.0, 1.0, 1.0};
  for (const double* m : {indefinite, singular}) {
    Array1<double> a(1, 3);
    for (int i = 1; i <= 3; ++i) a(i) = m[i - 1];
    EXPECT_FALSE(choleskyDecompose(a, 2, Array1<int>(1, 2, 1)));
  }
  // Holding the second row out leaves a positive definite 1 by 1.
  Array1<double> a(1, 3);
  for (int i = 1; i <= 3; ++i) a(i) = indefinite[i - 1];
  Array1<int> mask(1, 2, 1);
  mask(2) = -1;
  EXPECT_TRUE(choleskyDecompose(a, 2, mask));
  // Arrays too small for n are a fault, not a wild write.
  Array1<double> tiny(1, 2);
  EXPECT_THROW(choleskyDecompose(tiny, 2, Array1<int>(1, 2, 1)), Fault);
}

TEST(RayleighQuotient, FindsTheSmallestGeneralizedEigenvalue) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  RecordingDiagnostics diag;
  const double eps = MachEps();
  for (int n = 1; n <= 8; ++n) {
    for (int c = 0; c < 2; ++c) {
      // A symmetric (indefinite) and B the identity, or B positive definite.
      Matrix a(n, n);
      for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) a(i, j) = a(j, i) = u(rng) * 1e4;
      const Matrix b = c == 0 ? Matrix::Identity(n, n) : randomSpd(n, rng, 10.0);
      const Eigen::GeneralizedSelfAdjointEigenSolver<Matrix> es(a, b);
      const double lambdaMin = es.eigenvalues()(0);
      Array2<double> A(1, n, 1, n), B(1, n, 1, n);
      for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= n; ++j) {
          A(i, j) = a(i - 1, j - 1);
          B(i, j) = b(i - 1, j - 1);
        }
      Array1<double> x(1, n, 1.0), work(1, 5 * n);
      double rq = 0.0;
      int limit = 2000;
      RQMinimization(x, A, B, rq, n, limit, work, eps, diag);
      const double spread = es.eigenvalues().cwiseAbs().maxCoeff();
      EXPECT_NEAR(rq, lambdaMin, 1e-8 * spread) << n << " " << c;
      EXPECT_LE(limit, 2000);
      EXPECT_GE(limit, n > 1 ? 1 : 0);
      // The vector is the eigenvector: A x = rq B x, and x'Bx = 1.
      Eigen::VectorXd v(n);
      for (int i = 0; i < n; ++i) v(i) = x(i + 1);
      EXPECT_NEAR(v.dot(b * v), 1.0, 1e-10);
      EXPECT_LT((a * v - rq * b * v).norm(), 1e-4 * spread) << n << " " << c;
    }
  }
  EXPECT_TRUE(diag.reports.empty());
  // A zero start vector has no quotient: a trapped division by zero.
  Array2<double> A(1, 2, 1, 2, 1.0), B(1, 2, 1, 2);
  B(1, 1) = B(2, 2) = 1.0;
  Array1<double> x(1, 2, 0.0), work(1, 10);
  double rq = -7.0;
  int limit = 10;
  RQMinimization(x, A, B, rq, 2, limit, work, eps, diag);
  EXPECT_EQ(rq, -7.0);
  ASSERT_EQ(diag.reports.size(), 1u);
  EXPECT_EQ(diag.reports[0], "11 error in subroutine RQMinimization.");
}

#endif  // CUMULEX_HAVE_EIGEN

}  // namespace
}  // namespace cx
