#include "transport/drip.h"

#include <algorithm>

#include "base/text_format.h"
#include "base/trap.h"
#include "transport/node_parts.h"
#include "transport/update_bulk.h"

namespace cx {
namespace {

// Everything node `from` holds goes to node `to`: its state and its assemblage.  The pressure,
// the velocities and the markers belong to the place, not to the material, and stay.
void moveNode(Column& c, int to, int from) {
  for (Array1<double>* a :
       {&c.RhoSolid, &c.SSolid, &c.MassSolid, &c.RhoWater, &c.SWater, &c.MassWater, &c.STotal,
        &c.SLiq, &c.MassLiq, &c.RhoLiq, &c.LiqVisc, &c.FO2, &c.CpBulk})
    (*a)(to) = (*a)(from);
  c.Temp(to) = c.Temp(from);
  c.FLiq(to) = c.FLiq(from);
  for (Array2<double>* a : {&c.LiqOx, &c.SolidOx, &c.BulkOx, &c.TraceBulk, &c.TraceLiq,
                            &c.TraceSolid, &c.TraceGasPpm, &c.GasComp, &c.PhaseMass, &c.PhaseX})
    for (int k = a->colLo(); k <= a->colHi(); ++k) (*a)(to, k) = (*a)(from, k);
  copyAssemblage(c, to, from);
}

// The fallen node, saved before the shift overwrites it.
struct Fallen {
  Material solid, liquid, gas;
  double temp = 0.0, cp = 0.0, fo2 = 0.0;
  int phaseCount = 0;
  Array1<int> phaseList;
  Array1<double> xstable;
};

void drip(Column& c, int& TopNode, const ThermoTables& tables, Diagnostics& diag, Port& port) {
  const int N = c.NumNodes;
  const int t = std::max(TopNode, 0);
  if (N - t < 2) return;
  const double dx = c.DeltaX;

  Fallen d;
  const NodeVolumes vd = nodeVolumes(c, N);
  d.solid = solidOf(c, N, vd);
  d.liquid = liquidOf(c, N, vd);
  d.gas = gasOf(c, N, vd);
  d.temp = c.Temp(N);
  d.cp = c.CpBulk(N);
  d.fo2 = c.FO2(N);
  d.phaseCount = c.PhaseCount(N);
  d.phaseList.redim(c.PhaseList.colLo(), c.PhaseList.colHi());
  d.xstable.redim(c.Xstable.colLo(), c.Xstable.colHi());
  for (int k = d.phaseList.lo(); k <= d.phaseList.hi(); ++k) d.phaseList(k) = c.PhaseList(N, k);
  for (int k = d.xstable.lo(); k <= d.xstable.hi(); ++k) d.xstable(k) = c.Xstable(N, k);

  // The magma between the pile and the top moves up one node.
  for (int i = N; i >= t + 2; --i) moveNode(c, i, i - 1);

  if (t == 0) {
    // No pile: the node falls to the bottom of the column.
    writeNode(c, 1, d.solid, d.liquid, d.gas);
    c.Temp(1) = d.temp;
    c.CpBulk(1) = d.cp;
    c.FO2(1) = d.fo2;
    c.PhaseCount(1) = d.phaseCount;
    for (int k = d.phaseList.lo(); k <= d.phaseList.hi(); ++k) c.PhaseList(1, k) = d.phaseList(k);
    for (int k = d.xstable.lo(); k <= d.xstable.hi(); ++k) c.Xstable(1, k) = d.xstable(k);
    TopNode = 1;
    c.PileTop = dx;
  } else {
    // The pile share of node t holds at least its own solids (and gas).
    const NodeVolumes vt = nodeVolumes(c, t);
    double p = std::clamp((c.PileTop - (t - 1) * dx) / dx, 0.0, 1.0);
    if (1.0 - vt.liquid > p) {
      p = std::min((1.0 - vt.liquid) * 1.01, 1.0);
      c.PileTop = (t - 1) * dx + dx * p;
    }
    const double q = 1.0 - p;
    const double tempT = c.Temp(t);
    const Material freeLiquid = liquidOf(c, t, vt).withVolume(q);

    // Node t + 1: the free liquid of node t and the share p of the fallen node.
    Material solid = d.solid.withVolume(p * vd.solid);
    Material liquid = freeLiquid;
    liquid.add(d.liquid.withVolume(p * vd.liquid));
    Material gas = d.gas.withVolume(p * vd.gas);
    writeNode(c, t + 1, solid, liquid, gas);
    c.Temp(t + 1) = q * tempT + d.temp * p;

    // Node t: its solids, its liquid less the free share, and the share q of the fallen node.
    solid = solidOf(c, t, vt);
    solid.add(d.solid.withVolume(q * vd.solid));
    liquid = liquidOf(c, t, vt).withVolume(vt.liquid - q);
    liquid.add(d.liquid.withVolume(q * vd.liquid));
    gas = gasOf(c, t, vt);
    gas.add(d.gas.withVolume(q * vd.gas));
    writeNode(c, t, solid, liquid, gas);
    c.Temp(t) = p * tempT + d.temp * q;

    TopNode = t + 1;
    c.PileTop += dx;
    // The new pile-top node starts its next solve from the pile below it.
    copyAssemblage(c, t + 1, t);
  }
  int first = std::max(t, 1), last = t + 1;
  UpdateBulk(c, first, last, tables, diag);
  port.setLabel("lblPileTop", formatNumber(c.PileTop / 100.0, "fixed"));
  port.setLabel("lblTopNode", std::to_string(TopNode));
  port.plotResults();
}

}  // namespace

void Drip(Column& c, int& TopNode, const ThermoTables& tables, Diagnostics& diag, Port& port) {
  runTrapped(diag, subroutineSuffix("Drip"), [&] { drip(c, TopNode, tables, diag, port); });
}

}  // namespace cx
