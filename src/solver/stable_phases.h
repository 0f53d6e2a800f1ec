// The stable-assemblage minimizer (MimimizeG): the assemblage of least Gibbs free energy of a
// system of given moles of liquid components.
//
// CalcStablePhases repeats a Newton step on the free energy, taken as an equality-constrained
// quadratic program (mass balance, and liquid components held at their floor), and damps it by a
// step length.  Around that inner iteration it reviews the assemblage, dropping a phase whose
// affinity strays from zero or whose moles vanish and adding the most oversaturated phase; around
// that, at fixed enthalpy, entropy or volume, a secant search moves the temperature (or the
// pressure) until the system's enthalpy, entropy or volume meets its target.
//
// The state vector X has Ncomp entries: X(1..15) the moles of the liquid components, then the
// moles of the endmembers of each phase of Phaselist, in list order, PhaseEndCount entries per
// phase whether or not each endmember is present.  At most 60 entries.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/array.h"
#include "base/port.h"
#include "base/scalar_minimizer.h"
#include "solver/equilibrium_model.h"
#include "thermo/data/liquid_component_table.h"

namespace cx {

inline constexpr int kMaxStateVector = 60;   // entries of Xstable
inline constexpr int kMaxListedPhases = 15;  // entries of Phaselist
inline constexpr int kLiquidComponents = thermo_data::kNumLiquidComponents;
inline constexpr double kLiquidFloor = 1e-8;  // Floor: least moles of a liquid component
// Chromium lives almost wholly in spinel: once spinel crystallizes, the liquid's MgCr2O4 in
// equilibrium with it may lie below 1e-8 mol (an alkali basalt at 975 C wants about 6e-9), and
// a floor there kept the liquid's chromium potential 5 kJ above the spinel's.  Its own floor
// lies well below what a spinel-saturated liquid holds.
inline constexpr double kTraceLiquidFloor = 1e-10;
// The least moles of liquid component i.
inline constexpr double liquidFloor(int i) {
  return i == thermo_data::lc::kMgCr2O4 ? kTraceLiquidFloor : kLiquidFloor;
}
inline constexpr double kSolidFloor = 1e-9;  // FloorSolid: least moles of an endmember
inline constexpr int kMaxSecantPasses = 14;
inline constexpr int kMaxDropPasses = 20;
// The inner iteration has converged when its step is below this fraction of the vector's length
// and every listed phase is within 1 J of saturation.
inline constexpr double kInnerTolerance = 1e-6;
// The last steps on a settled assemblage go on until the step is below this fraction of the
// vector's length, or for at most kMaxPolishSteps steps.
inline constexpr double kPolishTolerance = 1e-7;
inline constexpr int kMaxPolishSteps = 60;
// The most inner steps one call takes before it gives up.
inline constexpr int kMaxInnerSteps = 3000;
// A search mode polishes its state before a secant step once the residual is within this many
// times the search's tolerance.
inline constexpr double kPolishBand = 100.0;
// A state handed in that the review would keep is returned as it stands when one Newton step
// from it moves it by less than this fraction of the vector's length (see CalcStablePhases).
inline constexpr double kSettledTolerance = 1e-5;
// Times per call a phase dropped in that call may be let back once the rest has converged.
inline constexpr int kMaxReadmissions = 8;
// A bound held in the Newton step is released when its reduced gradient is below minus this
// (J per mole): the system would take that entry up.
inline constexpr double kReleaseGradient = 0.1;
// An endmember holding less than this (mol per 100 g) is at its bound of zero: a step that
// would carry it below is not shortened for it, the endmember is held at zero instead (bounded
// by a remnant of 1e-16 mol, steps of 1e-10 left a state unable to move).
inline constexpr double kNegligibleMoles = 1e-13;
// A listed phase of fewer moles than this, undersaturated when the inner iteration ran out of
// steps, is dropped by the review.
inline constexpr double kFadingMoles = 1e-3;
// The line search halves a Newton step at most this many times.  Deeper searches ended in steps
// of 1/4096 where G could not be lowered measurably and stalled the iteration: with 12 halvings
// 9.9 % of the solve grid failed and a column iteration took 0.26 s, with 4 4.1 % and 30 ms
// (2: 4.5 %, 6: 6.2 %).
inline constexpr int kMaxBacktracks = 4;
// A trial step whose free energy (measured from the liquid's tangent plane, J) lies within this
// fraction of its size above the start's counts as no worse: the rounding of the sums.
inline constexpr double kLineSearchNoise = 1e-9;

// The minimizer's state that lives between calls: the solution and its assemblage (a column
// keeps Xstable, Phaselist and PhaseCount per node and hands them in), the system's moles, the
// mode with its targets, and the system sums the last call left.
struct MinimizerState {
  MinimizerState();

