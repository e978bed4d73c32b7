// SPDX-License-Identifier: Apache-2.0
// Published test problems. Unless named otherwise: J. J. More, B. S. Garbow, K. E. Hillstrom, Testing
// Unconstrained Optimization Software, ACM Trans. Math. Software 7 (1981) 17-41, with their starting points.
#include <gtest/gtest.h>

#include "tests/runtime/solve/lambda_problem.h"

namespace quiver {
namespace {

struct Case {
  const char* name;
  std::function<std::vector<double>(LambdaProblem&)>
      build;  // gives the solution; empty if only residuals count
  double tolerance = 1e-13;
  int most_iterations = 30;
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

class Literature : public testing::TestWithParam<Case> {};

TEST_P(Literature, is_solved) {
  LambdaProblem p;
  const std::vector<double> expected = GetParam().build(p);
  const SolveSummary summary = p.Solve();
  ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << summary.failures.at(0).reason;
  EXPECT_EQ(summary.blocks, 1);
  EXPECT_LE(summary.iterations, GetParam().most_iterations);
  EXPECT_LE(summary.largest_residual, 1e-9);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(p.x[i], expected[i], GetParam().tolerance * std::max(1.0, std::abs(expected[i]))) << i;
  }
  RecordProperty("iterations", summary.iterations);
  RecordProperty("evaluations", summary.evaluations);
}

std::vector<int> FreeVariables(LambdaProblem& p, const std::vector<double>& start, Range range = {}) {
  std::vector<int> all;
  for (double value : start) all.push_back(p.Free(Name("X", all.size() + 1), value, range));
  return all;
}

// Row sums and differences make one block of what would be triangular.
std::vector<double> Rosenbrock(LambdaProblem& p) {
  FreeVariables(p, {-1.2, 1.0});
  const auto valley = [](const Dual* x) { return 10.0 * (x[1] - x[0] * x[0]); };
  p.Equation("Sum", {0, 1}, [=](const Dual* x) { return valley(x) + (1.0 - x[0]); });
  p.Equation("Difference", {0, 1}, [=](const Dual* x) { return valley(x) - (1.0 - x[0]); });
  return {1.0, 1.0};
}

std::vector<double> PowellSingular(LambdaProblem& p) {
  FreeVariables(p, {3, -1, 0, 1});
  p.Equation("F1", {0, 1}, [](const Dual* x) { return x[0] + 10.0 * x[1]; });
  p.Equation("F2", {2, 3}, [](const Dual* x) { return std::sqrt(5.0) * (x[2] - x[3]); });
  p.Equation("F3", {1, 2}, [](const Dual* x) { return Square(x[1] - 2.0 * x[2]); });
  p.Equation("F4", {0, 3}, [](const Dual* x) { return std::sqrt(10.0) * Square(x[0] - x[3]); });
  return {0, 0, 0, 0};
}

std::vector<double> PowellBadlyScaled(LambdaProblem& p) {
  FreeVariables(p, {0, 1});
  p.Equation("F1", {0, 1}, [](const Dual* x) { return 1e4 * x[0] * x[1] - 1.0; });
  p.Equation("F2", {0, 1}, [](const Dual* x) { return Exp(0.0 - x[0]) + Exp(0.0 - x[1]) - 1.0001; });
  return {1.0981593296997149e-5, 9.106146739867453};
}

std::vector<double> FreudensteinRoth(LambdaProblem& p) {
  FreeVariables(p, {6, 3});  // their start (0.5, -2) lies in the basin of a local minimum
  p.Equation("F1", {0, 1}, [](const Dual* x) { return x[0] - 13.0 + ((5.0 - x[1]) * x[1] - 2.0) * x[1]; });
  p.Equation("F2", {0, 1}, [](const Dual* x) { return x[0] - 29.0 + ((x[1] + 1.0) * x[1] - 14.0) * x[1]; });
  return {5, 4};
}

std::vector<double> BrownAlmostLinear(LambdaProblem& p) {
  const int n = 10;
  const std::vector<int> all = FreeVariables(p, std::vector<double>(n, 0.5));
  for (int i = 0; i < n - 1; ++i) {
    p.Equation(Name("F", i), all, [=](const Dual* x) {
      Dual sum = x[i] - (n + 1.0);
      for (int j : all) sum = sum + x[j];
      return sum;
    });
  }
  p.Equation("Product", all, [=](const Dual* x) {
    Dual product = 1.0;
    for (int j : all) product = product * x[j];
    return product - 1.0;
  });
  return {};
}

std::vector<double> BroydenTridiagonal(LambdaProblem& p) {
  const int n = 10000;
  FreeVariables(p, std::vector<double>(n, -1.0));
  for (int i = 0; i < n; ++i) {
    std::vector<int> variables{i};
    if (i > 0) variables.push_back(i - 1);
    if (i < n - 1) variables.push_back(i + 1);
    p.Equation(Name("F", i), variables, [=](const Dual* x) {
      return (3.0 - 2.0 * x[i]) * x[i] - (i > 0 ? x[i - 1] : Dual()) - (i < n - 1 ? 2.0 * x[i + 1] : Dual()) +
             1.0;
    });
  }
  return {};
}

// A chain of 10,000 units, each with a mild nonlinearity and its own feed, closed by a recycle.
std::vector<double> RecycleLoop(LambdaProblem& p) {
  const int n = 10000;
  const std::vector<int> all = FreeVariables(p, std::vector<double>(n, 1.0), {.lower = 0.0});
  for (int i = 0; i < n; ++i) {
    const int from = (i + n - 1) % n;
    p.Equation(Name("Unit", i), {i, from}, [=](const Dual* x) {
      return x[i] * (1.0 + 0.1 * x[i]) - 0.9 * x[from] - (i % 10 == 0 ? 5.0 : 0.0);
    });
  }
  return {};
}

INSTANTIATE_TEST_SUITE_P(
    All, Literature,
    testing::Values(Case{"Rosenbrock", Rosenbrock}, Case{"PowellSingular", PowellSingular, 1e-7, 45},
                    Case{"PowellBadlyScaled", PowellBadlyScaled, 1e-12, 60},
                    Case{"FreudensteinRoth", FreudensteinRoth}, Case{"BrownAlmostLinear", BrownAlmostLinear},
                    Case{"BroydenTridiagonal", BroydenTridiagonal}, Case{"RecycleLoop", RecycleLoop}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace quiver
