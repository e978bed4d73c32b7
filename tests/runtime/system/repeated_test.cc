// SPDX-License-Identifier: Apache-2.0
// Like parts solved side by side: each comes out as it would have come out alone; to the last bit where its blocks are of one
// equation, to the solver's tolerance where several are coupled; to the last bit for any number of workers.
#include <cmath>
#include <cstring>

#include "frame/model.h"
#include "runtime/cases/installation.h"
#include "runtime/contract/set_storage.h"
#include "runtime/solve/block_solver.h"
#include "runtime/system/equation_system.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;

namespace {

// A chain of steps: explicit, implicit with a switch, steep, and a coupled pair. Some of the parts cannot be solved.
struct QV_UNITS : QV_GENERICMODEL {
  MODEL_TEXT(UNITS)
  GLOBAL(SCALE)
  VARIABLE(QV_CONSTANT, A)
  VARIABLE(QV_CONSTANT, B)
  VARIABLE(QV_REALVARIABLE, EXPLICIT)
  VARIABLE(QV_REALVARIABLE, ROOT)
  VARIABLE(QV_REALVARIABLE, STEEP)
  VARIABLE(QV_REALVARIABLE, LEFT)
  VARIABLE(QV_REALVARIABLE, RIGHT)
  VARIABLE(QV_REALVARIABLE, LAST)
  VARIABLE(QV_REALVARIABLE, BOUNDED)
  void Assignments(Assigner& set) {
    set(SCALE, 3.0);
    set.spec(A, QV_SPEC_GIVEN);
    set.spec(B, QV_SPEC_GIVEN);
    set.lower(BOUNDED, 0.0);
    set.upper(BOUNDED, 1.0);
  }
  void Equations(Equate& eq) {
    eq("explicit", EXPLICIT == SCALE * A + ln(B + 2));
    eq.given("Above", ROOT > B, [&] { eq("root", ROOT * ROOT * ROOT + ROOT == EXPLICIT); }).otherwise([&] {
      eq("root", 2 * ROOT == EXPLICIT - 1);
    });
    eq("steep", exp(3 * STEEP) == 1 + ROOT * ROOT);
    eq("sum", LEFT + RIGHT * RIGHT == STEEP + 5);
    eq("product", LEFT * exp(RIGHT / 4) == 3 + A / 10);
    eq("last", ln(LAST - A) == LEFT);
    eq("bounded", BOUNDED == (1 + tanh(LEFT)) / 2.0);
  }
};

struct Solved {
  std::vector<double> x;
  SolveSummary summary;
  std::vector<int> alternatives;
  int groups = 0, rest = 0;
};

enum class Way { kOrdinary, kRepeated };

Solved SolveUnits(int count, Way way, int workers, bool tied = false) {
  TestSheet sheet;
  std::vector<QV_UNITS*> models;
  for (int i = 0; i < count; ++i) models.push_back(&sheet.Add<QV_UNITS>(fmt::format("u{}", i).c_str()));
  sheet.Size([&] {
    for (int i = 0; i < count; ++i) {
      QV_UNITS& m = *models[static_cast<size_t>(i)];
      TestSheet::Give(m.A, 0.1 * (i % 37));
      TestSheet::Give(m.B, i % 50 == 7 ? -3.0 : 0.05 * (i % 61));  // ln(-1): no solution
      m.STEEP.SetCurrentValue(i % 11 == 0 ? 40.0 : 0.5);           // far off: steps overshoot
      m.LEFT.SetCurrentValue(1.0);
      m.RIGHT.SetCurrentValue(1.0);
      m.LAST.SetCurrentValue(m.A.RealValue() + 1);
      m.BOUNDED.SetCurrentValue(i % 5 == 0 ? 2.0 : 0.5);
    }
  });
  std::vector<Tie> ties;
  if (tied) ties.push_back({&models[3]->LAST, &models[5]->A, "u3.LAST = u5.A"});
  if (tied) HostAccess::SetSpec(models[5]->A, QV_SPEC_COMPUTED);
  EquationSystem system(sheet.sheet, ties);
  Solved solved;
  solved.x = system.StartValues();
  SolveOptions options;
  options.workers = workers;
  solved.summary = way == Way::kRepeated
                       ? Solve(system, options, solved.x)
                       : BlockSolver().Solve(system, AnalyseStructure(system), options, solved.x);
  if (RepeatedParts* parts = system.Repeats()) {
    solved.groups = parts->GroupCount();
    solved.rest = static_cast<int>(parts->Rest().size());
  }
  for (int e = 0; e < system.EquationCount(); ++e)
    solved.alternatives.push_back(system.CurrentAlternative(e));
  return solved;
}

void ExpectSameRoots(const Solved& a, const Solved& b) {
  ASSERT_EQ(a.x.size(), b.x.size());
  for (size_t k = 0; k < a.x.size(); ++k) EXPECT_NEAR(a.x[k], b.x[k], 1e-11 * std::abs(a.x[k])) << k;
  EXPECT_EQ(a.alternatives, b.alternatives);
  EXPECT_EQ(a.summary.outcome, b.summary.outcome);
  EXPECT_EQ(a.summary.blocks, b.summary.blocks);
  EXPECT_EQ(a.summary.blocks_failed, b.summary.blocks_failed);
  EXPECT_EQ(a.summary.blocks_skipped, b.summary.blocks_skipped);
  EXPECT_EQ(a.summary.largest_block, b.summary.largest_block);
  auto moved = [](std::vector<int> list) { return std::ranges::sort(list), list; };
  EXPECT_EQ(moved(a.summary.moved_into_bounds), moved(b.summary.moved_into_bounds));
  const auto reasons = [](const Solved& solved) {
    std::vector<std::string> all;
    for (const SolveFailure& failure : solved.summary.failures) all.push_back(failure.reason);
    std::ranges::sort(all);
    return all;
  };
  EXPECT_EQ(reasons(a), reasons(b));
}

void ExpectSame(const Solved& a, const Solved& b) {
  ExpectSameRoots(a, b);
  EXPECT_EQ(std::memcmp(a.x.data(), b.x.data(), a.x.size() * sizeof(double)), 0);
  EXPECT_EQ(a.summary.iterations, b.summary.iterations);
  EXPECT_EQ(a.summary.evaluations, b.summary.evaluations);
  EXPECT_EQ(a.summary.largest_residual, b.summary.largest_residual);
}

}  // namespace

