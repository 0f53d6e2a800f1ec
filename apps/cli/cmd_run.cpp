// `cumulex run`, `cumulex show`, `cumulex load`: runs of the column and their saved iterations.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>

#include "base/text_format.h"
#include "commands.h"
#include "json.h"
#include "persist/checkpoint.h"
#include "persist/default_setup.h"
#include "persist/event_log.h"
#include "persist/files.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "run/run_driver.h"
#include "transport/compaction.h"
#include "ui/console_port.h"

namespace cx::cli {

namespace {

namespace fs = std::filesystem;

// Ctrl-C asks the run to halt at its next turn.  A signal handler can only reach a flag of
// static storage; nothing else in the program is global.
std::atomic<bool> gInterrupted{false};
extern "C" void onInterrupt(int) {
  gInterrupted = true;
}

struct RunOptionsCli {
  std::string setup;
  std::string dir = "cumulex-run";
  int iterations = -1;
  bool yes = false;
  bool no = false;
  bool continueRun = false;
  bool initialOnly = false;
};

int runCommand(const RunOptionsCli& o) {
  std::error_code ec;
  const fs::path dir = fs::absolute(o.dir);
  fs::create_directories(dir, ec);
  if (ec) {
    std::cerr << "cumulex: cannot create the working folder " << dir << ": " << ec.message()
              << '\n';
    return 2;
  }
  const bool tty = isatty(STDERR_FILENO) != 0;
  auto column = std::make_unique<Column>();
  Settings settings;
  ConsolePort port(std::cerr, o.yes, &gInterrupted, nullptr, tty);
  EventLog consoleLog(port);
  port.setHaltTarget(&consoleLog.HaltFlag);  // Ctrl-C reaches the run at its next turn

  if (o.continueRun) {
    const auto r = ReadSetup(dir, *column, settings, port);
    if (!r.ok) {
      std::cerr << "cumulex: " << r.message << '\n';
      return 2;
    }
    const fs::path outputPath = dir / std::string(kOutputFileName);
    const FileText file = readTextFile(outputPath, kMaxOutputFileBytes);
    if (!file.text) {
      std::cerr << "cumulex: cannot read " << outputPath.string() << ": " << file.problem << '\n';
      return 2;
    }
    const std::string* text = &*file.text;
    if (const OutputIndex index = indexOutput(*text, outputPath.string()); !index.problem.empty()) {
      std::cerr << "cumulex: " << index.problem << "\nNothing was changed.\n";
      return 2;
    }
    const int last = lastCompleteIteration(*text, outputPath.string(), *column);
    if (last < 0) {
      std::cerr << "cumulex: no saved iteration to continue from in " << dir << '\n';
      return 2;
    }
    const auto read = parseIteration(*text, outputPath.string(), last, *column);
    if (!read.ok) {
      std::cerr << "cumulex: " << read.message << '\n';
      return 2;
    }
    if (!read.note.empty()) std::cerr << "cumulex: note: " << read.note << '\n';
    // Cut anything after the last whole block (a block cut off by a crash).
    const auto iters = listIterations(*text);
    if (!iters.empty() && iters.back() != last) {
      std::cerr << "cumulex: note: the output file's last block (iteration " << iters.back()
                << ") is incomplete or damaged; it is dropped and the run continues from "
                   "iteration "
                << last << ".\n";
      RecordingDiagnostics diag;
      NullPort yesPort(true);
      const LoadResult lr = loadIteration(dir, last, *column, diag, yesPort);
      if (!lr.ok) {
        std::cerr << "cumulex: " << lr.message << '\n';
        return 2;
      }
    }
    // The exact state of that block, when the checkpoint beside the file belongs to it.
    if (const CheckpointUse cp = restoreCheckpoint(dir, *text, last, *column); !cp.used)
      std::cerr << "cumulex: note: " << cp.note << '\n';
    column->InitialNeeded = false;
    column->NodesAtInitial = column->NumNodes;
    std::cerr << "Continuing from iteration " << last << " of " << dir / "CXoutput.txt" << '\n';
  } else {
    SetupReadResult r;
    if (o.setup.empty()) {
      r = parseSetup(std::string(defaultSetupText()), "embedded default setup", *column, settings);
    } else {
      // Read and checked only: the run writes the working copy once the setup has started, so
      // a setup that cannot run leaves the folder as it was.
      r = readSetupFile(o.setup, *column, settings);
    }
    if (!r.ok) {
      std::cerr << "cumulex: " << r.message << '\n';
      return 2;
    }
  }
  column->FindInitialOnly = o.initialOnly;
  // The pile's characteristic scales (what CompactForm shows), from the compaction fields.
  if (settings.optionCompact)
    std::cerr << "Compaction length " << formatNumber(settings.compactionLength() / 100.0, "fixed")
              << " m, time " << formatNumber(settings.compactionTimeScaleDays(), "###,###,###.00")
              << " days, velocity " << formatNumber(settings.compactionVelocity(), "scientific")
              << " cm/s\n";

  // Ctrl-C and a polite kill both halt the run at its next turn.
  std::signal(SIGINT, onInterrupt);
  std::signal(SIGTERM, onInterrupt);
  RunContext ctx{*column, settings, consoleLog, port, dir};
  ctx.iterationLimit = o.iterations;
  const RunOutcome outcome = CmdStart(ctx);
  port.finishLine();
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);

