// `cumulex liquid --oxides "SiO2=50.4,TiO2=1.5,..." --T C --P BAR [--buffer NAME] [--json]`:
// the silicate liquid of one composition at one temperature and pressure: its components and
// mole fractions, the chemical potential, partial entropy and enthalpy of each, its density,
// viscosity and log fO2.  With a buffer, FeO and Fe2O3 are first set to the buffer's ratio.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "base/scalar_minimizer.h"
#include "cli_util.h"
#include "commands.h"
#include "json.h"
#include "thermo/gibbs.h"
#include "thermo/redox.h"
#include "thermo/silicate_liquid.h"
#include "thermo/thermo_tables.h"
#include "thermo/viscosity.h"
#include "ui/recording_port.h"

namespace cx::cli {
namespace {

constexpr int kOxides = thermo_data::kNumOxides;
constexpr int kComps = thermo_data::kNumLiquidComponents;

struct LiquidOptions {
  std::string oxides, T, P, buffer;
  bool json = false;
};

// One line on stderr, prefixed with the command's name.
template <class... Parts>
void fail(const Parts&... parts) {
  std::cerr << "cumulex liquid: ";
  (std::cerr << ... << parts);
  std::cerr << '\n';
}

void printReports(const RecordingDiagnostics& diag, const RecordingPort& port) {
  for (const auto& m : diag.reports) fail(m);
  for (const auto& m : port.messages) fail(m);
}

int liquidCommand(const LiquidOptions& o) {
  double TC = 0.0, P = 0.0;
  if (!readField("liquid", o.T, "--T", "°C", kMinTC, kMaxTC, TC)) return 2;
  if (!readField("liquid", o.P, "--P", "bar", kMinPBar, kMaxPBar, P)) return 2;
  const bool buffered = !o.buffer.empty();
  if (buffered &&
      std::find(kOxygenBuffers.begin(), kOxygenBuffers.end(), o.buffer) == kOxygenBuffers.end()) {
    std::string known;
    for (auto b : kOxygenBuffers) {
      if (!known.empty()) known += ", ";
      known += b;
    }
    fail("--buffer: unknown buffer '", o.buffer, "' (known: ", known, ")");
    return 2;
  }
  const ThermoTables tables = loadThermoTables();
  const LiquidTables liquid = loadLiquidTables();
  Array1<double> wt(1, kOxides);
  if (!readOxides("liquid", tables, o.oxides, wt)) return 2;
  NormalizeOxides(wt);

  auto ss = std::make_unique<StandardState>(MachEps());
  RecordingDiagnostics diag;
  diag.PauseOnError = true;  // so that every failure comes with its full text
  RecordingPort port;
  LiquidContext ctx;
  ctx.port = &port;
  const double T = TC + kKelvinOffset;

  double logfO2 = 0.0;
  if (buffered) {
    if (!FeRedox(tables, *ss, ctx, diag, T, P, o.buffer, wt, logfO2)) {
      printReports(diag, port);
      return diag.ErrorFlag ? 1 : 2;
    }
    NormalizeOxides(wt);
  }
  if (!Gibbs(tables, *ss, diag, T, P, P)) {
    printReports(diag, port);
    return 1;
  }
  Array1<double> oxMoles(1, kOxides), comps(1, kComps), x(1, kComps), mu(1, kComps), S(1, kComps),
      H(1, kComps);
  OxidesToMoles(tables, wt, oxMoles);
  if (!MolesComponents(tables, diag, oxMoles, comps)) {
    printReports(diag, port);
    return 2;
  }
  if (!MoleFractions(ctx, diag, comps, x, kComps)) {
    fail(
        "the composition gives negative moles of a liquid component (more K2O than Al2O3, or "
        "more Cr2O3 than MgO)");
    return 2;
  }
  if (!u_Liquid(liquid, *ss, ctx, diag, 0, x, mu, S, H, T, P)) {
    printReports(diag, port);
    return 1;
  }
  const double volume = liquidVolume(*ss, comps);  // J/bar of 100 g
  const double density = 100.0 / volume / 10.0;    // g/cm3
  double log10Visc = 0.0;
  try {
    log10Visc = log10ViscosityPaS(ViscosityGD2007(tables, ctx, diag, wt, T));
  } catch (const Fault& f) {
    fail(f.number(), " error in the viscosity model");
    return 1;
  }
  if (!buffered) {
    Array1<double> copy = wt;
    if (!FeRedox(tables, *ss, ctx, diag, T, P, kGetLogfO2, copy, logfO2)) {
      printReports(diag, port);
      return 1;
    }
  }

  if (o.json) {
    JsonWriter w(std::cout);
    w.beginObject();
    w.value("T_C", TC);
    w.value("P_bar", P);
    w.beginArray("components");
    for (int i = 1; i <= kComps; ++i) {
      w.beginObject();
      w.value("formula", tables.LiqFormula(i));
      w.value("moles", comps(i));
      w.value("x", x(i));
      w.value("mu_J", mu(i));
      w.value("S_J_K", S(i));
      w.value("H_J", H(i));
      w.endObject();
    }
    w.endArray();
    w.value("density_g_cm3", density);
    w.value("log10_viscosity_Pa_s", log10Visc);
    w.value("logfO2", logfO2);
    if (buffered) {
      w.beginObject("oxides_wt");
      for (int i = 1; i <= kOxides; ++i) w.value(trimmedText(tables.OxideNames(i)), wt(i));
      w.endObject();
    }
    w.endObject();
    return 0;
  }
  std::printf("Silicate liquid at %g °C (%g K) and %g bar", TC, T, P);
  if (buffered) std::printf(", iron set to the %s buffer", o.buffer.c_str());
  std::printf("\n\n%4s  %-12s %12s %12s %16s %12s %16s\n", "No", "Component", "Moles", "X",
              "mu (J)", "S (J/K)", "H (J)");
  for (int i = 1; i <= kComps; ++i)
    std::printf("%4d  %-12s %12.6f %12.8f %16.1f %12.4f %16.1f\n", i, tables.LiqFormula(i).c_str(),
                comps(i), x(i), mu(i), S(i), H(i));
  std::printf("\nDensity            %.4f g/cm3\n", density);
  std::printf("Viscosity          10^%.3f Pa s\n", log10Visc);
  std::printf("log f(O2)          %.3f\n", logfO2);
  if (buffered)
    std::printf("FeO, Fe2O3         %.4f, %.4f wt %% (oxides normalized to 100)\n", wt(6), wt(4));
  return 0;
}

}  // namespace

void addLiquidCommand(CLI::App& app, int& exitCode) {
  auto opts = std::make_shared<LiquidOptions>();
  auto* cmd = app.add_subcommand(
      "liquid",
      "The silicate liquid of one composition: components, chemical potentials, partial entropy "
      "and enthalpy, density, viscosity and log fO2");
  cmd->add_option("--oxides", opts->oxides,
                  "Oxides in wt %, e.g. \"SiO2=50.4,TiO2=1.5,Al2O3=15.3,FeO=9.6,MgO=8\" "
                  "(normalized to 100)")
      ->required();
  cmd->add_option("--T", opts->T, "Temperature in °C (100 to 3000)")->required();
  cmd->add_option("--P", opts->P, "Pressure in bar (1 to 100000)")->required();
  cmd->add_option("--buffer", opts->buffer,
                  "Oxygen buffer that sets FeO and Fe2O3: QFM+3, QFM+2, QFM+1, Q-Fa-Mt, QFM-1, "
                  "QFM-2, QFM-3, Hm-Mt, Ni-NiO, Fe-FeO");
  cmd->add_flag("--json", opts->json, "JSON output with units in the keys");
  cmd->callback([opts, &exitCode] { exitCode = liquidCommand(*opts); });
}

}  // namespace cx::cli
