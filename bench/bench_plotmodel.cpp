// The plot model of one graph of a 300-node column: the goal is well under 50 microseconds, so
// that four graphs redraw at screen rate.
#include <benchmark/benchmark.h>

#include <cmath>

#include "plotmodel/plot_model.h"

namespace {

cx::Column filledColumn() {
  cx::Column c;
  c.NumNodes = 300;
  c.DeltaX = 1.0;
  c.DimensionArrays(cx::Settings{});
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.Temp(i) = 1200.0 + std::sin(0.05 * i) * 100.0;
    c.InitT(i) = 1473.15;
    c.LiqOx(i, 8) = 6.0 + 0.01 * i;
    c.LiqOx(i, 6) = 8.0;
    for (int k = 1; k <= cx::kPhaseOrderSize; ++k) c.PhaseMass(i, k) = 10.0 * k;
  }
  for (int k = 1; k <= cx::kPhaseOrderSize; ++k) c.PhaseOrder(k) = k;  // ten phases present
  c.TopNode = 120;
  return c;
}

// Arg: 0 Temperature, 1 Mg# - Liquid, 2 Mass - Phases (ten curves).
void BM_GraphModel300Nodes(benchmark::State& state) {
  const cx::Column column = filledColumn();
  cx::plotmodel::GraphRequest request;
  request.property = state.range(0) == 0   ? "Temperature"
                     : state.range(0) == 1 ? "Mg# - Liquid"
                                           : "Mass - Phases";
  for (auto _ : state) benchmark::DoNotOptimize(cx::plotmodel::buildGraphModel(column, request));
}
BENCHMARK(BM_GraphModel300Nodes)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

}  // namespace
