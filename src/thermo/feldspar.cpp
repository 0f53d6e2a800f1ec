#include "thermo/feldspar.h"

#include "base/fault.h"
#include "thermo/constants.h"

namespace cx {

namespace {
constexpr double kR = kGasConstant;
}

FeldsparEnergyResult FeldsparEnergy(const Array1<double>& G0End, double T, double P, double Xab,
                                    double Xor) {
  const double a = Xab, b = Xor, c = 1.0 - Xab - Xor;
  const double g0Ab = G0End(kAlbiteRow), g0An = G0End(kAnorthiteRow), g0Or = G0End(kOrthoclaseRow);
  // Interaction parameters (J/mol) of the subregular ternary; the ab-an parameter that would
  // multiply a c (a + b/2) is zero in this model.
  const double wAbOr = 18810.0 - 10.3 * T + 0.4602 * P;  // a b (b + c/2)
  const double wOrAb = 27320.0 - 10.3 * T + 0.3264 * P;  // a b (a + c/2)
  const double wAbAn = 7924.0;                           // a c (c + b/2)
  const double wAnOr = 38974.0 - 0.1037 * P;             // b c (b + a/2)
  const double wOrAn = 40317.0;                          // b c (c + a/2)
  const double wTern = 12545.0 - 1.095 * P;              // a b c

  FeldsparEnergyResult r;
  r.G = g0Ab * a + g0Or * b + g0An * c + wAbOr * a * b * (b + c / 2.0) +
        wOrAb * a * b * (a + c / 2.0) + wAbAn * a * c * (c + b / 2.0) +
        wAnOr * b * c * (b + a / 2.0) + wOrAn * b * c * (c + a / 2.0) + wTern * a * b * c;

  // Partial derivatives with a, b and c taken as independent ...
  const double dA = g0Ab + wAbOr * b * (b + c / 2.0) + wOrAb * b * (2.0 * a + c / 2.0) +
                    wAbAn * c * (c + b / 2.0) + wAnOr * b * c / 2.0 + wOrAn * b * c / 2.0 +
                    wTern * b * c;
  const double dB = g0Or + wAbOr * a * (2.0 * b + c / 2.0) + wOrAb * a * (a + c / 2.0) +
                    wAbAn * a * c / 2.0 + wAnOr * c * (2.0 * b + a / 2.0) +
                    wOrAn * c * (c + a / 2.0) + wTern * a * c;
  const double dC = g0An + wAbOr * a * b / 2.0 + wOrAb * a * b / 2.0 +
                    wAbAn * a * (2.0 * c + b / 2.0) + wAnOr * b * (b + a / 2.0) +
                    wOrAn * b * (2.0 * c + a / 2.0) + wTern * a * b;
  // ... and then with c = 1 - a - b following.
  r.Gab = dA - dC;
  r.Gor = dB - dC;
  r.muAn = r.G - a * r.Gab - b * r.Gor;
  r.muAb = r.muAn + r.Gab;
  r.muOr = r.muAn + r.Gor;
  return r;
}

void ActFeldspar(const Array1<double>& G0End, double T, double P, double Xan, double Xab,
                 double Xor, double& aAn, double& aAb, double& aOr) {
  if (Xan > 0.99999 || Xab > 0.99999 || Xor > 0.99999) {
    aAn = Xan;
    aAb = Xab;
    aOr = Xor;
    return;
  }
  const FeldsparEnergyResult e = FeldsparEnergy(G0End, T, P, Xab, Xor);
  const double rt = kR * T;
  aAn = Xan > 1e-6 ? (1.0 - Xab - Xor) * checkedExp(checkedDiv(e.muAn - G0End(kAnorthiteRow), rt))
                   : Xan;
  aAb = Xab > 1e-6 ? Xab * checkedExp(checkedDiv(e.muAb - G0End(kAlbiteRow), rt)) : Xab;
  // Intended: orthoclase goes through the model down to a tenth of the others' threshold.
  aOr = Xor > 1e-7 ? Xor * checkedExp(checkedDiv(e.muOr - G0End(kOrthoclaseRow), rt)) : Xor;
}

}  // namespace cx
