// The node volume correction: crystallization changes the volume of each node; the column's
// length follows, the spacing is made uniform again and every node's state is remapped onto the
// new grid, each new node taking overlap-weighted shares of its old neighbours.
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"

namespace cx {

// The linear stretch of a node whose liquid density went from rhoBefore to rhoAfter in an
// equilibration: (rhoBefore / rhoAfter)^(1/3).  A node that was not solved keeps 1.
double nodeStretch(double rhoBefore, double rhoAfter);

// AdjustNodes: node i's length becomes DeltaX * Stretch(i) (1..NumNodes); LengthR8 and DeltaX
// follow, and in compaction mode the pile top moves with its node.  Each node of the new,
// uniform grid is then the overlap-weighted sum of the old nodes below it, at it and above it:
// it takes its share of each one's volume, solids, liquid and gas alike, so that the remap keeps
// the column's mass, every oxide and trace element and the entropy.  Compositions, entropies
// and densities of each part mix by mass, temperature, pressure, viscosity and fO2 by overlap,
// the bulk by the bulk mass; the masses are those of the new node's parts on its 100 g.  A
// pile-top node left without solids passes the pile top to the node below.  A fault is reported
// as "<n> error in subroutine AdjustNodes." and sets ErrorFlag.
void AdjustNodes(Column& column, const Settings& settings, const Array1<double>& Stretch,
                 int& TopNode, Diagnostics& diag, Port& port);

}  // namespace cx
