// What the logic asks of an interface.  The console implementation (console_port.h) prints;
// the desktop program will marshal these calls to its window; tests use RecordingPort.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cx {

// One report of the stable-assemblage minimizer's progress: what the progress display shows.
struct ProgressInfo {
  int node = 0;               // CurrentNode
  double temperatureK = 0.0;  // CurrentT
  double pressureBar = 0.0;   // CurrentP
  int attempt = 0;            // the attempt count
  int attemptsTotal = 0;      // shown after "\" when T is not held constant
  bool constantT = true;
  int components = 0;
  double norm = 0.0;
  double hsqpFlag = 0.0;  // the quadratic program's error flag
  double stepLength = 0.0;
  std::vector<std::string> constrainedComponents;  // formulas of constrained liquid components
  std::vector<int> saturatedPhases;                // phase ids
  std::vector<double> affinities;                  // one per saturated phase, J
};

class Port {
 public:
  virtual ~Port() = default;
  virtual void setStatus(std::string_view text) = 0;    // txtbxStatus
  virtual void setModuleId(std::string_view text) = 0;  // txtbxModuleID
  // A named display field: "lblIteration", "lblTimeStep", "lblTStepLabel", "lblTotalTime", ...
  virtual void setLabel(std::string_view name, std::string_view text) = 0;
  virtual void appendEvent(std::string_view text) = 0;  // the events view (rtErrors)
  virtual void showMessage(std::string_view text) = 0;  // a message box
  virtual bool askYesNo(std::string_view question) = 0;
  virtual void beep() = 0;
  // Gives the interface a turn: the only place where a halt from outside is noticed.
  virtual void doEvents() = 0;
  // The turn between two iterations of a run: the one place where a front end may hold the run
  // while the operator edits the setup (the run is then between iterations and touches nothing).
  // True when it held the run, so that the run derives again what it takes from the setup.
  virtual bool iterationTurn() {
    doEvents();
    return false;
  }
  virtual void showProgress(const ProgressInfo& info) = 0;
  // The column's results changed: a front end may redraw its graphs (cheap, called often).
  virtual void plotResults() = 0;
};

// A port that does nothing and answers every question with a fixed answer.
class NullPort : public Port {
 public:
  explicit NullPort(bool answer = false) : answer_(answer) {}
  void setStatus(std::string_view) override {}
  void setModuleId(std::string_view) override {}
  void setLabel(std::string_view, std::string_view) override {}
  void appendEvent(std::string_view) override {}
  void showMessage(std::string_view) override {}
  bool askYesNo(std::string_view) override { return answer_; }
  void beep() override {}
  void doEvents() override {}
  void showProgress(const ProgressInfo&) override {}
  void plotResults() override {}

 private:
  bool answer_;
};

}  // namespace cx
