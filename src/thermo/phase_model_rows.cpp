#include "thermo/phase_model_rows.h"

#include "thermo/constants.h"
#include "thermo/data/pyroxene_model_table.h"

namespace cx {

using namespace thermo_data;

PhaseModelRows::PhaseModelRows()
    : PhaseEndCount(1, kNumPhases),
      PhaseEndName(kFirstOptionPhase, kLastOptionPhase, 1, kMaxPhaseEndmembers),
      PhaseEndIndex(kFirstOptionPhase, kLastOptionPhase, 1, kMaxPhaseEndmembers),
      PhaseEndMW(kFirstOptionPhase, kLastOptionPhase, 1, kMaxPhaseEndmembers),
      PhaseStoich(kFirstOptionPhase, kLastOptionPhase) {}

namespace {

// Copies endmember `from` of table phase `fromPhase` into slot `slot` of option phase `phase`.
void copyEntry(const ThermoTables& t, int fromPhase, int from, PhaseModelRows& r, int phase,
               int slot) {
  r.PhaseEndName(phase, slot) = t.PhaseEndName(fromPhase, from);
  r.PhaseEndIndex(phase, slot) = t.PhaseEndIndex(fromPhase, from);
  r.PhaseEndMW(phase, slot) = t.PhaseEndMW(fromPhase, from);
  for (int c = 1; c <= kNumLiquidComponents; ++c)
    r.PhaseStoich(phase, slot, c) = t.PhaseStoich(fromPhase, from, c);
}

}  // namespace

PhaseModelRows UpdatePhaseConstants(const ThermoTables& t, const Array1<bool>& activityFlags,
                                    int pyroxeneModel) {
  if (pyroxeneModel < 1 || pyroxeneModel > 3)
    raiseFault(kFaultInvalidCall,
               "PyroxeneModel must be 1, 2 or 3, not " + std::to_string(pyroxeneModel));
  PhaseModelRows r;
  for (int p = 1; p <= kNumPhases; ++p) r.PhaseEndCount(p) = t.PhaseEndCount(p);
  // Start from the rows as the loader left them.
  for (int p = kFirstOptionPhase; p <= kLastOptionPhase; ++p)
    for (int e = 1; e <= kMaxPhaseEndmembers; ++e) copyEntry(t, p, e, r, p, e);

  // Feldspars.  The simple model: plagioclase an-ab, alkali feldspar pure or.  Otherwise both
  // are ternary an-ab-or with the plagioclase rows.
  constexpr int kPlag = 2, kAlkaliFeldspar = 3;
  if (activityFlags(kPlag)) {
    r.PhaseEndCount(kPlag) = 2;
    r.PhaseEndCount(kAlkaliFeldspar) = 1;
    copyEntry(t, kPlag, 3, r, kAlkaliFeldspar, 1);  // or: 2 SiO2 + 1 KAlSiO4
  } else {
    r.PhaseEndCount(kPlag) = 3;
    r.PhaseEndCount(kAlkaliFeldspar) = 3;
    for (int e = 1; e <= 3; ++e) copyEntry(t, kPlag, e, r, kAlkaliFeldspar, e);
  }

  // Pyroxenes.
  for (const auto& c : kPyroxeneModelCounts)
    if (c.model == pyroxeneModel) r.PhaseEndCount(c.phase) = c.endCount;
  for (const auto& row : kPyroxeneModelTable) {
    if (row.model != pyroxeneModel) continue;
    const auto& e = row.entry;
    r.PhaseEndName(e.phase, e.slot) = fixedText(e.name, 5);
    r.PhaseEndIndex(e.phase, e.slot) = e.row;
    r.PhaseEndMW(e.phase, e.slot) = t.EndmemberMW(e.row);
    for (int c = 1; c <= kNumLiquidComponents; ++c) r.PhaseStoich(e.phase, e.slot, c) = 0.0;
    if (pyroxeneModel == 3 && e.phase == 4 && e.slot == 8) {
      // Intended: in the eight-component model the opx fs row is written coefficient by
      // coefficient into the single entry of liquid component 1, and the last coefficient
      // written (that of FeS) is 0, so this row keeps an all-zero stoichiometry and adds
      // nothing to the mass balance.  The cpx fs row is written correctly.
      for (int c = 1; c <= kNumLiquidComponents; ++c) {
        double moles = 0.0;
        for (const auto& term : e.terms)
          if (term.component == c) moles = term.moles;
        r.PhaseStoich(e.phase, e.slot, 1) = moles;
      }
      continue;
    }
    for (const auto& term : e.terms)
      if (term.component != 0) r.PhaseStoich(e.phase, e.slot, term.component) = term.moles;
  }

  // Gas: H2O, CO2, H2S with the simple model, all six species otherwise.
  r.PhaseEndCount(kGasPhase) = activityFlags(kGasPhase) ? 3 : 6;
  return r;
}

}  // namespace cx
