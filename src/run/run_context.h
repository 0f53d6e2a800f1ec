// What every process of an iteration works on: the column, the run parameters, the event log,
// the interface, and the table of processes this build has.  Kept apart from the driver so that
// the processes (the initial state, the nodes' equilibrium, ...) and the driver include it
// without including each other.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"
#include "persist/event_log.h"

namespace cx {

struct RunContext;
class ColumnSolver;

// The processes of an iteration.  An empty entry is a process this build does not have: a setup
// that needs it does not start (the message names the switch that skips it).  Tests replace
// entries to inject failures.  Each process reports failure by setting ErrorFlag.
struct ProcessTable {
  using Step = std::function<void(RunContext&)>;
  Step FindInitial;    // iteration 0
  Step CompactPile;    // compaction velocities
  Step Advect;         // liquid, solid and gas transport
  Step MassDiffusion;  // liquid mass diffusion
  Step TDiffusion;     // thermal diffusion
  Step InflateColumn;  // growth of the column; sets a new DeltaX
  Step MixMagma;
  Step Equilibrate;
  Step MakeCumulate;  // crystals of the magma above the pile settle onto it
  Step Drip;          // dense crystal-rich liquid of the top node sinks
  Step AdjustNodes;   // node volumes after crystallization
  Step UpdateBulk;
  Step UpdateTrace;  // all nodes
};

// The processes this build has.
ProcessTable standardProcesses();

struct RunContext {
  Column& column;
  Settings& settings;
  EventLog& log;
  Port& port;
  std::filesystem::path folder;  // the working folder
  ProcessTable processes = standardProcesses();
  int iterationLimit = -1;  // a front end's limit on the iterations of this call (-1: none)
  // The phase-equilibrium solver of this run, made at its first use (tables, model, context).
  std::shared_ptr<ColumnSolver> solver{};
  // The linear stretch of each node in the last equilibration, for the node volume correction.
  Array1<double> Stretch{};
};

}  // namespace cx
