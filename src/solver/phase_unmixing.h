// Phase unmixing (UnmixingModule): feldspars, pyroxenes and the second liquid can split into two
// coexisting compositions.  Given the composition X1 a phase would have against the liquid, the
// search looks for a second composition X2 that lies below the tangent plane of the molar free
// energy of mixing at X1.  Such a point means the single composition is not the stable state:
// the solution splits, and the two compositions go to the two phases of the pair (plagioclase
// and alkali feldspar, low- and high-Ca pyroxene); for the second liquid the new composition
// replaces the first.
//
// The search minimizes the height above the tangent plane (MinGrad, built on Gmixing) with the
// variable metric method of Nash's compact numerical methods (VarMet), from one start rich in
// each endmember present.
#pragma once

#include "base/array.h"
#include "thermo/activity.h"

namespace cx {

struct SaturationContext;

// The partial quantities of the silicate liquid at a composition: what the second liquid needs
// beyond its potentials (its entropy and enthalpy by component).
class LiquidPartialSource {
 public:
  virtual ~LiquidPartialSource() = default;
  // Mu, S and H (1..15) of the liquid at the mole fractions X(1..15); false when the model fails.
  virtual bool liquidPartials(const Array1<double>& X, Array1<double>& Mu, Array1<double>& S,
                              Array1<double>& H, double T, double P) = 0;
};

// The working state of the unmixing search: scratch of every routine, sized once, and the
// counters of the last search.  One per thread of work (it lives in the saturation context).
struct UnmixingContext {
  explicit UnmixingContext(ActivityContext& activity);

  ActivityContext* act;
  LiquidPartialSource* liquid = nullptr;  // the second liquid's entropy and enthalpy

  // The tangent plane of the present search: X1(1..Nfree), the gradient of Gmixing at X1
  // (Nfree values) and Gmixing at X1.
  Array1<double> Plane;
  int functionEvaluations = 0;  // Gmixing calls of the last PhaseUnmixing
  int varMetRuns = 0;

  // --- work arrays ------------------------------------------------------------------------
  Array1<double> full, actWork;        // Gmixing: the complete fractions and the activities
  Array1<double> gradFull, gradShift;  // MinGrad
  Array1<double> X1, Y, trial, fallback, grad, actA, actB, liqMu, liqS, liqH;  // PhaseUnmixing
  Array1<double> vmC, vmG, vmT, vmX, vmY;                                      // VarMet
  Array2<double> vmH;
};

// Gmixing: G = sum over j of R T X(j) ln a(j) over the endmembers with a(j) > 0, the activities
// from GetActivity at the N fractions X.  False when the activities cannot be had (G is then
// left as it was); a run-time fault is reported as " error in subroutine Gmixing.".
bool Gmixing(UnmixingContext& ctx, int Phase, double T, double P, const Array1<double>& X,
             double& G, int N);

// MinGrad: the height of Gmixing (at X(1..Nfree), the last fraction implied) above the tangent
// plane held in Plane (X1, gradient, value; 2 Nfree + 1 entries).  ErrFlag -1 when a fraction,
// their sum or the implied last fraction leaves 0..1, or the activities fail.  With CalcGrad,
// Grad(1..Nfree) by central differences (h = 1e-6) where 2h is below X(i), 0 elsewhere.
void MinGrad(UnmixingContext& ctx, int Phase, double T, double P, int Nfree,
             const Array1<double>& X, double& F, const Array1<double>& Plane, Array1<double>& Grad,
             int& ErrFlag, bool CalcGrad);

// VarMet: minimizes from B(1..N) by the variable metric method; on return B is the best point
// and F its value.  Phase 0 selects the Rosenbrock banana function of two unknowns (a check of
// the method); phases 6 and 12 the ordering of the rhombohedral oxides, which this program does
// not have yet (ErrFlag -1, fault 5 reported); any other phase MinGrad with Params as the
// tangent plane.  Tol 0 means 1e-6.  ErrFlag -1 when the function fails at the start.
void VarMet(UnmixingContext& ctx, int Phase, double T, double P, int N, Array1<double>& B,
            double& F, const Array1<double>& Params, double Tol, int& ErrFlag);

// PhaseUnmixing: from the composition X(1..Nfree) of Phase (2, 3, 4, 5 or 38), the second
// composition X2 (Nfree + 1 fractions, the last implied), the height Gbest of Gmixing above the
// tangent plane at X2 (at most 1e-7 when the phase unmixes) and the squared distance Dist of X2
// from X.  Gend and Aend are the saturation state's standard-state energies and pure-phase
// affinities of the endmembers.  Writes the tables (PhaseX, PhaseMu, ..., Affinity) of the
// phase, or of both phases of a pair, in `sc`.  ErrFlag -1 when the search or the activities
// fail; the tables are then left as they stand.
void PhaseUnmixing(SaturationContext& sc, int Phase, double T, double P, const Array1<double>& X,
                   Array1<double>& X2, double& Gbest, int Nfree, double& Dist,
                   const Array1<double>& Gend, const Array1<double>& Aend, int& ErrFlag);

}  // namespace cx
