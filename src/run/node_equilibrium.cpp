#include "run/node_equilibrium.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "base/clock.h"
#include "base/text_format.h"
#include "base/trap.h"
#include "run/node_repair.h"
#include "run/run_context.h"
#include "solver/equilibrium_rules.h"
#include "thermo/redox.h"
#include "thermo/viscosity.h"
#include "trace/update_trace.h"
#include "transport/adjust_nodes.h"

namespace cx {
namespace {

constexpr int kN = kLiquidComponents;
constexpr int kSpinel = 7;
constexpr int kReportedSolutions = 13;  // phases 1..13 have a composition index in PhaseX

// The moles of each liquid component held in the listed phases of a node's assemblage, and
// their masses, entropy and volume, on the minimizer's 100 g basis.
struct AssemblageSums {
  Array1<double> phaseMass{1, kPhases};                // g, from the endmembers' molar masses
  Array2<double> moles{1, kReportedSolutions, 1, 15};  // endmember moles of phases 1..13
  Array1<double> gasComponents{1, kN};                 // liquid-component moles carried by the gas
  Array1<double> gasSpecies{1, 6};                     // g of each gas species
  double gasS = 0.0, gasV = 0.0;                       // J/K, J/bar
  double solidS = 0.0, solidV = 0.0;
};

AssemblageSums sumAssemblage(const EquilibriumModel& m, int phaseCount,
                             const std::function<int(int)>& phaseAt,
                             const std::function<double(int)>& molesAt) {
  AssemblageSums s;
  const SaturationContext& sat = *m.sat;
  int c = kN;
  for (int k = 1; k <= phaseCount; ++k) {
    const int id = phaseAt(k);
    for (int j = 1; j <= m.activity->PhaseEndCount(id); ++j) {
      const double x = molesAt(++c);
      s.phaseMass(id) += x * m.phases.PhaseEndMW(id, j);
      if (id <= kReportedSolutions) s.moles(id, j) += x;
      // The thermodynamic sums take only the endmembers the phase holds, as the minimizer does.
      const bool present = sat.PhaseX(id, j) != 0.0;
      if (id == kGasPhase) {
        if (j <= 6) s.gasSpecies(j) += x * m.phases.PhaseEndMW(id, j);
        for (int l = 1; l <= kN; ++l) s.gasComponents(l) += x * m.phases.PhaseStoich(id, j, l);
        if (present) {
          s.gasS += x * sat.PhaseS(id, j);
          s.gasV += x * sat.PhaseV(id, j);
        }
      } else if (present) {
        s.solidS += x * sat.PhaseS(id, j);
        s.solidV += x * sat.PhaseV(id, j);
      }
    }
  }
  return s;
}

// UpdatePhases with the factor that turns the 100 g basis into the node's grams.  A gas whose
// mass (100 g basis) does not exceed gasLimit is no gas.
void updatePhasesScaled(Column& c, int i, const EquilibriumModel& m, double scale,
                        double gasLimit) {
  for (int k = 1; k <= kPhaseOrderSize; ++k) c.PhaseMass(i, k) = 0.0;
  for (int k = 1; k <= kReportedSolutions; ++k) c.PhaseX(i, k) = 0.0;
  for (int k = c.GasComp.colLo(); k <= c.GasComp.colHi(); ++k) c.GasComp(i, k) = 0.0;
  const AssemblageSums s = sumAssemblage(
      m, c.PhaseCount(i), [&](int k) { return c.PhaseList(i, k); },
      [&](int e) { return c.Xstable(i, e); });

  if (c.FLiq(i) < 1.0) {
    c.MassWater(i) = 0.0;
    c.SWater(i) = 0.0;
    c.RhoWater(i) = 1.0;  // not 0: divisions by the gas density stay defined
    if (s.phaseMass(kGasPhase) > gasLimit) {
      c.MassWater(i) = s.phaseMass(kGasPhase) * scale;
      c.SWater(i) = s.gasS * scale;
    }
  }
  if (c.MassWater(i) > 0.0 && s.phaseMass(kGasPhase) > 0.0) {
    if (s.gasV > 0.0) c.RhoWater(i) = c.MassWater(i) / (s.gasV * scale);
    c.SWater(i) /= c.MassWater(i);
    for (int k = 1; k <= std::min(6, c.GasComp.colHi()); ++k)
      c.GasComp(i, k) = s.gasSpecies(k) / s.phaseMass(kGasPhase) * 100.0;
  }

  for (int k = 1; k <= kReportedSolutions; ++k) {
    double total = 0.0;
    for (int j = 1; j <= 15; ++j) total += s.moles(k, j);
    if (total <= 0.0001) continue;
    if (k == kSpinel) {
      // Spinel's index is its Cr number: chromite and magnesiochromite over those plus spinel
      // and hercynite.
      const double cr = s.moles(k, 2) + s.moles(k, 8);
      const double crAl = cr + s.moles(k, 1) + s.moles(k, 5);
      c.PhaseX(i, k) = crAl > 0.0 ? cr / crAl * 100.0 : 0.0;
    } else {
      c.PhaseX(i, k) = s.moles(k, 1) / total * 100.0;
    }
  }

  // Each phase keeps the slot of its first appearance; the table then becomes cumulative.
  for (int k = 1; k <= c.PhaseCount(i); ++k) {
    const int id = c.PhaseList(i, k);
    if (id == kGasPhase) continue;
    int slot = 0;
    for (int n = 1; n <= kPhaseOrderSize && slot == 0; ++n)
      if (c.PhaseOrder(n) == id) slot = n;
    for (int n = 1; n <= kPhaseOrderSize && slot == 0; ++n)
      if (c.PhaseOrder(n) == 0) {
        c.PhaseOrder(n) = id;
        slot = n;
      }
    if (slot != 0) c.PhaseMass(i, slot) += s.phaseMass(id) * scale;
  }
  for (int k = 2; k <= kPhaseOrderSize; ++k) c.PhaseMass(i, k) += c.PhaseMass(i, k - 1);
}

double liquidMass(const ThermoTables& tables, const Array1<double>& moles) {
  Array1<double> g(1, kOxides);
  ComponentsToOxides(tables, moles, g);
  double sum = 0.0;
  for (int k = 1; k <= kOxides; ++k) sum += g(k);
  return sum;
}

}  // namespace

// --- The solver of a column ---------------------------------------------------------------

ColumnSolver::ColumnSolver() : tables_(loadThermoTables()), liquidTables_(loadLiquidTables()) {}
ColumnSolver::~ColumnSolver() = default;

EquilibriumModel& ColumnSolver::model(const Column& c, const Settings& s, Diagnostics& diag,
                                      Port& port) {
  ModelOptions wanted;  // its exclusions are the phases no column may precipitate
  for (int id = 1; id <= kPhases; ++id) {
    wanted.ActivityFlags(id) = c.ActivityFlags(id);
    wanted.PhaseExcluded(id) = wanted.PhaseExcluded(id) || c.PhaseExcluded(id);
  }
  wanted.PyroxeneModel = s.PyroxeneModel;
  const bool same = model_ && diag_ == &diag && port_ == &port &&
                    wanted.ActivityFlags == options_.ActivityFlags &&
                    wanted.PhaseExcluded == options_.PhaseExcluded &&
                    wanted.PyroxeneModel == options_.PyroxeneModel;
  if (!same) {
    minimizer_.reset();
    model_.reset();
    options_ = wanted;
    diag_ = &diag;
    port_ = &port;
    model_ = std::make_unique<EquilibriumModel>(tables_, liquidTables_, options_, diag, port);
    minimizer_ = std::make_unique<MinimizerContext>(*model_, port);
  }
  return *model_;
}

ColumnSolver& columnSolver(RunContext& ctx) {
  if (!ctx.solver) ctx.solver = std::make_shared<ColumnSolver>();
  return *ctx.solver;
}

// --- One node -----------------------------------------------------------------------------

bool loadNodeState(const Column& c, int i, EquilibriumModel& model, MinimizerState& st) {
  if (!model.setConditions(c.Temp(i), c.Press(i))) return false;
  Array1<double> wt(1, kOxides);
  for (int k = 1; k <= kOxides; ++k) wt(k) = c.BulkOx(i, k);
  if (!model.setLiquidOxides(wt)) return false;
  for (int k = 1; k <= kN; ++k) st.BulkMoles(k) = model.BulkMoles(k);
  st.PhaseCount = c.PhaseCount(i);
  for (int k = 0; k <= kPhaseListSize; ++k) st.Phaselist(k) = c.PhaseList(i, k);
  for (int k = 1; k <= kXstableSize; ++k) st.Xstable(k) = c.Xstable(i, k);
  return true;
}

namespace {

// One solve of node i from the state in st, starting at temperature startT; false (ErrorFlag
// set) when it failed or returned a state with a negative amount of liquid or of a phase: that
// is no equilibrium, whatever the search reported, and storing it would hand the column
// negative masses.
bool solveOnce(const Column& c, int i, EquilibriumModel& model, MinimizerContext& ctx,
               MinimizerState& st, double startT, double& T, double& P) {
  Diagnostics& diag = model.diag;
  diag.ErrorFlag = false;
  T = startT;
  P = c.Press(i);
  int errFlag = 0;
  CalcStablePhases(ctx, st, T, P, errFlag);
  if (diag.ErrorFlag) return false;
  model.setConditions(T, P);
  auto refuse = [&](const std::string& what) {
    diag.ErrorReport("  Node: " + std::to_string(i) + "  - " + what + " returned by the minimizer",
                     false);
    diag.ErrorFlag = true;
    return false;
  };
  for (int k = 1; k <= kN; ++k)
    if (st.Xstable(k) < 0.0) return refuse("negative liquid component " + std::to_string(k));
  const AssemblageSums sums = sumAssemblage(
      model, st.PhaseCount, [&](int k) { return st.Phaselist(k); },
      [&](int e) { return st.Xstable(e); });
  for (int k = 1; k <= st.PhaseCount; ++k) {
    const int id = st.Phaselist(k);
    if (sums.phaseMass(id) < 0.0)
      return refuse("negative mass of " + trimmedText(model.phases.PhaseNames(id)));
  }
  return true;
}

// Node i's request (mode and target) with the bulk of node i and the assemblage of node j.
void loadNeighbourState(const Column& c, int i, int j, EquilibriumModel& model,
                        const MinimizerState& request, MinimizerState& st) {
  st = request;
  loadNodeState(c, i, model, st);
  st.PhaseCount = c.PhaseCount(j);
  for (int k = 0; k <= kPhaseListSize; ++k) st.Phaselist(k) = c.PhaseList(j, k);
  for (int k = 1; k <= kXstableSize; ++k) st.Xstable(k) = c.Xstable(j, k);
}

}  // namespace

bool solveNode(const Column& c, int i, EquilibriumModel& model, MinimizerContext& ctx,
               MinimizerState& st, double& T, double& P, bool fromLiquid) {
  Diagnostics& diag = model.diag;
  ctx.node = i;
  const MinimizerState request = st;  // the mode and its target
  if (!loadNodeState(c, i, model, st)) {
    diag.ErrorFlag = true;
    return false;
  }
  if (fromLiquid) {
    st.PhaseCount = 0;
    st.Phaselist.erase();
    st.Xstable.erase();
    return solveOnce(c, i, model, ctx, st, c.Temp(i), T, P);
  }
  if (solveOnce(c, i, model, ctx, st, c.Temp(i), T, P)) return true;
  if (diag.HaltFlag) return false;
  // A search from the node's last assemblage can end in a state the minimizer cannot leave.
  // The neighbours' last assemblages lie close by, in temperature and in bulk: the node is
  // solved again from each, first directly, then by way of the temperature halfway between the
  // neighbour's and its own (for a node held at its temperature), or at its own temperature
  // (for a node whose temperature follows its entropy) and from that to its own target.  (A
  // fresh start from the liquid alone rescued none of the failures, and fails on a third of the
  // states from which the warm start succeeds.)
  for (int j : {i - 1, i + 1}) {
    if (j < 1 || j > c.NumNodes || c.PhaseCount(j) <= 0) continue;
    diag.ErrorReport("  Node: " + std::to_string(i) +
                         "  - solved again from the assemblage of node " + std::to_string(j),
                     false);
    loadNeighbourState(c, i, j, model, request, st);
    if (solveOnce(c, i, model, ctx, st, c.Temp(i), T, P)) return true;
    if (diag.HaltFlag) return false;
    loadNeighbourState(c, i, j, model, request, st);
    MinimizerState stage = st;
    stage.ConstantT = true;
    stage.ConstantS = stage.ConstantH = stage.ConstantV = false;
    const double via = request.ConstantT ? 0.5 * (c.Temp(i) + c.Temp(j)) : c.Temp(i);
    if (request.ConstantT && std::fabs(via - c.Temp(i)) < 0.01) continue;
    if (!solveOnce(c, i, model, ctx, stage, via, T, P)) {
      if (diag.HaltFlag) return false;
      continue;
    }
    st = request;
    loadNodeState(c, i, model, st);
    st.PhaseCount = stage.PhaseCount;
    for (int k = 0; k <= kPhaseListSize; ++k) st.Phaselist(k) = stage.Phaselist(k);
    for (int k = 1; k <= kXstableSize; ++k) st.Xstable(k) = stage.Xstable(k);
    if (solveOnce(c, i, model, ctx, st, c.Temp(i), T, P)) return true;
    if (diag.HaltFlag) return false;
  }
  diag.ErrorFlag = true;
  return false;
}

void UpdatePhases(Column& c, int i, const EquilibriumModel& model) {
  runTrapped(model.diag, subroutineSuffix("UpdatePhases"), [&] {
    Array1<double> liq(1, kN);
    for (int k = 1; k <= kN; ++k) liq(k) = c.Xstable(i, k);
    double system = liquidMass(model.tables, liq);
    const AssemblageSums s = sumAssemblage(
        model, c.PhaseCount(i), [&](int k) { return c.PhaseList(i, k); },
        [&](int e) { return c.Xstable(i, e); });
    for (int id = 1; id <= kPhases; ++id) system += s.phaseMass(id);
    const double node = c.MassLiq(i) + c.MassSolid(i) + c.MassWater(i);
    updatePhasesScaled(c, i, model, system > 0.0 ? node / system : 1.0, 0.0);
  });
}

void storeNodeResult(Column& c, int i, EquilibriumModel& m, const MinimizerState& st,
                     const StoreOptions& opt) {
  const ThermoTables& tables = m.tables;
  const double T = m.T, P = m.P;
  c.Temp(i) = T;

  // The assemblage for the next start, on the 100 g basis.
  c.PhaseCount(i) = st.PhaseCount;
  for (int k = 0; k <= kPhaseListSize; ++k) c.PhaseList(i, k) = st.Phaselist(k);
  for (int k = 1; k <= kXstableSize; ++k) c.Xstable(i, k) = st.Xstable(k);

  // Oxide grams of the liquid, the solids and the gas.  The masses come from the oxides, so that
  // liquid, solids and gas add up to the bulk the minimizer balanced.
  Array1<double> liqMoles(1, kN), solidMoles(1, kN);
  for (int k = 1; k <= kN; ++k) liqMoles(k) = st.Xstable(k);
  const AssemblageSums s = sumAssemblage(
      m, st.PhaseCount, [&](int k) { return st.Phaselist(k); },
      [&](int e) { return st.Xstable(e); });
  for (int k = 1; k <= kN; ++k)
    solidMoles(k) = st.PhaseCount > 0 ? st.SolidMoles(k) - s.gasComponents(k) : 0.0;
  Array1<double> liqG(1, kOxides), solidG(1, kOxides), gasG(1, kOxides);
  ComponentsToOxides(tables, liqMoles, liqG);
  ComponentsToOxides(tables, solidMoles, solidG);
  ComponentsToOxides(tables, s.gasComponents, gasG);
  double massLiq = 0.0, massSolid = 0.0, bulk = 0.0;
  for (int k = 1; k <= kOxides; ++k) {
    massLiq += liqG(k);
    // Rounding of the gas subtraction can leave a solid oxide a hair below zero.
    if (solidG(k) < 0.0) solidG(k) = 0.0;
    massSolid += solidG(k);
  }
  const bool gas = s.phaseMass(kGasPhase) > opt.gasLimit;
  const double massGas = gas ? s.phaseMass(kGasPhase) : 0.0;
  const double total = massLiq + massSolid + massGas;
  const double f = opt.nodeMass / total;  // 100 g basis to the node's grams

  for (int k = 1; k <= kOxides; ++k) {
    c.LiqOx(i, k) = massLiq > 0.0 ? liqG(k) / massLiq * 100.0 : 0.0;
    c.SolidOx(i, k) = massSolid > 0.0 ? solidG(k) / massSolid * 100.0 : 0.0;
    const double g = liqG(k) + solidG(k) + gasG(k);
    c.BulkOx(i, k) = g;
    bulk += g;
  }
  for (int k = 1; k <= kOxides; ++k) c.BulkOx(i, k) *= 100.0 / bulk;

  c.MassLiq(i) = massLiq * f;
  c.MassSolid(i) = massSolid * f;
  c.MassWater(i) = massGas * f;
  c.FLiq(i) = massLiq / total;
  c.RhoLiq(i) = massLiq / st.VLiqTotal;
  c.SLiq(i) = st.SLiqTotal / massLiq;
  if (c.MassSolid(i) > 0.0001 && s.solidV > 0.0) {
    c.RhoSolid(i) = massSolid / s.solidV;
    c.SSolid(i) = s.solidS / massSolid;
  }
  // The node's entropy is that of the solve: the next fixed-entropy solve starts on target.
  c.STotal(i) = st.Ssystem / 100.0;
  c.CpBulk(i) = st.CpSystem / 100.0;
  updatePhasesScaled(c, i, m, f, opt.gasLimit);

  // Oxygen fugacity and viscosity of the liquid.
  Array1<double> liqWt(1, kOxides);
  for (int k = 1; k <= kOxides; ++k) liqWt(k) = c.LiqOx(i, k);
  double logfO2 = 0.0;
  if (FeRedox(tables, *m.ss, m.liquid, m.diag, T, P, kGetLogfO2, liqWt, logfO2)) c.FO2(i) = logfO2;
  c.LiqVisc(i) = storedLiquidViscosity(ViscosityGD2007(tables, m.liquid, m.diag, liqWt, T));
}

// --- The walk over the column ---------------------------------------------------------------

namespace {

std::string nodeText(int i) {
  return "  Node: " + std::to_string(i);
}

class EquilibrateWalk {
 public:
  explicit EquilibrateWalk(RunContext& ctx)
      : ctx_(ctx),
        c_(ctx.column),
        s_(ctx.settings),
        log_(ctx.log),
        port_(ctx.port),
        solver_(columnSolver(ctx)),
        model_(solver_.model(c_, s_, log_, port_)),
        failed_(1, std::max(1, c_.NumNodes)) {}

