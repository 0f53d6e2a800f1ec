// The subcommands of `cumulex`.  Each lives in its own cmd_<name>.cpp and registers itself here;
// a command returns its exit code through the callback it installs: 0 success, 1 the work
// stopped on an error, 2 bad arguments or input files.
#pragma once

#include <CLI/CLI.hpp>

namespace cx::cli {

// Each add* function adds one subcommand to `app`.  The exit code of the command that ran is
// written to `exitCode`.
void addRunCommands(CLI::App& app, int& exitCode);  // run, show, load
// (further commands are declared below, one line each)
void addThermoCommand(CLI::App& app, int& exitCode);       // thermo: standard-state database
void addLiquidCommand(CLI::App& app, int& exitCode);       // liquid: silicate liquid properties
void addSaturationCommand(CLI::App& app, int& exitCode);   // saturation: affinities of all phases
void addLiquidusCommand(CLI::App& app, int& exitCode);     // liquidus: first phase to saturate
void addEquilibrateCommand(CLI::App& app, int& exitCode);  // equilibrate: stable assemblage
void addPartitionCommand(CLI::App& app, int& exitCode);    // partition: coefficients, preset
#ifdef CUMULEX_PLOT_COMMAND
void addPlotCommand(CLI::App& app, int& exitCode);  // plot: the graphs to PNG, SVG, PDF (Qt builds)
#endif

}  // namespace cx::cli
