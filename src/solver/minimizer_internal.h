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
// The potentials of the endmembers of a listed phase at the composition the state X holds (its
// entries follow index `before`), into ctx.g(1..n); false where they cannot be had (a pure
// phase, the gas, no amount, an exchange endmember below zero, no answer from the model).
bool potentialsAtState(MinimizerContext& ctx, int id, const Array1<double>& X, int before,
                       double T, double P);
// A report of the minimizer: kept for the result and sent through ErrorReport.
void reportFrom(MinimizerContext& ctx, const std::string& msg);

}  // namespace cx::minimizer
