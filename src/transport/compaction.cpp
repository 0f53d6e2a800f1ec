#include "transport/compaction.h"

#include <algorithm>
#include <array>

#include "base/text_format.h"

namespace cx {

void FindPileTop(Column& c, const Settings& s, Port& port) {
  int i = 1;
  while (i <= c.NumNodes && c.MassSolid(i) > 0.0) ++i;
  if (i > c.NumNodes) {
    c.TopNode = c.NumNodes;
  } else if (i > 1) {
    c.TopNode = i - 1;
  } else {
    c.TopNode = 1;
  }
  if (s.optionInfiltrate) {
    c.PileTop = c.TopNode * c.DeltaX;
  } else {
    // The test is deliberately on e, the base of the top node, not on the height f above it.
    const double f = c.PileTop - (c.TopNode - 1) * c.DeltaX;
    const double e = c.PileTop - f;
    if (e < 0.0) {
      c.PileTop = (c.TopNode - 1) * c.DeltaX;
    } else if (e > c.DeltaX) {
      c.PileTop = c.TopNode * c.DeltaX;
    }
  }
  port.setLabel("lblPileTop", formatNumber(c.PileTop / 100.0, "fixed"));
  port.setLabel("lblTopNode", std::to_string(c.TopNode));
}

}  // namespace cx

