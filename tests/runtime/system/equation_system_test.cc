// SPDX-License-Identifier: Apache-2.0
// The equations of whole flowsheets: derivatives, alternatives, ties, what is missing.
#include "runtime/system/equation_system.h"

#include <cmath>

#include "frame/model.h"
#include "procedures/calls.h"
#include "runtime/plugin/routine_library.h"
#include "runtime/solve/block_solver.h"
#include "runtime/solve/repeated_solver.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;
using testing::HasSubstr;

// Flow over a weir or out of a full gate: another formula on either side, and one more that is decided within.
struct QV_SWITCHED : QV_GENERICMODEL {
  MODEL_TEXT(SWITCHED)
  PARAMETER(QV_REALPARAMETER, K)
  PARAMETER(QV_YESNO, LOSSES)
  SET(QV_INTEGERSET, PLACES)
  VARIABLE(QV_CONSTANT, H)
  VARIABLE(QV_CONSTANT, Q)
  VARIABLE(QV_CONSTANT, S)
  ARRAY(QV_CONSTANT, PART, OVER(PLACES))
  void Assignments(Assigner& set) {
    set(K, 2.0);
    set.range(PLACES, 3);
    set.spec(H, QV_SPEC_GIVEN);
  }
  void Equations(Equate& eq) {
    eq.given("Weir", H <= 1.5, [&] { eq("flow", Q == K * H * sqrt(H)); }).otherwise([&] {
      eq.given("Lossy", same(LOSSES, "Yes") && H > 2, [&] {
          eq("flow", Q == K * sqrt(H) - tanh(H));
        }).otherwise([&] { eq("flow", sqr(Q / K) == max(H, abs(Q))); });
    });
    eq.each(PLACES, [&](int i) { eq("part", PART(i) * exp(S) == pow(Q, 2) + i * cos(S) * ln(H + 1)); });
    eq("sum", 10.0 == sigma(PART) + sin(S) * S);
  }
};

// Falls for two hours, then rests.
struct QV_FALLING : QV_GENERICMODEL {
  MODEL_TEXT(FALLING)
  VARIABLE(QV_CONSTANT, HEIGHT)
  void Equations(Equate& eq) {
    eq.given("Falling", simulation_time() < 2, [&] {
        eq("height", HEIGHT == 10.0 - simulation_time() * sqr(simulation_time()));
      }).otherwise([&] { eq("height", HEIGHT == 2.0); });
  }
};

class Systems : public testing::Test {
 protected:
  Systems() { InstallRoutineProvider(&routines_); }
  ~Systems() override { InstallRoutineProvider(nullptr); }

  // Every gradient against central differences of the residual.
  static void CheckDerivatives(EquationSystem& system, std::vector<double> x) {
    for (int e = 0; e < system.EquationCount(); ++e) {
      const std::span<const int> one(&e, 1), variables = system.ResidualVariables(e);
      std::vector<double> gradient(variables.size());
      double residual, above, below;
      system.DecideAlternatives(one, x.data());
      ASSERT_TRUE(system.Evaluate(one, x.data(), &residual, gradient.data())) << system.FirstFault().reason;
      for (size_t k = 0; k < variables.size(); ++k) {
        if (!system.IsFree(variables[k])) continue;
        double& value = x[static_cast<size_t>(variables[k])];
        const double at = value, step = 1e-5 * std::max(1.0, std::abs(at));
        value = at + step;
        ASSERT_TRUE(system.Evaluate(one, x.data(), &above, nullptr));
        value = at - step;
        ASSERT_TRUE(system.Evaluate(one, x.data(), &below, nullptr));
        value = at;
        const double difference = (above - below) / (2 * step);
        EXPECT_NEAR(gradient[k], difference,
                    1e-6 * std::max({1.0, std::abs(gradient[k]), std::abs(residual)}))
            << system.EquationName(e) << " by " << system.VariableName(variables[k]);
      }
    }
  }
  static void Fill(EquationSystem& system, std::vector<double>& x) {
    double value = 0.35;
    for (int v = 0; v < system.VariableCount(); ++v)
      if (system.IsFree(v)) x[static_cast<size_t>(v)] = value += 0.17;
  }
  static void GiveVariable(QV_VarParam& holder, double value) {
    TestSheet::Give(holder, value);
    HostAccess::SetSpec(holder, QV_SPEC_GIVEN);
  }
  static QV_VarParam& Find(Instance& instance, const char* name) {
    return dynamic_cast<QV_VarParam&>(*instance.Object(instance.type().Find(name)));
  }

 private:
  RoutineLibraries routines_{{QUIVER_LIBRARY_DIR}};
};

