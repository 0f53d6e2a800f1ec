// The fixed orderings of the column: oxides, trace elements, phases.  These orders are part of
// every file and every loop; the numbering starts at 1.
#pragma once

#include <array>
#include <string_view>

#include "thermo/constants.h"
#include "thermo/data/oxide_table.h"
#include "thermo/data/phase_table.h"
#include "thermo/data/trace_table.h"

namespace cx {

inline constexpr int kOxides = 15;
inline constexpr int kTraces = 40;
inline constexpr int kPhases = 38;
inline constexpr int kMaxNodes = 300;    // the setup tables hold at most 300 nodes
inline constexpr int kXstableSize = 60;  // entries 1..60 of the minimizer's state vector
inline constexpr int kPhaseListSize = 15;
inline constexpr int kPhaseOrderSize = 10;
inline constexpr int kSolidSolutions = 13;  // phases 1..13 report a composition in PhaseX

// The names and weights come from the thermodynamic tables; these views index them from 1, as
// every loop of the column does (OxideNames[1] is "SiO2").
namespace names_detail {
template <class Row, std::size_t N, class Get>
constexpr auto oneBased(const std::array<Row, N>& rows, Get get) {
  std::array<decltype(get(rows[0])), N + 1> out{};
  for (std::size_t i = 0; i < N; ++i) out[i + 1] = get(rows[i]);
  return out;
}
}  // namespace names_detail

inline constexpr auto OxideNames = names_detail::oneBased(
    thermo_data::kOxideTable, [](const thermo_data::OxideRow& r) { return r.name; });
inline constexpr auto OxideMW = names_detail::oneBased(
    thermo_data::kOxideTable, [](const thermo_data::OxideRow& r) { return r.mw; });
inline constexpr auto TraceNames = names_detail::oneBased(
    thermo_data::kTraceTable, [](const thermo_data::TraceRow& r) { return r.name; });
inline constexpr auto PhaseNames = names_detail::oneBased(
    thermo_data::kPhaseTable, [](const thermo_data::PhaseRow& r) { return r.name; });
// Abbreviations as the tables load them (4 and 16 change with the polymorph found).
inline constexpr auto PhaseAbbrevDefault = names_detail::oneBased(
    thermo_data::kPhaseTable, [](const thermo_data::PhaseRow& r) { return r.abbrev; });

// The oxide order as the mass diffusion header of the setup file names it.
inline constexpr std::array<std::string_view, kOxides + 1> DiffusionHeaderNames = {
    "",   "Si", "Ti", "Al", "Fe+3", "Cr",  "Fe+2", "Mn",
    "Mg", "Ca", "Na", "K",  "P",    "H2O", "CO2",  "S"};

}  // namespace cx