  // A halt is not an error: the run stops on its last whole iteration, which is saved.
  const bool interrupted = gInterrupted.load();
  const bool failed = outcome.error && !interrupted;
  std::cerr << (interrupted ? "Halted"
                : failed    ? "Stopped on an error"
                            : "Finished")
            << " at iteration " << column->Iteration << ", model time "
            << formatNumber(column->TotalTime / kSecondsPerDay, "0.0000") << " days.\n";
  if (!outcome.message.empty() && (failed || interrupted)) std::cerr << outcome.message << '\n';
  std::cerr << "Working folder: " << dir.string() << '\n';
  return failed ? 1 : 0;
}

// The layout a saved iteration is read into: the setup of the folder when it has one.
std::unique_ptr<Column> layoutOf(const fs::path& dir, Settings& settings) {
  auto column = std::make_unique<Column>();
  NullPort quiet;
  if (fs::exists(dir / std::string(kSetupFileName))) ReadSetup(dir, *column, settings, quiet);
  return column;
}

struct NodeColumnOut {
  const char* label;
  Array1<double> Column::*array;
};
const NodeColumnOut kShowColumns[] = {
    {"Temperature", &Column::Temp},       {"Pressure", &Column::Press},
    {"F(liquid)", &Column::FLiq},         {"S(total)", &Column::STotal},
    {"S(liquid)", &Column::SLiq},         {"S(solid)", &Column::SSolid},
    {"Cp(bulk)", &Column::CpBulk},        {"Liq Density", &Column::RhoLiq},
    {"Solid Density", &Column::RhoSolid}, {"Liq Viscosity", &Column::LiqVisc},
    {"S(water)", &Column::SWater},        {"Rho(water)", &Column::RhoWater},
    {"Mass(water)", &Column::MassWater},  {"Mass(solid)", &Column::MassSolid},
    {"Mass(liquid)", &Column::MassLiq},   {"F(O2)", &Column::FO2},
};

// The trace tables a saved iteration holds, by the name `show --traces` takes.
struct TraceTableOut {
  const char* option;
  const char* label;
  Array2<double> Column::*array;
};
const TraceTableOut kTraceTablesOut[] = {{"liquid", "Trace Liquid", &Column::TraceLiq},
                                         {"solid", "Trace Solid", &Column::TraceSolid},
                                         {"gas", "Trace Gas", &Column::TraceGasPpm},
                                         {"bulk", "Trace Bulk", &Column::TraceBulk}};

// The node table of one trace table (ppm), ten elements to a block so that a line fits a terminal.
void printTraceTable(const Column& c, const TraceTableOut& t) {
  constexpr int kPerBlock = 10;
  std::cout << t.label << " (ppm):\n";
  for (int first = 1; first <= kTraces; first += kPerBlock) {
    const int last = std::min(kTraces, first + kPerBlock - 1);
    std::cout << std::setw(5) << "Node";
    for (int k = first; k <= last; ++k) std::cout << std::setw(11) << TraceNames[k];
    std::cout << '\n';
    for (int i = c.NumNodes; i >= 1; --i) {
      std::cout << std::setw(5) << i;
      for (int k = first; k <= last; ++k)
        std::cout << std::setw(11) << formatNumber((c.*t.array)(i, k), "0.0000");
      std::cout << '\n';
    }
  }
}

int showCommand(const std::string& dirName, int wanted, bool json, const std::string& traces) {
  const TraceTableOut* traceTable = nullptr;
  for (const auto& t : kTraceTablesOut)
    if (traces == t.option) traceTable = &t;
  if (!traces.empty() && traceTable == nullptr) {
    std::cerr << "cumulex show: --traces takes liquid, solid, gas or bulk, not '" << excerpt(traces)
              << "'\n";
    return 2;
  }
  const fs::path dir = dirName;
  const fs::path file = dir / std::string(kOutputFileName);
  const FileText read = readTextFile(file, kMaxOutputFileBytes);
  if (!read.text) {
    std::cerr << "cumulex: cannot read " << file.string() << ": " << read.problem << '\n';
    return 2;
  }
  const std::string* text = &*read.text;
  Settings settings;
  auto column = layoutOf(dir, settings);
  if (wanted < 0) {
    wanted = lastCompleteIteration(*text, file.string(), *column);
    if (wanted < 0) {
      std::cerr << "cumulex: " << file << " holds no complete iteration\n";
      return 2;
    }
  }
  const auto r = parseIteration(*text, file.string(), wanted, *column);
  if (!r.ok) {
    std::cerr << "cumulex: " << r.message << '\n';
    return 2;
  }
  if (!r.note.empty()) std::cerr << "cumulex: note: " << r.note << '\n';
  const Column& c = *column;
  // Velocities mean something only where mass moves: a compacting pile or an infiltrating
  // liquid.
  const bool moving = settings.compacting() || settings.infiltrating();
  restoreFluidizationRatio(*column, settings);
  if (json) {
    JsonWriter w(std::cout);
    w.beginObject();
    w.value("Iteration", c.Iteration);
    w.value("TopPressure", c.TopPressure);
    w.value("NumNodes", c.NumNodes);
    w.value("DeltaX", c.DeltaX);
    w.value("TotalTime", c.TotalTime);
    w.value("BottomNode", c.BottomNode);
    w.value("TopNode", c.TopNode);
    w.value("Pile top", c.PileTop);
    w.beginArray("nodes");
    for (int i = 1; i <= c.NumNodes; ++i) {
      w.beginObject();
      w.value("Node", i);
      for (const auto& col : kShowColumns) w.value(col.label, (c.*col.array)(i));
      w.value("V(solid)", c.Vsolid(i));
      w.value("V(liquid)", c.Vliquid(i));
      w.value("V/V(fluidization)", c.VRatio(i));
      w.value("PhaseCount", c.PhaseCount(i));
      w.beginObject("Liquid oxides wt %");
      for (int j = 1; j <= kOxides; ++j) w.value(OxideNames[j], c.LiqOx(i, j));
      w.endObject();
      w.beginObject("Bulk Oxides wt %");
      for (int j = 1; j <= kOxides; ++j) w.value(OxideNames[j], c.BulkOx(i, j));
      w.endObject();
      if (traceTable != nullptr) {
        w.beginObject(std::string(traceTable->label) + " ppm");
        for (int k = 1; k <= kTraces; ++k) w.value(TraceNames[k], (c.*traceTable->array)(i, k));
        w.endObject();
      }
      w.endObject();
    }
    w.endArray();
    w.endObject();
    return 0;
  }
  std::cout << "Iteration " << c.Iteration << " of " << file.string() << ": " << c.NumNodes
            << " nodes of " << formatNumber(c.DeltaX, "fixed") << " cm, model time "
            << formatNumber(c.TotalTime / kSecondsPerDay, "0.0000") << " days, top pressure "
            << formatNumber(c.TopPressure, "fixed") << " bar\n";
  if (traceTable != nullptr) {
    printTraceTable(c, *traceTable);
    std::cout << "(node 1 is the bottom)\n";
    return 0;
  }
  std::cout << std::setw(5) << "Node" << std::setw(12) << "T (°C)" << std::setw(12) << "P (bar)"
            << std::setw(11) << "F(liquid)" << std::setw(12) << "S(total)" << std::setw(12)
            << "Liq Density" << std::setw(12) << "Mass(solid)" << std::setw(8) << "Phases"
            << std::setw(9) << "SiO2 liq" << std::setw(9) << "MgO liq";
  if (moving)
    std::cout << std::setw(12) << "V solid" << std::setw(12) << "V liquid" << std::setw(10)
              << "V/V(fl)";
  std::cout << '\n';
  for (int i = c.NumNodes; i >= 1; --i) {
    std::cout << std::setw(5) << i << std::setw(12)
              << formatNumber(c.Temp(i) - kKelvinOffset, "0.000") << std::setw(12)
              << formatNumber(c.Press(i), "0.000") << std::setw(11)
              << formatNumber(c.FLiq(i), "0.0000") << std::setw(12)
              << formatNumber(c.STotal(i), "0.0000") << std::setw(12)
              << formatNumber(c.RhoLiq(i) / 10.0, "0.0000") << std::setw(12)
              << formatNumber(c.MassSolid(i), "0.0000") << std::setw(8) << c.PhaseCount(i)
              << std::setw(9) << formatNumber(c.LiqOx(i, 1), "0.00") << std::setw(9)
              << formatNumber(c.LiqOx(i, 8), "0.00");
    if (moving)
      std::cout << std::setw(12) << formatNumber(c.Vsolid(i) * kSecondsPerYear, "0.000E+00")
                << std::setw(12) << formatNumber(c.Vliquid(i) * kSecondsPerYear, "0.000E+00")
                << std::setw(10) << formatNumber(c.VRatio(i), "0.0000");
    std::cout << '\n';
  }
  if (c.TopNode > 0)
    std::cout << "Pile top: " << formatNumber(c.PileTop / 100.0, "fixed") << " m, in node "
              << c.TopNode << "\n";
  std::cout << "(node 1 is the bottom; liquid density in g/cm3"
            << (moving ? "; velocities in cm/yr, upward positive; V/V(fl): the matrix velocity "
                         "over the fluidization velocity"
                       : "")
            << ")\n";
  return 0;
}

int loadCommand(const std::string& dirName, int n, bool yes, bool makeInitial) {
  const fs::path dir = dirName;
  auto column = std::make_unique<Column>();
  Settings settings;
  NullPort quiet;
  if (fs::exists(dir / std::string(kSetupFileName))) ReadSetup(dir, *column, settings, quiet);
  ConsolePort port(std::cerr, yes, nullptr, nullptr, false);
  EventLog log(port);
  const auto r = loadIteration(dir, n, *column, log, port);
  if (!r.ok) {
    std::cerr << "cumulex: " << r.message << '\n';
    return r.declined ? 1 : 2;
  }
  const std::string output = (dir / std::string(kOutputFileName)).string();
  if (makeInitial) {
    RunContext ctx{*column, settings, log, port, dir};
    if (!MakeCurrentInitial(ctx)) return 1;
    std::cout << "Iteration " << n << " is now iteration 0 of " << output << ".\n";
  } else {
    std::cout << "Loaded iteration " << n << "; " << output << " now ends with it.\n";
  }
  std::cout << "Continue with: cumulex run --dir " << dir.string() << " --continue\n";
  return 0;
}

}  // namespace

