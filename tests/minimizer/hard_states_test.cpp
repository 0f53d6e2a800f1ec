// Node states of column runs on which the minimizer once failed: nodes that follow their
// entropy (a liquid alone near its target, a target 120 K away, a context left by another
// call), a warm state whose bulk has moved below what its crystals hold, and liquids whose FeS
// sits at its floor.  Each is solved from the node's assemblage and from the liquid alone, and
// the solves are run in both orders in one context and alone, as the column and the corpus run
// them.  Two starts must reach one equilibrium: the same phases, the same free energy (or
// enthalpy, at fixed entropy) within 1 J and the same temperature, whatever the order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "../../bench/corpus/node_corpus.h"

namespace cx {
namespace {

const std::string kHard = std::string(CUMULEX_TEST_DATA) + "/node-states-hard.txt";

std::vector<int> sorted(std::vector<int> v) {
  std::sort(v.begin(), v.end());
  return v;
}

TEST(HardNodeStates, WarmAndColdReachOneEquilibriumInAnyOrder) {
  std::string error;
  const corpus::Corpus c = corpus::readCorpus(kHard, error);
  ASSERT_TRUE(error.empty()) << error;
  ASSERT_EQ(c.states.size(), 7u);
  const ThermoTables tables = loadThermoTables();
  const LiquidTables liquidTables = loadLiquidTables();
  // One context per source, shared by all its states (as the corpus runs them), and a fresh one
  // per solve.
  std::map<std::string, std::unique_ptr<corpus::Solver>> shared;
  for (const corpus::NodeState& n : c.states) {
    const std::string label =
        n.source + " iteration " + std::to_string(n.iteration) + " node " + std::to_string(n.node);
    SCOPED_TRACE(label);
    auto& solver = shared[n.source];
    if (!solver)
      solver = std::make_unique<corpus::Solver>(tables, liquidTables, c.options.at(n.source));
    std::vector<corpus::Outcome> outcomes;
    outcomes.push_back(solver->solve(n, true));
    outcomes.push_back(solver->solve(n, false));
    outcomes.push_back(solver->solve(n, true));
    for (const bool warm : {true, false}) {
      corpus::Solver fresh(tables, liquidTables, c.options.at(n.source));
      outcomes.push_back(fresh.solve(n, warm));
    }
    for (const corpus::Outcome& o : outcomes) ASSERT_TRUE(o.converged) << o.message;
    const corpus::Outcome& first = outcomes.front();
    EXPECT_GE(first.liquid, 5.0);
    for (const corpus::Outcome& o : outcomes) {
      EXPECT_EQ(sorted(o.phases), sorted(first.phases));
      if (n.constantT) {
        EXPECT_EQ(o.T, n.T);
        EXPECT_NEAR(o.G, first.G, 1.0);
      } else {
        // At fixed entropy the enthalpy is least; 1e-4 J/K of entropy is about 1e-3 K.
        EXPECT_NEAR(o.T, first.T, 5e-3);
        EXPECT_NEAR(o.H, first.H, 1.0);
      }
      EXPECT_NEAR(o.liquid, first.liquid, 1e-3);
    }
  }
}

}  // namespace
}  // namespace cx
