// The trace elements of a node: its bulk content (TraceBulk, ppm) shared out over liquid, solids
// and gas by batch mass balance, once the node's phases are known.
//
// The bulk content is the invariant.  With F the liquid's mass fraction and D the bulk
// distribution coefficient of the crystals and gas (each phase's partition coefficient weighted
// by its share of the non-liquid mass), the liquid holds C_bulk / ((1 - F) D + F), the gas
// D(gas) times that, and the solids what mass balance leaves.
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"

namespace cx {

// UpdateTrace: node i, with the node's liquid oxides (1..15, wt %) for the variable
// coefficients.  Sets TraceLiq, TraceGasPpm and TraceSolid from TraceBulk, DCoef, PhaseOrder and
// the node's cumulative PhaseMass.  A node of (almost) pure liquid keeps everything in the liquid.
// On failure reports "<n> error in subroutine UpdateTrace.", sets ErrorFlag and returns false.
bool UpdateTrace(Column& column, int i, const Array1<double>& liquidOxides, Diagnostics& diag,
                 Port& port);

// UpdateTrace for nodes 1..NumNodes in turn, each with its own LiqOx.  Every node is treated even
// when one fails (each failure is reported); false when any failed.
bool UpdateTraceAllNodes(Column& column, Diagnostics& diag, Port& port);

}  // namespace cx
