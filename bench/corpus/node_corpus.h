// A corpus of node states taken from column runs: what each node's solve was handed (its
// temperature, pressure, bulk, thermal mode and target, and the assemblage it held from its last
// solve), with the model options of the run it came from, so that each state can be solved
// again, cold (from the liquid alone) and warm (from its assemblage), outside the column.
//
// The file is text, one record a line:
//   options <source> <pyroxene model> <38 activity flags 0/1> <38 exclusions 0/1>
//   state <source> <iteration> <node> <T|S> <T K> <P bar> <S J/K per 100 g> <liquid g per 100 g>
//         <15 bulk oxides wt %> <phase count> <phase ids> <entries> <Xstable 1..entries>
// Numbers are written with 17 significant digits, so that a state read back is the state taken.
// Shared by cumulex_solve_corpus and the minimizer's tests (a small sample under tests/data).
#pragma once

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "solver/equilibrium_model.h"
#include "solver/stable_phases.h"
#include "thermo/data/table_sizes.h"
#include "ui/recording_port.h"

namespace cx::corpus {

inline constexpr int kPhases = thermo_data::kNumPhases;
inline constexpr int kOxideCount = 15;

struct SourceOptions {
  std::string source;
  int pyroxeneModel = 1;
  std::vector<bool> activity, excluded;  // by phase id - 1
};

struct NodeState {
  std::string source;
  int iteration = 0, node = 0;
  bool constantT = true;
  double T = 0.0, P = 0.0, S = 0.0, liquid = 0.0;
  std::vector<double> oxides;  // 15, wt %
  std::vector<int> phases;     // the listed phases, in order
  std::vector<double> X;       // Xstable 1..n
};

struct Corpus {
  std::map<std::string, SourceOptions> options;
  std::vector<NodeState> states;
};

inline std::string number(double v) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.17g", v);
  return buf;
}

inline std::string optionsLine(const SourceOptions& o) {
  std::string s = "options " + o.source + " " + std::to_string(o.pyroxeneModel);
  for (bool b : o.activity) s += b ? " 1" : " 0";
  for (bool b : o.excluded) s += b ? " 1" : " 0";
  return s;
}

inline std::string stateLine(const NodeState& n) {
  std::string s = "state " + n.source + " " + std::to_string(n.iteration) + " " +
                  std::to_string(n.node) + (n.constantT ? " T " : " S ") + number(n.T) + " " +
                  number(n.P) + " " + number(n.S) + " " + number(n.liquid);
  for (double v : n.oxides) s += " " + number(v);
  s += " " + std::to_string(n.phases.size());
  for (int id : n.phases) s += " " + std::to_string(id);
  s += " " + std::to_string(n.X.size());
  for (double v : n.X) s += " " + number(v);
  return s;
}

// Reads a corpus; on a malformed line, `error` names the file and the line and nothing more is
// read.
inline Corpus readCorpus(const std::string& path, std::string& error) {
  Corpus c;
  std::ifstream in(path);
  if (!in) {
    error = path + ": cannot be read";
    return c;
  }
  std::string line;
  int lineNo = 0;
  while (std::getline(in, line)) {
    ++lineNo;
    if (line.empty() || line[0] == '#') continue;
    std::istringstream is(line);
    std::string kind;
    is >> kind;
    auto bad = [&](const char* what) {
      error = path + ", line " + std::to_string(lineNo) + ": " + what;
      return c;
    };
    if (kind == "options") {
      SourceOptions o;
      is >> o.source >> o.pyroxeneModel;
      for (auto* v : {&o.activity, &o.excluded})
        for (int k = 0; k < kPhases; ++k) {
          int b = 0;
          is >> b;
          v->push_back(b != 0);
        }
      if (!is) return bad("options record cut short");
      c.options[o.source] = o;
    } else if (kind == "state") {
      NodeState n;
      std::string mode;
      is >> n.source >> n.iteration >> n.node >> mode >> n.T >> n.P >> n.S >> n.liquid;
      if (mode != "T" && mode != "S") return bad("mode is neither T nor S");
      n.constantT = mode == "T";
      n.oxides.resize(kOxideCount);
      for (double& v : n.oxides) is >> v;
      std::size_t count = 0;
      is >> count;
      if (!is || count > 15) return bad("phase count missing or above 15");
      n.phases.resize(count);
      for (int& id : n.phases) is >> id;
      is >> count;
      if (!is || count > 60) return bad("entry count missing or above 60");
      n.X.resize(count);
      for (double& v : n.X) is >> v;
      if (!is) return bad("state record cut short");
      if (!c.options.count(n.source)) return bad("state of a source with no options record");
      c.states.push_back(std::move(n));
    } else {
      return bad("unknown record");
    }
  }
  return c;
}

inline ModelOptions modelOptions(const SourceOptions& o) {
  ModelOptions m;
  m.PyroxeneModel = o.pyroxeneModel;
  for (int id = 1; id <= kPhases; ++id) {
    m.ActivityFlags(id) = o.activity[static_cast<std::size_t>(id - 1)];
    m.PhaseExcluded(id) = o.excluded[static_cast<std::size_t>(id - 1)];
  }
  return m;
}

