// cumulex_solve_corpus: the regression corpus of node states.
//
//   cumulex_solve_corpus --make FILE [--iterations N] [--examples DIR]
//     runs the default column and every example setup (DIR/*.cxd) for N iterations each
//     (default 500) and writes every state a node's solve was handed (see node_corpus.h).
//   cumulex_solve_corpus FILE [--every K] [--csv OUT]
//     solves each state (every K-th) cold, from the liquid alone, and warm, from the assemblage
//     the node held, and prints for each start the failures by message and by the node's liquid
//     (above 40 g, 15-40, 5-15, below 5 g per 100 g), the median and 95th-percentile time per
//     solve (processor time of the thread), the inner-step counts, and how often the warm and cold
//     answers disagree on the assemblage: the lists compared as sets (lists that differ only in
//     the order the phases joined are counted apart), and where the sets differ, which answer
//     has the lower free energy (G at fixed T, H at fixed S), with the differing phases' mass
//     (written, one state a line, to OUT.disagree.csv with --csv).
//   cumulex_solve_corpus FILE --history
//     solves each state as above in one context per source, and again in a context made for
//     that solve alone, and counts the solves whose answers differ in any bit (a solve must be
//     a function of its state, not of what its context solved before).
//   cumulex_solve_corpus FILE --pick SOURCE,ITERATION,NODE
//     solves that one state and prints both answers and the minimizer's counters.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/port.h"
#include "bench/corpus/node_corpus.h"
#include "persist/default_setup.h"
#include "persist/setup_file.h"
#include "run/run_driver.h"

