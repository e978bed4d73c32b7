// SPDX-License-Identifier: Apache-2.0
// The sentences that a plant engineer gets for a specification that cannot be solved.
#include "runtime/solve/structure_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/runtime/solve/lambda_problem.h"

namespace quiver {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Dual Nothing(const Dual*) { return 0.0; }

TEST(StructureReport, two_equations_fix_one_variable) {
  LambdaProblem p;
  const int rho = p.Free("RHO", 1), t = p.Fixed("T", 1), pr = p.Fixed("P", 1), q = p.Free("Q", 1);
  p.Equation("GasLaw", {rho, t, pr}, Nothing);
  p.Equation("Density", {rho}, Nothing);
  p.Equation("Flow", {q, rho}, Nothing);
  const StructureReport report = AnalyseStructure(p);
  EXPECT_EQ(report.degrees_of_freedom, -1);
  EXPECT_FALSE(report.is_square);
  EXPECT_THAT(report.messages, ElementsAre("GasLaw and Density both fix RHO; free one of T and P."));
}

TEST(StructureReport, too_many_fixed_around_a_loop) {
  LambdaProblem p;
  const int a = p.Free("A", 1), b = p.Free("B", 1), c = p.Free("C", 1), d = p.Fixed("D", 1);
  for (const char* name : {"E1", "E2", "E3", "E4"}) p.Equation(name, {a, b, c}, Nothing);
  EXPECT_THAT(AnalyseStructure(p).messages,
              ElementsAre("4 equations determine 3 variables: E1, E2, E3 and E4 have only A, B and C free; "
                          "remove 1 equation of them."));
  p.Equation("E5", {c, d}, Nothing);
  EXPECT_THAT(
      AnalyseStructure(p).messages,
      ElementsAre("5 equations determine 3 variables: E1, E2, E3, E4 and E5 have only A, B and C free; "
                  "free D, and remove 1 equation of them."));
}

// Square, and yet wrong at two places: counting degrees of freedom is not enough.
TEST(StructureReport, too_many_and_too_few_at_once) {
  LambdaProblem p;
  const int f = p.Fixed("F", 1), dp = p.Fixed("DP", 1), x = p.Free("X", 1), y = p.Free("Y", 1),
            z = p.Free("Z", 1);
  p.Equation("Orifice", {f, dp}, Nothing);
  p.Equation("Split", {x, y}, Nothing);
  p.Equation("Level", {z}, Nothing);
  const StructureReport report = AnalyseStructure(p);
  EXPECT_TRUE(report.is_square);
  EXPECT_FALSE(report.is_well_posed);
  EXPECT_EQ(report.blocks.Count(), 0);
  EXPECT_THAT(report.messages,
              ElementsAre("Orifice determines nothing: F and DP are fixed; free one of F and DP.",
                          "2 variables have only 1 equation: X and Y occur in Split; fix one of X and Y."));
}

TEST(StructureReport, variables_without_equation_share_a_sentence) {
  LambdaProblem p;
  const int only_condition = p.Free("XLIN", 1);
  p.Given("Switch", {p.Free("Y", 1)}, {only_condition}, [](const double*) { return 0; }, {{"only", Nothing}});
  EXPECT_THAT(AnalyseStructure(p).messages,
              ElementsAre("XLIN has no equation; fix it or add the equation that determines it."));
  for (int i = 0; i < 10; ++i) p.Free(Name("V", i), 1);
  EXPECT_THAT(AnalyseStructure(p).messages,
              ElementsAre("XLIN, V0, V1, V2, V3, V4, V5, V6 and 3 more have no equation; fix them or add the "
                          "equations that determine them."));
  p.x.assign(p.x.size(), 7.0);
  const SolveSummary summary = p.Solve();
  EXPECT_EQ(summary.outcome, SolveOutcome::kNotWellPosed);
  ASSERT_EQ(summary.failures.size(), 1u);
  EXPECT_EQ(summary.failures[0].reason, AnalyseStructure(p).messages[0]);
  EXPECT_THAT(p.x, testing::Each(7.0));
}

TEST(StructureReport, an_equation_of_constants_is_named) {
  LambdaProblem p;
  p.Equation("Empty", {}, Nothing);
  EXPECT_THAT(AnalyseStructure(p).messages, ElementsAre("Empty contains no variable; remove the equation."));
}

TEST(StructureReport, order_follows_conditions_too) {
  LambdaProblem p;
  const int x = p.Free("X", 1), y = p.Free("Y", 1), a = p.Fixed("A", 1);
  p.Given("First", {x, a}, {y}, [](const double*) { return 0; }, {{"only", Nothing}});
  p.Equation("Second", {y}, Nothing);
  const StructureReport report = AnalyseStructure(p);
  EXPECT_THAT(report.messages, IsEmpty());
  EXPECT_THAT(report.blocks.row, ElementsAre(1, 0));
  EXPECT_THAT(report.blocks.column, ElementsAre(y, x));
}

}  // namespace
}  // namespace quiver
