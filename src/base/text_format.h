// Numbers as the setup and output files print them: the classic Format$(x, fmt) rules.
//
// Named formats (any letter case):
//   "Fixed"       at least one integer digit, two decimals:  1234.5 -> "1234.50", -0.5 -> "-0.50",
//                 0 -> "0.00".
//   "Standard"    as "Fixed" with thousands grouped:          1234.5 -> "1,234.50".
//   "Scientific"  one digit, two decimals, an exponent of at least two digits that always carries
//                 its sign: 12345 -> "1.23E+04", 1e-7 -> "1.00E-07", -0.0025 -> "-2.50E-03",
//                 0 -> "0.00E+00".
//   "General Number" (or an empty format)  up to 15 significant digits, no trailing zeros:
//                 0.1 + 0.2 -> "0.3", 1e-7 -> "1E-07".
//   "True/False", "Yes/No", "On/Off"  the first word for any non-zero value: 0 -> "False".
//
// Digit patterns, built of '#', '0', '.', ',' and an optional exponent part:
//   - The decimals are as many as the placeholders after the point; the value is rounded to them
//     half away from zero, on its exact binary value: 0.125 (exact) -> "0.13" with "0.00", while
//     0.145 (stored a little below) -> "0.14".
//   - A '0' is a required digit, a '#' an optional one.  Before the point the pattern only sets
//     the minimum count, digits are never cut: 12345.6 with "##.0" -> "12345.6"; 5 with "00.0"
//     -> "05.0".  The required count runs from the leftmost '0' to the point ("#0.00" needs one,
//     "0##.00" three).
//   - With only '#' before the point a value below 1 in magnitude has no leading zero:
//     0.5 with "###.00000" -> ".50000", -0.25 with "##.000" -> "-.250", 0 with "###.00" -> ".00";
//     "#0.00000" and "0.00000" keep it: 0.5 -> "0.50000".  With no decimals either, a value that
//     rounds to 0 prints nothing: 0.4 with "###" -> "".
//   - After the point, '#' places that would end in zeros are dropped ("0.0#": 1.5 -> "1.5",
//     1.25 -> "1.25"); the point itself stays ("#.##": 1 -> "1.").
//   - A negative value that rounds to zero keeps its sign: -0.001 with "0.00" -> "-0.00", with
//     "###.00" -> "-.00".
//   - A ',' among the integer placeholders groups thousands: 1234567 with "#,##0" -> "1,234,567".
//   - An exponent part "E+00" / "E-00" (or 'e') turns the pattern into scientific notation with one
//     integer digit: "E+" always prints the sign, "E-" only a minus, the '0's after it set the
//     minimum exponent digits: 12345 with "0.00E+00" -> "1.23E+04", with "0.0e-0" -> "1.2e4".
// Any other character in a format is a programming error and raises fault 5.
//
// A value that is not finite (never meant to reach a file) prints as "NaN", "Infinity" or
// "-Infinity", which no reader accepts as a number, so a damaged value cannot pass silently.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cx {

// Format$(x, fmt) for the named formats and digit patterns above.
std::string formatNumber(double x, std::string_view fmt);

// A Boolean as the files print it: "True" / "False".
std::string formatBool(bool b);

// A plain number written with the fewest digits that read back to the same double: 0.1 -> "0.1",
// 1273.15 -> "1273.15", 1e-7 -> "1E-07", 100 -> "100", 1e21 -> "1E+21".  Negative zero prints "0".
std::string formatPlain(double x);
// The value in `format` when that text reads back to the same double, else its shortest exact
// text: for values a reader must get back whole (a partition coefficient of 0.00036 is not 0.00).
std::string formatExact(double x, std::string_view format);

// Items laid out in print zones of 14 columns: each item after the first starts at the next zone
// boundary that leaves at least one blank after the previous item.
//   {"20,", "0.50,", "500.00"} -> "20,           0.50,         500.00"
//   an item of 14 or more characters pushes the next one to column 28 or later.
std::string printZones(const std::vector<std::string>& items);

inline constexpr int kPrintZoneWidth = 14;

// At most `limit` characters of `text` for a message, marked when cut: a damaged file or argument
// can hold a field of megabytes, and a message quoting it whole would bury what it says.
std::string excerpt(std::string_view text, std::size_t limit = 40);

}  // namespace cx
