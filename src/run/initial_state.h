// The initial state of a run (iteration 0) and the pressure gradient.
#pragma once

#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"

namespace cx {

struct RunContext;
class EquilibriumModel;

// The liquid alone: its entropy (J/K per gram) and density (g per J/bar) at T (K) and P (bar),
// as an all-liquid node of that composition would hold them.  What an infiltrating or inflating
// magma brings into the column.  `ok` is false when the oxides make no liquid.
struct LiquidProperties {
  bool ok = false;
  double S = 0.0;
  double Rho = 0.0;
};
LiquidProperties liquidProperties(EquilibriumModel& model, const Array1<double>& oxidesWt, double T,
                                  double P);

// FindInitial: iteration 0 of a run.  Every node is first made all liquid (for the densities of
// the pressure gradient and the liquid's entropy), then solved at its entered temperature from a
// cold start; its assemblage, masses, densities, entropies and viscosity are stored.  Checks the
// temperatures and the trace elements first.  Sets ErrorFlag and shows the message on failure.
void FindInitial(RunContext& ctx);

}  // namespace cx
