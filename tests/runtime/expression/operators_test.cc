// SPDX-License-Identifier: Apache-2.0
// Each row of the operator table: its value against numbers known from elsewhere, its derivatives against
// central differences in long double, and the values at kinks that the table's head promises.
#include "runtime/expression/operators.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "runtime/expression/evaluator.h"
#include "tests/runtime/expression/trees.h"

namespace quiver {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(Operators, values_of_every_code) {
  // At a = 0.7, b = 1.9; functions from a table of elementary functions, not from this program.
  const std::map<int, double> expected = {{1, 0.7},
                                          {5, 1},
                                          {6, 1},
                                          {8, 0},
                                          {9, 0},
                                          {10, 1},
                                          {11, 0},
                                          {12, 1},
                                          {13, 1},
                                          {15, -0.7},
                                          {19, 2.6},
                                          {20, -1.2},
                                          {21, 1.33},
                                          {22, 7. / 19},
                                          {24, 0.507792493},
                                          {26, 0.644217687},
                                          {27, 0.764842187},
                                          {34, 0.604367777},
                                          {35, 0.836660027},
                                          {36, 2.013752707},
                                          {37, -0.356674944},
                                          {38, -0.154901960},
                                          {39, 0.7},
                                          {40, 0.49},
                                          {55, 0.7},
                                          {57, 0.7},
                                          {98, 1.9},
                                          {99, 0.7}};
  for (const OperatorInfo& row : AllOperators()) {
    EXPECT_EQ(FindOperator(row.code()), &row);
    if (row.role == Role::kList || row.role == Role::kEndOfList) continue;
    ASSERT_TRUE(expected.contains(row.code())) << row.name;
    EXPECT_NEAR(ValueOf<double>(row.op, 0.7, 1.9), expected.at(row.code()), 1e-9) << row.name;
  }
  EXPECT_EQ(FindOperator(2), nullptr);
  EXPECT_EQ(FindOperator(103), nullptr);
  EXPECT_EQ(FindOperator(-1), nullptr);
}

TEST(Operators, derivatives_agree_with_central_differences) {
  RandomTrees random(1, 1);
  int compared = 0;
  for (const OperatorInfo& row : AllOperators()) {
    if (row.role != Role::kArithmetic || row.arity == 0) continue;
    for (int trial = 0; trial < 200; ++trial) {
      const bool positive_only = !std::isfinite(ValueOf<double>(row.op, -0.5, 0.3));
      const long double p[2] = {random.Uniform(positive_only ? 0.05 : -3, 3), random.Uniform(-3, 3)};
      if (std::abs(p[0]) < 0.01 || std::abs(p[1]) < 0.01 || std::abs(p[0] - p[1]) < 0.01) continue;
      const long double v = ValueOf<long double>(row.op, p[0], p[1]);
      for (int operand = 0; operand < row.arity; ++operand) {
        if (row.op == Operator::kDelay && operand == 1) continue;  // no influence at steady state
        auto at = [&](long double h) {
          return ValueOf<long double>(row.op, p[0] + (operand == 0 ? h : 0), p[1] + (operand == 1 ? h : 0));
        };
        const long double h = 1e-5L;
        const long double difference = (8 * (at(h) - at(-h)) - (at(2 * h) - at(-2 * h))) / (12 * h);
        const long double slope = DerivativeOf<long double>(row.op, operand, p[0], p[1], v);
        ASSERT_NEAR(slope, difference, 1e-11L * (1 + std::abs(slope) + std::abs(v)))
            << row.name << " by operand " << operand << " at " << p[0] << ", " << p[1];
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 4000);
}

struct Kink {
  const char* stream;  // of A and B
  double a, b, value, by_a, by_b;
};

// Through the compiled programs, which must keep the table's promises where they rewrite powers and lists.
TEST(Operators, values_and_slopes_at_kinks) {
  const Kink kinks[] = {
      {"19 39 A 21 0.0 B", 0, 1, 0, 1, 0},
      {"98 A B", 2, 2, 2, 1, 0},
      {"99 A B", 2, 2, 2, 1, 0},
      {"46 A B 0", 2, 2, 2, 1, 0},
      {"47 A B A 0", 2, 2, 2, 1, 0},
      {"98 A B", kNan, 1, kNan, 1, 0},
      {"98 A B", 1, kNan, kNan, 0, 1},
      {"19 35 A 21 0.0 B", 0, 1, 0, kInfinity, 0},
      {"35 98 A 21 0.0 B", -1, 2, 0, 0, 0},  // the slope at 0 is infinite, A has no part in it
      {"98 A 22 1.0 B", 2, 1e-300, 1e300, 0, -kInfinity},
      {"99 A 22 1.0 B", 2, 1e-300, 2, 1, 0},
      {"24 A B", 0, 2.5, 0, 0, 0},
      {"24 A B", 0, 1, 0, 1, 0},
      {"24 A B", 0, 0.5, 0, kInfinity, 0},
      {"24 A B", 0, 0, 1, 0, -kInfinity},
      {"24 A B", -2, 3, -8, 12, kNan},
      {"24 A B", -2, 0.5, kNan, kNan, kNan},
      {"24 A B", 1e-200, 2, 0, 2e-200, 0},  // the value underflows, the slope must not
      {"19 24 A 1.5 21 0.0 B", 0, 1, 0, 0, 0},
      {"19 24 A int 2 21 0.0 B", 0, 1, 0, 0, 0},
      {"19 24 A int 1 21 0.0 B", 0, 1, 0, 1, 0},
      {"45 A B A 0", 0, 3, 0, 0, 0},
      {"44 A B A 0", 1, 3, 5, 2, 1},
      {"57 A B", 4, 3, 4, 1, 0},
      {"19 21 A B 44 0", 4, 3, 12, 3, 4},
      {"21 21 A B 45 0", 4, 3, 12, 3, 4},
      {"98 21 A B 46 0", 4, 3, 12, 3, 4},
      {"99 21 A B 47 0", 4, 3, 12, 3, 4},
  };
  Evaluator evaluator;
  for (const Kink& kink : kinks) {
    Names names{{"A", "B"}};
    const Compiled one(Read(kink.stream, names));
    ASSERT_EQ(one.gather, (std::vector{0, 1})) << kink.stream;
    const double x[] = {kink.a, kink.b};
    double found[3];
    found[0] = evaluator.Gradient(one.shape, one.gather, x, std::span(found).subspan(1));
    EXPECT_THAT(found,
                testing::Pointwise(testing::NanSensitiveDoubleEq(), {kink.value, kink.by_a, kink.by_b}))
        << kink.stream << " at " << kink.a << ", " << kink.b;
  }
}

}  // namespace
}  // namespace quiver
