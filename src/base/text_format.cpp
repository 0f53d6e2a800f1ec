#include "base/text_format.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "base/fault.h"
#include "base/vb.h"

namespace cx {
namespace {

// Room for the longest fixed-point text: 309 integer digits, the point and the decimals.
constexpr int kMaxDecimals = 60;
constexpr std::size_t kBufferSize = 400;

// The number of decimals in the exact expansion of a finite a > 0 (0 for an integer).  A double
// is m * 2^q with m odd; for q < 0 its exact decimal expansion ends after -q decimals.
int exactDecimals(double a) {
  int e = 0;
  const double f = std::frexp(a, &e);  // a = f * 2^e, 0.5 <= f < 1
  const auto m = static_cast<std::uint64_t>(std::ldexp(f, 53));
  const int q = e - 53 + std::countr_zero(m);
  return q < 0 ? -q : 0;
}

// Adds one unit in the last place of a decimal text of digits and at most one point.
void incrementDecimal(std::string& s) {
  for (std::size_t i = s.size(); i-- > 0;) {
    if (s[i] == '.') continue;
    if (s[i] != '9') {
      ++s[i];
      return;
    }
    s[i] = '0';
  }
  s.insert(s.begin(), '1');
}

std::string toCharsFixed(double a, int decimals) {
  std::array<char, kBufferSize> buf;  // not cleared: only what to_chars writes is read
  const auto r =
      std::to_chars(buf.data(), buf.data() + buf.size(), a, std::chars_format::fixed, decimals);
  return std::string(buf.data(), r.ptr);
}

// |x| with `decimals` decimals, rounded half away from zero on the exact binary value.  The
// library rounds correctly but breaks exact ties to even; a tie needs an expansion of exactly
// decimals + 1 digits (ending in 5), which is found from the binary exponent and rounded up.
std::string fixedDigits(double a, int decimals) {
  if (exactDecimals(a) != decimals + 1) return toCharsFixed(a, decimals);
  std::string s = toCharsFixed(a, decimals + 1);  // exact, ends in '5'
  s.pop_back();
  if (s.back() == '.') s.pop_back();
  incrementDecimal(s);
  return s;
}

// |x| > 0 as `decimals + 1` significant digits (no point) and the decimal exponent of the first,
// rounded half away from zero.
struct Scientific {
  std::string digits;
  int exponent;
};

Scientific splitScientific(const char* begin, const char* end) {
  Scientific r{{}, 0};
  const char* p = begin;
  for (; p != end && *p != 'e'; ++p)
    if (*p != '.') r.digits.push_back(*p);
  if (p != end) std::from_chars(p + 1 + (p[1] == '+' ? 1 : 0), end, r.exponent);
  return r;
}

// Keeps the first `keep` digits of an exact digit text, rounding half away from zero.
Scientific roundExactDigits(const std::string& digits, int exponent, int keep) {
  Scientific r{digits.substr(0, static_cast<std::size_t>(keep)), exponent};
  if (r.digits.size() < static_cast<std::size_t>(keep))
    r.digits.append(static_cast<std::size_t>(keep) - r.digits.size(), '0');
  if (digits.size() > static_cast<std::size_t>(keep) && digits[keep] >= '5') {
    incrementDecimal(r.digits);
    if (r.digits.size() > static_cast<std::size_t>(keep)) {  // 9.99 -> 10.00
      r.digits.pop_back();
      ++r.exponent;
    }
  }
  return r;
}

Scientific scientificDigits(double a, int decimals) {
  std::array<char, 64> buf{};
  auto print = [&](int precision) {
    const auto r = std::to_chars(buf.data(), buf.data() + buf.size(), a,
                                 std::chars_format::scientific, precision);
    return splitScientific(buf.data(), r.ptr);
  };
  const int k = exactDecimals(a);
  if (k == 0) {
    // An integer: its full digits are exact, so round them directly.
    const std::string whole = toCharsFixed(a, 0);
    return roundExactDigits(whole, static_cast<int>(whole.size()) - 1, decimals + 1);
  }
  // Otherwise the exact digits run from 10^exponent down to 10^-k and end in 5.  A tie needs
  // exactly one digit more than kept; printed with that one more digit, the exponent is exact
  // whenever the value has that many digits or fewer.
  const Scientific longer = print(decimals + 1);
  if (longer.exponent + 1 + k == decimals + 2)
    return roundExactDigits(longer.digits, longer.exponent, decimals + 1);
  return print(decimals);  // not a tie: the library's correct rounding is the platform's
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const char ca = (a[i] >= 'A' && a[i] <= 'Z') ? static_cast<char>(a[i] - 'A' + 'a') : a[i];
    const char cb = (b[i] >= 'A' && b[i] <= 'Z') ? static_cast<char>(b[i] - 'A' + 'a') : b[i];
    if (ca != cb) return false;
  }
  return true;
}

// A digit pattern taken apart.
struct Pattern {
  int requiredIntegerDigits = 0;  // from the leftmost '0' before the point
  bool groupThousands = false;
  bool hasPoint = false;
  int decimals = 0;          // placeholders after the point
  int requiredDecimals = 0;  // up to the last '0' after the point
  bool scientific = false;
  char exponentLetter = 'E';
  bool exponentPlus = false;  // "E+": the sign is always printed
  int exponentDigits = 0;
};

[[noreturn]] void badFormat(std::string_view fmt) {
  raiseFault(kFaultInvalidCall, "unsupported number format '" + std::string(fmt) + "'");
}

Pattern parsePattern(std::string_view fmt) {
  Pattern p;
  std::size_t i = 0;
  int integerPlaces = 0;
  int firstZero = -1;
  for (; i < fmt.size() && (fmt[i] == '#' || fmt[i] == '0' || fmt[i] == ','); ++i) {
    if (fmt[i] == ',') {
      p.groupThousands = true;
      continue;
    }
    if (fmt[i] == '0' && firstZero < 0) firstZero = integerPlaces;
    ++integerPlaces;
  }
  if (firstZero >= 0) p.requiredIntegerDigits = integerPlaces - firstZero;
  if (i < fmt.size() && fmt[i] == '.') {
    p.hasPoint = true;
    for (++i; i < fmt.size() && (fmt[i] == '#' || fmt[i] == '0'); ++i) {
      ++p.decimals;
      if (fmt[i] == '0') p.requiredDecimals = p.decimals;
    }
  }
  if (i < fmt.size() && (fmt[i] == 'E' || fmt[i] == 'e')) {
    p.scientific = true;
    p.exponentLetter = fmt[i++];
    if (i >= fmt.size() || (fmt[i] != '+' && fmt[i] != '-')) badFormat(fmt);
    p.exponentPlus = fmt[i++] == '+';
    for (; i < fmt.size() && (fmt[i] == '0' || fmt[i] == '#'); ++i)
      if (fmt[i] == '0') ++p.exponentDigits;
    if (p.exponentDigits == 0) p.exponentDigits = 1;
  }
  if (i != fmt.size() || (integerPlaces == 0 && p.decimals == 0) || p.decimals > kMaxDecimals)
    badFormat(fmt);
  return p;
}

std::string groupThousands(const std::string& digits) {
  std::string out;
  out.reserve(digits.size() + digits.size() / 3);
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) out.push_back(',');
    out.push_back(digits[i]);
  }
  return out;
}

