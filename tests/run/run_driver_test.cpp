#include "run/run_driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "persist/files.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "support/run_rig.h"
#include "transport/thermal_diffusion.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

using test::ScratchFolder;

using Rig = test::RunRig;

// Independent evaluation of the compaction scales of the default compaction parameters.
double compactionLengthCm() {
  return 0.03 * std::sqrt(5e15 * 0.0015 / 110.0);
}
double compactionTimeS() {
  return std::sqrt(5e15 * 110.0) / (0.03 * 980.0 * 0.3);
}

TEST(RunDriver, CompactionTimeStepWithoutAPileUsesTheCompactionScales) {
  Rig rig;
  const auto outcome = rig.run(2);
  EXPECT_FALSE(outcome.error) << outcome.message;
  const double dx = 1000.0 / 5;
  const double expected = 0.1 * 0.9 * compactionTimeS() * dx / compactionLengthCm();
  EXPECT_NEAR(rig.column.DeltaT, expected, 1e-9 * expected);
  EXPECT_NEAR(rig.column.TotalTime, 2 * expected, 1e-9 * expected);
  EXPECT_EQ(rig.column.Iteration, 2);
  EXPECT_EQ(rig.port.labels["lblTStepLabel"], "Time step (days):");
  EXPECT_EQ(rig.port.labels["lblIteration"], "2/2");
}

TEST(RunDriver, CompactionWithoutPileAndWithoutCoolingStopsBeforeTheFirstStep) {
  Rig rig;
  rig.column.TopCoolRate = rig.column.BottomCoolRate = 0.0;
  const auto outcome = rig.run(3);
  EXPECT_TRUE(outcome.error);
  ASSERT_FALSE(rig.port.messages.empty());
  EXPECT_EQ(rig.port.messages.back(),
            "Compacting top within 1 node of bottom and \n   cooling rates = 0.0... aborting the "
            "calculation!");
  EXPECT_EQ(rig.column.TotalTime, 0.0);
}

// A partly crystalline column compacts: the pile is found at the start, CompactPile's velocities
// set the time step (0.9 of a node at the fastest, times the multiplier) and reach Advect; a
// failed advection is logged and the iteration goes on.
TEST(RunDriver, ACompactingPileSetsTheStepFromItsVelocitiesAndAdvects) {
  Rig rig(5, 1150.0);
  rig.settings.run.chkSkipAdvection = 0;
  rig.settings.run.chkSkipCompaction = 0;
  std::vector<double> fastest;
  const ProcessTable::Step advect = rig.ctx.processes.Advect;
  ASSERT_TRUE(advect);
  rig.ctx.processes.Advect = [&](RunContext& ctx) {
    const Column& c = ctx.column;
    double v = 0.0;
    for (int i = c.BottomNode; i <= c.TopNode; ++i)
      v = std::max({v, std::fabs(c.Vliquid(i)), std::fabs(c.Vsolid(i))});
    fastest.push_back(v);
    EXPECT_NEAR(c.DeltaT, 0.1 * 0.9 * c.DeltaX / v, 1e-9 * c.DeltaT);
    advect(ctx);
    if (c.Iteration == 2) ctx.log.ErrorFlag = true;
  };
  const auto outcome = rig.run(3);
  ASSERT_FALSE(outcome.error) << outcome.message;
  EXPECT_EQ(rig.column.Iteration, 3);
  ASSERT_EQ(fastest.size(), 3u);
  EXPECT_GT(fastest[0], 0.0);
  EXPECT_EQ(rig.column.TopNode, 5);
  EXPECT_LE(rig.column.Vsolid(1), 0.0);
  EXPECT_LT(rig.column.Vsolid(4), 0.0);  // the matrix sinks, its liquid rises
  EXPECT_GT(rig.column.Vliquid(4), 0.0);
  EXPECT_TRUE(rig.logged("Itr: 2  - Error in Advection subroutine"));
  EXPECT_FALSE(rig.logged("Itr: 3  - Error in Advection subroutine"));
}

