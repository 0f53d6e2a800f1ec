#include "thermo/olivine_opx.h"

#include <cmath>
#include <string>

#include "base/fault.h"
#include "base/trap.h"
#include "thermo/constants.h"

namespace cx {

namespace {

constexpr double kR = kGasConstant;
constexpr double kRcal = 1.98726;  // cal/mol/K: the opx model is written in calories
constexpr double kHalfRcal = 0.99363;

bool exponentAllowed(double e) {
  return e >= kActExponentLow && e <= kActExponentHigh;
}

// The trap texts, formed once: these routines run in the innermost loops.
const std::string& olivineSuffix() {
  static const std::string suffix = subroutineSuffix("ActOlivine");
  return suffix;
}
const std::string& opxSuffix() {
  static const std::string suffix = subroutineSuffix("ActOpx");
  return suffix;
}

}  // namespace

void ActOlivine(double T, double P, double Xfo, double& aFo, double& aFa, bool& failed,
                Diagnostics& diag) {
  failed = false;
  const bool ok = runTrapped(diag, olivineSuffix(), [&] {
    const double x = Xfo;
    const double y = 1.0 - x;
    if (y < 0.0 || x < 0.0) {
      failed = true;
      return;
    }
    // Fe-Mg interaction per formula unit (two sites), with its small volume term.
    const double w = 20333.268 + 0.03012336 * (P - 1.0);
    const double rt = kR * T;
    const double e1 = checkedDiv(y * y * w, rt);
    if (!exponentAllowed(e1)) {
      failed = true;
      return;
    }
    const double a1 = checkedExp(e1) * x * x;
    const double e2 = checkedDiv(x * x * w, rt);
    if (!exponentAllowed(e2)) {
      failed = true;
      return;
    }
    const double a2 = checkedExp(e2) * y * y;
    aFo = a1;
    aFa = a2;
  });
  if (!ok) failed = true;
}

void ActOpx(double T, double P, double Xen, double& aEn, double& aFs, bool& failed, double machEps,
            Diagnostics& diag) {
  failed = false;
  const bool ok = runTrapped(diag, opxSuffix(), [&] {
    // Interaction and ordering parameters in cal/mol; Gx is the free energy of the exchange
    // Fe(M1) + Mg(M2) = Mg(M1) + Fe(M2), Wv its volume.
    constexpr double w = 2000.0, a = -450.0, wv = 0.0135;
    const double gx = -1870.0 - 0.029 * (P - 1.0);
    double x = 1.0 - 2.0 * Xen;
    if (x <= -0.9999 || x >= 0.9999) {
      // Near either end the order makes no difference that matters: the ideal line.
      aEn = Xen;
      aFs = 1.0 - Xen;
      return;
    }
    // Intended: this test can never be reached after the one above; it is kept in its place.
    if (x == -1.0 || x == 1.0) {
      failed = true;
      return;
    }
    if (x == 0.0) x = 1e-6;  // gives the iteration a defined starting sign

    const double wTerm = 2.0 * w - a + (P - 1.0) * wv;
    double s = 0.0, sOld = 2.0;
    double sa = 0.0, sb = 0.0, sc = 0.0, sd = 0.0;  // site fractions of the last pass
    int iter = 0;
    while (std::fabs(s - sOld) > 1e-7) {
      if (++iter > 250) {
        failed = true;
        return;
      }
      sa = (1.0 - x + s) / 2.0;
      sb = (1.0 + x - s) / 2.0;
      sc = (1.0 - x - s) / 2.0;
      sd = (1.0 + x + s) / 2.0;
      const double f = gx + (-kRcal) * T * checkedLog(checkedDiv(sc * sb, sa * sd)) - s * wTerm;
      const double df = kHalfRcal * T *
                            (checkedDiv(1.0, sc) + checkedDiv(1.0, sb) + checkedDiv(1.0, sa) +
                             checkedDiv(1.0, sd)) -
                        wTerm;
      sOld = s;
      s = s - checkedDiv(f, df);
      // Keep every site fraction positive: a step beyond the range lands within eps of it.
      const double l1 = x - 1.0 + machEps, l2 = -x - 1.0 + machEps;
      if (s < l1 && l1 > l2)
        s = l1;
      else if (s < l2 && l2 > l1)
        s = l2;
      const double u1 = x + 1.0 - machEps, u2 = -x + 1.0 - machEps;
      if (s > u1 && u1 < u2)
        s = u1;
      else if (s > u2 && u2 < u1)
        s = u2;
    }
    // The activities use the site fractions of the last pass, that is of the order parameter
    // before its final update, which differs from the converged one by less than 1e-7.
    const double rt = kRcal * T;
    const double e1 = checkedDiv(
        (sb * sb + sd * sd) * w + sb * sd * a + (1.0 + x) * (1.0 + x) * (P - 1.0) * wv / 4.0, rt);
    if (!exponentAllowed(e1)) {
      failed = true;
      return;
    }
    const double a1 = checkedExp(e1) * sa * sc;
    const double e2 = checkedDiv(
        (sc * sc + sa * sa) * w + sc * sa * a + (1.0 - x) * (1.0 - x) * (P - 1.0) * wv / 4.0, rt);
    if (!exponentAllowed(e2)) {
      failed = true;
      return;
    }
    const double a2 = checkedExp(e2) * sb * sd;
    if (a1 < 0.0 || a2 < 0.0) {
      failed = true;
      return;
    }
    aEn = a1;
    aFs = a2;
  });
  if (!ok) failed = true;
}

}  // namespace cx
