// The run parameters that live in form fields, as one object.
//
// The fields keep their text, as a form does, and are read at each use: an edit made while a run
// waits takes effect at the next read.  Indices stay visible (misc(9) is the time step
// multiplier) with named constants beside them.  The check of a field (checkMiscField, ...) is
// the same for every front end: a value that is not a number or leaves its range is refused with
// "Illegal value entered!" and the field's listed value is restored; an accepted value is
// reformatted.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "base/array.h"

namespace cx {

// MiscForm tbInput(k).
namespace misc {
inline constexpr int kInitialLiquidFraction = 0;  // FLiqMin2, "Initial liquid fraction"
inline constexpr int kDiffusivity = 1;            // thermal diffusivity, cm2/s
inline constexpr int kMaxTTop = 2;                // °C
inline constexpr int kMaxTBottom = 3;
inline constexpr int kMinTTop = 4;
inline constexpr int kMinTBottom = 5;
inline constexpr int kTStepTop = 6;     // °C/day: TopCoolRate * 86400
inline constexpr int kTStepBottom = 7;  // °C/day: BottomCoolRate * 86400
inline constexpr int kEntropyError = 8;
inline constexpr int kTimeStepMultiplier = 9;
inline constexpr int kMinFLiqEquilibration = 10;
inline constexpr int kSaveInterval = 11;
inline constexpr int kVaporVelocity = 12;
inline constexpr int kFLiqForDrip = 13;
inline constexpr int kFarfieldThickness = 14;
inline constexpr int kFarfieldTTop = 15;     // °C
inline constexpr int kFarfieldTBottom = 16;  // °C
inline constexpr int kEquilibrationEvery = 17;
inline constexpr int kCount = 18;
}  // namespace misc

// CompactForm txtbxInput(k).
namespace compact {
inline constexpr int kMaxLiquidFraction = 0;
inline constexpr int kMinLiquidFraction = 1;
inline constexpr int kGrainRadiusMm = 2;
inline constexpr int kSolidViscosity = 3;     // Pa s
inline constexpr int kLiquidViscosity = 4;    // Pa s
inline constexpr int kPermeability = 5;       // Ko
inline constexpr int kDensityDifference = 6;  // g/cc
inline constexpr int kCount = 7;
}  // namespace compact

// BulkForm tbinput(k): the fields of the column as a whole and of the node shown.
namespace bulk {
inline constexpr int kNodeT = 0;     // °C, the temperature of the node shown
inline constexpr int kLengthM = 1;   // "Total Length (m)"
inline constexpr int kPressure = 2;  // "Pressure (bars, top)"
inline constexpr int kTTop = 3;      // °C, "T (top)", for a uniform gradient
inline constexpr int kTBottom = 4;   // °C, "T (bottom)"
inline constexpr int kNumNodes = 5;  // "Number of nodes"
inline constexpr int kNode = 6;      // the node shown
inline constexpr int kCount = 7;
}  // namespace bulk

// InflationForm tbInput(k).
namespace inflation {
inline constexpr int kT = 0;            // °C, the temperature of the inflating magma
inline constexpr int kRate = 1;         // m/yr, the rate at which the column grows
inline constexpr int kStart = 2;        // the iteration at which inflation starts
inline constexpr int kFinalHeight = 3;  // m, the final column height
inline constexpr int kCount = 4;
inline constexpr std::string_view kHeightMessage =
    " Value must be larger that inital column height.";
}  // namespace inflation

// The check boxes of the main form that steer a run (value 1 = checked).
struct RunOptions {
  int chkSkipEquilibration = 1;
  int chkSkipTDiffusion = 0;
  int chkSkipMassDiffusion = 1;
  int chkSkipAdvection = 1;
  int chkSkipCompaction = 1;
  int chkSkipGas = 1;
  int chkSkipFarfield = 1;
  int chkTTop = 0;
  int chkTBottom = 1;
  int chkSkipTrace = 1;
  int chkSkipVolumeCorrection = 1;
  int chkSkipInterpolate = 0;
  int chkPauseOnError = 0;
  int chkConstantT = 0;  // "Fixed T, not S": not saved with the setup
  bool operator==(const RunOptions&) const = default;
};

// The outcome of a field check.
struct FieldCheck {
  bool accepted = false;
  std::string text;     // what the field shows now: the reformatted value or the restored one
  std::string message;  // empty when accepted, else the text of the message box
};

// How a partition coefficient is shown: plain decimals, every digit of a preset's 0.00036 or
// 0.0002 kept (a coefficient that needs more shows its shortest exact text).
inline constexpr std::string_view kPartitionFormat = "0.00##########";

class Settings {
 public:
  Settings();

