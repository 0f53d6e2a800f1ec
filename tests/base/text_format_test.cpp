#include "base/text_format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "base/fault.h"
#include "base/vb.h"
#include "persist/text_reader.h"

namespace cx {
namespace {

TEST(TextFormat, FormatStringsOfTheFiles) {
  struct Case {
    double x;
    const char* fmt;
    const char* expected;
  };
  const Case cases[] = {
      // Named formats, any case.
      {1234.5, "Fixed", "1234.50"},
      {-0.5, "Fixed", "-0.50"},
      {0, "fixed", "0.00"},
      {1273.15, "fixed", "1273.15"},
      {2.675, "Fixed", "2.67"},  // stored as 2.67499999999999982236431605997495353221893310546875
      {1e20, "Fixed", "100000000000000000000.00"},
      {-0.004, "fixed", "-0.00"},  // rounds to zero, keeps its sign
      {1234.5, "Standard", "1,234.50"},
      {-1234567.125, "standard", "-1,234,567.13"},
      {12345, "scientific", "1.23E+04"},
      {1e-7, "Scientific", "1.00E-07"},
      {-0.0025, "scientific", "-2.50E-03"},
      {0, "scientific", "0.00E+00"},
      {125, "scientific", "1.25E+02"},
      {1.125e-100, "scientific", "1.13E-100"},  // not exact in binary: rounds on its true value
      {9.995, "scientific", "9.99E+00"},        // stored below the half
      {9.9951, "scientific", "1.00E+01"},       // carries into the exponent
      {1.5e300, "scientific", "1.50E+300"},
      {1.125e18, "scientific", "1.13E+18"},  // an exact tie among the integers
      {269984, "0.0000E+00", "2.6998E+05"},
      {5e-324, "scientific", "4.94E-324"},  // the smallest denormal
      {0.1 + 0.2, "General Number", "0.3"},
      {1e-7, "", "1E-07"},
      {1, "True/False", "True"},
      {0, "True/False", "False"},
      {-2, "Yes/No", "Yes"},
      {0, "on/off", "Off"},
      // The digit patterns of the setup and output files.
      {0.5, "###.00000", ".50000"},
      {-0.25, "##.000", "-.250"},
      {0, "###.00", ".00"},
      {-0.001, "###.00", "-.00"},
      {12.3456789, "###.0000000", "12.3456789"},
      {-1234.5, "###.0000000", "-1234.5000000"},
      {2.5, "###.000000", "2.500000"},
      {1e-7, "###.000000", ".000000"},
      {5e-7, "###.000000", ".000000"},       // 5e-7 is stored a little below the half
      {49.999995, "###.00000", "49.99999"},  // stored below the half
      {49.9999951, "###.00000", "50.00000"},
      {0.5, "0.00000", "0.50000"},
      {-0.000004, "0.00000", "-0.00000"},
      {3.14159265358979, "#.000000000", "3.141592654"},
      {0.02, "#.000000000", ".020000000"},
      {0.123456789, "0.00000000", "0.12345679"},
      {1, "0.00000000", "1.00000000"},
      {0.5, "#0.00000", "0.50000"},
      {123.456, "#0.00000", "123.45600"},
      {0.5, "##.00000", ".50000"},
      {2.718281828459, "##.000000000", "2.718281828"},
      {1523.987654321, "####.0000000", "1523.9876543"},
      {0.000123, "####.000000", ".000123"},
      {-273.15, "####.000000", "-273.150000"},
      {0.0625, "###.0000", ".0625"},
      {0.03125, "###.0000", ".0313"},  // exact tie: half away from zero
      {-0.03125, "###.0000", "-.0313"},
      {0.6, "0.0000", "0.6000"},
      {0.5, "###0.000000", "0.500000"},
      {86400.25, "###0.000000", "86400.250000"},
      {0.5, "##0.000000", "0.500000"},
      {71.4285, "##.0000", "71.4285"},
      {0.00000049, "0.000000", "0.000000"},
      {0.0000005, "0.000000", "0.000000"},
      {0.00000051, "0.000000", "0.000001"},
      // Rounding at the half of the last decimal.
      {0.125, "0.00", "0.13"},  // exact in binary: half away from zero
      {0.145, "0.00", "0.14"},  // stored below the half
      {-0.125, "0.00", "-0.13"},
      {2.5, "0", "3"},
      {3.5, "0", "4"},
      {-2.5, "0", "-3"},
      {0.5, "#", "1"},
      {0.4, "###", ""},
      {999.9995, "0.000", "1000.000"},  // stored above the half: carries into a new digit
      {9.5, "#", "10"},
      {1.005, "0.00", "1.00"},  // stored below the half
      // Digits before the point are never cut; '0's set the minimum.
      {123456.7, "##.0", "123456.7"},
      {5, "00.0", "05.0"},
      {5, "0##.00", "005.00"},
      {1234567, "#,##0", "1,234,567"},
      {123, "#,##0", "123"},
      // Optional decimals and exponent patterns.
      {1.5, "0.0#", "1.5"},
      {1.25, "0.0#", "1.25"},
      {1, "#.##", "1."},
      {12345, "0.0e-0", "1.2e4"},
      {0.00012345, "0.000E-00", "1.234E-04"},  // stored below the half
      {12345, "0.00E+000", "1.23E+004"},
      {-12345, "0E+00", "-1E+04"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(formatNumber(c.x, c.fmt), c.expected) << c.x << " with \"" << c.fmt << "\"";
  EXPECT_EQ(formatBool(true), "True");
  EXPECT_EQ(formatBool(false), "False");
}

TEST(TextFormat, UnknownFormatIsAnInvalidCall) {
  for (const char* fmt : {"abc", "0.00%", "##.0x", "0.00E", ".", "Percent"}) {
    try {
      formatNumber(1.0, fmt);
      ADD_FAILURE() << fmt;
    } catch (const Fault& f) {
      EXPECT_EQ(f.number(), kFaultInvalidCall) << fmt;
    }
  }
}

// An independent reference: the C library prints the exact decimal expansion of any double when
// asked for enough digits; rounding that text half away from zero is the platform's rule.
std::string exactExpansion(double a) {
  // A double's 53 bits end at 2^(ilogb - 52), so that many decimals hold all of it (and one more
  // keeps the rounding digit defined); at least as many as any pattern here asks for.
  const int decimals = a == 0 ? 12 : std::max(12, 53 - std::ilogb(a));
  std::vector<char> buf(static_cast<std::size_t>(decimals) + 400);
  std::snprintf(buf.data(), buf.size(), "%.*f", decimals, a);
  return buf.data();
}

// Rounds a decimal text after `keep` characters, half away from zero: the dropped part is at
// least half when its first digit is 5 or more.
std::string roundDecimalText(std::string s, std::size_t keep) {
  std::size_t next = keep;
  if (next < s.size() && s[next] == '.') ++next;
  const bool up = next < s.size() && s[next] >= '5';
  s.resize(keep);
  if (up) {
    std::size_t i = s.size();
    while (i-- > 0) {
      if (s[i] == '.') continue;
      if (s[i] != '9') {
        ++s[i];
        return s;
      }
      s[i] = '0';
    }
    s.insert(s.begin(), '1');
  }
  return s;
}

std::string referenceFixed(double x, const std::string& exact, int decimals) {
  std::string r = roundDecimalText(exact, exact.find('.') + (decimals > 0 ? decimals + 1 : 0));
  return (x < 0 ? "-" : "") + r;
}

std::string referenceScientific(double x, const std::string& exact, int decimals) {
  const std::size_t point = exact.find('.');
  std::string digits;
  int exponent = static_cast<int>(point) - 1;
  for (char c : exact) {
    if (c == '.') continue;
    if (digits.empty() && c == '0') {
      --exponent;
      continue;
    }
    digits.push_back(c);
  }
  std::string r = roundDecimalText(digits, static_cast<std::size_t>(decimals) + 1);
  if (r.size() > static_cast<std::size_t>(decimals) + 1) {
    r.pop_back();
    ++exponent;
  }
  char exp[16];
  std::snprintf(exp, sizeof exp, "E%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
  return (x < 0 ? "-" : "") + r.substr(0, 1) + (decimals > 0 ? "." + r.substr(1) : "") + exp;
}

// Values where rounding is hard: exact binary ties, decimals stored just off the half, random
// magnitudes from denormals to 1e300.
std::vector<double> hardValues() {
  std::vector<double> v = {0.125,  0.145,    2.675,   1.005, 0.5,  1.5,    2.5, 1e-7, 5e-7,  9.995,
                           99.995, 0.000125, 1.25e22, 125,   1250, 7.5e15, 9.5, 0.95, 5e-324};
  std::mt19937_64 rng(20240611);
  std::uniform_int_distribution<int> small(0, 1 << 20);
  std::uniform_int_distribution<int> shift(1, 24);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::uniform_int_distribution<int> power(-12, 15);
  for (int i = 0; i < 1000; ++i) {
    v.push_back(std::ldexp(static_cast<double>(small(rng)), -shift(rng)));     // dyadic: many ties
    v.push_back(static_cast<double>(small(rng)) / 1000.0);                     // decimal-looking
    v.push_back(unit(rng) * std::pow(10.0, power(rng)));                       // anything
    v.push_back(std::ldexp(static_cast<double>(small(rng) | 1), shift(rng)));  // odd integers
  }
  std::vector<double> both;
  for (double x : v) {
    both.push_back(x);
    both.push_back(-x);
  }
  return both;
}

TEST(TextFormat, RoundsHalfAwayOnTheExactValueLikeAnExactExpansion) {
  const std::vector<double> values = hardValues();
  const char* fixedPatterns[] = {"0",       "0.0",      "0.00",      "0.000",      "0.0000",
                                 "0.00000", "0.000000", "0.0000000", "0.00000000", "0.000000000"};
  const char* scientificPatterns[] = {"0E+00",     "0.0E+00",    "0.00E+00",
                                      "0.000E+00", "0.0000E+00", "0.000000E+00"};
  const int scientificDecimals[] = {0, 1, 2, 3, 4, 6};
  int mismatches = 0;
  for (double x : values) {
    const std::string exact = exactExpansion(std::fabs(x));
    for (int d = 0; d < 10; ++d) {
      const std::string got = formatNumber(x, fixedPatterns[d]);
      const std::string want = referenceFixed(x, exact, d);
      if (got != want && ++mismatches < 10)
        ADD_FAILURE() << x << " \"" << fixedPatterns[d] << "\": " << got << " vs " << want;
    }
    if (x == 0) continue;
    for (int k = 0; k < 6; ++k) {
      const std::string got = formatNumber(x, scientificPatterns[k]);
      const std::string want = referenceScientific(x, exact, scientificDecimals[k]);
      if (got != want && ++mismatches < 10)
        ADD_FAILURE() << x << " \"" << scientificPatterns[k] << "\": " << got << " vs " << want;
    }
  }
  EXPECT_EQ(mismatches, 0);
}

double readBack(const std::string& text) {
  TextReader in(text, "round trip");
  const double v = in.readNumber("value");
  EXPECT_TRUE(in.atEnd()) << text;
  return v;
}

TEST(TextFormat, FormattedNumbersReadBackWithinHalfTheLastDecimal) {
  struct Format {
    const char* fmt;
    int decimals;
  };
  const Format formats[] = {
      {"Fixed", 2},    {"###.0000000", 7},  {"###.000000", 6},   {"###.00000", 5},
      {"0.00000", 5},  {"#.000000000", 9},  {"0.00000000", 8},   {"#0.00000", 5},
      {"##.00000", 5}, {"##.000000000", 9}, {"####.0000000", 7}, {"####.000000", 6},
      {"###.0000", 4}, {"0.0000", 4},       {"###0.000000", 6},  {"##0.000000", 6},
      {"##.0000", 4},  {"0.000000", 6},     {"Standard", 2},
  };
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::uniform_int_distribution<int> power(-9, 6);
  for (int i = 0; i < 4000; ++i) {
    const double x = unit(rng) * std::pow(10.0, power(rng));
    for (const Format& f : formats) {
      std::string text = formatNumber(x, f.fmt);
      if (std::string_view(f.fmt) == "Standard") std::erase(text, ',');
      const double tolerance = 0.5 * std::pow(10.0, -f.decimals) + 4e-16 * std::fabs(x);
      EXPECT_NEAR(readBack(text), x, tolerance) << text << " from \"" << f.fmt << "\"";
    }
    const std::string sci = formatNumber(x, "scientific");
    EXPECT_NEAR(readBack(sci), x,
                0.005 * std::pow(10.0, std::floor(std::log10(std::fabs(x)))) * (1 + 1e-12))
        << sci;
  }
}

TEST(TextFormat, PlainNumbersReadBackExactly) {
  const std::vector<double> values = hardValues();
  for (double x : values) {
    const std::string text = formatPlain(x);
    EXPECT_EQ(readBack(text), x) << text;
    if (x == std::trunc(x) && std::fabs(x) < 1e15) {
      EXPECT_EQ(text.find_first_of(".Ee"), std::string::npos) << text;
    }
  }
  EXPECT_EQ(formatPlain(1e6), "1000000");
  EXPECT_EQ(formatPlain(-123456789012345.0), "-123456789012345");
  EXPECT_EQ(formatPlain(1e21), "1E+21");
  EXPECT_EQ(formatPlain(0.1), "0.1");
  EXPECT_EQ(formatPlain(1273.15), "1273.15");
  EXPECT_EQ(formatPlain(100), "100");
  EXPECT_EQ(formatPlain(-0.0), "0");
  EXPECT_EQ(formatPlain(1e-7), "1E-07");
  EXPECT_EQ(readBack(formatPlain(1e300)), 1e300);
  EXPECT_EQ(readBack(formatPlain(-5e-324)), -5e-324);
  EXPECT_EQ(formatNumber(std::nan(""), "Fixed"), "NaN");
  EXPECT_EQ(formatPlain(-HUGE_VAL), "-Infinity");
  EXPECT_THROW(readBack(formatPlain(HUGE_VAL)), InputError);  // never enters a file unnoticed
}

TEST(TextFormat, PrintZonesOfFourteenColumns) {
  struct Case {
    std::vector<std::string> items;
    std::string expected;
  };
  const std::string thirteen(13, 'a'), fourteen(14, 'b');
  const Case cases[] = {
      {{}, ""},
      {{"20,"}, "20,"},
      {{"20,", "0.500000000,", "500.00"}, "20,           0.500000000,  500.00"},
      {{thirteen, "x"}, thirteen + " x"},
      {{fourteen, "x"}, fourteen + std::string(14, ' ') + "x"},
      {{"", "x", ""}, std::string(14, ' ') + "x" + std::string(13, ' ')},
      {{"a", std::string(30, 'c'), "d"},
       "a" + std::string(13, ' ') + std::string(30, 'c') + std::string(12, ' ') + "d"},
  };
  for (const Case& c : cases) {
    const std::string got = printZones(c.items);
    EXPECT_EQ(got, c.expected);
    // Item k starts on a zone boundary at column 14 k or later.
    std::size_t column = 0;
    for (std::size_t k = 0; k < c.items.size(); ++k) {
      if (k > 0)
        column =
            (column + c.items[k - 1].size()) / kPrintZoneWidth * kPrintZoneWidth + kPrintZoneWidth;
      EXPECT_EQ(column % kPrintZoneWidth, 0u);
      EXPECT_GE(column, kPrintZoneWidth * k);
      EXPECT_EQ(got.compare(column, c.items[k].size(), c.items[k]), 0) << got;
    }
  }
}

// A line as the setup file writes the node count, flux rate, length and porosity: numbers in
// print zones, some followed by a comma, read back as four fields.
TEST(TextFormat, PrintZonesReadBackFieldByField) {
  const std::string line =
      printZones({"20,", formatNumber(0.0000125, "#.000000000") + ",",
                  formatNumber(500, "Fixed") + ",", formatNumber(0.4, "0.00000")}) +
      "\r\n" + printZones({"7", formatNumber(-0.5, "###.00000"), "True"});
  EXPECT_EQ(
      line,
      "20,           .000012500,   500.00,       0.40000\r\n7             -.50000       True");
  TextReader in(line, "CXsetup.cxd");
  EXPECT_EQ(in.readInt("NumNodes"), 20);
  EXPECT_EQ(in.readNumber("FluxRate"), 0.0000125);
  EXPECT_EQ(in.readNumber("Length"), 500.0);
  EXPECT_EQ(in.readNumber("tbInput(9)"), 0.4);
  EXPECT_EQ(in.line(), 2);
  EXPECT_EQ(in.readNumber("a"), 7.0);
  EXPECT_EQ(in.readNumber("b"), -0.5);
  EXPECT_TRUE(in.readBool("c"));
  EXPECT_TRUE(in.atEnd());
}

}  // namespace
}  // namespace cx

namespace cx {
namespace {

TEST(TextFormat, FormatExactKeepsTheFormatWhenItIsExactAndAllDigitsWhenNot) {
  EXPECT_EQ(formatExact(0.5, "fixed"), "0.50");
  EXPECT_EQ(formatExact(12.0, "fixed"), "12.00");
  EXPECT_EQ(formatExact(0.00036, "fixed"), "0.00036");
  EXPECT_EQ(formatExact(-0.125, "fixed"), "-0.125");
  for (double x : {1.0 / 3.0, 2.5e-9, 123456.789012, 0.01, 1e-300}) {
    const auto back = toNumber(formatExact(x, "fixed"));
    ASSERT_TRUE(back.has_value()) << x;
    EXPECT_EQ(*back, x);
  }
}

}  // namespace
}  // namespace cx