TEST(Repeated, PartsSideBySideComeOutAsAlone) {
  for (const int count : {8, 63, 200}) {
    const Solved alone = SolveUnits(count, Way::kOrdinary, 1),
                 together = SolveUnits(count, Way::kRepeated, 1);
    EXPECT_EQ(together.groups, 1);
    EXPECT_GT(together.summary.blocks_failed, 0);
    EXPECT_GT(together.summary.blocks_skipped, 0);
    ExpectSameRoots(alone, together);
  }
}

TEST(Repeated, AnyNumberOfWorkersGivesTheSameBits) {
  const Solved one = SolveUnits(700, Way::kRepeated, 1);
  for (const int workers : {2, 4, 7}) ExpectSame(one, SolveUnits(700, Way::kRepeated, workers));
}

// Two parts that share an unknown are solved in the order in which they need each other, outside the group.
TEST(Repeated, WhatIsTiedStandsOutside) {
  const Solved alone = SolveUnits(60, Way::kOrdinary, 1, true),
               together = SolveUnits(60, Way::kRepeated, 2, true);
  EXPECT_EQ(together.groups, 1);
  EXPECT_EQ(together.rest, 2 * 7 + 1);
  ExpectSameRoots(alone, together);
}

// A real model with routines: wet steam, the numbers of groups and parts known.
TEST(Repeated, ReliefValvesComeOutAsAlone) {
  const auto solve = [](Way way, int workers) {
    Flowsheet sheet(UseLibraries());
    sheet.SetComponents({"water"});
    std::vector<Instance*> valves;
    for (int i = 0; i < 150; ++i) valves.push_back(&sheet.AddBlock(fmt::format("v{}", i), "PSV_SW"));
    sheet.SizeAndAssign([&] {
      for (size_t i = 0; i < valves.size(); ++i) {
        const auto give = [&](const char* name, const QV_Value& value) {
          auto& holder = static_cast<QV_VarParam&>(*valves[i]->Object(valves[i]->type().Find(name)));
          SetFromValue(holder, value, Origin::kUser);
          if (holder.IsVariable()) HostAccess::SetSpec(holder, QV_SPEC_GIVEN);
          if (HostAccess::KindOf(holder) != HostAccess::kArray) return;
          auto& array = static_cast<QV_ArrayBase&>(holder);
          for (long long e = 0; e < array.Count(); ++e)
            HostAccess::SetSpec(static_cast<QV_VarParam&>(array.At(e)), QV_SPEC_GIVEN);
        };
        const double share = static_cast<double>(i) / 150;
        give("VALIDPHASES", QV_Value("Vapor-Liquid"));
        const std::pair<const char*, double> values[] = {
            {"P", 10 + share}, {"T", 179.9 + share}, {"HV", -0.2366}, {"HL", -0.2728}, {"MWV", 18.015},
            {"MWL", 18.015},   {"RHOV", 0.285},      {"RHOL", 49.2},  {"E0", share},   {"LFACTOR", 0},
            {"VFACTOR", 0},    {"ETA_A", share},     {"Y", 1},        {"X", 1}};
        for (const auto& [name, value] : values) give(name, QV_Value(value));
      }
    });
    EquationSystem system(sheet);
    Solved solved;
    solved.x = system.StartValues();
    SolveOptions options;
    options.workers = workers;
    solved.summary = way == Way::kRepeated
                         ? Solve(system, options, solved.x)
                         : BlockSolver().Solve(system, AnalyseStructure(system), options, solved.x);
    return solved;
  };
  const Solved alone = solve(Way::kOrdinary, 1);
  for (const int workers : {1, 2}) {
    const Solved together = solve(Way::kRepeated, workers);
    EXPECT_EQ(std::memcmp(alone.x.data(), together.x.data(), alone.x.size() * sizeof(double)), 0);
    EXPECT_EQ(alone.summary.blocks_failed, together.summary.blocks_failed);
    EXPECT_EQ(alone.summary.iterations, together.summary.iterations);
  }
}