  Array1<double> Xstable;  // 1..60, moles
  Array1<int> Phaselist;   // 0..15, phase ids from index 1
  int PhaseCount = 0;
  Array1<double> BulkMoles;  // 1..15, moles of liquid components in the system

  // Exactly one of the modes is set by the caller.
  bool ConstantT = true, ConstantH = false, ConstantS = false, ConstantV = false;
  // System volume (J/bar), enthalpy (J) and entropy (J/K); in the matching mode the target.
  double Vsystem = 0.0, Hsystem = 0.0, Ssystem = 0.0;
  double CpSystem = 0.0, CpLiquid = 0.0;      // J/K
  Array1<double> SolidMoles;                  // 1..15, liquid components held in solids, at exit
  double dTdH = 0.0, dTdS = 0.0, dPdV = 0.0;  // last secant slopes

  // Set by Make_Gv.
  double Gsystem = 0.0, MassSystem = 0.0;
  double GLiqTotal = 0.0, VLiqTotal = 0.0, HLiqTotal = 0.0, SLiqTotal = 0.0;
  Array2<double> PhaseMoles;          // 1..38 by 1..15, filled in the drop test
  Array1<double> PhaseG, PhaseCpSum;  // 1..38

  // Length of the state vector at the last exit.
  int Ncomp = kLiquidComponents;
  // Whether the last call ended on an assemblage without error, and at which T (K), P (bar) and
  // bulk: a call with the same three returns that state (see CalcStablePhases).
  bool settled = false;
  double settledT = 0.0, settledP = 0.0;
  Array1<double> settledBulk;  // 1..15
};

// What one call did, for the tests and the front ends.
struct MinimizerCounters {
  int innerSteps = 0;      // inner iterations (steps E)
  int quadraticSteps = 0;  // of which took a quadratic step
  int reviews = 0;         // assemblage reviews (Count = 1)
  int outerPasses = 0;     // passes of the secant search (OuterCount)
  int adds = 0, drops = 0;
  double lastHsqpFlag = 0.0;
  int hsqpDependentRows = 0;    // quadratic steps whose constraints HSQP found dependent (-2)
  int duplicatesRefused = 0;    // candidates refused as a listed phase's composition again
  int floorsDropped = 0;        // floors let go as repeating mass balance (dropDependentFloors)
  int massBalanceResolves = 0;  // quadratic steps solved again on mass balance alone
  int readmissions = 0;         // phases dropped and let back in this call
  int polishSteps = 0;          // steps on the settled assemblage beyond the inner test
  int warmAccepted = 0;         // 1 when the state handed in was returned as it stands
  int boundedSteps = 0;         // steps shortened so that no endmember goes below zero
  int floorResolves = 0;        // quadratic steps solved again with a reached floor held
  int boundsReleased = 0;       // held floors and zero endmembers released by their gradient
  int lineSearchFailures = 0;   // steps on which no tried length lowered G enough
};

// The working context of one thread: the model it evaluates and the call's work arrays, sized
// once.  Nothing here carries meaning from one call to the next.
struct MinimizerContext {
  MinimizerContext(EquilibriumModel& model, Port& port);

