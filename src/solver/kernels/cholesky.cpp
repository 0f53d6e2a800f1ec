#include "solver/kernels/cholesky.h"

#include <cmath>

#include "base/fault.h"
#include "base/trap.h"

namespace cx {

bool choleskyDecompose(Array1<double>& A, int n, const Array1<int>& mask) {
  if (n == 0) return true;
  if (n < 0 || !A.contains(1) || !A.contains(packedSize(n)) || (n > 0 && !mask.contains(n)) ||
      (n > 0 && !mask.contains(1)))
    raiseFault(kFaultSubscript, "Subscript out of range: packed matrix or mask too small");
  // Every index below is proven in range by the test above.
  auto a = [&A](int k) -> double& { return A.unchecked(k); };
  auto m = [&mask](int i) { return mask.unchecked(i); };
  // The rows held out become zero, so that they add nothing to the sums of the others.
  for (int i = 1; i <= n; ++i) {
    if (m(i) > 0) continue;
    for (int j = 1; j <= i; ++j) a(packedIndex(i, j)) = 0.0;
    for (int k = i + 1; k <= n; ++k) a(packedIndex(k, i)) = 0.0;
  }
  for (int j = 1; j <= n; ++j) {
    if (m(j) <= 0) continue;
    const int q = packedIndex(j, 1) - 1;  // row j starts after q
    // Column j of L: a(i, j) - sum over k < j of L(i, k) L(j, k), for i = j..n.
    for (int i = j; i <= n; ++i) {
      if (m(i) <= 0) continue;
      const int r = packedIndex(i, 1) - 1;
      double s = a(r + j);
      for (int k = 1; k < j; ++k) s -= a(r + k) * a(q + k);
      a(r + j) = s;
    }
    const double pivot = a(q + j);
    if (!(pivot > 0.0)) return false;
    const double d = std::sqrt(pivot);
    for (int i = j; i <= n; ++i)
      if (m(i) > 0) a(packedIndex(i, j)) /= d;
  }
  return true;
}

void choleskySolve(const Array1<double>& L, int n, Array1<double>& b, const Array1<int>& mask) {
  if (n < 0 || !L.contains(1) || !L.contains(packedSize(n)) || !b.contains(1) || !b.contains(n) ||
      !mask.contains(1) || !mask.contains(n)) {
    if (n == 0) return;
    raiseFault(kFaultSubscript, "Subscript out of range: packed factor, mask or vector too small");
  }
  auto a = [&L](int k) { return L.unchecked(k); };
  auto x = [&b](int i) -> double& { return b.unchecked(i); };
  auto m = [&mask](int i) { return mask.unchecked(i); };
  // Forward: L y = b.
  for (int i = 1; i <= n; ++i) {
    if (m(i) <= 0) {
      x(i) = 0.0;
      continue;
    }
    const int r = packedIndex(i, 1) - 1;
    double s = x(i);
    for (int k = 1; k < i; ++k) s -= a(r + k) * x(k);  // masked x(k) are 0 already
    x(i) = checkedDiv(s, a(r + i));
  }
  // Backward: L^T x = y.
  for (int i = n; i >= 1; --i) {
    if (m(i) <= 0) continue;
    double s = x(i);
    for (int k = i + 1; k <= n; ++k)
      if (m(k) > 0) s -= a(packedIndex(k, i)) * x(k);
    x(i) = checkedDiv(s, a(packedIndex(i, i)));
  }
}

namespace {

double dot(const Array1<double>& u, int uOff, const Array1<double>& v, int vOff, int n) {
  double s = 0.0;
  for (int i = 1; i <= n; ++i) s += u(uOff + i) * v(vOff + i);
  return s;
}

}  // namespace

void RQMinimization(Array1<double>& Vector, const Array2<double>& A, const Array2<double>& Bmat,
                    double& Rq, int N, int& Limit, Array1<double>& Work, double machEps,
                    Diagnostics& diag) {
  runTrapped(diag, subroutineSuffix("RQMinimization"), [&] {
    constexpr int kMaxRestarts = 250;
    const int limit = Limit;
    int count = 0;
    Limit = 0;
    if (N < 1) return;
    // Work holds A x, B x, the gradient, the search direction and A t, B t share the last block.
    Array1<double>& w = Work;
    const int ax = 0, bx = N, g = 2 * N, t = 3 * N, at = 4 * N;
    if (!w.contains(1) || !w.contains(5 * N))
      raiseFault(kFaultSubscript, "Subscript out of range: RQMinimization work vector");
    Array1<double>& x = Vector;
    const double tol = static_cast<double>(N) * N * machEps * machEps;
    double rq = 0.0;
    double cycleStart = 1e34;  // the quotient each restart must beat
    auto refresh = [&](double& pa, double& pb) {
      for (int i = 1; i <= N; ++i) {
        double sa = 0.0, sb = 0.0;
        for (int j = 1; j <= N; ++j) {
          sa += A(i, j) * x(j);
          sb += Bmat(i, j) * x(j);
        }
        w(ax + i) = sa;
        w(bx + i) = sb;
      }
      pa = dot(x, 0, w, ax, N);
      pb = dot(x, 0, w, bx, N);
      if (!(pb > 0.0)) raiseFault(kFaultDivisionByZero);
    };
    bool done = false;
    for (int restart = 1; restart <= kMaxRestarts && !done; ++restart) {
      double pa = 0.0, pb = 0.0;
      refresh(pa, pb);
      const double start = pa / pb;
      if (!(start < cycleStart)) break;  // the last cycle gained nothing
      cycleStart = start;
      rq = start;
      double ggOld = 0.0;
      for (int step = 1; step <= N; ++step) {
        if (count >= limit) {
          done = true;
          break;
        }
        ++count;
        // Gradient of the quotient: 2 (A x - rq B x) / x'Bx.
        double gg = 0.0;
        for (int i = 1; i <= N; ++i) {
          w(g + i) = 2.0 * (w(ax + i) - rq * w(bx + i)) / pb;
          gg += w(g + i) * w(g + i);
        }
        if (gg <= tol) {
          done = true;
          break;
        }
        const double beta = step == 1 ? 0.0 : gg / ggOld;
        for (int i = 1; i <= N; ++i) w(t + i) = -w(g + i) + beta * w(t + i);
        ggOld = gg;
        // Along x + alpha t the quotient is a ratio of two quadratics; its stationary points
        // are the roots of u alpha^2 + v alpha + c = 0.
        for (int i = 1; i <= N; ++i) {
          double sa = 0.0;
          for (int j = 1; j <= N; ++j) sa += A(i, j) * w(t + j);
          w(at + i) = sa;
        }
        const double xat = dot(x, 0, w, at, N);
        const double tat = dot(w, t, w, at, N);
        double xbt = 0.0, tbt = 0.0;
        for (int i = 1; i <= N; ++i) {
          double sb = 0.0;
          for (int j = 1; j <= N; ++j) sb += Bmat(i, j) * w(t + j);
          xbt += x(i) * sb;
          tbt += w(t + i) * sb;
        }
        const double u = tat * xbt - xat * tbt;
        const double v = tat * pb - pa * tbt;
        const double c = xat * pb - pa * xbt;
        auto quotient = [&](double alpha) {
          const double num = pa + 2.0 * alpha * xat + alpha * alpha * tat;
          const double den = pb + 2.0 * alpha * xbt + alpha * alpha * tbt;
          return den > 0.0 ? num / den : 1e300;
        };
        double alpha = 0.0;
        if (std::fabs(u) > 0.0) {
          const double disc = v * v - 4.0 * u * c;
          if (disc < 0.0) {
            done = true;
            break;
          }
          const double root = std::sqrt(disc);
          // The two stationary points, formed without cancellation; keep the lower quotient.
          const double qq = -0.5 * (v + (v >= 0.0 ? root : -root));
          const double a1 = qq != 0.0 ? c / qq : 0.0;
          const double a2 = qq / u;
          alpha = quotient(a1) <= quotient(a2) ? a1 : a2;
        } else if (v != 0.0) {
          alpha = -c / v;
        }
        const double next = quotient(alpha);
        if (!(next < rq)) {
          done = step == 1;  // no progress even along the steepest descent: converged
          break;             // otherwise restart from steepest descent
        }
        for (int i = 1; i <= N; ++i) x(i) += alpha * w(t + i);
        refresh(pa, pb);
        rq = pa / pb;
      }
    }
    // Normalize so that x'Bx = 1.
    double pa = 0.0, pb = 0.0;
    refresh(pa, pb);
    const double scale = 1.0 / std::sqrt(pb);
    for (int i = 1; i <= N; ++i) x(i) *= scale;
    Rq = pa / pb;
    Limit = count;
  });
}

}  // namespace cx
