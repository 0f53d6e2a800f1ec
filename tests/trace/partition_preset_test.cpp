// The preset partition coefficients and the command that applies them.
#include "trace/partition_preset.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "column/names.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

int element(std::string_view symbol) {
  for (int k = 1; k <= kTraces; ++k)
    if (TraceNames[static_cast<std::size_t>(k)] == symbol) return k;
  return 0;
}

// A column whose every coefficient holds a marker, to see what the preset leaves alone.
Column markedColumn() {
  Column c;
  for (int p = 1; p <= kPhases; ++p)
    for (int k = 1; k <= kTraces; ++k) c.DCoef(p, k) = -1.0;
  return c;
}

TEST(PartitionPreset, WritesItsElevenMineralsAndLeavesEverythingElse) {
  Column c = markedColumn();
  CorlettCoefsModule(c);
  const std::vector<int> covered = {1, 2, 4, 5, 6, 7, 12, 13, 18, 19, 25};
  // Halogens, the platinum-group elements, Re, Au and Cu are not in the preset.
  const std::vector<std::string_view> notCovered = {"Cl", "F", "Re", "Os", "Ir", "Pt", "Au", "Cu"};
  for (int p = 1; p <= kPhases; ++p) {
    const bool isCovered = std::find(covered.begin(), covered.end(), p) != covered.end();
    for (int k = 1; k <= kTraces; ++k) {
      const bool elementCovered =
          std::find(notCovered.begin(), notCovered.end(), TraceNames[k]) == notCovered.end();
      if (isCovered && elementCovered)
        EXPECT_GE(c.DCoef(p, k), 0.0) << PhaseNames[p] << " " << TraceNames[k];
      else
        EXPECT_EQ(c.DCoef(p, k), -1.0) << PhaseNames[p] << " " << TraceNames[k];
    }
  }
  // The gas is never preset.
  for (int k = 1; k <= kTraces; ++k) EXPECT_EQ(c.DCoef(kGasPhase, k), -1.0);

  // Values that carry the petrology of the table, read off the published compilation: Ni in
  // olivine, Sr and Eu in plagioclase, Cr in spinel, Ni in magnetite, Rb and Ba in biotite, the
  // rare earths in apatite; and the two rhombohedral oxides share one row.
  struct Value {
    int phase;
    const char* element;
    double d;
  };
  for (const Value& v :
       {Value{1, "Ni", 10}, Value{1, "Dy", 7e-05}, Value{2, "Sr", 3.2487}, Value{2, "Eu", 0.71},
        Value{7, "Cr", 500}, Value{13, "Ni", 45}, Value{18, "Rb", 1.7}, Value{18, "Ba", 1.5},
        Value{25, "Nd", 19}, Value{25, "U", 25}, Value{5, "Lu", 0.433}, Value{4, "Yb", 0.22}})
    EXPECT_EQ(c.DCoef(v.phase, element(v.element)), v.d) << PhaseNames[v.phase] << v.element;
  for (int k = 1; k <= kTraces; ++k) EXPECT_EQ(c.DCoef(6, k), c.DCoef(12, k)) << TraceNames[k];
}

TEST(PartitionPreset, TheCommandAsksAndTurnsTheVariableCoefficientsOff) {
  struct Case {
    bool answer;
    bool bigDOn;
    bool applied;
    std::size_t warnings;
  };
  for (const Case& k :
       {Case{false, true, false, 0}, Case{true, true, true, 1}, Case{true, false, true, 0}}) {
    Column c = markedColumn();
    c.BigDFlags(0) = !k.bigDOn;  // the flag says "disabled"
    RecordingPort port;
    port.answer = k.answer;
    EXPECT_EQ(applyPartitionPreset(c, port), k.applied);
    ASSERT_EQ(port.questions.size(), 1u);
    EXPECT_EQ(port.questions[0],
              "Do you wish to use the partition coefficients of Anne Corlett    for applicable "
              "phases and elements?");
    ASSERT_EQ(port.messages.size(), k.warnings);
    if (k.warnings > 0) {
      EXPECT_EQ(port.messages[0],
                "BigD calculation option has been disabled!!!  Program will use constant values "
                "for coefficients.  Reset in the Trace Element window if you wish to reactivate "
                "BigD.");
    }
    // After the preset the constants are what the run uses; a refusal changes nothing.
    EXPECT_EQ(c.BigDFlags(0), k.applied || !k.bigDOn);
    EXPECT_EQ(c.DCoef(1, element("Ni")), k.applied ? 10.0 : -1.0);
  }
}

}  // namespace
}  // namespace cx