  EquilibriumModel* model;
  Port* port;
  double machEps;
  int node = 0;             // shown in the progress report
  Array1<double> liquidMW;  // 1..15, g/mol of each liquid component

  // The liquid components' standard states at a temperature of their own (the liquid's heat
  // capacity at exit), kept apart so that the model's standard states stay at the solve's T.
  std::unique_ptr<StandardState> liquidStates;

  // Locals of CalcStablePhases that outlive a step.
  Array1<double> Nhat, Xold, Gv, Dvec, mult;
  Array1<bool> NegOK;
  Array2<double> Hess, Cmat, Ctrans;
  Array1<int> ConstraintList;  // 1..15
  int ConstraintCount = 0;
  int Mc = kLiquidComponents;
  double Vtot = 0.0, Stot = 0.0, Htot = 0.0, Cptot = 0.0;  // outputs of the last Make_Gv
  // Work of the kernels, of the phase blocks and of the liquid block.
  Array1<double> up, h, g, rnorm, blockX, muLower, muEntry, muAtX, trial;
  Array1<int> ip;
  Array2<double> block;
  Array1<int> order;  // 1..38, phases by affinity
  // The floors' rows of stoichiometry (dropDependentFloors), and the quadratic program's
  // Hessian and gradient kept for a second solve on mass balance alone.
  Array2<double> floorBasis;
  Array1<double> floorRow;
  Array2<double> HessCopy;
  Array1<double> GvCopy;
  Array1<double> kktGradient;  // the quadratic model's gradient at its solution
  Array1<double> tangent;      // the liquid's tangent plane at the start of a step, per entry
  BrentRecord brent;
  MinimizerCounters counters;
  std::vector<std::string> messages;  // what the minimizer itself reported in the last call
};

// --- the parts of the minimizer ----------------------------------------------------------

// Seeds 1e-5 of each listed phase (at its saturation composition) into Nhat behind entry 15 and
// takes it from the liquid, whose components stay at the floor where the system has them.
// Sets Ncomp and NegOK (whether an endmember may go negative).  Phase 38 adds no entries.
void SetNhat(MinimizerContext& ctx, const MinimizerState& st, int& Ncomp, Array1<double>& Nhat,
             Array1<bool>& NegOK);

// Gv: the chemical potential of each entry of X (0 for an absent endmember), and the system sums
// Gsystem, MassSystem, Vtot, Stot, Htot, Cptot.  With Recompute the liquid potentials and the
// saturation state of the listed phases are evaluated at X first.
void Make_Gv(MinimizerContext& ctx, MinimizerState& st, double T, double P, Array1<double>& Gv,
             const Array1<double>& X, int Ncomp, bool Recompute, int& ErrFlag);

// The Hessian of the free energy: the liquid block by central differences of the liquid
// potentials, and the mixing block of each listed solution at its saturation composition.
// X is perturbed and restored; the liquid potentials are left at X.
void CalcHessian(MinimizerContext& ctx, const MinimizerState& st, Array2<double>& Hess,
                 Array1<double>& X, int Ncomp, double T, double P);
// The liquid block by the literal order of evaluations (one perturbation per pair of
// components); CalcHessian gives the same numbers with one perturbation per component.  Kept to
// prove that.
void calcLiquidHessianByPairs(MinimizerContext& ctx, Array2<double>& Hess, Array1<double>& X,
                              double T, double P);

// The constraint matrix: mass balance (15 rows) and the liquid components held at the floor,
// and its transpose.  False (reported) when the walk over the phases does not end at Ncomp.
bool MakeMatrixC(MinimizerContext& ctx, const MinimizerState& st, int Mc, int Ncomp,
                 Array2<double>& Cmat, Array2<double>& Ctrans, int ConstraintCount,
                 const Array1<int>& ConstraintList);

// Keeps of the liquid components held at their floor only those whose constraint is independent
// of mass balance and of the floors kept before it, and closes up the list; returns how many it
// let go.  Mass balance of component i reads X(i) + S(i, .) n = bulk(i), the floor X(i) = Floor;
// together they fix S(i, .) n, the component's row of stoichiometry over the endmembers present
// (PhaseX not 0).  A floor whose row is zero or a combination of the rows kept repeats mass
// balance (inconsistently, unless by chance), so the quadratic program would be singular.  The
// rows are tested in list order by Gram-Schmidt with a relative tolerance of sqrt(MachEps).
int dropDependentFloors(MinimizerContext& ctx, const MinimizerState& st, int Ncomp,
                        int& ConstraintCount, Array1<int>& ConstraintList);

// Two phases of one composition are one phase twice (a Spinel and an Mt-Usp both nearly pure
// magnetite): their columns in the step are nearly equal, the amounts between them undetermined,
// and each only holds the other at saturation.  A candidate whose saturation composition (its
// moles of the liquid components per mole) lies within kDuplicateComposition, relative, of the
// line of the composition a listed solid holds does not join.  Returns that phase's list
// position, or 0.  Compositions that merely lie in the span of several listed phases are not
// refused: a phase such as quartz joining olivine and orthopyroxene is how one of them leaves.
inline constexpr double kDuplicateComposition = 0.02;
int duplicatedListedPhase(const MinimizerContext& ctx, const MinimizerState& st, int id);

// Htot - Hsystem at fixed H, Stot - Ssystem at fixed S, Vtot - Vsystem at fixed V, else 0.
double EnergyResidual(const MinimizerState& st, double Htot, double Stot, double Vtot);

// --- the minimizer -----------------------------------------------------------------------

// T (K) and P (bar) in out: the secant modes move one of them.  ErrFlag is handed to the
// saturation state.  Results stand in `st`; failures set ErrorFlag of the model's diagnostics
// and are reported there.  HaltFlag ends the call at the top of the next inner iteration.
//
// Beyond the literal algorithm: floors of liquid components that repeat mass balance are let go
// before the quadratic step (dropDependentFloors); a phase dropped during the call comes back
// once the rest has converged if it is still oversaturated by more than 10 J (at most
// kMaxReadmissions times per phase); a settled assemblage is polished (kMaxPolishSteps); and a
// state handed in that already is the equilibrium of the call (the review keeps it, a search
// mode's target is met, and it was left by a call at the same T, P and bulk or one Newton step
// moves it by less than kSettledTolerance) is returned as it stands.
void CalcStablePhases(MinimizerContext& ctx, MinimizerState& st, double& T, double& P,
                      int& ErrFlag);

// --- the check of a result --------------------------------------------------------------

// Why the state in `st` is not an equilibrium at T, P, or empty when it is one: its amounts
// (no negative liquid component, no listed phase of negative or zero amount), mass balance with
// BulkMoles, every listed phase within kResultAffinityLimit of saturation and no absent phase
// that may precipitate oversaturated, by the saturation state of the returned liquid evaluated
// afresh.  Leaves the model's liquid and saturation state at the result.
std::string equilibriumFault(MinimizerContext& ctx, const MinimizerState& st, double T, double P);

// --- the result for front ends -----------------------------------------------------------

struct MinimizerResult {
  bool converged = false;
  bool halted = false;
  std::string message;  // the first report of the call, or the reason it is not converged
  MinimizerCounters counters;
  double T = 0.0, P = 0.0;
};

// Clears ErrorFlag, runs CalcStablePhases and judges the outcome: not converged when the call
// reported an error or was halted, when the target of a search mode was missed by more than its
// tolerance, or when the result fails equilibriumFault (amounts, mass balance, every listed
// phase within 1 J of saturation and none left out oversaturated by more than 10 J, against
// the returned liquid).
MinimizerResult solveStableAssemblage(MinimizerContext& ctx, MinimizerState& st, double T,
                                      double P);

}  // namespace cx
