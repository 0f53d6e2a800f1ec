#include "column/settings.h"

#include <cmath>
#include <limits>

#include "base/fault.h"
#include "base/text_format.h"
#include "base/vb.h"
#include "column/names.h"

namespace cx {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// Range and restore value of each MiscForm field.  The form defaults that the form leaves blank
// (11, 14, 17) are the values a new user needs: save every iteration, no far field, equilibrate
// every iteration.
struct MiscRule {
  const char* defaultText;
  double lo, hi;
  const char* restore;  // nullptr: the cooling-rate fields restore the current rate
};
constexpr std::array<MiscRule, misc::kCount> kMiscRules = {{
    {"0.60", 0.0, 0.99, "0.6"},          // 0 initial liquid fraction
    {"1.00E-02", 0.0, kInf, "0.01"},     // 1 diffusivity
    {"2000.00", -kInf, 2500.0, "2500"},  // 2 maximum T top
    {"2000.00", -kInf, 2500.0, "2500"},  // 3 maximum T bottom
    {"500.00", 0.0, kInf, "0"},          // 4 minimum T top
    {"500.00", 0.0, kInf, "0"},          // 5 minimum T bottom
    {"-0.01000", -kInf, kInf, nullptr},  // 6 T step top
    {"-0.01000", -kInf, kInf, nullptr},  // 7 T step bottom
    {"0.01", -kInf, kInf, "0.01"},       // 8 entropy error
    {"0.10000", 0.0, 1.0, "1.0"},        // 9 time step multiplier
    {"0.10", 0.01, 0.9, "0.1"},          // 10 min F(liq) for equilibration
    {"1", 1.0, 100.0, "1.0"},            // 11 save interval
    {"1.00", -10.0, 100.0, "1.0"},       // 12 vapor velocity parameter
    {"0.90", 0.01, 0.99, "0.9"},         // 13 F(liq) for drip
    {"0", 0.0, 3.0, "0"},                // 14 far-field thickness
    {"800.00", 0.0, 2500.0, "300"},      // 15 far-field T top
    {"800.00", -kInf, kInf, "300"},      // 16 far-field T bottom
    {"1", -kInf, kInf, "1"},             // 17 iterations between equilibrations
}};

constexpr std::array<const char*, compact::kCount> kCompactDefaults = {
    "0.95", "0.05", "0.3", "5e14", "11.0", "0.0015", "0.3"};
constexpr std::array<const char*, compact::kCount> kCompactRepairs = {
    "0.60", "0.10", "0.30", "5e14", "11.00", "0.0015", "0.30"};

void checkIndex(int k, int count) {
  if (k < 0 || k >= count) raiseFault(kFaultSubscript);
}

// The format of a MiscForm field; empty for the fields that keep the text as typed.
std::string_view miscFormat(int k) {
  switch (k) {
    case misc::kDiffusivity:
      return "scientific";
    case misc::kTStepTop:
    case misc::kTStepBottom:
      return "0.00000";
    case misc::kSaveInterval:
    case misc::kFarfieldThickness:
    case misc::kEquilibrationEvery:
      return {};
    default:
      return "Fixed";
  }
}

// How an accepted MiscForm value is shown again.
std::string reformatMisc(int k, double v, std::string_view text) {
  const std::string_view format = miscFormat(k);
  return format.empty() ? trim(text) : formatNumber(v, format);
}

std::string reformatCompact(int k, double v) {
  if (k == compact::kMinLiquidFraction) return formatNumber(v, "0.0000");
  if (k == compact::kSolidViscosity || k == compact::kPermeability)
    return formatNumber(v, "scientific");
  return formatNumber(v, "fixed");
}

FieldCheck refuse(std::string restore) {
  return FieldCheck{false, std::move(restore), std::string(kIllegalValue)};
}

}  // namespace

