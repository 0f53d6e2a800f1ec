// One- and two-dimensional arrays with explicit lower and upper bounds.
//
// The numerics are written 1-based, as the equations are: Temp runs from -K*N to (K+1)*N, FLiq
// has an element 0, Xstable 0..60.  Every access through operator() is bounds-checked and raises
// fault 9 (subscript out of range) when it leaves the array.  An inner loop whose bounds are
// proven may use unchecked(), which skips the check.
#pragma once

#include <algorithm>
#include <memory>
#include <string>

#include "base/fault.h"

namespace cx {

// Fault 9 of a one- and a two-dimensional access, kept out of line (cold) so that a checked
// access inlines as a compare.
[[noreturn, gnu::cold, gnu::noinline]] inline void subscriptFault1(int i, int lo, int hi) {
  raiseFault(kFaultSubscript, "Subscript out of range: index " + std::to_string(i) + " not in " +
                                  std::to_string(lo) + ".." + std::to_string(hi));
}
[[noreturn, gnu::cold, gnu::noinline]] inline void subscriptFault2(int r, int c) {
  raiseFault(kFaultSubscript,
             "Subscript out of range: (" + std::to_string(r) + ", " + std::to_string(c) + ")");
}

// Contiguous storage of n values (std::vector without its bool specialisation, so that every
// element type, bool included, gives real references).
template <class T>
class ArrayBuffer {
 public:
  ArrayBuffer() = default;
  ArrayBuffer(const ArrayBuffer& o) : n_(o.n_), p_(o.n_ ? new T[o.n_] : nullptr) {
    std::copy(o.begin(), o.end(), begin());
  }
  ArrayBuffer(ArrayBuffer&&) noexcept = default;
  ArrayBuffer& operator=(const ArrayBuffer& o) {
    if (this != &o) {
      ArrayBuffer copy(o);
      *this = std::move(copy);
    }
    return *this;
  }
  ArrayBuffer& operator=(ArrayBuffer&&) noexcept = default;

  void assign(std::size_t n, const T& fill) {
    if (n != n_) {
      p_.reset(n ? new T[n] : nullptr);
      n_ = n;
    }
    std::fill(begin(), end(), fill);
  }
  std::size_t size() const noexcept { return n_; }
  bool empty() const noexcept { return n_ == 0; }
  T* data() noexcept { return p_.get(); }
  const T* data() const noexcept { return p_.get(); }
  T* begin() noexcept { return p_.get(); }
  T* end() noexcept { return p_.get() + n_; }
  const T* begin() const noexcept { return p_.get(); }
  const T* end() const noexcept { return p_.get() + n_; }
  T& operator[](std::size_t i) noexcept { return p_[i]; }
  const T& operator[](std::size_t i) const noexcept { return p_[i]; }
  bool operator==(const ArrayBuffer& o) const {
    return n_ == o.n_ && std::equal(begin(), end(), o.begin());
  }

 private:
  std::size_t n_ = 0;
  std::unique_ptr<T[]> p_;
};

template <class T>
class Array1 {
 public:
  Array1() = default;
  // Elements lo..hi inclusive, all value-initialized.  hi < lo gives an empty array.
  Array1(int lo, int hi, T fill = T{}) { redim(lo, hi, fill); }

  // Re-dimensions, erasing the contents (the platform's ReDim).
  void redim(int lo, int hi, T fill = T{}) {
    lo_ = lo;
    hi_ = hi;
    data_.assign(hi >= lo ? static_cast<std::size_t>(hi - lo + 1) : 0u, fill);
  }
  // Re-dimensions keeping the elements whose index exists in both shapes (ReDim Preserve).
  void redimPreserve(int lo, int hi, T fill = T{}) {
    Array1 next(lo, hi, fill);
    for (int i = std::max(lo, lo_); i <= std::min(hi, hi_); ++i) next.unchecked(i) = unchecked(i);
    *this = std::move(next);
  }
  void fill(T value) { std::fill(data_.begin(), data_.end(), value); }
  void erase() { fill(T{}); }

