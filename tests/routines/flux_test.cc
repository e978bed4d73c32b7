// SPDX-License-Identifier: Apache-2.0
// Flux integrals of relief devices against closed forms and published examples.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/routines/routine_call.h"

DECLARE_ROUTINE(ZX40RM_psimpint);
DECLARE_ROUTINE(ZX40RM_pdienerint);

namespace quiver::routines {
namespace {

using Reals = std::vector<double>;

struct Flow {
  double psi_squared, critical, ratio;
};

Flow Results(RoutineTest call) {
  EXPECT_EQ(call.Call(0), 0);
  return {call.Value(0), call.Value(1), call.Value(2)};
}
Flow Simpson(double exit, double saturation, double alpha, double beta, double points = 0, double area = 0) {
  return Results(
      {ZX40RM_psimpint, {exit, saturation, alpha, beta, points, area, 1e-4}, {Output(), Output(), Output()}});
}
struct Diener {
  double exit = 0.8, void_fraction = 0.3, alpha = 2.0, beta = 1.0, volume_ratio = 150, exponent = 0.4,
         isentropic = 1, area = 0, recovery = 1, points = 0;
  RoutineTest Call() const {
    return {
        ZX40RM_pdienerint,
        {exit, void_fraction, alpha, beta, volume_ratio, exponent, isentropic, area, recovery, points, 1e-4},
        {Output(), Output(), Output()}};
  }
  Flow operator()() const { return Results(Call()); }
};

// lb/(s ft2) from psi, ft3/lb and Psi^2.
double FluxInUsUnits(double psi_squared, double pressure_psi, double volume) {
  return std::sqrt(2 * psi_squared * pressure_psi * 144 * 32.174 / volume);
}

// API Standard 520 Part I, two-phase annex. Crude column overhead, 80.7 psia, 0.3116 ft3/lb at the inlet and
// 0.3629 at 90 % of its pressure: critical ratio 0.66 read from a chart (the equation gives 0.656), flux
// 594.1 lb/(s ft2). Propane at 300.7 psia, so far subcooled (saturation at 107.6 psia, 31.92 lb/ft3,
// omega 8.515) that it flashes in the throat: 7560 lb/(s ft2).
TEST(Flux, Api520TwoPhaseExamples) {
  const Flow overhead = Simpson(29.7 / 80.7, 1, 9 * (0.3629 / 0.3116 - 1), 1);
  EXPECT_NEAR(overhead.ratio, 0.66, 0.005);
  EXPECT_NEAR(FluxInUsUnits(overhead.critical, 80.7, 0.3116), 594.1, 4);
  const Flow propane = Simpson(0.08, 107.6 / 300.7, 8.515, 1);
  EXPECT_DOUBLE_EQ(propane.ratio, 107.6 / 300.7);
  EXPECT_NEAR(FluxInUsUnits(propane.critical, 300.7, 1 / 31.92), 7560, 10);
}

TEST(Flux, OmegaMethodMeetsLeungsEquations) {
  for (const double omega : {0.4, 0.99, 1.0, 1.01, 3.0, 25.0}) {
    for (const double exit : {0.999, 0.9, 0.6}) {
      const double eta = exit, v = omega * (1 / eta - 1) + 1;
      const double published = -(omega * std::log(eta) + (omega - 1) * (1 - eta)) / (v * v);
      EXPECT_NEAR(Simpson(exit, 1, omega, 1).psi_squared, published, 1e-14);
    }
    const Flow flow = Simpson(0.5, 1, omega, 1);
    const double w = omega, e = flow.ratio;  // as printed in API Standard 520 Part I
    EXPECT_NEAR(e * e + w * (w - 2) * (1 - e) * (1 - e) + 2 * w * w * (std::log(e) + 1 - e), 0,
                1e-12 * (1 + w * w));
    EXPECT_NEAR(flow.critical, flow.ratio * flow.ratio / (2 * omega), 1e-14);
  }
  // Slightly subcooled: the choking condition of Leung and Grolmes, AIChE J. 34 (1988) 688.
  const double w = 5, s = 0.95;
  const Flow flow = Simpson(0.5, s, w, 1);
  const double e = flow.ratio, h = w * s * std::log(s / e) - (w - 1) * (s - e), v = w * (s / e - 1) + 1;
  EXPECT_LT(e, s);
  EXPECT_NEAR(
      (w - 1) * (w - 1) * e * e / (2 * w * s) - 2 * (w - 1) * e + w * s * std::log(e / s) + 1.5 * w * s, 1,
      1e-13);
  EXPECT_NEAR(flow.critical, (1 - s + h) / (v * v), 1e-14);
}

TEST(Flux, IdealGasChokesAtItsCriticalRatio) {
  for (const double k : {1.0001, 1.3, 1.4, 1.67}) {
    const Flow flow = Simpson(0.95, 1, 1, 1 / k);
    EXPECT_NEAR(flow.ratio, std::pow(2 / (k + 1), k / (k - 1)), 1e-11);
    EXPECT_NEAR(flow.psi_squared, k / (k - 1) * (std::pow(0.95, 2 / k) - std::pow(0.95, (k + 1) / k)), 1e-11);
    EXPECT_NEAR(2 * flow.critical, k * std::pow(2 / (k + 1), (k + 1) / (k - 1)), 1e-11);
  }
}

TEST(Flux, ALiquidNeverChokesAndReversePressureIsNegative) {
  const Flow liquid = Simpson(0.25, 1, 0, 1);
  EXPECT_DOUBLE_EQ(liquid.psi_squared, 0.75);
  EXPECT_DOUBLE_EQ(liquid.ratio, 1e-4);
  EXPECT_DOUBLE_EQ(Simpson(1.2, 1, 30, 1).psi_squared, -0.2);
  EXPECT_EQ(Simpson(1.0, 1, 30, 1).psi_squared, 0);
  EXPECT_EQ(Simpson(0.0, 1, 3, 1).psi_squared, Simpson(1e-4, 1, 3, 1).psi_squared);
}

TEST(Flux, ClosedFormMatchesQuadratureAndPassesSmoothlyThroughItsLimits) {
  for (const double saturation : {1.0, 0.9})
    for (const double beta : {0.0, 1e-7, 0.7, 1 - 1e-6, 1.0, 1 + 1e-6, 1.3, 4.0})
      for (const double alpha : {0.0, 1e-8, 0.5, 6.0}) {
        const Flow exact = Simpson(0.55, saturation, alpha, beta, 0, 0.3);
        const Flow numeric = Simpson(0.55, saturation, alpha, beta, 400, 0.3);
        EXPECT_NEAR(exact.psi_squared, numeric.psi_squared, 1e-9 * exact.psi_squared);
      }
}

TEST(Flux, TheCriticalValueIsTheLargest) {
  for (const double saturation : {1.0, 0.97, 0.7})
    for (const double beta : {0.6, 1.0, 1.4})
      for (const double area : {0.0, 0.5}) {
        const Flow flow = Simpson(0.5, saturation, 4.0, beta, 0, area);
        EXPECT_NEAR(Simpson(flow.ratio, saturation, 4.0, beta, 0, area).psi_squared, flow.critical, 1e-15);
        for (double eta = 0.02; eta < 1; eta += 0.01)
          EXPECT_LE(Simpson(eta, saturation, 4.0, beta, 0, area).psi_squared, flow.critical + 1e-15);
      }
  // An area ratio that leaves the inlet moving adds its velocity head: a liquid's flux grows by 1/(1 - a^2).
  EXPECT_NEAR(Simpson(0.4, 1, 0, 1, 0, 0.6).psi_squared, 0.6 / (1 - 0.36), 1e-15);
}

// The host differentiates these routines by differences with steps of 1e-6, which a loosely solved choking
// point or a cancelling integral would spoil.
TEST(Flux, StaysSmoothUnderTheStepsOfTheHost) {
  for (const double alpha : {1e-3, 2.0, 20.0})
    for (int input = 0; input < 4; ++input) {
      const auto value = [&](double step, int output) {
        Reals x = {0.93, 0.96, alpha, 1.1};
        x[input] += step;
        const Flow flow = Simpson(x[0], x[1], x[2], x[3]);
        return output == 0 ? flow.psi_squared : output == 1 ? flow.critical : flow.ratio;
      };
      for (int output = 0; output < 3; ++output) {
        const double wide = (value(1e-4, output) - value(-1e-4, output)) / 2e-4;
        EXPECT_NEAR((value(1e-6, output) - value(0, output)) / 1e-6, wide,
                    5e-3 * std::max(1e-2, std::abs(wide)))
            << "output " << output << " by input " << input << ", alpha " << alpha;
      }
    }
}

TEST(Diener, IsTheOmegaMethodWithItsNonEquilibriumCoefficient) {
  for (const double void_fraction : {0.0, 0.2, 0.9}) {
    Diener flow{.void_fraction = void_fraction, .alpha = void_fraction + 6};
    const double omega_eq = flow.alpha, throat = Simpson(0.5, 1, omega_eq, 1).ratio;
    // Volume at the throat by phases: v_eq/v0 = x r l/eta + (1 - x) l, l the liquid's volume over v0.
    const double l = 1 - void_fraction + void_fraction / 150;
    const double x = ((1 + omega_eq * (1 / throat - 1)) / l - 1) / (150 / throat - 1);
    const double omega = void_fraction + std::pow(x, 0.4) * (omega_eq - void_fraction);
    const Flow expected = Simpson(0.8, 1, omega, 1), found = flow();
    EXPECT_NEAR(found.psi_squared, expected.psi_squared, 1e-14);
    EXPECT_NEAR(found.critical, expected.critical, 1e-14);
    EXPECT_NEAR(found.ratio, expected.ratio, 1e-13);
    EXPECT_GT(found.critical, Simpson(0.8, 1, omega_eq, 1).critical);  // delayed boiling passes more
    flow.exponent = 0;
    EXPECT_NEAR(flow().critical, Simpson(0.8, 1, omega_eq, 1).critical, 1e-15);
  }
}

TEST(Diener, LeavesGasAndLiquidThatDoNotBoilAloneAndKnowsTheRecoveryFactor) {
  const Flow expected = Simpson(0.8, 1, 0.4, 1 / 1.4);
  const double recovery = 0.9 * 0.9;
  for (const double exponent : {0.0, 0.4, 0.6}) {
    const Flow flow = Diener{.exit = 1 - 0.2 * recovery,  // the throat's ratio is 0.8 then
                             .void_fraction = 0.4,
                             .alpha = 0.4,
                             .beta = 1 / 1.4,
                             .exponent = exponent,
                             .isentropic = 1.4,
                             .recovery = 0.9}();
    EXPECT_NEAR(flow.psi_squared, expected.psi_squared, 1e-15);
    EXPECT_NEAR(flow.critical, expected.critical, 1e-15);
    EXPECT_NEAR(1 - flow.ratio, recovery * (1 - expected.ratio), 1e-14);
  }
  EXPECT_NEAR(Diener{}().critical, Diener{.points = 300}().critical, 1e-7);
}

TEST(Flux, RefusesWhatHasNoMeaning) {
  struct {
    bool diener;
    int input;
    double value;
  } const cases[] = {{false, 1, 0},   {false, 2, -3},  {false, 4, -1}, {false, 5, 1},   {false, 6, 0},
                     {true, 1, -0.1}, {true, 1, 1.01}, {true, 4, 1},   {true, 5, -1},   {true, 6, 0},
                     {true, 7, 1},    {true, 8, 0},    {true, 8, 1.1}, {true, 9, -1.0}, {true, 10, 1}};
  for (const auto& c : cases) {
    RoutineTest call = c.diener ? Diener().Call()
                                : RoutineTest(ZX40RM_psimpint, {0.7, 1.0, 2.0, 1.0, 0.0, 0.0, 1e-4},
                                              {Output(), Output(), Output()});
    ASSERT_EQ(call.Call(0), 0);
    call.inputs()[c.input] = c.value;
    EXPECT_EQ(call.Call(0), 3);
    EXPECT_EQ(call.status[0], c.input + 1);
  }
}

}  // namespace
}  // namespace quiver::routines
