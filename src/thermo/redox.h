// The redox state of a silicate liquid: its oxygen fugacity from the ratio of ferric to ferrous
// iron, or the ratio that an oxygen buffer sets, by the ferric-ferrous relation of Kress and
// Carmichael (1991), with the buffers from the program's own standard states (quartz-fayalite-
// magnetite, hematite-magnetite) or from their classic expressions (Ni-NiO, Fe-FeO).
#pragma once

#include <array>
#include <string_view>

#include "base/array.h"
#include "base/diagnostics.h"
#include "thermo/silicate_liquid.h"
#include "thermo/standard_state.h"
#include "thermo/thermo_tables.h"

namespace cx {

// The task that reads log fO2 from the composition.
inline constexpr std::string_view kGetLogfO2 = "Get LogfO2";
// The choices of the buffer lists, "Absent" first.
inline constexpr std::array<std::string_view, 11> kOxygenBuffers = {
    "Absent", "QFM+3", "QFM+2", "QFM+1",  "Q-Fa-Mt", "QFM-1",
    "QFM-2",  "QFM-3", "Hm-Mt", "Ni-NiO", "Fe-FeO"};

// ln(XFe2O3/XFeO) less 0.196 ln fO2: the composition, temperature (K) and pressure (bar) terms
// of the ferric-ferrous relation.  X holds the oxide mole fractions (1..15) and fe the total
// iron term XFeO + 2 XFe2O3 (less the iron of the sulfide).
double RedoxKd(const Array1<double>& X, double fe, double T, double P);

// With buffer = "Get LogfO2": logfO2 (log10) from wt (the 15 oxides, wt %), wt unchanged.
// With a buffer name: logfO2 of the buffer at T (K) and P (bar), and FeO and Fe2O3 of wt
// rewritten to the ferric-ferrous ratio the buffer sets (the sum of wt moves with the oxygen
// taken up).  "Absent", a T or P out of range or too little SiO2 or iron show a box and change
// nothing.  Calls Gibbs: the standard states of `ss` are overwritten with those of T and P.
// A fault is reported as "<n> Error in subroutine FeRedox.".  Returns true when logfO2 was set.
bool FeRedox(const ThermoTables& tables, StandardState& ss, LiquidContext& ctx, Diagnostics& diag,
             double T, double P, std::string_view buffer, Array1<double>& wt, double& logfO2);

}  // namespace cx
