#include "transport/make_cumulate.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/trap.h"
#include "transport/node_parts.h"
#include "transport/update_bulk.h"

namespace cx {
namespace {

// A layer thinner than this share of a node's space ends the filling: it is rounding.
constexpr double kNegligibleShare = 1e-12;

void makeCumulate(Column& c, int n, double phi, int& TopNode, const ThermoTables& tables,
                  Diagnostics& diag) {
  int t = std::max(TopNode, 1);
  if (t >= n) return;
  const double dx = c.DeltaX;
  std::vector<NodeVolumes> v(static_cast<std::size_t>(n + 1));
  for (int i = t; i <= n; ++i) v[static_cast<std::size_t>(i)] = nodeVolumes(c, i);
  auto vol = [&](int i) -> const NodeVolumes& { return v[static_cast<std::size_t>(i)]; };
  // The space of a node that solids and liquid share: the gas keeps its own.
  auto space = [&](int i) { return 1.0 - vol(i).gas; };
  const bool emptyPile = t == 1 && !(vol(1).solid > 0.0);

  // A node whose solids fill it at the pile's porosity is full: the pile top is its upper face
  // and the next node holds it.
  if (vol(t).solid >= (1.0 - phi) * space(t)) {
    c.PileTop = t * dx;
    ++t;
    if (t == n) return;
    TopNode = t;
  }
  // The solids of node t are pile, packed at the pile's porosity: they set the pile top.
  const double p = space(t) > 0.0 ? std::min(vol(t).solid / ((1.0 - phi) * space(t)), 1.0) : 1.0;
  c.PileTop = (t - 1 + p) * dx;

  // The magma: node t's free share and every node above.  Its solids settle, its liquid mixes.
  Material crystals, magma;
  magma.add(liquidOf(c, t, vol(t)).withVolume((1.0 - p) * space(t)));
  double room = (1.0 - p) * space(t);
  for (int j = t + 1; j <= n; ++j) {
    crystals.add(solidOf(c, j, vol(j)));
    magma.add(liquidOf(c, j, vol(j)));
    room += space(j);
  }
  if (!(crystals.volume > 0.0)) return;

  // The new layer, packed at the pile's porosity unless the column cannot hold it.
  double porosity = phi;
  double layer = crystals.volume / (1.0 - phi);
  if (layer > room) {
    porosity = 1.0 - crystals.volume / room;
    layer = room;
  }
  auto pileIn = [&](double share) {  // solids and pore liquid of a layer of this volume
    return std::pair{crystals.withVolume(share * (1.0 - porosity)),
                     magma.withVolume(share * porosity)};
  };

  // Node t: its own solids and pore liquid, the new layer, then magma liquid above it.
  const Material oldSolid = solidOf(c, t, vol(t));
  const Material oldPoreLiquid = liquidOf(c, t, vol(t)).withVolume(p * phi * space(t));
  const Material gasT = gasOf(c, t, vol(t));
  const double free = (1.0 - p) * space(t);
  const double inT = std::min(layer, free);
  {
    auto [solid, pore] = pileIn(inT);
    Material s = oldSolid;
    s.add(solid);
    Material l = oldPoreLiquid;
    l.add(pore);
    l.add(magma.withVolume(free - inT));
    writeNode(c, t, s, l, gasT);
  }
  double rest = layer - inT;
  double top = (t - 1 + p + (space(t) > 0.0 ? inT / space(t) : 0.0)) * dx;
  int m = t;
  for (int k = t + 1; k <= n; ++k) {
    const double fill = std::min(rest, space(k));
    const double share = space(k) > 0.0 ? fill / space(k) : 0.0;
    const Material gas = gasOf(c, k, vol(k));
    if (share > kNegligibleShare) {
      auto [solid, pore] = pileIn(fill);
      pore.add(magma.withVolume(space(k) - fill));
      writeNode(c, k, solid, pore, gas);
      rest -= fill;
      top = (k - 1 + share) * dx;
      m = k;
    } else {
      writeNode(c, k, Material{}, magma.withVolume(space(k)), gas);
    }
  }
  for (int i = t; i <= m; ++i) c.CpBulk(i) = c.CpBulk(n);

  // The minimizer's start of a node the pile reaches for the first time: the pile below it.
  // Under an empty pile node 1 has none below and takes the magma's.
  if (m > t) copyAssemblage(c, m, m - 1);
  if (emptyPile) copyAssemblage(c, 1, n);
  c.PileTop = top;
  TopNode = m;
  int first = t, last = n;
  UpdateBulk(c, first, last, tables, diag);
}

}  // namespace

void MakeCumulate(Column& c, int Src, double PhiPile, int& TopNode, const ThermoTables& tables,
                  Diagnostics& diag) {
  runTrapped(
      diag, subroutineSuffix("MakeCumulate"),
      [&] { makeCumulate(c, Src, PhiPile, TopNode, tables, diag); }, TrapPause::OnlyWhenPausing);
}

}  // namespace cx
