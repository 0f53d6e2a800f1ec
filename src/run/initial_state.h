// The initial state of a run (iteration 0) and the pressure gradient.
#pragma once

#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"

namespace cx {

struct RunContext;

// FindInitial: iteration 0 of a run.  Every node is first made all liquid (for the densities of
// the pressure gradient and the liquid's entropy), then solved at its entered temperature from a
// cold start; its assemblage, masses, densities, entropies and viscosity are stored.  Checks the
// temperatures and the trace elements first.  Sets ErrorFlag and shows the message on failure.
void FindInitial(RunContext& ctx);

}  // namespace cx
