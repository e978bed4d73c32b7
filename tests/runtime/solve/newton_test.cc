// SPDX-License-Identifier: Apache-2.0
// Bounds, faults, singular points and the order of blocks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "tests/runtime/solve/lambda_problem.h"

namespace quiver {
namespace {

using testing::HasSubstr;

// a F = b / (F + eps): F doubles with every Newton step from F = 1. The positive root in closed form.
TEST(ScalarNewton, orifice_equation_finds_the_positive_root) {
  const double eps = 1e-5;
  for (double lower : {0.0, -1e10}) {
    for (double b : {0.0, 1e-8, 1.0, 1e8, 1e16}) {
      LambdaProblem p;
      const int flow = p.Free("F", 1.0, {.lower = lower}), head = p.Fixed("B", b);
      p.Equation("Orifice", {flow, head}, [=](const Dual* v) { return v[flow] - v[head] / (v[flow] + eps); });
      const SolveSummary summary = p.Solve();
      ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << b << ' ' << summary.failures.at(0).reason;
      const double root = b == 0.0 ? 0.0 : 2.0 * b / (eps + std::sqrt(eps * eps + 4.0 * b));
      EXPECT_NEAR(p.x[flow], root, 4e-16 * root) << b;
      EXPECT_GE(p.least_seen, 0.0) << b;
      EXPECT_LT(summary.iterations, 40) << b;
    }
  }
}

// A share in (0, 1] under a logarithm with a floor; below the floor the slope of the logarithm vanishes, and
// Newton from there goes astray.
TEST(ScalarNewton, floored_logarithm_of_a_phase_share) {
  for (double start : {1.0, 0.5, 1e-12, 0.0}) {
    for (double solution : {0.9, 0.02, 1e-6}) {
      LambdaProblem p;
      const double c = 0.02;
      const int share = p.Free("X", start, {.lower = 0.0, .upper = 1.0});
      const auto f = [=](Dual x) { return Log(Max(x / c, 1e-10)) + 3.0 * x; };
      const double target = f(solution).value;
      p.Equation("Phase", {share}, [=](const Dual* v) { return f(v[share]) - target; });
      const SolveSummary summary = p.Solve();
      ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << summary.failures.at(0).reason;
      EXPECT_NEAR(p.x[share], solution, 1e-13 * std::max(solution, 0.01)) << start;
    }
  }
}

// Where the slope is zero, Newton has no step; the range of the unknown is searched for a change of sign.
TEST(ScalarNewton, starts_on_a_plateau) {
  for (double start : {0.0, 1e-15, -3e4}) {
    LambdaProblem p;
    const int x = p.Free("X", start, {.upper = 1.0});
    p.Equation("Floor", {x}, [=](const Dual* v) { return Log(Max(v[x] / 0.02, 1e-10)) - 2.0; });
    ASSERT_EQ(p.Solve().outcome, SolveOutcome::kConverged) << start;
    EXPECT_NEAR(p.x[x], 0.02 * std::exp(2.0), 1e-15);
  }
}

// Flow without head: the solution lies on a bound where the slope of the root is infinite.
TEST(Newton, infinite_slope_at_a_bound) {
  for (bool coupled : {false, true}) {
    LambdaProblem p;
    const int x = p.Free("DP", 2.0, {.lower = 0.0}), y = p.Free("FLOW", 1.0);
    p.Equation("Orifice", {x, y}, [=](const Dual* v) { return v[y] - 3.0 * Sqrt(v[x]); });
    p.Equation("Closed", {x, y}, [=](const Dual* v) { return coupled ? v[y] + v[x] : v[y] + 0.0 * v[x]; });
    p.Free("Z", 1.0, {.lower = 0.0});
    p.Equation("Alone", {2}, [=](const Dual* v) { return Sqrt(v[2]); });
    const SolveSummary summary = p.Solve();
    ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << summary.failures.at(0).reason;
    EXPECT_LT(summary.iterations, 25);
    EXPECT_NEAR(p.x[y], 0.0, 1e-7);
    EXPECT_NEAR(p.x[2], 0.0, 1e-8);
  }
}

TEST(ScalarNewton, no_root_is_said_and_a_pole_is_not_taken_for_one) {
  LambdaProblem p;
  const int x = p.Free("X", 0.5), y = p.Free("Y", 1.35, {.lower = 0.0}), z = p.Free("Z", 0.5, {.lower = 0.1});
  p.Equation("NoRoot", {x}, [=](const Dual* v) { return v[x] * v[x] + 1.0; });
  p.Equation("Pole", {y}, [=](const Dual* v) { return 1.0 / (v[y] * v[y] - 2.0) + 0.1 * (v[y] - 1.4); });
  p.Equation("Beyond", {z}, [=](const Dual* v) { return v[z] - 0.02; });
  const SolveSummary summary = p.Solve();
  EXPECT_EQ(summary.blocks_failed, 3);
  ASSERT_EQ(summary.failures.size(), 3u);
  EXPECT_EQ(summary.outcome, SolveOutcome::kStalled);
  EXPECT_THAT(summary.failures[0].reason, HasSubstr("NoRoot: residual 1"));
  EXPECT_THAT(summary.failures[1].reason, HasSubstr("Pole: residual"));
  EXPECT_EQ(summary.failures[2].reason,
            "Beyond: residual 0.08 cannot be reduced: Z = 0.1 is at its lower bound. Widen the bound or "
            "change what "
            "is fixed.");
}

TEST(Newton, an_exact_start_costs_nothing) {
  LambdaProblem p;
  const int x = p.Free("X", 2.0), y = p.Free("Y", 3.0);
  p.Equation("Product", {x, y}, [=](const Dual* v) { return v[x] * v[y] - 6.0; });
  p.Equation("Sum", {x, y}, [=](const Dual* v) { return v[x] + v[y] - 5.0; });
  const SolveSummary summary = p.Solve();
  EXPECT_EQ(summary.outcome, SolveOutcome::kConverged);
  EXPECT_EQ(summary.iterations, 0);
  EXPECT_EQ(summary.largest_residual, 0.0);
}

// Solutions on the border of the bounds, wrong solutions beyond it, starts in a corner and outside.
TEST(Newton, bounds_active_at_the_solution) {
  for (double start : {0.0, 0.4, 1.0, 30.0}) {
    LambdaProblem p;
    const int x = p.Free("X", start, {.lower = 0.0, .upper = 1.0}),
              y = p.Free("Y", start, {.lower = 0.0, .upper = 5.0});
    p.Equation("Curve", {x, y}, [=](const Dual* v) { return Square(v[x]) - 0.25 * v[x] + 0.2 * v[y]; });
    p.Equation("Line", {x, y}, [=](const Dual* v) { return v[y] + 3.0 * v[x]; });  // (0, 0) and (0.85, -2.55)
    const SolveSummary summary = p.Solve();
    ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << start << ' ' << summary.failures.at(0).reason;
    EXPECT_NEAR(p.x[x], 0.0, 1e-12);
    EXPECT_NEAR(p.x[y], 0.0, 1e-12);
    EXPECT_GE(p.least_seen, 0.0);
    EXPECT_EQ(summary.moved_into_bounds.size(), start > 5.0 ? 2u : 0u);
  }
}

TEST(Newton, a_bound_that_excludes_the_solution_is_named) {
  LambdaProblem p;
  const int x = p.Free("X", 2.0, {.lower = 1.0}), y = p.Free("Y", 2.0);
  p.Equation("Product", {x, y}, [=](const Dual* v) { return v[x] * v[y] - 1.0; });
  p.Equation("Ratio", {x, y}, [=](const Dual* v) { return v[y] - 4.0 * v[x]; });  // X = 0.5
  const SolveSummary summary = p.Solve();
  EXPECT_EQ(summary.outcome, SolveOutcome::kAtBound);
  EXPECT_EQ(summary.worst_variable, x);
  EXPECT_THAT(summary.failures.at(0).reason, HasSubstr("X = 1 is at its lower bound"));
}

TEST(Newton, steps_shrink_where_values_are_not_numbers) {
  LambdaProblem p;
  const int x = p.Free("X", 0.01), y = p.Free("Y", 0.5);
  p.Equation("Root", {x, y},
             [=](const Dual* v) { return Sqrt(1.0 - v[x]) - 0.1 * v[y]; });  // no number beyond 1
  p.Equation("Flat", {x, y}, [=](const Dual* v) { return v[y] - Log(v[x] + 1.0); });
  const SolveSummary summary = p.Solve();
  ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << summary.failures.at(0).reason;
  EXPECT_NEAR(std::sqrt(1.0 - p.x[x]), 0.1 * std::log1p(p.x[x]), 1e-15);

  p.x = {7.0, 0.5};
  const SolveSummary at_fault = p.Solve();
  EXPECT_EQ(at_fault.outcome, SolveOutcome::kFault);
  EXPECT_EQ(at_fault.worst_equation, 0);
  EXPECT_EQ(
      at_fault.failures.at(0).reason,
      "Root cannot be evaluated near X = 7: the value is not a number. Start from another value or set a "
      "bound.");
}

TEST(Newton, a_singular_start_is_left_and_a_redundant_system_is_noted) {
  LambdaProblem p;
  const int x = p.Free("X", 0.0), y = p.Free("Y", 0.0);
  p.Equation("Circle", {x, y}, [=](const Dual* v) { return v[x] * v[x] + v[y] * v[y] - v[x] - 2.0; });
  p.Equation("Hyperbola", {x, y}, [=](const Dual* v) { return v[x] * v[y] - v[y] + 0.3; });
  SolveSummary summary = p.Solve();
  ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << summary.failures.at(0).reason;
  EXPECT_TRUE(summary.notes.empty());

  for (double total : {1.0, 5.0}) {  // consistent for 1 only
    LambdaProblem twice;
    const int a = twice.Free("A", 3.0), b = twice.Free("B", 0.0);
    twice.Equation("Once", {a, b}, [=](const Dual* v) { return v[a] + v[b] - 1.0; });
    twice.Equation("Twice", {a, b}, [=](const Dual* v) { return 3.0 * v[a] + 3.0 * v[b] - 3.0 * total; });
    summary = twice.Solve();
    if (total == 1.0) {
      ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << summary.failures.at(0).reason;
      EXPECT_NEAR(twice.x[a] + twice.x[b], 1.0, 1e-9);
      EXPECT_EQ(summary.notes.size(), 1u);
    } else {
      EXPECT_EQ(summary.outcome, SolveOutcome::kSingular);
      EXPECT_THAT(summary.failures.at(0).reason, HasSubstr("do not determine"));
    }
  }
}

// Other units for the unknowns and other factors before the equations must not change the way to the
// solution.
TEST(Newton, units_do_not_matter) {
  std::vector<int> iterations;
  for (double unit : {1.0, 1.0 / 1048576.0, 1048576.0}) {
    LambdaProblem p;
    const int x = p.Free("X", -1.2 * unit, {.scale = unit}),
              y = p.Free("Y", 1.0 / unit, {.scale = 1.0 / unit});
    const auto u = [=](const Dual* v) { return v[x] / unit; };
    const auto w = [=](const Dual* v) { return v[y] * unit; };
    p.Equation("A", {x, y}, [=](const Dual* v) { return unit * (10.0 * (w(v) - u(v) * u(v)) + 1.0 - u(v)); });
    p.Equation("B", {x, y},
               [=](const Dual* v) { return (10.0 * (w(v) - u(v) * u(v)) - 1.0 + u(v)) / unit / unit; });
    iterations.push_back(p.Solve().iterations);
    EXPECT_NEAR(p.x[x] / unit, 1.0, 1e-13);
  }
  EXPECT_EQ(iterations[0], iterations[1]);
  EXPECT_EQ(iterations[0], iterations[2]);
}

// Small blocks in triangular order under a random permutation, with a solution known beforehand.
TEST(BlockSolver, random_permuted_triangular_systems) {
  std::mt19937 random(5);
  for (int trial = 0; trial < 20; ++trial) {
    const int n = 60;
    std::vector<int> name(n), order(n);
    std::iota(name.begin(), name.end(), 0);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(name.begin(), name.end(), random);
    std::shuffle(order.begin(), order.end(), random);
    const auto solution = [](int variable) { return 1.0 + 0.1 * (variable % 17); };
    LambdaProblem p;
    for (int i = 0; i < n; ++i) p.Free(Name("X", i), 1.5, {.lower = 0.0});
    for (int i : order) {
      const int own = name[i], mate = name[i ^ 1],
                before = i > 1 ? name[random() % static_cast<unsigned>(i & ~1)] : own;
      std::vector<int> variables{own, mate};
      if (before != own) variables.push_back(before);
      const auto side = [=](Dual a, Dual b, Dual c) { return a * a * (1.0 + 0.1 * c) + 0.3 * Sqrt(b) * a; };
      const double right = side(solution(own), solution(mate), solution(before)).value;
      p.Equation(Name("E", i), variables,
                 [=](const Dual* v) { return side(v[own], v[mate], v[before]) - right; });
    }
    const SolveSummary summary = p.Solve();
    ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << summary.failures.at(0).reason;
    EXPECT_EQ(summary.blocks, n / 2);
    EXPECT_EQ(summary.largest_block, 2);
    for (int i = 0; i < n; ++i) EXPECT_NEAR(p.x[i], solution(i), 1e-13);
  }
}

TEST(BlockSolver, what_does_not_depend_on_a_failure_is_solved) {
  LambdaProblem p;
  const int bad = p.Free("BAD", 1.0), after = p.Free("AFTER", 1.0), other = p.Free("OTHER", 1.0);
  const int chosen = p.Free("CHOSEN", 1.0);
  p.Equation("Bad", {bad}, [=](const Dual* v) { return Square(v[bad]) + 1.0; });
  p.Equation("After", {after, bad}, [=](const Dual* v) { return v[after] - v[bad]; });
  p.Equation("Other", {other}, [=](const Dual* v) { return Square(v[other]) - 9.0; });
  p.Given("Chosen", {chosen}, {after}, [](const double*) { return 0; },
          {{"only", [=](const Dual* v) { return v[chosen] - 4.0; }}});
  const SolveSummary summary = p.Solve();
  EXPECT_EQ(summary.blocks_failed, 1);
  EXPECT_EQ(summary.blocks_skipped, 2);
  EXPECT_EQ(summary.worst_equation, 0);
  EXPECT_DOUBLE_EQ(p.x[other], 3.0);
  EXPECT_EQ(p.x[after], 1.0);
  EXPECT_EQ(p.x[chosen], 1.0);
}

}  // namespace
}  // namespace quiver
