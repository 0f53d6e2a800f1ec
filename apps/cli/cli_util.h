// Helpers shared by the single-point commands: reading numbers from the command line and the
// ranges of temperature and pressure they accept.
#pragma once

#include <charconv>
#include <cmath>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>

#include "base/array.h"
#include "base/text_format.h"
#include "thermo/constants.h"
#include "thermo/thermo_tables.h"

namespace cx::cli {

inline constexpr double kMinTC = 100.0, kMaxTC = 3000.0;      // °C
inline constexpr double kMinPBar = 1.0, kMaxPBar = 100000.0;  // bar

// A whole-text decimal number, or nothing.
inline bool parseNumber(std::string_view text, double& value) {
  const char* first = text.data();
  const char* last = first + text.size();
  if (first != last && *first == '+') ++first;
  const auto r = std::from_chars(first, last, value);
  return r.ec == std::errc() && r.ptr == last && std::isfinite(value);
}

// Reads `text` as a number within lo..hi; otherwise names the field on stderr and fails.
inline bool readField(const char* command, const std::string& text, const char* field,
                      const char* unit, double lo, double hi, double& value) {
  if (!parseNumber(text, value)) {
    std::cerr << "cumulex " << command << ": " << field << " must be a number (" << unit
              << "), not '" << excerpt(text) << "'\n";
    return false;
  }
  if (value < lo || value > hi) {
    std::cerr << "cumulex " << command << ": " << field << " = " << excerpt(text) << " " << unit
              << " is outside " << lo << " to " << hi << " " << unit << "\n";
    return false;
  }
  return true;
}

// "SiO2=50.4,TiO2=1.5,...": oxide names as the program writes them (any case), wt % values; the
// oxides not named are 0.  A bad item is named on stderr and the result is false.
bool readOxides(const char* command, const ThermoTables& tables, const std::string& text,
                Array1<double>& wt);

// "Olivine,Spinel" or abbreviations ("ol,spn"), any case: the phases kept from precipitating are
// marked in `excluded`.  An unknown name is named on stderr and the result is false.
bool readExclusions(const char* command, const ThermoTables& tables, const std::string& text,
                    Array1<bool>& excluded);

}  // namespace cx::cli
