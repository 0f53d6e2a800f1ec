// A small column for the bookkeeping tests: `nodes` nodes, the simple gas (3 species) or the
// full one (6), and a run one day old.
#pragma once

#include "column/column.h"
#include "column/names.h"

namespace cx {

inline Column makeColumn(int nodes, int gasSpecies = 6) {
  Column c;
  c.NumNodes = nodes;
  c.DimensionArrays(Settings{});
  c.ActivityFlags(kGasPhase) = gasSpecies == 3;
  c.TotalTime = 86400.0;
  return c;
}

}  // namespace cx