  void run() {
    // A node that is not solved keeps its length.
    ctx_.Stretch.redim(1, c_.NumNodes, 1.0);
    log_.append(clockLine());
    for (int i = 1; i <= c_.NumNodes; ++i) {
      if (!node(i)) return;
      if (log_.HaltFlag) return;
    }
    repair();
    port_.plotResults();
    if (s_.optionCompact && s_.run.chkSkipCompaction == 0) {
      for (int i = c_.BottomNode; i <= c_.TopNode; ++i)
        if (s_.compact(compact::kMinLiquidFraction) >= c_.FLiq(i) && i == c_.BottomNode &&
            i != c_.NumNodes)
          c_.BottomNode = i + 1;
    }
    if (s_.run.chkSkipVolumeCorrection == 0 && ctx_.processes.AdjustNodes)
      ctx_.processes.AdjustNodes(ctx_);
  }

 private:
  std::string itr() const { return "Itr: " + std::to_string(c_.Iteration); }

  // One node; false when the walk must end (a halt).
  bool node(int i) {
    log_.PauseOnError = s_.run.chkPauseOnError == 1;
    if (c_.FLiq(i) <= s_.misc(misc::kMinFLiqEquilibration)) {
      log_.ErrorReport(nodeText(i) + "  - F(liq) below limit, equilibration skipped",
                       log_.PauseOnError);
      return !log_.HaltFlag;
    }
    port_.setModuleId("Finding stable assemblage...");
    MinimizerContext& mctx = solver_.minimizer();
    MinimizerState st;
    const double nodeMass = c_.MassLiq(i) + c_.MassSolid(i) + c_.MassWater(i);
    const double S0 = c_.STotal(i) * 100.0;
    st.ConstantT = constantT(i);
    st.ConstantS = !st.ConstantT;
    st.Ssystem = S0;

    double T = 0.0, P = 0.0;
    const double rhoBefore = c_.RhoLiq(i);
    solveNode(c_, i, model_, mctx, st, T, P);
    port_.doEvents();
    if (log_.HaltFlag) return false;
    // A solve that failed is reported and the walk goes on; false when the user halts at it.
    auto reportFailedSolve = [&] {
      log_.ErrorReport(
          itr() + " Node: " + std::to_string(i) + " - Error returned from minimization.",
          log_.PauseOnError);
      if (log_.HaltFlag) return false;
      log_.ErrorFlag = false;
      return true;
    };
    bool failed = false;
    if (log_.ErrorFlag) {
      failed = true;
      if (!reportFailedSolve()) return false;
      if (++problemRun_ > 3) {
        log_.ErrorReport("4 problem nodes in a row.", log_.PauseOnError);
        if (log_.HaltFlag) return false;
      }
    } else if (judge(i, st, S0, /*report=*/false)) {
      judge(i, st, S0, /*report=*/true);  // what it has to say of a good solve
    } else {
      // A warm search can also end off saturation when the node's bulk was moved (the top of a
      // compacting pile loses crystals): from the liquid alone it finds its own way.
      if (c_.PhaseCount(i) == 0) {
        failed = !judge(i, st, S0, /*report=*/true);
      } else {
        log_.ErrorReport("  Node: " + std::to_string(i) + "  - solved again from the liquid alone",
                         false);
        MinimizerState cold;
        cold.ConstantT = st.ConstantT;
        cold.ConstantS = st.ConstantS;
        cold.Ssystem = S0;
        solveNode(c_, i, model_, mctx, cold, T, P, /*fromLiquid=*/true);
        if (log_.ErrorFlag) {
          failed = true;
          if (!reportFailedSolve()) return false;
        } else {
          st = std::move(cold);
          failed = !judge(i, st, S0, /*report=*/true);
        }
      }
    }
    if (!failed) {
      storeNodeResult(c_, i, model_, st, StoreOptions{1e-7, nodeMass});
      ctx_.Stretch(i) = nodeStretch(rhoBefore, c_.RhoLiq(i));
      // The trace elements follow the node's new phases at once, so that the crystal moves
      // below and the bookkeeping after the walk carry concentrations of this assemblage.
      if (s_.run.chkSkipTrace == 0) {
        Array1<double> liquidOx(1, kOxides);
        for (int k = 1; k <= kOxides; ++k) liquidOx(k) = c_.LiqOx(i, k);
        UpdateTrace(c_, i, liquidOx, log_, port_);
      }
      problemRun_ = 0;
    }
    failed_(i) = failed;
    crystalMoves(i);
    log_.ErrorFlag = false;
    port_.plotResults();
    return !log_.HaltFlag;
  }

