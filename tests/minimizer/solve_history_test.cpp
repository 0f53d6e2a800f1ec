// A solve is a function of its node's inputs (temperature, pressure, bulk, mode and target, and
// the assemblage the node held), never of what the same context solved before: that is what lets
// independent nodes be solved in parallel, each thread with its own context, with the numbers
// of a single thread.  The node states of column runs (the committed sample and the states once
// hard) are solved one after another in one context per source, from the node's assemblage and
// from the liquid alone, and each again in a context made for that solve alone; the answers must
// be the same to the last bit: convergence and message, temperature, phase list, every entry of
// the state vector and the inner-step count.
#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "../../bench/corpus/node_corpus.h"

namespace cx {
namespace {

// Solves every state of the file in sequence in one context per source, and in reverse order
// in another, and compares each solve with the same solve in a fresh context.  Returns the
// number of solves that differ, each described in `report`.
int historyDifferences(const std::string& path, std::string& report, std::size_t& solves) {
  std::string error;
  const corpus::Corpus c = corpus::readCorpus(path, error);
  EXPECT_TRUE(error.empty()) << error;
  const ThermoTables tables = loadThermoTables();
  const LiquidTables liquidTables = loadLiquidTables();
  std::vector<corpus::Outcome> alone;
  for (const corpus::NodeState& n : c.states)
    for (const bool warm : {true, false}) {
      corpus::Solver fresh(tables, liquidTables, c.options.at(n.source));
      alone.push_back(fresh.solve(n, warm));
    }
  int count = 0;
  for (const bool reversed : {false, true}) {
    std::map<std::string, std::unique_ptr<corpus::Solver>> shared;
    for (std::size_t s = 0; s < c.states.size(); ++s) {
      const std::size_t k = reversed ? c.states.size() - 1 - s : s;
      const corpus::NodeState& n = c.states[k];
      auto& solver = shared[n.source];
      if (!solver)
        solver = std::make_unique<corpus::Solver>(tables, liquidTables, c.options.at(n.source));
      for (const bool warm : {true, false}) {
        const corpus::Outcome o = solver->solve(n, warm);
        ++solves;
        const std::string d = corpus::firstDifference(o, alone[2 * k + (warm ? 0 : 1)]);
        if (d.empty()) continue;
        ++count;
        report += n.source + " iteration " + std::to_string(n.iteration) + " node " +
                  std::to_string(n.node) + (warm ? " warm" : " cold") +
                  (reversed ? " (reverse order)" : "") + ": " + d + "\n";
      }
    }
  }
  return count;
}

TEST(SolveHistory, TheSampleSolvesTheSameInASharedContextAsAlone) {
  std::string report;
  std::size_t solves = 0;
  EXPECT_EQ(historyDifferences(std::string(CUMULEX_TEST_DATA) + "/node-states-sample.txt", report,
                               solves),
            0)
      << report;
  EXPECT_EQ(solves, 600u);
}

TEST(SolveHistory, TheHardStatesSolveTheSameInASharedContextAsAlone) {
  std::string report;
  std::size_t solves = 0;
  EXPECT_EQ(
      historyDifferences(std::string(CUMULEX_TEST_DATA) + "/node-states-hard.txt", report, solves),
      0)
      << report;
  EXPECT_EQ(solves, 28u);
}

// Every work array and table of a context overwritten with values no solve leaves there (NaN
// for the numbers, wrong polymorphs and counts): a solve that reads any of them before it
// writes it carries what the context held into its answer.
void poison(corpus::Solver& s) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  MinimizerContext& c = s.context();
  for (Array1<double>* a : {&c.Nhat, &c.Xold, &c.Gv, &c.Dvec, &c.mult, &c.up, &c.h, &c.g, &c.rnorm,
                            &c.blockX, &c.muLower, &c.muEntry, &c.muAtX, &c.trial, &c.floorRow,
                            &c.GvCopy, &c.kktGradient, &c.tangent})
    a->fill(nan);
  for (Array2<double>* a : {&c.Hess, &c.Cmat, &c.Ctrans, &c.block, &c.floorBasis, &c.HessCopy})
    a->fill(nan);
  c.NegOK.fill(true);
  c.ConstraintList.fill(1);
  c.ConstraintCount = 3;
  c.Mc = 18;
  c.ip.fill(1);
  c.order.fill(1);
  c.Vtot = c.Stot = c.Htot = c.Cptot = nan;
  EquilibriumModel& m = s.model();
  for (Array1<double>* a : {&m.Xliq, &m.MuLiq, &m.Sliq, &m.Hliq, &m.liquid.LiqMu}) a->fill(nan);
  SaturationContext& sat = *m.sat;
  for (Array2<double>* a : {&sat.PhaseX, &sat.PhaseR, &sat.PhaseMu, &sat.PhaseS, &sat.PhaseH,
                            &sat.PhaseV, &sat.PhaseCp})
    a->fill(nan);
  for (Array1<double>* a :
       {&sat.Affinity, &sat.Aend, &sat.Gend, &sat.Xtrial, &sat.Act, &sat.Result, &sat.X2})
    a->fill(nan);
  sat.Avail.fill(1);
  sat.pyroxeneRow = 38;
  sat.pyroxeneAbbrev = "pen";
  sat.silicaRow = 28;
  sat.silicaAbbrev = "crs";
  ComponentFinderContext& f = *m.finder;
  for (Array1<double>* a : {&f.B, &f.act0, &f.actTrial, &f.actHi, &f.actLo, &f.resid, &f.residTrial,
                            &f.grad, &f.step, &f.startB, &f.trialB, &f.y, &f.xFull, &f.dir,
                            &f.startFractions, &f.rqWork, &f.rqVector, &f.packedC, &f.packedA})
    a->fill(nan);
  for (Array2<double>* a : {&f.Bnd, &f.jac, &f.hess, &f.hessFree}) a->fill(nan);
  f.mask.fill(kMaskFixed);
  f.startMask.fill(kMaskFixed);
  f.freeList.fill(1);
  f.present.fill(true);
  UnmixingContext& u = sat.unmix;
  for (Array1<double>* a :
       {&u.Plane, &u.full,     &u.actWork, &u.gradFull, &u.gradShift, &u.X1,    &u.Y,
        &u.trial, &u.fallback, &u.grad,    &u.actA,     &u.actB,      &u.liqMu, &u.liqS,
        &u.liqH,  &u.vmC,      &u.vmG,     &u.vmT,      &u.vmX,       &u.vmY})
    a->fill(nan);
  u.vmH.fill(nan);
  for (BrentRecord* b : {&c.brent, &f.brent}) {
    b->a = b->b = b->x = b->w = b->v = b->fx = b->fw = b->fv = b->u = b->d = b->e = nan;
    b->iterations = 150;
  }
  m.activity->liquidMu.fill(nan);
}

TEST(SolveHistory, AContextFilledWithGarbageSolvesAsAFreshOne) {
  std::string error;
  const corpus::Corpus c =
      corpus::readCorpus(std::string(CUMULEX_TEST_DATA) + "/node-states-sample.txt", error);
  ASSERT_TRUE(error.empty()) << error;
  const ThermoTables tables = loadThermoTables();
  const LiquidTables liquidTables = loadLiquidTables();
  std::string report;
  int differ = 0;
  for (std::size_t k = 0; k < c.states.size(); k += 3) {
    const corpus::NodeState& n = c.states[k];
    for (const bool warm : {true, false}) {
      corpus::Solver fresh(tables, liquidTables, c.options.at(n.source));
      const corpus::Outcome expected = fresh.solve(n, warm);
      corpus::Solver used(tables, liquidTables, c.options.at(n.source));
      poison(used);
      const std::string d = corpus::firstDifference(used.solve(n, warm), expected);
      if (d.empty()) continue;
      ++differ;
      report += n.source + " iteration " + std::to_string(n.iteration) + " node " +
                std::to_string(n.node) + (warm ? " warm: " : " cold: ") + d + "\n";
    }
  }
  EXPECT_EQ(differ, 0) << report;
}

}  // namespace
}  // namespace cx
