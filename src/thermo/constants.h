// Physical constants shared by the thermodynamic models.
#pragma once

namespace cx {

// The gas constant as the models were fitted with it, J/mol/K (not the CODATA 8.314462...).
inline constexpr double kGasConstant = 8.3143;

}  // namespace cx
