// Liquid mass diffusion: the oxides and trace elements of the liquid, and the species and trace
// elements of the gas, diffuse along the column.
//
// Each oxide diffuses with its own coefficient D (the diagonal of MassDiffCoef; the off-diagonal
// terms are not used) by one backward-Euler step of dc/dt = D d2c/dz2 with reflecting ends, plus
// the terms that the gradients of the liquid fraction and density add to it, dc/dt +=
// D (dF/dz / F + drho/dz / rho) dc/dz.  One oxide, MassBalanceOx, is never diffused: it closes
// each node's liquid to 100 wt %.  With "Include Soret diffusion" an oxide with a Soret
// coefficient S also moves in the temperature gradient, with the flux -D (dc/dz + S c dT/dz),
// whose zero-flux state is c ~ exp(-S T): an oxide with S > 0 gathers at the cold end.
#pragma once

#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"
#include "thermo/thermo_tables.h"

namespace cx {

// MassDiffusion over nodes firstNode..NumNodes (the driver passes the floor of the pile,
// BottomNode); with firstNode at or above NumNodes - 1 nothing moves.  Reads the coefficients at
// each call: MassDiffCoef and SoretCoef from the column, "Include Soret diffusion" (chkUseSoret),
// D(trace-liq) and D(gas) from the settings (0 skips the trace elements, the gas).  The
// inventory of each diffused oxide over the whole column is kept.  Each node's bulk follows its
// liquid (BulkOx and TraceBulk change by the liquid's mass fraction times the liquid's change)
// and, in a run of gas, its gas (UpdateBulk), so that the next equilibration starts from the
// diffused liquid.
// A fault is reported as "<n> error in subroutine MassDiffusion." and sets ErrorFlag.
void MassDiffusion(Column& column, const Settings& settings, int firstNode,
                   const ThermoTables& tables, Diagnostics& diag, Port& port);

}  // namespace cx
