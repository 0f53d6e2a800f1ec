#include "persist/event_log.h"

#include "persist/files.h"

namespace cx {

void EventLog::writeLine(const std::string& msg) {
  if (path_.empty()) return;
  std::string line = msg;
  line += kEol;
  appendToFile(path_, line);  // a log that cannot be written is no failure of the run
}

void EventLog::ErrorReport(const std::string& msg, bool pause) {
  port_.appendEvent(msg);
  port_.setStatus(msg);
  writeLine(msg);
  if (pause) {
    port_.beep();
    if (port_.askYesNo(msg + "\n ... Abort?")) HaltFlag = true;
  }
}

void EventLog::append(const std::string& msg) {
  port_.appendEvent(msg);
  writeLine(msg);
}

void EventLog::open(const std::filesystem::path& folder, bool forAppend) {
  path_ = folder / std::string(kLogFileName);
  if (!forAppend) writeFileAtomically(path_, "");
}

void EventLog::clearFile() {
  if (!path_.empty()) writeFileAtomically(path_, "");
}

}  // namespace cx
