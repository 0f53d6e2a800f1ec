// Partition coefficients: the preset table and the operation that applies it.
//
// The coefficients live in the column (DCoef(phase, element)); the preset writes the phases and
// elements it covers and leaves every other entry as it was.  The question and the warning are
// the program's own words, shared by every front end so that each asks them the same way.
#pragma once

#include <string_view>

#include "base/port.h"
#include "column/column.h"

namespace cx {

inline constexpr std::string_view kPresetQuestion =
    "Do you wish to use the partition coefficients of Anne Corlett"
    "    for applicable phases and elements?";
inline constexpr std::string_view kBigDDisabledWarning =
    "BigD calculation option has been disabled!!!"
    "  Program will use constant values for coefficients."
    "  Reset in the Trace Element window if you wish to reactivate BigD.";

// Writes the preset coefficients into DCoef; entries the preset does not name keep their value.
void CorlettCoefsModule(Column& column);

// The preset as a command offers it: asks kPresetQuestion; on yes, when the variable
// coefficients are on (BigDFlags(0) False), warns with kBigDDisabledWarning and turns them off,
// since the preset's constants would otherwise be overwritten, then applies the preset.
// Returns whether the preset was applied.
bool applyPartitionPreset(Column& column, Port& port);

}  // namespace cx
