// The initial state of a run (iteration 0) and the pressure gradient.
#pragma once

#include "base/diagnostics.h"
#include "run/column.h"
#include "run/settings.h"
#include "ui/port.h"

namespace cx {

// PGradient: the pressure of each node from the weight of the column above it.  Node i takes the
// weight of node i + 1, not its own; an empty density is replaced by 27.0 (2.7 g/cm3).
void PGradient(Column& column);

// The initial state until the phase-equilibrium solver is wired in: every node all liquid with
// its bulk composition and temperature.  Checks the temperatures and trace elements as the real
// initial state does.  Sets ErrorFlag and shows the message on failure.
void FindInitialAllLiquid(Column& column, const Settings& settings, Diagnostics& diag,
                          Port& port);

}  // namespace cx
