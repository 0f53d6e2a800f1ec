// The equilibrium of the column's nodes: each node's bulk composition, pressure and thermal
// constraint go to the stable-assemblage minimizer, and its answer comes back as the node's
// temperature, masses, densities, entropies, phase report and oxide lists.
//
// Units of the stored node: masses in grams on the node's own mass basis (100 g after the bulk
// bookkeeping), densities in g per J/bar, entropies and heat capacity per gram (J/K/g), so that
// a node's STotal is the mass-weighted mean of its liquid, solid and gas entropies.  The
// minimizer works on 100 g of the node's bulk: its entropy target is 100 STotal.
#pragma once

#include <memory>

#include "base/diagnostics.h"
#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"
#include "solver/stable_phases.h"
#include "thermo/silicate_liquid.h"
#include "thermo/thermo_tables.h"

namespace cx {

struct RunContext;

// The phase-equilibrium solver of one column and one thread: the immutable tables (loaded once),
// the model of the column's activity options and exclusions (rebuilt when they change) and the
// minimizer's work context.  The minimizer's carry-over state of a node is the node's own
// PhaseCount, PhaseList and Xstable.
class ColumnSolver {
 public:
  ColumnSolver();
  ColumnSolver(const ColumnSolver&) = delete;
  ColumnSolver& operator=(const ColumnSolver&) = delete;
  ~ColumnSolver();

  // The model for this column's options, reporting to diag and port.
  EquilibriumModel& model(const Column& column, const Settings& settings, Diagnostics& diag,
                          Port& port);
  // The minimizer context of the model last returned by model().
  MinimizerContext& minimizer() { return *minimizer_; }
  const ThermoTables& tables() const { return tables_; }
  const LiquidTables& liquidTables() const { return liquidTables_; }

 private:
  ThermoTables tables_;
  LiquidTables liquidTables_;
  ModelOptions options_;
  Diagnostics* diag_ = nullptr;
  Port* port_ = nullptr;
  std::unique_ptr<EquilibriumModel> model_;
  std::unique_ptr<MinimizerContext> minimizer_;
};

// The solver of a run, created at its first use.
ColumnSolver& columnSolver(RunContext& ctx);

// The minimizer's state of node i: its bulk moles (from BulkOx, per 100 g), its last assemblage
// as the start of the search.  False when the bulk cannot be formed into liquid components.
bool loadNodeState(const Column& c, int i, EquilibriumModel& model, MinimizerState& st);

// Solves node i from its stored state (loadNodeState) in the mode and with the target already
// set in st.  Clears ErrorFlag first; T and P come back as solved.  False when the node failed:
// ErrorFlag is then set.  The model is left at T and P.  A search from the node's last assemblage
// that fails is tried again from each neighbour's.  With fromLiquid the search starts from the
// liquid alone, and only from there.
bool solveNode(const Column& c, int i, EquilibriumModel& model, MinimizerContext& ctx,
               MinimizerState& st, double& T, double& P, bool fromLiquid = false);

// How a solved node is stored: the gas limit below which a gas is no gas, and the node's mass,
// which the solve keeps.
struct StoreOptions {
  double gasLimit = 1e-7;   // g per 100 g
  double nodeMass = 100.0;  // g: the node's mass before the solve, kept
};

// Writes the solved state of node i (at the model's present T and P) into the column: Temp,
// masses, FLiq, densities, entropies, CpBulk, LiqOx, SolidOx, BulkOx, FO2, LiqVisc, the phase
// report (UpdatePhases) and the node's assemblage for the next start.
void storeNodeResult(Column& c, int i, EquilibriumModel& model, const MinimizerState& st,
                     const StoreOptions& options);

// UpdatePhases: PhaseMass (cumulative over PhaseOrder), PhaseX, the gas fields and GasComp of
// node i from the node's assemblage (PhaseCount, PhaseList, Xstable on the 100 g basis), scaled
// to the node's masses.
void UpdatePhases(Column& c, int i, const EquilibriumModel& model);

// Equilibrate: every node solved at its entropy (or temperature, where pinned), failed nodes
// repaired from their neighbours.  Sets ErrorFlag only for a run-time fault.
void Equilibrate(RunContext& ctx);

}  // namespace cx