  int lo() const noexcept { return lo_; }
  int hi() const noexcept { return hi_; }
  bool empty() const noexcept { return data_.empty(); }
  int size() const noexcept { return static_cast<int>(data_.size()); }
  bool contains(int i) const noexcept { return i >= lo_ && i <= hi_ && !data_.empty(); }

  T& operator()(int i) {
    check(i);
    return data_[static_cast<std::size_t>(i - lo_)];
  }
  const T& operator()(int i) const {
    check(i);
    return data_[static_cast<std::size_t>(i - lo_)];
  }
  T& unchecked(int i) noexcept { return data_[static_cast<std::size_t>(i - lo_)]; }
  const T& unchecked(int i) const noexcept { return data_[static_cast<std::size_t>(i - lo_)]; }

  T* data() noexcept { return data_.data(); }
  const T* data() const noexcept { return data_.data(); }
  bool operator==(const Array1& o) const = default;

 private:
  // The test is inlined into every access; the message is built out of line, so that the
  // compiler keeps the hot path to two compares.
  void check(int i) const {
    if (i < lo_ || i > hi_ || data_.empty()) [[unlikely]]
      subscriptFault1(i, lo_, hi_);
  }
  int lo_ = 1;
  int hi_ = 0;
  ArrayBuffer<T> data_;
};

// Row-major two-dimensional array (row r, column c), each with its own bounds.
template <class T>
class Array2 {
 public:
  Array2() = default;
  Array2(int rlo, int rhi, int clo, int chi, T fill = T{}) { redim(rlo, rhi, clo, chi, fill); }

  void redim(int rlo, int rhi, int clo, int chi, T fill = T{}) {
    rlo_ = rlo;
    rhi_ = rhi;
    clo_ = clo;
    chi_ = chi;
    const std::size_t rows = rhi >= rlo ? static_cast<std::size_t>(rhi - rlo + 1) : 0u;
    cols_ = chi >= clo ? static_cast<std::size_t>(chi - clo + 1) : 0u;
    data_.assign(rows * cols_, fill);
  }
  void redimPreserve(int rlo, int rhi, int clo, int chi, T fill = T{}) {
    Array2 next(rlo, rhi, clo, chi, fill);
    for (int r = std::max(rlo, rlo_); r <= std::min(rhi, rhi_); ++r)
      for (int c = std::max(clo, clo_); c <= std::min(chi, chi_); ++c)
        next.unchecked(r, c) = unchecked(r, c);
    *this = std::move(next);
  }
  void fill(T value) { std::fill(data_.begin(), data_.end(), value); }
  void erase() { fill(T{}); }

  int rowLo() const noexcept { return rlo_; }
  int rowHi() const noexcept { return rhi_; }
  int colLo() const noexcept { return clo_; }
  int colHi() const noexcept { return chi_; }
  bool empty() const noexcept { return data_.empty(); }

  T& operator()(int r, int c) {
    check(r, c);
    return unchecked(r, c);
  }
  const T& operator()(int r, int c) const {
    check(r, c);
    return unchecked(r, c);
  }
  T& unchecked(int r, int c) noexcept {
    return data_[static_cast<std::size_t>(r - rlo_) * cols_ + static_cast<std::size_t>(c - clo_)];
  }
  const T& unchecked(int r, int c) const noexcept {
    return data_[static_cast<std::size_t>(r - rlo_) * cols_ + static_cast<std::size_t>(c - clo_)];
  }
  bool operator==(const Array2& o) const = default;

 private:
  void check(int r, int c) const {
    if (r < rlo_ || r > rhi_ || c < clo_ || c > chi_ || data_.empty()) [[unlikely]]
      subscriptFault2(r, c);
  }
  int rlo_ = 1, rhi_ = 0, clo_ = 1, chi_ = 0;
  std::size_t cols_ = 0;
  ArrayBuffer<T> data_;
};

}  // namespace cx
