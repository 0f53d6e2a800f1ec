#include "persist/checkpoint.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <stdexcept>

#include "persist/output_file.h"

namespace cx {
namespace {

constexpr std::string_view kMagic = "Cumulex checkpoint 1";

// FNV-1a, 64 bits: a fingerprint of the block the checkpoint belongs to (not a defence against
// tampering, a check that the two files were written together).
std::uint64_t fingerprint(std::string_view text) {
  std::uint64_t h = 1469598103934665603ULL;
  for (unsigned char ch : text) {
    h ^= ch;
    h *= 1099511628211ULL;
  }
  return h;
}

std::string exact(double v) {
  char buf[64];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);  // shortest text that reads back
  return std::string(buf, r.ptr);
}

// Every member of the column that a run carries from one iteration to the next, by name.  The
// visitor sees each as (name, reference); the writer and the reader walk the same list.
template <class Column_, class Visit>
void forEachField(Column_& c, Visit&& v) {
  v("NumNodes", c.NumNodes);
  v("Length", c.Length);
  v("LengthR8", c.LengthR8);
  v("DeltaX", c.DeltaX);
  v("DeltaT", c.DeltaT);
  v("TotalTime", c.TotalTime);
  v("Iteration", c.Iteration);
  v("BottomNode", c.BottomNode);
  v("TopNode", c.TopNode);
  v("PileTop", c.PileTop);
  v("TopNode0", c.TopNode0);
  v("PileTop0", c.PileTop0);
  v("InitTop", c.InitTop);
  v("LastAddition", c.LastAddition);
  v("FluxRate", c.FluxRate);
  v("Vwater", c.Vwater);
  v("TopPressure", c.TopPressure);
  v("TopCoolRate", c.TopCoolRate);
  v("BottomCoolRate", c.BottomCoolRate);
  v("GrainRadius", c.GrainRadius);
  v("SolidVisc", c.SolidVisc);
  v("LiqViscConst", c.LiqViscConst);
  v("PermK0", c.PermK0);
  v("FLiqMin2", c.FLiqMin2);
  v("InfiltrantOx", c.InfiltrantOx);
  v("InfiltrantTrace", c.InfiltrantTrace);
  v("InfiltrantT", c.InfiltrantT);
  v("InfiltrantS", c.InfiltrantS);
  v("InfiltrantRho", c.InfiltrantRho);
  v("InflationOx", c.InflationOx);
  v("InflationTrace", c.InflationTrace);
  v("InflationScalars", c.InflationScalars);
  v("PhaseOrder", c.PhaseOrder);
  v("EqCount", c.EqCount);
  v("InitBulkOx", c.InitBulkOx);
  v("InitBulkTrace", c.InitBulkTrace);
  v("PhaseExcluded", c.PhaseExcluded);
  v("ActivityFlags", c.ActivityFlags);
  v("DCoef", c.DCoef);
  v("MassDiffCoef", c.MassDiffCoef);
  v("SoretCoef", c.SoretCoef);
  v("BigDFlags", c.BigDFlags);
  v("BigDTi", c.BigDTi);
  v("DiffusionOrder", c.DiffusionOrder);
  v("Temp", c.Temp);
  v("InitT", c.InitT);
  v("Press", c.Press);
  v("FLiq", c.FLiq);
  v("BulkOx", c.BulkOx);
  v("LiqOx", c.LiqOx);
  v("SolidOx", c.SolidOx);
  v("STotal", c.STotal);
  v("SLiq", c.SLiq);
  v("SSolid", c.SSolid);
  v("SWater", c.SWater);
  v("RhoWater", c.RhoWater);
  v("MassWater", c.MassWater);
  v("CpBulk", c.CpBulk);
  v("RhoLiq", c.RhoLiq);
  v("RhoSolid", c.RhoSolid);
  v("MassLiq", c.MassLiq);
  v("MassSolid", c.MassSolid);
  v("LiqVisc", c.LiqVisc);
  v("FO2", c.FO2);
  v("Vliquid", c.Vliquid);
  v("Vsolid", c.Vsolid);
  v("GridPoint", c.GridPoint);
  v("PhaseCount", c.PhaseCount);
  v("PhaseList", c.PhaseList);
  v("Xstable", c.Xstable);
  v("PhaseMass", c.PhaseMass);
  v("PhaseX", c.PhaseX);
  v("GasComp", c.GasComp);
  v("TraceLiq", c.TraceLiq);
  v("TraceSolid", c.TraceSolid);
  v("TraceBulk", c.TraceBulk);
  v("TraceGasPpm", c.TraceGasPpm);
  v("InitFLiq", c.InitFLiq);
  v("InitMgBulk", c.InitMgBulk);
  v("InitMgLiq", c.InitMgLiq);
  v("InitMgSolid", c.InitMgSolid);
  v("InitRhoLiq", c.InitRhoLiq);
  v("InitRhoSolid", c.InitRhoSolid);
  v("InitSLiq", c.InitSLiq);
  v("InitSSolid", c.InitSSolid);
  v("InitSTotal", c.InitSTotal);
  v("InitLiqVisc", c.InitLiqVisc);
  v("InitMassWater", c.InitMassWater);
  v("InitFO2", c.InitFO2);
  v("InitLiqOx", c.InitLiqOx);
  v("InitSolidOx", c.InitSolidOx);
  v("InitPhaseMass", c.InitPhaseMass);
  v("InitTraceLiq", c.InitTraceLiq);
  v("InitTraceSolid", c.InitTraceSolid);
  v("InitTraceGas", c.InitTraceGas);
}

// --- Writing: one line per field, "name: shape: values" ----------------------------------------
std::string valueText(double v) {
  return exact(v);
}
std::string valueText(int v) {
  return std::to_string(v);
}
std::string valueText(bool v) {
  return v ? "1" : "0";
}

struct Writer {
  std::string out;
  // Pieces are appended one by one (a chain of + on temporaries also trips a false warning of
  // GCC 12 about overlapping copies).
  void put(std::string_view piece) { out.append(piece); }
  void putNumber(int v) { out.append(std::to_string(v)); }

