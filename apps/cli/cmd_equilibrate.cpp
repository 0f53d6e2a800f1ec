// `cumulex equilibrate --oxides "SiO2=50.4,..." --T C --P BAR [--entropy S | --enthalpy H]
// [--exclude NAME,...] [--json]`: the stable assemblage of one composition (wt %, normalized to
// 100 g) at fixed T and P, or at fixed entropy (J/K) or enthalpy (J) per 100 g starting from T.
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli_util.h"
#include "commands.h"
#include "base/text_format.h"
#include "json.h"
#include "solver/stable_phases.h"
#include "thermo/redox.h"
#include "ui/recording_port.h"

namespace cx::cli {
namespace {

struct EquilibrateOptions {
  std::string oxides, T, P, entropy, enthalpy, exclude;
  bool json = false;
};

struct PhaseReport {
  int id = 0;
  std::string name, abbrev;
  double mass = 0.0;
  std::vector<std::pair<std::string, double>> endmembers;
  double affinity = 0.0;
};

int equilibrateCommand(const EquilibrateOptions& o) {
  double tempC = 0.0, pBar = 0.0, sTarget = 0.0, hTarget = 0.0;
  if (!readField("equilibrate", o.T, "--T", "°C", kMinTC, kMaxTC, tempC)) return 2;
  if (!readField("equilibrate", o.P, "--P", "bar", kMinPBar, kMaxPBar, pBar)) return 2;
  if (!o.entropy.empty() && !o.enthalpy.empty()) {
    std::cerr << "cumulex equilibrate: give --entropy or --enthalpy, not both\n";
    return 2;
  }
  if (!o.entropy.empty() &&
      !readField("equilibrate", o.entropy, "--entropy", "J/K", -1e7, 1e7, sTarget))
    return 2;
  if (!o.enthalpy.empty() &&
      !readField("equilibrate", o.enthalpy, "--enthalpy", "J", -1e9, 1e9, hTarget))
    return 2;
  const ThermoTables tables = loadThermoTables();
  const LiquidTables liquidTables = loadLiquidTables();
  Array1<double> wt(1, thermo_data::kNumOxides);
  if (!readOxides("equilibrate", tables, o.oxides, wt)) return 2;
  ModelOptions options;
  if (!readExclusions("equilibrate", tables, o.exclude, options.PhaseExcluded)) return 2;

  RecordingDiagnostics diag;
  RecordingPort port;
  EquilibriumModel model(tables, liquidTables, options, diag, port);
  double T = tempC + kKelvinOffset, P = pBar;
  if (!model.setConditions(T, P)) {
    std::cerr << "cumulex equilibrate: the standard states failed at " << o.T << " °C, " << o.P
              << " bar\n";
    return 1;
  }
  if (!model.setLiquidOxides(wt)) {
    std::cerr << "cumulex equilibrate: the liquid components cannot be formed from these oxides\n";
    for (const auto& r : diag.reports) std::cerr << "  " << r << '\n';
    return 2;
  }
  MinimizerContext ctx(model, port);
  MinimizerState st;
  for (int i = 1; i <= kLiquidComponents; ++i) st.BulkMoles(i) = model.BulkMoles(i);
  st.ConstantT = o.entropy.empty() && o.enthalpy.empty();
  st.ConstantS = !o.entropy.empty();
  st.ConstantH = !o.enthalpy.empty();
  st.Ssystem = sTarget;
  st.Hsystem = hTarget;
  const MinimizerResult res = solveStableAssemblage(ctx, st, T, P);
  T = res.T;
  P = res.P;

  if (!res.converged) {
    // An answer that is not proved an equilibrium is no answer: no masses, no phases.  The liquid
    // the search held when it stopped says only whether the composition was near its solidus,
    // where the minimizer, which works through the liquid, runs out of liquid to work with.
    double lastLiquid = 0.0;
    for (int i = 1; i <= kLiquidComponents; ++i) lastLiquid += st.Xstable(i) * ctx.liquidMW(i);
    const bool nearSolidus = std::isfinite(lastLiquid) && lastLiquid >= 0.0 && lastLiquid < 5.0;
    const std::string note =
        nearSolidus ? "Little liquid was left when the search stopped (about " +
                          formatNumber(lastLiquid, "0.0") +
                          " g per 100 g): the composition is at or below its solidus, where too "
                          "little liquid remains for this liquid-based minimizer."
                    : std::string();
    if (o.json) {
      JsonWriter w(std::cout);
      w.beginObject();
      w.value("T_C", T - kKelvinOffset);
      w.value("P_bar", P);
      w.value("converged", false);
      w.value("message", res.message);
      if (nearSolidus) w.value("note", note);
      w.endObject();
    } else {
      std::printf("No equilibrium found at %.2f °C and %.2f bar: the solve did not converge.\n",
                  T - kKelvinOffset, P);
      if (nearSolidus) std::printf("%s\n", note.c_str());
    }
    std::cerr << "cumulex equilibrate: " << res.message << '\n';
    for (const auto& r : diag.reports)
      if (r != res.message) std::cerr << "  " << r << '\n';
    return 1;
  }

  // The liquid: its mass, oxides and oxygen fugacity.
  Array1<double> liq(1, kLiquidComponents), liqWt(1, thermo_data::kNumOxides);
  double liqMass = 0.0;
  for (int i = 1; i <= kLiquidComponents; ++i) {
    liq(i) = st.Xstable(i);
    liqMass += liq(i) * ctx.liquidMW(i);
  }
  ComponentsToOxides(tables, liq, liqWt);
  NormalizeOxides(liqWt);
  double logfO2 = 0.0;
  Array1<double> redoxWt = liqWt;
  const bool haveFO2 =
      FeRedox(tables, *model.ss, model.liquid, diag, T, P, kGetLogfO2, redoxWt, logfO2);
  model.setConditions(T, P);

  std::vector<PhaseReport> phases;
  int c = kLiquidComponents;
  for (int k = 1; k <= st.PhaseCount; ++k) {
    const int id = st.Phaselist(k);
    if (id >= thermo_data::kNumPhases) continue;
    PhaseReport p;
    p.id = id;
    p.name = trimmedText(model.phases.PhaseNames(id));
    p.abbrev = trimmedText(model.sat->abbrev(id));
    p.affinity = model.sat->Affinity(id);
    const int n = model.activity->PhaseEndCount(id);
    double total = 0.0;
    for (int j = 1; j <= n; ++j) {
      const double moles = st.Xstable(c + j);
      total += moles;
      p.mass += moles * model.phases.PhaseEndMW(id, j);
    }
    for (int j = 1; j <= n; ++j)
      p.endmembers.emplace_back(trimmedText(model.phases.PhaseEndName(id, j)),
                                total != 0.0 ? st.Xstable(c + j) / total : 0.0);
    c += n;
    phases.push_back(std::move(p));
  }
  const double G = st.Hsystem - T * st.Ssystem;

  if (o.json) {
    JsonWriter w(std::cout);
    w.beginObject();
    w.value("T_C", T - kKelvinOffset);
    w.value("P_bar", P);
    w.beginObject("liquid");
    w.value("mass_g", liqMass);
    w.beginObject("oxides_wt");
    for (int k = 1; k <= thermo_data::kNumOxides; ++k)
      w.value(trimmedText(tables.OxideNames(k)), liqWt(k));
    w.endObject();
    if (haveFO2)
      w.value("logfO2", logfO2);
    else
      w.value("logfO2", std::nan(""));
    w.endObject();
    w.beginArray("phases");
    for (const auto& p : phases) {
      w.beginObject();
      w.value("name", p.name);
      w.value("abbrev", p.abbrev);
      w.value("mass_g", p.mass);
      w.beginObject("endmembers");
      for (const auto& [name, x] : p.endmembers) w.value(name, x);
      w.endObject();
      w.value("affinity_J", p.affinity);
      w.endObject();
    }
    w.endArray();
    w.value("G_J", G);
    w.value("H_J", st.Hsystem);
    w.value("S_J_K", st.Ssystem);
    w.value("V_J_bar", st.Vsystem);
    w.value("Cp_J_K", st.CpSystem);
    w.value("converged", res.converged);
    w.value("message", res.message);
    w.endObject();
  } else {
    std::printf("Stable assemblage at %.2f °C and %.2f bar (per 100 g)\n\n", T - kKelvinOffset, P);
    std::printf("Liquid: %.4f g", liqMass);
    if (haveFO2) std::printf(", log fO2 %.3f", logfO2);
    std::printf("\n ");
    for (int k = 1; k <= thermo_data::kNumOxides; ++k)
      if (liqWt(k) != 0.0)
        std::printf(" %s %.3f", trimmedText(tables.OxideNames(k)).c_str(), liqWt(k));
    std::printf("\n");
    for (const auto& p : phases) {
      std::printf("%s (%s): %.4f g, affinity %.2f J\n ", p.name.c_str(), p.abbrev.c_str(), p.mass,
                  p.affinity);
      for (const auto& [name, x] : p.endmembers) std::printf(" %s %.4f", name.c_str(), x);
      std::printf("\n");
    }
    if (phases.empty()) std::printf("No solid or gas phase is stable.\n");
    std::printf("\nG %.3f J  H %.3f J  S %.5f J/K  V %.5f J/bar  Cp %.4f J/K\n", G, st.Hsystem,
                st.Ssystem, st.Vsystem, st.CpSystem);
    std::printf("Iterations: %d inner, %d reviews, %d secant passes\n", res.counters.innerSteps,
                res.counters.reviews, res.counters.outerPasses);
  }
  return 0;
}

}  // namespace

void addEquilibrateCommand(CLI::App& app, int& exitCode) {
  auto o = std::make_shared<EquilibrateOptions>();
  auto* cmd = app.add_subcommand("equilibrate", "Stable assemblage of one composition");
  cmd->add_option("--oxides", o->oxides, "Bulk composition, e.g. \"SiO2=50.4,TiO2=1.5,...\" (wt %)")
      ->required();
  cmd->add_option("--T", o->T, "Temperature (°C); the start of a search at fixed S or H")
      ->required();
  cmd->add_option("--P", o->P, "Pressure (bar)")->required();
  cmd->add_option("--entropy", o->entropy, "Solve at this entropy (J/K per 100 g)");
  cmd->add_option("--enthalpy", o->enthalpy, "Solve at this enthalpy (J per 100 g)");
  cmd->add_option("--exclude", o->exclude,
                  "Phases kept from precipitating, by name or abbreviation");
  cmd->add_flag("--json", o->json, "JSON output");
  cmd->callback([o, &exitCode] { exitCode = equilibrateCommand(*o); });
}

}  // namespace cx::cli