std::string applyPattern(double x, const Pattern& p) {
  const double a = std::fabs(x);
  std::string integer;
  std::string fraction;
  std::string exponent;
  if (p.scientific) {
    Scientific s{std::string(static_cast<std::size_t>(p.decimals) + 1, '0'), 0};
    if (a > 0) s = scientificDigits(a, p.decimals);
    integer = s.digits.substr(0, 1);
    fraction = s.digits.substr(1);
    exponent.push_back(p.exponentLetter);
    if (s.exponent < 0)
      exponent.push_back('-');
    else if (p.exponentPlus)
      exponent.push_back('+');
    std::string e = std::to_string(std::abs(s.exponent));
    if (static_cast<int>(e.size()) < p.exponentDigits)
      e.insert(0, static_cast<std::size_t>(p.exponentDigits) - e.size(), '0');
    exponent += e;
  } else {
    const std::string s = fixedDigits(a, p.decimals);
    const std::size_t point = s.find('.');
    integer = s.substr(0, point);
    if (point != std::string::npos) fraction = s.substr(point + 1);
    // Below 1 the integer part is a lone zero, which only a '0' placeholder prints.
    if (integer == "0" && p.requiredIntegerDigits == 0) integer.clear();
    if (static_cast<int>(integer.size()) < p.requiredIntegerDigits)
      integer.insert(0, static_cast<std::size_t>(p.requiredIntegerDigits) - integer.size(), '0');
    if (p.groupThousands) integer = groupThousands(integer);
  }
  while (static_cast<int>(fraction.size()) > p.requiredDecimals && fraction.back() == '0')
    fraction.pop_back();
  std::string out;
  out.reserve(integer.size() + fraction.size() + exponent.size() + 2);
  if (x < 0) out.push_back('-');  // kept even when the digits round to zero
  out += integer;
  if (p.hasPoint) out.push_back('.');
  out += fraction;
  out += exponent;
  return out;
}

