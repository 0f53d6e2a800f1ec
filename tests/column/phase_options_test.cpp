// The rules of the exclusion and activity-model dialogs, without any interface.
#include <gtest/gtest.h>

#include <algorithm>

#include "column/column.h"
#include "column/phase_options.h"

namespace cx {
namespace {

using namespace phase_options;

// Every group of alternative models, every member unticked in turn with every starting pattern
// of the others: afterwards at most the clicked one of the group may precipitate, the others
// ticked; ticking never changes another phase; phases outside the groups never move.
TEST(PhaseOptions, AlternativeModelsStayExclusive) {
  const std::vector<std::vector<int>> groups = {{7, 13}, {6, 12, 17}};
  for (const auto& group : groups) {
    for (int clicked : group) {
      for (int pattern = 0; pattern < (1 << group.size()); ++pattern) {
        for (bool tick : {false, true}) {
          Column c;
          for (std::size_t k = 0; k < group.size(); ++k)
            c.PhaseExcluded(group[k]) = (pattern >> k) & 1;
          const Array1<bool> before = c.PhaseExcluded;
          excludeClick(c.PhaseExcluded, clicked, tick);
          EXPECT_EQ(c.PhaseExcluded(clicked), tick);
          for (int p = 1; p <= kPhases; ++p) {
            if (p == clicked) continue;
            const bool inGroup = std::find(group.begin(), group.end(), p) != group.end();
            if (inGroup && !tick)
              EXPECT_TRUE(c.PhaseExcluded(p)) << "phase " << p << " after unticking " << clicked;
            else
              EXPECT_EQ(c.PhaseExcluded(p), before(p)) << "phase " << p;
          }
        }
      }
    }
  }
}

TEST(PhaseOptions, NeverUsedSolutionsAndOtherPhases) {
  Column c;
  for (int p : {8, 9}) {
    const bool was = c.PhaseExcluded(p);
    excludeClick(c.PhaseExcluded, p, !was);
    EXPECT_EQ(c.PhaseExcluded(p), was);
    EXPECT_TRUE(exclusionLocked(p));
  }
  // Olivine alone: only its own flag follows the click.
  const Array1<bool> before = c.PhaseExcluded;
  excludeClick(c.PhaseExcluded, 1, true);
  for (int p = 2; p <= kPhases; ++p) EXPECT_EQ(c.PhaseExcluded(p), before(p));
  EXPECT_TRUE(c.PhaseExcluded(1));
  EXPECT_EQ(excludeCaption(1), "Olivine (ol)");
  EXPECT_EQ(excludeCaption(13), "Mt-Usp (mt)");
  EXPECT_EQ(excludeCaption(38), "Immiscible Liquid (lq2)");
}

// The dialog's OK for each pyroxene model and feldspar tick, and the round trip through what the
// dialog shows: applying what is displayed changes no flag of a listed phase.
TEST(PhaseOptions, ActivityChoiceAppliesAndRoundTrips) {
  for (int model = 1; model <= 3; ++model) {
    for (bool feldspar : {false, true}) {
      Column c;
      int pyroxene = 0;
      ActivityChoice choice = defaultChoice();
      choice.pyroxeneModel = model;
      choice.ticked[2] = feldspar;
      choice.ticked[29] = false;
      applyChoice(choice, c.ActivityFlags, pyroxene);
      EXPECT_EQ(pyroxene, model);
      EXPECT_EQ(c.ActivityFlags(4), false);
      EXPECT_EQ(c.ActivityFlags(5), model == 1);
      EXPECT_EQ(c.ActivityFlags(2), feldspar);
      EXPECT_EQ(c.ActivityFlags(3), feldspar);
      EXPECT_FALSE(c.ActivityFlags(1));
      EXPECT_FALSE(c.ActivityFlags(29));
      EXPECT_EQ(c.gasSpeciesCount(), 6);
      const Array1<bool> after = c.ActivityFlags;
      applyChoice(displayedChoice(c.ActivityFlags, pyroxene), c.ActivityFlags, pyroxene);
      EXPECT_TRUE(c.ActivityFlags == after);
    }
  }
  const ActivityChoice d = defaultChoice();
  EXPECT_EQ(d.pyroxeneModel, 1);
  for (int p : kListedPhases) EXPECT_EQ(d.ticked[p], p != 1) << p;
}

TEST(PhaseOptions, TextsOfTheDialog) {
  // Two-sentence texts break between their sentences; every listed phase has its caption and
  // its details.
  EXPECT_NE(rightClickText(29).find("model.\n  If unchecked"), std::string::npos);
  EXPECT_NE(std::string(pyroxeneTip(1)).find("model\nof Sack"), std::string::npos);
  for (int p : kListedPhases) {
    EXPECT_FALSE(optionCaption(p).empty()) << p;
    EXPECT_FALSE(rightClickText(p).empty()) << p;
  }
  EXPECT_TRUE(rightClickText(3).empty());
}

}  // namespace
}  // namespace cx
