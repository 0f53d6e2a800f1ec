// The check every result passes before it is called an equilibrium.  It trusts nothing the
// iteration kept: the amounts are read from the state vector, mass balance is summed from the
// endmembers' stoichiometry, and the saturation state is evaluated afresh against the returned
// liquid.
#include <cmath>
#include <cstdio>
#include <string>

#include "solver/equilibrium_rules.h"
#include "solver/minimizer_internal.h"
#include "solver/stable_phases.h"

namespace cx {

namespace {

constexpr int kN = kLiquidComponents;
constexpr int kPhases = thermo_data::kNumPhases;

std::string joules(double a) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3g J", a);
  return buf;
}

}  // namespace

std::string equilibriumFault(MinimizerContext& ctx, const MinimizerState& st, double T,
                             double P) {
  EquilibriumModel& m = *ctx.model;
  const ActivityContext& act = *m.activity;
  // The layout of the vector: the liquid, then each listed phase's endmembers.
  int ncomp = kN;
  for (int k = 1; k <= st.PhaseCount; ++k) {
    const int id = st.Phaselist(k);
    if (id < 1 || id >= kPhases) return "Result check: phase list holds an unknown phase";
    ncomp += act.PhaseEndCount(id);
  }
  if (ncomp > kMaxStateVector) return "Result check: state vector longer than its storage";
  // No negative amount: every liquid component, and every listed phase as a whole (an exchange
  // endmember of a simple solution may be negative inside a phase of positive amount).
  for (int i = 1; i <= kN; ++i)
    if (!(st.Xstable(i) >= 0.0))
      return "Negative liquid component found in computation: " +
             trimmedText(m.tables.LiqFormula(i));
  int c = kN;
  for (int k = 1; k <= st.PhaseCount; ++k) {
    const int id = st.Phaselist(k);
    double moles = 0.0, mass = 0.0;
    for (int j = 1; j <= act.PhaseEndCount(id); ++j) {
      moles += st.Xstable(++c);
      mass += st.Xstable(c) * m.phases.PhaseEndMW(id, j);
    }
    if (!(moles > 0.0) || !(mass > 0.0))
      return "Negative mass of " + trimmedText(m.phases.PhaseNames(id)) +
             " found in computation";
  }
  // Mass balance, component by component, against the bulk of the call.
  double bulkTotal = 0.0;
  for (int i = 1; i <= kN; ++i) bulkTotal += st.BulkMoles(i);
  for (int i = 1; i <= kN; ++i) {
    double total = st.Xstable(i);
    c = kN;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      for (int j = 1; j <= act.PhaseEndCount(id); ++j)
        total += m.phases.PhaseStoich(id, j, i) * st.Xstable(++c);
    }
    // The liquid floors (1e-8 mol) are the only licensed departure.
    const double tol = 2.0 * kLiquidFloor + 1e-9 * bulkTotal;
    if (!(std::fabs(total - st.BulkMoles(i)) <= tol))
      return "Mass balance lost in " + trimmedText(m.tables.LiqFormula(i)) + " (" +
             std::to_string(total - st.BulkMoles(i)) + " mol)";
  }
  // The saturation state of the returned liquid, evaluated afresh.
  m.diag.ErrorFlag = false;
  m.setConditions(T, P);
  minimizer::liquidAt(ctx, st.Xstable, T, P);
  int errFlag = 0;
  minimizer::saturationOf(ctx, st, 0, T, P, errFlag);
  if (m.diag.ErrorFlag) {
    m.diag.ErrorFlag = false;
    return "Result check: the saturation state of the returned liquid could not be evaluated";
  }
  const SaturationContext& sat = *m.sat;
  auto listed = [&](int id) {
    for (int k = 1; k <= st.PhaseCount; ++k)
      if (st.Phaselist(k) == id) return true;
    return false;
  };
  for (int k = 1; k <= st.PhaseCount; ++k) {
    const int id = st.Phaselist(k);
    const double a = sat.Affinity(id);
    if (!(std::fabs(a) <= equilibrium::kResultAffinityLimit))
      return "Not equilibrated with saturated phase: " + trimmedText(m.phases.PhaseNames(id)) +
             ", affinity " + joules(a);
  }
  // Each listed solution at its own composition on the tangent plane too: its endmembers'
  // potentials there against the liquid's, weighted by their fractions.  (The saturation
  // composition can be on the plane while the moles the state holds have another composition,
  // which mass balance then carries.)
  c = kN;
  for (int k = 1; k <= st.PhaseCount; ++k) {
    const int id = st.Phaselist(k);
    const int n = act.PhaseEndCount(id);
    if (minimizer::potentialsAtState(ctx, id, st.Xstable, c, T, P)) {
      double moles = 0.0, off = 0.0;
      for (int j = 1; j <= n; ++j)
        if (sat.PhaseX(id, j) != 0.0) moles += st.Xstable(c + j);
      for (int j = 1; j <= n; ++j) {
        if (sat.PhaseX(id, j) == 0.0) continue;
        double muLiquid = 0.0;
        for (int i = 1; i <= kN; ++i) muLiquid += m.phases.PhaseStoich(id, j, i) * m.MuLiq(i);
        off += st.Xstable(c + j) / moles * std::fabs(ctx.g(j) - muLiquid);
      }
      if (!(off <= equilibrium::kResultAffinityLimit))
        return "Not equilibrated with saturated phase: " + trimmedText(m.phases.PhaseNames(id)) +
               " (at the composition it holds), " + joules(off) + " off the liquid";
    }
    c += n;
  }
  for (int id = 1; id <= kPhases; ++id) {
    if (listed(id) || sat.PhaseExcluded(id) || !equilibrium::wantsToJoin(sat.Affinity(id)))
      continue;
    if (equilibrium::excludedByListed(id, listed)) continue;
    return "Left out oversaturated phase: " + trimmedText(m.phases.PhaseNames(id)) +
           ", affinity " + joules(sat.Affinity(id));
  }
  return {};
}

}  // namespace cx
