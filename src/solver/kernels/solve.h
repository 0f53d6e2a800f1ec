// SolveModual: least squares by Householder triangularization, without pivoting.
//
// Solves min |A x - B| for an M by N matrix A of full column rank (M >= N).  The minimizer uses it
// for the multipliers of the mass balance: the chemical potentials of the components.  A is
// destroyed; B holds M elements and leaves with the solution in B(1..N).  There is no rank test:
// a zero pivot is a division by zero, reported as "11 error in subroutine Solve." like any other
// fault, and the routine returns with its arrays as they stand.
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"

namespace cx {

void Solve(int M, int N, Array2<double>& A, Array1<double>& B, Diagnostics& diag);

}  // namespace cx
