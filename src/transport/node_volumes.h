// The volume fractions of a node's solids, liquid and gas, from their masses and densities.
//
// After an equilibration FLiq holds the liquid's mass fraction and the bulk bookkeeping turns it
// into its volume fraction; the processes that move whole volumes of a node (settling, drip,
// mixing, the volume correction) take the fractions from the masses and densities, so that they
// work on volumes whatever FLiq holds at the time.
#pragma once

#include "column/column.h"

namespace cx {

struct NodeVolumes {
  double solid = 0.0, liquid = 0.0, gas = 0.0;        // volume fractions, summing to 1
  double rhoSolid = 1.0, rhoLiq = 1.0, rhoGas = 1.0;  // densities, a zero one taken as 1.0
  // Bulk density: mass per unit volume of the node.
  double density() const { return solid * rhoSolid + liquid * rhoLiq + gas * rhoGas; }
};

// The fractions of node i.  A density at or below 0 is taken as 1.0 (the transport floor); a
// node that holds nothing is all liquid.
inline NodeVolumes nodeVolumes(const Column& c, int i) {
  NodeVolumes v;
  auto floored = [](double rho) { return rho > 0.0 ? rho : 1.0; };
  v.rhoSolid = floored(c.RhoSolid(i));
  v.rhoLiq = floored(c.RhoLiq(i));
  v.rhoGas = floored(c.RhoWater(i));
  const double s = c.MassSolid(i) > 0.0 ? c.MassSolid(i) / v.rhoSolid : 0.0;
  const double l = c.MassLiq(i) > 0.0 ? c.MassLiq(i) / v.rhoLiq : 0.0;
  const double g = c.MassWater(i) > 0.0 ? c.MassWater(i) / v.rhoGas : 0.0;
  const double total = s + l + g;
  if (!(total > 0.0)) {
    v.liquid = 1.0;
    return v;
  }
  v.solid = s / total;
  v.liquid = l / total;
  v.gas = g / total;
  return v;
}

}  // namespace cx
