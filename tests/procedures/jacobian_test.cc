// SPDX-License-Identifier: Apache-2.0
// Derivatives by differences: the step's rule at bounds, the guard against overflow, which inputs are
// stepped.
#include <cmath>
#include <limits>

#include "tests/procedures/routine_double.h"

using namespace quiver;
using namespace quiver::tests;
using testing::ElementsAre;

#define STEPPED_PROCEDURE(DO)                    \
  DO(TONE, "one", "Test", 1, 1, 1, "r*", "r", 0) \
  DO(TSEVERAL, "several", "Test", 5, 2, 1, "r* r r* i* r*", "r r", 0)
#define DECLARE(...) QV_DECLARE_PROCEDURE(, __VA_ARGS__)
#define DEFINE(NAME, ...) QV_DEFINE_PROCEDURE(NAME)
STEPPED_PROCEDURE(DECLARE)
STEPPED_PROCEDURE(DEFINE)

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kLargest = 1.79769313486231e308;

// The Jacobian of one output by one input at x, and where the routine was called.
struct Difference {
  double entry;
  std::vector<double> visited;
};
Difference OneStep(double x, double lower, double upper, const std::function<double(double)>& f) {
  Difference result{};
  QV_REALVARIABLE variable(true), y(true);
  Give(variable, x), Give(y, 0.0);
  Bound(variable, lower, upper);
  RoutineDouble routine([&](RoutineCall& c) {
    result.visited.push_back(c.Input(0));
    c.Output(0) = f(c.Input(0));
  });
  QVProc_TONE procedure(true, 0);
  GiveTwice(procedure, All(variable, y));
  double J[2] = {-99, -99};
  int i = 0;
  EXPECT_EQ(procedure.Jacobian(J, i), 0) << LastProcedureFault().sentence;
  EXPECT_EQ(i, 2);
  EXPECT_EQ(J[0], -99) << "the output's own entry is the host's";
  EXPECT_EQ(variable.RealValue(), x);
  result.entry = J[1];
  return result;
}

TEST(Steps, follow_the_rule_at_bounds) {
  const struct {
    const char* what;
    double x, lower, upper, moved, slope;  // slope: of the residual y - 3 x
  } cases[] = {
      {"free", 0.5, -kInfinity, kInfinity, 0.5 + 1e-6, -3},
      {"grows with x", -200.0, -1e9, 1e9, -200.0 + 1e-6 * 200.0, -3},
      {"just up to the bound", 0.5, 0.0, 0.5 + 1e-6, 0.5 + 1e-6, -3},
      {"down from the upper bound", 10.0, 0.0, 10.0, 10.0 - 1e-5, -3},
      {"boxed in, more room above", 0.5, 0.5 - 1e-7, 0.5 + 2e-7, 0.5 + 2e-7, -3},
      {"boxed in, as much above as below", 0.5, 0.5 - 1.0 / (1 << 24), 0.5 + 1.0 / (1 << 24),
       0.5 + 1.0 / (1 << 24), -3},
      {"boxed in, more room below: the quotient has the other sign", 0.5, 0.5 - 4e-7, 0.5 + 1e-7, 0.5 - 4e-7,
       +3},
  };
  for (const auto& c : cases) {
    const Difference d = OneStep(c.x, c.lower, c.upper, [](double x) { return 3 * x; });
    EXPECT_THAT(d.visited, ElementsAre(c.x, c.moved)) << c.what;
    EXPECT_NEAR(d.entry, c.slope, 1e-8) << c.what;
  }
  const Difference none = OneStep(2.0, 2.0, 2.0, [](double x) { return 3 * x; });
  EXPECT_EQ(none.entry, 0.0) << "no room is no slope, not NaN";
}

TEST(Steps, that_overflow_are_kept_at_the_largest_quotient) {
  const auto jump = [](double up) { return [up](double x) { return x > 0.5 ? up : x < 0.5 ? -up : 0.0; }; };
  EXPECT_EQ(OneStep(0.5, -1, 1, jump(1e305)).entry, -kLargest);  // change and step agree
  EXPECT_EQ(OneStep(0.5, -1, 1, jump(-1e305)).entry, kLargest);
  EXPECT_EQ(OneStep(0.5, -1, 0.5, jump(1e305)).entry, -kLargest);  // down: both negative
  EXPECT_EQ(OneStep(0.5, -1, 0.5, jump(-1e305)).entry, kLargest);
  const double just_fits = 1e-6 * 1.7e308;
  EXPECT_EQ(OneStep(0.5, -1, 1, jump(just_fits)).entry, -just_fits / 1e-6);
}

class SeveralInputs : public testing::Test {
 protected:
  SeveralInputs() {
    Give(a, 2.0), Give(fixed, 3.0), Give(parameter, 5.0), whole.SetCurrentValue(7);
    QV_Value start(0.25);
    by_default.Assign(&start);
    Give(y, 0.0), Give(z, 0.0);
    GiveTwice(procedure, All(a, fixed, parameter, whole, by_default, y, z));
  }
  QV_REALVARIABLE a{true}, fixed{true}, by_default{true}, y{true}, z{true};
  QV_REALPARAMETER parameter{true};
  QV_INTEGERPARAMETER whole{true};
  double fails_above = kInfinity;
  RoutineDouble routine{[this](RoutineCall& c) {
    if (c.Input(0) > fails_above) *c.failure = 6;
    c.Output(0) = std::sin(c.Input(0)) * c.Input(1) + c.Input(2);
    c.Output(1) = c.Input(0) * c.Input(4) * c.Input(4);
  }};
  QVProc_TSEVERAL procedure{true, 0};
};

TEST_F(SeveralInputs, give_columns_for_variables_and_zeros_where_nothing_is_stepped) {
  double r[2], rows[14];
  ASSERT_TRUE(EvaluateProcedure(procedure, r, rows)) << LastProcedureFault().sentence;
  // Columns: a, fixed (a variable, not flagged), parameter, whole, by_default; then the outputs.
  const double expected[] = {-std::cos(2.0) * 3, 0, 0, 0, 0, 1, 0, -0.0625, 0, 0, 0, -2 * 2.0 * 0.25, 0, 1};
  for (int k = 0; k < 14; ++k) EXPECT_NEAR(rows[k], expected[k], 1e-5) << k;
  EXPECT_EQ(routine.types.size(), 3u) << "the base point once, then two steps";
  EXPECT_TRUE(by_default.HoldsDefault());
  EXPECT_FALSE(a.HoldsDefault());
  EXPECT_EQ(by_default.RealValue(), 0.25);
  for (int j = 0; j < 2; ++j) EXPECT_EQ(rows[7 * j + 5 + j], 1.0);
}

TEST_F(SeveralInputs, keep_the_other_columns_when_one_step_fails) {
  fails_above = 2.0;
  double J[9];
  std::fill(std::begin(J), std::end(J), -99.0);
  int i = 1;
  EXPECT_EQ(procedure.Jacobian(J, i), kRoutineFailed);
  EXPECT_EQ(i, 9);
  EXPECT_EQ(J[2], -99.0) << "unset";
  EXPECT_EQ(J[3], 0.0);
  EXPECT_NEAR(J[8], -1.0, 1e-5);
  EXPECT_EQ(a.RealValue(), 2.0);
}

}  // namespace
