#include "run/initial_state.h"

#include "persist/output_file.h"

namespace cx {

void PGradient(Column& c) {
  c.Press(c.NumNodes) = c.TopPressure;
  for (int i = c.NumNodes - 1; i >= 1; --i) {
    const int j = i + 1;
    if (c.RhoLiq(j) == 0.0) c.RhoLiq(j) = 27.0;
    if (!(c.FLiq(j) != 0.0) && c.RhoSolid(j) == 0.0) c.RhoSolid(j) = 27.0;
    // Densities are in g per J/bar; 9.8e-5 turns g/cm2 of overburden into bar.
    c.Press(i) = c.Press(j) +
                 ((1.0 - c.FLiq(j)) * c.RhoSolid(j) + c.FLiq(j) * c.RhoLiq(j)) * c.DeltaX * 9.8e-5;
  }
}

// STAND-IN: replaced by the equilibrium initial state (FindInitial) when the stable-assemblage
// solver is wired into the column.  Nothing else in the program depends on its simplifications:
// no assemblage, entropy and heat capacity left at 0, densities at the 2.7 g/cm3 fallback.
void FindInitialAllLiquid(Column& c, const Settings& s, Diagnostics& diag, Port& port) {
  port.setModuleId("Finding initial assemblage...");
  c.PhaseOrder.erase();
  c.Iteration = 0;
  c.TotalTime = 0.0;
  port.setLabel("lblIteration", "0");
  port.setLabel("lblTotalTime", "0.0000");
  c.TopNode = 0;
  c.PileTop = 0.0;
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.InitT(i) = c.Temp(i);
    if (c.Temp(i) < 573.14 || c.Temp(i) > 2773.14) {
      port.showMessage("Ndde: " + std::to_string(i) +
                       ", temperatures not set or out of range!!\n  Check that bulk compositons "
                       "and temepratures have been set correctly.\n    .....aborting calculation.");
      diag.ErrorFlag = true;
      return;
    }
  }
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.FLiq(i) = 1.0;
    c.MassLiq(i) = 100.0;
    c.MassSolid(i) = c.MassWater(i) = 0.0;
    c.RhoLiq(i) = 27.0;
    c.RhoSolid(i) = c.RhoWater(i) = 0.0;
    c.STotal(i) = c.SLiq(i) = c.SSolid(i) = c.SWater(i) = c.CpBulk(i) = 0.0;
    c.PhaseCount(i) = 0;
    for (int k = 0; k <= kPhaseListSize; ++k) c.PhaseList(i, k) = 0;
    for (int k = 0; k <= kXstableSize; ++k) c.Xstable(i, k) = 0.0;
    for (int j = 1; j <= kOxides; ++j) {
      c.BulkOx(i, j) = c.LiqOx(i, j) = c.InitBulkOx(i, j);
      c.SolidOx(i, j) = 0.0;
    }
  }
  for (int i = 1; i <= c.NumNodes; ++i)
    for (int t = 1; t <= kTraces; ++t) {
      if (c.InitBulkTrace(i, t) <= 0.0 && s.run.chkSkipTrace != 1) {
        port.showMessage("A trace element at node " + std::to_string(i) +
                         " is <= 0.\nCheck that all trace elments have been set correctly!");
        diag.ErrorFlag = true;
        return;
      }
      c.TraceBulk(i, t) = c.TraceLiq(i, t) = c.InitBulkTrace(i, t);
      c.TraceSolid(i, t) = c.TraceGasPpm(i, t) = 0.0;
    }
  PGradient(c);
  c.TopNode0 = c.TopNode;
  c.PileTop0 = c.PileTop;
  c.InitTop = c.PileTop;
  for (int i = 1; i <= c.NumNodes; ++i) c.GridPoint(i) = (i - 1) * c.DeltaX;
  for (int i = c.Temp.lo(); i <= c.Temp.hi(); ++i) c.InitT(i) = c.Temp(i);
  c.BottomNode = 1;
  refreshInitialProfiles(c);
  port.plotResults();
  c.NodesAtInitial = c.NumNodes;
}

}  // namespace cx