  // The nodes pinned to a temperature: the top of the pile under mixed magma, and the ends of a
  // column without far field whose temperature is imposed.
  bool constantT(int i) const {
    const RunOptions& r = s_.run;
    return (i == c_.TopNode && i != c_.NumNodes && s_.optionMix) ||
           (i == c_.NumNodes && r.chkSkipFarfield == 1 && r.chkTTop == 0) ||
           (i == 1 && r.chkSkipFarfield == 1 && r.chkTBottom == 0) || r.chkConstantT == 1;
  }

  // The checks of a returned solve: the entropy target and the saturation of the listed phases;
  // reported only with `report`.
  bool judge(int i, const MinimizerState& st, double S0, bool report) {
    bool ok = true;
    auto say = [&](const std::string& msg) {
      if (report) log_.ErrorReport(msg, log_.PauseOnError);
    };
    const std::string head = " Node: " + std::to_string(i);
    if (st.ConstantS) {
      const double err = st.Ssystem - S0;
      const double allowed = s_.misc(misc::kEntropyError);
      if (std::fabs(err) > 10.0 && std::fabs(err) > allowed) {
        ok = false;
        say("Irt: " + std::to_string(c_.Iteration) + " " + head + "  - Entropy error = " +
            formatNumber(err, "fixed") + " J/C, is outside limit... equilibration skipped");
        say("Irt: " + std::to_string(c_.Iteration) + " " + head +
            "  - Allowable Entropy error = " + formatNumber(allowed, "fixed") + " J/C");
      }
    }
    // The minimizer's own check refuses a listed phase off saturation either way; here an
    // undersaturated one (about to dissolve) is only reported, and the node is refused only for
    // an oversaturated one, which would leave the node's liquid supersaturated.
    const SaturationContext& sat = *model_.sat;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      const std::string name = trimmedText(model_.phases.PhaseNames(id));
      if (sat.Affinity(id) > equilibrium::kListedAffinityLimit) {
        say(itr() + head + "  " + name + " - not equilibrated");
      } else if (sat.Affinity(id) < -equilibrium::kListedAffinityLimit && !sat.PhaseExcluded(id)) {
        ok = false;
        say(itr() + head + "  - Not equilibrated with saturated phase: " + name);
      }
    }
    return ok;
  }

