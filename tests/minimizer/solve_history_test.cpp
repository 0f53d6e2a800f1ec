// A solve is a function of its node's inputs (temperature, pressure, bulk, mode and target, and
// the assemblage the node held), never of what the same context solved before: that is what lets
// independent nodes be solved in parallel, each thread with its own context, with the numbers
// of a single thread.  The node states of column runs (the committed sample and the states once
// hard) are solved one after another in one context per source, from the node's assemblage and
// from the liquid alone, and each again in a context made for that solve alone; the answers must
// be the same to the last bit: convergence and message, temperature, phase list, every entry of
// the state vector and the inner-step count.
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace cx
