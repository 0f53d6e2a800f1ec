#include "solver/kernels/solve.h"

#include <algorithm>
#include <string>

#include "base/fault.h"
#include "base/trap.h"
#include "solver/kernels/hht.h"
#include "solver/kernels/kernel_access.h"

namespace cx {

namespace {

const std::string& solveSuffix() {
  static const std::string kSuffix = subroutineSuffix("Solve");
  return kSuffix;
}

template <bool kChecked>
void solveBody(int M, int N, Array2<double>& A, Array1<double>& B, Diagnostics& diag) {
  using Q = kernels::Access<kChecked>;
  kernels::requireInt16({M, N});
  Array1<double> up(1, N);
  // Q'A = R column by column (for i = N = M the reflection is empty and returns at once), then
  // Q'B.
  for (int i = 1; i <= N; ++i) HHT(1, i, i + 1, M, A, 1, i, 1, up(i), A, 1, i + 1, 1, N - i, diag);
  for (int i = 1; i <= N; ++i) HHT(2, i, i + 1, M, A, 1, i, 1, up(i), B, 1, 0, 0, 1, diag);
  Q::at(B, N) = checkedDiv(Q::at(B, N), Q::at(A, N, N));
  for (int i = N - 1; i >= 1; --i) {
    double sm = 0.0;
    for (int j = i + 1; j <= N; ++j) sm += Q::at(A, i, j) * Q::at(B, j);
    Q::at(B, i) = checkedDiv(Q::at(B, i) - sm, Q::at(A, i, i));
  }
}

}  // namespace

void Solve(int M, int N, Array2<double>& A, Array1<double>& B, Diagnostics& diag) {
  using kernels::holds;
  const int rows = std::max(M, N);
  const bool proven = N >= 1 && holds(A, 1, rows, 1, N) && holds(B, 1, rows);
  runTrapped(diag, solveSuffix(), [&] {
    if (proven)
      solveBody<false>(M, N, A, B, diag);
    else
      solveBody<true>(M, N, A, B, diag);
  });
}

}  // namespace cx
