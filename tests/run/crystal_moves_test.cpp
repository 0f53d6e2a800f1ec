// The crystal moves that the nodes' equilibrium triggers (settling, mixing, drip) and the node
// volume correction after it, as the walk over the nodes calls them.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/run_rig.h"

namespace cx {
namespace {

// A basaltic column of five nodes with crystals everywhere but in node 1, so that the pile top
// starts in node 1; every move replaced by a recorder.
struct MovesRig : test::RunRig {
  std::vector<std::string> calls;
  Array1<double> stretch;

  MovesRig() {
    settings.run.chkSkipEquilibration = 0;
    settings.run.chkSkipVolumeCorrection = 0;
    settings.run.chkSkipTDiffusion = 1;
    const auto findInitial = ctx.processes.FindInitial;
    ctx.processes.FindInitial = [findInitial](RunContext& c) {
      findInitial(c);
      c.column.MassSolid(1) = 0.0;
    };
    auto record = [this](const char* what) {
      return [this, what](RunContext& c) {
        calls.push_back(std::string(what) + " " + std::to_string(c.column.TopNode));
      };
    };
    ctx.processes.MakeCumulate = [this](RunContext& c) {
      calls.push_back("settle " + std::to_string(c.column.TopNode));
      ++c.column.TopNode;
    };
    ctx.processes.MixMagma = record("mix");
    ctx.processes.Drip = [this](RunContext& c) {
      calls.push_back("drip " + std::to_string(c.column.TopNode));
      ++c.column.TopNode;
    };
    ctx.processes.AdjustNodes = [this](RunContext& c) {
      calls.push_back("adjust");
      stretch = c.Stretch;
    };
  }
};

// Crystal settling: each node above the pile that holds crystals after its solve settles them
// (but not the top node); a mixed magma is stirred again whenever the pile top passes to another
// node, and at the start of each iteration; the volume correction follows the walk, with one
// stretch per node.
TEST(CrystalMoves, SettlingWithMixingInTheWalk) {
  MovesRig rig;
  rig.settings.optionBottomAccum = true;
  rig.settings.optionLocal = false;
  rig.settings.optionMix = true;
  rig.settings.optionDisplace = false;
  const auto outcome = rig.run(1);
  ASSERT_FALSE(outcome.error) << outcome.message;
  EXPECT_EQ(rig.calls, (std::vector<std::string>{"mix 1", "settle 1", "mix 2", "settle 2", "mix 3",
                                                 "settle 3", "mix 4", "adjust"}));
  ASSERT_EQ(rig.stretch.hi(), 5);
  for (int i = 1; i <= 5; ++i) {
    EXPECT_GT(rig.stretch(i), 0.95);
    EXPECT_LT(rig.stretch(i), 1.05);
  }
}

// Drip: the top node, once its liquid fraction is below the limit, falls; with mixing the magma
// is stirred after the fall (and only then: a dripping column is not mixed at the start of an
// iteration).  Without mixing nothing is stirred.
TEST(CrystalMoves, DripAtTheTopNodeThenMixing) {
  for (bool mixing : {true, false}) {
    MovesRig rig;
    rig.settings.OptionDrip = true;
    rig.settings.optionLocal = false;
    rig.settings.optionMix = mixing;
    rig.settings.optionDisplace = !mixing;
    rig.settings.setMiscText(misc::kFLiqForDrip, "0.99");
    rig.settings.run.chkSkipVolumeCorrection = 1;
    const auto outcome = rig.run(1);
    ASSERT_FALSE(outcome.error) << outcome.message;
    const std::vector<std::string> expected =
        mixing ? std::vector<std::string>{"drip 0", "mix 1"} : std::vector<std::string>{"drip 0"};
    EXPECT_EQ(rig.calls, expected);
  }
}

}  // namespace
}  // namespace cx
