// HHTModual: one Householder reflection, built (mode 1) or applied (mode 2).
//
// A reflection I + u u' / (s up) maps a vector v onto s e(Lpivot) with |s| = |v|, leaving the
// elements before L1 (other than the pivot) alone.  It is the building block of the quadratic step
// of the free energy minimizer: the constraint matrix is triangularized with it, the Hessian is
// turned into the null space of the constraints with it, and the reduced problem is solved by
// least squares with it.
//
// Neither U nor C is passed as a slice; a start position and a direction stand in for it.  The
// k-th element (k = 1..M) of U is U(URow + (k-1) UDir, UCol + (k-1) (1-UDir)): UDir = 1 walks down
// a column, UDir = 0 along a row, and UCol = 0 means that U is a vector read as U(1..M).  C holds
// Ncv vectors read the same way; the j-th (j from 0) starts at row CRow + (1-CDir) j and column
// CCol + CDir j, so that successive vectors are adjacent columns when CDir = 1 and adjacent rows
// when CDir = 0.  CCol = 0 means that C is one vector, C(1..M), reflected Ncv times.
//
//   Mode 1: build the reflection from U, store s in the pivot element of U and the rest of u in
//           Up, and apply it to the Ncv vectors of C.
//   Mode 2: apply a reflection built before (U and Up as mode 1 left them) to the vectors of C.
//
// A call with L1 > M, Lpivot >= L1 or Lpivot < 1 does nothing.  A fault (an element outside the
// array, an overflow) is reported as "<number> error in subroutine HHT" and the routine returns
// with its arguments as far as they came.
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"

namespace cx {

// One array argument of HHT: a vector or a matrix, which one is told at run time by the start
// column (0 for a vector), as the routine's callers pass either kind in the same place.
class HhtArray {
 public:
  HhtArray(Array1<double>& v) noexcept : vec_(&v) {}  // NOLINT(google-explicit-constructor)
  HhtArray(Array2<double>& m) noexcept : mat_(&m) {}  // NOLINT(google-explicit-constructor)

  Array1<double>* vector() const noexcept { return vec_; }
  Array2<double>* matrix() const noexcept { return mat_; }

  // Checked element access; reading a matrix as a vector or the other way round is out of range
  // (fault 9), as is any index outside the bounds.
  double& at(int i) const;
  double& at(int row, int col) const;

 private:
  Array1<double>* vec_ = nullptr;
  Array2<double>* mat_ = nullptr;
};

// The reflection, working on the arrays in place with no work storage.  It gives the same numbers,
// summed in the same order, as hhtCopying; calls whose U overlaps the vectors of C (or whose Up is
// an element of either array) go through hhtCopying, so that the result never depends on which
// element was written first.
void HHT(int Mode, int Lpivot, int L1, int M, HhtArray U, int URow, int UCol, int UDir, double& Up,
         HhtArray C, int CRow, int CCol, int CDir, int Ncv, Diagnostics& diag);

// The reflection as first written: U and each vector of C are gathered into work vectors of M
// elements, worked on there and scattered back.  Slower (two allocations per call), kept as the
// reference the in-place version answers to.
void hhtCopying(int Mode, int Lpivot, int L1, int M, HhtArray U, int URow, int UCol, int UDir,
                double& Up, HhtArray C, int CRow, int CCol, int CDir, int Ncv, Diagnostics& diag);

}  // namespace cx
