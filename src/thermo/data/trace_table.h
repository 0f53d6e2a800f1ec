// The 40 trace elements carried through the column, with their atomic numbers, in the order of
// every per-trace array and file.
#pragma once

#include <array>
#include <string_view>

#include "thermo/data/table_sizes.h"

namespace cx::thermo_data {

struct TraceRow {
  std::string_view name;  // 2 characters
  int Z;
};

inline constexpr std::array<TraceRow, kNumTraces> kTraceTable = {{
    {"Cl", 17}, {"F", 9},   {"Sc", 21}, {"Ti", 22}, {"V", 23},  {"Cr", 24}, {"Co", 27}, {"Ni", 28},
    {"Zn", 30}, {"Rb", 37}, {"Sr", 38}, {"Y", 39},  {"Zr", 40}, {"Nb", 41}, {"Cs", 55}, {"Ba", 56},
    {"La", 57}, {"Ce", 58}, {"Nd", 60}, {"Sm", 62}, {"Eu", 63}, {"Gd", 64}, {"Tb", 65}, {"Dy", 66},
    {"Ho", 67}, {"Er", 68}, {"Tm", 69}, {"Yb", 70}, {"Lu", 71}, {"Hf", 72}, {"Ta", 73}, {"Pb", 82},
    {"Th", 90}, {"U", 92},  {"Re", 75}, {"Os", 76}, {"Ir", 77}, {"Pt", 78}, {"Au", 79}, {"Cu", 29},
}};

}  // namespace cx::thermo_data