TEST(RunDriver, InfiltrationTimeStepsFromFluxOrFromMassDiffusion) {
  {
    // Advection skipped: the mass diffusion criterion, the largest diagonal coefficient.
    Rig rig;
    rig.settings.optionCompact = false;
    rig.settings.optionInfiltrate = true;
    rig.settings.optionUseFirstLiq = true;
    rig.column.MassDiffCoef(1, 1) = 5e-7;
    rig.column.MassDiffCoef(3, 3) = 1e-6;
    rig.run(1);
    EXPECT_NEAR(rig.column.DeltaT, 0.1 * 200.0 * 200.0 / 1e-6, 1e-3);
  }
  {
    // With advection and a flux: the liquid velocity FluxRate / FLiq limits the step.
    Rig rig;
    rig.settings.optionCompact = false;
    rig.settings.optionInfiltrate = true;
    rig.settings.optionUseFirstLiq = true;
    rig.settings.run.chkSkipAdvection = 0;
    int advected = 0;
    rig.ctx.processes.Advect = [&](RunContext&) { ++advected; };
    rig.column.FluxRate = 2e-5;
    rig.run(2);
    EXPECT_EQ(advected, 2);
    // The initial state holds a few per cent of crystals: the liquid moves faster than the flux.
    double fastest = 0.0;
    for (int i = 1; i <= 5; ++i) fastest = std::max(fastest, 2e-5 / rig.column.FLiq(i));
    EXPECT_NEAR(rig.column.DeltaT, 0.1 * 0.9 * 200.0 / fastest, 1e-6);
    EXPECT_DOUBLE_EQ(rig.column.Vliquid(3), 2e-5 / rig.column.FLiq(3));
  }
  {
    // No diffusion coefficient at all: the division fails and the run's trap reports it.
    Rig rig;
    rig.settings.optionCompact = false;
    rig.settings.optionInfiltrate = true;
    rig.settings.optionUseFirstLiq = true;
    const auto outcome = rig.run(1);
    EXPECT_TRUE(outcome.error);
    EXPECT_NE(outcome.message.find(" error in subroutine CXControl."), std::string::npos);
  }
}

TEST(RunDriver, FirstFiveIterationsAreAlwaysSavedThenEverySaveInterval) {
  Rig rig;
  rig.settings.setMiscText(misc::kSaveInterval, "4");
  rig.run(14);
  // ... and the iteration the run ends on, so that the file holds what the run reached.
  EXPECT_EQ(listIterations(rig.output()), (std::vector<int>{0, 1, 2, 3, 4, 5, 8, 12, 14}));
  EXPECT_EQ(rig.port.labels["txtbxLoadIteration"], "12");
  EXPECT_EQ(rig.port.labels["lblIteration"], "14/16");
}

TEST(RunDriver, IterationLimitIsAThousandTimesTheSaveInterval) {
  Rig rig(3);
  rig.settings.setMiscText(misc::kSaveInterval, "1");
  const auto outcome = rig.run(5000);
  EXPECT_TRUE(outcome.error);
  EXPECT_EQ(rig.column.Iteration, 1000);
  ASSERT_FALSE(rig.port.messages.empty());
  EXPECT_EQ(rig.port.messages.back(),
            "Iterations exceeds 1000 x Save Interval, execution stopped!\nIncrease save interval "
            "and reload last iteration to continue.");
}

