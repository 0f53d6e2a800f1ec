// A port that records every call, for tests: what the user would have seen, in order.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/port.h"

namespace cx {

class RecordingPort : public Port {
 public:
  void setStatus(std::string_view t) override { status = t, statusHistory.emplace_back(t); }
  void setModuleId(std::string_view t) override { moduleId = t; }
  void setLabel(std::string_view n, std::string_view t) override { labels[std::string(n)] = t; }
  void appendEvent(std::string_view t) override { events.emplace_back(t); }
  void showMessage(std::string_view t) override { messages.emplace_back(t); }
  bool askYesNo(std::string_view q) override {
    questions.emplace_back(q);
    return answer;
  }
  void beep() override { ++beeps; }
  void doEvents() override {
    ++turns;
    if (onTurn) onTurn(turns);
  }
  void showProgress(const ProgressInfo& info) override { progress.push_back(info); }
  void plotResults() override { ++plots; }

  bool answer = false;              // the answer to every question
  std::function<void(int)> onTurn;  // called at each turn with its count (to halt a run)
  std::string status, moduleId;
  std::vector<std::string> statusHistory, events, messages, questions;
  std::map<std::string, std::string> labels;
  std::vector<ProgressInfo> progress;
  int beeps = 0, turns = 0, plots = 0;
};

}  // namespace cx
