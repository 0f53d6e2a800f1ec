// `cumulex thermo --T C --P BAR [--json]`: the standard-state database at one temperature and
// pressure: every endmember row and liquid component with G, H, S, V and Cp, and G of O2 and S2.
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "base/scalar_minimizer.h"
#include "cli_util.h"
#include "commands.h"
#include "json.h"
#include "thermo/gibbs.h"
#include "thermo/thermo_tables.h"

namespace cx::cli {
namespace {

struct ThermoOptions {
  std::string T, P;
  bool json = false;
};

std::string row(const char* fmt, double g, double h, double s, double v, double cp) {
  char buf[128];
  std::snprintf(buf, sizeof buf, fmt, g, h, s, v, cp);
  return buf;
}

void writeProps(JsonWriter& w, double g, double h, double s, double v, double cp) {
  w.value("G_J", g);
  w.value("H_J", h);
  w.value("S_J_K", s);
  w.value("V_J_bar", v);
  w.value("Cp_J_K", cp);
}

int thermoCommand(const ThermoOptions& o) {
  double TC = 0.0, P = 0.0;
  if (!readField("thermo", o.T, "--T", "°C", kMinTC, kMaxTC, TC)) return 2;
  if (!readField("thermo", o.P, "--P", "bar", kMinPBar, kMaxPBar, P)) return 2;
  const ThermoTables tables = loadThermoTables();
  auto ss = std::make_unique<StandardState>(MachEps());
  RecordingDiagnostics diag;
  const double T = TC + kKelvinOffset;
  if (!Gibbs(tables, *ss, diag, T, P, P)) {
    for (const auto& m : diag.reports) std::cerr << "cumulex thermo: " << m << '\n';
    return 1;
  }
  constexpr int kRows = thermo_data::kNumEndmemberRows;
  constexpr int kComps = thermo_data::kNumLiquidComponents;
  if (o.json) {
    JsonWriter w(std::cout);
    w.beginObject();
    w.value("T_C", TC);
    w.value("P_bar", P);
    w.beginArray("endmembers");
    for (int i = 1; i <= kRows; ++i) {
      w.beginObject();
      w.value("row", i);
      w.value("name", tables.EndmemberName(i));
      w.value("formula", tables.EndmemberFormula(i));
      writeProps(w, ss->G0End(i), ss->H0End(i), ss->S0End(i), ss->V0End(i), ss->Cp0End(i));
      w.endObject();
    }
    w.endArray();
    w.beginArray("liquid");
    for (int i = 1; i <= kComps; ++i) {
      w.beginObject();
      w.value("component", i);
      w.value("formula", tables.LiqFormula(i));
      writeProps(w, ss->G0Liq(i), ss->H0Liq(i), ss->S0Liq(i), ss->V0Liq(i), ss->Cp0Liq(i));
      w.endObject();
    }
    w.endArray();
    w.beginObject("O2");
    w.value("G_J", ss->G0O2);
    w.endObject();
    w.beginObject("S2");
    w.value("G_J", ss->G0S2);
    w.endObject();
    w.endObject();
    return 0;
  }
  const char* fmt = " %16.1f %16.1f %12.4f %11.5f %11.4f";
  std::printf("Standard states at %g °C (%g K) and %g bar\n\n", TC, T, P);
  std::printf("%4s  %-16s %-18s %16s %16s %12s %11s %11s\n", "Row", "Endmember", "Formula", "G (J)",
              "H (J)", "S (J/K)", "V (J/bar)", "Cp (J/K)");
  for (int i = 1; i <= kRows; ++i)
    std::printf(
        "%4d  %-16s %-18s%s\n", i, tables.EndmemberName(i).c_str(),
        tables.EndmemberFormula(i).c_str(),
        row(fmt, ss->G0End(i), ss->H0End(i), ss->S0End(i), ss->V0End(i), ss->Cp0End(i)).c_str());
  std::printf("\n%4s  %-35s %16s %16s %12s %11s %11s\n", "No", "Liquid component", "G (J)", "H (J)",
              "S (J/K)", "V (J/bar)", "Cp (J/K)");
  for (int i = 1; i <= kComps; ++i)
    std::printf(
        "%4d  %-35s%s\n", i, tables.LiqFormula(i).c_str(),
        row(fmt, ss->G0Liq(i), ss->H0Liq(i), ss->S0Liq(i), ss->V0Liq(i), ss->Cp0Liq(i)).c_str());
  std::printf("\nGas at 1 bar:  G(O2) = %.1f J   G(S2) = %.1f J\n", ss->G0O2, ss->G0S2);
  return 0;
}

}  // namespace

void addThermoCommand(CLI::App& app, int& exitCode) {
  auto opts = std::make_shared<ThermoOptions>();
  auto* cmd = app.add_subcommand(
      "thermo",
      "List the standard-state G, H, S, V and Cp of every endmember and liquid component");
  cmd->add_option("--T", opts->T, "Temperature in °C (100 to 3000)")->required();
  cmd->add_option("--P", opts->P, "Pressure in bar (1 to 100000)")->required();
  cmd->add_flag("--json", opts->json, "JSON output with units in the keys");
  cmd->callback([opts, &exitCode] { exitCode = thermoCommand(*opts); });
}

}  // namespace cx::cli