namespace cx {

namespace {

constexpr double kGravity = 980.0;  // cm/s^2

// The pile's highest node: with drip on, the top of the unbroken run of crystal-bearing nodes
// from the base; otherwise the highest node holding any crystals.
int compactionTopNode(const Column& c, const Settings& s) {
  int top = 1;
  if (s.OptionDrip) {
    for (int i = 1; i <= c.NumNodes; ++i) {
      if (c.MassSolid(i) > 1e-05) top = i;
      if (c.MassSolid(i) < 0.001) break;
    }
  } else {
    for (int i = c.NumNodes; i >= 1; --i) {
      if (c.MassSolid(i) > 1e-05) {
        top = i;
        break;
      }
    }
  }
  return top;
}

// Melt viscosity in poise used for the drag.
double meltViscosity(const Column& c, const Settings& s, int i) {
  return s.chkConstantVis != 0 ? s.compact(compact::kLiquidViscosity) * 10.0 : c.LiqVisc(i);
}

}  // namespace

CompactionVelocities CompactPile(const Column& c, const Settings& s, Port& port) {
  port.setModuleId("Compacting crystal pile...");
  const int n = c.NumNodes;
  CompactionVelocities out;
  out.VSolid.redim(1, n);
  out.VLiq.redim(1, n);
  out.VRatio.redim(1, n);

  Array1<double> phi(1, n), dRho(1, n);
  for (int i = 1; i <= n; ++i) {
    const double solidVolume = c.MassSolid(i) / c.RhoSolid(i);
    const double v = solidVolume + c.MassWater(i) / c.RhoWater(i) + c.MassLiq(i) / c.RhoLiq(i);
    phi(i) = c.MassLiq(i) > 0.0 ? 1.0 - solidVolume / v : 0.0;
  }
  const int t = compactionTopNode(c, s);
  const int b = 1;
  out.TopNode = t;
  out.PileBottom = b;
  if (t - 1 <= 2) return out;

  for (int i = 1; i <= t; ++i) {
    phi(i) = std::clamp(phi(i), 0.0001, 0.9999);
    dRho(i) = s.chkConstantRho != 0 ? s.compact(compact::kDensityDifference)
                                    : (c.RhoSolid(i) - c.RhoLiq(i)) * 0.1;
  }
  // The top node is partly filled: its porosity is that of the crystals spread over the part
  // below the pile top, or, when crystals accumulate from below, no more than the initial
  // pile porosity.
  if (s.optionBottomAccum) {
    const double initial = s.misc(misc::kInitialLiquidFraction);
    if (phi(t - 1) > initial)
      phi(t) = initial;
    else
      phi(t) = phi(t - 1);
  } else {
    const double p = std::max((c.PileTop - (t - 1) * c.DeltaX) / c.DeltaX, 1e-05);
    phi(t) = std::min(1.0 - (1.0 - c.FLiq(t)) / p, 0.9999);
  }

  const double a = s.compact(compact::kGrainRadiusMm) * 0.1;
  const double eta = s.compact(compact::kSolidViscosity) * 10.0;
  const double ko = s.compact(compact::kPermeability);
  const double dx2 = c.DeltaX * c.DeltaX;
  // Per node: the solid fraction, the diagonal of the drag plus curvature, and the buoyancy
  // source.
  struct Row {
    double solid, d, q;
  };
  auto row = [&](int i) {
    const double sol = 1.0 - phi(i);
    const double permRatio = phi(i) == 1.0 ? 1.0 : phi(i) * phi(i) * phi(i) / (sol * sol);
    const double k = a * a * ko * permRatio;
    const double drag = -(meltViscosity(c, s, i) / eta) / k;
    return Row{sol, -2.0 * sol / dx2 + drag, -sol * kGravity * dRho(i) / eta};
  };

  Array1<double> sup(1, n), diag(1, n), rhs(1, n);
  {
    const Row r = row(b);
    const double dphi = (phi(b + 1) - phi(b)) / c.DeltaX;
    sup(b) = r.solid / dx2 - dphi / (2.0 * c.DeltaX);
    diag(b) = r.d;
    rhs(b) = -r.q / r.d;
  }
  for (int i = b + 1; i <= t - 1; ++i) {
    const Row r = row(i);
    const double dphi = (phi(i + 1) - phi(i - 1)) / (2.0 * c.DeltaX);
    const double sub = r.solid / dx2 + dphi / (2.0 * c.DeltaX);
    sup(i) = r.solid / dx2 - dphi / (2.0 * c.DeltaX);
    diag(i) = r.d - sub * sup(i - 1) / diag(i - 1);
    rhs(i) = (-r.q - sub * rhs(i - 1)) / diag(i);
  }
  {
    // Zero gradient at the top: the neighbour above mirrors the one below.
    const Row r = row(t);
    const double sub = 2.0 * r.solid / dx2;
    sup(t) = 0.0;
    diag(t) = r.d - sub * sup(t - 1) / diag(t - 1);
    rhs(t) = (-r.q - sub * rhs(t - 1)) / diag(t);
  }
  for (int i = t; i >= b; --i) {
    out.VSolid(i) = i == t ? rhs(t) : rhs(i) - sup(i) * out.VSolid(i + 1) / diag(i);
    out.VLiq(i) = -((1.0 - phi(i)) / phi(i)) * out.VSolid(i);
  }
  // The base is a floor: the matrix cannot lift off it.
  if (out.VSolid(1) > 0.0) {
    out.VSolid(1) = 0.0;
    out.VLiq(1) = 0.0;
  }

  // Ratio to the velocity at which the liquid flow would fluidize the grains.
  for (int i = b; i <= t; ++i) {
    const double f = c.FLiq(i);
    if (f == 1.0 || f == 0.0) continue;
    const double vc = (ko * a * a / meltViscosity(c, s, i)) * kGravity * dRho(i);
    out.VRatio(i) = (-out.VSolid(i) / vc) / (f * f * f / (1.0 - f));
  }
  return out;
}

bool UseHadleyValues(Settings& s, Port& port) {
  if (!port.askYesNo("Do you wish to use the values from Tobias Hadley's Palisades study?"))
    return false;
  static constexpr std::array<const char*, compact::kCount> kHadley = {
      "0.95", "0.001", "0.3", "5e14", "11.0", "0.0015", "0.3"};
  for (int k = 0; k < compact::kCount; ++k)
    s.editCompactField(k, kHadley[static_cast<std::size_t>(k)]);
  return true;
}

void restoreFluidizationRatio(Column& column, const Settings& settings) {
  column.VRatio.fill(0.0);
  if (!settings.compacting()) return;
  NullPort quiet;
  column.VRatio = CompactPile(column, settings, quiet).VRatio;
}

}  // namespace cx
