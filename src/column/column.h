// The state of the magma column: every per-node and per-run quantity, in one object.
//
// The column is cut into NumNodes equal slices, node 1 at the bottom.  Each node holds a bulk
// composition (15 oxides, 40 trace elements), a temperature, a pressure and an equilibrium
// assemblage.  Processes take the column by reference and work in place.  Per-node arrays are
// shaped only by DimensionArrays and DimensionFarfield (and the driver's clearing of the
// velocities).  Units: cm, s, K, bar, wt %, ppm, J; node masses in grams on a basis of 100 g.
#pragma once

#include <array>
#include <string>

#include "base/array.h"
#include "column/names.h"
#include "column/settings.h"

namespace cx {

inline constexpr double kSecondsPerDay = 86400.0;
inline constexpr double kSecondsPerYear = 86400.0 * 365.0;

class Column {
 public:
  Column();

  // Allocates all per-node arrays for the current NumNodes, erasing their contents, and calls
  // DimensionFarfield.
  void DimensionArrays(const Settings& settings);
  // Gives Temp and InitT their bounds and the far-field profile, keeping the temperatures of
  // the existing nodes.  Sets InitialNeeded.
  void DimensionFarfield(const Settings& settings);
  // DiffusionOrder from MassDiffCoef: the last oxide with a diagonal coefficient.  With none
  // but SiO2's, none diffuses at all (SiO2's own coefficient is cleared).
  void UpdateDiffusionOrder();

  // The number of gas species the gas phase carries: three (H2O, CO2, H2S) with the simple gas
  // model, six otherwise.
  int gasSpeciesCount() const { return ActivityFlags(kGasPhase) ? 3 : 6; }

  // --- Run scalars -------------------------------------------------------------------------
  int NumNodes = 4;
  double Length = 4.0;     // cm, as entered and stored
  double LengthR8 = 4.0;   // working copy, = DeltaX * NumNodes after inflation
  double DeltaX = 1.0;     // cm
  double DeltaT = 0.0;     // s
  double TotalTime = 0.0;  // s
  int Iteration = 0;
  int BottomNode = 1;
  int TopNode = 1;
  double PileTop = 0.0;  // cm above the base
  int TopNode0 = 0;
  double PileTop0 = 0.0;
  double InitTop = 0.0;
  double LastAddition = 0.0;    // cm
  double FluxRate = 0.0;        // cm/s
  double Vwater = 0.0;          // cm/s
  double TopPressure = 1000.0;  // bar
  double TopCoolRate = 0.0;     // K/s
  double BottomCoolRate = 0.0;  // K/s
  double GrainRadius = 0.0, SolidVisc = 0.0, LiqViscConst = 0.0, PermK0 = 0.0;
  double FLiqMin2 = 0.0;
  Array1<double> InfiltrantOx{1, kOxides};
  Array1<double> InfiltrantTrace{1, kTraces};
  double InfiltrantT = 0.0;  // °C
  double InfiltrantS = 0.0;
  double InfiltrantRho = 0.0;
  Array1<double> InflationOx{1, kOxides};
  Array1<double> InflationTrace{1, kTraces};
  Array1<double> InflationScalars{1, 5};
  Array1<int> PhaseOrder{1, kPhaseOrderSize};
  int EqCount = 0;  // iterations since the last equilibration (for "equilibrate every n")
  bool InitialNeeded = true;
  int NodesAtInitial = 0;
  bool FindInitialOnly = false;
  bool SnapShotRequested = false;
  double SetupClosingValue = 0.0;  // the last number of the setup file, kept and written back

  // --- Static setup tables (sized for 300 nodes whatever NumNodes is) -----------------------
  Array2<double> InitBulkOx{1, kMaxNodes, 1, kOxides};
  Array2<double> InitBulkTrace{1, kMaxNodes, 1, kTraces};
  Array1<bool> PhaseExcluded{1, kPhases};
  Array1<bool> ActivityFlags{1, kPhases};
  Array2<double> DCoef{1, kPhases, 1, kTraces};
  Array2<double> MassDiffCoef{1, kOxides, 1, kOxides};
  Array1<double> SoretCoef{1, kOxides};
  Array1<bool> BigDFlags{0, 14};
  Array1<double> BigDTi{1, 3};
  int DiffusionOrder = 1;