TEST_F(Systems, DerivativesAreTheSlopesOfTheResiduals) {
  for (const double h : {0.8, 1.8, 2.6}) {
    for (const char* losses : {"Yes", "No"}) {
      TestSheet sheet;
      auto& model = sheet.Add<QV_SWITCHED>("m");
      sheet.Size([&] {
        TestSheet::Give(model.H, h);
        TestSheet::Give(model.LOSSES, losses);
      });
      EquationSystem system(sheet.sheet);
      ASSERT_EQ(system.EquationCount(), 5);
      std::vector<double> x = system.StartValues();
      Fill(system, x);
      CheckDerivatives(system, x);
    }
  }
  for (const char* model : {"PIPEFITTINGS", "PSV_SIMPLE"}) {
    TestSheet sheet;
    Instance& block = sheet.sheet.AddBlock("b", model);
    sheet.Size([&] {
      const bool pipe = *model == 'P' && model[1] == 'I';
      for (const char* name : {"BRCHTEENO", "BUTVALNO", "ELBOWNO", "GATVALNO", "LDIAM", "STRTEENO"})
        if (pipe) TestSheet::Give(Find(block, name), 3.0);
      if (pipe) TestSheet::Give(Find(block, "FITCONNECT"), "Screwed");
    });
    EquationSystem system(sheet.sheet);
    EXPECT_EQ(system.EquationCount(), *model == 'P' && model[1] == 'I' ? 11 : 2);
    std::vector<double> x = system.StartValues();
    Fill(system, x);
    CheckDerivatives(system, x);
  }
}

// Solved on either side of the switch; the value computed tells which formula was used.
TEST_F(Systems, AlternativesAreDecidedWhereTheSolutionLies) {
  struct Row {
    double h;
    const char* losses;
    double q;
    const char* alternative;
  };
  const Row rows[] = {{0.81, "No", 2 * 0.81 * 0.9, "Weir"},
                      {1.5, "Yes", 2 * 1.5 * std::sqrt(1.5), "Weir"},
                      {2.56, "Yes", 2 * 1.6 - std::tanh(2.56), "Lossy"},
                      {1.96, "Yes", 4, "otherwise"},  // (q/2)^2 = max(h, q)
                      {2.56, "No", 4, "otherwise"}};
  for (const Row& row : rows) {
    TestSheet sheet;
    auto& model = sheet.Add<QV_SWITCHED>("m");
    sheet.Size([&] {
      TestSheet::Give(model.H, row.h);
      TestSheet::Give(model.LOSSES, row.losses);
      model.Q.SetCurrentValue(3.0);
    });
    EquationSystem system(sheet.sheet);
    std::vector<double> x = system.StartValues();
    const SolveSummary summary = Solve(system, SolveOptions(), x);
    ASSERT_EQ(summary.outcome, SolveOutcome::kConverged)
        << row.h << row.losses << (summary.failures.empty() ? "" : summary.failures[0].reason);
    system.Store(x);
    EXPECT_NEAR(model.Q.RealValue(), row.q, 1e-8) << row.h << row.losses;
    EXPECT_NEAR(model.PART(1).RealValue() + model.PART(2).RealValue() + model.PART(3).RealValue() +
                    std::sin(model.S.RealValue()) * model.S.RealValue(),
                10, 1e-8);
    EXPECT_FALSE(model.Q.HoldsDefault());
    EXPECT_THAT(system.AlternativeName(0, system.CurrentAlternative(0)), HasSubstr(row.alternative));
  }
}

// Two relief devices in parallel at one pressure drop: a tie between blocks, and one shared set of globals.
TEST_F(Systems, EquationsReadTheTimeThatIsTold) {
  for (const int blocks : {1, 20}) {  // alone, and in lanes
    TestSheet sheet;
    for (int i = 0; i < blocks; ++i)
      sheet.Add<QV_FALLING>(std::string("m").append(std::to_string(i)).c_str());
    sheet.Size([] {});
    EquationSystem system(sheet.sheet);
    EXPECT_EQ(system.Repeats() != nullptr, blocks > 1);
    for (const auto& [time, height] : {std::pair{0.0, 10.0}, {1.5, 10 - 3.375}, {3.0, 2.0}}) {
      std::vector<double> x = system.StartValues();
      system.SetTime(time);
      const std::optional<SolveSummary> summary =
          blocks > 1 ? SolveRepeated(system, *system.Repeats(), {}, x)
                     : BlockSolver().Solve(system, AnalyseStructure(system), {}, x);
      ASSERT_TRUE(summary && summary->outcome == SolveOutcome::kConverged);
      for (const double value : x) EXPECT_DOUBLE_EQ(value, height) << blocks << " at " << time;
    }
  }
}

