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

// How a trapped fault is reported: with the pause of "Show All Errors"; never with a pause; or,
// for routines that run thousands of times inside the minimizer (whose own failure is reported
// instead), only when "Show All Errors" is on, and then with the pause.
enum class TrapPause { FollowPauseOnError, Never, OnlyWhenPausing };

// The usual suffix for a routine: " error in subroutine <name>."
inline std::string subroutineSuffix(std::string_view routine) {
  return std::string(" error in subroutine ") + std::string(routine) + ".";
}

// A routine named for its trap, whose suffix is formed only when a fault is reported: the
// routines that run thousands of times per solve would otherwise build the text at every call.
struct Subroutine {
  std::string_view name;
};

namespace trap_detail {
template <class Body, class Suffix>
bool run(Diagnostics& diag, const Suffix& suffix, Body&& body, TrapPause pause) {
  if (!diag.TrapErrors) {
    std::forward<Body>(body)();
    return true;
  }
  try {
    std::forward<Body>(body)();
    return true;
  } catch (const Fault& fault) {
    diag.ErrorFlag = true;
    if (pause == TrapPause::OnlyWhenPausing && !diag.PauseOnError) return false;
    diag.ErrorReport(std::to_string(fault.number()) + suffix(),
                     pause != TrapPause::Never && diag.PauseOnError);
    return false;
  }
}
}  // namespace trap_detail

template <class Body>
bool runTrapped(Diagnostics& diag, const std::string& suffix, Body&& body,
                TrapPause pause = TrapPause::FollowPauseOnError) {
  return trap_detail::run(
      diag, [&] { return suffix; }, std::forward<Body>(body), pause);
}

template <class Body>
bool runTrapped(Diagnostics& diag, Subroutine routine, Body&& body,
                TrapPause pause = TrapPause::FollowPauseOnError) {
  return trap_detail::run(
      diag, [&] { return subroutineSuffix(routine.name); }, std::forward<Body>(body), pause);
}

}  // namespace cx
