#include "solver/kernels/hht.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>

#include "base/fault.h"
#include "base/trap.h"
#include "solver/kernels/kernel_access.h"

namespace cx {

namespace {

// This routine's report has no full stop after the name, unlike its siblings; kept as the program
// has always written it.
const std::string& hhtSuffix() {
  static const std::string kSuffix = " error in subroutine HHT";
  return kSuffix;
}

void requireFinite(double x) {
  if (!std::isfinite(x)) raiseFault(kFaultOverflow);
}

// An index computed from a start and a stride; one that does not fit an int lies outside every
// array.
int toIndex(long long i) {
  if (i < std::numeric_limits<int>::min() || i > std::numeric_limits<int>::max())
    raiseFault(kFaultSubscript);
  return static_cast<int>(i);
}

// Element k (1-based) of the strided vector starting at (row, col) in direction dir.
double& stridedElement(const HhtArray& a, long long row, long long col, long long dir, int k) {
  const long long step = k - 1;
  return a.at(toIndex(row + step * dir), toIndex(col + step * (1 - dir)));
}

// Element k of the j-th vector of C.
double& vectorElement(const HhtArray& c, int cRow, int cCol, int cDir, int j, int k) {
  if (cCol == 0) return c.at(k);
  return stridedElement(c, cRow + static_cast<long long>(1 - cDir) * j,
                        cCol + static_cast<long long>(cDir) * j, cDir, k);
}

// ---------------------------------------------------------------------------------------------
// The in-place version.
//
// Each vector of C gets c + s u with s = b (c(Lpivot) up + sum over i = L1..M of c(i) u(i)),
// where the sum runs in that order and the vector is left alone when the sum is exactly zero.
// Below, several vectors are worked at once (their sums interleaved), but every one of them sees
// exactly the operations of hhtCopying in the same order, so the numbers agree to the last bit.

constexpr int kChunk = 64;  // vectors summed side by side (a stack buffer, no allocation)

struct Reflection {
  const double* u;    // element 1 of U
  std::ptrdiff_t su;  // step between elements of U
  int lpivot, l1, m;
  double up;  // the pivot part of the reflection vector
  double b;   // 1 / (s up), negative
};

// One vector c with element step sc.
void reflectOne(const Reflection& r, double* c, std::ptrdiff_t sc) {
  double sm = c[(r.lpivot - 1) * sc] * r.up;
  for (int i = r.l1; i <= r.m; ++i) sm += c[(i - 1) * sc] * r.u[(i - 1) * r.su];
  requireFinite(sm);
  if (sm == 0.0) return;
  sm *= r.b;
  requireFinite(sm);
  c[(r.lpivot - 1) * sc] += sm * r.up;
  for (int i = r.l1; i <= r.m; ++i) c[(i - 1) * sc] += sm * r.u[(i - 1) * r.su];
}

// x + s u where keep is all ones, x itself (to the sign of a zero) where keep is zero.  A bitwise
// choice rather than a branch, so that a row of columns is worked with vector instructions.
inline double keepUpdate(double x, double s, double u, std::uint64_t keep) {
  const auto old = std::bit_cast<std::uint64_t>(x);
  const auto updated = std::bit_cast<std::uint64_t>(x + s * u);
  return std::bit_cast<double>((updated & keep) | (old & ~keep));
}

// Adjacent columns of a row-major matrix: element k of column t is c[(k-1) cols + t].  The sums of
// a chunk of columns run along the rows, side by side, so that each row is read contiguously.
void reflectColumns(const Reflection& r, double* c, std::ptrdiff_t cols, int ncv) {
  double sm[kChunk];
  double s[kChunk];
  std::uint64_t keep[kChunk];
  for (int t0 = 0; t0 < ncv; t0 += kChunk) {
    const int nt = std::min(kChunk, ncv - t0);
    double* piv = c + (r.lpivot - 1) * cols + t0;
    for (int t = 0; t < nt; ++t) sm[t] = piv[t] * r.up;
    int i = r.l1;
    for (; i + 1 <= r.m; i += 2) {  // two rows per pass, still added one after the other
      const double ui = r.u[(i - 1) * r.su], uj = r.u[i * r.su];
      const double* row = c + (i - 1) * cols + t0;
      const double* next = row + cols;
      for (int t = 0; t < nt; ++t) sm[t] = (sm[t] + row[t] * ui) + next[t] * uj;
    }
    if (i <= r.m) {
      const double ui = r.u[(i - 1) * r.su];
      const double* row = c + (i - 1) * cols + t0;
      for (int t = 0; t < nt; ++t) sm[t] += row[t] * ui;
    }
    // The checks in the order the vectors come; those before a bad one are still reflected.  A
    // vector whose sum is exactly zero is left alone.
    int good = nt;
    for (int t = 0; t < nt; ++t) {
      if (!std::isfinite(sm[t])) {
        good = t;
        break;
      }
      keep[t] = sm[t] != 0.0 ? ~std::uint64_t{0} : std::uint64_t{0};
      s[t] = sm[t] != 0.0 ? sm[t] * r.b : 0.0;
      if (!std::isfinite(s[t])) {
        good = t;
        break;
      }
    }
    bool all = true;
    for (int t = 0; t < good; ++t) all = all && keep[t] != 0;
    if (all) {  // the usual case: every column is reflected
      for (int t = 0; t < good; ++t) piv[t] += s[t] * r.up;
      for (int k = r.l1; k <= r.m; ++k) {
        const double uk = r.u[(k - 1) * r.su];
        double* row = c + (k - 1) * cols + t0;
        for (int t = 0; t < good; ++t) row[t] += s[t] * uk;
      }
    } else {
      for (int t = 0; t < good; ++t) piv[t] = keepUpdate(piv[t], s[t], r.up, keep[t]);
      for (int k = r.l1; k <= r.m; ++k) {
        const double uk = r.u[(k - 1) * r.su];
        double* row = c + (k - 1) * cols + t0;
        for (int t = 0; t < good; ++t) row[t] = keepUpdate(row[t], s[t], uk, keep[t]);
      }
    }
    if (good < nt) raiseFault(kFaultOverflow);
  }
}

// Adjacent rows of a row-major matrix: each vector is contiguous.  The sums of kRows rows run
// side by side, so that the additions of one do not wait for those of another.
template <int kRows>
void reflectRowBlock(const Reflection& r, double* c, std::ptrdiff_t cols) {
  const int p = r.lpivot - 1;
  double* rows[kRows];
  double sums[kRows];
  for (int q = 0; q < kRows; ++q) {
    rows[q] = c + q * cols;
    sums[q] = rows[q][p] * r.up;
  }
  for (int i = r.l1 - 1; i < r.m; ++i) {
    const double ui = r.u[i * r.su];
    for (int q = 0; q < kRows; ++q) sums[q] += rows[q][i] * ui;
  }
  for (int q = 0; q < kRows; ++q) {
    double sm = sums[q];
    requireFinite(sm);
    if (sm == 0.0) continue;
    sm *= r.b;
    requireFinite(sm);
    double* row = rows[q];
    row[p] += sm * r.up;
    if (r.su == 1) {
      const double* u = r.u;
      for (int i = r.l1 - 1; i < r.m; ++i) row[i] += sm * u[i];
    } else {
      for (int i = r.l1 - 1; i < r.m; ++i) row[i] += sm * r.u[i * r.su];
    }
  }
}

void reflectRows(const Reflection& r, double* c, std::ptrdiff_t cols, int ncv) {
  int j = 0;
  for (; j + 8 <= ncv; j += 8) reflectRowBlock<8>(r, c + j * cols, cols);
  for (; j + 4 <= ncv; j += 4) reflectRowBlock<4>(r, c + j * cols, cols);
  for (; j < ncv; ++j) reflectOne(r, c + j * cols, 1);
}

// The storage of an array, for the test whether Up lies in it.
struct Span {
  const double* first = nullptr;
  const double* last = nullptr;  // one past the end
  bool holds(const double* p) const {
    return first != nullptr && !std::less<const double*>()(p, first) &&
           std::less<const double*>()(p, last);
  }
};

Span storage(const HhtArray& a) {
  if (const Array1<double>* v = a.vector()) {
    if (v->empty()) return {};
    return {&v->unchecked(v->lo()), &v->unchecked(v->lo()) + v->size()};
  }
  const Array2<double>* m = a.matrix();
  if (m->empty()) return {};
  const std::size_t n = static_cast<std::size_t>(m->rowHi() - m->rowLo() + 1) *
                        static_cast<std::size_t>(m->colHi() - m->colLo() + 1);
  return {&m->unchecked(m->rowLo(), m->colLo()), &m->unchecked(m->rowLo(), m->colLo()) + n};
}

// A rectangle of matrix positions, bounds inclusive.
struct Box {
  long long r0, r1, c0, c1;
  bool inside(const Array2<double>& a) const {
    return !a.empty() && r0 >= a.rowLo() && r1 <= a.rowHi() && c0 >= a.colLo() && c1 <= a.colHi();
  }
  bool meets(const Box& o) const { return r0 <= o.r1 && o.r0 <= r1 && c0 <= o.c1 && o.c0 <= c1; }
};

// Where the in-place arithmetic may run: every element it touches exists, U walks a row or a
// column and is written back where it was read, and nothing it reads is written under it.
// Anything else goes through hhtCopying, which raises the faults in the places the routine has
// always raised them.
struct InPlacePlan {
  bool ok = false;
  double* u = nullptr;
  std::ptrdiff_t su = 1;
  double* c = nullptr;
  std::ptrdiff_t cols = 0;  // row length of C when C is a matrix
  enum class Kind { Vector, Columns, Rows } kind = Kind::Vector;
};

InPlacePlan planInPlace(int M, const HhtArray& U, int URow, int UCol, int UDir, const double* up,
                        const HhtArray& C, int CRow, int CCol, int CDir, int Ncv) {
  InPlacePlan plan;
  Box uBox{};
  if (UCol == 0) {
    Array1<double>* v = U.vector();
    if (v == nullptr || !v->contains(1) || !v->contains(M)) return plan;
    plan.u = &v->unchecked(1);
  } else {
    Array2<double>* a = U.matrix();
    if (a == nullptr) return plan;
    // The pivot is written back to (Lpivot, UCol) or (URow, Lpivot): the element it was read from
    // only when the walk starts in row or column 1.
    if (UDir == 1) {
      if (URow != 1) return plan;
    } else if (UDir == 0) {
      if (UCol != 1) return plan;
    } else {
      return plan;
    }
    uBox = {URow, URow + static_cast<long long>(M - 1) * UDir, UCol,
            UCol + static_cast<long long>(M - 1) * (1 - UDir)};
    if (!uBox.inside(*a)) return plan;
    plan.u = &a->unchecked(URow, UCol);
    plan.su = UDir == 1 ? a->colHi() - a->colLo() + 1 : 1;
  }
  if (storage(U).holds(up)) return plan;
  if (Ncv > 0) {
    if (storage(C).holds(up)) return plan;
    if (CCol == 0) {
      Array1<double>* v = C.vector();
      if (v == nullptr || !v->contains(1) || !v->contains(M)) return plan;
      if (v == U.vector()) return plan;
      plan.c = &v->unchecked(1);
      plan.kind = InPlacePlan::Kind::Vector;
    } else {
      Array2<double>* a = C.matrix();
      if (a == nullptr || (CDir != 0 && CDir != 1)) return plan;
      const long long along = M - 1, across = Ncv - 1;
      const Box cBox{CRow, CRow + along * CDir + across * (1 - CDir), CCol,
                     CCol + along * (1 - CDir) + across * CDir};
      if (!cBox.inside(*a)) return plan;
      if (a == U.matrix() && cBox.meets(uBox)) return plan;
      plan.c = &a->unchecked(CRow, CCol);
      plan.cols = a->colHi() - a->colLo() + 1;
      plan.kind = CDir == 1 ? InPlacePlan::Kind::Columns : InPlacePlan::Kind::Rows;
    }
  }
  plan.ok = true;
  return plan;
}

void hhtCopyingBody(int Mode, int Lpivot, int L1, int M, const HhtArray& U, int URow, int UCol,
                    int UDir, double& Up, const HhtArray& C, int CRow, int CCol, int CDir,
                    int Ncv) {
  kernels::requireInt16({Mode, Lpivot, L1, M, URow, UCol, UDir, CRow, CCol, CDir, Ncv});
  if (L1 > M || Lpivot >= L1 || Lpivot <= 0) return;
  // The walk of U is a straight line: with both ends inside the array all of it is, and the work
  // vectors are never longer than the array they copy.
  if (UCol == 0) {
    (void)U.at(1);
    (void)U.at(M);
  } else {
    (void)stridedElement(U, URow, UCol, UDir, 1);
    (void)stridedElement(U, URow, UCol, UDir, M);
  }
  Array1<double> uv(1, M);
  Array1<double> cv(1, M);
  for (int k = 1; k <= M; ++k) uv(k) = UCol == 0 ? U.at(k) : stridedElement(U, URow, UCol, UDir, k);
  double cl = std::abs(uv(Lpivot));
  if (Mode == 1) {
    for (int i = L1; i <= M; ++i)
      if (std::abs(uv(i)) > cl) cl = std::abs(uv(i));
    if (!(cl > 0.0)) return;
    // The length of the vector, scaled by its largest element against overflow and underflow.
    double sm = (uv(Lpivot) / cl) * (uv(Lpivot) / cl);
    for (int i = L1; i <= M; ++i) sm += (uv(i) / cl) * (uv(i) / cl);
    cl = cl * std::sqrt(sm);
    requireFinite(cl);
    if (uv(Lpivot) > 0.0) cl = -cl;  // s takes the sign opposite the pivot: no cancellation in up
    Up = uv(Lpivot) - cl;
    requireFinite(Up);
    uv(Lpivot) = cl;
    if (UCol == 0)
      U.at(Lpivot) = cl;
    else if (UDir == 1)
      U.at(Lpivot, UCol) = cl;
    else
      U.at(URow, Lpivot) = cl;
  } else if (Mode == 2 && !(cl > 0.0)) {
    return;  // the reflection was never built
  }
  if (Ncv == 0) return;
  double b = uv(Lpivot) * Up;
  requireFinite(b);
  if (!(b < 0.0)) return;
  b = checkedDiv(1.0, b);
  for (int j = 0; j < Ncv; ++j) {
    for (int k = 1; k <= M; ++k) cv(k) = vectorElement(C, CRow, CCol, CDir, j, k);
    double sm = cv(Lpivot) * Up;
    for (int i = L1; i <= M; ++i) sm += cv(i) * uv(i);
    requireFinite(sm);
    if (sm != 0.0) {
      sm *= b;
      requireFinite(sm);
      cv(Lpivot) += sm * Up;
      for (int i = L1; i <= M; ++i) cv(i) += sm * uv(i);
      for (int k = 1; k <= M; ++k) vectorElement(C, CRow, CCol, CDir, j, k) = cv(k);
    }
  }
}

void hhtInPlaceBody(int Mode, int Lpivot, int L1, int M, const HhtArray& U, int URow, int UCol,
                    int UDir, double& Up, const HhtArray& C, int CRow, int CCol, int CDir,
                    int Ncv) {
  kernels::requireInt16({Mode, Lpivot, L1, M, URow, UCol, UDir, CRow, CCol, CDir, Ncv});
  if (L1 > M || Lpivot >= L1 || Lpivot <= 0) return;
  const InPlacePlan plan = planInPlace(M, U, URow, UCol, UDir, &Up, C, CRow, CCol, CDir, Ncv);
  if (!plan.ok) {
    hhtCopyingBody(Mode, Lpivot, L1, M, U, URow, UCol, UDir, Up, C, CRow, CCol, CDir, Ncv);
    return;
  }
  const double* u = plan.u;
  const std::ptrdiff_t su = plan.su;
  double* pivot = plan.u + (Lpivot - 1) * su;
  double upiv = *pivot;
  double cl = std::abs(upiv);
  if (Mode == 1) {
    for (int i = L1; i <= M; ++i)
      if (std::abs(u[(i - 1) * su]) > cl) cl = std::abs(u[(i - 1) * su]);
    if (!(cl > 0.0)) return;
    double sm = (upiv / cl) * (upiv / cl);
    for (int i = L1; i <= M; ++i) {
      const double x = u[(i - 1) * su] / cl;
      sm += x * x;
    }
    cl = cl * std::sqrt(sm);
    requireFinite(cl);
    if (upiv > 0.0) cl = -cl;
    Up = upiv - cl;
    requireFinite(Up);
    upiv = cl;
    *pivot = cl;
  } else if (Mode == 2 && !(cl > 0.0)) {
    return;
  }
  if (Ncv == 0) return;
  double b = upiv * Up;
  requireFinite(b);
  if (!(b < 0.0)) return;
  b = checkedDiv(1.0, b);
  if (Ncv < 0) return;
  const Reflection r{u, su, Lpivot, L1, M, Up, b};
  switch (plan.kind) {
    case InPlacePlan::Kind::Vector:
      for (int j = 0; j < Ncv; ++j) reflectOne(r, plan.c, 1);
      break;
    case InPlacePlan::Kind::Columns:
      reflectColumns(r, plan.c, plan.cols, Ncv);
      break;
    case InPlacePlan::Kind::Rows:
      reflectRows(r, plan.c, plan.cols, Ncv);
      break;
  }
}

}  // namespace

double& HhtArray::at(int i) const {
  if (vec_ == nullptr)
    raiseFault(kFaultSubscript, "Subscript out of range: a matrix read as a vector");
  return (*vec_)(i);
}

double& HhtArray::at(int row, int col) const {
  if (mat_ == nullptr)
    raiseFault(kFaultSubscript, "Subscript out of range: a vector read as a matrix");
  return (*mat_)(row, col);
}

void HHT(int Mode, int Lpivot, int L1, int M, HhtArray U, int URow, int UCol, int UDir, double& Up,
         HhtArray C, int CRow, int CCol, int CDir, int Ncv, Diagnostics& diag) {
  runTrapped(diag, hhtSuffix(), [&] {
    hhtInPlaceBody(Mode, Lpivot, L1, M, U, URow, UCol, UDir, Up, C, CRow, CCol, CDir, Ncv);
  });
}

void hhtCopying(int Mode, int Lpivot, int L1, int M, HhtArray U, int URow, int UCol, int UDir,
                double& Up, HhtArray C, int CRow, int CCol, int CDir, int Ncv, Diagnostics& diag) {
  runTrapped(diag, hhtSuffix(), [&] {
    hhtCopyingBody(Mode, Lpivot, L1, M, U, URow, UCol, UDir, Up, C, CRow, CCol, CDir, Ncv);
  });
}

}  // namespace cx
