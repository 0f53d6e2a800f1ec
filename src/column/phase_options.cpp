#include "column/phase_options.h"

#include <initializer_list>

#include "column/names.h"

namespace cx::phase_options {

std::string excludeCaption(int phase) {
  // The second liquid's table name says little to a user; its box names what it is.
  if (phase == 38) return "Immiscible Liquid (lq2)";
  return std::string(PhaseNames[phase]) + " (" + std::string(PhaseAbbrevDefault[phase]) + ")";
}

void excludeClick(Array1<bool>& PhaseExcluded, int phase, bool ticked) {
  if (exclusionLocked(phase)) return;
  PhaseExcluded(phase) = ticked;
  if (ticked) return;
  auto untickOthers = [&](std::initializer_list<int> group) {
    for (int p : group)
      if (p != phase && !PhaseExcluded(p)) PhaseExcluded(p) = true;
  };
  switch (phase) {
    case 7:
    case 13:
      untickOthers({7, 13});
      break;
    case 6:
    case 12:
    case 17:
      untickOthers({6, 12, 17});
      break;
    default:
      break;
  }
}

std::string_view optionCaption(int phase) {
  switch (phase) {
    case 1: return "Olivine";
    case 2: return "Feldspars";
    case 6: return "Rhombohedral Oxide";
    case 7: return "Spinel";
    case 11: return "Garnet";
    case 12: return "Hem - Ilm";
    case 13: return "Mt - Usp";
    case 29: return "Gas";
    default: return {};
  }
}

std::string_view pyroxeneTip(int model) {
  switch (model) {
    case 1:
      return "If checked, opx uses 3 componet (en-fs-CaCr) based on 2 component (en-fs) activity "
             "model\nof Sack & Ghiorso, 1989, and cpx uses a 2 component(di-hd) ideal activity "
             "model.";
    case 2:
      return "Opx and cpx use the quadrilateral component (en-fs-di-hd) activity model of Sack & "
             "Ghiorso, 1989";
    case 3: return "Opx and cpx use the eight component activity model of Sack & Ghiorso, 1989";
    default: return {};
  }
}

std::string rightClickText(int phase) {
  switch (phase) {
    case 1: return "Olivine uses the 2 component (fo-fa) activity model of Sack & Ghiorso, 1989.";
    case 2:
      return "If checked, plagioclase uses a 2 component(an-ab) activity model, Kspar a one "
             "component (or) activity model.\n  If unchecked, Plagioclase and Kspar are both three "
             "component (an-ab-or).\n  Activity model = Elkins & Grove, 1990";
    case 4: return "Opx uses the fixed 2 component (en-fs) activity model of Sack & Ghiorso, 1989";
    case 5:
      return "If checked, cpx uses a 2 component(di-hd) ideal activity model.\n  If unchecked, cpx "
             "uses the 4 component (di-hd-en-fs) activity model of Sack and Ghiorso, 1989.";
    case 6:
      return "If checked rhombohedral oxide uses a 4 component ideal activity model.\n  If "
             "unchecked, rhombohedral oxide uses the 4 component model of Sack and Ghiorso.";
    case 7:
      return "If checked, spinel uses an ideal 8 component activity model.\n  If unchecked, spinel "
             "uses the 8 component model of Sack and Ghiorso.";
    case 11:
      return "If checked, garnet uses an ideal 3 component (gr-py-alm) activity model.\n  If "
             "unchecked, garnet uses the 3 component(gr-py-alm) model of Ganguly et al. 1996.";
    case 12:
      return "If checked rhombohedral oxide uses a 2 component (hem-ilm) ideal activity model.\n  "
             "If unchecked, rhopmbohedral oxide uses the 2 component (hem-ilm) model of Sack and "
             "Ghiorso.";
    case 13:
      return "If checked, spinel uses an ideal 2 component (mt-usp) activity model.\n  If "
             "unchecked, spinel uses the 2 component (mt-usp) model of Sack and Ghiorso.";
    case 29:
      return "If checked, gas uses a 3 component (H2O-CO2-H2S) activity model.\n  If unchecked, "
             "gas uses a 6 component (H2O-CO2-H2S-CO-SO2-CH4) activity model.\n  For both, "
             "endmembers use EOS of Dual et al., mixing is otherwise ideal.";
    default: return {};
  }
}

ActivityChoice displayedChoice(const Array1<bool>& ActivityFlags, int PyroxeneModel) {
  ActivityChoice c;
  c.pyroxeneModel = PyroxeneModel;
  for (int p : kListedPhases)
    if (p != 1) c.ticked[p] = ActivityFlags(p);
  return c;
}

ActivityChoice defaultChoice() {
  ActivityChoice c;
  c.pyroxeneModel = 1;
  for (int p : kListedPhases)
    if (p != 1) c.ticked[p] = true;
  return c;
}

void applyChoice(const ActivityChoice& choice, Array1<bool>& ActivityFlags, int& PyroxeneModel) {
  PyroxeneModel = choice.pyroxeneModel;
  if (PyroxeneModel == 1) {
    ActivityFlags(4) = false;
    ActivityFlags(5) = true;
  } else {
    ActivityFlags(4) = ActivityFlags(5) = false;
  }
  ActivityFlags(2) = ActivityFlags(3) = choice.ticked[2];
  for (int p : {6, 7, 11, 12, 13, 29}) ActivityFlags(p) = choice.ticked[p];
  ActivityFlags(1) = false;
}

}  // namespace cx::phase_options
