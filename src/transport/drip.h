// Drip ("D&rip off top", OptionDrip): a top node whose liquid fraction has fallen below the
// "F(liq) for drip" limit is dense, crystal-rich magma; it sinks through the magma and lands on
// the top of the crystal pile.  The magma between shifts up by one node.
#pragma once

#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "thermo/thermo_tables.h"

namespace cx {

// Drip: with TopNode at NumNodes - 1 or above nothing moves.  Otherwise node NumNodes falls:
// nodes TopNode + 1 .. NumNodes - 1 move up one node (with their assemblages); the fallen node
// fills what the pile-top node TopNode has free (its liquid there rising into node TopNode + 1)
// and the rest of it, with that liquid, makes node TopNode + 1, which becomes the pile-top node;
// PileTop rises by one node.  The pile share of node TopNode is at least its non-liquid share.
// A column without a pile (TopNode 0) receives the fallen node as node 1.  Mixing is by mass,
// so every oxide, trace element and the entropy are conserved; temperatures mix by volume.  The
// two blended nodes' bulks are rebuilt (UpdateBulk).  A fault is reported as
// "<n> error in subroutine Drip." and sets ErrorFlag.
void Drip(Column& column, int& TopNode, const ThermoTables& tables, Diagnostics& diag, Port& port);

}  // namespace cx
