#include "transport/update_bulk.h"

#include <cmath>
#include <string>

#include "base/fault.h"
#include "base/text_format.h"
#include "base/trap.h"
#include "column/names.h"

namespace cx {

namespace {

// Indices of the oxides the gas touches.
constexpr int kFe2O3 = 4;
constexpr int kFeO = 6;
constexpr int kH2O = 13;
constexpr int kCO2 = 14;
constexpr int kS = 15;

// A density at or below this floor is taken as 1.0 before any division.
constexpr double kDensityFloor = 0.0001;
// A negative bulk oxide above this is rounding noise and silently becomes 0.
constexpr double kNegativeTolerance = -1e-05;
// Below this gas volume fraction a negative Fe2O3 cannot be the gas's doing.
constexpr double kGasFractionForRedox = 1e-07;
// A bulk that misses 100 wt % by more than this is renormalised and logged.
constexpr double kBulkMassTolerance = 0.1;
constexpr int kGasSpeciesSimple = 3;

void floorDensity(double& rho) {
  if (rho <= kDensityFloor) rho = 1.0;
}

}  // namespace

void gasOxideVector(const Column& c, int i, const ThermoTables& t, Array1<double>& g) {
  const auto mw = [&](int j) { return OxideMW[static_cast<std::size_t>(j)]; };
  const double x1 = c.GasComp(i, 1), x2 = c.GasComp(i, 2), x3 = c.GasComp(i, 3);
  // H2S: one H2O and one S, its missing oxygen taken from Fe2O3 (one Fe2O3 becomes two FeO).
  const double n3 = checkedDiv(x3, t.PhaseEndMW(kGasPhase, 3));
  g(kFe2O3) = -n3 * mw(kFe2O3);
  g(kFeO) = 2.0 * n3 * mw(kFeO);
  g(kH2O) = n3 * mw(kH2O) + x1;
  g(kCO2) = x2;
  g(kS) = n3 * mw(kS);
  if (c.gasSpeciesCount() <= kGasSpeciesSimple) return;
  const double x4 = c.GasComp(i, 4), x5 = c.GasComp(i, 5), x6 = c.GasComp(i, 6);
  const double n4 = checkedDiv(x4, t.PhaseEndMW(kGasPhase, 4));  // SO2
  const double n5 = checkedDiv(x5, t.PhaseEndMW(kGasPhase, 5));  // CO
  const double n6 = checkedDiv(x6, t.PhaseEndMW(kGasPhase, 6));  // CH4
  // SO2 gives its surplus oxygen to FeO, CO and CH4 take theirs from Fe2O3.  The CH4 terms (three
  // Fe2O3, six FeO, one H2O, no CO2) are not its stoichiometry; they are kept as they are on
  // purpose, so that bulk compositions agree with those of earlier runs.
  g(kFe2O3) += 2.0 * n4 * mw(kFe2O3) - n5 * mw(kFe2O3) - 3.0 * n6 * mw(kFe2O3);
  g(kFeO) += -4.0 * n4 * mw(kFeO) + 2.0 * n5 * mw(kFeO) + 6.0 * n6 * mw(kFeO);
  g(kH2O) += n6 * mw(kH2O);
  g(kCO2) += n5 * mw(kCO2);
  g(kS) += n4 * mw(kS);
}

void UpdateBulk(Column& c, int& first, int& last, const ThermoTables& t, Diagnostics& diag) {
  runTrapped(diag, subroutineSuffix("UpdateBulk"), [&] {
    // The gas's oxide vector lives across the nodes of one call: entries the gas of a node does
    // not write keep what an earlier node left.
    Array1<double> g(1, kOxides, 0.0);
    const bool manySpecies = c.gasSpeciesCount() > kGasSpeciesSimple;
    for (int i = first; i <= last; ++i) {
      floorDensity(c.RhoWater(i));
      floorDensity(c.RhoSolid(i));
      floorDensity(c.RhoLiq(i));
      const double rhoW = c.RhoWater(i), rhoS = c.RhoSolid(i), rhoL = c.RhoLiq(i);

      if (c.MassWater(i) > 0.0) gasOxideVector(c, i, t, g);

      // Volume fractions of the three phases.
      const double volW = c.MassWater(i) / rhoW;
      const double volL = c.MassLiq(i) / rhoL;
      const double volS = c.MassSolid(i) / rhoS;
      const double v = volS + volW + volL;
      const double fg = c.MassWater(i) > 0.0 ? checkedDiv(volW, v) : 0.0;
      const double fl = checkedDiv(volL, v);
      const double fs = c.MassSolid(i) > 0.0 ? checkedDiv(volS, v) : 0.0;
      c.FLiq(i) = fl;

      // Bulk density.  Exactly 1.0 means every density sat at its floor: a node that holds
      // nothing, and the bookkeeping stops there on purpose.
      const double r = fs * rhoS + fl * rhoL + fg * rhoW;
      if (r == 0.0 || r == 1.0) return;

      // Entropies per unit mass, weighted by the mass fraction of each phase.
      c.STotal(i) =
          checkedDiv(rhoS * c.SSolid(i) * fs + c.SLiq(i) * rhoL * fl + rhoW * c.SWater(i) * fg, r);

      double sum = 0.0;
      for (int j = 1; j <= kOxides; ++j) {
        double& bulk = c.BulkOx(i, j);
        bulk = checkedDiv(
            rhoW * g(j) * fg + c.LiqOx(i, j) * rhoL * fl + c.SolidOx(i, j) * rhoS * fs, r);
        if (bulk < 0.0 && bulk >= kNegativeTolerance) {
          bulk = 0.0;
        } else if (bulk < kNegativeTolerance) {
          const std::string node = "N: " + std::to_string(i) + ": Negative ";
          if (j == kFe2O3 && fg > kGasFractionForRedox) {
            // A reducing gas has taken more Fe2O3 than the node holds: drop the gas's redox
            // exchange and carry its species by their own masses.  FeO (j = 6) is computed next
            // with this altered vector.
            bulk = checkedDiv(c.SolidOx(i, kFe2O3) * rhoS * fs + c.LiqOx(i, kFe2O3) * rhoL * fl, r);
            g(kFeO) = 0.0;
            g(kH2O) = c.GasComp(i, 1);
            g(kCO2) = c.GasComp(i, 2);
            g(kS) = c.GasComp(i, 3);
            if (manySpecies) {
              g(kH2O) += c.GasComp(i, 6);
              g(kCO2) += c.GasComp(i, 5);
              g(kS) += c.GasComp(i, 4);
            }
            diag.ErrorReport(
                node + std::string(OxideNames[kFe2O3]) + " Ignoring Oxidation state of gas.",
                false);
          } else {
            bulk = 0.0;
            diag.ErrorFlag = false;
            diag.ErrorReport(node + std::string(OxideNames[static_cast<std::size_t>(j)]) +
                                 " set to 0.00 in subroutine UpdateBulk.",
                             false);
          }
          if (diag.HaltFlag.load()) return;
        }
        sum += bulk;
      }

      if (std::abs(sum - 100.0) > kBulkMassTolerance) {
        // "Step" though it prints the node number: the log has always read so, kept on purpose.
        diag.ErrorReport("Step: " + std::to_string(i) +
                             " - Bulk mass error: " + formatNumber(sum - 100.0, "fixed") +
                             ", Renormalized in UpdateBulk subroutine.",
                         false);
        const double scale = checkedDiv(100.0, sum);
        for (int j = 1; j <= kOxides; ++j) c.BulkOx(i, j) *= scale;
      }

      for (int k = 1; k <= kTraces; ++k) {
        const double bulk = checkedDiv(c.TraceLiq(i, k) * rhoL * fl, r) +
                            checkedDiv(c.TraceSolid(i, k) * rhoS * fs, r) +
                            checkedDiv(rhoW * c.TraceGasPpm(i, k) * fg, r);
        c.TraceBulk(i, k) = bulk < 0.0 ? 0.0 : bulk;
      }

      // Back to a node of 100 g: each phase's mass is its mass fraction times 100.
      c.MassWater(i) = checkedDiv(rhoW * 100.0 * fg, r);
      c.MassLiq(i) = checkedDiv(rhoL * 100.0 * c.FLiq(i), r);
      if (c.PhaseMass(i, kPhaseOrderSize) > 0.0) {
        const double s =
            checkedDiv(checkedDiv(fs * rhoS, r), c.PhaseMass(i, kPhaseOrderSize) / 100.0);
        for (int j = 1; j <= kPhaseOrderSize; ++j) c.PhaseMass(i, j) *= s;
        c.MassSolid(i) = c.PhaseMass(i, kPhaseOrderSize);
      }
    }
  });
}

}  // namespace cx
