// The liquidus search: the temperature at which the first solid phase saturates in a liquid of a
// given bulk composition and pressure, where the lowest affinity among the solids is 0 within
// 1 J.  The search brackets that temperature and closes the bracket by regula falsi; the gas is
// judged on its own at the temperature found.  FindMinimum, a bounded minimizer of one variable
// in reverse-communication form, is kept for the callers that walk on a single function.
#pragma once

#include <string>

#include "base/array.h"
#include "base/port.h"
#include "solver/equilibrium_model.h"

namespace cx {

// The state of one FindMinimum search, kept between its calls: the base position x0, the offset d
// of the best point from it and its value f, the offset e and value g of the point behind it,
// the offset t of the point in evaluation, the expansion and reversal factors and the count.
struct FindMinimumRecord {
  double x0 = 0.0, d = 0.0, f = 0.0, e = 0.0, g = 0.0, t = 0.0;
  double up = 3.0, back = -0.5;
  int count = 0;
};

inline constexpr int kFindMinimumMaxSteps = 100;

// FindMinimum: a bounded search for a minimum of one variable without derivatives.  The caller
// sets Flag to 0 with F the value at X and calls; on return with Flag 1 or 2 it evaluates F at
// the new X and calls again.  Flag -1: done, X is the best point and F its value.  Flag -2: out
// of steps, with the best point and its value.  Step is the first step and is changed in place;
// Sentinel seeds the value of the point behind the start (its negative is used).
void FindMinimum(FindMinimumRecord& rec, double& X, double& F, int& Flag, double Lower,
                 double Upper, double& Step, double Sentinel);

// What a liquidus search found.
struct LiquidusResult {
  bool found = false;           // the search ended normally
  bool withinOneJoule = false;  // ... with the leader's affinity 0 within 1 J (the liquidus)
  bool badInput = false;        // stopped on the input (pressure, no silica, every phase excluded)
  double T = 0.0;               // K: the liquidus (or where the search stopped)
  int phase = 0;                // the phase that saturates first
  double affinity = 0.0;        // its affinity at T (J)
  int evaluations = 0;          // saturation states of the leader computed
  int leaderChanges = 0;
  double progress = 0.0;  // the last value of the progress display
  // The gas at the liquidus: oversaturated there, so that the liquid exsolves gas before (above)
  // its first crystals; and its affinity (J).
  bool gasSaturated = false;
  double gasAffinity = 0.0;
  std::string message;    // the message shown when it failed
};

// Find_Liquidus: the liquidus of a liquid of the given oxides (wt %, 1..15; normalized here) at
// P (bar), starting at T (K), which receives the result.  Messages go to the port's message box
// and status; the model's diagnostics carry ErrorFlag.  A run-time fault ends the search with
// "<number> error finding liquidus.".
LiquidusResult Find_Liquidus(EquilibriumModel& model, Port& port, const Array1<double>& Oxides,
                             double& T, double P);

}  // namespace cx
