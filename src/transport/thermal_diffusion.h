// Heat along the column: one backward-Euler step of dT/dt = kappa d2T/dx2 over the whole
// temperature grid (column and far-field slabs), with the two end values held fixed.
#pragma once

#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"

namespace cx {

// The boundary step before the diffusion step: the cooling rates move the two boundary
// temperatures (the slab ends, or nodes 1 and NumNodes when the far field is skipped, unless
// they float), then the °C limits clamp them.
void applyBoundaryTemperatures(Column& column, const Settings& settings);

// TDiffusion: advances Temp by DeltaT.  The scheme is unconditionally stable; kappa is read from
// the settings at each call.  A fault (kappa or DeltaT of 0) is reported as
// "11 error in subroutine TDiffusion." and sets ErrorFlag.
void TDiffusion(Column& column, const Settings& settings, Diagnostics& diag, Port& port);

}  // namespace cx
