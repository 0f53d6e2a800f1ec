#include "solver/equilibrium_model.h"

#include "base/scalar_minimizer.h"
#include "thermo/gibbs.h"

namespace cx {

ModelOptions::ModelOptions()
    : ActivityFlags(1, thermo_data::kNumPhases, true), PhaseExcluded(1, thermo_data::kNumPhases) {
  // The loader's defaults: simple models everywhere but olivine and orthopyroxene; nepheline and
  // leucite solid solutions are never used.
  ActivityFlags(1) = ActivityFlags(4) = false;
  PhaseExcluded(8) = PhaseExcluded(9) = true;
  // The second liquid has no entries in the minimizer's state vector yet (SetNhat gives it
  // none while MakeMatrixC walks it): until that is mended it stays out by default.
  PhaseExcluded(38) = true;
}

EquilibriumModel::EquilibriumModel(const ThermoTables& thermoTables, const LiquidTables& lt,
                                   const ModelOptions& options, Diagnostics& diagnostics,
                                   Port& port)
    : tables(thermoTables),
      liquidTables(lt),
      diag(diagnostics),
      rows(UpdatePhaseConstants(thermoTables, options.ActivityFlags, options.PyroxeneModel)),
      phases(thermoTables, rows),
      ss(std::make_unique<StandardState>(MachEps())),
      activity(std::make_unique<ActivityContext>(phases, *ss, diagnostics, options.ActivityFlags,
                                                 options.PyroxeneModel, MachEps())),
      finder(std::make_unique<ComponentFinderContext>(*activity, port)),
      sat(std::make_unique<SaturationContext>(phases, *ss, *activity, *finder,
                                              options.PhaseExcluded)),
      BulkMoles(1, thermo_data::kNumLiquidComponents),
      Xliq(1, thermo_data::kNumLiquidComponents),
      MuLiq(1, thermo_data::kNumLiquidComponents),
      Sliq(1, thermo_data::kNumLiquidComponents),
      Hliq(1, thermo_data::kNumLiquidComponents),
      scratchS_(1, thermo_data::kNumLiquidComponents),
      scratchH_(1, thermo_data::kNumLiquidComponents) {
  liquid.port = &port;
  activity->liquid = this;
  sat->unmix.liquid = this;
}

bool EquilibriumModel::setConditions(double temperature, double pressure) {
  T = temperature;
  P = pressure;
  return Gibbs(tables, *ss, diag, T, P, P);
}

bool EquilibriumModel::setLiquidOxides(const Array1<double>& oxidesWt) {
  Array1<double> wt = oxidesWt;
  NormalizeOxides(wt);
  Array1<double> oxideMoles(1, thermo_data::kNumOxides);
  OxidesToMoles(tables, wt, oxideMoles);
  if (!MolesComponents(tables, diag, oxideMoles, BulkMoles)) return false;
  if (!MoleFractions(liquid, diag, BulkMoles, Xliq, thermo_data::kNumLiquidComponents))
    return false;
  return u_Liquid(liquidTables, *ss, liquid, diag, 0, Xliq, MuLiq, Sliq, Hliq, T, P);
}

void EquilibriumModel::saturation(int phase, int& errFlag) {
  PhaseCompositions(*sat, phase, T, P, MuLiq, BulkMoles, errFlag);
}

bool EquilibriumModel::liquidPotentials(const Array1<double>& X, Array1<double>& Mu, double temp,
                                        double pressure) {
  return u_Liquid(liquidTables, *ss, liquid, diag, 0, X, Mu, scratchS_, scratchH_, temp, pressure);
}

bool EquilibriumModel::liquidPartials(const Array1<double>& X, Array1<double>& Mu,
                                      Array1<double>& S, Array1<double>& H, double temp,
                                      double pressure) {
  return u_Liquid(liquidTables, *ss, liquid, diag, 0, X, Mu, S, H, temp, pressure);
}

}  // namespace cx
