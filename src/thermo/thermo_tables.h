// The thermodynamic tables: the oxides, the liquid components, the endmember rows, the fluid
// species constants, the phases with their endmembers and stoichiometries, and the trace
// elements.  They are built once by the loaders from the data of thermo/data and are immutable
// afterwards; every model reads them through a const reference.  All arrays are 1-based, as the
// equations are written.
//
// The part of the phase tables that depends on the activity options (phases 2 to 5 and the
// number of gas species) is not kept here: UpdatePhaseConstants builds it as a value of its own
// (see phase_model_rows.h).  The phase arrays below hold the state before the options apply.
#pragma once

#include <string>

#include "base/array.h"
#include "thermo/data/table_sizes.h"

namespace cx {

// Moles of each liquid component in one mole of an endmember, by phase, endmember and liquid
// component; every access is bounds-checked (fault 9).
class StoichArray {
 public:
  StoichArray() = default;
  StoichArray(int phaseLo, int phaseHi) { redim(phaseLo, phaseHi); }
  void redim(int phaseLo, int phaseHi) {
    lo_ = phaseLo;
    hi_ = phaseHi;
    data_.redim(0, (phaseHi - phaseLo + 1) * kEnd * kComp - 1, 0.0);
  }
  int phaseLo() const noexcept { return lo_; }
  int phaseHi() const noexcept { return hi_; }
  double& operator()(int phase, int endmember, int component) {
    return data_.unchecked(index(phase, endmember, component));
  }
  double operator()(int phase, int endmember, int component) const {
    return data_.unchecked(index(phase, endmember, component));
  }
  bool operator==(const StoichArray&) const = default;

 private:
  static constexpr int kEnd = thermo_data::kMaxPhaseEndmembers;
  static constexpr int kComp = thermo_data::kNumLiquidComponents;
  int index(int p, int e, int c) const {
    if (p < lo_ || p > hi_ || e < 1 || e > kEnd || c < 1 || c > kComp)
      raiseFault(kFaultSubscript, "Subscript out of range: PhaseStoich(" + std::to_string(p) +
                                      ", " + std::to_string(e) + ", " + std::to_string(c) + ")");
    return ((p - lo_) * kEnd + (e - 1)) * kComp + (c - 1);
  }
  int lo_ = 1, hi_ = 0;
  Array1<double> data_;
};

struct ThermoTables {
  ThermoTables();

  // --- Oxides, 1..15 (names as fixed texts of 6 characters, padded with blanks) ------------
  Array1<std::string> OxideNames;
  Array1<double> OxideMW;

  // --- Liquid components, 1..15 ---------------------------------------------------------
  Array1<std::string> LiqFormula;
  Array1<double> LiqV, LiqTfus, LiqSfus, LiqCp, LiqdVdT, LiqdVdP, Liqd2VdTdP, Liqd2VdP2;

  // --- Endmember rows, 1..76 ------------------------------------------------------------
  Array1<std::string> EndmemberName, EndmemberFormula;
  Array1<double> EndmemberMW, H298, S298, V298;
  Array1<double> Cpk0, Cpk1, Cpk2, Cpk3;
  Array1<double> Vv1, Vv2, Vv3, Vv4;
  Array1<double> LambdaT, LambdaDH, LambdaL1, LambdaL2;

  // --- Fluid equation of state: molecular constants by position (1..10) and the binary
  // interaction parameters (10 by 10) ----------------------------------------------------
  Array1<double> DuanEps, DuanSigma;
  Array2<double> DuanK1, DuanK2;

  // --- Phases, 1..38, endmembers 1..15 (state before the activity options apply) ----------
  Array1<std::string> PhaseNames;   // fixed texts of 15 characters
  Array1<std::string> PhaseAbbrev;  // fixed texts of 3 characters
  Array1<int> PhaseEndCount;
  Array2<std::string> PhaseEndName;  // fixed texts of 5 characters
  Array2<int> PhaseEndIndex;         // row of the endmember table, 0 where there is none
  Array2<double> PhaseEndMW;
  StoichArray PhaseStoich;
  // The loader's defaults of the activity options: the simple model everywhere but olivine
  // and the low-Ca pyroxene.
  Array1<bool> ActivityFlags;

  // --- Trace elements, 1..40 --------------------------------------------------------------
  Array1<std::string> TraceNames;  // fixed texts of 2 characters
  Array1<int> TraceZ;
};

// Writes the oxides, the liquid components, the endmember rows and the fluid constants.
void ThermoConstantsModule(ThermoTables& tables);
// Writes the phase tables, the default activity flags and the trace elements.  Needs the
// endmember molecular weights, so it runs after ThermoConstantsModule.
void PhaseConstantsModule(ThermoTables& tables);

// Runs the loaders in their order and returns the finished tables.
ThermoTables loadThermoTables();

// A text cut or padded with blanks to a fixed width, as fixed-length strings hold it.
std::string fixedText(std::string_view text, std::size_t width);
// The text without its trailing blanks, for display.
std::string trimmedText(const std::string& text);

}  // namespace cx