// The processor time of this thread (s): the machine is shared, and the wall clock would count
// the other programs' turns.
inline double threadSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

// One solve of a state: warm from its assemblage, or cold from the liquid alone, in the state's
// own mode (fixed temperature, or the entropy target from the node's temperature).
struct Outcome {
  bool converged = false;
  std::string message;
  double seconds = 0.0;
  int inner = 0;
  double T = 0.0;       // K, as solved
  double liquid = 0.0;  // g per 100 g, when converged
  std::vector<int> phases;
  std::vector<double> grams;  // of each listed phase, g per 100 g, when converged
  // The system's free energy (J) and enthalpy (J) at the result, its liquid and every listed
  // phase at the composition it holds: the quantity a fixed-T solve minimizes, and the one a
  // fixed-S solve minimizes.
  double G = 0.0, H = 0.0;
  MinimizerCounters counters;
  // The returned state vector (liquid components, then each listed phase's endmembers), moles.
  std::vector<double> X;
};

// The first way two solves of one state differ, or empty when they are the same to the last
// bit: convergence and message, temperature, phase list, every entry of the state vector and
// the inner-step count.
inline std::string firstDifference(const Outcome& a, const Outcome& b) {
  auto sameBits = [](double x, double y) { return std::memcmp(&x, &y, sizeof x) == 0; };
  if (a.converged != b.converged) return "convergence";
  if (a.message != b.message) return "message: '" + a.message + "' / '" + b.message + "'";
  if (!sameBits(a.T, b.T)) return "temperature";
  if (a.phases != b.phases) return "phase list";
  if (a.X.size() != b.X.size()) return "state vector length";
  for (std::size_t k = 0; k < a.X.size(); ++k)
    if (!sameBits(a.X[k], b.X[k])) return "state vector entry " + std::to_string(k + 1);
  if (a.inner != b.inner)
    return "inner steps " + std::to_string(a.inner) + " / " + std::to_string(b.inner);
  return {};
}

// The solver of one source's options: tables, model and minimizer context, reused from state
// to state as the column reuses them from node to node.
class Solver {
 public:
  Solver(const ThermoTables& tables, const LiquidTables& liquidTables, const SourceOptions& o)
      : model_(tables, liquidTables, modelOptions(o), diag_, port_), ctx_(model_, port_) {}

  Outcome solve(const NodeState& n, bool warm) {
    Outcome out;
    diag_.ErrorFlag = false;
    diag_.reports.clear();
    port_.progress.clear();
    Array1<double> wt(1, kOxideCount);
    for (int k = 1; k <= kOxideCount; ++k) wt(k) = n.oxides[static_cast<std::size_t>(k - 1)];
    if (!model_.setConditions(n.T, n.P) || !model_.setLiquidOxides(wt)) {
      out.message = "the bulk cannot be formed into liquid components";
      return out;
    }
    MinimizerState st;
    for (int i = 1; i <= kLiquidComponents; ++i) st.BulkMoles(i) = model_.BulkMoles(i);
    st.ConstantT = n.constantT;
    st.ConstantS = !n.constantT;
    st.Ssystem = n.S;
    if (warm) {
      st.PhaseCount = static_cast<int>(n.phases.size());
      for (int k = 1; k <= st.PhaseCount; ++k)
        st.Phaselist(k) = n.phases[static_cast<std::size_t>(k - 1)];
      for (int k = 1; k <= static_cast<int>(n.X.size()); ++k)
        st.Xstable(k) = n.X[static_cast<std::size_t>(k - 1)];
    }
    const double t0 = threadSeconds();
    const MinimizerResult r = solveStableAssemblage(ctx_, st, n.T, n.P);
    out.seconds = threadSeconds() - t0;
    out.converged = r.converged;
    out.message = r.message;
    out.inner = r.counters.innerSteps;
    out.T = r.T;
    out.counters = r.counters;
    if (r.converged) {
      for (int i = 1; i <= kLiquidComponents; ++i) out.liquid += st.Xstable(i) * ctx_.liquidMW(i);
      for (int k = 1; k <= st.Ncomp; ++k) out.X.push_back(st.Xstable(k));
      int c = kLiquidComponents;
      for (int k = 1; k <= st.PhaseCount; ++k) {
        const int id = st.Phaselist(k);
        out.phases.push_back(id);
        double g = 0.0;
        for (int j = 1; j <= model_.activity->PhaseEndCount(id); ++j)
          g += st.Xstable(++c) * model_.phases.PhaseEndMW(id, j);
        out.grams.push_back(g);
      }
      double T = r.T, P = r.P;
      int err = 0;
      model_.setConditions(T, P);
      Make_Gv(ctx_, st, T, P, ctx_.Gv, st.Xstable, st.Ncomp, true, err);
      out.G = st.Gsystem;
      out.H = ctx_.Htot;
    }
    return out;
  }
  EquilibriumModel& model() { return model_; }
  MinimizerContext& context() { return ctx_; }

 private:
  RecordingDiagnostics diag_;
  RecordingPort port_;
  EquilibriumModel model_;
  MinimizerContext ctx_;
};

}  // namespace cx::corpus