  template <class T>
  void operator()(const char* name, const T& v) {
    put(name);
    put(": ");
    put(valueText(v));
    put(kEol);
  }
  template <class T>
  void operator()(const char* name, const Array1<T>& a) {
    put(name);
    put(": ");
    putNumber(a.lo());
    put(" ");
    putNumber(a.hi());
    put(":");
    for (int i = a.lo(); i <= a.hi(); ++i) {
      put(" ");
      put(valueText(static_cast<T>(a(i))));
    }
    put(kEol);
  }
  template <class T>
  void operator()(const char* name, const Array2<T>& a) {
    put(name);
    put(": ");
    putNumber(a.rowLo());
    put(" ");
    putNumber(a.rowHi());
    put(" ");
    putNumber(a.colLo());
    put(" ");
    putNumber(a.colHi());
    put(":");
    if (!a.empty())
      for (int r = a.rowLo(); r <= a.rowHi(); ++r)
        for (int k = a.colLo(); k <= a.colHi(); ++k) {
          put(" ");
          put(valueText(static_cast<T>(a(r, k))));
        }
    put(kEol);
  }
};

// --- Reading: the same list, every line checked ------------------------------------------------
struct BadCheckpoint : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  std::string_view line() {
    if (pos_ >= text_.size()) throw BadCheckpoint("it ends early");
    std::size_t end = text_.find('\n', pos_);
    if (end == std::string_view::npos) end = text_.size();
    std::string_view l = text_.substr(pos_, end - pos_);
    if (!l.empty() && l.back() == '\r') l.remove_suffix(1);
    pos_ = end + 1;
    return l;
  }
  // The values of field `name`, after its shape.
  std::string_view field(const char* name, std::string_view& shape) {
    std::string_view l = line();
    const std::string head = std::string(name) + ": ";
    if (l.substr(0, head.size()) != head) throw BadCheckpoint(std::string("no field ") + name);
    l.remove_prefix(head.size());
    const auto colon = l.find(':');
    shape = colon == std::string_view::npos ? std::string_view() : l.substr(0, colon);
    return colon == std::string_view::npos ? l : l.substr(colon + 1);
  }

  template <class T>
  static T number(std::string_view& s, const char* name) {
    while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
    std::size_t n = 0;
    while (n < s.size() && s[n] != ' ') ++n;
    const std::string_view token = s.substr(0, n);
    s.remove_prefix(n);
    if constexpr (std::is_same_v<T, bool>) {
      if (token == "1") return true;
      if (token == "0") return false;
    } else {
      T v{};
      const auto r = std::from_chars(token.data(), token.data() + token.size(), v);
      if (!token.empty() && r.ec == std::errc() && r.ptr == token.data() + token.size()) return v;
    }
    throw BadCheckpoint(std::string("a bad value in ") + name);
  }
  static void finish(std::string_view rest, const char* name) {
    for (char ch : rest)
      if (ch != ' ') throw BadCheckpoint(std::string("extra values in ") + name);
  }

