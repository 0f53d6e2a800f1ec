// Element access for the least-squares kernels.
//
// Each kernel proves at entry that every element it will touch exists; then its loops run with
// unchecked access.  When the proof fails (a caller passed arrays too small for the sizes it
// gave) the same code runs with checked access, so that the fault is raised where the first
// missing element is met and trapped by the routine, as with any other caller error.
#pragma once

#include <initializer_list>

#include "base/array.h"
#include "base/fault.h"

namespace cx::kernels {

template <bool kChecked>
struct Access {
  template <class T>
  static T& at(Array1<T>& a, int i) {
    if constexpr (kChecked)
      return a(i);
    else
      return a.unchecked(i);
  }
  template <class T>
  static T& at(Array2<T>& a, int r, int c) {
    if constexpr (kChecked)
      return a(r, c);
    else
      return a.unchecked(r, c);
  }
};

// Whether a vector holds the elements first..last, and a matrix rows r0..r1 by columns c0..c1
// (an empty range is always held).
template <class T>
bool holds(const Array1<T>& a, int first, int last) {
  return last < first || (a.contains(first) && a.contains(last));
}
template <class T>
bool holds(const Array2<T>& a, int r0, int r1, int c0, int c1) {
  if (r1 < r0 || c1 < c0) return true;
  return !a.empty() && r0 >= a.rowLo() && r1 <= a.rowHi() && c0 >= a.colLo() && c1 <= a.colHi();
}

// Sizes and indices of the kernels are 16-bit integers; a value outside that range is an
// overflow, as its conversion would be.  This also bounds the work vectors HHT and Solve reserve.
inline void requireInt16(std::initializer_list<int> values) {
  for (int v : values)
    if (v < -32768 || v > 32767) raiseFault(kFaultOverflow, "Overflow: size beyond 16 bits");
}

}  // namespace cx::kernels
