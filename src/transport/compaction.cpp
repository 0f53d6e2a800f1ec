#include "transport/compaction.h"

#include "base/text_format.h"

namespace cx {

void FindPileTop(Column& c, const Settings& s, Port& port) {
  int i = 1;
  while (i <= c.NumNodes && c.MassSolid(i) > 0.0) ++i;
  if (i > c.NumNodes) {
    c.TopNode = c.NumNodes;
  } else if (i > 1) {
    c.TopNode = i - 1;
  } else {
    c.TopNode = 1;
  }
  if (s.optionInfiltrate) {
    c.PileTop = c.TopNode * c.DeltaX;
  } else {
    // The test is deliberately on e, the base of the top node, not on the height f above it.
    const double f = c.PileTop - (c.TopNode - 1) * c.DeltaX;
    const double e = c.PileTop - f;
    if (e < 0.0) {
      c.PileTop = (c.TopNode - 1) * c.DeltaX;
    } else if (e > c.DeltaX) {
      c.PileTop = c.TopNode * c.DeltaX;
    }
  }
  port.setLabel("lblPileTop", formatNumber(c.PileTop / 100.0, "fixed"));
  port.setLabel("lblTopNode", std::to_string(c.TopNode));
}

}  // namespace cx
