#include "persist/setup_file.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <sstream>

#include "base/text_format.h"
#include "base/vb.h"
#include "persist/files.h"
#include "persist/text_reader.h"
#include "thermo/constants.h"

namespace cx {
namespace {

constexpr std::string_view kTitle =
    "Data from reaction-transport program (NiO and CoO not currently used):";
constexpr std::string_view kMassDHeader =
    "      ,    Si,    Ti,    Al,  Fe+3,    Cr,  Fe+2,    Mn,    Mg"
    ",    Ca,    Na,     K,     P,   H2O,   CO2,     S";

// A line builder: pieces joined as the print statements join them.
class Lines {
 public:
  Lines& operator<<(std::string_view s) {
    text_ += s;
    return *this;
  }
  void end() { text_ += kEol; }
  void line(std::string_view s) {
    text_ += s;
    end();
  }
  std::string str() const { return text_; }

 private:
  std::string text_;
};

template <class Get>
std::string joined(int lo, int hi, std::string_view sep, Get get) {
  std::string s;
  for (int i = lo; i <= hi; ++i) {
    if (i > lo) s += sep;
    s += get(i);
  }
  return s;
}

std::string padded(std::string_view name, std::size_t width) {
  std::string s(name);
  if (s.size() < width) s.append(width - s.size(), ' ');
  return s;
}

std::string flagWord(bool b) {
  return formatBool(b);
}
std::string checkValue(int v) {
  return std::to_string(v);
}

}  // namespace

std::string setupText(const Column& c, const Settings& s) {
  Lines out;
  out.line(kTitle);
  out << flagWord(s.optionInfiltrate) << ", " << flagWord(s.optionCompact);
  out.end();
  out << formatNumber(c.TopCoolRate * kSecondsPerDay, "###.0000000") << ","
      << formatNumber(c.BottomCoolRate * kSecondsPerDay, "###.0000000") << ","
      << formatNumber(c.InfiltrantT, "Fixed") << "," << formatExact(c.TopPressure, "Fixed") << ","
      << formatNumber(c.InfiltrantS, "Fixed") << "," << formatNumber(c.InfiltrantRho, "###.000000");
  out.end();
  out << flagWord(s.optionUseFirstLiq) << ", " << flagWord(s.optionUseListed);
  out.end();
  out.line(printZones({std::to_string(c.NumNodes), formatExact(c.FluxRate, "#.000000000"),
                       formatExact(c.Length, "Fixed"),
                       formatNumber(s.misc(misc::kTimeStepMultiplier), "0.00000")}));
  out.line("Activity model flags:");
  out.line(joined(1, kPhases, ", ", [&](int p) { return flagWord(c.ActivityFlags(p)); }));
  out.line("");
  out.line("Infiltrant");
  out.line(joined(1, kOxides, ", ",
                  [&](int j) { return formatExact(c.InfiltrantOx(j), "###.00000"); }));
  out.line("");
  out.line("Infiltrant trace element concentrations:");
  out.line(joined(1, kTraces, ", \t", [&](int t) { return std::string(TraceNames[t]); }));
  out.line(joined(1, kTraces, ",\t",
                  [&](int t) { return formatExact(c.InfiltrantTrace(t), "fixed"); }));
  out.line("");
  out.line("");
  for (int n = 1; n <= c.NumNodes; ++n) {
    out << formatExact(c.InitT(n), "fixed") << ", " << joined(1, kOxides, ", ", [&](int j) {
      return formatExact(c.InitBulkOx(n, j), "###.00000");
    });
    out.end();
    out.line(joined(1, kTraces, ", ",
                    [&](int t) { return formatExact(c.InitBulkTrace(n, t), "fixed"); }));
  }
  out.line("");
  out.line("Phase                       Exclude");
  for (int p = 1; p <= kPhases; ++p) {
    out << padded(PhaseNames[p], 15) << "," << formatBool(c.PhaseExcluded(p));
    out.end();
  }
  out.line("");
  out.line("Distribution coefficients:");
  out << "Phase           ";
  for (int t = 1; t <= kTraces; ++t) out << TraceNames[t] << "\t";
  out.end();
  for (int p = 1; p <= kPhases; ++p) {
    out << padded(PhaseNames[p], 15) << ","
        << joined(1, kTraces, ",\t", [&](int t) { return formatExact(c.DCoef(p, t), "fixed"); });
    out.end();
  }
  out.line("");
  out.line("Compaction parameters:");
  for (int k = 0; k < compact::kCount; ++k) out << s.compactText(k) << ",  ";
  out << checkValue(s.chkConstantRho) << ",  " << checkValue(s.chkConstantVis);
  out.end();
  out.line("");
  out.line("Miscellaneous Options");
  out << flagWord(s.optionDisplace) << ", " << flagWord(s.optionMix);
  out.end();
  out << flagWord(s.OptionDrip) << ", " << formatExact(s.misc(misc::kFLiqForDrip), "fixed") << ", "
      << flagWord(s.optionLocal) << ", " << flagWord(s.optionBottomAccum) << ", "
      << formatExact(s.misc(misc::kInitialLiquidFraction), "fixed");
  out.end();
  for (int k = 1; k <= 17; ++k) {
    switch (k) {
      case 1:
      case 6:
      case 7:
      case 9:
        out.line(formatExact(s.misc(k), "scientific"));
        break;
      case 11:
      case 14:
      case 17:
        out.line(trim(s.miscText(k)));
        break;
      default:
        out.line(formatExact(s.misc(k), "fixed"));
    }
  }
  out.line("");
  out.line("BigD Flags:");
  out.line(joined(0, 14, ", ", [&](int k) { return flagWord(c.BigDFlags(k)); }));
  for (int k = 1; k <= 3; ++k) out.line(formatPlain(c.BigDTi(k)));
  out.line("");
  out.line("Graphic window options:");
  for (int g = 1; g <= 4; ++g) out.line(s.GraphSelect[static_cast<std::size_t>(g)]);
  out.line(s.comboTraceSelect);
  out.line(s.comboOxideSelect);
  out.line("");
  out.line("Run Options:");
  const RunOptions& r = s.run;
  for (int v :
       {r.chkSkipEquilibration, r.chkSkipTDiffusion, r.chkSkipMassDiffusion, r.chkSkipAdvection,
        r.chkSkipCompaction, r.chkSkipGas, r.chkSkipFarfield, r.chkTTop, r.chkTBottom,
        r.chkSkipTrace, r.chkSkipVolumeCorrection, r.chkSkipInterpolate, r.chkPauseOnError})
    out.line(checkValue(v));
  out.line("Mass D coefficients (diagonal only)");
  out.line(kMassDHeader);
  for (int i = 1; i <= kOxides; ++i) {
    out << OxideNames[i] << ", " << joined(1, kOxides, ", ", [&](int j) {
      return formatExact(c.MassDiffCoef(i, j), "scientific");
    });
    out.end();
  }
  out << "Soret flag, " << checkValue(s.chkUseSoret);
  out.end();
  for (int i = 1; i <= kOxides; ++i) {
    out << OxideNames[i] << ", " << formatExact(c.SoretCoef(i), "scientific");
    out.end();
  }
  out << "D(trace-liq), " << formatNumber(val(s.traceDiffusionText), "scientific");
  out.end();
  out << "D(gas), " << formatNumber(val(s.gasDiffusionText), "scientific");
  out.end();
  out << "Inflation values, " << checkValue(s.chkInflate) << ", ";
  for (int k = 1; k <= 5; ++k)
    out << formatNumber(c.InflationScalars(k), k < 5 ? "###.00000" : "fixed") << ", ";
  out << s.inflationTargetText << ", " << flagWord(s.optFillCenter) << ", "
      << flagWord(s.optFillTop);
  out.end();
  out.line(
      joined(1, kOxides, ", ", [&](int j) { return formatExact(c.InflationOx(j), "###.00000"); }));
  out.line(joined(1, kTraces, ", \t", [&](int t) { return std::string(TraceNames[t]); }));
  out.line(
      joined(1, kTraces, ",\t", [&](int t) { return formatExact(c.InflationTrace(t), "fixed"); }));
  out.line("");
  out.line(formatNumber(c.SetupClosingValue, "fixed"));
  return out.str();
}

namespace {

// Reads a field that a form shows as text but that must hold a number.
std::string readNumericText(TextReader& in, const std::string& field) {
  const int line = in.line();
  std::string t = trim(in.readString(field));
  if (!t.empty() && !isNumeric(t))
    throw InputError(in.fileName(), line, field, "expected a number, found '" + excerpt(t) + "'");
  return t.empty() ? "0" : t;
}

// Scales a composition to 100 wt %.  A sum already at 100 within the file's five decimals is
// left alone: rescaling it would only move last decimals, and every save would differ from the
// one before.
void scaleTo100(Array1<double>& ox) {
  scaleOxidesTo100(ox);
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char ch) { return static_cast<char>(std::tolower(ch)); });
  return lower;
}

