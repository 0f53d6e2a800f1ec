// cumulex_solve_grid: cold fixed-temperature solves of eight natural compositions at four
// pressures from 1350 down to 750 °C by 25 °C (800 solves), each from the bulk alone, as a new
// user's `cumulex equilibrate` would run them.  Prints the failure rate by the liquid left, the
// messages of the failures, the time per solve (median, 95th percentile) and the inner-step
// counts.  `--every N` runs every N-th temperature only; `--csv FILE` writes one line per solve;
// `--trace NAME P T` solves one case (composition by name, bar, °C) and prints every inner step.
//
// A failed solve has no trustworthy liquid of its own: it is binned by the liquid of its
// converged neighbours on the same line (the mean of the nearest converged solves above and
// below it in temperature, or the one there is).
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "bench/grid/natural_compositions.h"
#include "solver/minimizer_internal.h"
#include "solver/stable_phases.h"
#include "ui/recording_port.h"

namespace {

struct Case {
  int composition = 0;
  double P = 0.0, tempC = 0.0;
  bool converged = false;
  std::string message;
  double liquid = NAN;  // g per 100 g; for a failure, the neighbours' estimate
  double seconds = 0.0;
  int inner = 0;
  std::string assemblage;
};

double quantile(std::vector<double> v, double q) {
  if (v.empty()) return NAN;
  std::sort(v.begin(), v.end());
  const auto k = static_cast<std::size_t>(std::floor(q * static_cast<double>(v.size() - 1) + 0.5));
  return v[std::min(k, v.size() - 1)];
}

// The first line of a message, with numbers left in: failures group by their wording.
std::string firstLine(const std::string& s) {
  const auto nl = s.find('\n');
  std::string line = s.substr(0, nl);
  const auto paren = line.find(" (");
  if (paren != std::string::npos && line.rfind("Mass balance", 0) == 0)
    line = line.substr(0, paren);
  const auto comma = line.find(", affinity");
  if (comma != std::string::npos) line = line.substr(0, comma);
  const auto at = line.find(" at T =");
  if (at != std::string::npos) line = line.substr(0, at);
  return line;
}

}  // namespace

