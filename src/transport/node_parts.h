// The parts of a node (its solids, its liquid, its gas) as amounts of material that can be moved
// and mixed between nodes, and the writing of a node made of such parts.
//
// Settling, drip and mixing move whole volumes: a part is a volume (in units of a node's volume)
// of a material of known density and composition.  Mixing is by mass, so that every oxide, trace
// element and the entropy are conserved whatever is moved where.
#pragma once

#include <array>

#include "column/column.h"
#include "transport/node_volumes.h"

namespace cx {

struct Material {
  double volume = 0.0;   // node volumes
  double mass = 0.0;     // volume x density
  double entropy = 0.0;  // J/K/g
  // Liquid and solid: the oxides (wt %); gas: its species (wt %, GasComp's order).
  std::array<double, kOxides + 1> composition{};
  std::array<double, kTraces + 1> trace{};  // ppm
  // Solid: the cumulative mass fraction of the phases of PhaseOrder (PhaseMass over its total),
  // and the composition index of each solid solution (PhaseX).
  std::array<double, kPhaseOrderSize + 1> phases{};
  std::array<double, kSolidSolutions + 1> phaseX{};
  double viscosity = 0.0;  // liquid

  double density() const { return volume > 0.0 ? mass / volume : 0.0; }
  // No amount: what it holds means nothing until a material is added (cheap, for reuse).
  void empty() { volume = mass = 0.0; }
  // The same material in another amount.
  Material withVolume(double v) const;
  // Mixes `other` in, by mass.
  void add(const Material& other);
  // Mixes in `other` in the amount `v` (node volumes) of it.
  void add(const Material& other, double v);
};

// The solids, liquid and gas of node i in the volumes of `v` (a part of no volume is empty).
Material solidOf(const Column& c, int i, const NodeVolumes& v);
Material liquidOf(const Column& c, int i, const NodeVolumes& v);
Material gasOf(const Column& c, int i, const NodeVolumes& v);
// The same into a material held elsewhere (no copy: for loops over many nodes).
void readSolid(const Column& c, int i, const NodeVolumes& v, Material& m);
void readLiquid(const Column& c, int i, const NodeVolumes& v, Material& m);
void readGas(const Column& c, int i, const NodeVolumes& v, Material& m);

// Writes node i as made of these three parts (their volumes summing to the node's): densities,
// compositions, entropies, the phase table and the masses on the node's 100 g basis, FLiq as the
// liquid's volume fraction.  A part of no volume leaves its phase empty (its density at 1.0, the
// gas's at 1.0 as well).  Temperature, pressure and the assemblage are the caller's.
void writeNode(Column& c, int i, const Material& solid, const Material& liquid,
               const Material& gas);

// The minimizer's start of node `to` (PhaseCount, PhaseList, Xstable) becomes that of `from`.
void copyAssemblage(Column& c, int to, int from);

}  // namespace cx
