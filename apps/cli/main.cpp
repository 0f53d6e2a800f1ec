#include <CLI/CLI.hpp>

int main(int argc, char** argv) {
  CLI::App app{"Cumulex: a magma column that cools, crystallizes and differentiates"};
  app.require_subcommand(1);
  CLI11_PARSE(app, argc, argv);
  return 0;
}
