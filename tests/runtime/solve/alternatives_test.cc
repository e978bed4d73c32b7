// SPDX-License-Identifier: Apache-2.0
// Equations that change their form with the solution.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/runtime/solve/lambda_problem.h"

namespace quiver {
namespace {

using testing::HasSubstr;

// Y = X^2 below the switch, a line above; X + Y = total. The solution is below, on or above X = 1.
class KinkTest : public testing::TestWithParam<double> {};

TEST_P(KinkTest, a_kink_is_crossed_and_met) {
  const double solution = GetParam();
  for (double start : {-3.0, 0.2, 1.0, 8.0}) {
    LambdaProblem p;
    const int x = p.Free("X", start), y = p.Free("Y", 1.0);
    const double total = solution + (solution < 1 ? solution * solution : 5.0 * solution - 4.0);
    p.Given("Form", {x, y}, {}, [=](const double* v) { return v[x] < 1.0 ? 0 : 1; },
            {{"square", [=](const Dual* v) { return v[y] - v[x] * v[x]; }},
             {"line", [=](const Dual* v) { return v[y] - 5.0 * v[x] + 4.0; }}});
    p.Equation("Sum", {x, y}, [=](const Dual* v) { return v[x] + v[y] - total; });
    const SolveSummary summary = p.Solve();
    // From far below, the square has a second root, which solves its alternative as well.
    ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << summary.failures.at(0).reason;
    if (start > 0.0) {
      EXPECT_NEAR(p.x[x], solution, 1e-12) << "from " << start;
    }
    EXPECT_LT(summary.iterations, 15);
  }
}

INSTANTIATE_TEST_SUITE_P(Switch, KinkTest, testing::Values(0.5, 1.0, 1.0 + 1e-15, 2.0));

// The pressure stays at the set point while the valve closes: the only solution is the switch itself, and the
// other alternative, which a rounding error away holds, has no solution there.
TEST(Alternatives, a_jump_exactly_at_the_solution_is_a_solution) {
  for (double set_point : {1.0, 0.3, 1.0 / 3.0}) {
    LambdaProblem p;
    const int x = p.Free("P", 5.0), y = p.Free("FLOW", 1.0);
    p.Given("Valve", {y}, {x}, [=](const double* v) { return v[x] * 3.0 <= set_point * 3.0 ? 0 : 1; },
            {{"open", [=](const Dual* v) { return v[y] * 7.0 - set_point * 7.0 * 1.1; }},
             {"closed", [=](const Dual* v) { return v[y] - 0.5 * set_point; }}});
    p.Equation("Head", {x, y}, [=](const Dual* v) { return v[x] - v[y] / 1.1; });
    const SolveSummary summary = p.Solve();
    ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << set_point << ' ' << summary.failures.at(0).reason;
    EXPECT_NEAR(p.x[x], set_point, 1e-14);
    EXPECT_NEAR(p.x[y], 1.1 * set_point, 1e-14);
  }
}

TEST(Alternatives, a_true_cycle_is_reported_with_both_alternatives) {
  LambdaProblem p;
  const int x = p.Free("LEVEL", 5.0), y = p.Free("INFLOW", 1.0);
  p.Given("Float", {y}, {x}, [=](const double* v) { return v[x] < 1.0 ? 0 : 1; },
          {{"filling", [=](const Dual* v) { return v[y] - 2.0; }},
           {"shut", [=](const Dual* v) { return v[y] - 0.1; }}});
  p.Equation("Balance", {x, y}, [=](const Dual* v) { return v[x] - v[y]; });
  const SolveSummary summary = p.Solve();
  EXPECT_EQ(summary.outcome, SolveOutcome::kCycling);
  ASSERT_EQ(summary.failures.size(), 1u);
  EXPECT_EQ(summary.failures[0].equation, 0);
  EXPECT_THAT(summary.failures[0].reason, HasSubstr("Float changes for ever between \""));
  EXPECT_THAT(summary.failures[0].reason, HasSubstr("\"filling\""));
  EXPECT_THAT(summary.failures[0].reason, HasSubstr("\"shut\""));
  EXPECT_GE(summary.alternatives.size(), 2u);
}

// The same in one unknown, where the jump is bracketed.
TEST(Alternatives, a_jump_over_zero_in_one_equation_is_reported) {
  LambdaProblem p;
  const int x = p.Free("X", 5.0);
  p.Given("Relay", {x}, {}, [=](const double* v) { return v[x] < 1.0 ? 0 : 1; },
          {{"on", [=](const Dual* v) { return v[x] - 2.0; }},
           {"off", [=](const Dual* v) { return v[x] - 0.1; }}});
  const SolveSummary summary = p.Solve();
  EXPECT_EQ(summary.outcome, SolveOutcome::kCycling);
  EXPECT_THAT(summary.failures.at(0).reason, HasSubstr("Relay changes for ever between"));
  EXPECT_NEAR(p.x[x], 1.0, 1e-6);
}

// Deciding all at once runs in a circle although the solution 0 is unique: I. Ben Gharbia, J. C. Gilbert,
// Math. Program. 134 (2012) 349-364.
TEST(Alternatives, complementarity_that_defeats_plain_switching) {
  for (double alpha : {1.2, 1.8, 3.0}) {
    for (double first : {-1.0, -0.2, 4.0}) {
      LambdaProblem p;
      for (int i = 0; i < 3; ++i) p.Free(Name("X", i), i == 0 ? first : 0.0);
      for (int i = 0; i < 3; ++i) {
        const int before = (i + 2) % 3;
        p.Given(Name("C", i), {i, before}, {},
                [=](const double* v) { return v[i] <= v[i] + alpha * v[before] + 1.0 ? 0 : 1; },
                {{"zero", [=](const Dual* v) { return v[i]; }},
                 {"active", [=](const Dual* v) { return v[i] + alpha * v[before] + 1.0; }}});
      }
      const SolveSummary summary = p.Solve();
      ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << summary.failures.at(0).reason;
      for (double value : p.x) EXPECT_NEAR(value, 0.0, 1e-12);
    }
  }
}

// Twenty coupled check valves, of which some close: the set that is open has to be found.
TEST(Alternatives, many_switches_settle) {
  LambdaProblem p;
  const int n = 20, header = p.Free("HEADER", 50.0, {.lower = 0.0, .scale = 10.0});
  std::vector<int> flows;
  for (int i = 0; i < n; ++i) {
    const int flow = p.Free(Name("F", i), 1.0);
    const double source = 3.0 + i;
    flows.push_back(flow);
    p.Given(Name("Check", i), {flow, header}, {}, [=](const double* v) { return v[header] < source ? 0 : 1; },
            {{"open", [=](const Dual* v) { return v[flow] * (1.0 + 0.2 * v[flow]) - (source - v[header]); }},
             {"closed", [=](const Dual* v) { return v[flow]; }}});
  }
  flows.push_back(header);
  p.Equation("Header", flows, [=](const Dual* v) {
    Dual sum = 0.0 - 0.8 * v[header];
    for (int flow : flows) {
      if (flow != header) sum = sum + v[flow];
    }
    return sum;
  });
  const SolveSummary summary = p.Solve();
  ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << summary.failures.at(0).reason;
  double inflow = 0.0;
  for (int i = 0; i < n; ++i) {
    const double head = 3.0 + i - p.x[header];
    EXPECT_NEAR(p.x[flows[i]], head > 0.0 ? (-1.0 + std::sqrt(1.0 + 0.8 * head)) / 0.4 : 0.0, 1e-12);
    inflow += p.x[flows[i]];
  }
  EXPECT_NEAR(inflow, 0.8 * p.x[header], 1e-11);
}

}  // namespace
}  // namespace quiver
