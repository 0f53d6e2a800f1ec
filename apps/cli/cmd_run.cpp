#include "commands.h"

namespace cx::cli {

void addRunCommands(CLI::App& app, int& exitCode) {
  auto* run = app.add_subcommand("run", "Run a column from a setup file (default: the embedded one)");
  run->callback([&exitCode] { exitCode = 0; });
}

}  // namespace cx::cli
