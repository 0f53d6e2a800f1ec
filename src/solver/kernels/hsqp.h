// HSQPModual: the equality-constrained quadratic program of the minimizer's Newton step.
//
// Minimizes  1/2 x'Ax + F'x  subject to  Cx = D,  A symmetric N by N, C the first Mc rows of an
// at least Mc by N matrix.  Reflections from the right turn C into a lower triangle [L 0]: the
// first Mc coordinates of the rotated unknown follow from L y1 = D alone, and the rest solve the
// reduced problem (Q'AQ)22 y2 = -(Q'F)2 - (Q'AQ)21 y1 by HFTI, which gives the solution of least
// length when the reduced Hessian is singular.  The answer is rotated back into X.
//
// A, F and C are destroyed.  Tol scales the rank decisions: the pseudo-rank tolerance of the
// reduced Hessian is Tol times the largest column norm of A, and a constraint row counts as
// dependent when its diagonal in L is not larger than Tol times the largest element of L.
// Up (at least Mc), H and G (at least N - Mc) and IP (integer, at least N - Mc) are work vectors
// owned by the caller.  Krank gets the pseudo-rank of the reduced Hessian.
//
// Rnorm(1) carries the outcome:
//   -1.0  bad sizes (Mc < 0, Mc > N or N < 1); nothing else is touched;
//   -2.0  the constraint rows are dependent; X holds the rows solved before the failing one;
//    0.0  the constraints fix every unknown (Mc = N);
//   else  the residual norm of the reduced problem, not negative.
// A fault is reported as "<number> error in subroutine HSQP." and the routine returns with its
// arrays as they stand.
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"

namespace cx {

void HSQP(Array2<double>& A, Array1<double>& F, Array2<double>& C, Array1<double>& D, int Mc, int N,
          double Tol, Array1<double>& Up, Array1<double>& H, Array1<double>& G, Array1<int>& IP,
          Array1<double>& Rnorm, Array1<double>& X, int& Krank, Diagnostics& diag);

namespace kernels {
// HSQP with every element access of its own checked (see hfti.h).
void hsqpChecked(Array2<double>& A, Array1<double>& F, Array2<double>& C, Array1<double>& D, int Mc,
                 int N, double Tol, Array1<double>& Up, Array1<double>& H, Array1<double>& G,
                 Array1<int>& IP, Array1<double>& Rnorm, Array1<double>& X, int& Krank,
                 Diagnostics& diag);
}  // namespace kernels

}  // namespace cx
