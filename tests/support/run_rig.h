// A column ready to run in a scratch folder, with a recording port: the driver's tests and the
// equilibration tests start from it.
#pragma once

#include <algorithm>
#include <string>

#include "persist/event_log.h"
#include "persist/files.h"
#include "run/run_driver.h"
#include "support/fixtures.h"
#include "ui/recording_port.h"

namespace cx::test {

struct RunRig {
  ScratchFolder folder{"run"};
  Column column;
  Settings settings;
  RecordingPort port;
  EventLog log{port};
  RunContext ctx{column, settings, log, port, folder.path()};

  explicit RunRig(int nodes = 5, double tempC = 1200.0) {
    makeBasaltColumn(column, settings, nodes, tempC);
  }
  RunOutcome run(int iterations) {
    ctx.iterationLimit = iterations;
    return CmdStart(ctx);
  }
  std::string output() const {
    return readWholeFile(folder.path() / "CXoutput.txt").value_or("");
  }
  std::string logText() const { return readWholeFile(folder.path() / "CXlog.txt").value_or(""); }
  // Whether this line went to the events view.
  bool logged(const std::string& line) const {
    return std::find(port.events.begin(), port.events.end(), line) != port.events.end();
  }
};

}  // namespace cx::test