  // MiscForm tbInput(k), 0..17: the text and its numeric value (the value the text reads as).
  const std::string& miscText(int k) const;
  void setMiscText(int k, std::string text);
  double misc(int k) const;
  // What the field shows of the value it holds, in the field's own format (the one an accepted
  // value takes), with every digit kept: a setup file writes some fields "scientific"
  // ("-1.00E+00"), which the form shows as "-1.00000".  A text that is no number shows as it is.
  std::string miscShownText(int k) const;

  // CompactForm txtbxInput(k), 0..6.
  const std::string& compactText(int k) const;
  void setCompactText(int k, std::string text);
  double compact(int k) const;

  // The characteristic values CompactForm shows (SetScaledValues): the compaction length in
  // cm, the compaction time in days (lblTimeScale) and the compaction velocity in cm/s
  // (lblVelocity).  Raise a fault on a zero divisor, as a form would when computing them.
  double compactionLength() const;
  double compactionTimeScaleDays() const;
  double compactionVelocity() const;

  // The field checks.  `currentRate` is the present TopCoolRate or BottomCoolRate (K/s), which
  // the cooling-rate fields restore on failure.
  FieldCheck checkMiscField(int k, std::string_view text, double currentRate = 0.0) const;
  FieldCheck checkCompactField(int k, std::string_view text) const;
  // Fields that only need a number of at least 0 (oxides, traces, infiltrant, inflation).
  static FieldCheck checkNonNegativeField(std::string_view text, std::string_view restore);
  // Diffusion coefficients: a number, shown "scientific".
  static FieldCheck checkDiffusionField(std::string_view text, std::string_view restore);

  // BulkForm tbinput(k).  `restore` is the text the field showed before the edit; `numNodes`
  // bounds the node shown (kNode).  Temperatures and pressure stay within what the setup file
  // reads back; the node count is a whole number of 2 to kMaxNodes.
  static FieldCheck checkBulkField(int k, std::string_view text, std::string_view restore,
                                   int numNodes);
  // Oxides (wt %) and trace contents (ppm): a number of at least 0, shown "Fixed" unless that
  // would change the value typed (then its shortest exact text).
  static FieldCheck checkCompositionField(std::string_view text, std::string_view restore);
  // PartitionCoefsForm tbInput: a coefficient of 0 to 100000 (the range the setup file keeps),
  // shown "fixed" unless that would change it.
  static FieldCheck checkPartitionField(std::string_view text, std::string_view restore);
  // InflationForm tbInput(k): at least 0; the final height (kFinalHeight, m) must exceed the
  // initial column height `initialHeightM`, else the message names that rule.
  static FieldCheck checkInflationField(int k, std::string_view text, std::string_view restore,
                                        double initialHeightM);

  // Applies a check to the field: on success the reformatted text is stored.
  FieldCheck editMiscField(int k, std::string_view text, double currentRate = 0.0);
  FieldCheck editCompactField(int k, std::string_view text);

