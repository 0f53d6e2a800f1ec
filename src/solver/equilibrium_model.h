// The phase-equilibrium model of one thread of work: the immutable tables, the rows of the
// activity options, the standard states of the present temperature and pressure, and the
// contexts of the liquid, the activity models, the component finder and the saturation state.
// One object per thread; nothing in it is shared, so that nodes can be solved in parallel.
#pragma once

#include <memory>

#include "base/array.h"
#include "base/diagnostics.h"
#include "base/port.h"
#include "solver/component_finder.h"
#include "solver/saturation_state.h"
#include "thermo/activity.h"
#include "thermo/phase_model_rows.h"
#include "thermo/silicate_liquid.h"
#include "thermo/standard_state.h"
#include "thermo/thermo_tables.h"

namespace cx {

// The options that shape the phase table: the activity model flags, the pyroxene model and the
// phases kept from precipitating.
struct ModelOptions {
  ModelOptions();
  Array1<bool> ActivityFlags;  // 1..38, true: the simple solid-solution model
  int PyroxeneModel = 1;
  Array1<bool> PhaseExcluded;  // 1..38
};

class EquilibriumModel : public LiquidPotentialSource, public LiquidPartialSource {
 public:
  EquilibriumModel(const ThermoTables& tables, const LiquidTables& liquidTables,
                   const ModelOptions& options, Diagnostics& diag, Port& port);
  EquilibriumModel(const EquilibriumModel&) = delete;
  EquilibriumModel& operator=(const EquilibriumModel&) = delete;

  // The standard states of T (K) and P (bar).  False when Gibbs fails.
  bool setConditions(double T, double P);
  // A liquid of these oxides (wt %, normalized here): BulkMoles, its mole fractions and its
  // chemical potentials at the present conditions.  False when the components cannot be formed.
  bool setLiquidOxides(const Array1<double>& oxidesWt);
  // The saturation state of one phase (1..38) or of all (any other id).
  void saturation(int phase, int& errFlag);

  // The second liquid asks the silicate liquid model for its potentials.
  bool liquidPotentials(const Array1<double>& X, Array1<double>& Mu, double T, double P) override;
  // ... and, once it has unmixed, for its partial entropies and enthalpies.
  bool liquidPartials(const Array1<double>& X, Array1<double>& Mu, Array1<double>& S,
                      Array1<double>& H, double T, double P) override;

  const ThermoTables& tables;
  const LiquidTables& liquidTables;
  Diagnostics& diag;
  PhaseModelRows rows;
  PhaseTable phases;
  std::unique_ptr<StandardState> ss;
  LiquidContext liquid;
  std::unique_ptr<ActivityContext> activity;
  std::unique_ptr<ComponentFinderContext> finder;
  std::unique_ptr<SaturationContext> sat;
  double T = 0.0, P = 0.0;
  Array1<double> BulkMoles, Xliq, MuLiq, Sliq, Hliq;  // 1..15, liquid components

 private:
  Array1<double> scratchS_, scratchH_;  // the second liquid's partial entropies and enthalpies
};

}  // namespace cx