// Selects the name the text holds, ignoring case: the name itself when the text is one, else the
// first name of the list that the text contains.  (Searching by containment alone would turn
// "Yb" into "Y".)
template <std::size_t N>
std::string selectByName(const std::string& text, const std::array<std::string_view, N>& names) {
  const std::string lower = lowerCase(text);
  for (std::size_t i = 1; i < N; ++i)
    if (lowerCase(names[i]) == lower) return std::string(names[i]);
  for (std::size_t i = 1; i < N; ++i)
    if (lower.find(lowerCase(names[i])) != std::string::npos) return std::string(names[i]);
  return text;
}

// The physical ranges a setup's values must lie in before anything is replaced by it: a value
// outside makes a column that cannot be equilibrated, found only after the working copy and the
// history were given up for it.
inline constexpr double kMinNodeTK = 100.0 + kKelvinOffset, kMaxNodeTK = 3000.0 + kKelvinOffset;
inline constexpr double kMaxTopPressureBar = 100000.0;
inline constexpr double kMaxLengthCm = 1e9;  // ten thousand kilometres

// Reads one number of a record and checks it lies within lo..hi (`what` says the range in words).
double readInRange(TextReader& in, const std::string& field, double lo, double hi,
                   const char* what) {
  const int line = in.line();
  const double v = in.readNumber(field);
  if (!(v >= lo && v <= hi))
    throw InputError(in.fileName(), line, field,
                     formatPlain(v) + " is out of range: " + std::string(what));
  return v;
}