  // Settling, mixing and drip as a node is finished, and the display of the pile top.  The
  // phase report of a node that received crystals is the blend the move made; the node's solve
  // renews it (recomputing it from the node's last assemblage would drop what it received).
  void crystalMoves(int i) {
    const bool compact = s_.optionCompact;
    const ProcessTable& p = ctx_.processes;
    auto mix = [&] {
      if (s_.optionMix && p.MixMagma) p.MixMagma(ctx_);
    };
    const int pileTopNode = c_.TopNode;
    if (s_.optionBottomAccum && i >= c_.TopNode + 1 && i < c_.NumNodes && c_.MassSolid(i) > 0.0 &&
        p.MakeCumulate)
      p.MakeCumulate(ctx_);
    if (c_.TopNode != pileTopNode) mix();
    if (s_.OptionDrip && i == c_.NumNodes && c_.FLiq(i) < s_.misc(misc::kFLiqForDrip) && p.Drip) {
      p.Drip(ctx_);
      mix();
    }
    if (compact && !s_.optionBottomAccum && i == c_.TopNode && c_.TopNode < c_.NumNodes) {
      const double fmin = c_.FLiqMin2;
      if (fmin < 1.0) {
        c_.PileTop = (1.0 - c_.FLiq(i)) / (1.0 - fmin) * c_.DeltaX + (i - 1) * c_.DeltaX;
        port_.setLabel("lblPileTop", formatNumber(c_.PileTop / 100.0, "fixed"));
        port_.setLabel("lblTopNode", std::to_string(c_.TopNode));
      }
    }
  }

