// The desktop program's responsiveness: the redraw of the four graphs of a 300-node column at a
// PlotResults (the copy handed over by the run, then the painting), and a run on the worker
// thread against the same run called directly, as the command line does.
//   ./build/release/bench/cumulex_desktop_bench
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <memory>

#include "persist/default_setup.h"
#include "persist/event_log.h"
#include "persist/setup_file.h"
#include "run/run_driver.h"
#include "ui/desktop/main_window.h"

using namespace cx;
using namespace cx::desktop;

namespace {

std::unique_ptr<MainWindow> makeWindow(const QTemporaryDir& dir) {
  WindowOptions o;
  o.folder = dir.path().toStdString();
  o.dialogs = false;
  o.rememberSettings = false;
  auto w = std::make_unique<MainWindow>(o);
  w->setAsker([](const QString&) { return false; });
  w->setTeller([](const QString&) {});
  w->resize(1600, 1000);
  w->show();
  return w;
}

// A 300-node column with a profile in every plotted array.
void fillColumn(Column& c, const Settings& s) {
  c.NumNodes = 300;
  c.Length = c.LengthR8 = 30000.0;
  c.DeltaX = 100.0;
  c.DimensionArrays(s);
  for (int i = 1; i <= c.NumNodes; ++i) {
    c.Temp(i) = 1400.0 - i;
    c.InitT(i) = 1450.0;
    c.Press(i) = 1000.0 + 3.0 * (300 - i);
    c.FLiq(i) = 1.0 - i / 400.0;
    for (int j = 1; j <= kOxides; ++j) c.LiqOx(i, j) = c.BulkOx(i, j) = 100.0 / kOxides;
    for (int k = 1; k <= 10; ++k) c.PhaseMass(i, k) = 5.0 * k;
  }
}

void BM_PlotResultsRedraw300Nodes(benchmark::State& state) {
  QTemporaryDir dir;
  auto w = makeWindow(dir);
  fillColumn(w->column(), w->settings());
  for (auto _ : state) {
    w->port().plotResults();  // the copy the run hands over
    QCoreApplication::processEvents();
    benchmark::DoNotOptimize(w->timeRedraw());
  }
}
BENCHMARK(BM_PlotResultsRedraw300Nodes)->Unit(benchmark::kMillisecond);

// What a PlotResults costs the run itself: the copy of a 300-node column it hands over.
void BM_HandOverColumn300Nodes(benchmark::State& state) {
  QTemporaryDir dir;
  auto w = makeWindow(dir);
  fillColumn(w->column(), w->settings());
  QCoreApplication::processEvents();
  for (auto _ : state) {
    w->port().plotResults();
    benchmark::DoNotOptimize(w->port().takeResults());
  }
}
BENCHMARK(BM_HandOverColumn300Nodes)->Unit(benchmark::kMillisecond);

constexpr int kRunIterations = 10;

// The default column for ten iterations, as `cumulex run` calls it.
void BM_RunDirect(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    QTemporaryDir dir;
    auto column = std::make_unique<Column>();
    Settings settings;
    parseSetup(std::string(defaultSetupText()), "default", *column, settings);
    state.ResumeTiming();
    NullPort port;
    EventLog log(port);
    RunContext ctx{*column, settings, log, port, dir.path().toStdString()};
    ctx.iterationLimit = kRunIterations;
    CmdStart(ctx);
    benchmark::DoNotOptimize(column->Iteration);
    state.PauseTiming();
    ctx.solver.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_RunDirect)->Unit(benchmark::kMillisecond)->Iterations(3);

// The same run started from the window, on its worker thread, with the window drawing.
void BM_RunOnWorkerThread(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    QTemporaryDir dir;
    auto w = makeWindow(dir);
    w->setIterationLimit(kRunIterations);
    QCoreApplication::processEvents();
    state.ResumeTiming();
    QSignalSpy done(w.get(), &MainWindow::jobFinished);
    w->command("CmdStart")->trigger();
    done.wait(600000);
    benchmark::DoNotOptimize(w->column().Iteration);
  }
}
BENCHMARK(BM_RunOnWorkerThread)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
