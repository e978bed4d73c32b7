// SPDX-License-Identifier: Apache-2.0
// Memory that runs out in one of several threads: the caller hears of it, or does with fewer threads; the process lives.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>

#include "frame/model.h"
#include "runtime/evaluation/worker_pool.h"
#include "runtime/solve/block_solver.h"
#include "runtime/system/equation_system.h"
#include "tests/faults/failing_memory.h"
#include "tests/support/test_sheet.h"

using namespace quiver;
using namespace quiver::tests;

namespace {

struct QV_CUBIC : QV_GENERICMODEL {
  MODEL_TEXT(CUBIC)
  VARIABLE(QV_CONSTANT, RIGHT)
  VARIABLE(QV_REALVARIABLE, ROOT)
  VARIABLE(QV_REALVARIABLE, NEXT)
  void Assignments(Assigner& set) { set.spec(RIGHT, QV_SPEC_GIVEN); }
  void Equations(Equate& eq) {
    eq("root", ROOT * ROOT * ROOT + ROOT == RIGHT);
    eq("next", exp(NEXT) + NEXT == ROOT + 2);
  }
};

}  // namespace

TEST(Workers, OneWithoutMemoryStopsThemAllAndTellsTheCaller) {
  TestSheet sheet;
  std::vector<QV_CUBIC*> models;
  for (int i = 0; i < 300; ++i) models.push_back(&sheet.Add<QV_CUBIC>(fmt::format("c{}", i).c_str()));
  sheet.Size([&] {
    for (size_t i = 0; i < models.size(); ++i)
      TestSheet::Give(models[i]->RIGHT, 0.1 * static_cast<double>(i));
  });
  EquationSystem system(sheet.sheet);
  ASSERT_TRUE(system.Repeats());
  SolveOptions options;
  options.workers = 3;
  const auto solve = [&] {
    std::vector<double> x = system.StartValues();
    EXPECT_TRUE(Solve(system, options, x).failures.empty());
    return x;
  };
  const std::vector<double> roots = solve();
  EXPECT_NEAR(roots[1], 0, 1e-9);
  int told = 0;
  for (long long n = 1;; ++n) {
    try {
      const FailingMemory plan(Memory::kNew, n);
      const std::vector<double> x = solve();
      if (!FailingMemory::Failed()) break;
      EXPECT_EQ(std::memcmp(x.data(), roots.data(), x.size() * sizeof(double)), 0) << n;
    } catch (const std::bad_alloc&) {
      ++told;
    }
  }
  EXPECT_GT(told, 0);
}

TEST(Workers, AreFewerWhereNoMoreCanBeHad) {
  for (long long n = 1;; ++n) {
    std::atomic<int> done = 0;
    const WorkerPool::Task task = [&](int, int) { ++done; };
    const FailingMemory plan(Memory::kNew, n);
    WorkerPool pool(4);
    pool.Run(100, task);
    EXPECT_EQ(done, 100);
    EXPECT_EQ(pool.workers() < 4, FailingMemory::Failed()) << n;
    if (!FailingMemory::Failed()) break;
  }
}
