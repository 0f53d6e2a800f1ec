// The crystal pile: where its top lies, and how its matrix and liquid move as it compacts.
#pragma once

#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"

namespace cx {

// The velocities of one compaction step (cm/s, positive upward), indexed 1..NumNodes; nodes
// outside the pile keep zero.  VRatio is the matrix velocity over the velocity that would
// fluidize the node's grains (the graph "V/V(fluidization)").
struct CompactionVelocities {
  Array1<double> VSolid, VLiq, VRatio;
  int PileBottom = 1;
  int TopNode = 1;
};

// CompactPile: the matrix velocity W of the pile from the one-dimensional compaction equation
//   (1 - phi) W'' - (dphi/dz) W' - (mu / (eta k)) W = (1 - phi) g drho / eta,
// k = a^2 Ko phi^3 / (1 - phi)^2, in centred differences as a tridiagonal system with W = 0 one
// node below the base and a mirrored neighbour (dW/dz = 0) above the top node.  The liquid
// moves so that the net volume flux phi v_liq + (1 - phi) v_sol is zero.  A pile of three
// nodes or fewer does not compact.  The matrix never rises at node 1.
CompactionVelocities CompactPile(const Column& column, const Settings& settings, Port& port);

// The pile's matrix velocity over its fluidization velocity is not saved with an iteration: a
// loaded state of a compacting pile has it worked out again from its porosities, and any other
// state has none (zero).  For every front end that shows a loaded or replayed iteration.
void restoreFluidizationRatio(Column& column, const Settings& settings);

// FindPileTop: the top of the pile is the last node of the unbroken run of nodes with solids,
// counted from the bottom.  In infiltration the pile top sits at that node's upper face;
// otherwise PileTop is moved only when it has left the node.
void FindPileTop(Column& column, const Settings& settings, Port& port);

// The compaction parameters of Tobias Hadley's Palisades sill study, set after asking; returns
// whether they were set.
bool UseHadleyValues(Settings& settings, Port& port);

}  // namespace cx