// A name at the head of a table row, which must be the one the row belongs to.
void readRowName(TextReader& in, std::string_view expected, const std::string& field) {
  const int line = in.line();
  const std::string name = trim(in.readString(field));
  if (lowerCase(name) != lowerCase(trim(std::string(expected))))
    throw InputError(in.fileName(), line, field,
                     "expected '" + trim(std::string(expected)) + "', found '" + excerpt(name) +
                         "'");
}

std::string traceNamesLine(std::string_view sep) {
  return joined(1, kTraces, sep, [&](int t) { return std::string(TraceNames[t]); });
}

}  // namespace

SetupReadResult parseSetup(const std::string& text, const std::string& fileName, Column& column,
                           Settings& settings) {
  SetupReadResult result;
  // Work on copies: a file that fails half-way leaves what was loaded before intact.
  Column c = column;
  Settings s = settings;
  try {
    TextReader in(text, fileName);
    // Defaults before reading.
    c.InfiltrantS = c.InfiltrantRho = 0.0;
    c.DeltaX = 1.0;
    c.PhaseOrder.erase();

    in.expectLine(kTitle, "title");
    in.beginRecord(2, "optionInfiltrate, optionCompact");
    s.optionInfiltrate = in.readBool("optionInfiltrate");
    s.optionCompact = in.readBool("optionCompact");
    in.endRecord();
    in.beginRecord(6, "cooling rates, infiltrant T, top pressure, infiltrant S and density");
    c.TopCoolRate = in.readNumber("TopCoolRate") / kSecondsPerDay;
    c.BottomCoolRate = in.readNumber("BottomCoolRate") / kSecondsPerDay;
    c.InfiltrantT = in.readNumber("InfiltrantT");
    c.TopPressure = readInRange(in, "TopPressure", std::numeric_limits<double>::min(),
                                kMaxTopPressureBar, "the top pressure is above 0 and at most "
                                                    "100000 bar");
    c.InfiltrantS = in.readNumber("InfiltrantS");
    c.InfiltrantRho = in.readNumber("InfiltrantRho");
    in.endRecord();
    in.beginRecord(2, "optionUseFirstLiq, optionUseListed");
    s.optionUseFirstLiq = in.readBool("optionUseFirstLiq");
    s.optionUseListed = in.readBool("optionUseListed");
    in.endRecord();
    in.beginRecord(4, "NumNodes, FluxRate, Length, time step multiplier");
    const int nodeLine = in.line();
    int nodes = in.readInt("NumNodes");
    c.FluxRate = in.readNumber("FluxRate");
    c.Length = readInRange(in, "Length", std::numeric_limits<double>::min(), kMaxLengthCm,
                           "the column length is above 0 and at most 1E+09 cm");
    s.setMiscText(misc::kTimeStepMultiplier, formatNumber(in.readNumber("tbInput(9)"), "0.00000"));
    in.endRecord();
    // A file made before the nodes were set says 1: it is taken as 10 nodes.
    if (nodes == 1) nodes = 10;
    if (nodes < 1 || nodes > kMaxNodes)
      throw InputError(fileName, nodeLine, "NumNodes",
                       "the number of nodes must be 1 to " + std::to_string(kMaxNodes) +
                           ", found " + std::to_string(nodes));
    c.NumNodes = nodes;
    c.LengthR8 = c.Length;
    c.DeltaX = c.Length / c.NumNodes;
    c.DimensionArrays(s);

    in.expectLine("Activity model flags:", "Activity model flags heading");
    in.beginRecord(kPhases, "the activity model flags of the 38 phases");
    for (int p = 1; p <= kPhases; ++p)
      c.ActivityFlags(p) = in.readBool("ActivityFlags(" + std::to_string(p) + ")");
    in.endRecord();
    // Phase-model rows follow from these flags; the thermodynamic tables rebuild them when a
    // run starts.

    in.expectLine("", "blank line");
    in.expectLine("Infiltrant", "Infiltrant heading");
    in.beginRecord(kOxides, "the 15 infiltrant oxides");
    for (int j = 1; j <= kOxides; ++j)
      c.InfiltrantOx(j) = readInRange(in, "InfiltrantOx(" + std::string(OxideNames[j]) + ")", 0.0,
                                      1e6, "an oxide is 0 to 1E+06 wt %");
    in.endRecord();
    scaleTo100(c.InfiltrantOx);
    in.expectLine("", "blank line");
    in.expectLine("Infiltrant trace element concentrations:", "Infiltrant trace heading");
    in.expectLine(traceNamesLine(","), "trace element names");
    in.beginRecord(kTraces, "the 40 infiltrant trace element contents");
    for (int t = 1; t <= kTraces; ++t)
      c.InfiltrantTrace(t) =
          readInRange(in, "InfiltrantTrace(" + std::string(TraceNames[t]) + ")", 0.0,
                      std::numeric_limits<double>::max(), "a content is not negative");
    in.endRecord();
    in.expectLine("", "blank line");
    in.expectLine("", "blank line");

    for (int n = 1; n <= c.NumNodes; ++n) {
      const std::string node = "node " + std::to_string(n);
      in.beginRecord(1 + kOxides, "temperature and the 15 oxides of " + node + " of " +
                                      std::to_string(c.NumNodes));
      c.Temp(n) = readInRange(in, "temperature of " + node, kMinNodeTK, kMaxNodeTK,
                              "a node's temperature is 373.15 to 3273.15 K (100 to 3000 C)");
      c.InitT(n) = c.Temp(n);
      Array1<double> ox(1, kOxides);
      const int oxideLine = in.line();
      double sum = 0.0;
      for (int j = 1; j <= kOxides; ++j) {
        ox(j) = readInRange(in, std::string(OxideNames[j]) + " of " + node, 0.0, 1e6,
                            "an oxide is 0 to 1E+06 wt %");
        sum += ox(j);
      }
      in.endRecord();
      if (!(sum > 0.0))
        throw InputError(fileName, oxideLine, "oxides of " + node,
                         "the bulk composition is empty (all oxides 0)");
      scaleTo100(ox);  // only the bulk oxides are normalized, and only a sum above 0
      for (int j = 1; j <= kOxides; ++j) c.InitBulkOx(n, j) = c.BulkOx(n, j) = ox(j);
      in.beginRecord(kTraces, "the 40 trace element contents of " + node);
      for (int t = 1; t <= kTraces; ++t)
        c.InitBulkTrace(n, t) =
            readInRange(in, std::string(TraceNames[t]) + " of " + node, 0.0,
                        std::numeric_limits<double>::max(), "a content is not negative");
      in.endRecord();
    }
    result.topT = c.Temp(c.NumNodes);
    result.bottomT = c.Temp(1);

    in.expectLine("", "blank line after the " + std::to_string(c.NumNodes) +
                          " nodes (is NumNodes right?)");
    in.expectLine("Phase                       Exclude", "Phase Exclude heading");
    for (int p = 1; p <= kPhases; ++p) {
      in.beginRecord(2, "phase name and its exclusion");
      readRowName(in, PhaseNames[p], "phase name " + std::to_string(p));
      c.PhaseExcluded(p) = in.readBool("Exclude of " + std::string(PhaseNames[p]));
      in.endRecord();
    }
    // NephelineSS and LeuciteSS are never used, whatever the file says.
    c.PhaseExcluded(8) = c.PhaseExcluded(9) = true;

    in.expectLine("", "blank line");
    in.expectLine("Distribution coefficients:", "Distribution coefficients heading");
    in.expectLine("Phase" + traceNamesLine(""), "Distribution coefficients names");
    for (int p = 1; p <= kPhases; ++p) {
      in.beginRecord(1 + kTraces, "phase name and its 40 partition coefficients");
      readRowName(in, PhaseNames[p], "phase name " + std::to_string(p));
      for (int t = 1; t <= kTraces; ++t) {
        const double d = in.readNumber("DCoef(" + std::string(PhaseNames[p]) + ", " +
                                       std::string(TraceNames[t]) + ")");
        c.DCoef(p, t) = std::clamp(d, 0.0, 100000.0);
      }
      in.endRecord();
    }

    in.expectLine("", "blank line");
    in.expectLine("Compaction parameters:", "Compaction parameters heading");
    in.beginRecord(compact::kCount + 2, "the compaction fields and two check boxes");
    for (int k = 0; k < compact::kCount; ++k) {
      const std::string t = readNumericText(in, "txtbxInput(" + std::to_string(k) + ")");
      const double v = val(t);
      if (v <= 0.0) {
        s.setCompactText(k, std::string(compactRepairText(k)));
      } else if (k == compact::kMinLiquidFraction) {
        // Exact when the form's digits would lose the value: a small positive fraction must not
        // come back as zero, which the next read would replace by the default.
        s.setCompactText(k, formatExact(v, "0.0000"));
      } else if (k == compact::kSolidViscosity || k == compact::kPermeability) {
        s.setCompactText(k, formatExact(v, "scientific"));
      } else {
        s.setCompactText(k, formatExact(v, "fixed"));
      }
    }
    s.chkConstantRho = in.readInt("chkConstantRho");
    s.chkConstantVis = in.readInt("chkConstantVis");
    in.endRecord();

    in.expectLine("", "blank line");
    in.expectLine("Miscellaneous Options", "Miscellaneous Options heading");
    in.beginRecord(2, "optionDisplace, optionMix");
    s.optionDisplace = in.readBool("optionDisplace");
    s.optionMix = in.readBool("optionMix");
    in.endRecord();
    in.beginRecord(5, "OptionDrip, drip liquid fraction, optionLocal, optionBottomAccum, "
                      "initial liquid fraction");
    s.OptionDrip = in.readBool("OptionDrip");
    s.setMiscText(misc::kFLiqForDrip, readNumericText(in, "tbInput(13)"));
    s.optionLocal = in.readBool("optionLocal");
    s.optionBottomAccum = in.readBool("optionBottomAccum");
    s.setMiscText(misc::kInitialLiquidFraction, readNumericText(in, "tbInput(0)"));
    in.endRecord();
    for (int k = 1; k <= 17; ++k) {
      in.beginRecord(1, "miscellaneous field " + std::to_string(k));
      std::string t = readNumericText(in, "tbInput(" + std::to_string(k) + ")");
      in.endRecord();
      if (k == misc::kFarfieldTTop || k == misc::kFarfieldTBottom)
        t = formatNumber(val(t), "fixed");
      s.setMiscText(k, t);
    }
    c.TopCoolRate = s.misc(misc::kTStepTop) / kSecondsPerDay;
    c.BottomCoolRate = s.misc(misc::kTStepBottom) / kSecondsPerDay;
    c.DimensionFarfield(s);

    in.expectLine("", "blank line");
    in.expectLine("BigD Flags:", "BigD Flags heading");
    in.beginRecord(15, "the 15 BigD flags");
    for (int k = 0; k <= 14; ++k)
      c.BigDFlags(k) = in.readBool("BigDFlags(" + std::to_string(k) + ")");
    in.endRecord();
    for (int k = 1; k <= 3; ++k) {
      in.beginRecord(1, "BigDTi(" + std::to_string(k) + ")");
      c.BigDTi(k) = in.readNumber("BigDTi(" + std::to_string(k) + ")");
      in.endRecord();
    }
    in.expectLine("", "blank line");
    in.expectLine("Graphic window options:", "Graphic window options heading");
    for (int g = 1; g <= 4; ++g)
      s.GraphSelect[static_cast<std::size_t>(g)] =
          trim(in.readLine("GraphSelect(" + std::to_string(g) + ")"));
    s.comboTraceSelect = selectByName(trim(in.readLine("comboTraceSelect")), TraceNames);
    s.comboOxideSelect = selectByName(trim(in.readLine("comboOxideSelect")), OxideNames);

    in.expectLine("", "blank line (after the six graph choices)");
    in.expectLine("Run Options:", "Run Options heading");
    RunOptions& r = s.run;
    for (auto [field, name] : {std::pair{&r.chkSkipEquilibration, "chkSkipEquilibration"},
                               {&r.chkSkipTDiffusion, "chkSkipTDiffusion"},
                               {&r.chkSkipMassDiffusion, "chkSkipMassDiffusion"},
                               {&r.chkSkipAdvection, "chkSkipAdvection"},
                               {&r.chkSkipCompaction, "chkSkipCompaction"},
                               {&r.chkSkipGas, "chkSkipGas"},
                               {&r.chkSkipFarfield, "chkSkipFarfield"},
                               {&r.chkTTop, "chkTTop"},
                               {&r.chkTBottom, "chkTBottom"},
                               {&r.chkSkipTrace, "chkSkipTrace"},
                               {&r.chkSkipVolumeCorrection, "chkSkipVolumeCorrection"},
                               {&r.chkSkipInterpolate, "chkSkipInterpolate"},
                               {&r.chkPauseOnError, "chkPauseOnError"}}) {
      in.beginRecord(1, name);
      *field = in.readInt(name);
      in.endRecord();
    }

    in.expectLine("Mass D coefficients (diagonal only)", "Mass D coefficients heading");
    in.expectLine(kMassDHeader, "Mass D header");
    for (int i = 1; i <= kOxides; ++i) {
      in.beginRecord(1 + kOxides, "oxide name and its 15 mass diffusion coefficients");
      readRowName(in, OxideNames[i], "oxide name of mass diffusion row " + std::to_string(i));
      for (int j = 1; j <= kOxides; ++j)
        c.MassDiffCoef(i, j) = in.readNumber("MassDiffCoef(" + std::to_string(i) + ", " +
                                             std::to_string(j) + ")");
      in.endRecord();
    }
    c.UpdateDiffusionOrder();

    in.beginRecord(2, "Soret flag");
    readRowName(in, "Soret flag", "Soret flag");
    s.chkUseSoret = in.readInt("chkUseSoret");
    in.endRecord();
    for (int i = 1; i <= kOxides; ++i) {
      in.beginRecord(2, "oxide name and its Soret coefficient");
      readRowName(in, OxideNames[i], "oxide name of Soret row " + std::to_string(i));
      c.SoretCoef(i) = in.readNumber("SoretCoef(" + std::string(OxideNames[i]) + ")");
      in.endRecord();
    }
    in.beginRecord(2, "D(trace-liq)");
    readRowName(in, "D(trace-liq)", "D(trace-liq)");
    s.traceDiffusionText = formatNumber(in.readNumber("D(trace-liq)"), "scientific");
    in.endRecord();
    in.beginRecord(2, "D(gas)");
    readRowName(in, "D(gas)", "D(gas)");
    s.gasDiffusionText = formatNumber(in.readNumber("D(gas)"), "scientific");
    in.endRecord();
    in.beginRecord(10, "Inflation values");
    readRowName(in, "Inflation values", "Inflation values");
    s.chkInflate = in.readInt("chkInflate");
    for (int k = 1; k <= 5; ++k)
      c.InflationScalars(k) = in.readNumber("inflation value " + std::to_string(k));
    s.inflationTargetText = trim(in.readString("InflationForm tbInput(3)"));
    s.optFillCenter = in.readBool("optFillCenter");
    s.optFillTop = in.readBool("optFillTop");
    in.endRecord();
    in.beginRecord(kOxides, "the 15 inflation oxides");
    for (int j = 1; j <= kOxides; ++j)
      c.InflationOx(j) = readInRange(in, "InflationOx(" + std::string(OxideNames[j]) + ")", 0.0,
                                     1e6, "an oxide is 0 to 1E+06 wt %");
    in.endRecord();
    in.expectLine(traceNamesLine(","), "trace element names");
    in.beginRecord(kTraces, "the 40 inflation trace element contents");
    for (int t = 1; t <= kTraces; ++t)
      c.InflationTrace(t) =
          readInRange(in, "InflationTrace(" + std::string(TraceNames[t]) + ")", 0.0,
                      std::numeric_limits<double>::max(), "a content is not negative");
    in.endRecord();
    // The closing value: kept only in this file; an empty or missing one reads as 0.
    c.SetupClosingValue = 0.0;
    if (!in.atEnd()) {
      in.expectLine("", "blank line");
      if (!in.atEnd()) {
        in.beginRecord(1, "closing value");
        c.SetupClosingValue = in.readNumber("closing value");
        in.endRecord();
      }
    }
  } catch (const InputError& e) {
    result.ok = false;
    result.message = e.what();
    return result;
  } catch (const Fault& f) {
    result.ok = false;
    result.message = fileName + ": " + f.what();
    return result;
  }
  c.InitialNeeded = true;
  column = std::move(c);
  settings = std::move(s);
  result.ok = true;
  result.nodeCount = column.NumNodes;
  return result;
}

