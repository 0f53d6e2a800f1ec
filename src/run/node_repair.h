// Repair of a node whose equilibration failed: its state is rebuilt from its neighbours, so that
// the column carries on and the next minimization has a start.
//
// Extrapolate (an end node, from the two nodes beside it on its one side: 2 near - far) and
// Interpolate (an interior node, the mean of its two neighbours) estimate the per-node fields in
// a fixed order and clamp the masses and oxides that must not turn negative:
//   SSolid, RhoSolid, MassSolid            MassSolid >= 1e-06
//   RhoWater, MassWater, SWater            MassWater >= 1e-08
//   STotal, Temp, Press, SLiq
//   MassLiq, RhoLiq, FLiq, LiqVisc, FO2    MassLiq >= 1e-06
//   LiqOx(1..15)                           each >= 1e-07
//   SolidOx(1..15)                         each >= 0.1
//   TraceLiq, TraceGasPpm, TraceSolid (1..40), PhaseMass (1..10)
//   GasComp of the active gas species      each >= 1e-07 (wt % of the gas)
// The assemblage (PhaseCount, PhaseList, Xstable) is copied from the nearer neighbour (for an
// interior node, at equal distance, the lower one), and BulkOx is rebuilt as the mass-weighted
// mean of LiqOx and SolidOx.  UpdatePhases does not run.
//
// Each returns true on success.  A run-time fault (a node without the neighbours it needs) is
// reported as "<n> error in subroutine <Name>.", sets ErrorFlag and returns false with the node
// unchanged.
#pragma once

#include "base/diagnostics.h"
#include "column/column.h"

namespace cx {

// Node 1 from nodes 2 and 3, node NumNodes from NumNodes - 1 and NumNodes - 2.  Any other node is
// an invalid call (fault 5).  Reports "Extrapolating problem node: <node>  Time: <s>".
bool Extrapolate(Column& column, int node, Diagnostics& diag);

// An interior node (2..NumNodes - 1) from node - 1 and node + 1.  Reports
// "Interpolating probelm node: <node>  Time: <s>".
bool Interpolate(Column& column, int node, Diagnostics& diag);

// Copies all the repaired fields, the assemblage and BulkOx unchanged from node + offset;
// offset is +1 or -1 (anything else is an invalid call, fault 5).
bool UseNextPrevious(Column& column, int node, int offset, Diagnostics& diag);

}  // namespace cx
