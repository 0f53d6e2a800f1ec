// The promise "file and line named": a damaged file is refused with the file, the line where it
// departs from the format and the field; a value the program accepts is written so that it reads
// back; quoted text stays short.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "base/text_format.h"
#include "persist/files.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "support/fixtures.h"
#include "support/run_rig.h"

namespace cx::test {
namespace {

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find("\r\n", start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 2;
  }
  return lines;
}

std::string joinLines(const std::vector<std::string>& lines) {
  std::string text;
  for (const auto& l : lines) text += l + "\r\n";
  return text;
}

// The 1-based number of the first line that begins with `head`.
int lineStarting(const std::vector<std::string>& lines, const std::string& head) {
  for (std::size_t k = 0; k < lines.size(); ++k)
    if (lines[k].rfind(head, 0) == 0) return static_cast<int>(k) + 1;
  ADD_FAILURE() << "no line starts with " << head;
  return 0;
}

struct Example {
  std::string text =
      *readWholeFile(std::string(CUMULEX_SOURCE_DIR) + "/examples/basalt-column.cxd");
  std::vector<std::string> lines = linesOf(text);
  // The example's layout: 20 nodes, two lines each from line 17.
  static constexpr int kNodes = 20, kFirstNodeLine = 17;
};

struct Damage {
  std::string what;
  std::vector<std::string> lines;
  int line;           // where the file departs from the format
  std::string field;  // a piece of the field's name
};

TEST(FileAndLineNamed, DamagedSetupsAreReportedWhereTheyDepartFromTheFormat) {
  const Example ex;
  auto with = [&](auto change) {
    auto l = ex.lines;
    change(l);
    return l;
  };
  auto set = [](int line, std::string text) {
    return [=](std::vector<std::string>& l) { l[static_cast<std::size_t>(line - 1)] = text; };
  };
  auto erase = [](int line) {
    return [=](std::vector<std::string>& l) { l.erase(l.begin() + (line - 1)); };
  };
  auto duplicate = [](int line) {
    return [=](std::vector<std::string>& l) {
      l.insert(l.begin() + (line - 1), l[static_cast<std::size_t>(line - 1)]);
    };
  };
  const std::string nodeLine5 = ex.lines[4];
  const std::string rest = nodeLine5.substr(nodeLine5.find(' '));
  const int node5Traces = Example::kFirstNodeLine + 2 * 4 + 1;
  const int afterNodes = Example::kFirstNodeLine + 2 * Example::kNodes;
  const int dcoefHeading = lineStarting(ex.lines, "Distribution coefficients:");
  const int olivineExclude = lineStarting(ex.lines, "Olivine        ,");
  const std::vector<Damage> cases = {
      // A node count of 1 is read as 10 nodes: the file departs where node 11 begins.
      {"node count 1", with(set(5, "1" + rest)), Example::kFirstNodeLine + 20, "NumNodes"},
      {"one node too few", with(set(5, "19" + rest)), afterNodes - 2, "NumNodes"},
      {"one node too many", with(set(5, "21" + rest)), afterNodes, "temperature of node 21"},
      {"a node's trace line missing", with(erase(node5Traces)), node5Traces, "node 5"},
      {"a node's trace line twice", with(duplicate(node5Traces)), node5Traces + 1, "node 6"},
      {"a number for True/False", with(set(2, "0, True")), 2, "optionInfiltrate"},
      {"a field too many", with(set(3, ex.lines[2] + ",1.0")), 3, "top pressure"},
      {"a field too few", with(set(4, "False")), 4, "optionUseListed"},
      {"a heading misspelt", with(set(dcoefHeading, "Distribution coefficient")), dcoefHeading,
       "Distribution coefficients heading"},
      {"a phase row missing", with(erase(olivineExclude)), olivineExclude, "phase name"},
      {"a blank line missing", with(erase(afterNodes)), afterNodes, "blank line"},
  };
  for (const Damage& d : cases) {
    Column c;
    Settings s;
    const Column before = c;
    const auto r = parseSetup(joinLines(d.lines), "bad.cxd", c, s);
    EXPECT_FALSE(r.ok) << d.what;
    const std::string where = "bad.cxd, line " + std::to_string(d.line) + ", field '";
    EXPECT_EQ(r.message.rfind(where, 0), 0u) << d.what << ": " << r.message;
    EXPECT_NE(r.message.find(d.field), std::string::npos) << d.what << ": " << r.message;
    EXPECT_TRUE(c == before) << d.what << ": nothing loaded before is lost";
  }
}

// Every single line deleted or doubled: the file is refused at the line where it changed, or, in
// a run of lines of one shape (the 17 miscellaneous fields, the 13 run options), at the end of
// that run - never dozens of lines later, in a table that has nothing to do with the damage.
TEST(FileAndLineNamed, NoDeletedOrDoubledLineIsBlamedFarAway) {
  const Example ex;
  constexpr int kLongestRunOfOneShape = 17;
  int refused = 0;
  for (int k = 1; k <= static_cast<int>(ex.lines.size()); ++k) {
    for (const bool doubled : {false, true}) {
      auto lines = ex.lines;
      if (doubled)
        lines.insert(lines.begin() + (k - 1), lines[static_cast<std::size_t>(k - 1)]);
      else
        lines.erase(lines.begin() + (k - 1));
      Column c;
      Settings s;
      const auto r = parseSetup(joinLines(lines), "bad.cxd", c, s);
      if (r.ok) continue;  // a line of free text (a graph choice) or the closing value
      ++refused;
      const auto at = r.message.find(", line ");
      ASSERT_NE(at, std::string::npos) << r.message;
      const int line = std::stoi(r.message.substr(at + 7));
      EXPECT_GE(line, k - 1) << (doubled ? "doubled " : "deleted ") << k << ": " << r.message;
      EXPECT_LE(line, k + kLongestRunOfOneShape)
          << (doubled ? "doubled " : "deleted ") << k << ": " << r.message;
    }
  }
  EXPECT_GT(refused, static_cast<int>(ex.lines.size()) * 3 / 2);
}

// The output file's blocks: a node row missing or doubled, a heading changed, a number for a
// node number - each is reported on the line where the block departs from its layout.
TEST(FileAndLineNamed, DamagedBlocksOfTheOutputFileAreReportedOnTheirLine) {
  RunRig rig(4);
  rig.run(2);
  const auto lines = linesOf(rig.output());
  const int block2 = lineStarting(lines, "Iteration: 2");
  auto after = [&](const std::string& head) {
    for (std::size_t k = static_cast<std::size_t>(block2); k < lines.size(); ++k)
      if (lines[k].rfind(head, 0) == 0) return static_cast<int>(k) + 1;
    ADD_FAILURE() << head;
    return 0;
  };
  const int liquidOxides = after("Liquid oxides wt %");
  const int gridHeading = after("Grid point");
  const int topNode = after("TopNode    ,");
  struct Case {
    std::string what;
    std::vector<std::string> lines;
    int line;
  };
  auto erased = [&](int line) {
    auto l = lines;
    l.erase(l.begin() + (line - 1));
    return l;
  };
  auto doubled = [&](int line) {
    auto l = lines;
    l.insert(l.begin() + (line - 1), l[static_cast<std::size_t>(line - 1)]);
    return l;
  };
  auto changed = [&](int line, const std::string& text) {
    auto l = lines;
    l[static_cast<std::size_t>(line - 1)] = text;
    return l;
  };
  const std::vector<Case> cases = {
      {"a node row missing", erased(liquidOxides + 2), liquidOxides + 2},
      {"a node row doubled", doubled(liquidOxides + 2), liquidOxides + 3},
      {"a heading changed", changed(gridHeading, "Grid"), gridHeading},
      {"a marker changed", changed(topNode, "TopNod     , 4"), topNode},
      {"a field missing", changed(gridHeading + 1, "1, 0, 0"), gridHeading + 1},
  };
  for (const Case& cs : cases) {
    Column c = rig.column;
    const auto r = parseIteration(joinLines(cs.lines), "CXoutput.txt", 2, c);
    EXPECT_FALSE(r.ok) << cs.what;
    EXPECT_EQ(r.message.rfind("CXoutput.txt, line " + std::to_string(cs.line) + ",", 0), 0u)
        << cs.what << ": " << r.message;
    EXPECT_TRUE(c == rig.column) << cs.what;
  }
}

TEST(FileAndLineNamed, ValuesOutOfTheirPhysicalRangeAreRefusedWithTheirField) {
  const Example ex;
  const int node1 = Example::kFirstNodeLine;
  const std::string node1Line = ex.lines[node1 - 1];
  const std::string node1Oxides = node1Line.substr(node1Line.find(','));
  struct Case {
    int line;
    std::string text;
    std::string field;
  };
  const std::string line3 = ex.lines[2];
  auto topPressure = [&](const std::string& p) {
    // the fourth field of line 3
    std::vector<std::string> f;
    std::stringstream ss(line3);
    for (std::string item; std::getline(ss, item, ',');) f.push_back(item);
    f[3] = p;
    std::string out;
    for (std::size_t i = 0; i < f.size(); ++i) out += (i ? "," : "") + f[i];
    return out;
  };
  const std::vector<Case> cases = {
      {3, topPressure("-1"), "TopPressure"},
      {3, topPressure("1e308"), "TopPressure"},
      {3, topPressure("0"), "TopPressure"},
      {node1, "0" + node1Oxides, "temperature of node 1"},
      {node1, "1e6" + node1Oxides, "temperature of node 1"},
      {node1, "1473.15, -1" + node1Oxides.substr(node1Oxides.find(',', 1)), "SiO2 of node 1"},
      {node1, "1473.15, 0,0,0,0,0,0,0,0,0,0,0,0,0,0,0", "oxides of node 1"},
      {node1, "1473.15, 1e308,1e308,0,0,0,0,0,0,0,0,0,0,0,0,0", "SiO2 of node 1"},
  };
  for (const Case& cs : cases) {
    auto lines = ex.lines;
    lines[static_cast<std::size_t>(cs.line - 1)] = cs.text;
    Column c;
    Settings s;
    const auto r = parseSetup(joinLines(lines), "bad.cxd", c, s);
    EXPECT_FALSE(r.ok) << cs.text;
    EXPECT_EQ(
        r.message.rfind("bad.cxd, line " + std::to_string(cs.line) + ", field '" + cs.field, 0), 0u)
        << r.message;
  }
}

TEST(FileAndLineNamed, WhatTheProgramAcceptsItWritesSoThatItReadsBack) {
  Column c;
  Settings s;
  makeBasaltColumn(c, s, 3);
  // Values the reader takes whose print formats have too few digits for them.
  c.Length = c.LengthR8 = 0.004;
  c.DeltaX = c.Length / 3;
  c.TopPressure = 0.004;
  c.InitT(2) = 1273.151234;
  for (int j = 2; j <= kOxides; ++j) c.InitBulkOx(1, j) = 0.0;
  c.InitBulkOx(1, 1) = 0.000001;  // a whole composition of one tiny oxide is still a composition
  s.setMiscText(misc::kMinFLiqEquilibration, "0.001");
  s.setCompactText(compact::kMinLiquidFraction, "0.00001");
  const std::string first = setupText(c, s);
  Column read;
  Settings readSettings;
  const auto r = parseSetup(first, "CXsetup.cxd", read, readSettings);
  ASSERT_TRUE(r.ok) << r.message;
  EXPECT_EQ(read.Length, 0.004);
  EXPECT_EQ(read.TopPressure, 0.004);
  EXPECT_EQ(read.InitT(2), 1273.151234);
  EXPECT_GT(read.InitBulkOx(1, 1), 0.0);
  EXPECT_EQ(readSettings.misc(misc::kMinFLiqEquilibration), 0.001);
  EXPECT_EQ(readSettings.compact(compact::kMinLiquidFraction), 0.00001);
  // And once read, written and read again, nothing moves.
  const std::string second = setupText(read, readSettings);
  Column again;
  Settings againSettings;
  ASSERT_TRUE(parseSetup(second, "CXsetup.cxd", again, againSettings).ok);
  EXPECT_EQ(setupText(again, againSettings), second);
}

TEST(FileAndLineNamed, QuotedTextIsCutToAFewDozenCharacters) {
  const Example ex;
  auto lines = ex.lines;
  lines[1] = std::string(1 << 20, 'x') + ", True";
  Column c;
  Settings s;
  const auto r = parseSetup(joinLines(lines), "bad.cxd", c, s);
  EXPECT_FALSE(r.ok);
  EXPECT_LT(r.message.size(), 200u) << r.message.substr(0, 300);
  EXPECT_NE(r.message.find("(1048576 characters)"), std::string::npos) << r.message;
  EXPECT_EQ(excerpt("short"), "short");
}

}  // namespace
}  // namespace cx::test
