// The node volume correction: crystallization changes the volume of each node; the column's
// length follows, the spacing is made uniform again and every node's state is remapped onto the
// new grid, each new node taking overlap-weighted shares of its old neighbours.
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"
#include "thermo/thermo_tables.h"

namespace cx {

// The linear stretch of a node whose liquid density went from rhoBefore to rhoAfter in an
// equilibration: (rhoBefore / rhoAfter)^(1/3).  A node that was not solved keeps 1.
double nodeStretch(double rhoBefore, double rhoAfter);

// AdjustNodes: node i's length becomes DeltaX * Stretch(i) (1..NumNodes); LengthR8 and DeltaX
// follow, and in compaction mode the pile top moves with its node.  The remap weighs each new
// node's overlap with its old neighbours: temperature, pressure, fractions, viscosity and fO2 by
// overlap, the compositions, entropies and masses of each phase by the mass of that phase.  Each
// remapped node's bulk is rebuilt (UpdateBulk).  A node left without solids drops TopNode by one
// when it held the pile top.  A fault is reported as "<n> error in subroutine AdjustNodes." and
// sets ErrorFlag.
void AdjustNodes(Column& column, const Settings& settings, const Array1<double>& Stretch,
                 int& TopNode, const ThermoTables& tables, Diagnostics& diag, Port& port);

}  // namespace cx