std::string_view miscDefaultText(int k) {
  checkIndex(k, misc::kCount);
  return kMiscRules[static_cast<std::size_t>(k)].defaultText;
}
std::string_view compactDefaultText(int k) {
  checkIndex(k, compact::kCount);
  return kCompactDefaults[static_cast<std::size_t>(k)];
}
std::string_view compactRepairText(int k) {
  checkIndex(k, compact::kCount);
  return kCompactRepairs[static_cast<std::size_t>(k)];
}

Settings::Settings() {
  for (int k = 0; k < misc::kCount; ++k) misc_[static_cast<std::size_t>(k)] = miscDefaultText(k);
  for (int k = 0; k < compact::kCount; ++k)
    compact_[static_cast<std::size_t>(k)] = compactDefaultText(k);
}

const std::string& Settings::miscText(int k) const {
  checkIndex(k, misc::kCount);
  return misc_[static_cast<std::size_t>(k)];
}
void Settings::setMiscText(int k, std::string text) {
  checkIndex(k, misc::kCount);
  misc_[static_cast<std::size_t>(k)] = std::move(text);
}
double Settings::misc(int k) const {
  return val(miscText(k));
}
std::string Settings::miscShownText(int k) const {
  const std::string& text = miscText(k);
  const std::optional<double> v = toNumber(text);
  const std::string_view format = miscFormat(k);
  if (!v || format.empty()) return trim(text);
  return formatExact(*v, format);
}

const std::string& Settings::compactText(int k) const {
  checkIndex(k, compact::kCount);
  return compact_[static_cast<std::size_t>(k)];
}
void Settings::setCompactText(int k, std::string text) {
  checkIndex(k, compact::kCount);
  compact_[static_cast<std::size_t>(k)] = std::move(text);
}
double Settings::compact(int k) const {
  return val(compactText(k));
}

double Settings::compactionLength() const {
  const double a = compact(compact::kGrainRadiusMm) * 0.1;
  const double eta = compact(compact::kSolidViscosity) * 10.0;
  const double mu = compact(compact::kLiquidViscosity) * 10.0;
  return checkedSqrt(checkedDiv(eta * compact(compact::kPermeability), mu)) * a;
}

double Settings::compactionTimeScaleDays() const {
  const double a = compact(compact::kGrainRadiusMm) * 0.1;
  const double eta = compact(compact::kSolidViscosity) * 10.0;
  const double mu = compact(compact::kLiquidViscosity) * 10.0;
  const double dr = compact(compact::kDensityDifference);
  return checkedDiv(checkedSqrt(eta * mu), a * 980.0 * dr) / 86400.0;
}

double Settings::compactionVelocity() const {
  const double a = compact(compact::kGrainRadiusMm) * 0.1;
  const double mu = compact(compact::kLiquidViscosity) * 10.0;
  const double dr = compact(compact::kDensityDifference);
  return checkedDiv(dr * 980.0 * compact(compact::kPermeability) * a * a, mu);
}

FieldCheck Settings::checkMiscField(int k, std::string_view text, double currentRate) const {
  checkIndex(k, misc::kCount);
  const MiscRule& rule = kMiscRules[static_cast<std::size_t>(k)];
  const std::optional<double> v = toNumber(text);
  if (!v || *v < rule.lo || *v > rule.hi) {
    if (rule.restore == nullptr) return refuse(formatNumber(currentRate * 86400.0, "#0.00000"));
    return refuse(rule.restore);
  }
  return FieldCheck{true, reformatMisc(k, *v, text), {}};
}

FieldCheck Settings::checkCompactField(int k, std::string_view text) const {
  checkIndex(k, compact::kCount);
  const std::optional<double> v = toNumber(text);
  if (!v || *v < 0.0) return refuse(std::string(compactDefaultText(k)));
  return FieldCheck{true, reformatCompact(k, *v), {}};
}

FieldCheck Settings::checkNonNegativeField(std::string_view text, std::string_view restore) {
  const std::optional<double> v = toNumber(text);
  if (!v || *v < 0.0) return refuse(std::string(restore));
  return FieldCheck{true, formatNumber(*v, "Fixed"), {}};
}

