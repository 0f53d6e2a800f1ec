#include "solver/kernels/hsqp.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "base/fault.h"
#include "base/trap.h"
#include "solver/kernels/hfti.h"
#include "solver/kernels/hht.h"
#include "solver/kernels/kernel_access.h"

namespace cx {

namespace {

constexpr int kChunk = 64;  // columns whose sums of squares are formed side by side

const std::string& hsqpSuffix() {
  static const std::string kSuffix = subroutineSuffix("HSQP");
  return kSuffix;
}

template <bool kChecked>
void hsqpBody(Array2<double>& A, Array1<double>& F, Array2<double>& C, Array1<double>& D, int Mc,
              int N, double Tol, Array1<double>& Up, Array1<double>& H, Array1<double>& G,
              Array1<int>& IP, Array1<double>& Rnorm, Array1<double>& X, int& Krank,
              Diagnostics& diag) {
  using Q = kernels::Access<kChecked>;
  Krank = 0;
  Q::at(Rnorm, 1) = -1.0;
  if (Mc < 0 || Mc > N || N <= 0) return;
  kernels::requireInt16({N});

  // The rank tolerance of the reduced Hessian, from the largest column norm of A.  The sums of a
  // chunk of columns run along the rows side by side; each still adds i = 1..N in order.
  double big = 0.0;
  for (int c0 = 1; c0 <= N; c0 += kChunk) {
    const int nt = std::min(kChunk, N - c0 + 1);
    double sums[kChunk] = {};
    for (int i = 1; i <= N; ++i)
      for (int t = 0; t < nt; ++t) {
        const double a = Q::at(A, i, c0 + t);
        sums[t] += a * a;
      }
    for (int t = 0; t < nt; ++t)
      if (sums[t] > big) big = sums[t];
  }
  if (!std::isfinite(big)) raiseFault(kFaultOverflow);
  const double etol = Tol * std::sqrt(big);

  if (Mc > 0) {
    // C Q = [L 0]: each row in turn is reflected onto its diagonal, the rows below follow.
    for (int i = 1; i <= Mc; ++i)
      HHT(1, i, i + 1, N, C, i, 1, 0, Q::at(Up, i), C, i + 1, 1, 0, Mc - i, diag);

    double cmax = 0.0;
    for (int c = 1; c <= Mc; ++c)
      for (int r = c; r <= Mc; ++r) cmax = std::max(cmax, std::abs(Q::at(C, r, c)));
    const double ctol = Tol * cmax;

    // L y1 = D.  A vanishing diagonal means a constraint that repeats others.
    for (int i = 1; i <= Mc; ++i) {
      double sm = 0.0;
      for (int j = 1; j <= i - 1; ++j) sm += Q::at(C, i, j) * Q::at(X, j);
      Q::at(X, i) = Q::at(D, i) - sm;
      if (!(std::abs(Q::at(C, i, i)) > ctol)) {
        Q::at(Rnorm, 1) = -2.0;
        return;
      }
      Q::at(X, i) = checkedDiv(Q::at(X, i), Q::at(C, i, i));
    }

    if (Mc < N) {
      // Q'A, then (Q'A)Q for the rows of the reduced problem only, then Q'F.
      for (int i = 1; i <= Mc; ++i)
        HHT(2, i, i + 1, N, C, i, 1, 0, Q::at(Up, i), A, 1, 1, 1, N, diag);
      for (int i = 1; i <= Mc; ++i)
        HHT(2, i, i + 1, N, C, i, 1, 0, Q::at(Up, i), A, Mc + 1, 1, 0, N - Mc, diag);
      for (int i = 1; i <= Mc; ++i)
        HHT(2, i, i + 1, N, C, i, 1, 0, Q::at(Up, i), F, 1, 0, 0, 1, diag);
    } else {
      Q::at(Rnorm, 1) = 0.0;  // the constraints alone fix x
    }
  }

  if (Mc < N) {
    // Right-hand side of the reduced problem: -F2 - A21 y1.
    for (int i = Mc + 1; i <= N; ++i) {
      Q::at(F, i) = -Q::at(F, i);
      for (int j = 1; j <= Mc; ++j) Q::at(F, i) -= Q::at(X, j) * Q::at(A, i, j);
    }
    // Move the reduced block into the leading corner (sources always lie behind the targets).
    const int l = N - Mc;
    for (int i = 1; i <= l; ++i) {
      Q::at(F, i) = Q::at(F, Mc + i);
      for (int j = 1; j <= l; ++j) Q::at(A, i, j) = Q::at(A, Mc + i, Mc + j);
    }
    HFTI(A, l, l, F, etol, Krank, Rnorm, H, G, IP, diag);
    for (int i = Mc + 1; i <= N; ++i) Q::at(X, i) = Q::at(F, i - Mc);
    if (Mc == 0) return;
  }

  // x = Q y.
  for (int i = Mc; i >= 1; --i) HHT(2, i, i + 1, N, C, i, 1, 0, Q::at(Up, i), X, 1, 0, 0, 1, diag);
}

}  // namespace

void HSQP(Array2<double>& A, Array1<double>& F, Array2<double>& C, Array1<double>& D, int Mc, int N,
          double Tol, Array1<double>& Up, Array1<double>& H, Array1<double>& G, Array1<int>& IP,
          Array1<double>& Rnorm, Array1<double>& X, int& Krank, Diagnostics& diag) {
  using kernels::holds;
  const bool sizesOk = Mc >= 0 && Mc <= N && N > 0;
  const bool proven = holds(Rnorm, 1, 1) &&
                      (!sizesOk || (holds(A, 1, N, 1, N) && holds(F, 1, N) && holds(X, 1, N) &&
                                    holds(C, 1, Mc, 1, N) && holds(D, 1, Mc) && holds(Up, 1, Mc)));
  runTrapped(diag, hsqpSuffix(), [&] {
    if (proven)
      hsqpBody<false>(A, F, C, D, Mc, N, Tol, Up, H, G, IP, Rnorm, X, Krank, diag);
    else
      hsqpBody<true>(A, F, C, D, Mc, N, Tol, Up, H, G, IP, Rnorm, X, Krank, diag);
  });
}

namespace kernels {
void hsqpChecked(Array2<double>& A, Array1<double>& F, Array2<double>& C, Array1<double>& D, int Mc,
                 int N, double Tol, Array1<double>& Up, Array1<double>& H, Array1<double>& G,
                 Array1<int>& IP, Array1<double>& Rnorm, Array1<double>& X, int& Krank,
                 Diagnostics& diag) {
  runTrapped(diag, hsqpSuffix(),
             [&] { hsqpBody<true>(A, F, C, D, Mc, N, Tol, Up, H, G, IP, Rnorm, X, Krank, diag); });
}
}  // namespace kernels

}  // namespace cx
