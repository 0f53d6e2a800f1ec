#include "persist/snapshot.h"

#include "base/text_format.h"
#include "persist/files.h"

namespace cx {

std::string snapshotText(const Column& c) {
  // The filled slots of PhaseOrder name the phase mass columns.
  int slots = 0;
  while (slots < kPhaseOrderSize && c.PhaseOrder(slots + 1) > 0) ++slots;
  std::string out;
  auto cell = [&](const std::string& s) {
    out += s;
    out += '\t';
  };
  auto endRow = [&] {
    if (!out.empty() && out.back() == '\t') out.pop_back();
    out += kEol;
  };
  // Three heading rows: the names, a row of dashes, and the units row left as dashes too.
  for (int row = 0; row < 3; ++row) {
    const bool names = row == 0;
    auto head = [&](const std::string& s) { cell(names ? s : "----"); };
    head("Node");
    head("T(°C)");
    head("P(bar)");
    for (int j = 1; j <= kOxides; ++j) head("Liq-" + std::string(OxideNames[j]));
    for (int k = 1; k <= slots; ++k)
      head("Mass: " + std::string(PhaseAbbrevDefault[static_cast<std::size_t>(c.PhaseOrder(k))]));
    head("Mass Gas");
    head("TotalSolid");
    for (int j = 1; j <= kOxides; ++j) head("Sol-" + std::string(OxideNames[j]));
    endRow();
  }
  for (int i = 1; i <= c.NumNodes; ++i) {
    cell(std::to_string(i));
    cell(formatNumber(c.Temp(i) - kKelvinOffset, "fixed"));
    cell(formatNumber(c.Press(i), "fixed"));
    for (int j = 1; j <= kOxides; ++j) cell(formatNumber(c.LiqOx(i, j), "0.0000"));
    // PhaseMass is cumulative over PhaseOrder: each slot minus the one before is one phase.
    for (int k = 1; k <= slots; ++k)
      cell(formatNumber(c.PhaseMass(i, k) - (k > 1 ? c.PhaseMass(i, k - 1) : 0.0), "0.0000"));
    cell(formatNumber(c.MassWater(i), "0.0000"));
    cell(formatNumber(c.PhaseMass(i, kPhaseOrderSize), "0.0000"));
    for (int j = 1; j <= kOxides; ++j) cell(formatNumber(c.SolidOx(i, j), "0.0000"));
    endRow();
  }
  return out;
}

bool WriteSnapshot(const std::filesystem::path& folder, const Column& column) {
  return writeFileAtomically(folder / (std::to_string(column.Iteration) + ".tab"),
                             snapshotText(column))
      .ok;
}

}  // namespace cx