  // --- Per-node state, i = 1..NumNodes ------------------------------------------------------
  Array1<double> Temp, InitT;  // K, extended into the far field
  Array1<double> Press;
  Array1<double> FLiq;  // 0..NumNodes
  Array2<double> BulkOx, LiqOx, SolidOx;
  Array1<double> STotal, SLiq, SSolid, SWater, RhoWater, MassWater;
  Array1<double> CpBulk, RhoLiq, RhoSolid, MassLiq, MassSolid, LiqVisc, FO2;
  Array1<double> Vliquid, Vsolid, GridPoint;
  // The pile's matrix velocity over its fluidization velocity, from the last compaction step.
  Array1<double> VRatio;
  Array1<int> PhaseCount;
  Array2<int> PhaseList;     // (i, 0..15)
  Array2<double> Xstable;    // (i, 0..60)
  Array2<double> PhaseMass;  // (i, 1..10), cumulative over PhaseOrder
  Array2<double> PhaseX;     // (i, 1..13), percent
  Array2<double> GasComp;    // (i, 1..6), wt %
  Array2<double> TraceLiq, TraceSolid, TraceBulk, TraceGasPpm;

  // --- Initial-profile copies: the red reference curve of the plots -----------------------
  Array1<double> InitFLiq, InitMgBulk, InitMgLiq, InitMgSolid, InitRhoLiq, InitRhoSolid;
  Array1<double> InitSLiq, InitSSolid, InitSTotal, InitLiqVisc, InitMassWater, InitFO2;
  Array2<double> InitLiqOx, InitSolidOx, InitPhaseMass, InitTraceLiq, InitTraceSolid, InitTraceGas;

  bool operator==(const Column&) const = default;
};

// PGradient: the pressure of each node from the weight of the column above it.  Node i takes the
// weight of node i + 1, not its own; an empty density is replaced by 27.0 (2.7 g/cm3).
void PGradient(Column& column);

// When the gas velocity is worked out: it depends on the time step when the vapor velocity
// parameter counts nodes per iteration.
enum class VaporVelocityAt { SetupRead, RunStart, Iteration };

// Vwater, the gas velocity in cm/s, from the vapor velocity parameter p (MiscForm tbInput(12)).
// p >= 0: p times the liquid's velocity (FluxRate when infiltrating, else the compaction
// velocity).  p < 0: |p| nodes per iteration, |p| DeltaX / DeltaT; a setup read with no time
// step yet gives 0, and the start of a run gives 0 on purpose (its first iteration sets the
// value); during the iterations a zero time step is a division fault.
double vaporVelocity(const Column& column, const Settings& settings, VaporVelocityAt at);

// The label of the gas velocity: V(water) per day, "scientific" at or below `threshold`.
std::string vwaterLabel(double vwater, double threshold);

// A composition off 100 wt % by more than 0.001 is scaled to 100 (an empty one is left alone):
// what the setup file's reader does to the bulk and the infiltrant, and what the forms do on
// OK, so that the column holds what a saved setup gives back.  True when it was scaled.
bool scaleOxidesTo100(Array1<double>& ox);
bool scaleOxidesTo100(Array2<double>& ox, int row);

// The tool tip of the vapor velocity parameter (MiscForm tbInput(12)): how V(water) follows from
// it in the present run mode.
std::string vwaterTip(const Settings& settings);
// lblVwater after the parameter was edited: with a negative parameter the gas moves a number of
// nodes per iteration ("V(water) = 10 nodes per iteration"), else its velocity (vwaterLabel).
std::string vwaterParameterLabel(const Column& column, const Settings& settings);

// The molar Mg/(Mg + Fe2+) of row `node` of an oxide table (wt %, MgO and FeO columns), as a
// fraction; 0 when either oxide is absent.
double mgNumber(const Array2<double>& oxides, int node);

// Refreshes the initial-profile copies (the red reference curves of the plots) from the present
// state.
void refreshInitialProfiles(Column& column);

}  // namespace cx
