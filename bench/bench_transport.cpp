// The transport steps of one iteration on a full column: liquid mass diffusion and the node
// volume correction, the compaction velocities of the pile, one advection step, 300 nodes, 15
// oxides and 40 trace elements.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "base/port.h"
#include "column/column.h"
#include "column/settings.h"
#include "transport/adjust_nodes.h"
#include "transport/advection.h"
#include "transport/compaction.h"
#include "transport/mass_diffusion.h"

namespace {

// A partly crystallized column of 300 nodes with gradients in every oxide and trace element.
cx::Column benchColumn(const cx::Settings& s) {
  cx::Column c;
  c.NumNodes = 300;
  c.DeltaX = 10.0;
  c.Length = c.LengthR8 = 3000.0;
  c.DimensionArrays(s);
  const double melt[16] = {0,   49.8, 1.5,  15.0, 1.5, 0.05, 9.0, 0.15,
                           8.0, 11.0, 2.75, 0.5,  0.2, 0.4,  0.0, 0.15};
  for (int i = 1; i <= c.NumNodes; ++i) {
    const double x = static_cast<double>(i) / c.NumNodes;
    c.Temp(i) = 1473.15 - 100.0 * x;
    c.Press(i) = 1000.0;
    c.MassSolid(i) = 20.0 * x;
    c.MassLiq(i) = 100.0 - c.MassSolid(i);
    c.RhoLiq(i) = 26.5 + 0.5 * x;
    c.RhoSolid(i) = 31.0;
    c.RhoWater(i) = 1.0;
    c.FLiq(i) = 1.0 - 0.18 * x;
    c.SLiq(i) = 3.0;
    c.SSolid(i) = 2.0;
    c.PhaseOrder(1) = 1;
    for (int k = 1; k <= cx::kPhaseOrderSize; ++k) c.PhaseMass(i, k) = c.MassSolid(i);
    for (int j = 1; j <= cx::kOxides; ++j) {
      c.LiqOx(i, j) = melt[j] * (1.0 + 0.05 * std::sin(7.0 * x + j));
      c.SolidOx(i, j) = melt[j];
    }
    for (int k = 1; k <= cx::kTraces; ++k) {
      c.TraceLiq(i, k) = 10.0 + k * (1.0 + 0.2 * std::cos(5.0 * x + k));
      c.TraceSolid(i, k) = 0.1 * k;
    }
  }
  for (int j = 2; j <= cx::kOxides; ++j) c.MassDiffCoef(j, j) = 1e-6 * (1.0 + 0.1 * j);
  c.DeltaT = 1e7;
  return c;
}

void BM_MassDiffusion(benchmark::State& state) {
  cx::Settings s;
  s.setMiscText(cx::misc::kFarfieldThickness, "0");
  s.chkUseSoret = 1;
  s.traceDiffusionText = "1.00E-07";
  const cx::ThermoTables tables = cx::loadThermoTables();
  cx::RecordingDiagnostics diag;
  cx::NullPort port;
  cx::Column c = benchColumn(s);
  for (int j = 1; j <= cx::kOxides; ++j) c.SoretCoef(j) = 0.003;
  for (auto _ : state) {
    cx::MassDiffusion(c, s, 1, tables, diag, port);
    benchmark::ClobberMemory();
  }
  if (diag.ErrorFlag) state.SkipWithError("MassDiffusion failed");
}
BENCHMARK(BM_MassDiffusion)->Unit(benchmark::kMicrosecond);

// The whole column is the pile: one tridiagonal solve over 300 nodes.
void BM_CompactPile(benchmark::State& state) {
  cx::Settings s;
  s.setMiscText(cx::misc::kFarfieldThickness, "0");
  cx::NullPort port;
  cx::Column c = benchColumn(s);
  c.PileTop = c.NumNodes * c.DeltaX;
  for (auto _ : state) {
    cx::CompactionVelocities v = cx::CompactPile(c, s, port);
    benchmark::DoNotOptimize(v.VSolid.data());
  }
}
BENCHMARK(BM_CompactPile)->Unit(benchmark::kMicrosecond);

void BM_AdjustNodes(benchmark::State& state) {
  cx::Settings s;
  s.setMiscText(cx::misc::kFarfieldThickness, "0");
  cx::RecordingDiagnostics diag;
  cx::NullPort port;
  const cx::Column start = benchColumn(s);
  cx::Array1<double> stretch(1, start.NumNodes);
  for (int i = 1; i <= start.NumNodes; ++i) stretch(i) = 1.0 + 0.002 * std::sin(0.1 * i);
  cx::Column c = start;
  for (auto _ : state) {
    state.PauseTiming();
    c = start;
    state.ResumeTiming();
    int top = c.TopNode;
    cx::AdjustNodes(c, s, stretch, top, diag, port);
    benchmark::ClobberMemory();
  }
  if (diag.ErrorFlag) state.SkipWithError("AdjustNodes failed");
}
BENCHMARK(BM_AdjustNodes)->Unit(benchmark::kMicrosecond);

// One advection step of a compacting pile of 200 nodes (its top half way up node 200) under
// 100 nodes of magma, with gas in the magma and the bulk rebuilt after each sub-step: the
// compaction velocities of the pile, a time step that moves the fastest of them by 0.9 of a node
// (one sub-step).
void BM_Advect(benchmark::State& state) {
  cx::Settings s;
  s.setMiscText(cx::misc::kFarfieldThickness, "0");
  s.optionCompact = true;
  s.run.chkSkipCompaction = 0;
  s.run.chkSkipGas = 0;
  s.run.chkSkipTrace = 1;  // the synthetic column has no partition data to distribute by
  const cx::ThermoTables tables = cx::loadThermoTables();
  cx::RecordingDiagnostics diag;
  cx::NullPort port;
  cx::Column start = benchColumn(s);
  for (int i = 1; i <= start.NumNodes; ++i) {
    const double solid = i <= 200 ? 40.0 + 0.05 * i : 0.0;
    start.MassSolid(i) = solid;
    start.MassLiq(i) = 100.0 - solid;
    for (int k = 1; k <= cx::kPhaseOrderSize; ++k) start.PhaseMass(i, k) = solid;
    if (i > 240 && i < 280) {
      start.MassWater(i) = 0.5;
      start.MassLiq(i) -= 0.5;
      start.RhoWater(i) = 4.0;
      start.GasComp(i, 1) = 80.0;
      start.GasComp(i, 2) = 20.0;
    }
  }
  start.TopNode = 200;
  start.PileTop = 199.5 * start.DeltaX;
  const cx::CompactionVelocities v = cx::CompactPile(start, s, port);
  start.Vsolid = v.VSolid;
  start.Vliquid = v.VLiq;
  double vmax = 0.0;
  for (int i = 1; i <= start.NumNodes; ++i)
    vmax = std::max({vmax, std::fabs(v.VSolid(i)), std::fabs(v.VLiq(i))});
  start.DeltaT = 0.9 * start.DeltaX / vmax;
  start.Vwater = 0.5 * start.DeltaX / start.DeltaT;
  cx::Column c = start;
  for (auto _ : state) {
    state.PauseTiming();
    c = start;
    state.ResumeTiming();
    cx::Advect(c, s, c.Vliquid, c.Vsolid, c.Vwater, c.PhaseX, 1, c.TopNode, tables, diag, port);
    benchmark::ClobberMemory();
  }
  if (diag.ErrorFlag)
    state.SkipWithError(
        ("Advect failed: " + (diag.reports.empty() ? std::string() : diag.reports.back())).c_str());
}
BENCHMARK(BM_Advect)->Unit(benchmark::kMicrosecond);

}  // namespace
