#include "transport/thermal_diffusion.h"

#include "base/trap.h"

namespace cx {

void applyBoundaryTemperatures(Column& c, const Settings& s) {
  int lo = c.Temp.lo(), hi = c.Temp.hi();
  if (s.run.chkSkipFarfield == 1) {
    lo = 1;
    hi = c.NumNodes;
  }
  // A slab end always follows its rate; a column end only when it does not float.
  if (s.run.chkTBottom == 0 || lo < 1) c.Temp(lo) += c.BottomCoolRate * c.DeltaT;
  if (s.run.chkTTop == 0 || hi > c.NumNodes) c.Temp(hi) += c.TopCoolRate * c.DeltaT;
  // The clamps apply in this order, to floating ends as well.
  const double maxBottom = s.misc(misc::kMaxTBottom) + kKelvinOffset;
  const double minBottom = s.misc(misc::kMinTBottom) + kKelvinOffset;
  const double maxTop = s.misc(misc::kMaxTTop) + kKelvinOffset;
  const double minTop = s.misc(misc::kMinTTop) + kKelvinOffset;
  if (c.Temp(lo) > maxBottom) c.Temp(lo) = maxBottom;
  if (c.Temp(lo) < minBottom) c.Temp(lo) = minBottom;
  if (c.Temp(hi) > maxTop) c.Temp(hi) = maxTop;
  if (c.Temp(hi) < minTop) c.Temp(hi) = minTop;
}

void TDiffusion(Column& c, const Settings& s, Diagnostics& diag, Port& port) {
  port.setModuleId("Thermal diffusion...");
  runTrapped(
      diag, subroutineSuffix("TDiffusion"),
      [&] {
        const double kappa = s.misc(misc::kDiffusivity);
        const int lo = c.Temp.lo(), hi = c.Temp.hi();
        if (hi - lo < 2) return;  // two points: both are fixed ends
        // Each interior equation: T(i-1) + b T(i) + T(i+1) = c T_old(i), with
        // c = -dx^2 / (dt kappa) and b = -2 + c.
        const double cc = -checkedDiv(c.DeltaX * c.DeltaX, c.DeltaT * kappa);
        const double b = -2.0 + cc;
        if (hi - lo == 2) {  // one interior point: its equation alone
          c.Temp(lo + 1) = checkedDiv(cc * c.Temp(lo + 1) - c.Temp(lo) - c.Temp(hi), b);
          return;
        }
        Array1<double> A(lo, hi), B(lo, hi);
        A(lo + 1) = b;
        B(lo + 1) = checkedDiv(cc * c.Temp(lo + 1) - c.Temp(lo), b);
        for (int i = lo + 2; i <= hi - 2; ++i) {
          A(i) = b - checkedDiv(1.0, A(i - 1));
          B(i) = checkedDiv(cc * c.Temp(i) - B(i - 1), A(i));
        }
        A(hi - 1) = b - checkedDiv(1.0, A(hi - 2));
        B(hi - 1) = checkedDiv(cc * c.Temp(hi - 1) - c.Temp(hi) - B(hi - 2), A(hi - 1));
        // Back substitution; the two ends are never written (Dirichlet conditions).
        c.Temp(hi - 1) = B(hi - 1);
        for (int i = hi - 2; i >= lo + 1; --i) c.Temp(i) = B(i) - checkedDiv(c.Temp(i + 1), A(i));
      },
      TrapPause::Never);
}

}  // namespace cx
