// The operator's shaping of the phase table: which phases may precipitate ("Excluded Phases") and
// which activity models the solid solutions use ("Mineral Activity Options").  The rules of the
// two dialogs live here so that every front end applies them alike; the dialogs only show them.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "base/array.h"

namespace cx::phase_options {

// --- Excluded phases -------------------------------------------------------------------------

inline constexpr std::string_view kExcludeTitle = "Excluded Phases";

// The caption of a phase's box: its name and abbreviation, "Olivine (ol)", "Mt-Usp (mt)".
std::string excludeCaption(int phase);

// NephelineSS and LeuciteSS are never used: their boxes are grayed and a click changes nothing.
inline bool exclusionLocked(int phase) {
  return phase == 8 || phase == 9;
}

// A click on the box of `phase`, which now shows `ticked`.  Alternative models of one mineral
// stay exclusive: Spinel and Mt-Usp (7, 13) are two models of the spinel group, Rhomb Oxide,
// Hem-Ilm and Ilmenite (6, 12, 17) of the rhombohedral oxides.  Unticking one of them lets it
// precipitate, so every other unticked member of its group is ticked; ticking changes nothing
// else.
void excludeClick(Array1<bool>& PhaseExcluded, int phase, bool ticked);

// --- Activity models -------------------------------------------------------------------------

inline constexpr std::string_view kOptionsTitle = "Mineral Activity Options";
inline constexpr std::string_view kPyroxeneFrame = "Pyroxenes";
inline constexpr std::string_view kModelsFrame = "Activity Models";
inline constexpr std::string_view kOptionsNote =
    "Right-click on mineral to see details of solid solution options.  Those in RED are phases "
    "currently excluded from precipitating.  Those not shown use ideal activity models.";
inline constexpr std::string_view kOptionsHeading =
    "Checked phases will use a simple solid solution model";
inline constexpr std::string_view kDefaultCaption = "Use &Default";
inline constexpr std::string_view kDefaultTip = "Resets solid solution models to default values.";
inline constexpr std::string_view kFixedModelTip =
    "This phase uses a fixed activity model: no options.";

// The phases the dialog lists, by index (the phase id), with their captions.  Olivine is listed
// but fixed: its box cannot be changed.
inline constexpr std::array<int, 8> kListedPhases = {1, 2, 6, 7, 11, 12, 13, 29};
std::string_view optionCaption(int phase);
inline bool optionFixed(int phase) {
  return phase == 1;
}

// The pyroxene models: 1 Simple, 2 Quadrilateral Components, 3 8 Components.
inline constexpr std::array<std::string_view, 4> kPyroxeneCaptions = {
    "", "Simple", "Quadrilateral Components", "8 Components"};
std::string_view pyroxeneTip(int model);

// The information shown on a right click on a phase (indices 1, 2, 4, 5, 6, 7, 11, 12, 13, 29;
// 4 and 5 are the two pyroxenes).  Empty for a phase without a text.
std::string rightClickText(int phase);

// What the dialog shows: the selected pyroxene model and the ticks of its boxes by phase id.
struct ActivityChoice {
  int pyroxeneModel = 1;
  std::array<bool, 39> ticked{};  // by phase id, only the listed ones count
  bool operator==(const ActivityChoice&) const = default;
};

// UpdateDisplay: the dialog's state from the flags.
ActivityChoice displayedChoice(const Array1<bool>& ActivityFlags, int PyroxeneModel);
// "Use Default": every box ticked and the simple pyroxene model.
ActivityChoice defaultChoice();
// "OK": the flags from the dialog.  The simple pyroxene model is the simple cpx with the fixed
// opx; the two larger models use no simple pyroxene.  Both feldspars follow one box.  Olivine
// never uses the simple model.
void applyChoice(const ActivityChoice& choice, Array1<bool>& ActivityFlags, int& PyroxeneModel);

}  // namespace cx::phase_options
