// The time loop of the column (CXControl): validates the setup, saves it, finds or reuses the
// initial state, then repeats one iteration after another until the operator halts it or a
// limit stops it.  Each iteration chooses a time step, moves mass, heat and pressure between the
// nodes, re-equilibrates them and records the state.
#pragma once

#include <string>

#include "base/port.h"
#include "run/run_context.h"

namespace cx {

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
void showTime(Port& port, const char* valueLabel, const char* captionLabel, const char* captionDays,
              const char* captionYears, double seconds);

}  // namespace cx
