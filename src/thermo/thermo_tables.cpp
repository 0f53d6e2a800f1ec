#include "thermo/thermo_tables.h"

#include <algorithm>
#include <string_view>

#include "thermo/data/endmember_table.h"
#include "thermo/data/endmember_volume_table.h"
#include "thermo/data/fluid_constants_table.h"
#include "thermo/data/liquid_component_table.h"
#include "thermo/data/oxide_table.h"
#include "thermo/data/phase_table.h"
#include "thermo/data/trace_table.h"

namespace cx {

using namespace thermo_data;

ThermoTables::ThermoTables()
    : OxideNames(1, kNumOxides),
      OxideMW(1, kNumOxides),
      LiqFormula(1, kNumLiquidComponents),
      LiqV(1, kNumLiquidComponents),
      LiqTfus(1, kNumLiquidComponents),
      LiqSfus(1, kNumLiquidComponents),
      LiqCp(1, kNumLiquidComponents),
      LiqdVdT(1, kNumLiquidComponents),
      LiqdVdP(1, kNumLiquidComponents),
      Liqd2VdTdP(1, kNumLiquidComponents),
      Liqd2VdP2(1, kNumLiquidComponents),
      EndmemberName(1, kNumEndmemberRows),
      EndmemberFormula(1, kNumEndmemberRows),
      EndmemberMW(1, kNumEndmemberRows),
      H298(1, kNumEndmemberRows),
      S298(1, kNumEndmemberRows),
      V298(1, kNumEndmemberRows),
      Cpk0(1, kNumEndmemberRows),
      Cpk1(1, kNumEndmemberRows),
      Cpk2(1, kNumEndmemberRows),
      Cpk3(1, kNumEndmemberRows),
      Vv1(1, kNumEndmemberRows),
      Vv2(1, kNumEndmemberRows),
      Vv3(1, kNumEndmemberRows),
      Vv4(1, kNumEndmemberRows),
      LambdaT(1, kNumEndmemberRows),
      LambdaDH(1, kNumEndmemberRows),
      LambdaL1(1, kNumEndmemberRows),
      LambdaL2(1, kNumEndmemberRows),
      DuanEps(1, kNumFluidMolecules),
      DuanSigma(1, kNumFluidMolecules),
      DuanK1(1, kNumFluidMolecules, 1, kNumFluidMolecules, 1.0),
      DuanK2(1, kNumFluidMolecules, 1, kNumFluidMolecules, 1.0),
      PhaseNames(1, kNumPhases),
      PhaseAbbrev(1, kNumPhases),
      PhaseEndCount(1, kNumPhases),
      PhaseEndName(1, kNumPhases, 1, kMaxPhaseEndmembers),
      PhaseEndIndex(1, kNumPhases, 1, kMaxPhaseEndmembers),
      PhaseEndMW(1, kNumPhases, 1, kMaxPhaseEndmembers),
      PhaseStoich(1, kNumPhases),
      ActivityFlags(1, kNumPhases),
      TraceNames(1, kNumTraces),
      TraceZ(1, kNumTraces) {}

std::string fixedText(std::string_view text, std::size_t width) {
  std::string s(text.substr(0, std::min(width, text.size())));
  s.resize(width, ' ');
  return s;
}

std::string trimmedText(const std::string& text) {
  const auto end = text.find_last_not_of(' ');
  return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

void ThermoConstantsModule(ThermoTables& t) {
  for (int i = 1; i <= kNumOxides; ++i) {
    const auto& r = kOxideTable[static_cast<std::size_t>(i - 1)];
    t.OxideNames(i) = fixedText(r.name, 6);
    t.OxideMW(i) = r.mw;
  }
  for (int i = 1; i <= kNumLiquidComponents; ++i) {
    const auto& r = kLiquidComponentTable[static_cast<std::size_t>(i - 1)];
    t.LiqFormula(i) = std::string(r.formula);
    t.LiqV(i) = r.V;
    t.LiqTfus(i) = r.Tfus;
    t.LiqSfus(i) = r.Sfus;
    t.LiqCp(i) = r.Cp;
    t.LiqdVdT(i) = r.dVdT;
    t.LiqdVdP(i) = r.dVdP;
    t.Liqd2VdTdP(i) = r.d2VdTdP;
    t.Liqd2VdP2(i) = r.d2VdP2;
  }
  for (const auto& r : kEndmemberTable) {
    const int i = r.row;
    t.EndmemberName(i) = std::string(r.name);
    t.EndmemberFormula(i) = std::string(r.formula);
    t.EndmemberMW(i) = r.mw;
    t.H298(i) = r.H298;
    t.S298(i) = r.S298;
    t.V298(i) = r.V298;
    t.Cpk0(i) = r.k0;
    t.Cpk1(i) = r.k1;
    t.Cpk2(i) = r.k2;
    t.Cpk3(i) = r.k3;
  }
  for (const auto& r : kEndmemberVolumeTable) {
    const int i = r.row;
    t.Vv1(i) = r.v1;
    t.Vv2(i) = r.v2;
    t.Vv3(i) = r.v3;
    t.Vv4(i) = r.v4;
    t.LambdaT(i) = r.LambdaT;
    t.LambdaDH(i) = r.LambdaDH;
    t.LambdaL1(i) = r.LambdaL1;
    t.LambdaL2(i) = r.LambdaL2;
  }
  for (int i = 1; i <= kNumFluidMolecules; ++i) {
    t.DuanEps(i) = kFluidMoleculeTable[static_cast<std::size_t>(i - 1)].eps;
    t.DuanSigma(i) = kFluidMoleculeTable[static_cast<std::size_t>(i - 1)].sigma;
  }
  t.DuanK1.fill(1.0);
  t.DuanK2.fill(1.0);
  for (const auto& b : kFluidK1Table) t.DuanK1(b.i, b.j) = t.DuanK1(b.j, b.i) = b.value;
  for (const auto& b : kFluidK2Table) t.DuanK2(b.i, b.j) = t.DuanK2(b.j, b.i) = b.value;
}

void PhaseConstantsModule(ThermoTables& t) {
  t.PhaseEndName.fill(fixedText("", 5));
  t.PhaseEndIndex.fill(0);
  t.PhaseEndMW.fill(0.0);
  t.PhaseStoich = StoichArray(1, kNumPhases);  // zeroed first; the entries below are written
  for (const auto& p : kPhaseTable) {
    t.PhaseNames(p.phase) = fixedText(p.name, 15);
    t.PhaseAbbrev(p.phase) = fixedText(p.abbrev, 3);
    t.PhaseEndCount(p.phase) = p.endCount;
  }
  for (const auto& e : kPhaseEndmemberTable) {
    t.PhaseEndName(e.phase, e.slot) = fixedText(e.name, 5);
    t.PhaseEndIndex(e.phase, e.slot) = e.row;
    t.PhaseEndMW(e.phase, e.slot) = e.row > 0 ? t.EndmemberMW(e.row) : 0.0;
    for (const auto& term : e.terms)
      if (term.component != 0) t.PhaseStoich(e.phase, e.slot, term.component) = term.moles;
  }
  // The second liquid: its endmembers are the liquid components themselves.
  constexpr int kLiquid2 = kNumPhases;
  for (int i = 1; i <= kNumLiquidComponents; ++i) {
    t.PhaseEndName(kLiquid2, i) =
        fixedText(kLiquid2EndmemberNames[static_cast<std::size_t>(i - 1)], 5);
    t.PhaseStoich(kLiquid2, i, i) = 1.0;
  }
  t.ActivityFlags.fill(true);
  t.ActivityFlags(1) = false;
  t.ActivityFlags(4) = false;
  for (int i = 1; i <= kNumTraces; ++i) {
    t.TraceNames(i) = fixedText(kTraceTable[static_cast<std::size_t>(i - 1)].name, 2);
    t.TraceZ(i) = kTraceTable[static_cast<std::size_t>(i - 1)].Z;
  }
}

ThermoTables loadThermoTables() {
  ThermoTables t;
  ThermoConstantsModule(t);
  PhaseConstantsModule(t);
  return t;
}

}  // namespace cx
