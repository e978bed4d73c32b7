// SPDX-License-Identifier: Apache-2.0
// The integrator against solutions in closed form.
#include "runtime/simulation/integrator.h"

#include <gtest/gtest.h>

#include <cmath>

namespace quiver {
namespace {

// A tank that drains through a hole: h' = -v, v^2 = k^2 h. So sqrt(h) = sqrt(h0) - k t / 2.
struct DrainingTank : DynamicProblem {
  static constexpr double kRate = 0.4;
  double stop_level = 0.25;
  double undefined_below = -1;
  RowPattern pattern{{0, 2, 4}, {0, 1, 0, 1}};

  int Size() const override { return 2; }
  bool IsDifferential(int i) const override { return i == 1; }
  double Scale(int) const override { return 1; }
  const RowPattern& Pattern() const override { return pattern; }
  bool Residual(double, const double* y, const double* slope, double* residual) override {
    residual[0] = y[0] * y[0] - kRate * kRate * y[1];
    residual[1] = slope[1] + y[0];
    return y[1] > undefined_below;
  }
  bool Jacobian(double, double factor, const double* y, double* entries) override {
    const double values[] = {2 * y[0], -kRate * kRate, 1, factor};
    std::copy(values, values + 4, entries);
    return true;
  }
  int RootCount() const override { return 2; }
  void Roots(double, const double* y, double* roots) override {
    roots[0] = stop_level - y[1];
    roots[1] = y[1] > 0.5 ? 1 : -1;  // jumps
  }
};

double Level(double t) { return std::pow(1 - DrainingTank::kRate * t / 2, 2); }

double ErrorAtOne(double tolerance) {
  DrainingTank tank;
  Integrator integrator(tank, {.tolerance = tolerance});
  integrator.Start(0, std::vector<double>{0.4, 1.0}, std::vector<double>{0, -0.4});
  EXPECT_EQ(integrator.Advance(1), Integrator::kReached);
  EXPECT_EQ(integrator.t(), 1);
  return std::abs(integrator.y()[1] - Level(1));
}

TEST(Integrator, a_tank_drains_as_torricelli_says) {
  EXPECT_LT(ErrorAtOne(1e-4), 1e-3);
  EXPECT_LT(ErrorAtOne(1e-9), 1e-7);
  EXPECT_LT(ErrorAtOne(1e-9), ErrorAtOne(1e-4));
}

TEST(Integrator, roots_are_found_where_they_are) {
  DrainingTank tank;
  Integrator integrator(tank, {.tolerance = 1e-10});
  integrator.Start(0, std::vector<double>{0.4, 1.0}, std::vector<double>{0, -0.4});
  const double half = (1 - std::sqrt(0.5)) * 2 / DrainingTank::kRate;
  ASSERT_EQ(integrator.Advance(4), Integrator::kRoot);
  EXPECT_NEAR(integrator.t(), half, 1e-7) << "a function that jumps";
  EXPECT_EQ(integrator.roots(), (std::vector<int>{0, -1}));
  ASSERT_EQ(integrator.Advance(4), Integrator::kRoot);
  EXPECT_NEAR(integrator.t(), 2.5, 1e-7) << "sqrt(h) falls from 1 to 0.5 in 2.5";
  EXPECT_EQ(integrator.roots(), (std::vector<int>{1, 0}));
  EXPECT_EQ(integrator.Advance(2.6), Integrator::kReached);
}

TEST(Integrator, says_why_it_stops_and_keeps_the_last_state) {
  DrainingTank tank;
  tank.undefined_below = 0.3;  // reached at t = 2.26
  Integrator integrator(tank, {});
  integrator.Start(0, std::vector<double>{0.4, 1.0}, std::vector<double>{0, -0.4});
  Integrator::Stop stop = integrator.Advance(4);
  if (stop == Integrator::kRoot) stop = integrator.Advance(4);
  EXPECT_EQ(stop, Integrator::kFailed);
  EXPECT_FALSE(integrator.failure().empty());
  EXPECT_NEAR(integrator.t(), (1 - std::sqrt(0.3)) * 5, 1e-3);
  EXPECT_GT(integrator.y()[1], 0.299);
}

}  // namespace
}  // namespace quiver
