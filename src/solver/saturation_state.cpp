#include "solver/saturation_state.h"

#include <algorithm>
#include <cmath>

#include "base/trap.h"
#include "thermo/constants.h"

namespace cx {
namespace {

constexpr double R = kGasConstant;
constexpr int kMaxEnd = thermo_data::kMaxPhaseEndmembers;
constexpr int kComponents = thermo_data::kNumLiquidComponents;
// The composition of a solution the component finder leaves alone is carried to its tangent
// composition within this spread of its endmembers' affinities (J), in at most this many passes.
constexpr double kTangentTolerance = 1e-3;
constexpr int kMaxTangentPasses = 200;

// The phases whose composition is refined by the component finder: always 1, 2 and 4; 3, 5, 6,
// 7, 11 and 13 only with their non-ideal models.
bool refined(const ActivityContext& act, int id) {
  switch (id) {
    case 1:
    case 2:
    case 4:
      return true;
    case 3:
    case 5:
    case 6:
    case 7:
    case 11:
    case 13:
      return !act.ActivityFlags(id);
    default:
      return false;
  }
}

}  // namespace

SaturationContext::SaturationContext(const PhaseTable& phaseTable, const StandardState& state,
                                     ActivityContext& activity,
                                     ComponentFinderContext& componentFinder,
                                     const Array1<bool>& phaseExcluded)
    : phases(&phaseTable),
      ss(&state),
      act(&activity),
      finder(&componentFinder),
      PhaseExcluded(phaseExcluded),
      PhaseX(1, thermo_data::kNumPhases, 1, kMaxEnd),
      PhaseR(1, thermo_data::kNumPhases, 1, kMaxEnd),
      PhaseMu(1, thermo_data::kNumPhases, 1, kMaxEnd),
      PhaseS(1, thermo_data::kNumPhases, 1, kMaxEnd),
      PhaseH(1, thermo_data::kNumPhases, 1, kMaxEnd),
      PhaseV(1, thermo_data::kNumPhases, 1, kMaxEnd),
      PhaseCp(1, thermo_data::kNumPhases, 1, kMaxEnd),
      Affinity(1, thermo_data::kNumPhases, kNoAffinity),
      Aend(1, kMaxEnd),
      Gend(1, kMaxEnd),
      Xtrial(1, kMaxEnd),
      Act(1, kMaxEnd),
      Result(1, kMaxEnd + 1),
      X2(1, kMaxEnd + 1),
      Avail(1, kMaxEnd),
      unmix(activity) {}

void SaturationContext::clear() {
  for (Array2<double>* t : {&PhaseX, &PhaseR, &PhaseMu, &PhaseS, &PhaseH, &PhaseV, &PhaseCp})
    t->erase();
  Affinity.fill(kNoAffinity);
  pyroxeneRow = 36;
  silicaRow = 26;
  pyroxeneAbbrev = "oen";
  silicaAbbrev = "qtz";
}

int SaturationContext::endIndex(int id, int j) const {
  if (id == 16 && j == 1) return silicaRow;
  // The pyroxene polymorph stands in phase 4's row: slot 1 when opx has two or three
  // endmembers, slot 3 with the larger models.
  if (id == 4) {
    const int count = act->PhaseEndCount(4);
    const int slot = (count == 2 || count == 3) ? 1 : 3;
    if (j == slot) return pyroxeneRow;
  }
  return phases->PhaseEndIndex(id, j);
}

std::string SaturationContext::abbrev(int id) const {
  if (id == 4) return pyroxeneAbbrev;
  if (id == 16) return silicaAbbrev;
  return phases->PhaseAbbrev(id);
}

namespace {

// The standard-state properties of endmember j of a phase.  The second liquid's endmembers are
// the liquid components themselves, on the liquid's standard states.
struct EndmemberState {
  double G, H, S, V, Cp;
};
EndmemberState endmemberState(const SaturationContext& sc, int id, int j) {
  const StandardState& ss = *sc.ss;
  if (id == kLiquid2PhaseId)
    return {ss.G0Liq(j), ss.H0Liq(j), ss.S0Liq(j), ss.V0Liq(j), ss.Cp0Liq(j)};
  const int row = sc.endIndex(id, j);
  return {ss.G0End(row), ss.H0End(row), ss.S0End(row), ss.V0End(row), ss.Cp0End(row)};
}

// Whether the phase goes to the unmixing search: the second liquid always, the feldspars with the
// ternary model, the pyroxenes with the larger models.
bool unmixes(const ActivityContext& act, int id) {
  switch (id) {
    case kLiquid2PhaseId:
      return true;
    case 2:
    case 3:
      return !act.ActivityFlags(id);
    case 4:
    case 5:
      return act.PyroxeneModel > 1;
    default:
      return false;
  }
}

// The lowest of three rows by free energy, each test strict against both others and the earlier
// winning; with no strict winner the previous choice stands.
void choosePolymorph(const StandardState& ss, int r1, int r2, int r3, const char* a1,
                     const char* a2, const char* a3, int& row, std::string& abbrev) {
  const double g1 = ss.G0End(r1), g2 = ss.G0End(r2), g3 = ss.G0End(r3);
  if (g1 < g2 && g1 < g3) {
    row = r1;
    abbrev = a1;
  } else if (g2 < g1 && g2 < g3) {
    row = r2;
    abbrev = a2;
  } else if (g3 < g1 && g3 < g2) {
    row = r3;
    abbrev = a3;
  }
}

// The phase as one pure endmember a.
void takePure(SaturationContext& sc, int id, int a, int n) {
  for (int m = 1; m <= n; ++m) sc.PhaseX(id, sc.Avail(m)) = 0.0;
  const EndmemberState e = endmemberState(sc, id, a);
  sc.PhaseX(id, a) = 1.0;
  sc.PhaseMu(id, a) = e.G;
  sc.PhaseH(id, a) = e.H;
  sc.PhaseS(id, a) = e.S;
  sc.PhaseV(id, a) = e.V;
  sc.PhaseCp(id, a) = e.Cp;
  sc.Affinity(id) = sc.Aend(a);
}

// The affinity from the first endmember with an activity above 0.1 (1e6 when there is none).
void affinityFromActivities(SaturationContext& sc, int id, int count, double T) {
  for (int j = 1; j <= count; ++j)
    if (sc.Act(j) > 0.1) {
      sc.Affinity(id) = R * T * std::log(sc.Act(j)) + sc.Aend(j);
      return;
    }
}

// The composition of a solution the component finder does not refine, carried from the first
// guess (each endmember in proportion to exp(-Aend / RT), the composition of an ideal solution
// with one mixing site) to the one at which every endmember present has the same affinity: the
// composition whose tangent plane is parallel to the liquid's, where the phase's affinity is
// its least.  For a model that is not ideal on one site the first guess is not that
// composition, and its endmembers' affinities differ by kilojoules: a biotite held at
// equilibrium by the minimizer (both endmembers on the liquid's tangent plane) read 7.3 kJ
// undersaturated at the guess, one endmember +7.3 kJ and the other -25 kJ.  Each pass moves
// the fractions by exp(-(A_j - mean) / RT), damped more whenever the spread grows; Xtrial and
// Act are left at the composition reached.
void toTangentComposition(SaturationContext& sc, int id, int count, double T, double P,
                          int& ErrFlag) {
  ActivityContext& act = *sc.act;
  const double rt = R * T;
  double damping = 1.0, lastSpread = 1e300;
  for (int pass = 0; pass < kMaxTangentPasses; ++pass) {
    double mean = 0.0, total = 0.0;
    for (int j = 1; j <= count; ++j) {
      if (!(sc.Xtrial(j) > 0.0)) continue;
      if (!(sc.Act(j) > 1e-300)) return;
      const double a = rt * std::log(sc.Act(j)) + sc.Aend(j);
      sc.Result(j) = a;
      mean += sc.Xtrial(j) * a;
      total += sc.Xtrial(j);
    }
    if (!(total > 0.0)) return;
    mean /= total;
    double spread = 0.0;
    for (int j = 1; j <= count; ++j)
      if (sc.Xtrial(j) > 0.0) spread = std::max(spread, std::fabs(sc.Result(j) - mean));
    if (spread <= kTangentTolerance) return;
    if (spread > lastSpread) damping *= 2.0;
    lastSpread = spread;
    double sum = 0.0;
    for (int j = 1; j <= count; ++j) {
      if (!(sc.Xtrial(j) > 0.0)) continue;
      const double e = std::max(-30.0, std::min(30.0, -(sc.Result(j) - mean) / (rt * damping)));
      sc.Xtrial(j) *= std::exp(e);
      sum += sc.Xtrial(j);
    }
    for (int j = 1; j <= count; ++j) sc.Xtrial(j) /= sum;
    GetActivity(act, id, T, P, sc.Xtrial, count, sc.Act, ErrFlag);
    if (ErrFlag != 0) return;
  }
}

// One phase; false on the failure path.  skipNext is set when the phase and the next one were
// dealt with together (an unmixed pair).
bool onePhase(SaturationContext& sc, int id, double T, double P, const Array1<double>& MuLiq,
              const Array1<double>& BulkMoles, int& ErrFlag, bool& skipNext) {
  ActivityContext& act = *sc.act;
  const StandardState& ss = *sc.ss;
  const PhaseTable& pt = *sc.phases;
  sc.Affinity(id) = 1e6;
  if (id == 4) act.PhaseEndCount(4) = act.PyroxeneModel == 1 ? 3 : act.PyroxeneModel == 2 ? 4 : 8;
  if (id == 5) act.PhaseEndCount(5) = act.PyroxeneModel == 1 ? 2 : act.PyroxeneModel == 2 ? 4 : 8;
  if (id == 7) act.PhaseEndCount(7) = 8;
  for (int j = 1; j <= kMaxEnd; ++j) {
    sc.PhaseX(id, j) = sc.PhaseMu(id, j) = sc.PhaseH(id, j) = 0.0;
    sc.PhaseS(id, j) = sc.PhaseV(id, j) = sc.PhaseCp(id, j) = 0.0;
  }
  if (sc.PhaseExcluded(id)) return true;
  if (id == 4 || id == 5)  // a call for phase 5 sets phase 4's row too: one mineral, two phases
    choosePolymorph(ss, 36, 37, 38, "oen", "cen", "pen", sc.pyroxeneRow, sc.pyroxeneAbbrev);
  if (id == 16) choosePolymorph(ss, 26, 27, 28, "qtz", "trd", "crs", sc.silicaRow, sc.silicaAbbrev);

  // The affinity of each endmember as a pure phase; endmembers the liquid cannot build are left
  // out.
  const int count = act.PhaseEndCount(id);
  int n = 0;
  for (int j = 1; j <= count; ++j) {
    const double g = endmemberState(sc, id, j).G;
    sc.Gend(j) = sc.Aend(j) = g;
    sc.Xtrial(j) = 0.0;
    bool available = true;
    for (int i = 1; i <= kComponents; ++i) {
      const double nu = pt.PhaseStoich(id, j, i);
      if (nu == 0.0) continue;
      if (BulkMoles(i) <= 1e-7) {
        available = false;
        sc.Aend(j) = 0.0;
        break;
      }
      sc.Aend(j) -= nu * MuLiq(i);
    }
    if (available) sc.Avail(++n) = j;
  }
  sc.nAvail = n;
  if (n == 0) return true;
  if (n == 1) {
    takePure(sc, id, sc.Avail(1), n);
    return true;
  }
  // A first guess of the composition: each endmember in proportion to exp(-Aend / R T).
  const double rt = R * T;
  if (n == 2) {
    const int a = sc.Avail(1), b = sc.Avail(2);
    const double e = checkedExp(-(sc.Aend(a) - sc.Aend(b)) / rt);
    sc.Xtrial(a) = e / (e + 1.0);
    sc.Xtrial(b) = 1.0 - sc.Xtrial(a);
  } else {
    const int last = sc.Avail(n), nextToLast = sc.Avail(n - 1);
    double s = 1.0;
    for (int m = 1; m <= n - 2; ++m) {
      sc.Result(m) = checkedExp(-(sc.Aend(sc.Avail(m)) - sc.Aend(nextToLast)) / rt);
      s += sc.Result(m);
    }
    const double e = checkedExp(-(sc.Aend(nextToLast) - sc.Aend(last)) / rt);
    sc.Xtrial(nextToLast) = e / (s * e + 1.0);
    double s2 = sc.Xtrial(nextToLast);
    for (int m = 1; m <= n - 2; ++m) {
      sc.Xtrial(sc.Avail(m)) = sc.Xtrial(nextToLast) * sc.Result(m);
      s2 += sc.Xtrial(sc.Avail(m));
    }
    sc.Xtrial(last) = 1.0 - s2;
  }
  for (int m = 1; m <= n; ++m)
    if (sc.Xtrial(sc.Avail(m)) > 0.9999999) {
      takePure(sc, id, sc.Avail(m), n);
      return true;
    }
  for (int j = 1; j <= count; ++j)
    if (sc.Xtrial(j) < 1e-8) sc.Xtrial(j) = 0.0;

  if (refined(act, id)) {
    GetActivity(act, id, T, P, sc.Xtrial, count, sc.Act, ErrFlag);
    if (ErrFlag == 0) affinityFromActivities(sc, id, count, T);
    int nfree = 0;
    double affinity = sc.Affinity(id);
    FindComponents(*sc.finder, id, T, P, nfree, sc.Aend, sc.Xtrial, sc.Result, affinity, ErrFlag);
    if (act.diag->HaltFlag) return true;
    if (ErrFlag != 0 || act.diag->ErrorFlag) return false;
    double sum = 0.0;
    for (int m = 1; m <= nfree; ++m) {
      sc.Xtrial(m) = sc.Result(m);
      sum += sc.Result(m);
    }
    sc.Xtrial(nfree + 1) = 1.0 - sum;
    if ((id == 4 || id == 5) && act.PyroxeneModel == 2) {
      // The quadrilateral model works in two site variables; back to four fractions.
      const double x1 = sc.Xtrial(1), x2 = sc.Xtrial(2);
      const double a = 0.5 * (x1 + x2);
      const double b = 0.5 * (2.0 * (1.0 - x1 - x2) + x1);
      const double c = 1.0 - a - b;
      const double f = checkedDiv(b, b + c);
      sc.Xtrial(1) = 2.0 * a * f;
      sc.Xtrial(2) = (1.0 - f) * 2.0 * a;
      sc.Xtrial(3) = (1.0 - 2.0 * a) * f;
      sc.Xtrial(4) = 1.0 - sc.Xtrial(1) - sc.Xtrial(2) - sc.Xtrial(3);
    } else if ((id == 4 || id == 5) && act.PyroxeneModel == 3) {
      act.PhaseEndCount(4) = act.PhaseEndCount(5) = 7;
    }
    if (id == 7) act.PhaseEndCount(7) = 5;
  }
  const int used = act.PhaseEndCount(id);
  if (unmixes(act, id)) {
    // The solution may split in two: the search writes the tables of the phase (and of its
    // partner).  A failed search leaves the phase unavailable.
    int err = 0;
    sc.unmixPhase = id;
    PhaseUnmixing(sc, id, T, P, sc.Xtrial, sc.X2, sc.unmixGbest, used - 1, sc.unmixDist, sc.Gend,
                  sc.Aend, err);
    if (err != 0) {
      sc.Affinity(id) = 1e6;
      return true;
    }
    skipNext = id == 2 || id == 4;
    return true;
  }
  GetActivity(act, id, T, P, sc.Xtrial, used, sc.Act, ErrFlag);
  if (ErrFlag != 0) return true;  // no activities: the phase stays unavailable (1e6)
  if (!refined(act, id) && id != kGasPhase && n >= 2)
    toTangentComposition(sc, id, used, T, P, ErrFlag);
  if (ErrFlag != 0) return true;
  affinityFromActivities(sc, id, used, T);
  for (int j = 1; j <= used; ++j) {
    const EndmemberState e = endmemberState(sc, id, j);
    sc.PhaseX(id, j) = sc.Xtrial(j);
    if (sc.Act(j) > 1e-16 && sc.Xtrial(j) != 0.0) {
      sc.PhaseMu(id, j) = rt * std::log(sc.Act(j)) + sc.Gend(j);
      sc.PhaseS(id, j) = e.S - R * std::log(sc.Act(j));
    }
    sc.PhaseR(id, j) = sc.Gend(j);
    sc.PhaseH(id, j) = e.H;
    sc.PhaseV(id, j) = e.V;
    sc.PhaseCp(id, j) = e.Cp;
  }
  return true;
}

}  // namespace

void PhaseCompositions(SaturationContext& sc, int& Phase, double T, double P,
                       const Array1<double>& MuLiq, const Array1<double>& BulkMoles, int& ErrFlag) {
  Diagnostics& diag = *sc.act->diag;
  const bool all = Phase < 1 || Phase > thermo_data::kNumPhases;
  if (all) Phase = 1;
  const int first = Phase, last = all ? thermo_data::kNumPhases : Phase;
  for (int id = first; id <= last; ++id) {
    int faultNumber = 0;
    bool ok = false;
    bool skipNext = false;
    try {
      ok = onePhase(sc, id, T, P, MuLiq, BulkMoles, ErrFlag, skipNext);
    } catch (const Fault& f) {
      if (!diag.TrapErrors) throw;
      faultNumber = f.number();
    }
    if (diag.HaltFlag) return;
    if (!ok) {
      // The failure path: the phase keeps the affinity it has, the routine returns.
      if (diag.PauseOnError)
        diag.ErrorReport(
            std::to_string(faultNumber) +
                " Error in subroutine PhaseCompositions; phase: " + sc.phases->PhaseNames(id),
            true);
      return;
    }
    if (skipNext) ++id;
  }
}

}  // namespace cx
