// SPDX-License-Identifier: Apache-2.0
// The valve's user table.
#include <gtest/gtest.h>

#include <array>

#include "tests/routines/routine_call.h"

DECLARE_ROUTINE(ZX40RM_spvalve);

namespace quiver::routines {
namespace {

RoutineTest Table(double opening, double lower, double upper, long long option, long long count = 4) {
  return {ZX40RM_spvalve,
          {Whole(count), Vector({10, 30, 60, 100}), Vector({2, 12, 60, 80}), opening, lower, upper,
           Whole(option)}};
}

TEST(ValveTable, InterpolatesByOptionAndLimits) {
  struct {
    const char* what;
    double opening, lower, upper;
    long long option, count;
    double value;
  } const cases[] = {
      {"between points", 45, 0, 0, 0, 4, 36},
      {"a point, smooth", 30, 0, 0, 1, 4, 12},
      {"a point, spline", 60, 0, 0, 2, 4, 60},
      {"no limits: ends hold", 0, 0, 0, 0, 4, 2},
      {"no limits: ends hold", 120, 1, 1, 0, 4, 80},
      {"limits: continued", 8, 0, 100, 0, 4, 1},
      {"limits: continued to the lower", 0, 0, 100, 0, 4, 0},
      {"limits: continued to the upper", 160, 0, 100, 0, 4, 100},
      {"limits inside the table", 90, 0, 70, 0, 4, 70},
      {"points in use only", 80, 0, 0, 0, 2, 12},
      {"one point", 80, 0, 0, 1, 1, 2},
  };
  for (const auto& c : cases) {
    RoutineTest table = Table(c.opening, c.lower, c.upper, c.option, c.count);
    ASSERT_EQ(table.Call(0), 0) << c.what;
    EXPECT_DOUBLE_EQ(table.Value(), c.value) << c.what;
  }
}

TEST(ValveTable, RefusesWhatItCannotRead) {
  for (const auto& [count, lower, option, failure, input] :
       {std::array{0, 0, 0, 3, 1}, {5, 0, 0, 5, 1}, {4, 2, 0, 3, 5}, {4, 0, 3, 3, 7}}) {
    RoutineTest table = Table(50, lower, 1, option, count);
    EXPECT_EQ(table.Call(0), failure);
    EXPECT_EQ(table.status[0], input);
  }
  RoutineTest table = Table(50, 0, 1, 0);
  table.inputs()[1].reals[2] = 30;
  EXPECT_EQ(table.Call(0), 3);
  EXPECT_EQ(table.status[0], 2);
}

}  // namespace
}  // namespace quiver::routines
