#include "base/vb.h"

#include <gtest/gtest.h>

#include "base/array.h"

namespace cx {
namespace {

TEST(PlatformArithmetic, ConversionRulesOfTheOriginalPlatform) {
  // Real to integer rounds halves to even; Int rounds down; Fix toward zero.
  EXPECT_EQ(toInt(2.5), 2);
  EXPECT_EQ(toInt(3.5), 4);
  EXPECT_EQ(toInt(-2.5), -2);
  EXPECT_EQ(toInt(2.4999), 2);
  EXPECT_EQ(intFloor(-2.5), -3.0);
  EXPECT_EQ(fix(-2.5), -2.0);
  // Integer division rounds its operands first, then truncates.
  EXPECT_EQ(idiv(7.0, 2.0), 3);
  EXPECT_EQ(idiv(7.5, 2.0), 4);  // 7.5 rounds to 8
  EXPECT_EQ(idiv(-7.0, 2.0), -3);
  EXPECT_THROW(idiv(1.0, 0.4), Fault);  // 0.4 rounds to 0: division by zero
  // 16-bit counters overflow past 32767.
  EXPECT_EQ(toInt16(32767.0), 32767);
  try {
    toInt16(32767.5);  // rounds to 32768
    FAIL();
  } catch (const Fault& f) {
    EXPECT_EQ(f.number(), kFaultOverflow);
  }
}

TEST(PlatformArithmetic, NumbersReadFromTextAsTheTextReads) {
  struct Case {
    const char* text;
    double val;
    bool numeric;
  };
  const Case cases[] = {
      {"1.00E-07", 1e-7, true}, {"-.01", -0.01, true},   {"5e14", 5e14, true},
      {"  12 ", 12.0, true},    {"12abc", 12.0, false},  {"abc", 0.0, false},
      {"", 0.0, false},         {"1e", 1.0, false},      {"+3.", 3.0, true},
      {".", 0.0, false},        {"1.5D2", 150.0, true},  {"-", 0.0, false},
  };
  for (const auto& c : cases) {
    EXPECT_DOUBLE_EQ(val(c.text), c.val) << c.text;
    EXPECT_EQ(isNumeric(c.text), c.numeric) << c.text;
  }
}

TEST(Arrays, BoundsAreExplicitAndLeavingThemIsFault9) {
  Array1<double> temp(-8, 12);
  temp(-8) = 1.0;
  temp(12) = 2.0;
  EXPECT_EQ(temp.size(), 21);
  for (int bad : {-9, 13}) {
    try {
      temp(bad) = 0.0;
      FAIL() << bad;
    } catch (const Fault& f) {
      EXPECT_EQ(f.number(), kFaultSubscript);
    }
  }
  temp.redimPreserve(1, 12);
  EXPECT_EQ(temp(12), 2.0);
  EXPECT_THROW(temp(0), Fault);

  Array2<int> list(1, 3, 0, 15);
  list(3, 0) = 7;
  EXPECT_THROW(list(4, 0), Fault);
  EXPECT_THROW(list(1, 16), Fault);
  list.redimPreserve(1, 4, 0, 15);
  EXPECT_EQ(list(3, 0), 7);
  EXPECT_EQ(list(4, 15), 0);
}

}  // namespace
}  // namespace cx
