// libFuzzer harness: the oxide argument of the single-point commands ("SiO2=50.4,TiO2=1.5,...").
// A composition it accepts is finite, not negative, and sums to a finite positive amount.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

#include "../apps/cli/cli_util.h"
#include "thermo/thermo_tables.h"

namespace {
// The tables are read-only after loading; loading them once keeps each run of the harness short.
const cx::ThermoTables& tables() {
  static const cx::ThermoTables t = cx::loadThermoTables();
  return t;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool quiet = [] {
    std::cerr.rdbuf(nullptr);  // the refusals go to stderr; not wanted thousands of times a second
    return true;
  }();
  (void)quiet;
  const std::string text(reinterpret_cast<const char*>(data), size);
  cx::Array1<double> wt(1, cx::thermo_data::kNumOxides);
  if (!cx::cli::readOxides("fuzz", tables(), text, wt)) return 0;
  double sum = 0.0;
  for (int k = 1; k <= cx::thermo_data::kNumOxides; ++k) {
    if (!std::isfinite(wt(k)) || wt(k) < 0.0) std::abort();
    sum += wt(k);
  }
  if (!(std::isfinite(sum) && sum > 0.0)) std::abort();
  return 0;
}
