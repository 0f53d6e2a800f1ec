// `cumulex plot`'s picture: the four graphs of a 300-node column written to a PNG file (the
// drawing, the PNG encoding and the file), and the drawing alone.
#include <benchmark/benchmark.h>

#include <QImage>
#include <QPainter>
#include <QTemporaryDir>

#include "plot/figure.h"

namespace {

using namespace cx;

// A 300-node column with a profile in each graph's array, and five phases.
Column column300() {
  Column c;
  c.NumNodes = 300;
  c.DeltaX = 100.0;
  c.DimensionArrays(Settings{});
  for (int k = 1; k <= 5; ++k) c.PhaseOrder(k) = k;
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.Temp(i) = 1473.15 - 0.8 * i;
    c.InitT(i) = 1473.15;
    c.FLiq(i) = 1.0 - i / 400.0;
    for (int j = 1; j <= kOxides; ++j) c.LiqOx(i, j) = 100.0 / kOxides + 0.01 * i;
    for (int k = 1; k <= 5; ++k) c.PhaseMass(i, k) = 2.0 * k + 0.05 * i;
  }
  c.TopNode = 40;
  return c;
}

std::vector<plotmodel::GraphRequest> fourGraphs() {
  std::vector<plotmodel::GraphRequest> r(4);
  r[0].property = "Temperature";
  r[1].property = "Liquid Fraction";
  r[2].property = "Mass - Phases";
  r[3].property = "Oxide wt % - Liquid";
  return r;
}

void BM_FourGraphsOf300NodesToPng(benchmark::State& state) {
  const Column c = column300();
  const auto graphs = fourGraphs();
  QTemporaryDir dir;
  const std::string file = dir.filePath("figure.png").toStdString();
  for (auto _ : state) {
    const std::string problem =
        plot::writeFigure(file, plot::ImageFormat::Png, QSize(1600, 900), c, graphs, "bench");
    if (!problem.empty()) state.SkipWithError(problem.c_str());
  }
}
BENCHMARK(BM_FourGraphsOf300NodesToPng)->Unit(benchmark::kMillisecond);

void BM_FourGraphsOf300NodesDrawn(benchmark::State& state) {
  const Column c = column300();
  const auto graphs = fourGraphs();
  QImage image(1600, 900, QImage::Format_RGB32);
  for (auto _ : state) {
    QPainter painter(&image);
    plot::paintFigure(painter, image.rect(), c, graphs, "bench");
  }
}
BENCHMARK(BM_FourGraphsOf300NodesDrawn)->Unit(benchmark::kMillisecond);

}  // namespace
