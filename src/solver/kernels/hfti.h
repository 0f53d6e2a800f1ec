// HFTIModual: least squares with column pivoting and a pseudo-rank decision.
//
// Solves min |A x - B| for an M by N matrix A and one right-hand side B by Householder
// triangularization with column interchanges (the column of largest remaining norm goes first).
// Diagonal elements of the triangle not larger than Tau in magnitude end the pseudo-rank k; the
// columns beyond it are folded in by reflections from the right, so that the answer is the
// solution of minimum length among those of the rank-k problem.  This is the routine the
// minimizer uses for the reduced Newton step, where a singular reduced Hessian is an ordinary
// event, not an error.
//
// A is destroyed.  B must hold max(M, N) elements: it comes in with the right-hand side in
// B(1..M) and leaves with the solution in B(1..N).  Krank gets the pseudo-rank, Rnorm(1) the
// norm of the residual.  H and G are work vectors of at least N elements and IP an integer work
// vector of at least N; the caller owns them so that a call allocates nothing.  A fault is
// reported as "<number> error in subroutine HFTI." and the routine returns with its arrays as
// they stand.
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"

namespace cx {

void HFTI(Array2<double>& A, int M, int N, Array1<double>& B, double Tau, int& Krank,
          Array1<double>& Rnorm, Array1<double>& H, Array1<double>& G, Array1<int>& IP,
          Diagnostics& diag);

namespace kernels {
// HFTI with every element access checked: what runs when the arrays are too small for M and N.
// Exposed so that the tests can hold both forms to the same numbers.
void hftiChecked(Array2<double>& A, int M, int N, Array1<double>& B, double Tau, int& Krank,
                 Array1<double>& Rnorm, Array1<double>& H, Array1<double>& G, Array1<int>& IP,
                 Diagnostics& diag);
}  // namespace kernels

}  // namespace cx
