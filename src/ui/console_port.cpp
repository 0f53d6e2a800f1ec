#include "ui/console_port.h"

#include <ostream>

#include "base/clock.h"

namespace cx {

ConsolePort::ConsolePort(std::ostream& err, bool answer, const std::atomic<bool>* interrupt,
                         std::atomic<bool>* halt, bool progressLine)
    : err_(err), answer_(answer), interrupt_(interrupt), halt_(halt), progressLine_(progressLine) {}

void ConsolePort::finishLine() {
  if (lineOpen_) {
    err_ << '\n';
    lineOpen_ = false;
  }
}

const std::string& ConsolePort::label(const std::string& name) const {
  static const std::string kEmpty;  // immutable
  const auto it = labels_.find(name);
  return it == labels_.end() ? kEmpty : it->second;
}

void ConsolePort::setStatus(std::string_view) {}
void ConsolePort::setModuleId(std::string_view) {}

void ConsolePort::setLabel(std::string_view name, std::string_view text) {
  labels_[std::string(name)] = std::string(text);
  if (name == "lblIteration") drawProgress();
}

void ConsolePort::appendEvent(std::string_view text) {
  // Routine lines of the log stay in the log; reports (failures, repairs) reach the terminal.
  if (text.rfind("Begin iteration: ", 0) == 0 || text.rfind("  Saved iteration: ", 0) == 0 ||
      isClockLine(text))
    return;
  if (!shown_.emplace(text).second) return;
  finishLine();
  if (shown_.size() == 1) err_ << "(each report is shown once here; CXlog.txt has them all)\n";
  err_ << text << '\n';
}

void ConsolePort::showMessage(std::string_view text) {
  finishLine();
  err_ << text << '\n';
}

bool ConsolePort::askYesNo(std::string_view question) {
  finishLine();
  err_ << question << (answer_ ? " [answered yes]" : " [answered no]") << '\n';
  return answer_;
}

void ConsolePort::doEvents() {
  if (interrupt_ && halt_ && interrupt_->load()) *halt_ = true;
}

void ConsolePort::showProgress(const ProgressInfo& info) {
  currentNode_ = info.node;
  drawProgress();
}

void ConsolePort::drawProgress() {
  if (!progressLine_) return;
  std::string line = "Iteration " + label("lblIteration") + "  time " + label("lblTotalTime") +
                     " " + (label("lblTTimeLable").find("yrs") != std::string::npos ? "yr" : "d") +
                     "  step " + label("lblTimeStep") + " " +
                     (label("lblTStepLabel").find("yrs") != std::string::npos ? "yr" : "d");
  if (currentNode_ > 0) line += "  node " + std::to_string(currentNode_);
  err_ << '\r' << line << "   " << std::flush;
  lineOpen_ = true;
}

}  // namespace cx
