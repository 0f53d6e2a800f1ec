// The console's port: a progress line on the terminal, messages on the error stream, questions
// answered by a fixed answer chosen on the command line, and a halt flag that a signal handler
// (Ctrl-C) may raise and the next turn of the interface notices.
#pragma once

#include <atomic>
#include <iosfwd>
#include <map>
#include <set>
#include <string>

#include "base/port.h"

namespace cx {

class ConsolePort : public Port {
 public:
  // `answer` answers every yes/no question; `interrupt` is raised from outside (Ctrl-C) and is
  // passed on to `halt` at the next turn.
  ConsolePort(std::ostream& err, bool answer, const std::atomic<bool>* interrupt,
              std::atomic<bool>* halt, bool progressLine);

  void setStatus(std::string_view text) override;
  void setModuleId(std::string_view text) override;
  void setLabel(std::string_view name, std::string_view text) override;
  void appendEvent(std::string_view text) override;
  void showMessage(std::string_view text) override;
  bool askYesNo(std::string_view question) override;
  void beep() override {}
  void doEvents() override;
  void showProgress(const ProgressInfo& info) override;
  void plotResults() override {}

  void setHaltTarget(std::atomic<bool>* halt) { halt_ = halt; }
  // Ends the progress line so that what follows starts on a line of its own.
  void finishLine();
  const std::string& label(const std::string& name) const;

 private:
  void drawProgress();
  std::ostream& err_;
  bool answer_;
  const std::atomic<bool>* interrupt_;
  std::atomic<bool>* halt_;
  bool progressLine_;
  bool lineOpen_ = false;
  int currentNode_ = 0;
  std::map<std::string, std::string> labels_;
  // Reports already shown: a repeat (a node skipped at every iteration) stays in the log only.
  std::set<std::string> shown_;
};

}  // namespace cx
