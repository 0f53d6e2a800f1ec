#include "base/scalar_minimizer.h"

#include <algorithm>
#include <cmath>

namespace cx {

double MachEps() {
  // volatile keeps each sum rounded to double, as the experiment needs.
  volatile double u = 1.0;
  volatile double sum = 2.0;
  while (sum > 1.0) {
    u = u / 2.0;
    sum = 1.0 + u;
  }
  u = u * 2.0;
  // The base of the arithmetic: the first whole number b at which b + u no longer exceeds b.
  volatile double base = 1.0;
  sum = base + u;
  while (sum > base) {
    base = base + 1.0;
    sum = base + u;
  }
  u = 1.0;
  double t = 1.0;  // the number of digits, counted as the experiment goes
  sum = 1.0 + u;
  while (sum > 1.0) {
    u = u / base;
    t = t + 1.0;
    sum = 1.0 + u;
  }
  (void)t;
  return u * base;
}

namespace {
constexpr double kGolden = 0.381966;  // (3 - sqrt 5)/2, the golden-section fraction

double withSign(double magnitude, double sign) {
  return sign >= 0.0 ? std::fabs(magnitude) : -std::fabs(magnitude);
}
}  // namespace

void BrentMinimization(BrentRecord& r, double machEps, double Ax, double Bx, double Cx, double Fx,
                       double Tol, double& Xmin, double& Fmin, int& Flag) {
  if (Flag != 1) {
    r.a = std::min(Ax, Cx);
    r.b = std::max(Ax, Cx);
    r.x = r.w = r.v = Bx;
    r.fx = r.fw = r.fv = Fx;
    r.d = 0.0;
    r.e = 0.0;
    r.iterations = 0;
  } else {
    // Fx is the value at u: tighten the bracket and move the points.
    const double fu = Fx;
    const double u = r.u;
    if (fu <= r.fx) {
      if (u >= r.x)
        r.a = r.x;
      else
        r.b = r.x;
      r.v = r.w;
      r.fv = r.fw;
      r.w = r.x;
      r.fw = r.fx;
      r.x = u;
      r.fx = fu;
    } else {
      if (u < r.x)
        r.a = u;
      else
        r.b = u;
      if (fu <= r.fw || r.w == r.x) {
        r.v = r.w;
        r.fv = r.fw;
        r.w = u;
        r.fw = fu;
      } else if (fu <= r.fv || r.v == r.x || r.v == r.w) {
        r.v = u;
        r.fv = fu;
      }
    }
    ++r.iterations;
    if (r.iterations >= kBrentMaxIterations) {
      Xmin = r.x;
      Fmin = r.fx;
      Flag = -2;
      return;
    }
  }

  const double xm = 0.5 * (r.a + r.b);
  const double tol1 = std::fabs(r.x) * Tol + machEps;
  const double tol2 = 2.0 * tol1;
  if (std::fabs(r.x - xm) <= tol2 - 0.5 * (r.b - r.a)) {
    Xmin = r.x;
    Fmin = r.fx;
    Flag = -1;
    return;
  }

  bool golden = true;
  if (std::fabs(r.e) > tol1) {
    // A parabola through x, w and v.
    const double t1 = (r.x - r.w) * (r.fx - r.fv);
    double q = (r.x - r.v) * (r.fx - r.fw);
    double p = (r.x - r.v) * q - (r.x - r.w) * t1;
    q = 2.0 * (q - t1);
    if (q > 0.0) p = -p;
    q = std::fabs(q);
    const double stepBeforeLast = r.e;
    r.e = r.d;
    // Accept it if it is shorter than half the step before last and falls inside (a, b).
    if (!(std::fabs(p) >= std::fabs(0.5 * q * stepBeforeLast) || p <= q * (r.a - r.x) ||
          p >= q * (r.b - r.x))) {
      r.d = p / q;
      const double u = r.x + r.d;
      if (u - r.a < tol2 || r.b - u < tol2) r.d = withSign(tol1, xm - r.x);
      golden = false;
    }
  }
  if (golden) {
    r.e = (r.x >= xm) ? r.a - r.x : r.b - r.x;
    r.d = kGolden * r.e;
  }
  r.u = std::fabs(r.d) >= tol1 ? r.x + r.d : r.x + withSign(tol1, r.d);
  Xmin = r.u;
  Flag = 1;
}

}  // namespace cx
