// Magma mixing ("Mix magma"): convection stirs the free magma above the crystal pile into one
// uniform magma, adiabatically.
#pragma once

#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "thermo/thermo_tables.h"

namespace cx {

// MixMagma: every node above TopNode, whole (its crystals and gas as well as its liquid), and the
// liquid of node TopNode when the pile leaves part of that node free (the pile top below its
// upper face), are mixed by mass: oxides, trace elements and entropy.  The nodes above TopNode
// become that magma, held as liquid of the mixed bulk until their next equilibration, each with
// the mixed density (so that the column's mass is kept); the liquid of node TopNode takes the
// magma's composition, its crystals and gas stay.  A pile top on a node's upper face leaves that
// node out, as does a node whose liquid has no density.  With no pile (TopNode 0) the whole
// column mixes.  Temperatures are left to the next equilibration, which works at the mixed
// entropy.  The changed nodes' bulks are rebuilt (UpdateBulk).  A fault is reported as
// "<n> error in subroutine MixMagma." and sets ErrorFlag.
void MixMagma(Column& column, const ThermoTables& tables, Diagnostics& diag, Port& port);

}  // namespace cx
