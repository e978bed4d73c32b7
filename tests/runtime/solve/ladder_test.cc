// SPDX-License-Identifier: Apache-2.0
// The ladder of methods: what each rung is there for, and what is told when none helps.
#include "runtime/solve/ladder.h"

#include <gmock/gmock.h>

#include "runtime/solve/homotopy.h"
#include "runtime/solve/method_list.h"
#include "tests/runtime/solve/lambda_problem.h"

namespace quiver {
namespace {

using testing::HasSubstr;

SolveSummary ClimbFrom(LambdaProblem& p, LadderOptions options = {}) {
  options.solve = p.options;
  return Climb(p, AnalyseStructure(p), options, p.x);
}

// J. J. More, B. S. Garbow, K. E. Hillstrom, ACM Trans. Math. Software 7 (1981) 17-41, problems 1, 3, 7 and 14, each by each
// method on its own.
void Rosenbrock(LambdaProblem& p) {
  p.Free("X", -1.2), p.Free("Y", 1.0);
  p.Equation("Sum", {0, 1}, [](const Dual* x) { return 10.0 * (x[1] - x[0] * x[0]) + (1.0 - x[0]); });
  p.Equation("Difference", {0, 1}, [](const Dual* x) { return 10.0 * (x[1] - x[0] * x[0]) - (1.0 - x[0]); });
}
void PowellBadlyScaled(LambdaProblem& p) {
  p.Free("X", 0.0), p.Free("Y", 1.0);
  p.Equation("Product", {0, 1}, [](const Dual* x) { return 1e4 * x[0] * x[1] - 1.0; });
  p.Equation("Exponentials", {0, 1},
             [](const Dual* x) { return Exp(-1.0 * x[0]) + Exp(-1.0 * x[1]) - 1.0001; });
}
void Exponential(LambdaProblem& p) {
  p.Free("X", 1.0), p.Free("Y", 1.0);
  p.Equation("First", {0, 1}, [](const Dual* x) { return Exp(x[0]) - 10.0 + x[1]; });
  p.Equation("Second", {0, 1}, [](const Dual* x) { return x[0] * x[1] - 2.0; });
}

TEST(Methods, EachSolvesOnItsOwn) {
  for (const MethodRow& row : AllMethods()) {
    if (!row.make) continue;
    for (void (*build)(LambdaProblem&) : {&Rosenbrock, &PowellBadlyScaled, &Exponential}) {
      if (build == &PowellBadlyScaled && std::string(row.name) == "pseudo-transient")
        continue;  // it gives up there
      LambdaProblem p;
      build(p);
      p.options.max_iterations = 500;
      BlockSolver solver = row.make();
      const SolveSummary summary = solver.Solve(p, AnalyseStructure(p), p.options, p.x);
      ASSERT_EQ(summary.outcome, SolveOutcome::kConverged) << row.name << ": " << summary.failures[0].reason;
      for (const int e : {0, 1}) {
        double residual = 1;
        ASSERT_TRUE(p.Evaluate({&e, 1}, p.x.data(), &residual, nullptr));
        EXPECT_NEAR(residual, 0, 1e-8) << row.name;
      }
    }
  }
  EXPECT_THROW(SolverByName("magic"), std::invalid_argument);
}

// Bounds hold at every evaluation of every method.
TEST(Methods, StayWithinTheBounds) {
  for (const char* name : {"newton", "trust-region", "pseudo-transient"}) {
    LambdaProblem p;
    p.Free("X", 0.6, {.lower = 0.5, .upper = 4.0}), p.Free("Y", 3.5, {.lower = 0.5, .upper = 4.0});
    p.Equation("First", {0, 1}, [](const Dual* x) { return Log(x[0] - 0.4) + x[1] - 2.0; });
    p.Equation("Second", {0, 1}, [](const Dual* x) { return x[0] * x[1] - 3.0; });
    BlockSolver solver = SolverByName(name);
    EXPECT_EQ(solver.Solve(p, AnalyseStructure(p), p.options, p.x).outcome, SolveOutcome::kConverged) << name;
    EXPECT_GE(p.least_seen, 0.5) << name;
  }
}

// The function of Freudenstein and Roth, number 2 of the collection: from (0.5, -2) every method that descends is drawn to
// a local minimum near (11.4, -0.9). The root is (5, 4). Here its constants are fixed variables, so that they can be moved.
LambdaProblem& FreudensteinRoth(LambdaProblem& p) {
  p.Free("X", 0.5), p.Free("Y", -2.0), p.Fixed("P", 13.0), p.Fixed("Q", 29.0);
  p.Equation("First", {0, 1, 2},
             [](const Dual* x) { return x[0] + ((5.0 - x[1]) * x[1] - 2.0) * x[1] - x[2]; });
  p.Equation("Second", {0, 1, 3},
             [](const Dual* x) { return x[0] + ((x[1] + 1.0) * x[1] - 14.0) * x[1] - x[3]; });
  return p;
}
const std::vector<double> kSolvedNearby = {6, 3, 18, 0};

TEST(Homotopy, ReachesWhatNewtonDoesNot) {
  LambdaProblem p;
  ASSERT_NE(FreudensteinRoth(p).Solve().outcome, SolveOutcome::kConverged) << "the case is no longer hard";
  LambdaProblem q;
  FreudensteinRoth(q);
  const HomotopyResult result = MoveFixedValues(q, AnalyseStructure(q), kSolvedNearby, {}, q.x);
  EXPECT_EQ(result.summary.outcome, SolveOutcome::kConverged) << result.text;
  EXPECT_EQ(result.share, 1.0);
  EXPECT_EQ(q.x[2], 13.0);
  EXPECT_NEAR(q.x[0], 5.0, 1e-8);
  EXPECT_NEAR(q.x[1], 4.0, 1e-8);
}

// The way ends at a fold: how far it went is told, and the wanted value stands in the state.
TEST(Homotopy, TellsHowFarItWent) {
  LambdaProblem p;
  p.Free("Y", 2.0), p.Fixed("P", -1.0);
  p.Equation("Square", {0, 1}, [](const Dual* x) { return x[0] * x[0] - x[1]; });
  const std::vector<double> from = {2.0, 4.0};
  const HomotopyResult result = MoveFixedValues(p, AnalyseStructure(p), from, {}, p.x);
  EXPECT_NE(result.summary.outcome, SolveOutcome::kConverged);
  EXPECT_NEAR(result.share, 0.8, 0.01);
  EXPECT_EQ(p.x[1], -1.0);
  EXPECT_THAT(result.text, HasSubstr("% of the way"));
}

TEST(Ladder, StopsAtTheFirstRungThatSolves) {
  LambdaProblem p;
  Rosenbrock(p);
  std::vector<std::string> told;
  LadderOptions options;
  options.log = [&](const RungReport& rung) { told.push_back(rung.name); };
  const SolveSummary summary = ClimbFrom(p, options);
  EXPECT_EQ(summary.outcome, SolveOutcome::kConverged);
  EXPECT_THAT(told, testing::ElementsAre("block Newton"));
  EXPECT_EQ(summary.rungs.size(), 1u);
}

TEST(Ladder, FindsAWayOutOfALocalMinimum) {
  LambdaProblem p;
  FreudensteinRoth(p);
  LadderOptions options;
  options.nearby.push_back({"a solved case", kSolvedNearby});
  const SolveSummary summary = ClimbFrom(p, options);
  ASSERT_EQ(summary.outcome, SolveOutcome::kConverged);
  EXPECT_GT(summary.rungs.size(), 1u);
  EXPECT_TRUE(summary.rungs.back().solved);
  EXPECT_FALSE(summary.rungs.front().solved);
}

// No method has an answer: all are told, and the state is the best reached, with the block solved that can be.
TEST(Ladder, WhenNoneHelpsEachIsToldAndTheBestStateKept) {
  LambdaProblem p;
  p.Free("X", 5.0), p.Free("Y", 3.0), p.Free("Z", 1.0);
  p.Equation("NoRoot", {0, 1}, [](const Dual* x) { return x[0] * x[0] + x[1] * x[1] + 1.0; });
  p.Equation("Same", {0, 1}, [](const Dual* x) { return x[0] - 2.0 * x[1]; });
  p.Equation("Easy", {2}, [](const Dual* x) { return x[2] * x[2] - 9.0; });
  const SolveSummary summary = ClimbFrom(p);
  EXPECT_NE(summary.outcome, SolveOutcome::kConverged);
  EXPECT_EQ(summary.rungs.size(), 3u);  // no nearby case to come from
  for (const RungReport& rung : summary.rungs) EXPECT_THAT(rung.text, HasSubstr("1 of 2 blocks failed"));
  EXPECT_NEAR(p.x[2], 3.0, 1e-9);
  EXPECT_FALSE(summary.failures.empty());
}

TEST(Ladder, DoesNotTouchWhatIsNotWellPosed) {
  LambdaProblem p;
  p.Free("X", 5.0), p.Free("Y", 3.0);
  p.Equation("One", {0, 1}, [](const Dual* x) { return x[0] - x[1]; });
  const SolveSummary summary = ClimbFrom(p);
  EXPECT_EQ(summary.outcome, SolveOutcome::kNotWellPosed);
  EXPECT_EQ(summary.rungs.size(), 1u);
  EXPECT_EQ(p.x[0], 5.0);
}

}  // namespace
}  // namespace quiver
