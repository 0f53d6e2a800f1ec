// `cumulex liquidus --oxides "SiO2=50.4,..." --P BAR [--exclude NAME,...] [--json]`: the
// liquidus temperature of a liquid of that composition, the solid phase that saturates first, and
// whether the liquid is already gas-saturated there.
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "cli_util.h"
#include "commands.h"
#include "json.h"
#include "solver/liquidus.h"
#include "ui/recording_port.h"

namespace cx::cli {
namespace {

struct LiquidusOptions {
  std::string oxides, P, exclude;
  bool json = false;
};

constexpr double kStartTC = 1200.0;  // °C: the search starts here

int liquidusCommand(const LiquidusOptions& o) {
  double pBar = 0.0;
  if (!readField("liquidus", o.P, "--P", "bar", kMinPBar, kMaxPBar, pBar)) return 2;
  const ThermoTables tables = loadThermoTables();
  const LiquidTables liquidTables = loadLiquidTables();
  Array1<double> wt(1, thermo_data::kNumOxides);
  if (!readOxides("liquidus", tables, o.oxides, wt)) return 2;
  ModelOptions options;
  if (!readExclusions("liquidus", tables, o.exclude, options.PhaseExcluded)) return 2;

  RecordingDiagnostics diag;
  RecordingPort port;
  EquilibriumModel model(tables, liquidTables, options, diag, port);
  double T = kStartTC + kKelvinOffset;
  const LiquidusResult r = Find_Liquidus(model, port, wt, T, pBar);
  if (!r.found) {
    std::cerr << "cumulex liquidus: " << r.message << '\n';
    for (const auto& rep : diag.reports) std::cerr << "  " << rep << '\n';
    if (r.message.rfind("No silica", 0) == 0) std::cerr << "  (item: --oxides SiO2)\n";
    return r.badInput ? 2 : 1;
  }
  const std::string phase = trimmedText(model.phases.PhaseNames(r.phase));
  if (!r.withinOneJoule) {
    std::cerr << "cumulex liquidus: no liquidus found: the search ended at " << r.T - kKelvinOffset
              << " °C with " << phase << " at an affinity of " << r.affinity << " J\n";
    // A phase still oversaturated at the hottest temperature the search reaches is stable above
    // any liquidus of the others (alkali feldspar in potassic basalts and picrites, whose
    // sanidine's disorder term keeps falling with T); the others' liquidus needs it kept out.
    if (r.affinity < 0.0)
      std::cerr << "  " << phase << " stays saturated at every temperature searched; to find the "
                << "liquidus of the other phases, keep it out: --exclude " << phase << '\n';
    return 1;
  }
  if (o.json) {
    JsonWriter w(std::cout);
    w.beginObject();
    w.value("T_C", r.T - kKelvinOffset);
    w.value("phase", phase);
    w.value("phase_id", r.phase);
    w.value("affinity_J", r.affinity);
    w.value("P_bar", pBar);
    w.value("evaluations", r.evaluations);
    w.value("gas_saturated", r.gasSaturated);
    w.value("gas_affinity_J", r.gasAffinity);
    w.endObject();
    return 0;
  }
  std::printf("Liquidus at %.2f bar: %.2f °C, first phase %s (affinity %.3f J, %d evaluations)\n",
              pBar, r.T - kKelvinOffset, phase.c_str(), r.affinity, r.evaluations);
  if (r.gasSaturated)
    std::printf("The gas saturates first: the liquid is oversaturated in gas at its liquidus "
                "(gas affinity %.0f J).\n",
                r.gasAffinity);
  return 0;
}

}  // namespace

void addLiquidusCommand(CLI::App& app, int& exitCode) {
  auto o = std::make_shared<LiquidusOptions>();
  auto* cmd = app.add_subcommand(
      "liquidus", "Liquidus temperature of a liquid and the phase that saturates first");
  cmd->add_option("--oxides", o->oxides,
                  "Liquid composition, e.g. \"SiO2=50.4,TiO2=1.5,...\" (wt %)")
      ->required();
  cmd->add_option("--P", o->P, "Pressure (bar)")->required();
  cmd->add_option("--exclude", o->exclude,
                  "Phases kept out of the search, by name or abbreviation");
  cmd->add_flag("--json", o->json, "JSON output");
  cmd->callback([o, &exitCode] { exitCode = liquidusCommand(*o); });
}

}  // namespace cx::cli
