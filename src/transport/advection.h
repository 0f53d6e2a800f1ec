// Advection: liquid, crystals and gas move along the column with the velocities that compaction
// or infiltration has set.
//
// Each carried quantity of a phase (its oxides, trace elements, density, entropy, temperature)
// moves by a first-order upwind step, dx/dt = -v dx/dz, plus terms in the gradients of the
// phase's volume fraction and density, which carry the change of a concentration where the
// phase's share of the node changes along the flow.  A velocity that would cross more than one
// node in a time step is followed in sub-steps.  Infiltration brings a liquid in at node 1; the
// crystal pile's matrix moves in rigid nodes (which only receive what falls in from above) and
// deforming nodes, and its top is carried along; gas rises in a stage of its own and escapes at
// node 1.  After each sub-step every node is rebuilt to 100 g (UpdateBulk) and its trace elements
// redistributed (UpdateTrace).
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"
#include "thermo/thermo_tables.h"

namespace cx {

// The smallest liquid fraction the liquid sweep and the matrix allow (FMin).
inline constexpr double kAdvectMinLiquidFraction = 0.01;

// Advect over nodes 1..NumNodes.  VLiq and VSolid (cm/s, positive upward) are the velocities of
// the step; VLiq leaves holding the liquid's velocity after the gas correction.  VGasBase is the
// gas velocity (Vwater); with the vapor velocity parameter at -10 the gas crosses one node per
// iteration whatever VGasBase.  MineralMass (node, 1..13) are the solids' compositions (PhaseX),
// which move with the matrix.  PileBottom is carried for the caller; TopNode (and the column's
// PileTop) follow the top of the pile.  Reads optionInfiltrate, optionCompact, optionUseFirstLiq
// ("Use equilibrium liquid of bottom node": no inflow), chkSkipCompaction, chkSkipGas,
// chkSkipTrace, chkTTop, chkTBottom, misc(12) and compact(1).  Every node's temperature ends as
// the volume-weighted mean of its phases' temperatures.
// A fault is reported as "<n> error in subroutine Advect." and sets ErrorFlag.
void Advect(Column& column, const Settings& settings, Array1<double>& VLiq, Array1<double>& VSolid,
            double VGasBase, Array2<double>& MineralMass, int PileBottom, int& TopNode,
            const ThermoTables& tables, Diagnostics& diag, Port& port);

// The number of sub-steps that keeps a velocity of at most vmax (cm/s) within one node of
// length dx per sub-step of a step dt: 1 when |vmax dt| <= dx, else |vmax dt| / dx + 1 rounded
// (halves to even).
int advectionSubSteps(double vmax, double dt, double dx);

}  // namespace cx
