// Columns for the transport tests: nodes of liquid, crystals and gas set up by hand, and the
// column's inventories computed from first principles (volumes from masses and densities).
#pragma once

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "column/column.h"
#include "column/settings.h"
#include "thermo/thermo_tables.h"

namespace cx::test {

inline const ThermoTables& thermoTables() {
  static const ThermoTables t = loadThermoTables();
  return t;
}

// A basaltic liquid and an olivine-gabbro solid, each summing to 100 wt %.
constexpr std::array<double, 16> kMelt = {0,   49.8, 1.5,  15.0, 1.5, 0.05, 9.0, 0.15,
                                          8.0, 11.0, 2.75, 0.5,  0.2, 0.4,  0.0, 0.15};
constexpr std::array<double, 16> kCrystals = {0,    44.0, 0.5, 12.0, 1.0, 0.2, 10.0, 0.1,
                                              22.0, 9.0,  1.2, 0.0,  0.0, 0.0, 0.0,  0.0};

// A column of `nodes` nodes of `dx` cm, each all liquid (kMelt, 100 g, density rho, 3 J/K/g),
// at 1200 °C and 1000 bar, trace element k at 10 + k ppm.
inline Column liquidColumn(int nodes, double dx, double rho = 26.7) {
  Column c;
  c.NumNodes = nodes;
  c.DeltaX = dx;
  c.Length = c.LengthR8 = nodes * dx;
  Settings s;
  s.setMiscText(misc::kFarfieldThickness, "0");
  c.DimensionArrays(s);
  for (int i = 1; i <= nodes; ++i) {
    c.FLiq(i) = 1.0;
    c.MassLiq(i) = 100.0;
    c.RhoLiq(i) = rho;
    c.RhoSolid(i) = c.RhoWater(i) = 1.0;
    c.SLiq(i) = c.STotal(i) = 3.0;
    c.Temp(i) = 1473.15;
    c.Press(i) = 1000.0;
    c.CpBulk(i) = 1.5;
    c.LiqVisc(i) = 50.0;
    c.FO2(i) = -8.0;
    for (int j = 1; j <= kOxides; ++j)
      c.LiqOx(i, j) = c.BulkOx(i, j) = kMelt[static_cast<std::size_t>(j)];
    for (int k = 1; k <= kTraces; ++k) c.TraceLiq(i, k) = c.TraceBulk(i, k) = 10.0 + k;
  }
  return c;
}

// Gives node i crystals (kCrystals, density rhoS, 2 J/K/g) of volume fraction `solid`, the rest
// liquid; the masses are on the node's 100 g.  The solid is olivine (slot 1) and plagioclase
// (slot 2) by mass 3:1, and trace element k in it is 0.1 k ppm.
inline void giveCrystals(Column& c, int i, double solid, double rhoS = 32.0) {
  const double ms = solid * rhoS, ml = (1.0 - solid) * c.RhoLiq(i);
  c.MassSolid(i) = 100.0 * ms / (ms + ml);
  c.MassLiq(i) = 100.0 * ml / (ms + ml);
  c.RhoSolid(i) = rhoS;
  c.SSolid(i) = 2.0;
  c.FLiq(i) = 1.0 - solid;
  const double present = solid > 0.0 ? 1.0 : 0.0;
  for (int j = 1; j <= kOxides; ++j)
    c.SolidOx(i, j) = present * kCrystals[static_cast<std::size_t>(j)];
  for (int k = 1; k <= kTraces; ++k) c.TraceSolid(i, k) = present * 0.1 * k;
  c.PhaseOrder(1) = 1;
  c.PhaseOrder(2) = 2;
  c.PhaseMass(i, 1) = 0.75 * c.MassSolid(i);
  for (int k = 2; k <= kPhaseOrderSize; ++k) c.PhaseMass(i, k) = c.MassSolid(i);
  for (int k = 1; k <= kSolidSolutions; ++k) c.PhaseX(i, k) = k == 1 ? present * 85.0 : 0.0;
  if (solid == 0.0) {
    c.SSolid(i) = 0.0;
    c.RhoSolid(i) = 1.0;
  }
}

// Gives node i gas (H2O and CO2, density rhoG) of mass `grams`, the node's masses rescaled to
// 100 g together; trace k in the gas at 2 k ppm.
inline void giveGas(Column& c, int i, double grams, double rhoG = 4.0) {
  const double scale = (100.0 - grams) / (c.MassLiq(i) + c.MassSolid(i));
  c.MassLiq(i) *= scale;
  c.MassSolid(i) *= scale;
  for (int k = 1; k <= kPhaseOrderSize; ++k) c.PhaseMass(i, k) *= scale;
  c.MassWater(i) = grams;
  c.RhoWater(i) = rhoG;
  c.SWater(i) = 5.0;
  c.GasComp(i, 1) = 80.0;
  c.GasComp(i, 2) = 20.0;
  for (int k = 1; k <= kTraces; ++k) c.TraceGasPpm(i, k) = 2.0 * k;
  const double v = c.MassLiq(i) / c.RhoLiq(i) + c.MassWater(i) / rhoG +
                   (c.MassSolid(i) > 0.0 ? c.MassSolid(i) / c.RhoSolid(i) : 0.0);
  c.FLiq(i) = c.MassLiq(i) / c.RhoLiq(i) / v;
}

// Volume fractions and bulk density of node i from its masses and densities.
struct Volumes {
  double solid = 0.0, liquid = 0.0, gas = 0.0;
};
inline Volumes volumesOf(const Column& c, int i) {
  const double s = c.MassSolid(i) > 0.0 ? c.MassSolid(i) / c.RhoSolid(i) : 0.0;
  const double l = c.MassLiq(i) / c.RhoLiq(i);
  const double g = c.MassWater(i) > 0.0 ? c.MassWater(i) / c.RhoWater(i) : 0.0;
  const double v = s + l + g;
  return {s / v, l / v, g / v};
}

// The bulk of node i recomposed from its liquid and crystals by mass (no gas).
inline double bulkOf(const Column& c, int i, int j) {
  const Volumes v = volumesOf(c, i);
  const double ml = v.liquid * c.RhoLiq(i), ms = v.solid * c.RhoSolid(i);
  return (ml * c.LiqOx(i, j) + ms * c.SolidOx(i, j)) / (ml + ms);
}
inline void composeBulk(Column& c) {
  for (int i = 1; i <= c.NumNodes; ++i)
    for (int j = 1; j <= kOxides; ++j) c.BulkOx(i, j) = bulkOf(c, i, j);
}

// Grams per unit area of the whole column, and of oxide j, of trace element k (ppm g), of
// entropy (J/K): liquid and crystals (and gas as a mass), each node a box of DeltaX.
inline double columnMass(const Column& c) {
  double m = 0.0;
  for (int i = 1; i <= c.NumNodes; ++i) {
    const Volumes v = volumesOf(c, i);
    m += c.DeltaX * (v.solid * c.RhoSolid(i) + v.liquid * c.RhoLiq(i) + v.gas * c.RhoWater(i));
  }
  return m;
}
template <class Liquid, class Solid>
double columnContent(const Column& c, Liquid liquid, Solid solid) {
  double m = 0.0;
  for (int i = 1; i <= c.NumNodes; ++i) {
    const Volumes v = volumesOf(c, i);
    m += c.DeltaX * (v.liquid * c.RhoLiq(i) * liquid(i) + v.solid * c.RhoSolid(i) * solid(i));
  }
  return m;
}
inline double oxideInventory(const Column& c, int j) {
  return columnContent(
      c, [&](int i) { return c.LiqOx(i, j) / 100.0; },
      [&](int i) { return c.SolidOx(i, j) / 100.0; });
}
inline double traceInventory(const Column& c, int k) {
  return columnContent(
      c, [&](int i) { return c.TraceLiq(i, k); }, [&](int i) { return c.TraceSolid(i, k); });
}
inline double entropyInventory(const Column& c) {
  return columnContent(
      c, [&](int i) { return c.SLiq(i); }, [&](int i) { return c.SSolid(i); });
}

// The per-node state that the transport steps carry, field by field, for comparisons.
struct NodeField {
  std::string name;
  std::vector<double> values;  // node-major
};
inline std::vector<NodeField> nodeFields(const Column& c) {
  std::vector<NodeField> out;
  auto add1 = [&](const char* name, const Array1<double>& a) {
    NodeField f{name, {}};
    for (int i = 1; i <= c.NumNodes; ++i) f.values.push_back(a(i));
    out.push_back(std::move(f));
  };
  auto add2 = [&](const char* name, const Array2<double>& a) {
    NodeField f{name, {}};
    for (int i = 1; i <= c.NumNodes; ++i)
      for (int k = a.colLo(); k <= a.colHi(); ++k) f.values.push_back(a(i, k));
    out.push_back(std::move(f));
  };
  add1("Temp", c.Temp);
  add1("Press", c.Press);
  add1("FLiq", c.FLiq);
  add1("STotal", c.STotal);
  add1("SLiq", c.SLiq);
  add1("SSolid", c.SSolid);
  add1("SWater", c.SWater);
  add1("RhoLiq", c.RhoLiq);
  add1("RhoSolid", c.RhoSolid);
  add1("RhoWater", c.RhoWater);
  add1("MassLiq", c.MassLiq);
  add1("MassSolid", c.MassSolid);
  add1("MassWater", c.MassWater);
  add1("LiqVisc", c.LiqVisc);
  add1("FO2", c.FO2);
  add2("BulkOx", c.BulkOx);
  add2("LiqOx", c.LiqOx);
  add2("SolidOx", c.SolidOx);
  add2("TraceLiq", c.TraceLiq);
  add2("TraceSolid", c.TraceSolid);
  add2("TraceBulk", c.TraceBulk);
  add2("TraceGasPpm", c.TraceGasPpm);
  add2("GasComp", c.GasComp);
  add2("PhaseMass", c.PhaseMass);
  return out;
}
// The largest relative difference (against 1 + |value|) between two columns' fields, and its name.
inline std::pair<double, std::string> largestDifference(const Column& a, const Column& b) {
  const auto fa = nodeFields(a), fb = nodeFields(b);
  std::pair<double, std::string> worst{0.0, ""};
  for (std::size_t f = 0; f < fa.size(); ++f)
    for (std::size_t k = 0; k < fa[f].values.size() && k < fb[f].values.size(); ++k) {
      const double d =
          std::fabs(fa[f].values[k] - fb[f].values[k]) / (1.0 + std::fabs(fa[f].values[k]));
      if (d > worst.first) worst = {d, fa[f].name};
    }
  return worst;
}

}  // namespace cx::test
