// A phase-equilibrium model with its own tables, options, diagnostics and a recording port.
#pragma once

#include <memory>

#include "solver/equilibrium_model.h"
#include "ui/recording_port.h"

namespace cx::test {

struct ModelFixture {
  const ThermoTables tables = loadThermoTables();
  const LiquidTables liquid = loadLiquidTables();
  ModelOptions options;
  RecordingDiagnostics diag;
  RecordingPort port;
  std::unique_ptr<EquilibriumModel> model;
  explicit ModelFixture(const ModelOptions& o = ModelOptions{}) : options(o) {
    model = std::make_unique<EquilibriumModel>(tables, liquid, options, diag, port);
  }
  SaturationContext& sat() { return *model->sat; }
};

}  // namespace cx::test
