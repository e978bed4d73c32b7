// SPDX-License-Identifier: Apache-2.0
// Numbers as text: strict reading, exact round trips.
#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cmath>
#include <random>

#include "runtime/io/quantity_text.h"

namespace quiver {
namespace {

TEST(RealText, EveryFiniteDoubleReadsBackBitForBit) {
  std::mt19937_64 random(20240607);
  int finite = 0;
  for (int i = 0; i < 200000; ++i) {
    const double value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    ++finite;
    for (const RealStyle style : {RealStyle::kShortest, RealStyle::kMarkedReal}) {
      const std::string text = FormatReal(value, style);
      const auto read = ParseReal(text);
      ASSERT_TRUE(read) << text;
      ASSERT_EQ(std::bit_cast<std::uint64_t>(*read), std::bit_cast<std::uint64_t>(value)) << text;
      ASSERT_TRUE(style == RealStyle::kShortest || !ParseInteger(text)) << text;
    }
  }
  EXPECT_GT(finite, 190000);
  EXPECT_EQ(FormatReal(5000.0), "5000.0");
  EXPECT_EQ(FormatReal(-0.0), "-0.0");
  EXPECT_EQ(FormatReal(5000.0, RealStyle::kShortest), "5000");
  EXPECT_EQ(FormatReal(1e-5), "1e-05");
}

TEST(RealText, TheWholeTextHasToBeTheNumber) {
  for (const char* text : {"", " 1", "1 ", "1,5", "0x10", "inf", "nan", ".", "+", "-", "+-1", "e5", "1e",
                           "1e+", "1e999", "1e-999", "1.2.3", "--1", "1_000"}) {
    EXPECT_FALSE(ParseReal(text)) << text;
    EXPECT_FALSE(ParseInteger(text)) << text;
  }
  EXPECT_EQ(ParseReal("+1.5e+3"), 1500.0);
  EXPECT_EQ(ParseReal(".5"), 0.5);
  EXPECT_EQ(ParseReal("5."), 5.0);
  EXPECT_EQ(ParseInteger("-7"), -7);
  EXPECT_FALSE(ParseInteger("9223372036854775808"));
}

TEST(QuantityText, SplitsNumberAndUnit) {
  const struct {
    const char* text;
    std::optional<QuantityText> expected;
  } kCases[] = {
      {"6 bar", {{6, "bar"}}},
      {"25degC", {{25, "degC"}}},
      {"-3.5e2 kg/hr", {{-350, "kg/hr"}}},
      {"10%", {{10, "%"}}},
      {" 1e3  W/(m2 K) ", {{1000, "W/(m2 K)"}}},
      {"2 1/s", {{2, "1/s"}}},
      {"6", {{6, ""}}},
      {"6 e", {{6, "e"}}},
      {"80 \u00b0C", {{80, "\u00b0C"}}},
      {"2-phase", {}},
      {"1,5 bar", {}},
      {"Yes", {}},
      {"1:30", {}},
      {"10 3 kg", {}},
      {"1e999 bar", {}},
  };
  for (const auto& test : kCases) EXPECT_EQ(SplitQuantity(test.text), test.expected) << test.text;
}

}  // namespace
}  // namespace quiver
