// The 38 phases: name (15 characters in the files), abbreviation, the number of endmembers in
// use, and each endmember with its row of the endmember table and its make-up in moles of liquid
// components.  Rows beyond the count are present but idle (the olivine rows 3 to 5, the "und"
// rows of the two pure-like solutions).  This is the state before the activity options are
// applied; phases 2 to 5 and the gas count are then rebuilt from the options.  Phase 38, the
// second liquid, is the identity on the liquid components and is built by the loader.
#pragma once

#include <array>
#include <string_view>

#include "thermo/data/liquid_component_table.h"
#include "thermo/data/table_sizes.h"

namespace cx::thermo_data {

// clang-format off

struct PhaseRow {
  int phase;
  std::string_view name;
  std::string_view abbrev;
  int endCount;
};

// One term of a stoichiometry: moles of a liquid component in one mole of endmember.
struct StoichTerm {
  int component;  // 0: no term
  double moles;
};

struct PhaseEndmemberRow {
  int phase;
  int slot;               // endmember number within the phase
  std::string_view name;  // up to 5 characters
  int row;                // row of the endmember table, 0 where there is none
  std::array<StoichTerm, kMaxStoichTerms> terms;
};

inline constexpr std::array<PhaseRow, 38> kPhaseTable = {{
    {1, "Olivine", "ol", 2},
    {2, "Plagioclase", "pl", 2},
    {3, "AlkaliFeldspar", "af", 1},
    {4, "LowCaPyroxene", "opx", 3},
    {5, "HiCaPyroxene", "cpx", 2},
    {6, "Rhomb Oxide", "rox", 4},
    {7, "Spinel", "sp", 8},
    {8, "NephelineSS", "ne", 1},
    {9, "LeuciteSS", "le", 1},
    {10, "Melilite", "mel", 2},
    {11, "Garnet", "gnt", 3},
    {12, "Hem-Ilm", "rox", 2},
    {13, "Mt-Usp", "mt", 2},
    {14, "Nephaline(pure)", "ne", 1},
    {15, "Leucite (pure)", "le", 1},
    {16, "Silica", "qtz", 1},
    {17, "Ilmenite", "ilm", 1},
    {18, "Biotite", "bt", 2},
    {19, "Cummingtonite", "hb", 2},
    {20, "Aenigmatite", "ae", 1},
    {21, "Rutile", "rut", 1},
    {22, "Sphene", "sph", 1},
    {23, "Kalsilite", "kal", 1},
    {24, "Whitlockite", "wkt", 1},
    {25, "Apatite", "ap", 1},
    {26, "Corundum", "cor", 1},
    {27, "Perovskite", "per", 1},
    {28, "Muscovite", "mus", 1},
    {29, "Gas", "gas", 3},
    {30, "Troilite", "tro", 1},
    {31, "Pyrrhotite", "po", 1},
    {32, "Pyrite", "py", 1},
    {33, "Sulfide liquid", "ISL", 2},
    {34, "Graphite", "C", 1},
    {35, "Calcite", "cc", 1},
    {36, "Dolomite", "dol", 1},
    {37, "Anhydrite", "anh", 1},
    {38, "Liquid2", "lq2", 15},
}};

inline constexpr std::array<PhaseEndmemberRow, 75> kPhaseEndmemberTable = {{
    {1, 1, "fo", 8, {{{lc::kMg2SiO4, 1.0}}}},
    {1, 2, "fa", 6, {{{lc::kFe2SiO4, 1.0}}}},
    {1, 3, "Mn-ol", 7, {{{lc::kMnSi05O2, 2.0}}}},
    {1, 4, "Ni-ol", 16, {{}}},
    {1, 5, "Ca-ol", 17, {{}}},
    {2, 1, "an", 22, {{{lc::kSiO2, 1.0}, {lc::kAl2O3, 1.0}, {lc::kCaSiO3, 1.0}}}},
    {2, 2, "ab", 21, {{{lc::kSiO2, 2.5}, {lc::kAl2O3, 0.5}, {lc::kNa2SiO3, 0.5}}}},
    {2, 3, "or", 23, {{{lc::kSiO2, 2.0}, {lc::kKAlSiO4, 1.0}}}},
    {3, 1, "or", 23, {{{lc::kSiO2, 2.0}, {lc::kKAlSiO4, 1.0}}}},
    {4, 1, "en", 36, {{{lc::kSiO2, 1.0}, {lc::kMg2SiO4, 1.0}}}},
    {4, 2, "fs", 39, {{{lc::kSiO2, 1.0}, {lc::kFe2SiO4, 1.0}}}},
    {4, 3, "CCrTs", 59, {{{lc::kSiO2, 0.5}, {lc::kMgCr2O4, 1.0}, {lc::kMg2SiO4, -0.5}, {lc::kCaSiO3, 1.0}}}},
    {5, 1, "di", 63, {{{lc::kSiO2, 0.5}, {lc::kMg2SiO4, 0.5}, {lc::kCaSiO3, 1.0}}}},
    {5, 2, "hd", 64, {{{lc::kSiO2, 0.5}, {lc::kFe2SiO4, 0.5}, {lc::kCaSiO3, 1.0}}}},
    {5, 3, "cen", 37, {{{lc::kSiO2, 1.0}, {lc::kMg2SiO4, 1.0}}}},
    {5, 4, "fs", 39, {{{lc::kSiO2, 1.0}, {lc::kFe2SiO4, 1.0}}}},
    {6, 1, "ilm", 51, {{{lc::kSiO2, -0.5}, {lc::kTiO2, 1.0}, {lc::kFe2SiO4, 0.5}}}},
    {6, 2, "gkl", 33, {{{lc::kSiO2, -0.5}, {lc::kTiO2, 1.0}, {lc::kMg2SiO4, 0.5}}}},
    {6, 3, "pph", 34, {{{lc::kSiO2, -0.5}, {lc::kTiO2, 1.0}, {lc::kMnSi05O2, 1.0}}}},
    {6, 4, "hm", 4, {{{lc::kFe2O3, 1.0}}}},
    {7, 1, "spn", 45, {{{lc::kSiO2, -0.5}, {lc::kAl2O3, 1.0}, {lc::kMg2SiO4, 0.5}}}},
    {7, 2, "cmt", 30, {{{lc::kMgCr2O4, 1.0}, {lc::kFe2SiO4, 0.5}, {lc::kMg2SiO4, -0.5}}}},
    {7, 3, "usp", 32, {{{lc::kSiO2, -1.0}, {lc::kTiO2, 1.0}, {lc::kFe2SiO4, 1.0}}}},
    {7, 4, "mt", 40, {{{lc::kSiO2, -0.5}, {lc::kFe2O3, 1.0}, {lc::kFe2SiO4, 0.5}}}},
    {7, 5, "hrcn", 31, {{{lc::kSiO2, -0.5}, {lc::kAl2O3, 1.0}, {lc::kFe2SiO4, 0.5}}}},
    {7, 6, "mgtnt", 56, {{{lc::kSiO2, -1.0}, {lc::kTiO2, 1.0}, {lc::kMg2SiO4, 1.0}}}},
    {7, 7, "mgfer", 57, {{{lc::kSiO2, -0.5}, {lc::kFe2O3, 1.0}, {lc::kMg2SiO4, 0.5}}}},
    {7, 8, "mgcmt", 5, {{{lc::kMgCr2O4, 1.0}}}},
    {8, 1, "ne", 24, {{{lc::kSiO2, 0.5}, {lc::kAl2O3, 0.5}, {lc::kNa2SiO3, 0.5}}}},
    {8, 2, "und", 0, {{{lc::kSiO2, 2.5}, {lc::kAl2O3, 0.5}, {lc::kNa2SiO3, 0.5}}}},
    {9, 1, "lc", 25, {{{lc::kSiO2, 1.0}, {lc::kKAlSiO4, 1.0}}}},
    {9, 2, "und", 0, {{{lc::kSiO2, 1.5}, {lc::kAl2O3, 0.5}, {lc::kNa2SiO3, 0.5}}}},
    {10, 1, "aker", 42, {{{lc::kSiO2, -0.5}, {lc::kMg2SiO4, 0.5}, {lc::kCaSiO3, 2.0}}}},
    {10, 2, "gehl", 43, {{{lc::kSiO2, -1.0}, {lc::kAl2O3, 1.0}, {lc::kCaSiO3, 2.0}}}},
    {11, 1, "gros", 44, {{{lc::kAl2O3, 1.0}, {lc::kCaSiO3, 3.0}}}},
    {11, 2, "pyr", 53, {{{lc::kSiO2, 1.5}, {lc::kAl2O3, 1.0}, {lc::kMg2SiO4, 1.5}}}},
    {11, 3, "alm", 54, {{{lc::kSiO2, 1.5}, {lc::kAl2O3, 1.0}, {lc::kFe2SiO4, 1.5}}}},
    {11, 4, "", 0, {{{lc::kSiO2, 1.5}, {lc::kAl2O3, 1.0}, {lc::kMnSi05O2, 3.0}}}},
    {12, 1, "ilm", 51, {{{lc::kSiO2, -0.5}, {lc::kTiO2, 1.0}, {lc::kFe2SiO4, 0.5}}}},
    {12, 2, "hem", 4, {{{lc::kFe2O3, 1.0}}}},
    {13, 1, "mt", 40, {{{lc::kSiO2, -0.5}, {lc::kFe2O3, 1.0}, {lc::kFe2SiO4, 0.5}}}},
    {13, 2, "usp", 32, {{{lc::kSiO2, -1.0}, {lc::kTiO2, 1.0}, {lc::kFe2SiO4, 1.0}}}},
    {13, 3, "Sp", 45, {{{lc::kMgCr2O4, 1.0}, {lc::kFe2SiO4, 0.5}, {lc::kMg2SiO4, -0.5}}}},
    {14, 1, "ne", 24, {{{lc::kSiO2, 0.5}, {lc::kAl2O3, 0.5}, {lc::kNa2SiO3, 0.5}}}},
    {15, 1, "le", 25, {{{lc::kSiO2, 1.0}, {lc::kKAlSiO4, 1.0}}}},
    {16, 1, "qtz", 26, {{{lc::kSiO2, 1.0}}}},
    {17, 1, "ilm", 51, {{{lc::kSiO2, -0.5}, {lc::kTiO2, 1.0}, {lc::kFe2SiO4, 0.5}}}},
    {18, 1, "ph", 47, {{{lc::kSiO2, 0.5}, {lc::kMg2SiO4, 1.5}, {lc::kKAlSiO4, 1.0}, {lc::kH2O, 1.0}}}},
    {18, 2, "ann", 48, {{{lc::kSiO2, 0.5}, {lc::kFe2SiO4, 1.5}, {lc::kKAlSiO4, 1.0}, {lc::kH2O, 1.0}}}},
    {19, 1, "cumm", 49, {{{lc::kSiO2, 4.5}, {lc::kMg2SiO4, 3.5}, {lc::kH2O, 1.0}}}},
    {19, 2, "grun", 50, {{{lc::kSiO2, 4.5}, {lc::kFe2SiO4, 3.5}, {lc::kH2O, 1.0}}}},
    {20, 1, "aenig", 55, {{{lc::kSiO2, 2.5}, {lc::kTiO2, 1.0}, {lc::kFe2SiO4, 2.5}, {lc::kNa2SiO3, 1.0}}}},
    {21, 1, "rut", 2, {{{lc::kTiO2, 1.0}}}},
    {22, 1, "sph", 41, {{{lc::kTiO2, 1.0}, {lc::kCaSiO3, 1.0}}}},
    {23, 1, "kals", 11, {{{lc::kKAlSiO4, 1.0}}}},
    {24, 1, "whit", 12, {{{lc::kCa3PO42, 1.0}}}},
    {25, 1, "OH-ap", 35, {{{lc::kSiO2, -0.5}, {lc::kCaSiO3, 0.5}, {lc::kCa3PO42, 1.5}, {lc::kH2O, 0.5}}}},
    {26, 1, "cor", 3, {{{lc::kAl2O3, 1.0}}}},
    {27, 1, "per", 29, {{{lc::kSiO2, -1.0}, {lc::kTiO2, 1.0}, {lc::kCaSiO3, 1.0}}}},
    {28, 1, "mu", 46, {{{lc::kSiO2, 2.0}, {lc::kAl2O3, 1.0}, {lc::kKAlSiO4, 1.0}, {lc::kH2O, 1.0}}}},
    {29, 1, "H2O", 13, {{{lc::kH2O, 1.0}}}},
    {29, 2, "CO2", 14, {{{lc::kCO2, 1.0}}}},
    {29, 3, "H2S", 69, {{{lc::kSiO2, 0.5}, {lc::kFe2SiO4, -0.5}, {lc::kH2O, 1.0}, {lc::kFeS, 1.0}}}},
    {29, 4, "SO2", 70, {{{lc::kSiO2, 3.5}, {lc::kFe2O3, 3.0}, {lc::kFe2SiO4, -3.5}, {lc::kFeS, 1.0}}}},
    {29, 5, "CO", 71, {{{lc::kSiO2, -1.0}, {lc::kFe2O3, -1.0}, {lc::kFe2SiO4, 1.0}, {lc::kCO2, 1.0}}}},
    {29, 6, "CH4", 73, {{{lc::kSiO2, -4.0}, {lc::kFe2O3, -4.0}, {lc::kFe2SiO4, 4.0}, {lc::kH2O, 2.0}, {lc::kCO2, 1.0}}}},
    {30, 1, "tro", 15, {{{lc::kFeS, 1.0}}}},
    {31, 1, "po", 65, {{{lc::kFeS, 1.0}}}},
    {32, 1, "py", 66, {{{lc::kSiO2, -2.0}, {lc::kFe2O3, -1.0}, {lc::kFe2SiO4, 2.0}, {lc::kFeS, 2.0}}}},
    {33, 1, "FeS", 67, {{{lc::kFeS, 1.0}}}},
    {33, 2, "FeO", 68, {{{lc::kSiO2, -0.5}, {lc::kFe2SiO4, 0.5}}}},
    {34, 1, "C", 72, {{{lc::kSiO2, -2.0}, {lc::kFe2O3, -2.0}, {lc::kFe2SiO4, 2.0}, {lc::kCO2, 1.0}}}},
    {35, 1, "cc", 74, {{{lc::kSiO2, -1.0}, {lc::kCaSiO3, 1.0}, {lc::kCO2, 1.0}}}},
    {36, 1, "dolo", 75, {{{lc::kSiO2, -1.5}, {lc::kMg2SiO4, 0.5}, {lc::kCaSiO3, 1.0}, {lc::kCO2, 2.0}}}},
    {37, 1, "anhy", 76, {{{lc::kSiO2, 3.5}, {lc::kFe2O3, 4.0}, {lc::kFe2SiO4, -4.5}, {lc::kCaSiO3, 1.0}, {lc::kFeS, 1.0}}}},
}};

// The endmembers of the second liquid are the liquid components themselves, named by element.
inline constexpr std::array<std::string_view, kNumLiquidComponents> kLiquid2EndmemberNames = {
    "Si", "Ti", "Al", "Fe3+", "Cr", "Fe", "Mn", "Mg", "Ca", "Na", "K", "P", "H", "C", "S"};

// clang-format on

}  // namespace cx::thermo_data
