// The per-routine trap: a Fault raised inside `body` is reported as
//   "<number><suffix>"      e.g. "11 error in subroutine TDiffusion."
// through ErrorReport, ErrorFlag is set, and the routine returns false with its arrays as far as
// they came.  With TrapErrors off the fault is not caught and ends the run.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "base/diagnostics.h"
#include "base/fault.h"

namespace cx {

enum class TrapPause { FollowPauseOnError, Never };

// The usual suffix for a routine: " error in subroutine <name>."
inline std::string subroutineSuffix(std::string_view routine) {
  return std::string(" error in subroutine ") + std::string(routine) + ".";
}

template <class Body>
bool runTrapped(Diagnostics& diag, const std::string& suffix, Body&& body,
                TrapPause pause = TrapPause::FollowPauseOnError) {
  if (!diag.TrapErrors) {
    std::forward<Body>(body)();
    return true;
  }
  try {
    std::forward<Body>(body)();
    return true;
  } catch (const Fault& fault) {
    diag.ErrorFlag = true;
    diag.ErrorReport(std::to_string(fault.number()) + suffix,
                     pause == TrapPause::FollowPauseOnError && diag.PauseOnError);
    return false;
  }
}

}  // namespace cx
