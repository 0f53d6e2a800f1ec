#include "persist/output_file.h"

#include <charconv>
#include <sstream>

#include "base/text_format.h"
#include "base/vb.h"
#include "persist/checkpoint.h"
#include "persist/files.h"
#include "persist/text_reader.h"

namespace cx {
namespace {

constexpr std::string_view kIterationTag = "Iteration: ";
constexpr std::string_view kNodeColumnsHeading =
    "Liq Viscosity   Liq Density   Solid Density  Temperature  Pressure    F(liquid)    "
    "S(total)    S(liquid)   S(solid)   Cp(bulk)     S(water)     Rho(water)     Mass(water)    "
    "Mass(solid)      Mass(liquid)           F(O2)";
constexpr std::string_view kGridHeading = "Grid point      V(solid)        V(liquid)";

// One table of the block: a title line, then per node the node number and the values.
void nodeTable(std::string& out, std::string_view title, const Column& c, int count,
               const std::function<std::string(int node, int k)>& cell) {
  out += title;
  out += kEol;
  for (int i = 1; i <= c.NumNodes; ++i) {
    out += std::to_string(i);
    for (int k = 1; k <= count; ++k) {
      out += ", ";
      out += cell(i, k);
    }
    out += kEol;
  }
}

// The sixteen node columns of the heading, in order, with their formats.
struct NodeColumn {
  Array1<double> Column::*array;
  const char* format;  // nullptr: plain
};
const std::array<NodeColumn, 16> kNodeColumns = {{
    {&Column::LiqVisc, "##.000000000"},
    {&Column::RhoLiq, "##.000000000"},
    {&Column::RhoSolid, "##.000000000"},
    {&Column::Temp, "####.0000000"},
    {&Column::Press, "####.000000"},
    {&Column::FLiq, "0.00000000"},
    {&Column::STotal, "####.000000"},
    {&Column::SLiq, "####.000000"},
    {&Column::SSolid, "####.000000"},
    {&Column::CpBulk, "####.000000"},
    {&Column::SWater, "####.000000"},
    {&Column::RhoWater, "###.00000"},
    {&Column::MassWater, "###.00000"},
    {&Column::MassSolid, "###.0000"},
    {&Column::MassLiq, "###.00000"},
    {&Column::FO2, nullptr},
}};

struct TraceTable {
  const char* title;
  Array2<double> Column::*array;
};
const std::array<TraceTable, 4> kTraceTables = {{{"Trace Liquid:", &Column::TraceLiq},
                                                 {"Trace Solid:", &Column::TraceSolid},
                                                 {"Trace Gas:", &Column::TraceGasPpm},
                                                 {"Trace Bulk:", &Column::TraceBulk}}};

struct OxideTable {
  const char* title;
  Array2<double> Column::*array;
};
const std::array<OxideTable, 3> kOxideTables = {{{"Bulk Oxides wt %", &Column::BulkOx},
                                                 {"Liquid oxides wt %", &Column::LiqOx},
                                                 {"Bulk solids wt %", &Column::SolidOx}}};

// A block's first line: "Iteration: " and the iteration, a whole number the 16-bit counter can
// hold.  Nothing for any other line; an error for a heading whose number is not one (a header of
// "Iteration: 1e10" must not read as some other iteration).
std::optional<int> iterationOfLine(std::string_view line, const std::string& fileName,
                                   int lineNumber) {
  if (line.substr(0, kIterationTag.size()) != kIterationTag) return std::nullopt;
  const std::string t = trim(std::string(line.substr(kIterationTag.size())));
  int n = -1;
  const auto r = std::from_chars(t.data(), t.data() + t.size(), n);
  if (t.empty() || r.ec != std::errc() || r.ptr != t.data() + t.size() || n < 0 ||
      n > kMaxIteration)
    throw InputError(fileName, lineNumber, "Iteration",
                     "expected an iteration number 0 to " + std::to_string(kMaxIteration) +
                         ", found '" + excerpt(t) + "'");
  return n;
}

std::vector<double> numbersOfLine(const std::string& line, const std::string& fileName,
                                  int lineNumber, const std::string& field) {
  std::vector<double> values;
  std::stringstream ss(line);
  std::string item;
  while (std::getline(ss, item, ',')) {
    const std::string t = trim(item);
    if (t.empty()) continue;
    const auto v = toNumber(t);
    if (!v)
      throw InputError(fileName, lineNumber, field, "expected a number, found '" + excerpt(t) + "'");
    values.push_back(*v);
  }
  return values;
}

// Reads the block whose "Iteration: " line the reader has just passed.  Returns false when the
// block predates trace elements (no trace tables): its traces are then zero.
bool readBlock(TextReader& in, Column& c, int iteration) {
  c.Iteration = iteration;
  in.beginRecord(1, "TopPressure");
  c.TopPressure = in.readNumber("TopPressure");
  in.endRecord();
  in.beginRecord(3, "NumNodes, DeltaX, TotalTime");
  const int nodeLine = in.line();
  const int nodes = in.readInt("NumNodes");
  if (nodes < 1 || nodes > kMaxNodes)
    throw InputError(in.fileName(), nodeLine, "NumNodes", "node count out of range");
  c.DeltaX = in.readNumber("DeltaX");
  c.TotalTime = in.readNumber("TotalTime");
  in.endRecord();
  if (nodes != c.NumNodes) {
    // Files of another node count load by re-dimensioning the arrays; the far field keeps the
    // present thickness until its rows are read below.
    const int k = c.Temp.lo() < 1 ? -c.Temp.lo() / c.NumNodes : 0;
    c.NumNodes = nodes;
    Settings layout;
    layout.setMiscText(misc::kFarfieldThickness, std::to_string(k));
    c.DimensionArrays(layout);
  }
  c.LengthR8 = c.NumNodes * c.DeltaX;
  const int n = c.NumNodes;
  auto node = [&](int i, const std::string& what) {
    return what + " of node " + std::to_string(i);
  };
  // Each node row is one line that begins with its node number: a row missing or doubled is
  // reported on its own line.
  auto beginRow = [&](int i, int values, std::string_view table) {
    in.beginRecord(1 + values, "node " + std::to_string(i) + " of " + std::to_string(n) +
                                   " in '" + std::string(table) + "'");
    const int line = in.line();
    const int number = in.readInt(node(i, "node number"));
    if (number != i)
      throw InputError(in.fileName(), line, node(i, "node number"),
                       "expected node " + std::to_string(i) + ", found " + std::to_string(number) +
                           " (is NumNodes right?)");
  };
  in.expectLine("Node PhaseCount Phaselist and Xstable:", "Phaselist heading");
  for (int i = 1; i <= n; ++i) {
    beginRow(i, 1 + kPhaseListSize + kXstableSize, "Phaselist and Xstable");
    const int line = in.line();
    c.PhaseCount(i) = in.readInt(node(i, "PhaseCount"));
    if (c.PhaseCount(i) < 0 || c.PhaseCount(i) > kPhaseListSize)
      throw InputError(in.fileName(), line, node(i, "PhaseCount"),
                       "a node holds 0 to " + std::to_string(kPhaseListSize) + " phases");
    for (int k = 1; k <= kPhaseListSize; ++k) c.PhaseList(i, k) = in.readInt(node(i, "PhaseList"));
    for (int k = 1; k <= kXstableSize; ++k) c.Xstable(i, k) = in.readNumber(node(i, "Xstable"));
    in.endRecord();
  }
  for (const auto& t : kOxideTables) {
    in.expectLine(t.title, t.title);
    for (int i = 1; i <= n; ++i) {
      beginRow(i, kOxides, t.title);
      for (int j = 1; j <= kOxides; ++j)
        (c.*t.array)(i, j) =
            in.readNumber(node(i, std::string(t.title) + " " + std::string(OxideNames[j])));
      in.endRecord();
    }
  }
  in.expectLine("Phase order", "Phase order");
  in.beginRecord(kPhaseOrderSize, "Phase order");
  for (int k = 1; k <= kPhaseOrderSize; ++k) c.PhaseOrder(k) = in.readInt("PhaseOrder");
  in.endRecord();
  auto table = [&](std::string_view title, Array2<double>& a, int count) {
    in.expectLine(title, title);
    for (int i = 1; i <= n; ++i) {
      beginRow(i, count, title);
      for (int k = 1; k <= count; ++k) a(i, k) = in.readNumber(node(i, std::string(title)));
      in.endRecord();
    }
  };
  table("Cumulative mass of stable phases:", c.PhaseMass, kPhaseOrderSize);
  table("Composition of stable phases:", c.PhaseX, kSolidSolutions);
  table("Mass of Gas Components :", c.GasComp, c.gasSpeciesCount());
  // Files written before trace elements were carried go straight on to the node columns.
  const bool hasTraces = in.peekLine() != kNodeColumnsHeading;
  for (const auto& t : kTraceTables) {
    if (hasTraces) {
      table(t.title, c.*t.array, kTraces);
    } else {
      for (int i = 1; i <= n; ++i)
        for (int k = 1; k <= kTraces; ++k) (c.*t.array)(i, k) = 0.0;
    }
  }
  in.expectLine(kNodeColumnsHeading, "node column heading");
  for (int i = 1; i <= n; ++i) {
    beginRow(i, static_cast<int>(kNodeColumns.size()), "node columns");
    for (const auto& col : kNodeColumns) (c.*col.array)(i) = in.readNumber(node(i, "node column"));
    in.endRecord();
  }
  auto marker = [&](const char* name) {
    in.beginRecord(2, name);
    const int line = in.line();
    if (trim(in.readString(name)) != name)
      throw InputError(in.fileName(), line, name, std::string("expected the line '") + name +
                                                      " , ...'");
    const double v = in.readNumber(name);
    in.endRecord();
    return v;
  };
  c.BottomNode = toInt(marker("BottomNode"));
  c.TopNode = toInt(marker("TopNode"));
  c.PileTop = marker("Pile top");
  c.TopNode0 = toInt(marker("TopNode(0)"));
  c.PileTop0 = marker("Pile top(0)");
  c.InitTop = marker("InitTop(t)");
  in.expectLine(kGridHeading, "grid heading");
  for (int i = 1; i <= n; ++i) {
    beginRow(i, 3, "Grid point");
    c.GridPoint(i) = in.readNumber(node(i, "Grid point"));
    c.Vsolid(i) = in.readNumber(node(i, "V(solid)"));
    c.Vliquid(i) = in.readNumber(node(i, "V(liquid)"));
    in.endRecord();
  }
  in.beginRecord(1, "LastAddition");
  c.LastAddition = in.readNumber("LastAddition");
  in.endRecord();
  in.expectLine("Top farfield temperature:", "Top farfield temperature:");
  int lineNo = in.line();
  const auto top =
      numbersOfLine(in.readLine("top far field"), in.fileName(), lineNo, "top far field");
  in.expectLine("Bottom farfield temperature:", "Bottom farfield temperature:");
  lineNo = in.line();
  // Without a far field the lower row is empty; as the file's last line it may have no line end.
  const auto bottom = numbersOfLine(in.atEnd() ? std::string() : in.readLine("bottom far field"),
                                    in.fileName(), lineNo, "bottom far field");
  // The far field of the block: its thickness follows from the row lengths.
  // With a far field of k slabs the upper row holds k*n temperatures and the lower one k*n + 1
  // (its contact node 0 included); without one both rows are empty.
  const bool consistent = top.empty() ? bottom.empty()
                                      : top.size() % static_cast<std::size_t>(n) == 0 &&
                                            bottom.size() == top.size() + 1;
  if (!consistent)
    throw InputError(in.fileName(), lineNo, "far field", "far-field rows of unlike length");
  const int k = static_cast<int>(top.size()) / n;
  if (c.Temp.lo() != (k > 0 ? -k * n : 1) || c.Temp.hi() != (k > 0 ? (k + 1) * n : n)) {
    c.Temp.redimPreserve(k > 0 ? -k * n : 1, k > 0 ? (k + 1) * n : n);
    c.InitT.redimPreserve(k > 0 ? -k * n : 1, k > 0 ? (k + 1) * n : n);
  }
  for (int m = 0; m < static_cast<int>(top.size()); ++m)
    c.Temp(n + 1 + m) = top[static_cast<std::size_t>(m)];
  for (int m = 0; m < static_cast<int>(bottom.size()); ++m)
    c.Temp(-m) = bottom[static_cast<std::size_t>(m)];
  return hasTraces;
}

}  // namespace

std::string iterationBlock(const Column& c) {
  std::string out;
  out += std::string(kIterationTag) + std::to_string(c.Iteration);
  out += kEol;
  out += formatNumber(c.TopPressure, "Fixed");
  out += kEol;
  out += printZones({std::to_string(c.NumNodes) + ",", formatNumber(c.DeltaX, "Fixed") + ",",
                     formatNumber(c.TotalTime, "Fixed")});
  out += kEol;
  out += "Node PhaseCount Phaselist and Xstable:";
  out += kEol;
  for (int i = 1; i <= c.NumNodes; ++i) {
    out += std::to_string(i) + ", " + std::to_string(c.PhaseCount(i));
    for (int k = 1; k <= kPhaseListSize; ++k) out += ", " + std::to_string(c.PhaseList(i, k));
    for (int k = 1; k <= kXstableSize; ++k) out += ", " + formatPlain(c.Xstable(i, k));
    out += kEol;
  }
  for (const auto& t : kOxideTables)
    nodeTable(out, t.title, c, kOxides,
              [&](int i, int j) { return formatNumber((c.*t.array)(i, j), "##.00000"); });
  out += "Phase order";
  out += kEol;
  for (int k = 1; k <= kPhaseOrderSize; ++k)
    out += (k > 1 ? ", " : "") + std::to_string(c.PhaseOrder(k));
  out += kEol;
  nodeTable(out, "Cumulative mass of stable phases:", c, kPhaseOrderSize,
            [&](int i, int k) { return formatNumber(c.PhaseMass(i, k), "0.00000000"); });
  nodeTable(out, "Composition of stable phases:", c, kSolidSolutions,
            [&](int i, int k) { return formatNumber(c.PhaseX(i, k), "0.00000000"); });
  nodeTable(out, "Mass of Gas Components :", c, c.gasSpeciesCount(),
            [&](int i, int k) { return formatNumber(c.GasComp(i, k), "0.00000000"); });
  for (const auto& t : kTraceTables)
    nodeTable(out, t.title, c, kTraces,
              [&](int i, int k) { return formatNumber((c.*t.array)(i, k), "fixed"); });
  out += kNodeColumnsHeading;
  out += kEol;
  for (int i = 1; i <= c.NumNodes; ++i) {
    out += std::to_string(i);
    for (const auto& col : kNodeColumns) {
      const double v = (c.*col.array)(i);
      out += ", " + (col.format ? formatNumber(v, col.format) : formatPlain(v));
    }
    out += kEol;
  }
  auto marker = [&](const char* label, const std::string& v) {
    out += label;
    out += v;
    out += kEol;
  };
  marker("BottomNode , ", std::to_string(c.BottomNode));
  marker("TopNode    , ", std::to_string(c.TopNode));
  marker("Pile top   , ", formatPlain(c.PileTop));
  marker("TopNode(0) , ", std::to_string(c.TopNode0));
  marker("Pile top(0), ", formatPlain(c.PileTop0));
  marker("InitTop(t) , ", formatPlain(c.InitTop));
  out += kGridHeading;
  out += kEol;
  for (int i = 1; i <= c.NumNodes; ++i) {
    out += std::to_string(i) + ", " + formatPlain(c.GridPoint(i)) + ", " +
           formatNumber(c.Vsolid(i), "scientific") + ", " +
           formatNumber(c.Vliquid(i), "scientific");
    out += kEol;
  }
  out += formatPlain(c.LastAddition);
  out += kEol;
  out += "Top farfield temperature:";
  out += kEol;
  for (int m = c.NumNodes + 1; m <= c.Temp.hi(); ++m)
    out += (m > c.NumNodes + 1 ? ", " : "") + formatPlain(c.Temp(m));
  out += kEol;
  out += "Bottom farfield temperature:";
  out += kEol;
  for (int m = 0; m >= c.Temp.lo(); --m) out += (m < 0 ? ", " : "") + formatPlain(c.Temp(m));
  out += kEol;
  return out;
}

bool WriteIteration(const std::filesystem::path& folder, const Column& column, bool startNewFile,
                    Diagnostics& diag) {
  const auto path = folder / std::string(kOutputFileName);
  const std::string block = iterationBlock(column);
  // The file only ever grows by whole blocks: each block goes out in one write, and a write the
  // disk cuts short is taken back.
  const WriteStatus w = startNewFile ? writeFileAtomically(path, block) : appendToFile(path, block);
  if (w) {
    // The full-precision state of the block, for a resumed run to go on exactly.  A checkpoint
    // that cannot be written leaves an older one, which no longer matches the file's last block
    // and is not used.
    (void)writeCheckpoint(folder, column, block);
  } else {
    diag.ErrorReport(" error writing CXoutput.txt: " + w.reason +
                         "\n            Check all input values for correctness",
                     diag.PauseOnError);
    diag.ErrorFlag = true;
  }
  return w.ok;
}

OutputIndex indexOutput(const std::string& text, const std::string& fileName) {
  OutputIndex index;
  try {
    std::size_t start = 0;
    int lineNumber = 1;
    while (start < text.size()) {
      std::size_t end = text.find('\n', start);
      if (end == std::string::npos) end = text.size();
      std::string_view line(text.data() + start, end - start);
      if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
      if (const auto n = iterationOfLine(line, fileName, lineNumber)) {
        // A history only goes forward: a heading at or below the one before means the file was
        // edited or two histories were joined, and no block of it can be trusted to follow.
        if (!index.blocks.empty() && *n <= index.blocks.back().iteration)
          throw InputError(fileName, lineNumber, "Iteration",
                           "iteration " + std::to_string(*n) + " follows iteration " +
                               std::to_string(index.blocks.back().iteration) + " (line " +
                               std::to_string(index.blocks.back().line) +
                               "): the blocks are out of order");
        index.blocks.push_back({*n, lineNumber, start});
      }
      start = end + 1;
      ++lineNumber;
    }
  } catch (const InputError& e) {
    index.problem = e.what();
  }
  return index;
}

std::vector<int> listIterations(const std::string& text) {
  std::vector<int> found;
  for (const auto& b : indexOutput(text, std::string(kOutputFileName)).blocks)
    found.push_back(b.iteration);
  return found;
}

IterationReadResult parseIteration(const std::string& text, const std::string& fileName, int wanted,
                                   Column& column) {
  IterationReadResult r;
  TextReader in(text, fileName);
  try {
    while (!in.atEnd()) {
      const int lineNumber = in.line();
      const std::string line = in.readLine("Iteration");
      const auto n = iterationOfLine(line, fileName, lineNumber);
      if (!n) continue;
      r.lastSeen = *n;
      if (*n != wanted) continue;
      r.found = true;
      Column c = column;
      if (!readBlock(in, c, *n)) r.note = kNoTraceTablesNote;
      if (*n == 0) refreshInitialProfiles(c);
      column = std::move(c);
      r.ok = true;
      return r;
    }
    r.message = "Iteration not found!\nLast iteration is: " + std::to_string(r.lastSeen);
  } catch (const InputError& e) {
    r.message = std::string(e.what()) + " (the block of iteration " + std::to_string(wanted) +
                " is incomplete or damaged)";
  } catch (const Fault& f) {
    r.message = fileName + ": " + f.what();
  }
  return r;
}

IterationReadResult ReadIteration(const std::filesystem::path& folder, int wanted, Column& column,
                                  Diagnostics& diag) {
  diag.ErrorFlag = false;
  const auto path = folder / std::string(kOutputFileName);
  const FileText file = readTextFile(path, kMaxOutputFileBytes);
  if (!file.text) {
    IterationReadResult r;
    r.message = " error opening or reading CXoutput.txt: " + file.problem +
                "\n            Check all input values for correctness";
    diag.ErrorReport(r.message, false);
    diag.ErrorFlag = true;
    return r;
  }
  IterationReadResult r = parseIteration(*file.text, path.string(), wanted, column);
  if (!r.ok) {
    diag.ErrorReport(r.message, false);
    diag.ErrorFlag = true;
  }
  return r;
}

int lastCompleteIteration(const std::string& text, const std::string& fileName,
                          const Column& layout) {
  const auto index = indexOutput(text, fileName);
  for (auto it = index.blocks.rbegin(); it != index.blocks.rend(); ++it) {
    Column probe = layout;
    if (parseIteration(text, fileName, it->iteration, probe).ok) return it->iteration;
  }
  return -1;
}

LoadResult loadIteration(const std::filesystem::path& folder, int n, Column& column,
                         Diagnostics& diag, Port& port) {
  LoadResult result;
  port.setStatus("Searching for requested iteration...");
  port.setModuleId("In module LoadLastIteratio");
  const auto path = folder / std::string(kOutputFileName);
  const FileText file = readTextFile(path, kMaxOutputFileBytes);
  if (!file.text) {
    result.message = " error opening or reading CXoutput.txt: " + file.problem;
    return result;
  }
  const std::string& text = *file.text;
  // Cutting a file whose blocks are out of order would drop blocks that are not above n.
  const OutputIndex index = indexOutput(text, path.string());
  if (!index.problem.empty()) {
    port.setStatus("Requested iteration not found.");
    result.message = index.problem + "\nThe file is left as it is.";
    return result;
  }
  Column loaded = column;
  diag.ErrorFlag = false;
  const auto r = parseIteration(text, path.string(), n, loaded);
  if (!r.ok) {
    diag.ErrorReport(r.message, false);
    diag.ErrorFlag = true;
    port.setStatus("Requested iteration not found.");
    result.message = r.message;
    return result;
  }
  if (!port.askYesNo("Do you wish to load and reset the output file to iteration: " +
                     std::to_string(n) + "?\nAll data above this point will be lost!")) {
    port.setStatus("Abort load last interation.");
    result.message = "Abort load last interation.";
    result.declined = true;
    return result;
  }
  if (!r.note.empty()) port.appendEvent(r.note);
  port.setStatus("Loading iteration...");
  // Keep exactly the blocks up to and including block n: the file is cut where the next block
  // begins.
  std::size_t keep = text.size();
  for (std::size_t k = 0; k + 1 < index.blocks.size(); ++k)
    if (index.blocks[k].iteration == n) keep = index.blocks[k + 1].offset;
  if (keep < text.size()) {
    if (const WriteStatus w = writeFileAtomically(path, std::string_view(text).substr(0, keep));
        !w) {
      result.message = " error writing CXoutput.txt: " + w.reason;
      return result;
    }
  }
  column = std::move(loaded);
  column.InitialNeeded = false;
  column.NodesAtInitial = column.NumNodes;
  port.setStatus("Requested iteration loaded successfully!");
  port.setModuleId("Idle");
  result.ok = true;
  return result;
}

int replayIterations(const std::filesystem::path& folder, Column& column, Diagnostics& diag,
                     const std::function<bool(int iteration)>& frame) {
  const auto path = folder / std::string(kOutputFileName);
  const FileText file = readTextFile(path, kMaxOutputFileBytes);
  if (!file.text) {
    diag.ErrorReport(" error opening or reading CXoutput.txt: " + file.problem, false);
    return 0;
  }
  // One pass through the file: each block is read as it comes.
  TextReader in(*file.text, path.string());
  int shown = 0;
  try {
    while (!in.atEnd() && !diag.HaltFlag) {
      const int lineNumber = in.line();
      const auto n = iterationOfLine(in.readLine("Iteration"), path.string(), lineNumber);
      if (!n) continue;
      Column c = column;
      readBlock(in, c, *n);
      if (*n == 0) refreshInitialProfiles(c);
      column = std::move(c);
      ++shown;
      if (!frame(*n)) break;
    }
  } catch (const InputError& e) {
    diag.ErrorReport(e.what(), false);
  }
  return shown;
}

}  // namespace cx