namespace {

namespace fs = std::filesystem;
using cx::corpus::NodeState;
using cx::corpus::Outcome;

// Whether node i is held at its temperature in this run (else it follows its entropy): the
// rule of the column's walk.
bool heldAtTemperature(const cx::Column& c, const cx::Settings& s, int i) {
  const cx::RunOptions& r = s.run;
  return (i == c.TopNode && i != c.NumNodes && s.optionMix) ||
         (i == c.NumNodes && r.chkSkipFarfield == 1 && r.chkTTop == 0) ||
         (i == 1 && r.chkSkipFarfield == 1 && r.chkTBottom == 0) || r.chkConstantT == 1;
}

cx::corpus::SourceOptions optionsOf(const std::string& source, const cx::Column& c,
                                    const cx::Settings& s) {
  cx::corpus::SourceOptions o;
  o.source = source;
  o.pyroxeneModel = s.PyroxeneModel;
  const cx::ModelOptions defaults;
  for (int id = 1; id <= cx::corpus::kPhases; ++id) {
    o.activity.push_back(c.ActivityFlags(id));
    o.excluded.push_back(defaults.PhaseExcluded(id) || c.PhaseExcluded(id));
  }
  return o;
}

// Runs one setup for `iterations` iterations and appends the state of every node solve.
int record(const std::string& source, const std::string& text, int iterations, std::ofstream& out) {
  const fs::path dir = fs::temp_directory_path() / ("cumulex-corpus-" + source);
  fs::remove_all(dir);
  fs::create_directories(dir);
  cx::Column column;
  cx::Settings settings;
  const cx::SetupReadResult read = cx::parseSetup(text, source, column, settings);
  if (!read.ok) {
    std::fprintf(stderr, "%s: %s\n", source.c_str(), read.message.c_str());
    return 0;
  }
  settings.setMiscText(cx::misc::kSaveInterval, "1000");
  out << cx::corpus::optionsLine(optionsOf(source, column, settings)) << "\n";
  cx::NullPort port;
  cx::EventLog log(port);
  cx::RunContext ctx{column, settings, log, port, dir};
  int count = 0;
  const auto equilibrate = ctx.processes.Equilibrate;
  ctx.processes.Equilibrate = [&](cx::RunContext& r) {
    const cx::Column& c = r.column;
    for (int i = 1; i <= c.NumNodes; ++i) {
      if (c.FLiq(i) <= r.settings.misc(cx::misc::kMinFLiqEquilibration)) continue;
      NodeState n;
      n.source = source;
      n.iteration = c.Iteration;
      n.node = i;
      n.constantT = heldAtTemperature(c, r.settings, i);
      n.T = c.Temp(i);
      n.P = c.Press(i);
      n.S = c.STotal(i) * 100.0;
      const double mass = c.MassLiq(i) + c.MassSolid(i) + c.MassWater(i);
      n.liquid = mass > 0.0 ? 100.0 * c.MassLiq(i) / mass : 0.0;
      for (int k = 1; k <= cx::corpus::kOxideCount; ++k) n.oxides.push_back(c.BulkOx(i, k));
      for (int k = 1; k <= c.PhaseCount(i); ++k) n.phases.push_back(c.PhaseList(i, k));
      int last = 0;
      for (int k = 1; k <= cx::kXstableSize; ++k)
        if (c.Xstable(i, k) != 0.0) last = k;
      for (int k = 1; k <= last; ++k) n.X.push_back(c.Xstable(i, k));
      out << cx::corpus::stateLine(n) << "\n";
      ++count;
    }
    equilibrate(r);
  };
  ctx.iterationLimit = iterations;
  const cx::RunOutcome outcome = cx::CmdStart(ctx);
  std::fprintf(stderr, "%s: %d states, %d iterations%s%s\n", source.c_str(), count,
               column.Iteration, outcome.message.empty() ? "" : ": ", outcome.message.c_str());
  fs::remove_all(dir);
  return count;
}

double quantile(std::vector<double> v, double q) {
  if (v.empty()) return NAN;
  std::sort(v.begin(), v.end());
  const auto k = static_cast<std::size_t>(std::floor(q * static_cast<double>(v.size() - 1) + 0.5));
  return v[std::min(k, v.size() - 1)];
}

// The wording of a failure without its numbers' context: failures group by it.
std::string messageClass(const std::string& s) {
  std::string line = s.substr(0, s.find('\n'));
  for (const char* cut : {" (", ", affinity", " at T =", ": "}) {
    const auto at = line.find(cut);
    if (at != std::string::npos && at > 10) line = line.substr(0, at);
  }
  // Numbers become '#', so that "Entropy error = 2.6" and "= -1.5" are one class.
  std::string out;
  for (std::size_t i = 0; i < line.size();) {
    const bool sign = line[i] == '-' && i + 1 < line.size() &&
                      std::isdigit(static_cast<unsigned char>(line[i + 1])) &&
                      (i == 0 || line[i - 1] == ' ');
    if (sign || (std::isdigit(static_cast<unsigned char>(line[i])) &&
                 (i == 0 || !std::isalpha(static_cast<unsigned char>(line[i - 1]))))) {
      out += '#';
      ++i;
      while (i < line.size() &&
             (std::isdigit(static_cast<unsigned char>(line[i])) || line[i] == '.' ||
              line[i] == 'e' || line[i] == '+' || (line[i] == '-' && line[i - 1] == 'e')))
        ++i;
    } else {
      out += line[i++];
    }
  }
  return out.empty() ? "(no message)" : out;
}

const char* liquidBin(double g) {
  if (g >= 40.0) return "liquid >= 40 g";
  if (g >= 15.0) return "liquid 15-40 g";
  if (g >= 5.0) return "liquid 5-15 g";
  return "liquid < 5 g";
}

void summarize(const char* start, const std::vector<NodeState>& states,
               const std::vector<Outcome>& outcomes) {
  std::map<std::string, int> byMessage, byLiquid, totalByLiquid;
  std::vector<double> times, inner;
  int failed = 0;
  for (std::size_t k = 0; k < outcomes.size(); ++k) {
    const Outcome& o = outcomes[k];
    times.push_back(o.seconds);
    inner.push_back(o.inner);
    ++totalByLiquid[liquidBin(states[k].liquid)];
    if (o.converged) continue;
    ++failed;
    ++byMessage[messageClass(o.message)];
    ++byLiquid[liquidBin(states[k].liquid)];
  }
  std::printf("%s: %zu solves, %d failed (%.2f %%)\n", start, outcomes.size(), failed,
              outcomes.empty() ? 0.0 : 100.0 * failed / static_cast<double>(outcomes.size()));
  for (const auto& [bin, total] : totalByLiquid)
    std::printf("  %-16s %6d failed of %6d\n", bin.c_str(), byLiquid[bin], total);
  std::vector<std::pair<int, std::string>> messages;
  for (const auto& [m, n] : byMessage) messages.emplace_back(n, m);
  std::sort(messages.rbegin(), messages.rend());
  for (const auto& [n, m] : messages) std::printf("  %6d  %s\n", n, m.c_str());
  std::printf("  time per solve: median %.3f ms, 95th %.3f ms, max %.3f ms; total %.2f s\n",
              1e3 * quantile(times, 0.5), 1e3 * quantile(times, 0.95), 1e3 * quantile(times, 1.0),
              [&] {
                double s = 0.0;
                for (double t : times) s += t;
                return s;
              }());
  std::printf("  inner steps: median %.0f, 95th %.0f, max %.0f\n", quantile(inner, 0.5),
              quantile(inner, 0.95), quantile(inner, 1.0));
}

int usage() {
  std::fprintf(stderr,
               "usage: cumulex_solve_corpus --make FILE [--iterations N] [--examples DIR]\n"
               "       cumulex_solve_corpus FILE [--every K] [--csv OUT] [--history]\n"
               "                            [--pick SOURCE,ITERATION,NODE]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::string makePath, corpusPath, csvPath, pick;
  std::string examples = std::string(CUMULEX_SOURCE_DIR) + "/examples";
  int iterations = 500, every = 1;
  bool history = false;
  for (int a = 1; a < argc; ++a) {
    const std::string arg = argv[a];
    if (arg == "--make" && a + 1 < argc) {
      makePath = argv[++a];
    } else if (arg == "--iterations" && a + 1 < argc) {
      iterations = std::max(1, std::atoi(argv[++a]));
    } else if (arg == "--examples" && a + 1 < argc) {
      examples = argv[++a];
    } else if (arg == "--every" && a + 1 < argc) {
      every = std::max(1, std::atoi(argv[++a]));
    } else if (arg == "--pick" && a + 1 < argc) {
      pick = argv[++a];
    } else if (arg == "--history") {
      history = true;
    } else if (arg == "--csv" && a + 1 < argc) {
      csvPath = argv[++a];
    } else if (!arg.empty() && arg[0] != '-' && corpusPath.empty()) {
      corpusPath = arg;
    } else {
      return usage();
    }
  }
  if (!makePath.empty()) {
    std::ofstream out(makePath);
    if (!out) {
      std::fprintf(stderr, "%s: cannot be written\n", makePath.c_str());
      return 1;
    }
    out << "# Cumulex node states: " << iterations << " iterations of each column\n";
    int total = record("default", std::string(cx::defaultSetupText()), iterations, out);
    std::vector<fs::path> setups;
    if (fs::is_directory(examples))
      for (const auto& e : fs::directory_iterator(examples))
        if (e.path().extension() == ".cxd") setups.push_back(e.path());
    // The example the default setup is compiled from would repeat its states.
    std::sort(setups.begin(), setups.end());
    for (const fs::path& p : setups) {
      std::ifstream in(p);
      std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      if (text == cx::defaultSetupText()) continue;
      total += record(p.stem().string(), text, iterations, out);
    }
    std::fprintf(stderr, "%d states written to %s\n", total, makePath.c_str());
    return 0;
  }
  if (corpusPath.empty()) return usage();
  std::string error;
  cx::corpus::Corpus corpus = cx::corpus::readCorpus(corpusPath, error);
  if (!error.empty()) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  std::vector<NodeState> states;
  for (std::size_t k = 0; k < corpus.states.size(); k += static_cast<std::size_t>(every)) {
    const NodeState& n = corpus.states[k];
    if (pick.empty() ||
        pick == n.source + "," + std::to_string(n.iteration) + "," + std::to_string(n.node))
      states.push_back(n);
  }
  const cx::ThermoTables tables = cx::loadThermoTables();
  const cx::LiquidTables liquidTables = cx::loadLiquidTables();
  std::map<std::string, std::unique_ptr<cx::corpus::Solver>> solvers;
  std::vector<Outcome> cold, warm;
  int historyDiffers = 0;
  int disagree = 0, orderOnly = 0, warmLower = 0, coldLower = 0, sameEnergy = 0;
  double negligibleApart = 0.0;
  std::map<int, int> warmOnly, coldOnly;
  auto phaseText = [](const Outcome& o) {
    std::string t;
    for (std::size_t k = 0; k < o.phases.size(); ++k) {
      char buf[48];
      std::snprintf(buf, sizeof buf, "%s%d:%.3g", k ? " " : "", o.phases[k], o.grams[k]);
      t += buf;
    }
    return t;
  };
  std::ofstream csv, detail;
  if (!csvPath.empty()) {
    detail.open(csvPath + ".disagree.csv");
    detail << "source,iteration,node,mode,T_K,P_bar,liquid_g,warm_T,cold_T,dE_J,apart_g,"
              "warm_phases,cold_phases\n";
    csv.open(csvPath);
    csv << "source,iteration,node,mode,T_K,P_bar,liquid_g,warm_converged,warm_ms,warm_inner,"
           "cold_converged,cold_ms,cold_inner,warm_message,cold_message\n";
  }
  for (const NodeState& n : states) {
    auto& solver = solvers[n.source];
    if (!solver)
      solver =
          std::make_unique<cx::corpus::Solver>(tables, liquidTables, corpus.options.at(n.source));
    warm.push_back(solver->solve(n, true));
    cold.push_back(solver->solve(n, false));
    const Outcome &w = warm.back(), &c = cold.back();
    if (history)
      for (const Outcome* o : {&w, &c}) {
        cx::corpus::Solver fresh(tables, liquidTables, corpus.options.at(n.source));
        const std::string d = cx::corpus::firstDifference(*o, fresh.solve(n, o == &w));
        if (d.empty()) continue;
        if (++historyDiffers <= 20)
          std::printf("history: %s,%d,%d %s differs alone: %s\n", n.source.c_str(), n.iteration,
                      n.node, o == &w ? "warm" : "cold", d.c_str());
      }
    if (!pick.empty())
      for (const Outcome* o : {&w, &c})
        std::printf(
            "%s: T %.6f K (from %.6f), converged %d, inner %d, liquid %.4f g, G %.3f J, "
            "H %.3f J, %s\n  %s\n",
            o == &w ? "warm" : "cold", o->T, n.T, o->converged, o->inner, o->liquid, o->G, o->H,
            phaseText(*o).c_str(), o->message.c_str());
    if (!pick.empty())
      for (const Outcome* o : {&w, &c})
        std::printf(
            "  %s: reviews %d, adds %d, drops %d, readmissions %d, polish %d, bounded %d, "
            "line-search failures %d, warm accepted %d\n",
            o == &w ? "warm" : "cold", o->counters.reviews, o->counters.adds, o->counters.drops,
            o->counters.readmissions, o->counters.polishSteps, o->counters.boundedSteps,
            o->counters.lineSearchFailures, o->counters.warmAccepted);
    if (w.converged && c.converged && w.phases != c.phases) {
      ++disagree;
      std::vector<int> a = w.phases, b = c.phases;
      std::sort(a.begin(), a.end());
      std::sort(b.begin(), b.end());
      if (a == b) {
        ++orderOnly;
      } else {
        // The energy the mode minimizes: G at fixed T, H at fixed S (both at the bulk and P).
        const double dE = n.constantT ? w.G - c.G : w.H - c.H;
        // The largest amount of a phase one answer lists and the other does not.
        double apart = 0.0;
        for (const Outcome* o : {&w, &c}) {
          const Outcome* other = o == &w ? &c : &w;
          for (std::size_t k = 0; k < o->phases.size(); ++k)
            if (std::find(other->phases.begin(), other->phases.end(), o->phases[k]) ==
                other->phases.end()) {
              apart = std::max(apart, o->grams[k]);
              ++(o == &w ? warmOnly : coldOnly)[o->phases[k]];
            }
        }
        if (dE < -1.0)
          ++warmLower;
        else if (dE > 1.0)
          ++coldLower;
        else
          ++sameEnergy;
        if (std::fabs(dE) <= 1.0) negligibleApart = std::max(negligibleApart, apart);
        if (detail)
          detail << n.source << "," << n.iteration << "," << n.node << ","
                 << (n.constantT ? "T" : "S") << "," << n.T << "," << n.P << "," << n.liquid << ","
                 << w.T << "," << c.T << "," << dE << "," << apart << "," << phaseText(w) << ","
                 << phaseText(c) << "\n";
      }
    }
    if (csv) {
      auto quoted = [](std::string s) {
        std::replace(s.begin(), s.end(), '"', '\'');
        std::replace(s.begin(), s.end(), '\n', ' ');
        return "\"" + s + "\"";
      };
      csv << n.source << "," << n.iteration << "," << n.node << "," << (n.constantT ? "T" : "S")
          << "," << n.T << "," << n.P << "," << n.liquid << "," << w.converged << ","
          << 1e3 * w.seconds << "," << w.inner << "," << c.converged << "," << 1e3 * c.seconds
          << "," << c.inner << "," << quoted(w.message) << "," << quoted(c.message) << "\n";
    }
  }
  std::printf("%zu node states of %zu sources (%s)\n", states.size(), corpus.options.size(),
              corpusPath.c_str());
  summarize("warm (from the node's assemblage)", states, warm);
  summarize("cold (from the liquid alone)", states, cold);
  if (history)
    std::printf("solves that differ when solved in a fresh context: %d of %zu\n", historyDiffers,
                2 * states.size());
  std::printf("both converged on different phase lists: %d (%d in another order only)\n", disagree,
              orderOnly);
  std::printf(
      "  on different assemblages: warm lower by > 1 J %d, cold lower by > 1 J %d, "
      "within 1 J %d (largest phase apart there %.3g g)\n",
      warmLower, coldLower, sameEnergy, negligibleApart);
  for (const auto* m : {&warmOnly, &coldOnly}) {
    std::printf("  phases listed only %s:", m == &warmOnly ? "warm" : "cold");
    for (const auto& [id, count] : *m) std::printf(" %d x%d", id, count);
    std::printf("\n");
  }
  return 0;
}
