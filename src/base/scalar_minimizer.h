// The two small numerical foundations of the solver: the machine precision and Brent's
// one-dimensional minimizer in reverse-communication form.
#pragma once

namespace cx {

// The machine precision, found by experiment: the smallest power of the floating-point base
// whose sum with 1 still exceeds 1.  Computed once at start-up and handed to the routines that
// need it.
double MachEps();

// The state of one Brent search, kept between the calls of that search.
struct BrentRecord {
  double a = 0.0, b = 0.0;           // the bracket, a < b
  double x = 0.0, w = 0.0, v = 0.0;  // best, second best and previous second best points
  double fx = 0.0, fw = 0.0, fv = 0.0;
  double u = 0.0;           // the point handed to the caller for evaluation
  double d = 0.0, e = 0.0;  // the last step and the one before it
  int iterations = 0;
};

inline constexpr int kBrentMaxIterations = 200;

// Brent's method for a minimum, returning to the caller for each function value.
//
// The caller sets Flag to 0, evaluates f at Bx into Fx and calls.  On return with Flag 1 it
// evaluates f at Xmin into Fx and calls again.  Flag -1: converged, Xmin and Fmin hold the
// minimum.  Flag -2: 200 iterations without convergence, Xmin and Fmin hold the best point so
// far.  A call with Flag other than 1 starts a new search with the bracket [min(Ax,Cx),
// max(Ax,Cx)].  Tol is the relative tolerance on x; machEps the machine precision.
void BrentMinimization(BrentRecord& rec, double machEps, double Ax, double Bx, double Cx, double Fx,
                       double Tol, double& Xmin, double& Fmin, int& Flag);

}  // namespace cx
