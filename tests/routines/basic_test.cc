// SPDX-License-Identifier: Apache-2.0
// The guards, limits and small linear algebra, called as the host calls them.
#include <gtest/gtest.h>

#include "tests/routines/routine_call.h"

DECLARE_ROUTINE(ZX40RM_splimit);

namespace quiver::routines {
namespace {

TEST(Limit, CountsABoundAsInside) {
  struct {
    double x, value, by_x, by_lower, by_upper;
  } const cases[] = {{-1, 0, 0, 1, 0}, {0, 0, 1, 0, 0}, {2, 2, 1, 0, 0}, {3, 3, 1, 0, 0}, {4, 3, 0, 0, 1}};
  for (const auto& c : cases) {
    RoutineTest limit(ZX40RM_splimit, {c.x, 0.0, 3.0});
    ASSERT_EQ(limit.Call(), 0);
    EXPECT_EQ(limit.Value(), c.value);
    EXPECT_EQ(limit.Derivative(0, 0), c.by_x);
    EXPECT_EQ(limit.Derivative(0, 1), c.by_lower);
    EXPECT_EQ(limit.Derivative(0, 2), c.by_upper);
  }
}

}  // namespace
}  // namespace quiver::routines
