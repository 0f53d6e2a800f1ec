// The integer conversion and rounding rules the numerics depend on, in one place.
//
//  - toInt (CInt/CLng): a real becomes an integer by rounding halves to even (2.5 -> 2, 3.5 -> 4).
//  - intFloor (Int): rounds down (-2.5 -> -3).
//  - fix (Fix): rounds toward zero.
//  - idiv (\): integer division of the rounded operands, truncating toward zero.
//  - toInt16: the 16-bit counters of the original program; leaving -32768..32767 is an overflow.
//  - val (Val): reads the leading number of a text ("1.00E-07", "-.01", "5e14", " 12abc" -> 12),
//    0 when there is none.
//  - isNumeric: the whole text (blanks around it allowed) is one number.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/fault.h"

namespace cx {

inline constexpr int kInt16Max = 32767;
inline constexpr int kInt16Min = -32768;

inline long long toLong(double x) {
  if (!std::isfinite(x) || std::fabs(x) > 9.2e18) raiseFault(kFaultOverflow);
  return static_cast<long long>(std::nearbyint(x));  // default rounding mode: half to even
}

inline int toInt(double x) {
  const long long v = toLong(x);
  if (v > 2147483647LL || v < -2147483648LL) raiseFault(kFaultOverflow);
  return static_cast<int>(v);
}

inline int toInt16(double x) {
  const long long v = toLong(x);
  if (v > kInt16Max || v < kInt16Min) raiseFault(kFaultOverflow);
  return static_cast<int>(v);
}

inline double intFloor(double x) { return std::floor(x); }
inline double fix(double x) { return std::trunc(x); }

inline long long idiv(double a, double b) {
  const long long ia = toLong(a), ib = toLong(b);
  if (ib == 0) raiseFault(kFaultDivisionByZero);
  return ia / ib;
}

// Parses a number at the start of `text` (after blanks).  Returns the value and the number of
// characters used, or nothing when no number starts there.
struct ParsedNumber {
  double value;
  std::size_t length;
};
std::optional<ParsedNumber> parseLeadingNumber(std::string_view text);

double val(std::string_view text);
bool isNumeric(std::string_view text);
std::optional<double> toNumber(std::string_view text);  // the value when isNumeric, else nothing

std::string trim(std::string_view text);

}  // namespace cx
