// SPDX-License-Identifier: Apache-2.0
// Two ways to one number: compiled programs against plain recursion, gradients against differences, blocks
// against single instances, conditions against their trees.
#include "runtime/expression/evaluator.h"

#include <gtest/gtest.h>

#include <bit>

#include "runtime/expression/infix.h"
#include "runtime/expression/undefined.h"
#include "tests/runtime/expression/trees.h"

namespace quiver {
namespace {

std::string Show(const Stream& stream) { return FormulaText(stream, NumberedX); }

bool SameBits(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) ||
         std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

TEST(Evaluator, random_trees_agree_with_plain_recursion_and_its_differences) {
  constexpr int kVariables = 5;
  RandomTrees random(3, kVariables);
  Evaluator evaluator;
  int values = 0, slopes = 0;
  for (int trial = 0; trial < 3000; ++trial) {
    const Stream stream = random.Number(1 + trial % 6);
    const std::vector<double> x = random.Point(kVariables, 0.3, 2.5);
    const Compiled one(stream);
    std::vector<double> gradient(one.gather.size());
    const double value = evaluator.Gradient(one.shape, one.gather, x, gradient, {.time = 7});
    EXPECT_TRUE(SameBits(value, evaluator.Value(one.shape, one.gather, x, {.time = 7})));

    const long double exact = Interpret<long double>(stream, x);
    const double rounding = static_cast<double>(std::abs(exact - Interpret<double>(stream, x)));
    const bool undefined = FindUndefined(stream, x, NumberedX, {.time = 7}).has_value();
    if (undefined || !(std::abs(exact) < 1e12L) || !(rounding < 1e-8)) continue;
    EXPECT_NEAR(value, exact, 1e-12 * (1 + std::abs(exact)) + 1e3 * rounding) << Show(stream);
    ++values;
    for (std::size_t k = 0; k < one.gather.size(); ++k) {
      auto difference = [&](long double h) {
        return (Interpret<long double>(stream, x, one.gather[k], h) -
                Interpret<long double>(stream, x, one.gather[k], -h)) /
               (2 * h);
      };
      const long double coarse = difference(1e-6L), fine = difference(5e-7L);
      const long double scale = 1 + std::abs(fine) + std::abs(exact);
      if (!(std::abs(coarse - fine) < 1e-7L * scale)) continue;  // a kink or a pole within reach
      if (!std::isfinite(gradient[k])) {
        EXPECT_TRUE(FindUndefinedSlope(stream, x, NumberedX, {.time = 7}))
            << Show(stream) << " by " << one.gather[k];
        continue;
      }
      EXPECT_NEAR(gradient[k], (4 * fine - coarse) / 3, 1e-8L * scale + 1e4 * rounding)
          << Show(stream) << " by " << one.gather[k];
      ++slopes;
    }
  }
  EXPECT_GT(values, 2000);
  EXPECT_GT(slopes, 2800);
}

TEST(Evaluator, constant_exponents_agree_with_pow) {
  Evaluator evaluator;
  RandomTrees random(4, 1);
  for (double exponent = -18; exponent <= 18; exponent += 0.25) {
    const Stream stream = {Token::Code(24), Token::Variable(0), Token::Real(exponent)};
    const Compiled one(stream);
    for (int trial = 0; trial < 20; ++trial) {
      const bool whole = exponent == std::floor(exponent);
      const double x = random.Uniform(whole ? -3 : 0.01, 3);
      double slope;
      EXPECT_NEAR(evaluator.Gradient(one.shape, one.gather, {&x, 1}, {&slope, 1}) / std::pow(x, exponent), 1,
                  4e-15);
      EXPECT_NEAR(slope, exponent * std::pow(x, exponent - 1), 4e-15 * std::fabs(slope))
          << x << "^" << exponent;
    }
  }
}

TEST(Evaluator, batches_give_the_bits_of_single_instances) {
  RandomTrees random(5, 6);
  Evaluator evaluator;
  for (int trial = 0; trial < 300; ++trial) {
    const Compiled any(random.Number(6));
    const Shape& shape = any.shape;
    const int count = trial % 200 + 1, stride = shape.variable_count;
    const std::vector<double> x = random.Point(500, -1, 3);
    std::vector<double> values(count), only_values(count), gradients(count * stride), gradient(stride);
    std::vector<int> gathers(count * stride);
    for (int& place : gathers) place = random.Below(500);
    const EvaluationContext context{.time = 3};
    evaluator.Gradients(shape, gathers, x, values, gradients, context);
    evaluator.Values(shape, gathers, x, only_values, context);
    for (int i = 0; i < count; ++i) {
      const auto gather = std::span(gathers).subspan(i * stride, stride);
      ASSERT_TRUE(SameBits(values[i], evaluator.Gradient(shape, gather, x, gradient, context)));
      ASSERT_TRUE(SameBits(only_values[i], values[i]));
      for (int k = 0; k < stride; ++k) ASSERT_TRUE(SameBits(gradients[i * stride + k], gradient[k]));
    }
  }
}

TEST(Evaluator, margin_has_the_sign_of_the_condition) {
  RandomTrees random(6, 4);
  Evaluator evaluator;
  int held = 0, failed = 0;
  for (int trial = 0; trial < 2000; ++trial) {
    const Stream stream = random.Condition(trial % 4);
    const std::vector<double> x = random.Point(4, 0.2, 2);
    const Compiled one(stream);
    ASSERT_TRUE(one.shape.is_condition);
    const bool holds = evaluator.Holds(one.shape, one.gather, x, {.time = 7});
    const double margin = evaluator.Margin(one.shape, one.gather, x, {.time = 7});
    if (std::isnan(margin) || std::fabs(margin) < 1e-9) continue;
    EXPECT_EQ(holds, Interpret<double>(stream, x) != 0) << Show(stream);
    EXPECT_EQ(holds, margin > 0) << Show(stream) << " margin " << margin;
    ++(holds ? held : failed);
  }
  EXPECT_GT(held, 300);
  EXPECT_GT(failed, 300);
}

TEST(Evaluator, margins_and_text_comparisons) {
  struct Case {
    const char* stream;
    bool holds;
    double margin;
  };
  const double infinity = std::numeric_limits<double>::infinity();
  const Case cases[] = {
      // at A = 3, B = 5
      {"12 A 18.5", true, 15.5},
      {"9 A B", false, -2},
      {"11 A 3.0", true, 0},
      {"12 A 3.0", false, 0},
      {"5 12 A B 9 A 2.5", true, 0.5},
      {"6 9 A B 9 A 4.0", false, -1},
      {"8 A 3.0", true, 0},
      {"13 A B", true, 2},
      {"8 \"Yes\" \"yES\"", true, infinity},
      {"13 \"Yes\" \"yes\"", false, -infinity},
      {"8 \"Yes\" \"Yes2\"", false, -infinity},
      {"5 8 \"Yes\" \"yes\" 12 A B", true, 2},
      {"6 8 \"Yes\" \"no\" 12 A B", true, 2},
  };
  Evaluator evaluator;
  const double x[] = {3, 5};
  for (const Case& c : cases) {
    Names names{{"A", "B"}};
    const Compiled one(Read(c.stream, names));
    EXPECT_EQ(evaluator.Holds(one.shape, one.gather, x), c.holds) << c.stream;
    EXPECT_EQ(evaluator.Margin(one.shape, one.gather, x), c.margin) << c.stream;
  }
}

}  // namespace
}  // namespace quiver
