// The ternary feldspar of Elkins & Grove (1990): anorthite, albite and orthoclase on one
// asymmetric subregular solution, used for plagioclase and alkali feldspar alike.
//
// The standard states are read from G0End at rows 21 (albite), 22 (anorthite) and 23
// (orthoclase), which must hold the present temperature; they cancel from the activities.
#pragma once

#include "base/array.h"

namespace cx {

inline constexpr int kAlbiteRow = 21;
inline constexpr int kAnorthiteRow = 22;
inline constexpr int kOrthoclaseRow = 23;

// Molar Gibbs energy of the solution without its ideal mixing term (J/mol), its partial
// derivatives with respect to Xab and Xor (Xan = 1 - Xab - Xor following), and the
// potentials of the three endmembers, again without the ideal term.
struct FeldsparEnergyResult {
  double G = 0.0, Gab = 0.0, Gor = 0.0;
  double muAn = 0.0, muAb = 0.0, muOr = 0.0;
};

// T in K, P in bar.  The anorthite fraction is always 1 - Xab - Xor.
FeldsparEnergyResult FeldsparEnergy(const Array1<double>& G0End, double T, double P, double Xab,
                                    double Xor);

// The activities of anorthite, albite and orthoclase.  A fraction above 0.99999 returns the
// fractions themselves (a practically pure feldspar), as does each fraction too small for its
// activity coefficient to matter (1e-6 for an and ab, 1e-7 for or).  Allocates nothing.
void ActFeldspar(const Array1<double>& G0End, double T, double P, double Xan, double Xab,
                 double Xor, double& aAn, double& aAb, double& aOr);

}  // namespace cx