void addRunCommands(CLI::App& app, int& exitCode) {
  auto opts = std::make_shared<RunOptionsCli>();
  auto* run = app.add_subcommand(
      "run", "Run a column from a setup file (default: the embedded basaltic column)");
  run->add_option("setup", opts->setup, "Setup file (.cxd); copied over the working copy")
      ->check(CLI::ExistingFile);
  run->add_option("--dir", opts->dir, "Working folder (default ./cumulex-run)");
  run->add_option("--iterations", opts->iterations, "Stop after this many iterations")
      ->check(CLI::Range(0, kMaxIteration));
  auto* yes = run->add_flag("--yes", opts->yes,
                            "Answer yes to every question (e.g. abort after a reported error)");
  run->add_flag("--no", opts->no, "Answer no to every question (the default)")->excludes(yes);
  run->add_flag("--continue", opts->continueRun,
                "Continue the run of the working folder from its last saved iteration")
      ->excludes(run->get_option("setup"));
  run->add_flag("--initial-only", opts->initialOnly, "Find iteration 0 and stop");
  run->callback([opts, &exitCode] { exitCode = runCommand(*opts); });

  auto showDir = std::make_shared<std::string>();
  auto showIter = std::make_shared<int>(-1);
  auto showJson = std::make_shared<bool>(false);
  auto showTraces = std::make_shared<std::string>();
  auto* show =
      app.add_subcommand("show", "Print the node table of a saved iteration (the last by default)");
  show->add_option("dir", *showDir, "Working folder of a run")->required();
  show->add_option("--iteration", *showIter, "Iteration to show")
      ->check(CLI::Range(0, kMaxIteration));
  show->add_flag("--json", *showJson, "JSON keyed by the output file's labels");
  show->add_option("--traces", *showTraces,
                   "Print the trace elements (ppm) of the liquid, solid, gas or bulk instead");
  show->callback(
      [=, &exitCode] { exitCode = showCommand(*showDir, *showIter, *showJson, *showTraces); });

  auto loadDir = std::make_shared<std::string>();
  auto loadIter = std::make_shared<int>(0);
  auto loadYes = std::make_shared<bool>(false);
  auto loadInitial = std::make_shared<bool>(false);
  auto* load =
      app.add_subcommand("load", "Load a saved iteration and cut the output file after it");
  load->add_option("dir", *loadDir, "Working folder of a run")->required();
  load->add_option("--iteration", *loadIter, "Iteration to keep as the last")
      ->required()
      ->check(CLI::Range(0, kMaxIteration));
  load->add_flag("--yes", *loadYes, "Confirm that the iterations after it are dropped");
  load->add_flag(
      "--make-initial", *loadInitial,
      "Make the loaded state iteration 0 of a new history (Set Current State as Initial)");
  load->callback(
      [=, &exitCode] { exitCode = loadCommand(*loadDir, *loadIter, *loadYes, *loadInitial); });
}

}  // namespace cx::cli
