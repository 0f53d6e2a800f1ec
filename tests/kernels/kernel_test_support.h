// Shared pieces of the least-squares kernel tests: seeded random problems, conversions to the
// independent reference (Eigen, tests only), and bitwise comparison of arrays.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "base/array.h"

#ifdef CUMULEX_HAVE_EIGEN
#include <Eigen/Dense>
#endif

namespace cx::test {

inline Array2<double> randomMatrix(std::mt19937_64& rng, int rows, int cols, double lo = -1.0,
                                   double hi = 1.0) {
  std::uniform_real_distribution<double> u(lo, hi);
  Array2<double> a(1, rows, 1, cols);
  for (int i = 1; i <= rows; ++i)
    for (int j = 1; j <= cols; ++j) a(i, j) = u(rng);
  return a;
}

inline Array1<double> randomVector(std::mt19937_64& rng, int n, double lo = -1.0, double hi = 1.0) {
  std::uniform_real_distribution<double> u(lo, hi);
  Array1<double> v(1, n);
  for (int i = 1; i <= n; ++i) v(i) = u(rng);
  return v;
}

// Same shape and the same bits in every element (so -0.0 and 0.0 differ, NaN equals itself).
inline bool sameBits(const Array1<double>& a, const Array1<double>& b) {
  return a.lo() == b.lo() && a.hi() == b.hi() &&
         (a.empty() || std::memcmp(a.data(), b.data(), sizeof(double) * a.size()) == 0);
}
inline bool sameBits(const Array2<double>& a, const Array2<double>& b) {
  if (a.rowLo() != b.rowLo() || a.rowHi() != b.rowHi() || a.colLo() != b.colLo() ||
      a.colHi() != b.colHi())
    return false;
  for (int i = a.rowLo(); i <= a.rowHi(); ++i)
    for (int j = a.colLo(); j <= a.colHi(); ++j)
      if (std::memcmp(&a(i, j), &b(i, j), sizeof(double)) != 0) return false;
  return true;
}

#ifdef CUMULEX_HAVE_EIGEN
inline Eigen::MatrixXd toEigen(const Array2<double>& a, int rows, int cols) {
  Eigen::MatrixXd m(rows, cols);
  for (int i = 1; i <= rows; ++i)
    for (int j = 1; j <= cols; ++j) m(i - 1, j - 1) = a(i, j);
  return m;
}
inline Eigen::VectorXd toEigen(const Array1<double>& v, int n) {
  Eigen::VectorXd e(n);
  for (int i = 1; i <= n; ++i) e(i - 1) = v(i);
  return e;
}
inline Array2<double> fromEigen(const Eigen::MatrixXd& m) {
  Array2<double> a(1, static_cast<int>(m.rows()), 1, static_cast<int>(m.cols()));
  for (int i = 0; i < m.rows(); ++i)
    for (int j = 0; j < m.cols(); ++j) a(i + 1, j + 1) = m(i, j);
  return a;
}
inline Array1<double> fromEigen(const Eigen::VectorXd& v) {
  Array1<double> a(1, static_cast<int>(v.size()));
  for (int i = 0; i < v.size(); ++i) a(i + 1) = v(i);
  return a;
}
// |x - ref| / |ref| over the first n elements of x.
inline double relativeError(const Array1<double>& x, const Eigen::VectorXd& ref) {
  Eigen::VectorXd e(ref.size());
  for (int i = 0; i < ref.size(); ++i) e(i) = x(i + 1);
  return (e - ref).norm() / ref.norm();
}
#define CX_REQUIRE_EIGEN() (void)0
#else
#define CX_REQUIRE_EIGEN() GTEST_SKIP() << "Eigen is not installed: no independent reference"
#endif

}  // namespace cx::test