  // Run mode ("Run Constraint"): liquid infiltrates from below, or the pile compacts.
  bool optionInfiltrate = false;
  bool optionCompact = true;
  // Whether the run moves mass that way: the mode chosen and advection not skipped (compaction
  // also not skipped).
  bool compacting() const {
    return optionCompact && run.chkSkipCompaction == 0 && run.chkSkipAdvection == 0;
  }
  bool infiltrating() const { return optionInfiltrate && run.chkSkipAdvection == 0; }
  // "Mixing behavior"
  bool optionDisplace = true;
  bool optionMix = false;
  // "Magma crystallization behavior"
  bool OptionDrip = false;
  bool optionLocal = true;
  bool optionBottomAccum = false;
  RunOptions run;
  // CompactForm options
  int chkConstantRho = 0;
  int chkConstantVis = 0;
  // InfiltrantForm: the inflow is the listed composition or the bottom node's liquid
  bool optionUseFirstLiq = false;
  bool optionUseListed = true;
  // InflationForm
  int chkInflate = 0;
  std::string inflationTargetText = "0";  // InflationForm tbInput(3)
  bool optFillCenter = false;
  bool optFillTop = true;
  // SetupDiffusionForm
  int chkUseSoret = 0;
  std::string traceDiffusionText = "1.00E-07";  // txtbxOxide(31), D(trace-liq)
  std::string gasDiffusionText = "0.00E+00";    // txtbxOxide(32), D(gas)
  // Graph choices and the selections of the trace and oxide lists
  std::array<std::string, 5> GraphSelect = {"", "Temperature", "Liquid Fraction",
                                            "Oxide wt % - Liquid", "Mass - Phases"};
  std::string comboTraceSelect = "La";
  std::string comboOxideSelect = "MgO";
  // OptionsForm: 1 Simple, 2 Quadrilateral Components, 3 8 Components
  int PyroxeneModel = 1;

  bool operator==(const Settings&) const = default;

 private:
  std::array<std::string, misc::kCount> misc_;
  std::array<std::string, compact::kCount> compact_;
};

// The listed form defaults.
std::string_view miscDefaultText(int k);
std::string_view compactDefaultText(int k);
// The defaults ReadSetup puts in a compaction field that reads as zero or less.
std::string_view compactRepairText(int k);

inline constexpr std::string_view kIllegalValue = "Illegal value entered!";

// SetupDiffusionForm: the liquid mass diffusion coefficients.  Only the diagonal of the matrix
// counts.  One oxide is never diffused: its liquid content closes each node to 100 wt %.
namespace diffusion {
inline constexpr int kSiO2 = 1;
// MassBalanceOx, the oxide found by mass balance: the first oxide whose diagonal coefficient is
// zero; with none at zero, SiO2.
int MassBalanceOx(const Array2<double>& MassDiffCoef);
// UpdateDiffusion: applies the rule to the table (with no zero coefficient SiO2's is set to zero)
// and returns MassBalanceOx, the row the form highlights.
int UpdateDiffusion(Array2<double>& MassDiffCoef);
// The texts the form shows on opening, one line each.
inline constexpr std::array<std::string_view, 8> kFormTexts = {
    "Enter or edit diffusion and optional soret coefficients at left.",
    "Off-diagonal diffusion coefficients are not currently implimented.",
    "One component (e.g., SiO2) must be set to zero. ",
    "This one component, highlighted in red, is calculated by mass balance.",
    "If none are set to zero, then the diffusion coefficient for SiO2 ",
    "is set to zero and SiO2 is calculated by mass balance.",
    "If more than one component is set to zero,",
    " then the first entered D = 0.0 component is found by mass balance."};
inline constexpr std::string_view kTraceDiffusionTip =
    "D for all trace elements - set to 0.0 to skip trace element diffusion";
inline constexpr std::string_view kSoretCaption = "Include Soret diffusion";
// The form's Soret coefficients, SiO2 to S.
inline constexpr std::array<double, 15> kSoretDefaults = {-0.0038, 0.0037, 0.0003, 0.0,   0.0,
                                                          0.0054,  0.0054, 0.0046, 0.003, -0.0033,
                                                          -0.0055, 0.0,    0.0,    0.0,   0.0};
}  // namespace diffusion

}  // namespace cx
