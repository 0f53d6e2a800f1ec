// `cumulex partition`: the partition coefficients of a setup, the preset table, and the preset
// applied to a setup file.
#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

#include "base/text_format.h"
#include "commands.h"
#include "json.h"
#include "persist/files.h"
#include "persist/setup_file.h"
#include "trace/partition_preset.h"
#include "ui/console_port.h"

namespace cx::cli {
namespace {

namespace fs = std::filesystem;

struct PartitionOptions {
  std::string setup;
  bool preset = false;
  bool yes = false;
  bool json = false;
};

// Phases with at least one non-zero coefficient, in phase order.
std::vector<int> phasesInUse(const Column& c) {
  std::vector<int> phases;
  for (int p = 1; p <= kPhases; ++p)
    for (int k = 1; k <= kTraces; ++k)
      if (c.DCoef(p, k) != 0.0) {
        phases.push_back(p);
        break;
      }
  return phases;
}

void printTable(const Column& c, const std::string& title, bool json) {
  const std::vector<int> phases = phasesInUse(c);
  if (json) {
    JsonWriter w(std::cout);
    w.beginObject();
    w.value("source", title);
    w.beginObject("DCoef");
    for (int p : phases) {
      w.beginObject(PhaseNames[static_cast<std::size_t>(p)]);
      for (int k = 1; k <= kTraces; ++k)
        w.value(TraceNames[static_cast<std::size_t>(k)], c.DCoef(p, k));
      w.endObject();
    }
    w.endObject();
    w.endObject();
    return;
  }
  std::cout << "Partition coefficients (phase / liquid) of " << title << '\n';
  if (phases.empty()) {
    std::cout << "All coefficients are 0: every trace element stays in the liquid.\n";
    return;
  }
  // Columns by abbreviation; one that two phases share (rox) carries the phase number.
  auto heading = [&](int p) {
    const std::string_view abbrev = PhaseAbbrevDefault[static_cast<std::size_t>(p)];
    int uses = 0;
    for (int q : phases) uses += PhaseAbbrevDefault[static_cast<std::size_t>(q)] == abbrev;
    return std::string(abbrev) + (uses > 1 ? std::to_string(p) : "");
  };
  constexpr int kWidth = 10;
  constexpr std::size_t kPerBlock = 12;  // phases side by side, so that a line fits a terminal
  for (std::size_t first = 0; first < phases.size(); first += kPerBlock) {
    const std::size_t last = std::min(phases.size(), first + kPerBlock);
    std::cout << '\n' << std::setw(4) << "";
    for (std::size_t j = first; j < last; ++j) std::cout << std::setw(kWidth) << heading(phases[j]);
    std::cout << '\n';
    for (int k = 1; k <= kTraces; ++k) {
      std::cout << std::setw(4) << TraceNames[static_cast<std::size_t>(k)];
      for (std::size_t j = first; j < last; ++j) {
        std::ostringstream d;
        d << std::setprecision(6) << c.DCoef(phases[j], k);
        std::cout << std::setw(kWidth) << d.str();
      }
      std::cout << '\n';
    }
  }
  std::cout << '\n';
  for (int p : phases)
    std::cout << std::setw(8) << heading(p) << "  " << PhaseNames[static_cast<std::size_t>(p)]
              << '\n';
}

int partitionCommand(const PartitionOptions& o) {
  auto column = std::make_unique<Column>();
  if (o.setup.empty()) {
    if (!o.preset) {
      std::cerr << "cumulex partition: name a setup file, or --preset to print the preset\n";
      return 2;
    }
    CorlettCoefsModule(*column);
    printTable(*column, "the preset", o.json);
    return 0;
  }

  const fs::path file = o.setup;
  Settings settings;
  const SetupReadResult r = readSetupFile(file, *column, settings);
  if (!r.ok) {
    std::cerr << "cumulex partition: " << r.message << '\n';
    return 2;
  }
  if (!o.preset) {
    printTable(*column, file.string(), o.json);
    return 0;
  }

  ConsolePort port(std::cerr, o.yes, nullptr, nullptr, false);
  if (!applyPartitionPreset(*column, port)) {
    std::cerr << "Nothing changed in " << file.string() << " (answer the question with --yes).\n";
    return 0;
  }
  if (const WriteStatus w = writeFileAtomically(file, setupText(*column, settings)); !w) {
    std::cerr << "cumulex partition: cannot write " << file.string() << " (" << w.reason
              << "); the file is as it was\n";
    return 1;
  }
  std::cerr << "The preset coefficients are now in " << file.string() << ".\n";
  return 0;
}

}  // namespace

void addPartitionCommand(CLI::App& app, int& exitCode) {
  auto o = std::make_shared<PartitionOptions>();
  auto* cmd = app.add_subcommand(
      "partition",
      "Partition coefficients: print those of a setup or the preset, or apply the preset");
  cmd->add_option("setup", o->setup, "Setup file (.cxd)");
  cmd->add_flag("--preset", o->preset,
                "Without a setup: print the preset.  With one: apply the preset to it");
  cmd->add_flag("--yes", o->yes, "Answer yes to the preset's question");
  cmd->add_flag("--json", o->json, "JSON output of the table");
  cmd->callback([o, &exitCode] { exitCode = partitionCommand(*o); });
}

}  // namespace cx::cli