TEST(RunDriver, AFailedProcessIsLoggedAndTheIterationGoesOn) {
  Rig rig;
  int calls = 0;
  rig.ctx.processes.TDiffusion = [&](RunContext& ctx) {
    ++calls;
    TDiffusion(ctx.column, ctx.settings, ctx.log, ctx.port);
    if (ctx.column.Iteration == 3) ctx.log.ErrorFlag = true;
  };
  const auto outcome = rig.run(6);
  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(calls, 6);
  EXPECT_EQ(rig.column.Iteration, 6);
  EXPECT_TRUE(rig.logged("Itr: 3  - Error in Thermal Diffusion subroutine."));
  EXPECT_NE(rig.logText().find("Itr: 3  - Error in Thermal Diffusion subroutine.\r\n"),
            std::string::npos);
  EXPECT_NE(rig.logText().find("Begin iteration: 4"), std::string::npos);
  // With "Show All Errors" and a Yes to "Abort?" the same failure halts the run.
  Rig paused;
  paused.settings.run.chkPauseOnError = 1;
  paused.port.answer = true;
  paused.ctx.processes.TDiffusion = rig.ctx.processes.TDiffusion;
  const auto stopped = paused.run(6);
  EXPECT_TRUE(stopped.halted);
  EXPECT_EQ(paused.column.Iteration, 3);
  ASSERT_FALSE(paused.port.questions.empty());
  EXPECT_EQ(paused.port.questions.back(),
            "Itr: 3  - Error in Thermal Diffusion subroutine.\n ... Abort?");
  EXPECT_EQ(paused.port.status, "Calculation Aborted.");
}

TEST(RunDriver, AHaltBetweenProcessesStopsAtTheNextTurnWithWholeBlocksSaved) {
  for (int haltAtTurn : {3, 8, 17}) {
    Rig rig;
    // Turns are counted from the first iteration on (the initial state takes its own).
    int turns = 0;
    rig.port.onTurn = [&](int) {
      if (rig.column.Iteration >= 1 && ++turns == haltAtTurn) rig.log.HaltFlag = true;
    };
    const auto outcome = rig.run(50);
    EXPECT_TRUE(outcome.halted);
    EXPECT_FALSE(outcome.error);
    EXPECT_LT(rig.column.Iteration, 10);
    // The file ends on a whole block: the last block reads back.
    const std::string out = rig.output();
    const auto saved = listIterations(out);
    ASSERT_FALSE(saved.empty());
    Column probe = rig.column;
    const auto read = parseIteration(out, "CXoutput.txt", saved.back(), probe);
    EXPECT_TRUE(read.ok) << read.message;
    EXPECT_LE(saved.back(), rig.column.Iteration);
  }
}

TEST(RunDriver, StartChecksStopTheRunBeforeAnythingIsWritten) {
  struct Case {
    std::function<void(Rig&)> change;
    std::string message;
  };
  const Case cases[] = {
      {[](Rig& r) { r.column.InitBulkOx(4, 1) = 0.0; },
       "Bulk SiO2 not set for node 4\n  Check that bulk compositions have been set correctly.\n"
       "    .....aborting execution."},
      {[](Rig& r) { r.settings.setMiscText(misc::kTimeStepMultiplier, "0"); },
       "Time multplier of miscellaneous form cannot be <= 0.0! \n     .....aborting execution"},
      {[](Rig& r) { r.settings.setMiscText(misc::kMinFLiqEquilibration, "-1"); },
       "Minimum liquid fraction of miscellaneous form cannot be <= 0.0! \n     .....aborting "
       "execution"},
      {[](Rig& r) {
         r.settings.optionCompact = false;
         r.settings.optionInfiltrate = true;
       },
       "Infiltration parameters not all set...\n            Check 'Setup - Infiltrant' window!"},
  };
  for (const auto& cs : cases) {
    Rig rig;
    cs.change(rig);
    const auto outcome = rig.run(3);
    EXPECT_TRUE(outcome.error);
    ASSERT_FALSE(rig.port.messages.empty());
    EXPECT_EQ(rig.port.messages.back(), cs.message);
    EXPECT_FALSE(std::filesystem::exists(rig.folder.path() / "CXoutput.txt"));
  }
  // An activity model that is not available yet stops a run that equilibrates.
  {
    Rig rig;
    rig.settings.run.chkSkipEquilibration = 0;
    rig.ctx.processes.Equilibrate = [](RunContext&) {};
    rig.column.ActivityFlags(7) = false;  // the non-ideal spinel
    const auto outcome = rig.run(1);
    EXPECT_TRUE(outcome.error);
    EXPECT_NE(outcome.message.find("pinel"), std::string::npos) << outcome.message;
    EXPECT_FALSE(std::filesystem::exists(rig.folder.path() / "CXoutput.txt"));
  }
  // A process this build does not have: the message names the switch that skips it.
  Rig rig;
  rig.settings.chkInflate = 1;
  rig.settings.run.chkSkipEquilibration = 0;
  rig.ctx.processes.Equilibrate = nullptr;
  const auto outcome = rig.run(3);
  EXPECT_TRUE(outcome.error);
  EXPECT_NE(outcome.message.find("\"Inflation active \""), std::string::npos);
  EXPECT_NE(outcome.message.find("\"Skip Equilibration\""), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(rig.folder.path() / "CXoutput.txt"));
}

