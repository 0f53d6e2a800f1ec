#include "trace/partition_preset.h"

#include "column/names.h"
#include "trace/data/partition_preset_table.h"

namespace cx {

namespace {

constexpr int elementNumber(std::string_view symbol) {
  for (int k = 1; k <= kTraces; ++k)
    if (TraceNames[static_cast<std::size_t>(k)] == symbol) return k;
  return 0;
}

// The table is checked against the phase and element orders when the program is compiled.
constexpr bool presetMatchesTheOrders() {
  for (const auto& p : trace_data::kCorlettPreset) {
    if (p.phase < 1 || p.phase > kPhases) return false;
    if (PhaseNames[static_cast<std::size_t>(p.phase)] != p.name) return false;
    for (const auto& e : p.coefficients)
      if (elementNumber(e.element) == 0) return false;
  }
  return true;
}
static_assert(presetMatchesTheOrders(), "preset names a phase or element out of order");

}  // namespace

void CorlettCoefsModule(Column& c) {
  for (const auto& p : trace_data::kCorlettPreset)
    for (const auto& e : p.coefficients) c.DCoef(p.phase, elementNumber(e.element)) = e.d;
}

bool applyPartitionPreset(Column& c, Port& port) {
  if (!port.askYesNo(kPresetQuestion)) return false;
  if (!c.BigDFlags(0)) {
    port.showMessage(kBigDDisabledWarning);
    c.BigDFlags(0) = true;
  }
  CorlettCoefsModule(c);
  return true;
}

}  // namespace cx
