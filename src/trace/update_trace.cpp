#include "trace/update_trace.h"

#include <array>

#include "base/fault.h"
#include "base/trap.h"

namespace cx {

namespace {

// Below this percentage of crystals and gas a node is liquid.
constexpr double kAllLiquidPercent = 1e-06;
// A phase, a coefficient or a concentration below this counts as none.
constexpr double kNegligible = 1e-07;
// A density at or below this floor is taken as 1.0 before any division.
constexpr double kDensityFloor = 0.0001;

// The failure of a check that is no run-time fault: the report carries error number 0.
struct TraceFailure {};

void floorDensity(double& rho) {
  if (rho <= kDensityFloor) rho = 1.0;
}

void updateNode(Column& c, int i, Diagnostics& diag) {
  const double massW = c.MassWater(i), massS = c.MassSolid(i), massL = c.MassLiq(i);
  const double total = massL + massS + massW;
  // Percent of the node that is not liquid.
  const double notLiquid = checkedDiv(100.0 * (massW + massS), total);
  if (notLiquid < kAllLiquidPercent) {
    for (int k = 1; k <= kTraces; ++k) {
      c.TraceLiq(i, k) = c.TraceBulk(i, k);
      c.TraceSolid(i, k) = 0.0;
      c.TraceGasPpm(i, k) = 0.0;
    }
    return;
  }

  // Each phase's mass from the cumulative table, as a percentage of the node, so that its share
  // of the crystals and gas is m / notLiquid whatever the node's mass basis.
  std::array<double, kPhaseOrderSize + 1> m{};
  for (int j = 1; j <= kPhaseOrderSize; ++j)
    m[j] = (c.PhaseMass(i, j) - (j > 1 ? c.PhaseMass(i, j - 1) : 0.0)) * 100.0 / total;
  const double gasPercent = massW * 100.0 / total;

  if (c.Press(i) == 0.0) PGradient(c);

  if (!c.BigDFlags(0)) {
    // The variable coefficients are not part of this program: a run with them is refused at its
    // start, so only a column edited between two calls can come here.
    diag.ErrorReport(
        "Unexpected error in subroutine BigD.\nTry disabling BigD through the Trace "
        "Element Menu.",
        false);
    throw TraceFailure{};
  }

  std::array<double, kTraces + 1> dBulk{};
  for (int k = 1; k <= kTraces; ++k) {
    double d = 0.0;
    for (int j = 1; j <= kPhaseOrderSize; ++j) {
      const int p = c.PhaseOrder(j);
      if (p <= 0) break;
      if (m[j] > kNegligible) d += c.DCoef(p, k) * m[j] / notLiquid;
    }
    d += c.DCoef(kGasPhase, k) * gasPercent / notLiquid;
    dBulk[k] = d < kNegligible ? 0.0 : d;
  }

  const double F = (100.0 - notLiquid) / 100.0;
  if (F < 0.0 || F > 100.0) throw TraceFailure{};
  for (int k = 1; k <= kTraces; ++k) {
    c.TraceLiq(i, k) = checkedDiv(c.TraceBulk(i, k), (1.0 - F) * dBulk[k] + F);
    // A node without gas holds no trace element in gas.
    double gas = 0.0;
    if (massW > 0.0) {
      gas = c.TraceLiq(i, k) * c.DCoef(kGasPhase, k);
      if (gas < kNegligible) gas = 0.0;
    }
    c.TraceGasPpm(i, k) = gas;
  }

  floorDensity(c.RhoWater(i));
  floorDensity(c.RhoSolid(i));
  floorDensity(c.RhoLiq(i));
  const double rhoW = c.RhoWater(i), rhoS = c.RhoSolid(i), rhoL = c.RhoLiq(i);
  const double v = massW / rhoW + massS / rhoS + massL / rhoL;
  const double fg = massW > 0.0 ? checkedDiv(massW / rhoW, v) : 0.0;
  // The liquid's volume fraction from the same masses and densities (what the bulk bookkeeping
  // stores in FLiq), not FLiq itself: right after a solve FLiq holds the liquid's mass fraction,
  // and weighting the liquid by one and the solids by the other would move trace elements
  // between nodes' bulk and nowhere at the next bookkeeping.
  const double fl = checkedDiv(massL / rhoL, v);
  const double fs = massS > 0.0 ? checkedDiv(massS / rhoS, v) : 0.0;
  const double R = fs * rhoS + fl * rhoL + fg * rhoW;
  // Exactly 1 means every density sat at its floor: a node that holds nothing.
  if (R == 0.0 || R == 1.0) throw TraceFailure{};
  if (fs <= kNegligible) return;  // no crystals to speak of: the solid keeps its last values

  // The solids take what the liquid and the gas leave of the bulk.
  for (int k = 1; k <= kTraces; ++k) {
    const double solid = checkedDiv(
        R * c.TraceBulk(i, k) - c.TraceLiq(i, k) * rhoL * fl - c.TraceGasPpm(i, k) * rhoW * fg,
        fs * rhoS);
    c.TraceSolid(i, k) = solid < kNegligible ? 0.0 : solid;
  }
}

}  // namespace

bool UpdateTrace(Column& c, int i, const Array1<double>& /*liquidOxides*/, Diagnostics& diag,
                 Port& port) {
  port.setModuleId("Update trace elements...");
  bool failed = false;
  const bool finished = runTrapped(
      diag, subroutineSuffix("UpdateTrace"),
      [&] {
        try {
          updateNode(c, i, diag);
        } catch (const TraceFailure&) {
          failed = true;
        }
      },
      TrapPause::Never);
  if (failed) {
    diag.ErrorFlag = true;
    diag.ErrorReport("0 error in subroutine UpdateTrace.", false);
  }
  return finished && !failed;
}

bool UpdateTraceAllNodes(Column& c, Diagnostics& diag, Port& port) {
  Array1<double> liquidOx(1, kOxides);
  bool ok = true;
  for (int i = 1; i <= c.NumNodes; ++i) {
    for (int k = 1; k <= kOxides; ++k) liquidOx(k) = c.LiqOx(i, k);
    ok = UpdateTrace(c, i, liquidOx, diag, port) && ok;
  }
  return ok;
}

}  // namespace cx
