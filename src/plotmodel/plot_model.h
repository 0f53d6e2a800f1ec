// The plot model: what one graph of the column shows, worked out without any drawing library so
// that the screen, the printer and exported pictures all draw the same numbers.
//
// The column stands upright: node i sits at height i * DeltaX, so the vertical extent runs from
// NumNodes * DeltaX at the top down to DeltaX.  The horizontal axis is the value.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "column/column.h"

namespace cx::plotmodel {

// The properties a graph can show, in the order of the graph selectors.
inline constexpr std::array<std::string_view, 33> kPlotProperties = {
    "Temperature",          "Temperature - Farfield", "Pressure",
    "Liquid Fraction",      "Mass - Phases",          "Mineral Compositions",
    "Mass - Gas",           "Mass - Gas Components",  "Oxide wt % - Liquid",
    "Oxide wt % - Solid",   "Oxide wt % - Bulk",      "Trace - Liquid",
    "Trace - Solid",        "Trace - Gas",            "Trace - Bulk",
    "Bulk Dcoef",           "Mg# - Liquid",           "Mg# - Solid",
    "Mg# - Bulk",           "Density - Liquid & Solid", "Density - Liquid",
    "Density - Solid",      "Density - Bulk",         "Viscosity - Liquid",
    "Log f(O2) - Liquid",   "Entropy - Liquid",       "Entropy - Solid",
    "Entropy - Gas",        "Entropy - Bulk",         "Velocity - Liquid & Solid",
    "V/V(fluidization)",    "Matrix Deformation",     "dV Correction"};

// What the operator chose for one graph.
struct GraphRequest {
  std::string property = "Temperature";
  int oxide = 8;   // 1..15, the oxide of the oxide graphs (MgO)
  int trace = 1;   // 1..40, the element of the trace graphs
  bool autoScale = true;
  double lower = 0.0, upper = 0.0;  // the typed bounds, used when autoScale is off
};

enum class BoundFormat { Fixed, Scientific };

// One named curve of a multi-curve graph (a phase, an endmember, a gas component).
struct NamedCurve {
  std::string name;
  std::vector<float> values;  // values[i - 1] belongs to node i
};

struct GraphModel {
  // False when nothing is drawn: a single-node column, an unknown property, or a property the
  // column state keeps no per-node values for (`note` says which).
  bool drawn = false;
  std::string note;
  std::string axisText;
  bool multiCurve = false;
  std::vector<float> Yvec, Y0vec;  // single-curve graphs: present (black) and initial (red)
  std::vector<NamedCurve> curves;  // multi-curve graphs
  double Vmin = 0.0, Vmax = 1.0;
  BoundFormat minFormat = BoundFormat::Fixed, maxFormat = BoundFormat::Fixed;
  double top = 0.0, bottom = 0.0;  // cm: NumNodes * DeltaX .. DeltaX
  bool pileTopLine = false;
  double pileTopHeight = 0.0;   // cm, when pileTopLine
  bool lastAdditionLine = false;
  double lastAdditionHeight = 0.0;  // cm
  int tickEvery = 1;                // nodes between ticks: Int(NumNodes / 30) + 1
};

// The printed format of an axis bound: "scientific" below 0.1 in magnitude (but not 0).
BoundFormat boundFormat(double bound);

// The value range of a single-curve graph from its two vectors, with the 1 % / 3 % margins.
void autoScale(const std::vector<float>& y, const std::vector<float>& y0, double& vmin, double& vmax);

// Typed bounds: equal non-zero bounds are moved apart by 5 %.
void typedScale(double lower, double upper, double& vmin, double& vmax);

GraphModel buildGraphModel(const Column& column, const GraphRequest& request);

}  // namespace cx::plotmodel
