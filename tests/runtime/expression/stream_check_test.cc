// SPDX-License-Identifier: Apache-2.0
#include "runtime/expression/stream_check.h"

#include <gtest/gtest.h>

#include "runtime/expression/evaluator.h"
#include "runtime/expression/infix.h"
#include "tests/runtime/expression/trees.h"

namespace quiver {
namespace {

TEST(StreamCheck, names_place_and_expectation_of_every_fault) {
  struct Case {
    bool condition;
    const char* stream;
    const char* message;  // null: well formed
  };
  const Case cases[] = {
      {false, "20 22 21 FLUX 20 int 1 21 A A 21 2.0 MW 22 21 22 P U RHO 19 FLUX EPS", nullptr},
      {false, "19 -1.0 44 A B 44 0 0", nullptr},
      {false, "1 X", nullptr},
      {false, "X", nullptr},
      {true, "12 AFIRE 18.58", nullptr},
      {true, "5 6 9 A B 8 \"Yes\" \"no\" 13 A B", nullptr},
      {false, "", "token 1 of 0: found the end of the stream, expected an equation"},
      {false, "20 X", "token 3 of 2: found the end of the stream, expected operand 2 of Subtract (20)"},
      {false, "X Y", "token 2 of 2: found variable 1, expected nothing more, the tree is complete"},
      {false, "44 X",
       "token 3 of 2: found the end of the stream, expected an operand of Sum (44) or the end of its list "
       "(0)"},
      {false, "20 X 0", "token 3 of 3: found EndOfList (0), expected operand 2 of Subtract (20)"},
      {false, "44 20 X 0", "token 4 of 4: found EndOfList (0), expected operand 2 of Subtract (20)"},
      {false, "44 X 0 0", "token 4 of 4: found EndOfList (0), expected nothing more, the tree is complete"},
      {false, "0", "token 1 of 1: found EndOfList (0), expected an equation"},
      {false, "20 1 X Y", "token 2 of 4: found Residual (1), expected operand 1 of Subtract (20)"},
      {false, "1 1 X", "token 2 of 3: found Residual (1), expected operand 1 of Residual (1)"},
      {false, "20 X 23", "token 3 of 3: found unknown operator code 23, expected operand 2 of Subtract (20)"},
      {false, "-7", "token 1 of 1: found unknown operator code -7, expected an equation"},
      {false, "12 X Y", "token 1 of 3: found Less (12), expected an equation"},
      {false, "20 X \"Yes\"", "token 3 of 3: found the text \"Yes\", expected operand 2 of Subtract (20)"},
      {true, "X", "token 1 of 1: found variable 0, expected a comparison, 5 or 6"},
      {true, "1 12 X Y", "token 1 of 4: found Residual (1), expected a comparison, 5 or 6"},
      {true, "5 12 X Y Z",
       "token 5 of 5: found variable 2, expected operand 2 of And (5), a comparison, 5 or 6"},
      {true, "12 12 X Y Z", "token 2 of 5: found Less (12), expected operand 1 of Less (12)"},
      {true, "12 \"Yes\" X", "token 2 of 3: found the text \"Yes\", expected operand 1 of Less (12)"},
      {true, "8 \"Yes\" X",
       "token 3 of 3: found variable 0, expected operand 2 of Equal (8), a text like the first"},
      {true, "8 X \"Yes\"", "token 3 of 3: found the text \"Yes\", expected operand 2 of Equal (8)"},
  };
  for (const Case& c : cases) {
    Names names;
    const Stream stream = Read(c.stream, names);
    const auto fault = c.condition ? CheckCondition(stream) : CheckEquation(stream);
    EXPECT_EQ(fault ? fault->Message() : "well formed", c.message ? c.message : "well formed") << c.stream;
  }
  EXPECT_EQ(CheckEquation(std::vector{Token::Variable(3)}, 3)->found, "variable 3, which does not exist");
  EXPECT_EQ(CheckEquation(std::vector{Token::Variable(-1)})->found, "variable -1, which does not exist");
  EXPECT_EQ(CheckEquation(std::vector{Token::Real(NAN)})->found, "the number nan");
  EXPECT_EQ(CheckCondition(std::vector{Token::Code(8), Token::Text(nullptr)})->found, "a missing text");
  Token strange = Token::Real(1);
  strange.kind = static_cast<Token::Kind>(77);
  EXPECT_EQ(CheckEquation(std::vector{strange})->found, "a token of unknown kind 77");
}

// Breaks well-formed streams at one place. What the check still accepts must survive everything behind it.
TEST(StreamCheck, what_passes_can_be_compiled_run_and_printed) {
  RandomTrees random(2, 4);
  Evaluator evaluator;
  const std::vector<double> x = {0.4, 1.3, -0.8, 2.2};
  int faults = 0, passed = 0;
  for (int trial = 0; trial < 4000; ++trial) {
    const bool condition = trial % 4 == 0;
    Stream stream = condition ? random.Condition(2) : random.Number(4);
    ASSERT_FALSE(condition ? CheckCondition(stream, 4) : CheckEquation(stream, 4));
    const int place = random.Below(static_cast<int>(stream.size()));
    const int fault = random.Below(4);
    if (fault == 0) stream.erase(stream.begin() + place);
    if (fault == 1) stream.insert(stream.begin() + place, Token::Code(random.Below(110) - 5));
    if (fault == 2) stream[place] = Token::Code(random.Below(110) - 5);
    if (fault == 3) std::swap(stream[place], stream.back());
    const bool found = (condition ? CheckCondition(stream, 4) : CheckEquation(stream, 4)).has_value();
    ++(found ? faults : passed);
    if (found) continue;
    const Compiled one(stream);
    ASSERT_EQ(one.shape.is_condition, condition);
    const double expected = Interpret<double>(stream, x);
    const double value = evaluator.Value(one.shape, one.gather, x, {.time = 7});
    EXPECT_TRUE(!std::isfinite(expected) || std::fabs(value - expected) < 1e-6 * (1 + std::fabs(expected)));
    EXPECT_NE(FormulaText(stream, NumberedX), "");
  }
  EXPECT_GT(faults, 1000);
  EXPECT_GT(passed, 300);
}

TEST(StreamCheck, a_million_nested_operators_are_no_danger) {
  constexpr int kDepth = 1'000'000;
  const double x[] = {2};
  auto expect = [&](const Stream& stream, double value, double expected_slope, std::size_t characters) {
    ASSERT_FALSE(CheckEquation(stream));
    EXPECT_EQ(FormulaText(stream, [](int) { return std::string("X"); }).size(), characters);
    const Compiled one(stream);
    double slope = 0;
    EXPECT_EQ(Evaluator().Gradient(one.shape, one.gather, x, {&slope, 1}), value);
    EXPECT_EQ(slope, expected_slope);
  };
  Stream left(kDepth, Token::Code(20)), lists(kDepth, Token::Code(44)), right;
  EXPECT_TRUE(CheckEquation(lists));
  lists.push_back(Token::Variable(0));
  lists.insert(lists.end(), kDepth, Token::Code(0));
  expect(lists, 2, 1, 5 * std::size_t{kDepth} + 1);
  left.insert(left.end(), kDepth + 1, Token::Variable(0));
  expect(left, -2.0 * (kDepth - 1), 1 - kDepth, 4 * std::size_t{kDepth} + 1);
  for (int i = 0; i < kDepth; ++i) right.insert(right.end(), {Token::Code(19), Token::Variable(0)});
  right.push_back(Token::Variable(0));
  expect(right, 2.0 * (kDepth + 1), kDepth + 1, 6 * std::size_t{kDepth} - 1);
}

}  // namespace
}  // namespace quiver
