// The crystal pile: where its top lies.  (The compaction velocities come with the compaction
// model.)
#pragma once

#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"

namespace cx {

// FindPileTop: the top of the pile is the last node of the unbroken run of nodes with solids,
// counted from the bottom.  In infiltration the pile top sits at that node's upper face;
// otherwise PileTop is moved only when it has left the node.
void FindPileTop(Column& column, const Settings& settings, Port& port);

}  // namespace cx