  // Failed nodes take their state from good neighbours; a repaired node serves the next.
  void repair() {
    const int n = c_.NumNodes;
    if (s_.run.chkSkipInterpolate == 1 || n < 3) return;
    for (int i = 1; i <= n; ++i) {
      if (!failed_(i)) continue;
      bool tried = false, ok = false;
      std::string done, notDone;
      if (i == 1 && !failed_(2) && !failed_(3)) {
        tried = true;
        ok = Extrapolate(c_, 1, log_);
        done = "  Extrapolated from adjacent nodes";
        notDone = "  Unable to extrapolate from surrounding nodes";
      } else if (i == n && !failed_(n - 1) && !failed_(n - 2)) {
        tried = true;
        ok = Extrapolate(c_, n, log_);
        done = "  Extrapolated from adjacent nodes";
        notDone = "  Unable to extrapolate from surrounding nodes";
      } else if (i > 1 && i < n && !failed_(i - 1) && !failed_(i + 1)) {
        tried = true;
        ok = Interpolate(c_, i, log_);
        done = "  Interpolated between adjacent nodes";
        notDone = "  Unable to interpolate between surrounding nodes";
      }
      if (!tried) continue;
      port_.appendEvent(nodeText(i) + (ok ? done : notDone));
      if (ok) failed_(i) = false;
    }
  }

  RunContext& ctx_;
  Column& c_;
  Settings& s_;
  EventLog& log_;
  Port& port_;
  ColumnSolver& solver_;
  EquilibriumModel& model_;
  Array1<bool> failed_;
  int problemRun_ = 0;
};

}  // namespace

void Equilibrate(RunContext& ctx) {
  runTrapped(ctx.log, subroutineSuffix("Equilibrate"), [&] { EquilibrateWalk(ctx).run(); });
}

}  // namespace cx
