// The interaction of dissolved sulfide (FeS) with each liquid component, J/mol, in component
// order 1 to 15.
#pragma once

#include <array>

#include "thermo/data/table_sizes.h"

namespace cx::thermo_data {

// clang-format off

inline constexpr std::array<double, kNumLiquidComponents> kLiquidSulfurTable = {{
    55400.0, 27800.0, 13200.0, -360000.0, 0.0, -90000.0, 0.0, 66900.0, 43800.0, -7790.0, 4500.0,
    0.0, 0.0, 0.0, 0.0,
}};

// clang-format on

}  // namespace cx::thermo_data
