// Run-time faults and their traps.
//
// A numerical routine that meets an impossible operation (a division by zero, the log of a
// non-positive number, an index outside an array) raises a Fault at that point.  Each routine
// that keeps a trap catches it at its own boundary (see trap.h), reports
//   "<number> error in subroutine <Name>."
// through the event log, sets ErrorFlag and returns with its arrays as they stand; its caller
// carries on.  With trapping off the fault travels up and ends the run with its message.
#pragma once

#include <cmath>
#include <stdexcept>
#include <string>

namespace cx {

// The fault numbers the program reports; they are the classic run-time error numbers.
enum FaultNumber : int {
  kFaultInvalidCall = 5,    // invalid procedure call or argument (log of x <= 0, sqrt of x < 0)
  kFaultOverflow = 6,       // overflow (exp too large, a result that is not finite)
  kFaultSubscript = 9,      // subscript out of range
  kFaultDivisionByZero = 11 // division by zero
};

// The short description of a fault number, as a user reads it in the event log.
inline const char* faultDescription(int number) {
  switch (number) {
    case kFaultInvalidCall: return "Invalid procedure call or argument";
    case kFaultOverflow: return "Overflow";
    case kFaultSubscript: return "Subscript out of range";
    case kFaultDivisionByZero: return "Division by zero";
    default: return "Run-time error";
  }
}

class Fault : public std::runtime_error {
 public:
  explicit Fault(int number, const std::string& detail = {})
      : std::runtime_error(detail.empty() ? faultDescription(number) : detail), number_(number) {}
  int number() const noexcept { return number_; }

 private:
  int number_;
};

[[noreturn]] inline void raiseFault(int number, const std::string& detail = {}) {
  throw Fault(number, detail);
}

// Checked arithmetic: each raises the fault the platform would raise, so that no NaN or
// infinity leaves the routine unreported.
inline double checkedDiv(double numerator, double denominator) {
  if (denominator == 0.0) raiseFault(kFaultDivisionByZero);
  const double q = numerator / denominator;
  if (!std::isfinite(q) && std::isfinite(numerator)) raiseFault(kFaultOverflow);
  return q;
}

inline double checkedLog(double x) {
  if (!(x > 0.0)) raiseFault(kFaultInvalidCall, "Invalid procedure call or argument (log)");
  return std::log(x);
}

inline double checkedSqrt(double x) {
  if (!(x >= 0.0)) raiseFault(kFaultInvalidCall, "Invalid procedure call or argument (sqrt)");
  return std::sqrt(x);
}

inline double checkedExp(double x) {
  const double e = std::exp(x);
  if (!std::isfinite(e)) raiseFault(kFaultOverflow);
  return e;
}

// x^y with the platform's rules: a negative base needs a whole exponent, 0^negative divides by 0.
inline double checkedPow(double x, double y) {
  if (x == 0.0 && y < 0.0) raiseFault(kFaultDivisionByZero);
  if (x < 0.0 && y != std::floor(y)) raiseFault(kFaultInvalidCall);
  const double p = std::pow(x, y);
  if (!std::isfinite(p)) raiseFault(kFaultOverflow);
  return p;
}

}  // namespace cx
