// The two fixed two-component solid solutions of Sack & Ghiorso (1989): forsterite-fayalite
// olivine, a symmetric regular solution on two equal octahedral sites, and enstatite-ferrosilite
// orthopyroxene, a two-site model whose Fe-Mg order between M1 and M2 is found by Newton's
// method at each call.
//
// Both write their activities only on success; with `failed` true the outputs keep what they
// held and the caller falls back to another model.  They are called in the innermost loops of
// the component finder and allocate nothing.
#pragma once

#include "base/diagnostics.h"

namespace cx {

// Exponents of the activity coefficients outside these limits are refused; a zero exponent (a
// pure endmember) is a refusal as well.
inline constexpr double kActExponentLow = 1e-26 / 3.0;
inline constexpr double kActExponentHigh = 1e29 / 3.0;

// T in K, P in bar, Xfo the mole fraction of forsterite.  A run-time fault sets `failed` and is
// reported as "<n> error in subroutine ActOlivine." (when diag.TrapErrors is on).
void ActOlivine(double T, double P, double Xfo, double& aFo, double& aFa, bool& failed,
                Diagnostics& diag);

// T in K, P in bar, Xen the mole fraction of enstatite; machEps the machine precision, which
// keeps the Newton steps for the order parameter inside the range where every site fraction is
// positive.  Within 0.00005 of either end the ideal line is returned.
void ActOpx(double T, double P, double Xen, double& aEn, double& aFs, bool& failed, double machEps,
            Diagnostics& diag);

}  // namespace cx