TEST(RunDriver, TracesOnWithoutAnyContent) {
  auto noted = [](Rig& rig) {
    return std::any_of(rig.port.events.begin(), rig.port.events.end(), [](const std::string& e) {
      return e.find("no node holds any trace element") != std::string::npos;
    });
  };
  // A fresh start refuses a node without trace contents and names the node.
  Rig fresh;
  fresh.settings.run.chkSkipTrace = 0;
  fresh.column.BigDFlags(0) = true;
  for (int i = 1; i <= fresh.column.NumNodes; ++i)
    for (int t = 1; t <= kTraces; ++t) fresh.column.InitBulkTrace(i, t) = 0;
  EXPECT_TRUE(fresh.run(1).error);
  EXPECT_NE(fresh.port.messages.back().find("A trace element at node 1 is <= 0."),
            std::string::npos);
  // A run saved without traces and continued with them on goes on with zeros and a note.
  Rig going;
  going.settings.run.chkSkipTrace = 1;
  for (int i = 1; i <= going.column.NumNodes; ++i)
    for (int t = 1; t <= kTraces; ++t) going.column.InitBulkTrace(i, t) = 0;
  ASSERT_FALSE(going.run(1).error);
  EXPECT_FALSE(noted(going));
  going.settings.run.chkSkipTrace = 0;
  going.column.BigDFlags(0) = true;
  going.ctx.iterationLimit = 2;
  const auto outcome = CmdStart(going.ctx);
  EXPECT_FALSE(outcome.error) << outcome.message;
  EXPECT_TRUE(noted(going));
  for (int t = 1; t <= kTraces; ++t) EXPECT_EQ(going.column.TraceLiq(2, t), 0.0);
}

