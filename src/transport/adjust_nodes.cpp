#include "transport/adjust_nodes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "base/text_format.h"
#include "base/trap.h"
#include "transport/node_volumes.h"
#include "transport/update_bulk.h"

namespace cx {
namespace {

constexpr double kGasPresent = 1e-6;      // g: less gas than this is no gas in the remap
constexpr double kGasMassFloor = 1e-8;    // g: a remapped gas mass below this is 0
constexpr double kLiquidMassFloor = 1e-6;  // g: the least liquid a remapped node keeps
constexpr double kSolidMassFloor = 0.0001;  // g: a remapped solid mass below this is 0
constexpr double kCompositionFloor = 1e-7;  // an oxide, trace or gas species below this is 0

// The state of the column before the remap.
struct Snapshot {
  Array1<double> SSolid, RhoSolid, MassSolid, RhoWater, MassWater, SWater, Temp, Press, SLiq,
      MassLiq, RhoLiq, LiqVisc, FO2;
  Array2<double> LiqOx, SolidOx, TraceLiq, TraceGasPpm, TraceSolid, PhaseMass, GasComp;
  std::vector<NodeVolumes> volumes;  // 1..NumNodes

  explicit Snapshot(const Column& c)
      : SSolid(c.SSolid),
        RhoSolid(c.RhoSolid),
        MassSolid(c.MassSolid),
        RhoWater(c.RhoWater),
        MassWater(c.MassWater),
        SWater(c.SWater),
        Temp(c.Temp),
        Press(c.Press),
        SLiq(c.SLiq),
        MassLiq(c.MassLiq),
        RhoLiq(c.RhoLiq),
        LiqVisc(c.LiqVisc),
        FO2(c.FO2),
        LiqOx(c.LiqOx),
        SolidOx(c.SolidOx),
        TraceLiq(c.TraceLiq),
        TraceGasPpm(c.TraceGasPpm),
        TraceSolid(c.TraceSolid),
        PhaseMass(c.PhaseMass),
        GasComp(c.GasComp),
        volumes(static_cast<std::size_t>(c.NumNodes + 1)) {
    for (int i = 1; i <= c.NumNodes; ++i) {
      if (RhoWater(i) == 0.0) RhoWater(i) = 1.0;
      if (RhoSolid(i) == 0.0) RhoSolid(i) = 1.0;
      NodeVolumes& v = volumes[static_cast<std::size_t>(i)];
      v = nodeVolumes(c, i);
      if (!(MassWater(i) > kGasPresent)) {
        // A trace of gas counts as none; its volume goes to the liquid.
        v.liquid += v.gas;
        v.gas = 0.0;
      }
    }
  }
  const NodeVolumes& volume(int i) const { return volumes[static_cast<std::size_t>(i)]; }
};

// The three old nodes that overlap a new one (below, itself, above) and their weights.
struct Overlap {
  std::array<int, 3> node{};
  std::array<double, 3> w{};
};

// Sets row i of `out` to the weighted mean of the rows of `old` (the same shape, the rows of
// `o` within it); a result below `floor` is 0.
void blendRow(Array2<double>& out, int i, const Array2<double>& old, const Overlap& o,
              const std::array<double, 3>& weight, double floor) {
  out(i, out.colLo());  // the row exists (the old rows are neighbours of it)
  for (int k = out.colLo(); k <= out.colHi(); ++k) {
    double v = 0.0;
    for (std::size_t n = 0; n < 3; ++n)
      if (weight[n] != 0.0) v += weight[n] * old.unchecked(o.node[n], k);
    out.unchecked(i, k) = v < floor ? 0.0 : v;
  }
}
double blend(const Array1<double>& old, const Overlap& o, const std::array<double, 3>& weight) {
  double v = 0.0;
  for (std::size_t n = 0; n < 3; ++n)
    if (weight[n] != 0.0) v += weight[n] * old(o.node[n]);
  return v;
}

// Weights proportional to w x share x density, normalised; false when they carry no mass.
bool massWeights(const Overlap& o, const std::array<double, 3>& share,
                 const std::array<double, 3>& density, std::array<double, 3>& weight,
                 double& mass, double& volume) {
  mass = volume = 0.0;
  for (std::size_t n = 0; n < 3; ++n) {
    weight[n] = o.w[n] * share[n] * density[n];
    mass += weight[n];
    volume += o.w[n] * share[n];
  }
  if (!(mass > 0.0)) return false;
  for (double& w : weight) w /= mass;
  return true;
}

void dropTopNode(int i, int& TopNode) {
  if (i == TopNode && i > 1) TopNode = std::max(1, TopNode - 1);
}

void remapNode(Column& c, int i, const Snapshot& old, const Overlap& o, int& TopNode) {
  std::array<double, 3> share{}, density{}, weight{};
  double mass = 0.0, volume = 0.0;
  auto vol = [&](std::size_t n) { return old.volume(o.node[n]); };

  c.Temp(i) = blend(old.Temp, o, o.w);
  c.Press(i) = blend(old.Press, o, o.w);
  c.LiqVisc(i) = blend(old.LiqVisc, o, o.w);
  c.FO2(i) = blend(old.FO2, o, o.w);
  double liquidFraction = 0.0;
  for (std::size_t n = 0; n < 3; ++n) liquidFraction += o.w[n] * vol(n).liquid;
  c.FLiq(i) = liquidFraction;

  // Solids, weighted by the solid mass each old node contributes.
  for (std::size_t n = 0; n < 3; ++n) {
    share[n] = vol(n).solid;
    density[n] = old.RhoSolid(o.node[n]);
  }
  if (massWeights(o, share, density, weight, mass, volume)) {
    c.RhoSolid(i) = mass / volume;
    blendRow(c.SolidOx, i, old.SolidOx, o, weight, kCompositionFloor);
    blendRow(c.TraceSolid, i, old.TraceSolid, o, weight, kCompositionFloor);
    blendRow(c.PhaseMass, i, old.PhaseMass, o, weight, -1.0);
    c.MassSolid(i) = blend(old.MassSolid, o, weight);
    // The entropy of the lower neighbour's solid enters with its overlap alone, not with its
    // solid mass: kept as it is on purpose, so that runs stay comparable with earlier ones.
    std::array<double, 3> entropyWeight = weight;
    entropyWeight[0] = o.w[0] / mass;
    c.SSolid(i) = blend(old.SSolid, o, entropyWeight);
    if (c.MassSolid(i) < kSolidMassFloor) {
      c.MassSolid(i) = 0.0;
      dropTopNode(i, TopNode);
    }
  } else {
    c.MassSolid(i) = 0.0;
    dropTopNode(i, TopNode);
  }

  // Liquid, weighted by the liquid mass each old node contributes.
  for (std::size_t n = 0; n < 3; ++n) {
    share[n] = vol(n).liquid;
    density[n] = old.RhoLiq(o.node[n]);
  }
  if (massWeights(o, share, density, weight, mass, volume)) {
    c.RhoLiq(i) = mass / volume;
    c.SLiq(i) = blend(old.SLiq, o, weight);
    c.MassLiq(i) = std::max(blend(old.MassLiq, o, weight), kLiquidMassFloor);
    blendRow(c.LiqOx, i, old.LiqOx, o, weight, kCompositionFloor);
    blendRow(c.TraceLiq, i, old.TraceLiq, o, weight, -1.0);
  }

  // Gas, weighted by the gas mass each old node contributes.
  bool gas = false;
  if (old.MassWater(i) > kGasPresent) {
    for (std::size_t n = 0; n < 3; ++n) {
      share[n] = vol(n).gas;
      density[n] = old.RhoWater(o.node[n]);
    }
    gas = massWeights(o, share, density, weight, mass, volume);
  }
  if (gas) {
    c.RhoWater(i) = mass / volume;
    c.SWater(i) = blend(old.SWater, o, weight);
    c.MassWater(i) = blend(old.MassWater, o, weight);
    if (c.MassWater(i) < kGasMassFloor) c.MassWater(i) = 0.0;
    blendRow(c.TraceGasPpm, i, old.TraceGasPpm, o, weight, -1.0);
    blendRow(c.GasComp, i, old.GasComp, o, weight, kCompositionFloor);
    double sum = 0.0;
    for (int k = c.GasComp.colLo(); k <= c.GasComp.colHi(); ++k) sum += c.GasComp(i, k);
    if (sum > 0.0)
      for (int k = c.GasComp.colLo(); k <= c.GasComp.colHi(); ++k) c.GasComp(i, k) *= 100.0 / sum;
  } else {
    c.MassWater(i) = 0.0;
    c.SWater(i) = 0.0;
    c.RhoWater(i) = 1.0;
    for (int k = c.GasComp.colLo(); k <= c.GasComp.colHi(); ++k) c.GasComp(i, k) = 0.0;
    for (int k = 1; k <= kTraces; ++k) c.TraceGasPpm(i, k) = 0.0;
  }
}

}  // namespace

double nodeStretch(double rhoBefore, double rhoAfter) {
  if (!(rhoBefore > 0.0) || !(rhoAfter > 0.0)) return 1.0;
  return std::pow(rhoBefore / rhoAfter, 0.3333333);
}

void AdjustNodes(Column& c, const Settings& s, const Array1<double>& Stretch, int& TopNode,
                 const ThermoTables& tables, Diagnostics& diag, Port& port) {
  runTrapped(diag, subroutineSuffix("AdjustNodes"), [&] {
    const int N = c.NumNodes;
    const double d0 = c.LengthR8 / N;
    // The new length, and the pile top carried with its node.
    double length = 0.0;
    for (int i = 1; i <= N; ++i) {
      if (i == TopNode && s.optionCompact) {
        const double p = std::clamp((c.PileTop - (i - 1) * d0) / d0, 0.0, 1.0);
        c.PileTop = p * d0 * Stretch(i) + length;
      }
      length += d0 * Stretch(i);
    }
    c.LengthR8 = length;
    const double d1 = length / N;
    c.DeltaX = d1;
    port.setLabel("lblPileTop", formatNumber(c.PileTop / 100.0, "fixed"));
    port.setLabel("lblLength", formatNumber(c.LengthR8 / 100.0, "fixed"));

    const Snapshot old(c);
    double z = 0.0;  // the top of old node i on the stretched grid
    for (int i = 1; i <= N; ++i) {
      // Overshoots of the stretched node's lower and upper faces past the new node's faces: the
      // new node takes the gap below from the node below, the gap above from the node above.
      const double a = z - (i - 1) * d1;
      z += d0 * Stretch(i);
      const double b = z - i * d1;
      Overlap o;
      o.node = {i > 1 ? i - 1 : i, i, i < N ? i + 1 : i};
      o.w[0] = a > 0.0 ? checkedDiv(a, d1) : 0.0;
      o.w[2] = b < 0.0 ? checkedDiv(-b, d1) : 0.0;
      o.w[1] = 1.0 - o.w[0] - o.w[2];
      remapNode(c, i, old, o, TopNode);
      int first = i, last = i;
      UpdateBulk(c, first, last, tables, diag);
    }
    port.plotResults();
    if (TopNode < N && s.optionCompact && s.optionBottomAccum) {
      // The node above a settling pile holds no crystals.  Its liquid mass is written as a
      // fraction, not in grams; kept as it is on purpose, so that runs stay comparable with
      // earlier ones (the bookkeeping scales it back to the node's 100 g).
      c.MassSolid(TopNode + 1) = 0.0;
      c.MassLiq(TopNode + 1) = 1.0 - c.MassWater(TopNode + 1);
    }
  });
}

}  // namespace cx
