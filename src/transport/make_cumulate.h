// Crystal settling ("Crystal settling", optionBottomAccum): the crystals of the magma above the
// pile fall at once onto the pile top and pack there with the cumulate's liquid fraction, their
// pores filled with magma liquid; the magma left above is one well-mixed liquid.
#pragma once

#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "thermo/thermo_tables.h"

namespace cx {

// MakeCumulate: the magma is the free part of node TopNode and the nodes above it up to Src (the
// top node).  PhiPile is the cumulate's liquid fraction (MiscForm "Initial liquid fraction").
//
// The pile top first follows the solids of node TopNode (packed at PhiPile; a full node passes
// the pile top to the node above).  The solids of the magma nodes, mixed by mass, then settle as
// a layer of thickness (solid volume) / (1 - PhiPile) from the pile top up; a layer that would
// overrun the column fills it with a correspondingly smaller porosity.  The magma's liquid
// (node TopNode's free share and the liquid of every node above) is mixed by mass; it fills the
// new layer's pores and every node above the new pile top, which then hold no solids.  Each
// node keeps its gas and its temperature.  Masses of every oxide, trace element and of the
// entropy are conserved.  Each changed node's bulk is rebuilt (UpdateBulk); PileTop and TopNode
// move to the new top.  A node the pile reaches for the first time takes the assemblage of the
// node below it as the minimizer's start (node 1, under an empty pile, that of Src).
// A fault is reported as "<n> error in subroutine MakeCumulate." when "Show All Errors" is on.
void MakeCumulate(Column& column, int Src, double PhiPile, int& TopNode, const ThermoTables& tables,
                  Diagnostics& diag);

}  // namespace cx
