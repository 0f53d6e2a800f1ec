#include "transport/node_parts.h"

namespace cx {
namespace {

template <std::size_t N>
void mixArray(std::array<double, N>& into, double a, const std::array<double, N>& from, double b) {
  for (std::size_t k = 0; k < N; ++k) into[k] = a * into[k] + b * from[k];
}

}  // namespace

Material Material::withVolume(double v) const {
  Material m = *this;
  m.mass = density() * v;
  m.volume = v;
  return m;
}

void Material::add(const Material& other) {
  add(other, other.volume);
}

void Material::add(const Material& other, double v) {
  const double m = other.density() * v;
  if (!(m > 0.0)) {
    volume += v;
    return;
  }
  if (!(mass > 0.0)) {  // the first material: its properties as they are
    const double held = volume;
    *this = other;
    mass = m;
    volume = held + v;
    return;
  }
  const double total = mass + m;
  const double a = mass / total, b = m / total;
  entropy = a * entropy + b * other.entropy;
  viscosity = a * viscosity + b * other.viscosity;
  mixArray(composition, a, other.composition, b);
  mixArray(trace, a, other.trace, b);
  mixArray(phases, a, other.phases, b);
  mixArray(phaseX, a, other.phaseX, b);
  mass = total;
  volume += v;
}

namespace {

// The rows of node i exist in every per-node table with the column's widths; the loops that
// follow run unchecked.
void requireNode(const Column& c, int i) {
  static_cast<void>(c.SolidOx(i, kOxides));
  static_cast<void>(c.LiqOx(i, kOxides));
  static_cast<void>(c.TraceSolid(i, kTraces));
  static_cast<void>(c.TraceLiq(i, kTraces));
  static_cast<void>(c.TraceGasPpm(i, kTraces));
  static_cast<void>(c.PhaseMass(i, kPhaseOrderSize));
  static_cast<void>(c.PhaseX(i, kSolidSolutions));
  static_cast<void>(c.GasComp(i, c.GasComp.colHi()));
}

}  // namespace

Material solidOf(const Column& c, int i, const NodeVolumes& v) {
  Material m;
  readSolid(c, i, v, m);
  return m;
}

void readSolid(const Column& c, int i, const NodeVolumes& v, Material& m) {
  m.empty();
  if (!(v.solid > 0.0)) return;
  requireNode(c, i);
  m.volume = v.solid;
  m.mass = v.solid * v.rhoSolid;
  m.entropy = c.SSolid(i);
  for (int k = 1; k <= kOxides; ++k)
    m.composition[static_cast<std::size_t>(k)] = c.SolidOx.unchecked(i, k);
  for (int k = 1; k <= kTraces; ++k)
    m.trace[static_cast<std::size_t>(k)] = c.TraceSolid.unchecked(i, k);
  const double total = c.PhaseMass(i, kPhaseOrderSize);
  for (int k = 1; k <= kPhaseOrderSize; ++k)
    m.phases[static_cast<std::size_t>(k)] = total > 0.0 ? c.PhaseMass.unchecked(i, k) / total : 0.0;
  for (int k = 1; k <= kSolidSolutions; ++k)
    m.phaseX[static_cast<std::size_t>(k)] = c.PhaseX.unchecked(i, k);
}

Material liquidOf(const Column& c, int i, const NodeVolumes& v) {
  Material m;
  readLiquid(c, i, v, m);
  return m;
}

void readLiquid(const Column& c, int i, const NodeVolumes& v, Material& m) {
  m.empty();
  if (!(v.liquid > 0.0)) return;
  requireNode(c, i);
  m.volume = v.liquid;
  m.mass = v.liquid * v.rhoLiq;
  m.entropy = c.SLiq(i);
  m.viscosity = c.LiqVisc(i);
  for (int k = 1; k <= kOxides; ++k)
    m.composition[static_cast<std::size_t>(k)] = c.LiqOx.unchecked(i, k);
  for (int k = 1; k <= kTraces; ++k)
    m.trace[static_cast<std::size_t>(k)] = c.TraceLiq.unchecked(i, k);
}

Material gasOf(const Column& c, int i, const NodeVolumes& v) {
  Material m;
  readGas(c, i, v, m);
  return m;
}

void readGas(const Column& c, int i, const NodeVolumes& v, Material& m) {
  m.empty();
  if (!(v.gas > 0.0)) return;
  requireNode(c, i);
  m.volume = v.gas;
  m.mass = v.gas * v.rhoGas;
  m.entropy = c.SWater(i);
  for (int k = c.GasComp.colLo(); k <= c.GasComp.colHi(); ++k)
    m.composition[static_cast<std::size_t>(k)] = c.GasComp.unchecked(i, k);
  for (int k = 1; k <= kTraces; ++k)
    m.trace[static_cast<std::size_t>(k)] = c.TraceGasPpm.unchecked(i, k);
}

void writeNode(Column& c, int i, const Material& solid, const Material& liquid,
               const Material& gas) {
  requireNode(c, i);
  const double total = solid.mass + liquid.mass + gas.mass;
  const double volume = solid.volume + liquid.volume + gas.volume;
  auto share = [&](double mass) { return total > 0.0 ? 100.0 * mass / total : 0.0; };

  c.MassSolid(i) = share(solid.mass);
  c.MassLiq(i) = share(liquid.mass);
  c.MassWater(i) = share(gas.mass);
  c.FLiq(i) = volume > 0.0 ? liquid.volume / volume : 0.0;

  const bool hasSolid = solid.mass > 0.0;
  c.RhoSolid(i) = hasSolid ? solid.density() : 1.0;
  c.SSolid(i) = hasSolid ? solid.entropy : 0.0;
  for (int k = 1; k <= kOxides; ++k)
    c.SolidOx.unchecked(i, k) = hasSolid ? solid.composition[static_cast<std::size_t>(k)] : 0.0;
  for (int k = 1; k <= kTraces; ++k)
    c.TraceSolid.unchecked(i, k) = hasSolid ? solid.trace[static_cast<std::size_t>(k)] : 0.0;
  for (int k = 1; k <= kPhaseOrderSize; ++k)
    c.PhaseMass.unchecked(i, k) =
        hasSolid ? solid.phases[static_cast<std::size_t>(k)] * c.MassSolid(i) : 0.0;
  for (int k = 1; k <= kSolidSolutions; ++k)
    c.PhaseX.unchecked(i, k) = hasSolid ? solid.phaseX[static_cast<std::size_t>(k)] : 0.0;

  if (liquid.mass > 0.0) {
    c.RhoLiq(i) = liquid.density();
    c.SLiq(i) = liquid.entropy;
    c.LiqVisc(i) = liquid.viscosity;
    for (int k = 1; k <= kOxides; ++k)
      c.LiqOx.unchecked(i, k) = liquid.composition[static_cast<std::size_t>(k)];
    for (int k = 1; k <= kTraces; ++k)
      c.TraceLiq.unchecked(i, k) = liquid.trace[static_cast<std::size_t>(k)];
  }

  const bool hasGas = gas.mass > 0.0;
  c.RhoWater(i) = hasGas ? gas.density() : 1.0;
  c.SWater(i) = hasGas ? gas.entropy : 0.0;
  for (int k = c.GasComp.colLo(); k <= c.GasComp.colHi(); ++k)
    c.GasComp.unchecked(i, k) = hasGas ? gas.composition[static_cast<std::size_t>(k)] : 0.0;
  for (int k = 1; k <= kTraces; ++k)
    c.TraceGasPpm.unchecked(i, k) = hasGas ? gas.trace[static_cast<std::size_t>(k)] : 0.0;
}

void copyAssemblage(Column& c, int to, int from) {
  c.PhaseCount(to) = c.PhaseCount(from);
  for (int k = c.PhaseList.colLo(); k <= c.PhaseList.colHi(); ++k)
    c.PhaseList(to, k) = c.PhaseList(from, k);
  for (int k = c.Xstable.colLo(); k <= c.Xstable.colHi(); ++k)
    c.Xstable(to, k) = c.Xstable(from, k);
}

}  // namespace cx
