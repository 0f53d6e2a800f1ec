// Bulk bookkeeping: after anything has moved mass between phases or nodes, each node's bulk
// description is rebuilt from its phase masses and densities.
//
// Per node: the volume fractions of gas, liquid and solid, the liquid fraction FLiq (a volume
// fraction), the bulk entropy, the bulk oxides in wt % (the gas carried as oxides), the bulk
// trace elements, and all masses rescaled to a node of 100 g.  This is the one place where the
// oxide mass balance of a node is checked, repaired and logged.
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"
#include "column/column.h"
#include "thermo/thermo_tables.h"

namespace cx {

// UpdateBulk: nodes first..last, in ascending order.  The gas species' molecular weights come
// from the endmember rows of the gas (phase 29), which the activity options do not change; the
// number of active species is Column::gasSpeciesCount().
//
// Reports go through ErrorReport without a pause: a negative oxide set to 0 (ErrorFlag cleared),
// a negative Fe2O3 that drops the gas's redox exchange, a bulk off 100 wt % by more than 0.1
// (renormalised).  A halt after a report ends the call.  A node whose bulk density is exactly 0
// or 1 (all densities at their floor: a node that holds nothing) ends the call, leaving the
// nodes above it unprocessed.  A run-time fault (a node with no volume at all) is reported as
// "<n> error in subroutine UpdateBulk." and sets ErrorFlag.
void UpdateBulk(Column& column, int& first, int& last, const ThermoTables& tables,
                Diagnostics& diag);

// The gas of node i carried as the 15 oxides, wt % of the gas, into g (1..15): H2O, CO2 as
// themselves, the sulfur species as S, the carbon and hydrogen species as CO2 and H2O, each
// with an exchange of Fe2O3 against FeO that balances its oxygen.  Only the entries the gas
// touches are written (4, 6, 13, 14, 15); the others keep their values.
void gasOxideVector(const Column& column, int i, const ThermoTables& tables, Array1<double>& g);

}  // namespace cx
