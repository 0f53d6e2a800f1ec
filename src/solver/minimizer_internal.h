// Helpers shared by the files of the stable-assemblage minimizer.
#pragma once

#include <string>

#include "solver/stable_phases.h"

namespace cx::minimizer {

// MoleFractions of X(1..15) and u_Liquid at T, P into the model's liquid arrays.
bool liquidAt(MinimizerContext& ctx, const Array1<double>& X, double T, double P);
// PhaseCompositions of one phase (1..38) or of all (0) against the model's liquid potentials.
void saturationOf(MinimizerContext& ctx, const MinimizerState& st, int phase, double T, double P,
                  int& ErrFlag);
// A report of the minimizer: kept for the result and sent through ErrorReport.
void reportFrom(MinimizerContext& ctx, const std::string& msg);

}  // namespace cx::minimizer
