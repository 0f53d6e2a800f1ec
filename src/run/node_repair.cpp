#include "run/node_repair.h"

#include <limits>
#include <string>

#include "base/fault.h"
#include "base/text_format.h"
#include "base/trap.h"

namespace cx {

namespace {

// Lower limits of the repaired fields: no mass, oxide or gas share may turn negative (or vanish,
// which would leave a phase the next minimization cannot start from).
constexpr double kNoLimit = -std::numeric_limits<double>::infinity();
constexpr double kMinMassSolid = 1e-06;
constexpr double kMinMassWater = 1e-08;
constexpr double kMinMassLiq = 1e-06;
constexpr double kMinLiqOx = 1e-07;
constexpr double kMinSolidOx = 0.1;
constexpr double kMinGasComp = 1e-07;

// Writes every repaired field of `node` in the fixed order.  `estimate(get)` combines the values
// get(n) of the neighbours it uses; with `clamp` each result is held at its lower limit.
template <class Estimate>
void setNodeFields(Column& c, int node, Estimate estimate, bool clamp) {
  const auto one = [&](Array1<double>& a, double lower = kNoLimit) {
    double v = estimate([&a](int n) { return a(n); });
    if (clamp && v < lower) v = lower;
    a(node) = v;
  };
  const auto row = [&](Array2<double>& a, int hi, double lower = kNoLimit) {
    for (int k = 1; k <= hi; ++k) {
      double v = estimate([&a, k](int n) { return a(n, k); });
      if (clamp && v < lower) v = lower;
      a(node, k) = v;
    }
  };
  one(c.SSolid);
  one(c.RhoSolid);
  one(c.MassSolid, kMinMassSolid);
  one(c.RhoWater);
  one(c.MassWater, kMinMassWater);
  one(c.SWater);
  one(c.STotal);
  one(c.Temp);
  one(c.Press);
  one(c.SLiq);
  one(c.MassLiq, kMinMassLiq);
  one(c.RhoLiq);
  one(c.FLiq);
  one(c.LiqVisc);
  one(c.FO2);
  row(c.LiqOx, kOxides, kMinLiqOx);
  row(c.SolidOx, kOxides, kMinSolidOx);
  row(c.TraceLiq, kTraces);
  row(c.TraceGasPpm, kTraces);
  row(c.TraceSolid, kTraces);
  row(c.PhaseMass, kPhaseOrderSize);
  row(c.GasComp, c.gasSpeciesCount(), kMinGasComp);
}

// The minimizer's start: the saturated phases and the moles of their endmembers.
void copyAssemblage(Column& c, int node, int from) {
  c.PhaseCount(node) = c.PhaseCount(from);
  for (int k = c.PhaseList.colLo(); k <= c.PhaseList.colHi(); ++k)
    c.PhaseList(node, k) = c.PhaseList(from, k);
  for (int k = c.Xstable.colLo(); k <= c.Xstable.colHi(); ++k)
    c.Xstable(node, k) = c.Xstable(from, k);
}

// The bulk of liquid and solids together, each oxide weighted by the phase's mass.
void rebuildBulkOx(Column& c, int node) {
  const double mL = c.MassLiq(node), mS = c.MassSolid(node);
  for (int k = 1; k <= kOxides; ++k)
    c.BulkOx(node, k) = checkedDiv(c.LiqOx(node, k) * mL + c.SolidOx(node, k) * mS, mL + mS);
}

void requireNode(const Column& c, int n, const char* what) {
  if (n < 1 || n > c.NumNodes)
    raiseFault(kFaultSubscript, std::string(what) + " node " + std::to_string(n) +
                                    " is not in 1.." + std::to_string(c.NumNodes));
}

std::string repairMessage(const char* text, const Column& c, int node) {
  return text + std::to_string(node) + "  Time: " + formatNumber(c.TotalTime, "Fixed");
}

}  // namespace

bool Extrapolate(Column& c, int node, Diagnostics& diag) {
  return runTrapped(diag, subroutineSuffix("Extrapolate"), [&] {
    diag.ErrorReport(repairMessage("Extrapolating problem node: ", c, node), false);
    int direction = 0;  // towards the two good nodes
    if (node == 1) {
      direction = 1;
    } else if (node == c.NumNodes) {
      direction = -1;
    } else {
      raiseFault(kFaultInvalidCall,
                 "Extrapolate needs an end node, not node " + std::to_string(node));
    }
    const int nearNode = node + direction, farNode = node + 2 * direction;
    requireNode(c, nearNode, "Extrapolate: neighbour");
    requireNode(c, farNode, "Extrapolate: neighbour");
    setNodeFields(
        c, node, [&](auto get) { return 2.0 * get(nearNode) - get(farNode); }, true);
    copyAssemblage(c, node, nearNode);
    rebuildBulkOx(c, node);
  });
}

bool Interpolate(Column& c, int node, Diagnostics& diag) {
  return runTrapped(diag, subroutineSuffix("Interpolate"), [&] {
    diag.ErrorReport(repairMessage("Interpolating probelm node: ", c, node), false);
    requireNode(c, node - 1, "Interpolate: neighbour");
    requireNode(c, node + 1, "Interpolate: neighbour");
    setNodeFields(
        c, node, [&](auto get) { return (get(node - 1) + get(node + 1)) / 2.0; }, true);
    // Both neighbours are equally near; the lower one gives the assemblage.
    copyAssemblage(c, node, node - 1);
    rebuildBulkOx(c, node);
  });
}

bool UseNextPrevious(Column& c, int node, int offset, Diagnostics& diag) {
  return runTrapped(diag, subroutineSuffix("UseNextPrevious"), [&] {
    if (offset != 1 && offset != -1)
      raiseFault(kFaultInvalidCall,
                 "UseNextPrevious: offset " + std::to_string(offset) + " is not +1 or -1");
    requireNode(c, node, "UseNextPrevious:");
    const int from = node + offset;
    requireNode(c, from, "UseNextPrevious: neighbour");
    setNodeFields(
        c, node, [from](auto get) { return get(from); }, false);
    copyAssemblage(c, node, from);
    for (int k = 1; k <= kOxides; ++k) c.BulkOx(node, k) = c.BulkOx(from, k);
  });
}

}  // namespace cx
