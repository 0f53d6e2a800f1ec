#include "transport/adjust_nodes.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/text_format.h"
#include "base/trap.h"
#include "transport/node_parts.h"

namespace cx {
namespace {

constexpr double kGasMassFloor = 1e-8;      // g: a remapped gas mass below this is 0
constexpr double kLiquidMassFloor = 1e-6;   // g: the least liquid a remapped node keeps
constexpr double kSolidMassFloor = 0.0001;  // g: a remapped solid mass below this is 0
constexpr double kCompositionFloor = 1e-7;  // an oxide or trace below this is 0
constexpr double kRoundingShare = 1e-12;    // a share of a node this small is rounding

// One node of the column before the remap: its three parts and what belongs to the place.
struct OldNode {
  Material solid, liquid, gas;
  double temp = 0.0, press = 0.0, viscosity = 0.0, fo2 = 0.0;
  double density = 0.0;  // bulk: mass per unit volume
  double entropy = 0.0;  // STotal
  std::array<double, kOxides + 1> bulk{};
  std::array<double, kTraces + 1> traceBulk{};
};

void readOldNode(const Column& c, int i, OldNode& o) {
  const NodeVolumes v = nodeVolumes(c, i);
  readSolid(c, i, v, o.solid);
  readLiquid(c, i, v, o.liquid);
  readGas(c, i, v, o.gas);
  o.temp = c.Temp(i);
  o.press = c.Press(i);
  o.viscosity = c.LiqVisc(i);
  o.fo2 = c.FO2(i);
  o.density = v.density();
  o.entropy = c.STotal(i);
  static_cast<void>(c.BulkOx(i, kOxides));
  static_cast<void>(c.TraceBulk(i, kTraces));
  for (int k = 1; k <= kOxides; ++k) o.bulk[static_cast<std::size_t>(k)] = c.BulkOx.unchecked(i, k);
  for (int k = 1; k <= kTraces; ++k)
    o.traceBulk[static_cast<std::size_t>(k)] = c.TraceBulk.unchecked(i, k);
}

// New node i as the overlap-weighted sum of the old nodes below it, at it and above it: each
// takes its share of every old node's volume, solids, liquid and gas alike, so the remap keeps
// the mass of every oxide and trace element and the entropy.
struct Parts {
  Material solid, liquid, gas;
};

void remapNode(Column& c, int i, const std::array<const OldNode*, 3>& old,
               const std::array<double, 3>& w, Parts& parts, int& TopNode) {
  Material& solid = parts.solid;
  Material& liquid = parts.liquid;
  Material& gas = parts.gas;
  solid.empty();
  liquid.empty();
  gas.empty();
  double temp = 0.0, press = 0.0, viscosity = 0.0, fo2 = 0.0, mass = 0.0, entropy = 0.0;
  std::array<double, kOxides + 1> bulk{};
  std::array<double, kTraces + 1> traceBulk{};
  for (std::size_t n = 0; n < 3; ++n) {
    if (w[n] == 0.0) continue;
    const OldNode& o = *old[n];
    if (o.solid.volume > 0.0) solid.add(o.solid, w[n] * o.solid.volume);
    if (o.liquid.volume > 0.0) liquid.add(o.liquid, w[n] * o.liquid.volume);
    if (o.gas.volume > 0.0) gas.add(o.gas, w[n] * o.gas.volume);
    temp += w[n] * o.temp;
    press += w[n] * o.press;
    viscosity += w[n] * o.viscosity;
    fo2 += w[n] * o.fo2;
    const double m = w[n] * o.density;
    mass += m;
    entropy += m * o.entropy;
    for (std::size_t k = 1; k < bulk.size(); ++k) bulk[k] += m * o.bulk[k];
    for (std::size_t k = 1; k < traceBulk.size(); ++k) traceBulk[k] += m * o.traceBulk[k];
  }
  // A trace of solids or gas is none: the node holds no such part at all.
  const double total = solid.mass + liquid.mass + gas.mass;
  if (!(100.0 * solid.mass >= kSolidMassFloor * total)) solid.empty();
  if (!(100.0 * gas.mass >= kGasMassFloor * total)) gas.empty();
  if (solid.mass > 0.0) {
    for (double& x : solid.composition)
      if (x < kCompositionFloor) x = 0.0;
    for (double& x : solid.trace)
      if (x < kCompositionFloor) x = 0.0;
  }
  if (liquid.mass > 0.0)
    for (double& x : liquid.composition)
      if (x < kCompositionFloor) x = 0.0;
  writeNode(c, i, solid, liquid, gas);
  c.Temp(i) = temp;
  c.Press(i) = press;
  c.LiqVisc(i) = viscosity;
  c.FO2(i) = fo2;
  if (mass > 0.0) {
    c.STotal(i) = entropy / mass;
    for (int k = 1; k <= kOxides; ++k) c.BulkOx(i, k) = bulk[static_cast<std::size_t>(k)] / mass;
    for (int k = 1; k <= kTraces; ++k)
      c.TraceBulk(i, k) = traceBulk[static_cast<std::size_t>(k)] / mass;
  }
  if (c.MassLiq(i) < kLiquidMassFloor) c.MassLiq(i) = kLiquidMassFloor;
  if (c.MassSolid(i) == 0.0 && i == TopNode && i > 1) --TopNode;
}

}  // namespace

double nodeStretch(double rhoBefore, double rhoAfter) {
  if (!(rhoBefore > 0.0) || !(rhoAfter > 0.0)) return 1.0;
  return std::pow(rhoBefore / rhoAfter, 0.3333333);
}

void AdjustNodes(Column& c, const Settings& s, const Array1<double>& Stretch, int& TopNode,
                 Diagnostics& diag, Port& port) {
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

    // A window of the old state: node i - 1 (already overwritten, so kept), i and i + 1, in
    // three slots that take turns.
    std::array<OldNode, 3> window;
    OldNode* below = &window[0];
    OldNode* at = &window[1];
    OldNode* above = &window[2];
    readOldNode(c, 1, *at);
    Parts parts;
    double z = 0.0;  // the top of old node i on the stretched grid
    for (int i = 1; i <= N; ++i) {
      if (i < N) readOldNode(c, i + 1, *above);
      // Overshoots of the stretched node's lower and upper faces past the new node's faces: the
      // new node takes the gap below from the node below, the gap above from the node above.
      const double a = z - (i - 1) * d1;
      z += d0 * Stretch(i);
      const double b = z - i * d1;
      // A gap of the order of the rounding of the lengths is no gap.
      const double tiny = kRoundingShare * d1;
      std::array<double, 3> w{};
      w[0] = a > tiny ? checkedDiv(a, d1) : 0.0;
      w[2] = b < -tiny ? checkedDiv(-b, d1) : 0.0;
      w[1] = 1.0 - w[0] - w[2];
      remapNode(c, i, {i > 1 ? below : at, at, i < N ? above : at}, w, parts, TopNode);
      std::swap(below, at);  // the old node i becomes the one below
      std::swap(at, above);  // and the old node i + 1 the one at hand
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
