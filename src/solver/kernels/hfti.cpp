#include "solver/kernels/hfti.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "base/fault.h"
#include "base/trap.h"
#include "solver/kernels/hht.h"
#include "solver/kernels/kernel_access.h"

namespace cx {

namespace {

// A downdated column norm is trusted while this fraction of it still shows when added to hmax,
// the largest norm of the last recomputation: down to about 1e-11 hmax.  Below that the
// cancellation in the downdate may have eaten its digits and the norms are recomputed.  The
// published routine uses 1e-3 (trusting norms down to about 1e-13 hmax); the smaller factor,
// which recomputes sooner, is intended.
constexpr double kNormFactor = 1e-5;

const std::string& hftiSuffix() {
  static const std::string kSuffix = subroutineSuffix("HFTI");
  return kSuffix;
}

void requireFinite(double x) {
  if (!std::isfinite(x)) raiseFault(kFaultOverflow);
}

template <bool kChecked>
void hftiBody(Array2<double>& A, int M, int N, Array1<double>& B, double Tau, int& Krank,
              Array1<double>& Rnorm, Array1<double>& H, Array1<double>& G, Array1<int>& IP,
              Diagnostics& diag) {
  using X = kernels::Access<kChecked>;
  kernels::requireInt16({M, N});
  const int ldiag = std::min(M, N);
  if (ldiag <= 0) {
    Krank = 0;
    return;
  }

  // Triangularize with column interchanges.  H(l) holds the squared norm of column l below the
  // rows already reduced; it is downdated row by row and recomputed when it has become too small
  // against the largest norm of the last recomputation (hmax) to be trusted.
  double hmax = 0.0;
  for (int j = 1; j <= ldiag; ++j) {
    int lmax = j;
    bool recompute = true;
    if (j > 1) {
      for (int l = j; l <= N; ++l) {
        const double a = X::at(A, j - 1, l);
        X::at(H, l) = X::at(H, l) - a * a;
      }
      for (int l = j; l <= N; ++l)
        if (X::at(H, l) > X::at(H, lmax)) lmax = l;
      recompute = !(std::abs((hmax + kNormFactor * X::at(H, lmax)) - hmax) > 0.0);
    }
    if (recompute) {
      lmax = j;
      for (int l = j; l <= N; ++l) X::at(H, l) = 0.0;
      for (int i = j; i <= M; ++i)  // row by row: each H(l) still sums i = j..M in order
        for (int l = j; l <= N; ++l) {
          const double a = X::at(A, i, l);
          X::at(H, l) += a * a;
        }
      for (int l = j; l <= N; ++l) {
        requireFinite(X::at(H, l));
        if (X::at(H, l) > X::at(H, lmax)) lmax = l;
      }
      hmax = X::at(H, lmax);
    }
    X::at(IP, j) = lmax;
    if (lmax != j) {
      for (int i = 1; i <= M; ++i) std::swap(X::at(A, i, j), X::at(A, i, lmax));
      X::at(H, lmax) = X::at(H, j);
    }
    HHT(1, j, j + 1, M, A, 1, j, 1, X::at(H, j), A, 1, j + 1, 1, N - j, diag);
    HHT(2, j, j + 1, M, A, 1, j, 1, X::at(H, j), B, 1, 0, 0, 1, diag);
  }

  // Pseudo-rank: the leading diagonal elements larger than Tau.
  int k = ldiag;
  for (int j = 1; j <= ldiag; ++j) {
    if (!(std::abs(X::at(A, j, j)) > Tau)) {
      k = j - 1;
      break;
    }
  }

  double ss = 0.0;
  for (int i = k + 1; i <= M; ++i) ss += X::at(B, i) * X::at(B, i);
  requireFinite(ss);
  X::at(Rnorm, 1) = std::sqrt(ss);

  if (k == 0) {
    for (int i = 1; i <= N; ++i) X::at(B, i) = 0.0;
    Krank = 0;
    return;
  }

  // Columns beyond the pseudo-rank: reflections from the right turn [R11 R12] into [W 0], so
  // that the free variables can be set to the solution of least length.
  if (k != N) {
    for (int i = 1; i <= k; ++i) {
      const int j = k + 1 - i;
      HHT(1, j, k + 1, N, A, j, 1, 0, X::at(G, j), A, 1, 1, 0, j - 1, diag);
    }
  }

  for (int i = k; i >= 1; --i) {
    double sm = 0.0;
    for (int j = i + 1; j <= k; ++j) sm += X::at(A, i, j) * X::at(B, j);
    X::at(B, i) = checkedDiv(X::at(B, i) - sm, X::at(A, i, i));
  }

  if (k != N) {
    for (int i = k + 1; i <= N; ++i) X::at(B, i) = 0.0;
    for (int i = 1; i <= k; ++i) HHT(2, i, k + 1, N, A, i, 1, 0, X::at(G, i), B, 1, 0, 0, 1, diag);
  }

  // Undo the column interchanges, last first.
  for (int l = ldiag; l >= 1; --l) {
    const int p = X::at(IP, l);
    if (p != l) std::swap(X::at(B, l), X::at(B, p));
  }
  Krank = k;
}

}  // namespace

void HFTI(Array2<double>& A, int M, int N, Array1<double>& B, double Tau, int& Krank,
          Array1<double>& Rnorm, Array1<double>& H, Array1<double>& G, Array1<int>& IP,
          Diagnostics& diag) {
  using kernels::holds;
  const bool proven = holds(A, 1, M, 1, N) && holds(B, 1, std::max(M, N)) && holds(Rnorm, 1, 1) &&
                      holds(H, 1, N) && holds(G, 1, N) && holds(IP, 1, N);
  runTrapped(diag, hftiSuffix(), [&] {
    if (proven)
      hftiBody<false>(A, M, N, B, Tau, Krank, Rnorm, H, G, IP, diag);
    else
      hftiBody<true>(A, M, N, B, Tau, Krank, Rnorm, H, G, IP, diag);
  });
}

namespace kernels {
void hftiChecked(Array2<double>& A, int M, int N, Array1<double>& B, double Tau, int& Krank,
                 Array1<double>& Rnorm, Array1<double>& H, Array1<double>& G, Array1<int>& IP,
                 Diagnostics& diag) {
  runTrapped(diag, hftiSuffix(),
             [&] { hftiBody<true>(A, M, N, B, Tau, Krank, Rnorm, H, G, IP, diag); });
}
}  // namespace kernels

}  // namespace cx
