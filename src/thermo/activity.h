// ActivityModule: the single doorway to the solid-solution models.
//
// GetActivity gives the activity of each endmember of a phase at a temperature, a pressure and
// the solver's mole fractions, maps those fractions onto the variables of the model that
// answers, and names that model.  It stands in the innermost loops of the component finder and
// of the Hessian, so it allocates nothing: every scratch value lives in the ActivityContext.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "base/array.h"
#include "base/diagnostics.h"
#include "thermo/data/table_sizes.h"
#include "thermo/phase_model_rows.h"
#include "thermo/standard_state.h"

namespace cx {

inline constexpr int kLiquid2PhaseId = 38;

// The chemical potentials of the silicate liquid (u_Liquid), which the second liquid (phase 38)
// turns into activities.  The liquid model implements it; GetActivity only holds a pointer.
class LiquidPotentialSource {
 public:
  virtual ~LiquidPotentialSource() = default;
  // Potentials (J/mol) of the 15 liquid components at the mole fractions X(1..15), written into
  // Mu(1..15); false when the model fails.
  virtual bool liquidPotentials(const Array1<double>& X, Array1<double>& Mu, double T,
                                double P) = 0;
};

// The state GetActivity reads and keeps: the phase tables and standard states in force, the
// activity options, the working copy of the endmember counts (the saturation state changes it
// for phases 4, 5 and 7), and the record of which missing models were already reported.
struct ActivityContext {
  ActivityContext(const PhaseTable& phases, const StandardState& standardState, Diagnostics& diag,
                  const Array1<bool>& activityFlags, int pyroxeneModel, double machEps);

  const PhaseTable* phases;
  const StandardState* ss;  // G0End (feldspar) and G0Liq (second liquid) of the present T
  Diagnostics* diag;
  Array1<bool> ActivityFlags;  // by phase 1..38: true selects the simple ideal model
  int PyroxeneModel;           // 1, 2 or 3
  Array1<int> PhaseEndCount;   // by phase 1..38, the counts in use
  bool ComputeMessages = false;
  double machEps;
  LiquidPotentialSource* liquid = nullptr;  // needed for phase 38 only

  // Scratch of the second liquid's potentials, 1..15.
  Array1<double> liquidMu;
  // Whether the missing model of a phase has been reported by this context (1..38).
  std::array<bool, thermo_data::kNumPhases + 1> unavailableReported{};
};

// The activities Act(1..) of phase `Phase` at T (K), P (bar) and the fractions X(1..N).  X may
// hold one fewer fraction than the phase has endmembers; the last is then implied by the sum.
// ErrFlag is 0 on success and -1 when the fractions are out of range or the model fails; Act is
// then left as the model left it (a failed model writes nothing).  Model, when given, receives
// the name of the published model that answered.
void GetActivity(ActivityContext& ctx, int Phase, double T, double P, const Array1<double>& X,
                 int N, Array1<double>& Act, int& ErrFlag, std::string_view* Model = nullptr);

// The options that would select an activity model this program does not have yet (the
// non-ideal rhombohedral oxide, spinel, garnet and the two larger pyroxene models), named in one
// message for the settings check; empty when every selected model is available.
std::string unavailableActivityModels(const Array1<bool>& ActivityFlags, int PyroxeneModel);

}  // namespace cx
