// The rows of the phase tables that follow the activity options.
//
// The options (ActivityFlags by phase, PyroxeneModel 1 "Simple", 2 "Quadrilateral Components",
// 3 "8 Components") decide how many endmembers the feldspars (phases 2, 3), the pyroxenes
// (phases 4, 5) and the gas (phase 29) have, and which.  UpdatePhaseConstants builds these rows
// from the const tables and the options; the run's model options own the value and hand it to
// the solver, which reads the phase tables through a PhaseTable view of both.
#pragma once

#include <string>

#include "base/array.h"
#include "thermo/thermo_tables.h"

namespace cx {

inline constexpr int kFirstOptionPhase = 2;  // phases 2 to 5 are rebuilt from the options
inline constexpr int kLastOptionPhase = 5;

struct PhaseModelRows {
  PhaseModelRows();
  // The number of endmembers in use, for every phase 1..38.
  Array1<int> PhaseEndCount;
  // Endmember names, rows, molecular weights and stoichiometries of phases 2 to 5.
  Array2<std::string> PhaseEndName;
  Array2<int> PhaseEndIndex;
  Array2<double> PhaseEndMW;
  StoichArray PhaseStoich;
  bool operator==(const PhaseModelRows&) const = default;
};

// Builds the option-dependent rows.  activityFlags runs over phases 1..38; pyroxeneModel must
// be 1, 2 or 3 (anything else raises fault 5 naming the field).
PhaseModelRows UpdatePhaseConstants(const ThermoTables& tables, const Array1<bool>& activityFlags,
                                    int pyroxeneModel);

// The phase tables in force: the const tables with the option rows laid over phases 2 to 5 and
// the endmember counts.  A light view; both objects must outlive it.
class PhaseTable {
 public:
  PhaseTable(const ThermoTables& tables, const PhaseModelRows& rows)
      : tables_(&tables), rows_(&rows) {}
  int PhaseEndCount(int phase) const { return rows_->PhaseEndCount(phase); }
  const std::string& PhaseEndName(int phase, int e) const {
    return isOption(phase) ? rows_->PhaseEndName(phase, e) : tables_->PhaseEndName(phase, e);
  }
  int PhaseEndIndex(int phase, int e) const {
    return isOption(phase) ? rows_->PhaseEndIndex(phase, e) : tables_->PhaseEndIndex(phase, e);
  }
  double PhaseEndMW(int phase, int e) const {
    return isOption(phase) ? rows_->PhaseEndMW(phase, e) : tables_->PhaseEndMW(phase, e);
  }
  double PhaseStoich(int phase, int e, int component) const {
    return isOption(phase) ? rows_->PhaseStoich(phase, e, component)
                           : tables_->PhaseStoich(phase, e, component);
  }
  const std::string& PhaseNames(int phase) const { return tables_->PhaseNames(phase); }
  const std::string& PhaseAbbrev(int phase) const { return tables_->PhaseAbbrev(phase); }
  const ThermoTables& tables() const { return *tables_; }

 private:
  static bool isOption(int phase) {
    return phase >= kFirstOptionPhase && phase <= kLastOptionPhase;
  }
  const ThermoTables* tables_;
  const PhaseModelRows* rows_;
};

}  // namespace cx