std::string uppercaseExponent(std::string s) {
  for (char& c : s)
    if (c == 'e') c = 'E';
  return s;
}

}  // namespace

std::string formatNumber(double x, std::string_view fmt) {
  if (equalsIgnoringCase(fmt, "True/False")) return x != 0 ? "True" : "False";
  if (equalsIgnoringCase(fmt, "Yes/No")) return x != 0 ? "Yes" : "No";
  if (equalsIgnoringCase(fmt, "On/Off")) return x != 0 ? "On" : "Off";
  if (!std::isfinite(x)) return std::isnan(x) ? "NaN" : (x < 0 ? "-Infinity" : "Infinity");
  if (fmt.empty() || equalsIgnoringCase(fmt, "General Number")) {
    std::array<char, 64> buf{};
    const auto r = std::to_chars(buf.data(), buf.data() + buf.size(), x == 0 ? 0.0 : x,
                                 std::chars_format::general, 15);
    return uppercaseExponent(std::string(buf.data(), r.ptr));
  }
  if (equalsIgnoringCase(fmt, "Fixed")) return applyPattern(x, parsePattern("0.00"));
  if (equalsIgnoringCase(fmt, "Standard")) return applyPattern(x, parsePattern("#,##0.00"));
  if (equalsIgnoringCase(fmt, "Scientific")) return applyPattern(x, parsePattern("0.00E+00"));
  return applyPattern(x, parsePattern(fmt));
}

std::string formatBool(bool b) {
  return b ? "True" : "False";
}

std::string formatPlain(double x) {
  if (!std::isfinite(x)) return formatNumber(x, "0");
  std::array<char, 64> buf{};
  // Whole numbers print in full up to 15 digits, as the platform prints them; anything else with
  // the shortest text that reads back to the same double.
  const bool whole = x == std::trunc(x) && std::fabs(x) < 1e15;
  const auto r = whole ? std::to_chars(buf.data(), buf.data() + buf.size(), x == 0 ? 0.0 : x,
                                       std::chars_format::fixed, 0)
                       : std::to_chars(buf.data(), buf.data() + buf.size(), x);
  return uppercaseExponent(std::string(buf.data(), r.ptr));
}

std::string formatExact(double x, std::string_view format) {
  std::string text = formatNumber(x, format);
  const auto back = toNumber(text);
  return back && *back == x ? text : formatPlain(x);
}

std::string printZones(const std::vector<std::string>& items) {
  std::string out;
  for (std::size_t k = 0; k < items.size(); ++k) {
    if (k > 0) {
      const std::size_t next = (out.size() / kPrintZoneWidth + 1) * kPrintZoneWidth;
      out.append(next - out.size(), ' ');
    }
    out += items[k];
  }
  return out;
}

std::string excerpt(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) return std::string(text);
  return std::string(text.substr(0, limit)) + "... (" + std::to_string(text.size()) +
         " characters)";
}

}  // namespace cx