FieldCheck Settings::checkDiffusionField(std::string_view text, std::string_view restore) {
  const std::optional<double> v = toNumber(text);
  if (!v) return refuse(std::string(restore));
  return FieldCheck{true, formatNumber(*v, "scientific"), {}};
}

FieldCheck Settings::checkBulkField(int k, std::string_view text, std::string_view restore,
                                    int numNodes) {
  checkIndex(k, bulk::kCount);
  const std::optional<double> v = toNumber(text);
  const auto refused = [&] { return refuse(std::string(restore)); };
  if (!v) return refused();
  const double x = *v;
  switch (k) {
    case bulk::kNodeT:
      // The setup file holds node temperatures up to 3273.15 K.
      if (x < 273.15 || x > 3000.0) return refused();
      return FieldCheck{true, formatExact(x, "Fixed"), {}};
    case bulk::kLengthM:
      if (x <= 0.0 || x > 1e7) return refused();  // the file holds up to 1E+09 cm
      return FieldCheck{true, formatExact(x, "Fixed"), {}};
    case bulk::kPressure:
      if (x <= 0.0 || x > 100000.0) return refused();
      return FieldCheck{true, formatExact(x, "Fixed"), {}};
    case bulk::kTTop:
    case bulk::kTBottom:
      if (x < 600.0 || x > 2000.0) return refused();
      return FieldCheck{true, formatExact(x, "Fixed"), {}};
    case bulk::kNumNodes:
      // A count of 1 would be read back as 10 (the repair of old files), so a column has two
      // nodes or more.
      if (x < 2.0 || x > kMaxNodes || x != std::floor(x)) return refused();
      return FieldCheck{true, std::to_string(static_cast<int>(x)), {}};
    default:  // bulk::kNode
      if (x < 1.0 || x > numNodes || x != std::floor(x)) return refused();
      return FieldCheck{true, std::to_string(static_cast<int>(x)), {}};
  }
}

FieldCheck Settings::checkCompositionField(std::string_view text, std::string_view restore) {
  const std::optional<double> v = toNumber(text);
  if (!v || *v < 0.0 || !std::isfinite(*v)) return refuse(std::string(restore));
  return FieldCheck{true, formatExact(*v, "Fixed"), {}};
}

FieldCheck Settings::checkPartitionField(std::string_view text, std::string_view restore) {
  const std::optional<double> v = toNumber(text);
  if (!v || *v < 0.0 || *v > 100000.0) return refuse(std::string(restore));
  return FieldCheck{true, formatExact(*v, kPartitionFormat), {}};
}

FieldCheck Settings::checkInflationField(int k, std::string_view text, std::string_view restore,
                                         double initialHeightM) {
  checkIndex(k, inflation::kCount);
  const std::optional<double> v = toNumber(text);
  if (k == inflation::kFinalHeight && v && *v <= initialHeightM)
    return FieldCheck{false, std::string(restore),
                      std::string(kIllegalValue) + std::string(inflation::kHeightMessage)};
  if (!v || *v < 0.0 || !std::isfinite(*v)) return refuse(std::string(restore));
  // An iteration is a count: a whole one shows without decimals.
  return FieldCheck{true, formatExact(*v, k == inflation::kStart ? "0" : "Fixed"), {}};
}

FieldCheck Settings::editMiscField(int k, std::string_view text, double currentRate) {
  FieldCheck c = checkMiscField(k, text, currentRate);
  setMiscText(k, c.text);
  return c;
}

FieldCheck Settings::editCompactField(int k, std::string_view text) {
  FieldCheck c = checkCompactField(k, text);
  setCompactText(k, c.text);
  return c;
}

namespace diffusion {

int MassBalanceOx(const Array2<double>& MassDiffCoef) {
  for (int k = 1; k <= MassDiffCoef.rowHi(); ++k)
    if (MassDiffCoef(k, k) == 0.0) return k;
  return kSiO2;
}

int UpdateDiffusion(Array2<double>& MassDiffCoef) {
  const int k = MassBalanceOx(MassDiffCoef);
  MassDiffCoef(k, k) = 0.0;
  return k;
}

}  // namespace diffusion

}  // namespace cx
