#include <CLI/CLI.hpp>

#include "commands.h"

int main(int argc, char** argv) {
  CLI::App app{"Cumulex: a magma column that cools, crystallizes and differentiates"};
  app.require_subcommand(1);
  int exitCode = 0;
  cx::cli::addRunCommands(app, exitCode);
  // (further commands are added below, one line each)
  cx::cli::addThermoCommand(app, exitCode);
  cx::cli::addLiquidCommand(app, exitCode);
  cx::cli::addSaturationCommand(app, exitCode);
  cx::cli::addLiquidusCommand(app, exitCode);
  cx::cli::addEquilibrateCommand(app, exitCode);
  cx::cli::addPartitionCommand(app, exitCode);
#ifdef CUMULEX_PLOT_COMMAND
  cx::cli::addPlotCommand(app, exitCode);
#endif
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int code = app.exit(e);
    return code == 0 ? 0 : 2;
  }
  return exitCode;
}
