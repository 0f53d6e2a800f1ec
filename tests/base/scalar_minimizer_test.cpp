// The machine precision and Brent's minimizer against analytic minima.
#include "base/scalar_minimizer.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>

namespace cx {
namespace {

TEST(ScalarMinimizer, MachEpsIsTheDoubleEpsilon) {
  const double eps = MachEps();
  EXPECT_GE(eps, DBL_EPSILON / 2.0);
  EXPECT_LE(eps, DBL_EPSILON * 2.0);
  EXPECT_GT(1.0 + eps, 1.0);
}

struct Search {
  double x, f;
  int flag, evaluations;
};

Search minimize(const std::function<double(double)>& f, double a, double b, double c, double tol,
                double machEps = MachEps()) {
  BrentRecord rec;
  int flag = 0, evaluations = 1;
  double x = b, fmin = 0.0;
  double fx = f(b);
  BrentMinimization(rec, machEps, a, b, c, fx, tol, x, fmin, flag);
  while (flag == 1) {
    fx = f(x);
    ++evaluations;
    BrentMinimization(rec, machEps, a, b, c, fx, tol, x, fmin, flag);
  }
  return {x, fmin, flag, evaluations};
}

TEST(ScalarMinimizer, BrentFindsAnalyticMinima) {
  struct Case {
    const char* name;
    std::function<double(double)> f;
    double a, b, c, xmin;
    double xtol;  // how well x is determined by the values of f
  };
  const double pi = std::acos(-1.0);
  const Case cases[] = {
      {"parabola", [](double x) { return (x - 2.0) * (x - 2.0) + 1.0; }, 0.0, 1.0, 5.0, 2.0, 1e-6},
      {"cosine", [](double x) { return std::cos(x); }, 2.0, 2.5, 5.0, pi, 1e-6},
      {"quartic", [](double x) { return std::pow(x - 0.7, 4) - 3.0; }, -3.0, 0.0, 4.0, 0.7,
       1e-3},  // flat: x to the 4th root
      {"x ln x", [](double x) { return x * std::log(x); }, 0.05, 0.9, 2.0, std::exp(-1.0), 1e-6},
      {"reversed bracket", [](double x) { return (x + 1.5) * (x + 1.5); }, 3.0, 0.0, -4.0, -1.5,
       1e-6},
      {"absolute value", [](double x) { return std::fabs(x - 123.456); }, 0.0, 2.0, 1000.0, 123.456,
       1e-5},
  };
  for (const Case& c : cases) {
    const double tol = 1e-8;
    const Search s = minimize(c.f, c.a, c.b, c.c, tol);
    EXPECT_EQ(s.flag, -1) << c.name;
    // A smooth minimum is found to about the square root of the precision of f and no
    // better, a flat quartic to its fourth root.
    EXPECT_NEAR(s.x, c.xmin, c.xtol * std::max(1.0, std::fabs(c.xmin))) << c.name;
    EXPECT_DOUBLE_EQ(s.f, c.f(s.x)) << c.name;
    EXPECT_LT(s.evaluations, 100) << c.name;
  }
}

TEST(ScalarMinimizer, MinimumAtABoundEndsWithinTol2OfIt) {
  const double tol = 1e-6;
  const Search s = minimize([](double x) { return 3.0 * x; }, 1.0, 2.0, 3.0, tol);
  EXPECT_EQ(s.flag, -1);
  const double tol2 = 2.0 * (std::fabs(s.x) * tol + MachEps());
  EXPECT_GE(s.x, 1.0);
  EXPECT_LE(s.x - 1.0, 2.0 * tol2);
}

TEST(ScalarMinimizer, OutOfIterationsAfter200WithTheBestPoint) {
  // With no tolerance at all the bracket can never be judged small enough.
  const auto f = [](double x) { return (x - 0.3) * (x - 0.3); };
  const Search s = minimize(f, 0.0, 0.9, 1.0, 0.0, 0.0);
  EXPECT_EQ(s.flag, -2);
  EXPECT_EQ(s.evaluations, 1 + kBrentMaxIterations);
  EXPECT_NEAR(s.x, 0.3, 1e-6);
  EXPECT_EQ(s.f, f(s.x));
}

TEST(ScalarMinimizer, ANewSearchResetsTheRecord) {
  BrentRecord rec;
  int flag = 0;
  double x = 0.0, fmin = 0.0;
  BrentMinimization(rec, MachEps(), 0.0, 1.0, 10.0, 5.0, 1e-6, x, fmin, flag);
  ASSERT_EQ(flag, 1);
  flag = 0;  // start again elsewhere
  const Search fresh =
      minimize([](double v) { return (v - 7.0) * (v - 7.0); }, 5.0, 6.0, 9.0, 1e-8);
  BrentMinimization(rec, MachEps(), 5.0, 6.0, 9.0, 1.0, 1e-8, x, fmin, flag);
  EXPECT_EQ(rec.a, 5.0);
  EXPECT_EQ(rec.b, 9.0);
  EXPECT_EQ(rec.iterations, 0);
  EXPECT_NEAR(fresh.x, 7.0, 1e-6);
}

}  // namespace
}  // namespace cx
