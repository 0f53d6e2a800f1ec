#include "run/initial_state.h"

#include "base/trap.h"
#include "persist/output_file.h"
#include "run/node_equilibrium.h"
#include "run/run_context.h"
#include "thermo/viscosity.h"

namespace cx {

LiquidProperties liquidProperties(EquilibriumModel& m, const Array1<double>& wt, double T,
                                  double P) {
  LiquidProperties r;
  if (!m.setConditions(T, P) || !m.setLiquidOxides(wt)) return r;
  double S = 0.0;
  for (int k = 1; k <= kLiquidComponents; ++k) S += m.BulkMoles(k) * m.Sliq(k);
  const double V = liquidVolume(*m.ss, m.BulkMoles);
  if (!(V > 0.0)) return r;
  // 100 g of liquid: per gram, as the nodes hold it.
  r.S = S * 0.01;
  r.Rho = 100.0 / V;
  r.ok = true;
  return r;
}

// FindInitial: iteration 0 of a run.
namespace {

constexpr int kN = kLiquidComponents;

// The liquid alone, at the node's temperature: density, entropy, heat capacity, viscosity.
bool allLiquidNode(Column& c, int i, EquilibriumModel& m, Port& port) {
  c.FLiq(i) = 1.0;
  c.MassLiq(i) = 100.0;
  c.MassSolid(i) = c.MassWater(i) = 0.0;
  for (int j = 1; j <= kOxides; ++j) {
    c.BulkOx(i, j) = c.LiqOx(i, j) = c.InitBulkOx(i, j);
    c.SolidOx(i, j) = 0.0;
  }
  const double T = c.Temp(i), P = c.Press(i);
  Array1<double> wt(1, kOxides);
  for (int j = 1; j <= kOxides; ++j) wt(j) = c.BulkOx(i, j);
  if (!m.setConditions(T, P)) return false;
  if (!m.setLiquidOxides(wt)) {
    port.showMessage("Problem making system components - aborting...");
    return false;
  }
  double S = 0.0;
  for (int k = 1; k <= kN; ++k) S += m.BulkMoles(k) * m.Sliq(k);
  const double V = liquidVolume(*m.ss, m.BulkMoles);
  c.RhoLiq(i) = 100.0 / V;
  c.SLiq(i) = S * 0.01;
  c.STotal(i) = c.SLiq(i);
  // The heat capacity from the enthalpy 0.1 K either side.
  auto enthalpy = [&](double temp) {
    m.setConditions(temp, P);
    u_Liquid(m.liquidTables, *m.ss, m.liquid, m.diag, 0, m.Xliq, m.MuLiq, m.Sliq, m.Hliq, temp, P);
    double h = 0.0;
    for (int k = 1; k <= kN; ++k) h += m.BulkMoles(k) * m.Hliq(k);
    return h;
  };
  const double cp = (enthalpy(T + 0.1) - enthalpy(T - 0.1)) / 0.2;
  c.CpBulk(i) = cp * 0.01;
  c.LiqVisc(i) = storedLiquidViscosity(ViscosityGD2007(m.tables, m.liquid, m.diag, wt, T));
  return true;
}

// A phase of less than 1e-5 mol is no phase: its moles go back to the liquid, its entries leave
// the state vector.
void removeTracePhases(const EquilibriumModel& m, MinimizerState& st) {
  int c = kN;
  int k = 1;
  while (k <= st.PhaseCount) {
    const int id = st.Phaselist(k);
    const int n = m.activity->PhaseEndCount(id);
    double moles = 0.0;
    for (int j = 1; j <= n; ++j) moles += st.Xstable(c + j);
    if (moles >= 1e-5) {
      c += n;
      ++k;
      continue;
    }
    for (int j = 1; j <= n; ++j)
      for (int l = 1; l <= kN; ++l) {
        const double x = m.phases.PhaseStoich(id, j, l) * st.Xstable(c + j);
        st.Xstable(l) += x;
        st.SolidMoles(l) -= x;
      }
    for (int e = c + 1; e <= kXstableSize; ++e)
      st.Xstable(e) = e + n <= kXstableSize ? st.Xstable(e + n) : 0.0;
    for (int q = k; q < st.PhaseCount; ++q) st.Phaselist(q) = st.Phaselist(q + 1);
    st.Phaselist(st.PhaseCount) = 0;
    --st.PhaseCount;
  }
}

void findInitialBody(RunContext& ctx) {
  Column& c = ctx.column;
  Settings& s = ctx.settings;
  EventLog& log = ctx.log;
  Port& port = ctx.port;
  port.setModuleId("Finding initial assemblage...");
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.RhoLiq(i) = 27.0;
    c.RhoSolid(i) = 30.0;
    c.RhoWater(i) = 1.0;
  }
  c.PhaseOrder.erase();
  c.Iteration = 0;
  c.TotalTime = 0.0;
  port.setLabel("lblIteration", "0");
  port.setLabel("lblTotalTime", "0.0000");
  c.TopNode = 0;
  c.PileTop = 0.0;
  PGradient(c);