  template <class T>
  void operator()(const char* name, T& v) {
    std::string_view shape;
    std::string_view values = field(name, shape);
    v = number<T>(values, name);
    finish(values, name);
  }
  template <class T>
  void operator()(const char* name, Array1<T>& a) {
    std::string_view shape;
    std::string_view values = field(name, shape);
    const int lo = number<int>(shape, name), hi = number<int>(shape, name);
    if (hi - lo > kMaxCells) throw BadCheckpoint(std::string("a bad shape of ") + name);
    a.redim(lo, hi);
    for (int i = lo; i <= hi; ++i) a(i) = number<T>(values, name);
    finish(values, name);
  }
  template <class T>
  void operator()(const char* name, Array2<T>& a) {
    std::string_view shape;
    std::string_view values = field(name, shape);
    const int rlo = number<int>(shape, name), rhi = number<int>(shape, name);
    const int clo = number<int>(shape, name), chi = number<int>(shape, name);
    if (static_cast<long long>(rhi - rlo + 1) * (chi - clo + 1) > kMaxCells)
      throw BadCheckpoint(std::string("a bad shape of ") + name);
    a.redim(rlo, rhi, clo, chi);
    if (!a.empty())
      for (int r = rlo; r <= rhi; ++r)
        for (int k = clo; k <= chi; ++k) a(r, k) = number<T>(values, name);
    finish(values, name);
  }

 private:
  static constexpr int kMaxCells = 1 << 22;
  std::string_view text_;
  std::size_t pos_ = 0;
};

std::string fingerprintText(std::string_view block) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%016llx", static_cast<unsigned long long>(fingerprint(block)));
  return std::to_string(block.size()) + " " + buf;
}

}  // namespace

std::string_view blockTextOf(const std::string& outputText, int iteration) {
  const OutputIndex index = indexOutput(outputText, std::string(kOutputFileName));
  for (std::size_t k = 0; k < index.blocks.size(); ++k) {
    if (index.blocks[k].iteration != iteration) continue;
    const std::size_t end =
        k + 1 < index.blocks.size() ? index.blocks[k + 1].offset : outputText.size();
    return std::string_view(outputText)
        .substr(index.blocks[k].offset, end - index.blocks[k].offset);
  }
  return {};
}

std::string checkpointText(const Column& column, std::string_view blockText) {
  Writer w;
  w.out += kMagic;
  w.out += kEol;
  w.out += "Block: " + std::to_string(column.Iteration) + " " + fingerprintText(blockText);
  w.out += kEol;
  forEachField(column, w);
  w.out += "End";
  w.out += kEol;
  return w.out;
}

WriteStatus writeCheckpoint(const std::filesystem::path& folder, const Column& column,
                            std::string_view blockText) {
  return writeFileAtomically(folder / std::string(kCheckpointFileName),
                             checkpointText(column, blockText));
}

CheckpointUse restoreCheckpointText(const std::string& checkpoint, const std::string& outputText,
                                    int iteration, Column& column) {
  CheckpointUse use;
  const std::string_view block = blockTextOf(outputText, iteration);
  try {
    Reader in(checkpoint);
    if (in.line() != kMagic) throw BadCheckpoint("it is not a checkpoint");
    const std::string expected =
        "Block: " + std::to_string(iteration) + " " + fingerprintText(block);
    if (in.line() != expected)
      throw BadCheckpoint("it belongs to another block than iteration " +
                          std::to_string(iteration) + " of the output file");
    Column c = column;
    forEachField(c, in);
    if (in.line() != "End") throw BadCheckpoint("it does not end where it should");
    if (c.Iteration != iteration || c.NumNodes != column.NumNodes)
      throw BadCheckpoint("its state is not that of the block");
    column = std::move(c);
    use.used = true;
  } catch (const BadCheckpoint& e) {
    use.note = std::string(kCheckpointFileName) + " is not used: " + e.what() +
               ". The run goes on from the output file, whose numbers are rounded, so it may "
               "differ slightly from a run that was never stopped.";
  }
  return use;
}

CheckpointUse restoreCheckpoint(const std::filesystem::path& folder, const std::string& outputText,
                                int iteration, Column& column) {
  const FileText file =
      readTextFile(folder / std::string(kCheckpointFileName), kMaxOutputFileBytes);
  if (!file.text) {
    CheckpointUse use;
    use.note = std::string(kCheckpointFileName) + " is " +
               (file.missing ? std::string("absent") : "unreadable (" + file.problem + ")") +
               ": the run goes on from the output file, whose numbers are rounded, so it may "
               "differ slightly from a run that was never stopped.";
    return use;
  }
  return restoreCheckpointText(*file.text, outputText, iteration, column);
}

}  // namespace cx
