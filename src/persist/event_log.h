// The event log: the program's one reporting channel.
//
// ErrorReport(msg, pause) appends the message to the events view, puts it in the status text,
// writes it to "CXlog.txt" when the log is open (a closed log is no failure), and with pause
// beeps and asks "... Abort?"; a Yes sets HaltFlag.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "base/diagnostics.h"
#include "base/port.h"

namespace cx {

inline constexpr std::string_view kLogFileName = "CXlog.txt";

class EventLog : public Diagnostics {
 public:
  explicit EventLog(Port& port) : port_(port) {}

  void ErrorReport(const std::string& msg, bool pause) override;
  // A line for the log and the events view that is no report (the status text stays).
  void append(const std::string& msg);

  // Opens "CXlog.txt" in `folder`, empty (a new run) or for append (a run that continues).
  void open(const std::filesystem::path& folder, bool forAppend);
  void close();
  bool isOpen() const { return file_.is_open(); }
  // Erases the log file (the events view's "Clear").
  void clearFile();

  Port& port() { return port_; }

 private:
  void writeLine(const std::string& msg);
  Port& port_;
  std::filesystem::path path_;
  std::ofstream file_;  // kept open while a run goes, each line flushed
};

}  // namespace cx
