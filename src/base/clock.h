// The wall-clock time of day in the event log.
#pragma once

#include <string>
#include <string_view>

namespace cx {

// "  hh:mm:ss", local time: the line the log takes at the start of each equilibration.
std::string clockLine();
// Whether a log line is such a time line (front ends keep these out of their event views).
bool isClockLine(std::string_view line);

}  // namespace cx
