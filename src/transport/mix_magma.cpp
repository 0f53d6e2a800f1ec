#include "transport/mix_magma.h"

#include <algorithm>

#include "base/trap.h"
#include "transport/node_parts.h"
#include "transport/update_bulk.h"

namespace cx {
namespace {

// A whole node taken as one material: its bulk composition, entropy and density.
Material wholeNode(const Column& c, int i) {
  const NodeVolumes v = nodeVolumes(c, i);
  Material m;
  m.volume = 1.0;
  m.mass = v.density();
  m.entropy = c.STotal(i);
  m.viscosity = c.LiqVisc(i);
  for (int k = 1; k <= kOxides; ++k) m.composition[static_cast<std::size_t>(k)] = c.BulkOx(i, k);
  for (int k = 1; k <= kTraces; ++k) m.trace[static_cast<std::size_t>(k)] = c.TraceBulk(i, k);
  return m;
}

void mixMagma(Column& c, const ThermoTables& tables, Diagnostics& diag) {
  const int N = c.NumNodes;
  const int top = std::max(c.TopNode, 0);
  if (top >= N && top >= 1) {
    // No magma above the pile-top node: only its own free liquid, which is already one.
    return;
  }
  // The free share of the pile-top node: the part of it above the pile.
  const double free =
      top >= 1 ? std::clamp((top * c.DeltaX - c.PileTop) / c.DeltaX, 0.0, 1.0) : 0.0;
  const bool pileNodeTakesPart = top >= 1 && free > 0.0 && c.RhoLiq(top) > 0.0;

  Material magma;
  NodeVolumes pileNode;
  if (pileNodeTakesPart) {
    pileNode = nodeVolumes(c, top);
    magma.add(liquidOf(c, top, pileNode));
  }
  for (int i = top + 1; i <= N; ++i) magma.add(wholeNode(c, i));

  for (int i = top + 1; i <= N; ++i) {
    writeNode(c, i, Material{}, magma.withVolume(1.0), Material{});
    c.STotal(i) = magma.entropy;
  }
  if (pileNodeTakesPart)
    writeNode(c, top, solidOf(c, top, pileNode), magma.withVolume(pileNode.liquid),
              gasOf(c, top, pileNode));
  int first = pileNodeTakesPart ? top : top + 1, last = N;
  UpdateBulk(c, first, last, tables, diag);
}

}  // namespace

void MixMagma(Column& c, const ThermoTables& tables, Diagnostics& diag, Port& port) {
  port.setModuleId("Adiabatic mix magma...");
  runTrapped(diag, subroutineSuffix("MixMagma"), [&] { mixMagma(c, tables, diag); });
}

}  // namespace cx
