// `cumulex saturation --oxides "SiO2=50.4,..." --T C --P BAR [--json]`: for a liquid of that
// composition, every phase's affinity (J; negative: oversaturated) and its composition at
// saturation, most oversaturated first.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "cli_util.h"
#include "commands.h"
#include "json.h"
#include "solver/equilibrium_model.h"
#include "ui/recording_port.h"

namespace cx::cli {
namespace {

struct SaturationOptions {
  std::string oxides, T, P;
  bool json = false;
};

int saturationCommand(const SaturationOptions& o) {
  double tempC = 0.0, pBar = 0.0;
  if (!readField("saturation", o.T, "--T", "°C", kMinTC, kMaxTC, tempC)) return 2;
  if (!readField("saturation", o.P, "--P", "bar", kMinPBar, kMaxPBar, pBar)) return 2;
  const ThermoTables tables = loadThermoTables();
  const LiquidTables liquidTables = loadLiquidTables();
  Array1<double> wt(1, thermo_data::kNumOxides);
  if (!readOxides("saturation", tables, o.oxides, wt)) return 2;

  RecordingDiagnostics diag;
  RecordingPort port;
  EquilibriumModel model(tables, liquidTables, ModelOptions{}, diag, port);
  if (!model.setConditions(tempC + kKelvinOffset, pBar)) {
    std::cerr << "cumulex saturation: the standard states failed at " << o.T << " °C, " << o.P
              << " bar\n";
    return 1;
  }
  if (!model.setLiquidOxides(wt)) {
    std::cerr << "cumulex saturation: the liquid components cannot be formed from these oxides\n";
    for (const auto& r : diag.reports) std::cerr << "  " << r << '\n';
    return 2;
  }
  int err = 0;
  model.saturation(0, err);
  const SaturationContext& sat = *model.sat;

  // The phases with an affinity, most oversaturated first; the others after them.
  std::vector<int> order(thermo_data::kNumPhases);
  std::iota(order.begin(), order.end(), 1);
  std::stable_sort(order.begin(), order.end(),
                   [&](int a, int b) { return sat.Affinity(a) < sat.Affinity(b); });
  auto modelName = [&](int id) -> std::string {
    const int n = model.activity->PhaseEndCount(id);
    if (n <= 1) return "pure phase";
    Array1<double> x(1, thermo_data::kMaxPhaseEndmembers), act(1, thermo_data::kMaxPhaseEndmembers);
    for (int j = 1; j <= n; ++j) x(j) = sat.PhaseX(id, j);
    std::string_view name;
    int flag = 0;
    GetActivity(*model.activity, id, model.T, model.P, x, n, act, flag, &name);
    return std::string(name);
  };
  auto available = [&](int id) { return sat.Affinity(id) < 1e6; };

  if (o.json) {
    JsonWriter w(std::cout);
    w.beginObject();
    w.value("T_C", tempC);
    w.value("P_bar", pBar);
    w.beginArray("phases");
    for (int id : order) {
      w.beginObject();
      w.value("id", id);
      w.value("name", trimmedText(model.phases.PhaseNames(id)));
      w.value("abbrev", trimmedText(sat.abbrev(id)));
      if (available(id)) {
        w.value("affinity_J", sat.Affinity(id));
      } else {
        w.value("affinity_J", std::nan(""));  // not available: excluded or not buildable
      }
      w.beginObject("endmembers");
      if (available(id))
        for (int j = 1; j <= model.activity->PhaseEndCount(id); ++j)
          w.value(trimmedText(model.phases.PhaseEndName(id, j)), sat.PhaseX(id, j));
      w.endObject();
      w.value("model", available(id) ? modelName(id) : "");
      w.endObject();
    }
    w.endArray();
    w.endObject();
    return 0;
  }
  std::printf("Saturation state of the liquid at %.2f °C and %.2f bar (affinity < 0: oversaturated)\n\n",
              tempC, pBar);
  std::printf("  Id  Phase             Affinity (J)  Composition\n");
  for (int id : order) {
    if (!available(id)) continue;
    std::string comp;
    for (int j = 1; j <= model.activity->PhaseEndCount(id); ++j) {
      if (sat.PhaseX(id, j) <= 0.0) continue;
      char buf[64];
      std::snprintf(buf, sizeof buf, "%s%s %.4f", comp.empty() ? "" : ", ",
                    trimmedText(model.phases.PhaseEndName(id, j)).c_str(), sat.PhaseX(id, j));
      comp += buf;
    }
    std::printf("  %2d  %-16s %13.1f  %s\n", id, trimmedText(model.phases.PhaseNames(id)).c_str(),
                sat.Affinity(id), comp.c_str());
  }
  std::printf("\nNot available (excluded, or the liquid cannot build them):");
  for (int id = 1; id <= thermo_data::kNumPhases; ++id)
    if (!available(id)) std::printf(" %s;", trimmedText(model.phases.PhaseNames(id)).c_str());
  std::printf("\n");
  return 0;
}

}  // namespace

void addSaturationCommand(CLI::App& app, int& exitCode) {
  auto o = std::make_shared<SaturationOptions>();
  auto* cmd = app.add_subcommand(
      "saturation", "Affinity and composition at saturation of every phase against a liquid");
  cmd->add_option("--oxides", o->oxides, "Liquid composition, e.g. \"SiO2=50.4,TiO2=1.5,...\" (wt %)")
      ->required();
  cmd->add_option("--T", o->T, "Temperature (°C)")->required();
  cmd->add_option("--P", o->P, "Pressure (bar)")->required();
  cmd->add_flag("--json", o->json, "JSON output");
  cmd->callback([o, &exitCode] { exitCode = saturationCommand(*o); });
}

}  // namespace cx::cli