WriteStatus WriteSetupFile(const std::filesystem::path& folder, const Column& column,
                           const Settings& settings) {
  return writeFileAtomically(folder / std::string(kSetupFileName), setupText(column, settings));
}

bool WriteSetup(const std::filesystem::path& folder, const Column& column,
                const Settings& settings) {
  return WriteSetupFile(folder, column, settings).ok;
}

SetupReadResult readSetupFile(const std::filesystem::path& file, Column& column,
                              Settings& settings) {
  const FileText f = readTextFile(file, kMaxSetupFileBytes);
  if (!f.text) {
    SetupReadResult r;
    r.missing = f.missing;
    r.message = file.string() + ": " + f.problem;
    return r;
  }
  return parseSetup(*f.text, file.string(), column, settings);
}

SetupReadResult ReadSetup(const std::filesystem::path& folder, Column& column, Settings& settings,
                          Port& port) {
  port.setModuleId("Reloading initial data...");
  const auto path = folder / std::string(kSetupFileName);
  SetupReadResult r = readSetupFile(path, column, settings);
  if (r.missing) {
    r.message =
        "The file 'CXsetup.cxd' cannot be found....\n   Check all input values for correctness!";
    port.showMessage(r.message);
    return r;
  }
  if (!r.ok) return r;
  port.setLabel("Title", " CUmulex [CXsetup.cxd]");
  port.plotResults();
  port.setLabel("lblVwater",
                vwaterLabel(vaporVelocity(column, settings, VaporVelocityAt::SetupRead), 1e-8));
  return r;
}