  auto fail = [&](const std::string& msg) {
    port.showMessage(msg);
    log.ErrorFlag = true;
  };
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.InitT(i) = c.Temp(i);
    if (c.Temp(i) < 573.14 || c.Temp(i) > 2773.14)
      return fail("Ndde: " + std::to_string(i) +
                  ", temperatures not set or out of range!!\n  Check that bulk compositons and "
                  "temepratures have been set correctly.\n    .....aborting calculation.");
  }
  ColumnSolver& solver = columnSolver(ctx);
  EquilibriumModel& m = solver.model(c, s, log, port);
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.PhaseCount(i) = 0;
    for (int k = 0; k <= kPhaseListSize; ++k) c.PhaseList(i, k) = 0;
    for (int k = 0; k <= kXstableSize; ++k) c.Xstable(i, k) = 0.0;
    c.SSolid(i) = c.SWater(i) = 0.0;
    if (!allLiquidNode(c, i, m, port)) {
      log.ErrorFlag = true;
      return;
    }
  }
  for (int i = 1; i <= c.NumNodes; ++i)
    for (int t = 1; t <= kTraces; ++t) {
      if (c.InitBulkTrace(i, t) <= 0.0 && s.run.chkSkipTrace != 1)
        return fail("A trace element at node " + std::to_string(i) +
                    " is <= 0.\nCheck that all trace elments have been set correctly!");
      c.TraceBulk(i, t) = c.TraceLiq(i, t) = c.InitBulkTrace(i, t);
      c.TraceSolid(i, t) = c.TraceGasPpm(i, t) = 0.0;
    }
  port.plotResults();
  if ((s.optionMix || s.optionBottomAccum) && ctx.processes.MixMagma &&
      port.askYesNo("Mix magma before finding intial assembalge?"))
    ctx.processes.MixMagma(ctx);

  PGradient(c);
  MinimizerContext& mctx = solver.minimizer();
  for (int i = 1; i <= c.NumNodes; ++i) {
    MinimizerState st;  // a fresh start: no assemblage
    st.ConstantT = true;
    double T = 0.0, P = 0.0;
    solveNode(c, i, m, mctx, st, T, P);
    port.doEvents();
    if (log.HaltFlag) return;
    if (log.ErrorFlag)
      return fail("Error in minimization, node: " + std::to_string(i) +
                  ", aborting...\nModify input values");
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      if (m.sat->Affinity(id) > 100.0)
        log.ErrorReport("Itr: 0 Node: " + std::to_string(i) + "  Phase not equilibrated",
                        log.PauseOnError);
      else if (m.sat->Affinity(id) < -20.0 && !m.sat->PhaseExcluded(id))
        log.ErrorReport(
            "  Not equilibrated with saturated phase " + trimmedText(m.phases.PhaseNames(id)),
            log.PauseOnError);
    }
    removeTracePhases(m, st);
    storeNodeResult(c, i, m, st, StoreOptions{1e-6, 100.0});
  }
  // Each iteration ends with the bulk bookkeeping and the trace elements (when they are carried),
  // which turn the liquid's mass share left by the solve into the volume fraction and partition
  // the traces over the phases found.  The initial state ends the same way, so that iteration 0
  // is saved on the footing of every later one: a node whose temperature does not change keeps
  // its liquid fraction and its liquid's La from iteration 0 to 1.
  if (s.run.chkSkipTrace == 0) {
    if (ctx.processes.UpdateBulk) ctx.processes.UpdateBulk(ctx);
    if (ctx.processes.UpdateTrace) ctx.processes.UpdateTrace(ctx);
    if (log.ErrorFlag) return;  // the routine that failed has reported it
  }
  if (s.optionInfiltrate)
    for (int i = 1; i <= c.NumNodes; ++i)
      if (c.FLiq(i) > 0.0) c.Vliquid(i) = c.FluxRate / c.FLiq(i);

  c.TopNode0 = c.TopNode;
  c.PileTop0 = c.PileTop;
  c.InitTop = c.PileTop;
  for (int i = 1; i <= c.NumNodes; ++i) c.GridPoint(i) = (i - 1) * c.DeltaX;
  for (int i = c.Temp.lo(); i <= c.Temp.hi(); ++i) c.InitT(i) = c.Temp(i);
  c.BottomNode = 1;
  PGradient(c);
  refreshInitialProfiles(c);
  port.plotResults();
  c.NodesAtInitial = c.NumNodes;
}

}  // namespace

void FindInitial(RunContext& ctx) {
  runTrapped(ctx.log, " error in subroutine FindInitial\nTry modifying input parameters",
             [&] { findInitialBody(ctx); });
}

}  // namespace cx
