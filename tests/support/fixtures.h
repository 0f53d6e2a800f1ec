// Shared test fixtures: a small ready-to-run column and a scratch working folder.
#pragma once

#include <filesystem>
#include <random>
#include <string>

#include "column/column.h"
#include "column/settings.h"

namespace cx::test {

// A scratch folder under the system's temporary folder, removed when the object goes.
class ScratchFolder {
 public:
  explicit ScratchFolder(const std::string& name) {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() /
            ("cumulex-test-" + name + "-" + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~ScratchFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// A basaltic column of `nodes` nodes at `tempC`, 10 m long, that runs with thermal diffusion only
// (its initial state is solved; equilibration and every transport of mass are switched off).
inline void makeBasaltColumn(Column& c, Settings& s, int nodes, double tempC = 1200.0) {
  c.NumNodes = nodes;
  c.Length = c.LengthR8 = 1000.0;
  c.DeltaX = c.Length / nodes;
  c.TopPressure = 1000.0;
  s.setMiscText(misc::kFarfieldThickness, "0");
  s.setMiscText(misc::kFarfieldTTop, std::to_string(tempC));
  s.setMiscText(misc::kFarfieldTBottom, std::to_string(tempC));
  c.DimensionArrays(s);
  const double ox[16] = {0,   50.5, 1.7, 14.7, 1.0,  0.04, 9.5, 0.18,
                         7.6, 11.4, 2.8, 0.16, 0.18, 0.2,  0.0, 0.1};
  for (int i = 1; i <= nodes; ++i) {
    c.Temp(i) = c.InitT(i) = tempC + kKelvinOffset;
    for (int j = 1; j <= kOxides; ++j) c.InitBulkOx(i, j) = ox[j];
    for (int t = 1; t <= kTraces; ++t) c.InitBulkTrace(i, t) = 1.0 + t;
  }
  s.run = RunOptions{};
  s.run.chkSkipEquilibration = 1;
  s.run.chkSkipMassDiffusion = 1;
  s.run.chkSkipAdvection = 1;
  s.run.chkSkipTrace = 1;
  s.run.chkSkipFarfield = 1;
  s.optionCompact = true;
  s.optionInfiltrate = false;
  s.optionDisplace = true;
  s.optionMix = false;
  s.setMiscText(misc::kSaveInterval, "1");
  s.setMiscText(misc::kTStepTop, "-1.0");
  c.TopCoolRate = -1.0 / kSecondsPerDay;
  c.BottomCoolRate = 0.0;
}

}  // namespace cx::test