SetupReadResult openSetup(const std::filesystem::path& folder, const std::filesystem::path& file,
                          Column& column, Settings& settings, Port& port) {
  // Parse and check first: a bad file must not replace the working copy.
  SetupReadResult r = readSetupFile(file, column, settings);
  if (r.missing) {
    r.message = " No file found!";
    port.showMessage(r.message + " (" + file.string() + ")");
    return r;
  }
  if (!r.ok) return r;
  // The working copy is written again at once, so that it carries the reader's repairs.
  if (const WriteStatus w = WriteSetupFile(folder, column, settings); !w) {
    r.ok = false;
    r.message = "File error! (" + std::string(kSetupFileName) + ": " + w.reason + ")";
    port.showMessage(r.message);
    return r;
  }
  port.setLabel("Title", "Cumulex [" + file.filename().string() + "]");
  return r;
}

bool saveSetupAs(const std::filesystem::path& folder, const std::filesystem::path& file,
                 const Column& column, const Settings& settings, Port& port) {
  if (!WriteSetup(folder, column, settings)) {
    port.showMessage("File error!");
    return false;
  }
  const auto text = readWholeFile(folder / std::string(kSetupFileName));
  if (!text || !writeFileAtomically(file, *text)) {
    port.showMessage("File error!");
    return false;
  }
  port.setLabel("Title", " CUmulex [" + file.filename().string() + "]");
  return true;
}

}  // namespace cx
