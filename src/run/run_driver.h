// The time loop of the column (CXControl): validates the setup, saves it, finds or reuses the
// initial state, then repeats one iteration after another until the operator halts it or a
// limit stops it.  Each iteration chooses a time step, moves mass, heat and pressure between the
// nodes, re-equilibrates them and records the state.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "persist/event_log.h"
#include "run/column.h"
#include "run/settings.h"
#include "ui/port.h"

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
};

struct RunOutcome {
  bool error = false;   // the run stopped on an error (ErrorFlag at the end, or a start check)
  bool halted = false;  // the operator halted it
  std::string message;  // the last message shown or reported
};

// The processes a setup needs that `processes` does not have, as the message shown to the user;
// empty when the run can start.
std::string missingProcessMessage(const ProcessTable& processes, const Settings& settings);

// CXControl.  Returns how the run ended; ErrorFlag and HaltFlag of the log hold the same.
RunOutcome CXControl(RunContext& ctx);

// CmdStart: clears the flags, runs CXControl and leaves the interface as after a run.
RunOutcome CmdStart(RunContext& ctx);

// mnuMakeCurrentInitial: the present state becomes iteration 0 of a new history.  The output
// file is rewritten as that one block, the log starts anew, the present temperatures, bulk
// oxides and bulk traces become the entered ones, and the setup file is written.  The next start
// continues from this state.  Returns false (with the program's message) on failure.
bool MakeCurrentInitial(RunContext& ctx);

// Shows a time in days, or in years above one year, in a label pair.
void showTime(Port& port, const char* valueLabel, const char* captionLabel,
              const char* captionDays, const char* captionYears, double seconds);

}  // namespace cx
