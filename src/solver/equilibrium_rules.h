// The rules by which an assemblage is judged an equilibrium: how far from saturation a listed
// phase may be, how oversaturated an absent phase must be to join, when a listed phase has
// vanished, and which phases cannot coexist.  The minimizer's review, its warm-start test, the
// check of a returned result and the column's check of a solved node all apply these, so that
// they cannot disagree about what an equilibrium is.
//
// Affinities are in J per mole of the phase: positive undersaturated, negative oversaturated.
#pragma once

namespace cx::equilibrium {

// A listed phase farther than this from saturation, either way, is not in equilibrium with the
// liquid: the review drops it and a returned result holding it is refused.
inline constexpr double kListedAffinityLimit = 100.0;  // J
// A returned result holds each listed phase within this of saturation against the returned
// liquid: the minimum of G puts every phase present exactly on the liquid's tangent plane, and
// 1 J per mole of phase is far below any physical distinction yet far above the rounding of a
// converged Newton iteration.
inline constexpr double kResultAffinityLimit = 1.0;  // J
// An absent phase joins the assemblage when it is more oversaturated than this.
inline constexpr double kJoinAffinity = -10.0;  // J
// A listed phase with fewer moles than this has dissolved.
inline constexpr double kVanishedMoles = 1e-7;  // mol per 100 g

// The targets of the search modes are met within these (per 100 g of the system).
inline constexpr double kEnthalpyTolerance = 1.0;  // J
inline constexpr double kEntropyTolerance = 1e-4;  // J/K
inline constexpr double kVolumeTolerance = 1e-5;   // J/bar

// Whether a listed phase is within kListedAffinityLimit of saturation (a NaN affinity is not).
inline bool nearSaturation(double affinity) {
  return affinity > -kListedAffinityLimit && affinity < kListedAffinityLimit;
}

// Whether a listed phase stays: near saturation and still present.  (A NaN amount passes, as
// the review always treated it; the mass-balance and negative-mass checks catch it.)
inline bool keepsListedPhase(double affinity, double moles) {
  return nearSaturation(affinity) && !(moles < kVanishedMoles);
}

// Whether an absent phase is oversaturated enough to join (a NaN affinity never joins).
inline bool wantsToJoin(double affinity) {
  return affinity < kJoinAffinity;
}

// Silica (16), ilmenite (17) and biotite (18) exclude each other: a candidate among them is not
// added, and not counted as left out, while another of the three is listed.  `listed(id)` tells
// whether phase id is in the assemblage.
template <class Listed>
bool excludedByListed(int id, const Listed& listed) {
  if (id < 16 || id > 18) return false;
  for (int other = 16; other <= 18; ++other)
    if (other != id && listed(other)) return true;
  return false;
}

}  // namespace cx::equilibrium
