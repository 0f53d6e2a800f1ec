#include "plotmodel/plot_model.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace cx::plotmodel {
namespace {

constexpr double kKelvinOffset = 273.15;
constexpr std::array<std::string_view, 7> kGasComponentNames = {"",    "H2O", "CO2", "H2S",
                                                                "SO2", "CO",  "CH4"};

// A per-node array may be undimensioned (a column never run): such nodes read as 0.
double at(const Array1<double>& a, int i) {
  return a.contains(i) ? a(i) : 0.0;
}
double at(const Array2<double>& a, int i, int j) {
  return i >= a.rowLo() && i <= a.rowHi() && j >= a.colLo() && j <= a.colHi() && !a.empty()
             ? a(i, j)
             : 0.0;
}
// The column holds densities in grams per J/bar of volume (1 J/bar = 10 cm3), ten times their
// value in g/cm3, the unit the graphs show.
double gcm3(double gramsPerJoulePerBar) {
  return gramsPerJoulePerBar / 10.0;
}

double mgAt(const Array2<double>& ox, int i) {
  return i >= ox.rowLo() && i <= ox.rowHi() && !ox.empty() ? mgNumber(ox, i) : 0.0;
}

std::vector<float> perNode(int n, const std::function<double(int)>& value) {
  std::vector<float> out(static_cast<std::size_t>(n));
  for (int i = 1; i <= n; ++i) out[static_cast<std::size_t>(i - 1)] = static_cast<float>(value(i));
  return out;
}

// Fills Yvec, Y0vec and the axis text of a single-curve property; false for a property the
// column keeps no per-node values for.
bool fillSingle(const Column& c, const GraphRequest& r, GraphModel& m) {
  const int n = c.NumNodes;
  const int ox = std::clamp(r.oxide, 1, kOxides);
  const int tr = std::clamp(r.trace, 1, kTraces);
  const std::string_view p = r.property;
  auto pair = [&](const std::function<double(int)>& y, const std::function<double(int)>& y0) {
    m.Yvec = perNode(n, y);
    m.Y0vec = perNode(n, y0);
  };
  auto plain = [&](const Array1<double>& y, const Array1<double>& y0) {
    pair([&](int i) { return at(y, i); }, [&](int i) { return at(y0, i); });
  };
  const auto zero = [](int) { return 0.0; };
  if (p == "Temperature" || p == "Temperature - Farfield") {
    // The far field has no curve of its own here: the graph shows the column's temperatures and
    // says so on its axis.
    m.axisText = p == "Temperature" ? "°C" : "°C - (Farfield not active)";
    pair([&](int i) { return at(c.Temp, i) - kKelvinOffset; },
         [&](int i) { return at(c.InitT, i) - kKelvinOffset; });
  } else if (p == "Trace - Gas") {
    pair([&](int i) { return at(c.TraceGasPpm, i, tr); },
         [&](int i) { return at(c.InitTraceGas, i, tr); });
  } else if (p == "Pressure") {
    m.axisText = "Bars";
    pair([&](int i) { return at(c.Press, i); }, zero);
  } else if (p == "Liquid Fraction") {
    plain(c.FLiq, c.InitFLiq);
  } else if (p == "Mass - Gas") {
    m.axisText = "wt. %";
    plain(c.MassWater, c.InitMassWater);
  } else if (p == "Density - Liquid & Solid") {
    m.axisText = "g/cm3; red = liquid";
    pair([&](int i) { return gcm3(at(c.RhoSolid, i)); },
         [&](int i) { return gcm3(at(c.RhoLiq, i)); });
  } else if (p == "Density - Liquid") {
    m.axisText = "g/cm3";
    pair([&](int i) { return gcm3(at(c.RhoLiq, i)); },
         [&](int i) { return gcm3(at(c.InitRhoLiq, i)); });
  } else if (p == "Density - Solid") {
    pair([&](int i) { return gcm3(at(c.RhoSolid, i)); },
         [&](int i) { return gcm3(at(c.InitRhoSolid, i)); });
  } else if (p == "Density - Bulk") {
    // The liquid fraction is the liquid's share of the node's volume (once the bookkeeping has
    // run): the bulk density is the volume-weighted mean, the density whose weight the pressure
    // gradient stacks.
    auto bulk = [](double f, double rl, double rs) {
      return gcm3(f * std::max(rl, 0.0) + (1.0 - f) * std::max(rs, 0.0));
    };
    pair(
        [&](int i) { return bulk(at(c.FLiq, i), at(c.RhoLiq, i), at(c.RhoSolid, i)); },
        [&](int i) { return bulk(at(c.InitFLiq, i), at(c.InitRhoLiq, i), at(c.InitRhoSolid, i)); });
  } else if (p == "Viscosity - Liquid") {
    m.axisText = "log (Poise)";
    plain(c.LiqVisc, c.InitLiqVisc);
  } else if (p == "Entropy - Bulk") {
    m.axisText = "J/g-C";
    plain(c.STotal, c.InitSTotal);
  } else if (p == "Oxide wt % - Bulk") {
    pair([&](int i) { return at(c.BulkOx, i, ox); },
         [&](int i) { return at(c.InitBulkOx, i, ox); });
  } else if (p == "Oxide wt % - Liquid") {
    pair([&](int i) { return at(c.LiqOx, i, ox); }, [&](int i) { return at(c.InitLiqOx, i, ox); });
  } else if (p == "Oxide wt % - Solid") {
    pair([&](int i) { return at(c.SolidOx, i, ox); },
         [&](int i) { return at(c.InitSolidOx, i, ox); });
  } else if (p == "Mg# - Bulk") {
    pair([&](int i) { return mgAt(c.BulkOx, i); }, [&](int i) { return at(c.InitMgBulk, i); });
  } else if (p == "Mg# - Liquid") {
    pair([&](int i) { return mgAt(c.LiqOx, i); }, [&](int i) { return at(c.InitMgLiq, i); });
  } else if (p == "Mg# - Solid") {
    pair([&](int i) { return mgAt(c.SolidOx, i); }, [&](int i) { return at(c.InitMgSolid, i); });
  } else if (p == "Velocity - Liquid & Solid") {
    m.axisText = "cm/day, red = V(solid)";
    pair([&](int i) { return at(c.Vliquid, i) * kSecondsPerDay; },
         [&](int i) { return at(c.Vsolid, i) * kSecondsPerDay; });
  } else if (p == "Log f(O2) - Liquid") {
    m.axisText = "log bars";
    plain(c.FO2, c.InitFO2);
  } else if (p == "Entropy - Liquid") {
    plain(c.SLiq, c.InitSLiq);
  } else if (p == "Entropy - Solid") {
    plain(c.SSolid, c.InitSSolid);
  } else if (p == "Entropy - Gas") {
    pair([&](int i) { return at(c.SWater, i); }, zero);
  } else if (p == "Trace - Liquid") {
    pair([&](int i) { return at(c.TraceLiq, i, tr); },
         [&](int i) { return at(c.InitTraceLiq, i, tr); });
  } else if (p == "Trace - Solid") {
    pair([&](int i) { return at(c.TraceSolid, i, tr); },
         [&](int i) { return at(c.InitTraceSolid, i, tr); });
  } else if (p == "Trace - Bulk") {
    pair([&](int i) { return at(c.TraceBulk, i, tr); },
         [&](int i) { return at(c.InitBulkTrace, i, tr); });
  } else if (p == "Bulk Dcoef") {
    // The solid-liquid partition of the element as the column holds it: solid over liquid ppm.
    auto d = [](double solid, double liquid) { return liquid > 0.0 ? solid / liquid : 0.0; };
    pair([&](int i) { return d(at(c.TraceSolid, i, tr), at(c.TraceLiq, i, tr)); },
         [&](int i) { return d(at(c.InitTraceSolid, i, tr), at(c.InitTraceLiq, i, tr)); });
  } else if (p == "V/V(fluidization)") {
    // Above 1 the liquid's drag would lift the matrix: the pile would fluidize.
    m.axisText = "Dimensionless";
    pair([&](int i) { return at(c.VRatio, i); }, zero);
  } else if (p == "dV Correction" || p == "Matrix Deformation") {
    m.axisText = p == "Matrix Deformation" ? "% Deformation" : "Dimensionless";
    m.note = "The column state keeps no per-node values of " + std::string(p) + ".";
    return false;
  } else {
    m.note = "Unknown property: " + std::string(p);
    return false;
  }
  return true;
}

bool fillMulti(const Column& c, const GraphRequest& r, GraphModel& m) {
  const int n = c.NumNodes;
  const std::string_view p = r.property;
  auto add = [&](std::string name, const Array2<double>& a, int j) {
    NamedCurve curve{std::move(name), perNode(n, [&](int i) { return at(a, i, j); })};
    // A phase or component absent from every node draws no curve and takes no legend line.
    if (std::any_of(curve.values.begin(), curve.values.end(), [](float v) { return v != 0.0f; }))
      m.curves.push_back(std::move(curve));
  };
  if (p == "Mass - Phases") {
    // The masses are cumulative in the order of PhaseOrder, so that each curve is the upper edge
    // of its phase's band; a place no phase holds repeats the one before and is not drawn.
    for (int k = 1; k <= kPhaseOrderSize; ++k) {
      const int phase = c.PhaseOrder.contains(k) ? c.PhaseOrder(k) : 0;
      if (phase >= 1 && phase <= kPhases)
        add(std::string(PhaseNames[static_cast<std::size_t>(phase)]), c.PhaseMass, k);
    }
  } else if (p == "Mineral Compositions") {
    m.axisText = "% ";
    for (int j = 1; j <= kSolidSolutions; ++j)
      add(std::string(PhaseNames[static_cast<std::size_t>(j)]), c.PhaseX, j);
  } else if (p == "Mass - Gas Components") {
    m.axisText = "wt. %";
    for (int j = 1; j <= c.gasSpeciesCount(); ++j)
      add(std::string(kGasComponentNames[static_cast<std::size_t>(j)]), c.GasComp, j);
  } else {
    return false;
  }
  return true;
}

}  // namespace

