#include "persist/event_log.h"

#include "persist/files.h"

namespace cx {

void EventLog::writeLine(const std::string& msg) {
  if (!file_.is_open()) return;
  // A log that cannot be written is no failure of the run.
  file_ << msg << kEol;
  file_.flush();
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
  close();
  path_ = folder / std::string(kLogFileName);
  file_.open(path_, std::ios::binary | (forAppend ? std::ios::app : std::ios::trunc));
}

void EventLog::close() {
  if (file_.is_open()) file_.close();
  path_.clear();
}

void EventLog::clearFile() {
  if (path_.empty()) return;
  const auto path = path_;
  close();
  path_ = path;
  file_.open(path_, std::ios::binary | std::ios::trunc);
}

}  // namespace cx