TEST(RunDriver, EquilibrationFallsEveryNthIterationWhileBookkeepingRunsEveryIteration) {
  Rig rig;
  rig.settings.setMiscText(misc::kEquilibrationEvery, "3");
  rig.settings.run.chkSkipEquilibration = 0;
  rig.settings.run.chkSkipTrace = 0;
  rig.column.BigDFlags(0) = true;  // constant partition coefficients
  std::vector<int> equilibrated, traced;
  rig.ctx.processes.Equilibrate = [&](RunContext& c) {
    equilibrated.push_back(c.column.Iteration);
  };
  rig.ctx.processes.UpdateBulk = [](RunContext&) {};
  rig.ctx.processes.UpdateTrace = [&](RunContext& c) { traced.push_back(c.column.Iteration); };
  rig.run(9);
  EXPECT_EQ(equilibrated, (std::vector<int>{3, 6, 9}));
  // The initial state ends with the bookkeeping as every iteration does: iteration 0 included.
  EXPECT_EQ(traced, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(RunDriver, EntropyFollowsTheTemperatureChangeWithTheBulkHeatCapacity) {
  Rig rig;
  const double cp = 1.5;
  auto standIn = rig.ctx.processes.FindInitial;
  rig.ctx.processes.FindInitial = [&](RunContext& ctx) {
    standIn(ctx);
    for (int i = 1; i <= ctx.column.NumNodes; ++i) {
      ctx.column.CpBulk(i) = cp;
      ctx.column.STotal(i) = ctx.column.SLiq(i) = 10.0;
      ctx.column.SSolid(i) = ctx.column.SWater(i) = 0.0;
    }
  };
  rig.run(20);
  // The increments telescope: S - S0 = Cp ln(T / T0), for every interior node and each of the
  // four.  The end nodes are the fixed ends of the diffusion step: the boundary step before it
  // is imposed from outside and changes no entropy.
  bool cooled = false;
  for (int i = 1; i <= 5; ++i) {
    const bool end = i == 1 || i == 5;
    const double dS = end ? 0.0 : cp * std::log(rig.column.Temp(i) / rig.column.InitT(i));
    EXPECT_NEAR(rig.column.STotal(i) - 10.0, dS, 1e-9);
    EXPECT_NEAR(rig.column.SLiq(i) - 10.0, dS, 1e-9);
    EXPECT_NEAR(rig.column.SSolid(i), dS, 1e-9);
    EXPECT_NEAR(rig.column.SWater(i), dS, 1e-9);
    cooled = cooled || dS < 0.0;
  }
  EXPECT_TRUE(cooled);
}

TEST(RunDriver, ASecondStartContinuesTheRunAndAppends) {
  Rig rig;
  rig.run(3);
  EXPECT_FALSE(rig.column.InitialNeeded);
  rig.run(2);
  EXPECT_EQ(rig.column.Iteration, 5);
  EXPECT_EQ(listIterations(rig.output()), (std::vector<int>{0, 1, 2, 3, 4, 5}));
  // A change of the setup restarts from iteration 0 and rewrites the files.
  rig.column.InitialNeeded = true;
  rig.run(1);
  EXPECT_EQ(listIterations(rig.output()), (std::vector<int>{0, 1}));
}

TEST(RunDriver, SnapshotIsWrittenOnceAtTheEndOfTheIteration) {
  Rig rig;
  rig.port.onTurn = [&](int turn) {
    if (turn == 4) rig.column.SnapShotRequested = true;
  };
  rig.run(4);
  int tabs = 0;
  for (const auto& e : std::filesystem::directory_iterator(rig.folder.path()))
    if (e.path().extension() == ".tab") ++tabs;
  EXPECT_EQ(tabs, 1);
  EXPECT_FALSE(rig.column.SnapShotRequested);
  EXPECT_TRUE(rig.logged("Snapshot saved as file: 1.tab") ||
              rig.logged("Snapshot saved as file: 2.tab"));
}

}  // namespace
}  // namespace cx

namespace cx {
namespace {

TEST(MakeCurrentInitial, TheStateOfAnIterationBecomesIterationZeroOfANewHistory) {
  Rig rig;
  rig.run(7);
  const double topT = rig.column.Temp(5);
  ASSERT_LT(topT, 1200.0 + kKelvinOffset);  // the top has cooled
  ASSERT_TRUE(MakeCurrentInitial(rig.ctx));
  EXPECT_EQ(rig.port.messages.back(),
            "Current state has been now set as the initial state of the system!\n   You may want "
            "to save this under a unique file name!");
  EXPECT_EQ(rig.column.Iteration, 0);
  EXPECT_EQ(listIterations(rig.output()), (std::vector<int>{0}));
  EXPECT_EQ(rig.logText(), "");
  EXPECT_DOUBLE_EQ(rig.column.InitT(5), topT);
  // The setup written now holds the cooled profile as the entered temperatures.
  Column fromSetup;
  Settings settings;
  ASSERT_TRUE(parseSetup(*readWholeFile(rig.folder.path() / "CXsetup.cxd"), "CXsetup.cxd",
                         fromSetup, settings)
                  .ok);
  EXPECT_NEAR(fromSetup.InitT(4), rig.column.Temp(4), 0.006);
  // A start goes on from the new iteration 0.
  rig.run(2);
  EXPECT_EQ(listIterations(rig.output()), (std::vector<int>{0, 1, 2}));
}

}  // namespace
}  // namespace cx
