// The saturation state (SatState): for each phase of the table, the composition it would have
// in equilibrium with the liquid and its affinity, the distance from saturation (J; negative
// when the phase is oversaturated, 1e6 when none could be found).
#pragma once

#include <string>

#include "base/array.h"
#include "base/diagnostics.h"
#include "solver/component_finder.h"
#include "solver/phase_unmixing.h"
#include "thermo/activity.h"
#include "thermo/phase_model_rows.h"
#include "thermo/standard_state.h"

namespace cx {

// The per-phase tables the minimizer reads, by phase 1..38 and endmember 1..15, and the state
// that carries from one call to the next (the polymorphs chosen, the endmember counts in use).
struct SaturationContext {
  SaturationContext(const PhaseTable& phases, const StandardState& ss, ActivityContext& activity,
                    ComponentFinderContext& finder, const Array1<bool>& phaseExcluded);

  const PhaseTable* phases;
  const StandardState* ss;
  ActivityContext* act;  // holds the options and the working PhaseEndCount
  ComponentFinderContext* finder;
  Array1<bool> PhaseExcluded;

  Array2<double> PhaseX, PhaseR, PhaseMu, PhaseS, PhaseH, PhaseV, PhaseCp;
  Array1<double> Affinity;
  // The polymorph rows in force: the pyroxene row (phase 4, slot 1 or 3) and the silica row, with
  // their abbreviations.
  int pyroxeneRow = 36;
  int silicaRow = 26;
  std::string pyroxeneAbbrev = "oen";
  std::string silicaAbbrev = "qtz";

  // The row of endmember j of a phase, with the polymorphs chosen so far.
  int endIndex(int id, int j) const;
  // The abbreviation of a phase, with the polymorphs chosen so far.
  std::string abbrev(int id) const;
  // Back to the state of a new context: no phase evaluated (affinity kNoAffinity, every table
  // entry 0) and the first polymorphs.  A solve starts from here, so that what it reads of
  // these tables is what it wrote itself, never what the solve before it left.
  void clear();

  // Work arrays, sized once.
  Array1<double> Aend, Gend, Xtrial, Act, Result, X2;
  Array1<int> Avail;
  int nAvail = 0;  // the entries of Avail in use for the phase in hand

  // The search for a second composition of the feldspars, the pyroxenes and the second liquid.
  UnmixingContext unmix;
  // The last unmixing search (for the tests and the front ends): its phase (0: none yet), the
  // height of the second composition above the tangent plane and its squared distance from the
  // first.
  int unmixPhase = 0;
  double unmixGbest = 0.0, unmixDist = 0.0;
};

// PhaseCompositions: with Phase in 1..38 only that phase, otherwise (Phase set to 1) all 38 in
// order.  MuLiq(1..15) are the liquid's chemical potentials and BulkMoles(1..15) the system's
// moles of liquid components (a component at or below 1e-7 mol removes every endmember that
// holds it).  ErrFlag receives the last activity failure.
void PhaseCompositions(SaturationContext& sc, int& Phase, double T, double P,
                       const Array1<double>& MuLiq, const Array1<double>& BulkMoles, int& ErrFlag);

}  // namespace cx
