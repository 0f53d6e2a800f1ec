// The reporting channel and the run flags every process sees.
//
// A process reports failure by setting ErrorFlag and returning; the operator's halt is HaltFlag
// (atomic, because a front end may set it from another thread while the run works).  Every report
// goes through ErrorReport(msg, pause): the event log, the events view and the status text, and
// with pause a question whether to abort (a Yes sets HaltFlag).
#pragma once

#include <atomic>
#include <string>
#include <vector>

namespace cx {

class Diagnostics {
 public:
  virtual ~Diagnostics() = default;
  virtual void ErrorReport(const std::string& msg, bool pause) = 0;

  bool ErrorFlag = false;
  std::atomic<bool> HaltFlag{false};
  bool PauseOnError = false;  // mirror of "Show All Errors"
  bool TrapErrors = true;     // when false, a fault ends the run instead of being reported
};

// A sink that keeps every report in memory and never pauses: for single-point front ends
// (thermo, liquid, equilibrate commands) and for tests.
class RecordingDiagnostics : public Diagnostics {
 public:
  void ErrorReport(const std::string& msg, bool pause) override {
    reports.push_back(msg);
    if (pause) ++pauses;
  }
  std::vector<std::string> reports;
  int pauses = 0;
};

}  // namespace cx
