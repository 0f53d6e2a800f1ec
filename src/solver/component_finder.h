// The mineral component finder: the composition of a solid solution in equilibrium with the
// liquid.
//
// For a phase whose endmembers j have the pure-phase affinities Aend(j) (standard-state free
// energy minus the liquid's potentials of the same make-up), the equilibrium composition is the
// one at which R T ln a(j) + Aend(j) takes one common value for every j: the affinity of the
// phase (negative when it is oversaturated).  FindComponents solves this as a bounded nonlinear
// least-squares problem in the independent fractions and the affinity, with Marquardt's method
// (MarquardtModule), and when that fails restarts along the softest direction of the Hessian
// of the mixing energy (HessianModule, RQMinimization) after a Brent search along that line.
//
// These run for every candidate phase at every minimizer iteration: every work array lives in
// the ComponentFinderContext, and a call allocates nothing.
#pragma once

#include "base/array.h"
#include "base/port.h"
#include "base/scalar_minimizer.h"
#include "thermo/activity.h"

namespace cx {

// Independent fractions and the affinity: at most the largest endmember count.
inline constexpr int kMaxComponentUnknowns = thermo_data::kMaxPhaseEndmembers + 1;
// The affinity of a phase for which none could be found.
inline constexpr double kNoAffinity = 1e6;

// Mask values of the bounds matrix of Marquardt.
inline constexpr int kMaskFree = 1;
inline constexpr int kMaskFixed = 0;
inline constexpr int kMaskAtUpper = -1;
inline constexpr int kMaskAtLower = -2;

struct ComponentFinderContext {
  ComponentFinderContext(ActivityContext& activity, Port& port);

  ActivityContext* act;
  Port* port;

  // The unknowns and their bounds (columns: lower, upper, mask) of the present search.
  Array1<double> B;
  Array2<double> Bnd;
  // Counters of the last FindComponents call, for the progress of a search and the tests.
  int functionEvaluations = 0;  // residual evaluations of Marquardt
  int gradientEvaluations = 0;  // Jacobians of Marquardt
  int marquardtRuns = 0;
  bool secondAttempt = false;  // whether the line search was needed

  // --- work arrays (sized once) ---------------------------------------------------------
  Array1<double> act0, actTrial;     // activities at the accepted and at the trial point
  Array1<double> actHi, actLo;       // activities either side of a point
  Array1<double> resid, residTrial;  // residuals
  Array2<double> jac;                // Jacobian, residual by unknown
  Array1<double> grad, step, startB, trialB, y, xFull, dir, startFractions, rqWork, rqVector;
  Array1<double> packedC, packedA;  // J'J and the damped matrix, packed
  Array1<int> mask, startMask, freeList;
  Array2<double> hess, hessFree, identity;
  Array1<bool> present;  // endmembers whose residual counts at zero activity
  BrentRecord brent;
};

// Aend(j) = G0End of endmember j's row minus its make-up in the liquid's potentials MuLiq(1..15),
// for the first `count` endmembers of the phase: the affinity of each endmember as a pure phase.
void EndmemberAffinities(const PhaseTable& phases, const StandardState& ss, int Phase, int count,
                         const Array1<double>& MuLiq, Array1<double>& Aend);

// The composition of phase `Phase` in equilibrium with the liquid whose potentials make up Aend,
// at T (K) and P (bar), starting from the fractions X(1..) (in out: the eight-component
// pyroxene model folds its last three into site variables).  Nfree receives the number of
// independent fractions and Result(1..Nfree) their values (the last endmember takes the rest);
// affinity receives the phase's affinity (J), or kNoAffinity when no composition was found.
// ErrFlag is set to -1 when the last activity evaluation failed.  Lets the interface run once;
// HaltFlag ends the call.  A run-time fault is reported as
// "<n> error in subroutine FindComponents.".
void FindComponents(ComponentFinderContext& ctx, int Phase, double T, double P, int& Nfree,
                    const Array1<double>& Aend, Array1<double>& X, Array1<double>& Result,
                    double& affinity, int& ErrFlag);

// Bounded Marquardt least squares on the residuals R(j) = R T ln a(j) - B(N) + Aend(j), taken
// as 0 where a(j) is at most 1e-16, except for an endmember the phase may hold (plain mole
// fractions not fixed at 0, and the last), whose residual then uses a = 1e-16 so that running
// it out of the phase cannot pass for a solution.
// B(1..N): N-1 fractions (or site variables) and the affinity; Bnd(i, 1..3): lower bound,
// upper bound, mask (1 free, 0 fixed, -2 held at the lower, -1 at the upper bound), updated as
// unknowns reach or leave their bounds.  M residuals (M = N).  freeCount receives the number of
// unknowns not fixed, sumSquares the final sum of squared residuals.
void Marquardt(ComponentFinderContext& ctx, Array1<double>& B, Array2<double>& Bnd, int N, int M,
               int& freeCount, double& sumSquares, int Phase, const Array1<double>& Aend, double T,
               double P);

// H(i, j) = d(R T ln a(i))/dn(j) by central differences of step h (1e-7 unless given) in the
// moles of endmember j (all fractions renormalized; one-sided where X(j) is within 2h of 0),
// over the endmembers 1..n whose fraction X is not zero; the other elements are 0.  X(1..n)
// holds every fraction, the last included, and is restored.
void Hessian(ComponentFinderContext& ctx, int Phase, double T, double P, Array1<double>& X, int n,
             Array2<double>& H, double h = 1e-7);

}  // namespace cx
