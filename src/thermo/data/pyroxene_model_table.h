// The pyroxene endmembers of the three pyroxene models: 1 "Simple", 2 "Quadrilateral
// Components", 3 "8 Components".  Phase 4 is the low-Ca pyroxene (opx), phase 5 the high-Ca
// pyroxene (cpx).  Each entry gives the endmember's slot, name, row of the endmember table and
// make-up in moles of liquid components.  In the simple model cpx uses two endmembers but keeps
// cen and fs present behind them.
#pragma once

#include <array>

#include "thermo/data/phase_table.h"

namespace cx::thermo_data {

struct PyroxeneModelCount {
  int model;
  int phase;
  int endCount;
};

inline constexpr std::array<PyroxeneModelCount, 6> kPyroxeneModelCounts = {{
    {1, 4, 3},
    {1, 5, 2},
    {2, 4, 4},
    {2, 5, 4},
    {3, 4, 8},
    {3, 5, 8},
}};

struct PyroxeneModelRow {
  int model;
  PhaseEndmemberRow entry;
};

namespace pyx {
// The stoichiometries of the pyroxene endmembers in liquid components.
inline constexpr std::array<StoichTerm, kMaxStoichTerms> kDi = {
    {{lc::kSiO2, 0.5}, {lc::kMg2SiO4, 0.5}, {lc::kCaSiO3, 1.0}}};
inline constexpr std::array<StoichTerm, kMaxStoichTerms> kHd = {
    {{lc::kSiO2, 0.5}, {lc::kFe2SiO4, 0.5}, {lc::kCaSiO3, 1.0}}};
inline constexpr std::array<StoichTerm, kMaxStoichTerms> kAlBf = {{{lc::kSiO2, -0.25},
                                                                   {lc::kTiO2, 0.5},
                                                                   {lc::kAl2O3, 0.5},
                                                                   {lc::kMg2SiO4, 0.25},
                                                                   {lc::kCaSiO3, 1.0}}};
inline constexpr std::array<StoichTerm, kMaxStoichTerms> kBuf = {{{lc::kSiO2, -0.25},
                                                                  {lc::kTiO2, 0.5},
                                                                  {lc::kFe2O3, 0.5},
                                                                  {lc::kMg2SiO4, 0.25},
                                                                  {lc::kCaSiO3, 1.0}}};
inline constexpr std::array<StoichTerm, kMaxStoichTerms> kEss = {
    {{lc::kAl2O3, 0.5}, {lc::kFe2O3, 0.5}, {lc::kCaSiO3, 1.0}}};
inline constexpr std::array<StoichTerm, kMaxStoichTerms> kJd = {
    {{lc::kSiO2, 1.5}, {lc::kAl2O3, 0.5}, {lc::kNa2SiO3, 0.5}}};
inline constexpr std::array<StoichTerm, kMaxStoichTerms> kEn = {
    {{lc::kSiO2, 1.0}, {lc::kMg2SiO4, 1.0}}};
inline constexpr std::array<StoichTerm, kMaxStoichTerms> kFs = {
    {{lc::kSiO2, 1.0}, {lc::kFe2SiO4, 1.0}}};
inline constexpr std::array<StoichTerm, kMaxStoichTerms> kCCrTs = {
    {{lc::kSiO2, 0.5}, {lc::kMgCr2O4, 1.0}, {lc::kMg2SiO4, -0.5}, {lc::kCaSiO3, 1.0}}};
}  // namespace pyx

inline constexpr std::array<PyroxeneModelRow, 32> kPyroxeneModelTable = {{
    // model 1, "Simple"
    {1, {4, 1, "en", 36, pyx::kEn}},
    {1, {4, 2, "fs", 39, pyx::kFs}},
    {1, {4, 3, "CCrTs", 59, pyx::kCCrTs}},
    {1, {5, 1, "di", 63, pyx::kDi}},
    {1, {5, 2, "hd", 64, pyx::kHd}},
    {1, {5, 3, "cen", 37, pyx::kEn}},
    {1, {5, 4, "fs", 39, pyx::kFs}},
    // model 2, "Quadrilateral Components"
    {2, {4, 1, "di", 63, pyx::kDi}},
    {2, {4, 2, "hd", 64, pyx::kHd}},
    {2, {4, 3, "cen", 37, pyx::kEn}},
    {2, {4, 4, "fs", 39, pyx::kFs}},
    {2, {5, 1, "di", 63, pyx::kDi}},
    {2, {5, 2, "hd", 64, pyx::kHd}},
    {2, {5, 3, "cen", 37, pyx::kEn}},
    {2, {5, 4, "fs", 39, pyx::kFs}},
    // model 3, "8 Components"
    {3, {4, 1, "di", 63, pyx::kDi}},
    {3, {4, 2, "hd", 64, pyx::kHd}},
    {3, {4, 3, "Al-bf", 18, pyx::kAlBf}},
    {3, {4, 4, "buf", 19, pyx::kBuf}},
    {3, {4, 5, "ess", 20, pyx::kEss}},
    {3, {4, 6, "jd", 58, pyx::kJd}},
    {3, {4, 7, "en", 36, pyx::kEn}},
    {3, {4, 8, "fs", 39, pyx::kFs}},
    {3, {5, 1, "di", 63, pyx::kDi}},
    {3, {5, 2, "hd", 64, pyx::kHd}},
    {3, {5, 3, "Al-bf", 18, pyx::kAlBf}},
    {3, {5, 4, "buf", 19, pyx::kBuf}},
    {3, {5, 5, "ess", 20, pyx::kEss}},
    {3, {5, 6, "jd", 58, pyx::kJd}},
    {3, {5, 7, "cen", 37, pyx::kEn}},
    {3, {5, 8, "fs", 39, pyx::kFs}},
}};

}  // namespace cx::thermo_data
