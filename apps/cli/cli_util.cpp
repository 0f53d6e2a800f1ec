// Helpers shared by the single-point commands.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <iostream>
#include <vector>

#include "base/text_format.h"
#include "cli_util.h"

namespace cx::cli {
namespace {

template <class... Parts>
void fail(const char* command, const Parts&... parts) {
  std::cerr << "cumulex " << command << ": ";
  (std::cerr << ... << parts);
  std::cerr << '\n';
}

std::string trimmed(std::string_view s) {
  const auto b = s.find_first_not_of(" \t");
  if (b == std::string_view::npos) return {};
  const auto e = s.find_last_not_of(" \t");
  return std::string(s.substr(b, e - b + 1));
}

bool sameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

// "SiO2=50.4,TiO2=1.5,...": oxide names as the program writes them (any case), wt % values.
// Oxides not named are 0.
}  // namespace

bool readOxides(const char* command, const ThermoTables& tables, const std::string& text,
                Array1<double>& wt) {
  std::vector<bool> seen(thermo_data::kNumOxides + 1, false);
  std::size_t pos = 0;
  bool any = false;
  while (pos <= text.size()) {
    const std::size_t comma = std::min(text.find(',', pos), text.size());
    const std::string item = trimmed(std::string_view(text).substr(pos, comma - pos));
    pos = comma + 1;
    if (item.empty()) continue;
    const auto eq = item.find('=');
    if (eq == std::string::npos) {
      fail(command, "--oxides item '", excerpt(item), "' must be NAME=WT (wt %)");
      return false;
    }
    const std::string name = trimmed(std::string_view(item).substr(0, eq));
    const std::string value = trimmed(std::string_view(item).substr(eq + 1));
    int k = 0;
    for (int i = 1; i <= thermo_data::kNumOxides && k == 0; ++i)
      if (sameName(trimmedText(tables.OxideNames(i)), name)) k = i;
    if (k == 0) {
      std::string known;
      for (int i = 1; i <= thermo_data::kNumOxides; ++i) {
        if (i > 1) known += ", ";
        known += trimmedText(tables.OxideNames(i));
      }
      fail(command, "--oxides: unknown oxide '", excerpt(name), "' (known: ", known, ")");
      return false;
    }
    const std::string label = "--oxides " + trimmedText(tables.OxideNames(k));
    if (seen[static_cast<std::size_t>(k)]) {
      fail(command, label, " is given twice");
      return false;
    }
    seen[static_cast<std::size_t>(k)] = true;
    double v = 0.0;
    if (!parseNumber(value, v)) {
      fail(command, label, " must be a number (wt %), not '", excerpt(value), "'");
      return false;
    }
    if (v < 0.0) {
      fail(command, label, " = ", excerpt(value), " wt % is negative");
      return false;
    }
    wt(k) = v;
    any = any || v > 0.0;
  }
  if (!any) {
    fail(command, "--oxides: no oxide above 0 wt %");
    return false;
  }
  // Each value is finite, but their sum may not be (1e308 + 1e308): such a composition would
  // normalize to zeros and infinities.
  double sum = 0.0;
  for (int k = 1; k <= thermo_data::kNumOxides; ++k) sum += wt(k);
  if (!std::isfinite(sum)) {
    fail(command, "--oxides: the oxides sum to more than a number can hold; give wt %");
    return false;
  }
  return true;
}

bool readExclusions(const char* command, const ThermoTables& tables, const std::string& text,
                    Array1<bool>& excluded) {
  std::size_t from = 0;
  while (from <= text.size()) {
    const std::size_t comma = std::min(text.find(',', from), text.size());
    const std::string name = trimmed(std::string_view(text).substr(from, comma - from));
    from = comma + 1;
    if (name.empty()) continue;
    int found = 0;
    for (int id = 1; id <= thermo_data::kNumPhases && found == 0; ++id)
      if (sameName(trimmedText(tables.PhaseNames(id)), name) ||
          sameName(trimmedText(tables.PhaseAbbrev(id)), name))
        found = id;
    if (found == 0) {
      fail(command, "--exclude: no phase is called '", name, "'");
      return false;
    }
    excluded(found) = true;
  }
  return true;
}

}  // namespace cx::cli