int main(int argc, char** argv) {
  int every = 1;
  std::string csvPath, traceName;
  double traceP = 0.0, traceC = 0.0;
  for (int a = 1; a < argc; ++a) {
    const std::string arg = argv[a];
    if (arg == "--every" && a + 1 < argc) {
      every = std::max(1, std::atoi(argv[++a]));
    } else if (arg == "--csv" && a + 1 < argc) {
      csvPath = argv[++a];
    } else if (arg == "--trace" && a + 3 < argc) {
      traceName = argv[++a];
      traceP = std::atof(argv[++a]);
      traceC = std::atof(argv[++a]);
    } else {
      std::fprintf(stderr,
                   "usage: cumulex_solve_grid [--every N] [--csv FILE] [--trace NAME P T]\n");
      return 2;
    }
  }
  using cx::grid::kNaturalCompositions;
  const cx::ThermoTables tables = cx::loadThermoTables();
  const cx::LiquidTables liquidTables = cx::loadLiquidTables();
  std::vector<Case> cases;
  const bool tracing = !traceName.empty();
  for (int c = 0; c < static_cast<int>(kNaturalCompositions.size()); ++c) {
    if (tracing && traceName != kNaturalCompositions[static_cast<std::size_t>(c)].name) continue;
    for (double P : cx::grid::kGridPressures) {
      if (tracing && P != traceP) continue;
      int step = 0;
      for (double tc = cx::grid::kGridTopC; tc >= cx::grid::kGridBottomC - 1e-9;
           tc -= cx::grid::kGridStepC, ++step) {
        if (step % every != 0) continue;
        if (tracing && std::fabs(tc - traceC) > 1e-9) continue;
        cx::RecordingDiagnostics diag;
        cx::RecordingPort port;
        cx::ModelOptions options;
        cx::EquilibriumModel model(tables, liquidTables, options, diag, port);
        cx::Array1<double> wt(1, 15);
        for (int k = 1; k <= 15; ++k)
          wt(k) = kNaturalCompositions[static_cast<std::size_t>(c)]
                      .oxides[static_cast<std::size_t>(k - 1)];
        const double T = tc + 273.15;
        model.setConditions(T, P);
        model.setLiquidOxides(wt);
        cx::MinimizerContext ctx(model, port);
        cx::MinimizerState st;
        for (int i = 1; i <= cx::kLiquidComponents; ++i) st.BulkMoles(i) = model.BulkMoles(i);
        const auto t0 = std::chrono::steady_clock::now();
        const cx::MinimizerResult r = cx::solveStableAssemblage(ctx, st, T, P);
        const auto t1 = std::chrono::steady_clock::now();
        Case k;
        k.composition = c;
        k.P = P;
        k.tempC = tc;
        k.converged = r.converged;
        k.message = r.message;
        k.seconds = std::chrono::duration<double>(t1 - t0).count();
        k.inner = r.counters.innerSteps;
        if (r.converged) {
          // The independent check of the result: a converged solve it refuses is a silent
          // wrong answer.
          const std::string fault = cx::equilibriumFault(ctx, st, T, P);
          if (!fault.empty()) {
            k.converged = false;
            k.message = "[silent] " + fault;
          }
        }
        if (k.converged) {
          double liq = 0.0;
          for (int i = 1; i <= cx::kLiquidComponents; ++i) liq += st.Xstable(i) * ctx.liquidMW(i);
          k.liquid = liq;
          k.assemblage = "liq";
          for (int q = 1; q <= st.PhaseCount; ++q)
            k.assemblage += " " + cx::trimmedText(model.sat->abbrev(st.Phaselist(q)));
        }
        if (tracing) {
          for (const cx::ProgressInfo& p : port.progress) {
            std::printf("%4d n=%-2d norm %.3e step %.3e floors %zu |", p.attempt, p.components,
                        p.norm, p.stepLength, p.constrainedComponents.size());
            for (std::size_t q = 0; q < p.saturatedPhases.size(); ++q)
              std::printf(" %s %.3g",
                          cx::trimmedText(model.sat->abbrev(p.saturatedPhases[q])).c_str(),
                          p.affinities[q]);
            std::printf("\n");
          }
          // Each listed phase at the end: the moles of its endmembers, its saturation composition
          // and each endmember's potential at the composition held against the liquid's.
          cx::minimizer::liquidAt(ctx, st.Xstable, T, P);
          int errFlag = 0;
          cx::minimizer::saturationOf(ctx, st, 0, T, P, errFlag);
          std::printf("liquid:");
          for (int i = 1; i <= cx::kLiquidComponents; ++i)
            std::printf(" %s %.3g", cx::trimmedText(model.tables.LiqFormula(i)).c_str(),
                        st.Xstable(i));
          std::printf("\n");
          int e = cx::kLiquidComponents;
          for (int q = 1; q <= st.PhaseCount; ++q) {
            const int id = st.Phaselist(q);
            const int ne = model.activity->PhaseEndCount(id);
            const bool atState = cx::minimizer::potentialsAtState(ctx, id, st.Xstable, e, T, P);
            std::printf("%s affinity %.4g:", cx::trimmedText(model.sat->abbrev(id)).c_str(),
                        model.sat->Affinity(id));
            for (int j = 1; j <= ne; ++j) {
              double muLiq = 0.0;
              for (int i = 1; i <= cx::kLiquidComponents; ++i)
                muLiq += model.phases.PhaseStoich(id, j, i) * model.MuLiq(i);
              std::printf(" [%.3e x%.4f", st.Xstable(e + j), model.sat->PhaseX(id, j));
              if (atState) std::printf(" off %.3g", ctx.g(j) - muLiq);
              std::printf(" satoff %.3g]", model.sat->PhaseMu(id, j) - muLiq);
            }
            std::printf("\n");
            e += ne;
          }
          const cx::MinimizerCounters& n = r.counters;
          std::printf(
              "inner %d reviews %d adds %d drops %d readmissions %d polish %d bounded %d "
              "floor re-solves %d\n%s: %s\n",
              n.innerSteps, n.reviews, n.adds, n.drops, n.readmissions, n.polishSteps,
              n.boundedSteps, n.floorResolves, k.converged ? "converged" : "failed",
              k.message.c_str());
        }
        cases.push_back(k);
      }
    }
  }
  // The failures' liquid from their converged neighbours on the same line.
  for (std::size_t i = 0; i < cases.size(); ++i) {
    if (cases[i].converged) continue;
    double above = NAN, below = NAN;
    for (std::size_t j = i; j-- > 0;) {
      if (cases[j].composition != cases[i].composition || cases[j].P != cases[i].P) break;
      if (cases[j].converged) {
        above = cases[j].liquid;
        break;
      }
    }
    for (std::size_t j = i + 1; j < cases.size(); ++j) {
      if (cases[j].composition != cases[i].composition || cases[j].P != cases[i].P) break;
      if (cases[j].converged) {
        below = cases[j].liquid;
        break;
      }
    }
    if (std::isfinite(above) && std::isfinite(below))
      cases[i].liquid = 0.5 * (above + below);
    else
      cases[i].liquid = std::isfinite(above) ? above : below;
  }

  struct Bin {
    const char* label;
    double low, high;
    int total = 0, failed = 0;
  };
  std::vector<Bin> bins = {{"liquid >= 40 g", 40.0, 1e9},
                           {"liquid 15-40 g", 15.0, 40.0},
                           {"liquid 5-15 g", 5.0, 15.0},
                           {"liquid < 5 g", -1e9, 5.0}};
  int unknown = 0, unknownFailed = 0, failed = 0, failedAbove950 = 0, failedWithLiquid = 0,
      withLiquid = 0;
  std::map<std::string, int> messages;
  std::vector<double> tAll, tOk, tFail, innerOk;
  for (const Case& k : cases) {
    tAll.push_back(k.seconds);
    (k.converged ? tOk : tFail).push_back(k.seconds);
    if (k.converged) innerOk.push_back(k.inner);
    if (!k.converged) {
      ++failed;
      ++messages[firstLine(k.message)];
      if (k.tempC > 950.0) ++failedAbove950;
    }
    if (!std::isfinite(k.liquid)) {
      ++unknown;
      if (!k.converged) ++unknownFailed;
      continue;
    }
    if (k.liquid >= 5.0) {
      ++withLiquid;
      if (!k.converged) ++failedWithLiquid;
    }
    for (Bin& b : bins)
      if (k.liquid >= b.low && k.liquid < b.high) {
        ++b.total;
        if (!k.converged) ++b.failed;
      }
  }
  const auto pct = [](int a, int b) { return b > 0 ? 100.0 * a / b : 0.0; };
  std::printf("%zu solves, %d failed (%.1f %%); %d failed above 950 C\n", cases.size(), failed,
              pct(failed, static_cast<int>(cases.size())), failedAbove950);
  std::printf("with at least 5 g of liquid: %d of %d failed (%.1f %%)\n", failedWithLiquid,
              withLiquid, pct(failedWithLiquid, withLiquid));
  for (const Bin& b : bins)
    std::printf("  %-16s %4d failed of %4d (%.1f %%)\n", b.label, b.failed, b.total,
                pct(b.failed, b.total));
  if (unknown > 0)
    std::printf("  %-16s %4d failed of %4d\n", "liquid unknown", unknownFailed, unknown);
  std::printf("messages:\n");
  for (const auto& [m, n] : messages) std::printf("  %4d  %s\n", n, m.c_str());
  std::printf(
      "time per solve: median %.4f s, 95th percentile %.4f s (converged median %.4f s, "
      "failed median %.4f s)\n",
      quantile(tAll, 0.5), quantile(tAll, 0.95), quantile(tOk, 0.5), quantile(tFail, 0.5));
  std::printf("inner steps of converged solves: median %.0f, 95th percentile %.0f, worst %.0f\n",
              quantile(innerOk, 0.5), quantile(innerOk, 0.95), quantile(innerOk, 1.0));
  if (!csvPath.empty()) {
    FILE* f = std::fopen(csvPath.c_str(), "w");
    if (f == nullptr) {
      std::fprintf(stderr, "cumulex_solve_grid: cannot write %s\n", csvPath.c_str());
      return 1;
    }
    std::fprintf(f, "composition,P_bar,T_C,converged,liquid_g,seconds,inner,assemblage,message\n");
    for (const Case& k : cases)
      std::fprintf(f, "%s,%g,%g,%d,%.4f,%.5f,%d,%s,\"%s\"\n",
                   kNaturalCompositions[static_cast<std::size_t>(k.composition)].name, k.P, k.tempC,
                   k.converged ? 1 : 0, k.liquid, k.seconds, k.inner, k.assemblage.c_str(),
                   firstLine(k.message).c_str());
    std::fclose(f);
  }
  return 0;
}