TEST_F(Systems, TiesJoinBlocks) {
  TestSheet sheet;
  Instance& a = sheet.sheet.AddBlock("a", "PSV_SIMPLE");
  Instance& b = sheet.sheet.AddBlock("b", "PSV_SIMPLE");
  sheet.Size([&] {
    GiveVariable(Find(a, "P_DROP"), 6.0);
    for (Instance* psv : {&a, &b}) {
      GiveVariable(Find(*psv, "MW"), 18.0);
      GiveVariable(Find(*psv, "RHO"), 55.0);
      GiveVariable(Find(*psv, "AREA_RATIO"), psv == &a ? 0.0 : 0.6);
      Find(*psv, "FLUX").SetCurrentValue(1e4);
    }
  });
  EquationSystem system(sheet.sheet, {{&Find(a, "P_DROP"), &Find(b, "P_DROP"), "a.P_DROP = b.P_DROP"}});
  ASSERT_EQ(system.EquationCount(), 5);
  EXPECT_EQ(system.EquationName(4), "a.P_DROP = b.P_DROP");
  std::vector<double> x = system.StartValues();
  const SolveSummary summary = Solve(system, SolveOptions(), x);
  ASSERT_EQ(summary.outcome, SolveOutcome::kConverged);
  system.Store(x);
  EXPECT_NEAR(Find(b, "P_DROP").RealValue(), 6.0, 1e-9);
  // G (G + EPS) (1 - A^2) = 2 MW RHO dp, dp in N/m2.
  for (Instance* psv : {&a, &b}) {
    const double flux = Find(*psv, "FLUX").RealValue(), ratio = Find(*psv, "AREA_RATIO").RealValue();
    EXPECT_NEAR(flux * (flux + 1e-5) * (1 - ratio * ratio) / (2 * 18.0 * 55.0 * 6e5), 1, 1e-9);
    EXPECT_GT(flux, 0);
  }
}

TEST_F(Systems, WhatHasNoValueIsNamed) {
  TestSheet sheet;
  Instance& pipe = sheet.sheet.AddBlock("line", "PIPEFITTINGS");
  sheet.Size([&] { TestSheet::Give(Find(pipe, "FITCONNECT"), "Screwed"); });
  try {
    EquationSystem system(sheet.sheet);
    FAIL();
  } catch (const Error& error) {
    for (const char* name :
         {"line.ELBOWNO", "line.STRTEENO", "line.BRCHTEENO", "line.GATVALNO", "line.BUTVALNO", "line.LDIAM"})
      EXPECT_THAT(error.what(), HasSubstr(std::string(name) + " has no value")) << name;
  }
}

// A sum over no element, and a block that is given whole, are no obstacle.
struct QV_EMPTY : QV_GENERICMODEL {
  MODEL_TEXT(EMPTY)
  SET(QV_INTEGERSET, NONE)
  VARIABLE(QV_CONSTANT, X)
  ARRAY(QV_CONSTANT, V, OVER(NONE))
  void Equations(Equate& eq) { eq("sum", X == 3 + sigma(V)); }
};
TEST_F(Systems, AnEmptySumIsZero) {
  TestSheet sheet;
  auto& model = sheet.Add<QV_EMPTY>("m");
  sheet.Size();
  EquationSystem system(sheet.sheet);
  std::vector<double> x = system.StartValues();
  EXPECT_EQ(Solve(system, SolveOptions(), x).outcome, SolveOutcome::kConverged);
  system.Store(x);
  EXPECT_EQ(model.X.RealValue(), 3.0);
}

// After sub-models have gone, the system is that of those that are there.
struct QV_COLUMN_PART : QV_GENERICMODEL {
  MODEL_TEXT(COLUMN_PART)
  EXTERNAL(QV_CONSTANT, FEED)
  VARIABLE(QV_CONSTANT, P)
  void Equations(Equate& eq) { eq("part", P == FEED / 2); }
};
struct QV_COLUMN : QV_GENERICMODEL {
  MODEL_TEXT(COLUMN)
  PARAMETER(QV_INTEGERPARAMETER, N)
  SET(QV_INTEGERSET, PLACES)
  VARIABLE(QV_CONSTANT, FEED)
  VARIABLE(QV_CONSTANT, TOTAL)
  ARRAY(QV_COLUMN_PART, PART, OVER(PLACES))
  void Assignments(Assigner& set) {
    set.range(PLACES, N.IntegerValue());
    set(FEED, 8.0);
    set.spec(FEED, QV_SPEC_GIVEN);
  }
  void Equations(Equate& eq) {
    eq("total", TOTAL == sigma(
                             *PLACES, [&](int i) -> auto& { return PART(i).P; }));
  }
};
TEST_F(Systems, FollowSubModelsThatComeAndGo) {
  TestSheet sheet;
  auto& column = sheet.Add<QV_COLUMN>("c");
  for (const int n : {2, 5, 1, 3}) {
    sheet.Size([&] { TestSheet::Give(column.N, n); });
    EquationSystem system(sheet.sheet);
    EXPECT_EQ(system.EquationCount(), n + 1);
    EXPECT_EQ(system.EquationName(n), fmt::format("c.PART({}).part", n));
    std::vector<double> x = system.StartValues();
    EXPECT_EQ(Solve(system, SolveOptions(), x).outcome, SolveOutcome::kConverged);
    system.Store(x);
    EXPECT_NEAR(column.TOTAL.RealValue(), 4.0 * n, 1e-12);
  }
}
