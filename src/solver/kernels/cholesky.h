// CholeskiModue: Cholesky factorization of a symmetric positive definite matrix kept in packed
// storage, and the solution of the factored system; and the Rayleigh-quotient minimizer
// (conjugate gradients, after Nash's compact numerical methods) that finds the softest
// direction of a symmetric matrix.
//
// Packed storage holds the lower triangle row after row: element (i, j), j <= i, stands at
// packedIndex(i, j) = i(i-1)/2 + j, so an n by n matrix takes n(n+1)/2 elements from 1.
//
// A mask by row selects the unknowns that take part: a row whose mask is not positive is held
// out of the factorization (its row and column of the factor are zero) and its unknown solves
// to 0.  This is how the Marquardt solver keeps unknowns fixed or held at a bound.
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"

namespace cx {

constexpr int packedIndex(int i, int j) {
  return i * (i - 1) / 2 + j;
}
constexpr int packedSize(int n) {
  return n * (n + 1) / 2;
}

// Replaces the packed matrix A(1..n(n+1)/2) by its lower Cholesky factor L (A = L L^T) over the
// rows with a positive mask.  False, with A partly reduced, when a pivot is not positive (the
// matrix is not positive definite on those rows).
bool choleskyDecompose(Array1<double>& A, int n, const Array1<int>& mask);

// Solves L L^T x = b with the factor of choleskyDecompose; b(1..n) is replaced by x, and the
// unknowns of rows with a mask not positive are 0.
void choleskySolve(const Array1<double>& L, int n, Array1<double>& b, const Array1<int>& mask);

// Minimizes the Rayleigh quotient x'Ax / x'Bx of the symmetric pair (A, Bmat), both N by N with
// Bmat positive definite, by conjugate gradients from the start vector `Vector`, which it
// replaces by the minimizing vector, normalized so that x'Bx = 1.  Rq receives the quotient (the
// smallest generalized eigenvalue when converged).  Limit holds the iteration limit on entry and
// the number of iterations on return.  Work must hold at least 5 N elements from 1; the caller
// owns it so that a call allocates nothing.  A fault is reported as
// "<n> error in subroutine RQMinimization." and Rq is then left as it came.
void RQMinimization(Array1<double>& Vector, const Array2<double>& A, const Array2<double>& Bmat,
                    double& Rq, int N, int& Limit, Array1<double>& Work, double machEps,
                    Diagnostics& diag);

}  // namespace cx
