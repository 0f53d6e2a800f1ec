#include "persist/text_reader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "base/text_format.h"

namespace cx {
namespace {

std::string bracketed(const std::string& s) {
  return std::string("[").append(s).append("]");
}

// Runs the reads named by `ops` (n number, i integer, b Boolean, s string, l line, k skip line,
// L the current line number) and returns each result as text.  The reads name their fields f1,
// f2, ... counting from `first`.
std::vector<std::string> readAll(TextReader& in, const std::string& ops, std::size_t first = 0) {
  std::vector<std::string> out;
  for (std::size_t k = 0; k < ops.size(); ++k) {
    std::string field = "f";
    field += std::to_string(first + k + 1);
    switch (ops[k]) {
      case 'n':
        out.push_back(formatPlain(in.readNumber(field)));
        break;
      case 'i':
        out.push_back(std::to_string(in.readInt(field)));
        break;
      case 'b':
        out.push_back(formatBool(in.readBool(field)));
        break;
      case 's':
        out.push_back(bracketed(in.readString(field)));
        break;
      case 'l':
        out.push_back(bracketed(in.readLine(field)));
        break;
      case 'k':
        in.skipLine();
        out.push_back("-");
        break;
      case 'L':
        out.push_back(std::string("@").append(std::to_string(in.line())));
        break;
      default:
        ADD_FAILURE() << "bad op " << ops[k];
    }
  }
  return out;
}

std::string replaceAll(std::string s, const std::string& from, const std::string& to) {
  for (std::size_t p = s.find(from); p != std::string::npos; p = s.find(from, p + to.size()))
    s.replace(p, from.size(), to);
  return s;
}

// Each text is read with LF line ends, with CR LF, and with extra line ends at the end: the
// results must not change.
std::vector<std::string> variants(const std::string& text) {
  return {text, replaceAll(text, "\n", "\r\n"), text + "\r\n\r\n", replaceAll(text, "\n", "\r")};
}

TEST(TextReader, FieldsAsSequentialInputReadsThem) {
  struct Case {
    const char* text;
    const char* ops;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      // Print zones: numbers separated by blanks only; commas after some of them.
      {"20            0.000000000   500.00", "nnnL", {"20", "0", "500", "@1"}},
      {"20,           .000012500,   500.00,       0.40000\n7",
       "nnnnLn",
       {"20", "1.25E-05", "500", "0.4", "@2", "7"}},
      // Written forms of numbers.
      {"1.00E-07, -.01, 5e14, 1273.15, +3, 1D3, 2.5d-1, 5., \"42\"",
       "nnnnnnnnn",
       {"1E-07", "-0.01", "500000000000000", "1273.15", "3", "1000", "0.25", "5", "42"}},
      {"\t 7 \t,\t8\t\n9", "nnn", {"7", "8", "9"}},
      {"1e-400, 4.9e-324", "nn", {"0", "5E-324"}},  // underflow reads as zero
      // Empty fields read as 0: two commas, a comma at the line end, a blank line.
      {"1,,3\n4,\n\n5", "nnnnnnL", {"1", "0", "3", "4", "0", "0", "@4"}},
      {"1,,3\n4,\n\n5", "nnnnnnn", {"1", "0", "3", "4", "0", "0", "5"}},
      {"   \n6", "nn", {"0", "6"}},
      // Integers round halves to even.
      {"2.5, 3.5, -2.5, 7.49, 2147483647", "iiiii", {"2", "4", "-2", "7", "2147483647"}},
      // Booleans: the words in any case, quoted or not.
      {"True, false, TRUE,#FALSE#, \"True\"", "bbbbb", {"True", "False", "True", "False", "True"}},
      {"True  False", "bb", {"True", "False"}},
      // Strings: leading blanks skipped, trailing trimmed, inner blanks kept, quotes keep commas.
      {"  Olivine ,False", "sb", {"[Olivine]", "False"}},
      {"a b c, d", "ss", {"[a b c]", "[d]"}},
      {"\"      ,    Si,    Ti\" , next\nafter", "ssL", {"[      ,    Si,    Ti]", "[next]", "@2"}},
      {"\"quoted\" tail dropped, x", "ss", {"[quoted]", "[x]"}},
      {"\"unclosed, still\nnext", "ss", {"[unclosed, still]", "[next]"}},
      {"Soret flag, 1", "si", {"[Soret flag]", "1"}},
      {"x\n\ny", "sss", {"[x]", "[]", "[y]"}},
      {"a,", "sL", {"[a]", "@1"}},
      // Lines: the rest of the line, whole; skipLine drops it.
      {"Iteration: 5\n  spaced,  kept  \nz",
       "lll",
       {"[Iteration: 5]", "[  spaced,  kept  ]", "[z]"}},
      {"1, 2, rest of it\nnext", "nnl", {"1", "2", "[ rest of it]"}},
      {"3\n\nheading", "nll", {"3", "[]", "[heading]"}},
      {"Sc, \tTi, \tV\n1.00,\t2.00,\t3.00", "knnnL", {"-", "1", "2", "3", "@2"}},
      {"1, 2\nnames\n3", "nnkn", {"1", "2", "-", "3"}},
      {"1, 2, 3\n4", "nkn", {"1", "-", "4"}},
      // A byte-order mark and a DOS end-of-file mark are not part of the text.
      {"\xEF\xBB\xBF"
       "12, 13\n\x1a",
       "nnL",
       {"12", "13", "@1"}},
  };
  for (const Case& c : cases) {
    for (const std::string& text : variants(c.text)) {
      TextReader in(text, "CXsetup.cxd");
      try {
        EXPECT_EQ(readAll(in, c.ops), c.expected) << '"' << text << '"';
      } catch (const InputError& e) {
        ADD_FAILURE() << '"' << text << "\": " << e.what();
      }
    }
  }
}

TEST(TextReader, EndOfText) {
  struct Case {
    const char* text;
    bool atEnd;
  };
  const Case cases[] = {{"", true},       {"\n", true},   {"\r\n\r\n", true},    {" ", false},
                        {"\n\nx", false}, {"\x1a", true}, {"\xEF\xBB\xBF", true}};
  for (const Case& c : cases) EXPECT_EQ(TextReader(c.text, "f").atEnd(), c.atEnd) << c.text;

  TextReader in("1, 2\r\nlast\r\n", "f");
  in.readNumber("a");
  EXPECT_FALSE(in.atEnd());
  in.readNumber("b");
  EXPECT_EQ(in.readLine("c"), "last");
  EXPECT_TRUE(in.atEnd());
  EXPECT_EQ(in.line(), 2);
  in.skipLine();  // nothing left to skip
  EXPECT_TRUE(in.atEnd());
}

TEST(TextReader, ErrorsNameTheFileTheLineAndTheField) {
  struct Case {
    const char* text;
    const char* ops;
    int failingOp;  // 0-based index of the read that fails
    const char* message;
  };
  const Case cases[] = {
      {"1, 2\n3, abc", "nnnn", 3,
       "CXsetup.cxd, line 2, field 'f4': expected a number, found 'abc'"},
      {"1.2.3", "n", 0, "CXsetup.cxd, line 1, field 'f1': expected a number, found '1.2.3'"},
      {"12abc", "n", 0, "CXsetup.cxd, line 1, field 'f1': expected a number, found '12abc'"},
      {"x\n\n1e", "ssn", 2, "CXsetup.cxd, line 3, field 'f3': expected a number, found '1e'"},
      {"-", "n", 0, "CXsetup.cxd, line 1, field 'f1': expected a number, found '-'"},
      {"1e999", "n", 0, "CXsetup.cxd, line 1, field 'f1': number out of range: '1e999'"},
      {"True", "n", 0, "CXsetup.cxd, line 1, field 'f1': expected a number, found 'True'"},
      {"2147483647.5", "i", 0,
       "CXsetup.cxd, line 1, field 'f1': whole number out of range: '2147483647.5'"},
      {"1e10", "i", 0, "CXsetup.cxd, line 1, field 'f1': whole number out of range: '1e10'"},
      {"maybe", "b", 0,
       "CXsetup.cxd, line 1, field 'f1': expected True or False, found 'maybe'"},
      // Past the end: the field is named with the last line.
      {"1, 2\n3\n", "nnnn", 3, "CXsetup.cxd, line 2, field 'f4': unexpected end of file"},
      {"1,", "nn", 1, "CXsetup.cxd, line 1, field 'f2': unexpected end of file"},
      {"a\nb", "ssss", 2, "CXsetup.cxd, line 2, field 'f3': unexpected end of file"},
      {"a\nb\n\n", "lll", 2, "CXsetup.cxd, line 2, field 'f3': unexpected end of file"},
      {"", "b", 0, "CXsetup.cxd, line 1, field 'f1': unexpected end of file"},
  };
  for (const Case& c : cases) {
    for (const std::string& text : variants(c.text)) {
      TextReader in(text, "CXsetup.cxd");
      const std::string ops(c.ops);
      EXPECT_NO_THROW(readAll(in, ops.substr(0, c.failingOp))) << text;
      try {
        readAll(in, ops.substr(c.failingOp, 1), c.failingOp);
        ADD_FAILURE() << "no error for \"" << text << '"';
      } catch (const InputError& e) {
        EXPECT_EQ(std::string(e.what()), c.message) << '"' << text << '"';
        EXPECT_EQ(e.file, "CXsetup.cxd");
      }
    }
  }
}

TEST(TextReader, ErrorCarriesItsParts) {
  TextReader in("NumNodes\n\n  abc", "CXoutput.txt");
  in.readLine("title");
  in.readNumber("blank");
  try {
    in.readInt("NumNodes");
    FAIL();
  } catch (const InputError& e) {
    EXPECT_EQ(e.file, "CXoutput.txt");
    EXPECT_EQ(e.line, 3);
    EXPECT_EQ(e.field, "NumNodes");
    EXPECT_EQ(e.problem, "expected a number, found 'abc'");
  }
}

// A stretch of the output file as the writer lays it out, read back field by field: the
// formatted values come back within half their last decimal, the plain ones exactly.
TEST(TextReader, ReadsBackWhatTheFormatsWrite) {
  const double temps[] = {1273.15, 1187.123456789, 0.05, -0.25};
  const double plain[] = {0.1, 1.0 / 3.0, 6.02214076e23, -2.5e-9};
  std::string text = "Iteration: 12\r\n" + formatNumber(1234.5678, "Fixed") + "\r\n";
  text += printZones({"4,", formatNumber(12.5, "Fixed") + ",", formatNumber(86400, "Fixed")});
  text += "\r\n";
  for (int i = 0; i < 4; ++i) {
    text += std::to_string(i + 1) + ", " + formatNumber(temps[i], "####.0000000") + ", " +
            formatNumber(temps[i], "###.00000") + ", " + formatNumber(temps[i], "scientific") +
            ", " + formatPlain(plain[i]) + ", " + formatBool(i % 2 == 0) + "\r\n";
  }
  TextReader in(text, "CXoutput.txt");
  EXPECT_EQ(in.readLine("Iteration"), "Iteration: 12");
  EXPECT_EQ(in.readNumber("TopPressure"), 1234.57);
  EXPECT_EQ(in.readInt("NumNodes"), 4);
  EXPECT_EQ(in.readNumber("DeltaX"), 12.5);
  EXPECT_EQ(in.readNumber("TotalTime"), 86400.0);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(in.line(), 4 + i);
    EXPECT_EQ(in.readInt("node"), i + 1);
    EXPECT_NEAR(in.readNumber("Temp"), temps[i], 0.5e-7);
    EXPECT_NEAR(in.readNumber("Temp"), temps[i], 0.5e-5);
    EXPECT_NEAR(in.readNumber("Temp"), temps[i], 0.005 * std::abs(temps[i]));
    EXPECT_EQ(in.readNumber("plain"), plain[i]);
    EXPECT_EQ(in.readBool("flag"), i % 2 == 0);
  }
  EXPECT_TRUE(in.atEnd());
}

}  // namespace
}  // namespace cx