BoundFormat boundFormat(double bound) {
  return std::fabs(bound) < 0.1 && bound != 0.0 ? BoundFormat::Scientific : BoundFormat::Fixed;
}

void autoScale(const std::vector<float>& y, const std::vector<float>& y0, double& vmin,
               double& vmax) {
  vmin = 0.0;
  vmax = 0.0;
  bool first = true;
  for (const auto* v : {&y, &y0})
    for (float x : *v) {
      if (first) vmin = vmax = x;
      first = false;
      vmin = std::min(vmin, static_cast<double>(x));
      vmax = std::max(vmax, static_cast<double>(x));
    }
  // A flat curve at zero still needs a width to draw into.
  if (vmax - vmin < 1e-4 && std::fabs(vmax) < 1e-4) vmax = 1.0;
  vmin -= 0.01 * std::fabs(vmin);
  vmax += 0.03 * std::fabs(vmax);
}

void typedScale(double lower, double upper, double& vmin, double& vmax) {
  vmin = lower;
  vmax = upper;
  if (vmax != 0.0 && vmax == vmin) vmax *= 1.05;
}

GraphModel buildGraphModel(const Column& c, const GraphRequest& r) {
  GraphModel m;
  m.multiCurve = r.property == "Mass - Phases" || r.property == "Mineral Compositions" ||
                 r.property == "Mass - Gas Components";
  const bool known = m.multiCurve ? fillMulti(c, r, m) : fillSingle(c, r, m);
  if (!known) return m;
  if (c.NumNodes <= 1) {
    m.note = "A single-node column draws no graph.";
    return m;
  }
  if (m.multiCurve && r.autoScale) {
    m.Vmin = 0.0;
    m.Vmax = 100.0;
  } else if (r.autoScale) {
    autoScale(m.Yvec, m.Y0vec, m.Vmin, m.Vmax);
  } else {
    typedScale(r.lower, r.upper, m.Vmin, m.Vmax);
  }
  m.minFormat = boundFormat(m.Vmin);
  m.maxFormat = boundFormat(m.Vmax);
  m.top = c.NumNodes * c.DeltaX;
  m.bottom = c.DeltaX;
  m.pileTopLine = c.TopNode > 1;
  m.pileTopHeight = c.TopNode * c.DeltaX;
  // The last addition reaches LastAddition cm above the base; nothing added, no line.
  m.lastAdditionLine = c.LastAddition > 0.0;
  m.lastAdditionHeight = c.LastAddition;
  m.tickEvery = c.NumNodes / 30 + 1;
  m.drawn = true;
  return m;
}

}  // namespace cx::plotmodel
