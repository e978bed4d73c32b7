// SPDX-License-Identifier: Apache-2.0
// Performance curves through the routine call: what lies between, at and beyond the points, and between the
// speeds.
#include <gtest/gtest.h>

#include <array>

#include "tests/routines/routine_call.h"

DECLARE_ROUTINE(ZX40RM_sppcurve);
DECLARE_ROUTINE(ZX40RM_sppumpcurve);

namespace quiver::routines {
namespace {

using Reals = std::vector<double>;
constexpr int kFormat = 0, kCurves = 1, kPoints = 2, kCounts = 3, kExtrapolate = 4, kSpeed = 5, kSpeeds = 6;
constexpr int kOrdinates = 7, kAbscissas = 8, kStonewall = 11, kAbscissa = 12, kMethod = 13;
constexpr const char* kMethods[] = {"Linear", "Hermite", "HARWELL"};

// One curve: its method, what happens beyond its ends, its points.
RoutineTest OneCurve(const char* method, const char* extrapolate, const Reals& x, const Reals& y) {
  const long long n = std::ssize(x);
  return {ZX40RM_sppcurve,
          {"Tabular data", Whole(1), Whole(n), Wholes({n}), extrapolate, 3600.0, Vector({3000.0}),
           Matrix(1, n, y), Matrix(1, n, x), Matrix(0, 0, {}), Vector({}), Vector({}), 0.0, method},
          {Output(), Output(), Output()}};
}

double At(RoutineTest& map, double x) {
  map.inputs()[kAbscissa] = x;
  EXPECT_EQ(map.Call(), 0);
  return map.Value();
}
double SlopeAt(RoutineTest& map, double x) {
  At(map, x);
  long long k = 0;
  for (int i = 0; i < kAbscissa; ++i) k += map.inputs()[i].Values();
  return map.Derivative(0, k);
}

// Three curves with 4, 5 and 3 points, out of order of speed, the rows padded.
RoutineTest ThreeCurves(const char* method, const char* extrapolate, double speed, double x) {
  return {ZX40RM_sppcurve,
          {"tabular DATA", Whole(3), Whole(5), Wholes({4, 5, 3}), extrapolate, speed, Vector({1.2, 0.8, 1.0}),
           Matrix(3, 5, {1.9, 1.85, 1.5, 0.9, 0, 0.9, 0.95, 0.8, 0.55, 0.3, 1.3, 1.35, 0.7, 0, 0}),
           Matrix(3, 5, {0.5, 0.85, 1.3, 1.8, 0, 0.3, 0.5, 0.75, 0.9, 1.2, 0.4, 0.8, 1.5, 0, 0}),
           Matrix(0, 0, {}), Vector({}), Vector({}), x, method},
          {Output(), Output(), Output()}};
}
RoutineTest ThreePolynomials(const char* extrapolate, double speed, double x) {
  return {ZX40RM_sppcurve,
          {"Extended Polynomials", Whole(3), Whole(0), Wholes({}), extrapolate, speed,
           Vector({0.8, 1.0, 1.2}), Matrix(0, 0, {}), Matrix(0, 0, {}),
           Matrix(3, 4, {1, 0.3, -0.4, 0.05, 1.5, 0.4, -0.5, 0.02, 2.1, 0.3, -0.4, -0.03}),
           Vector({0.3, 0.4, 0.5}), Vector({1.2, 1.5, 1.9}), x, "Linear"},
          {Output(), Output(), Output()}};
}

TEST(Curve, PassesThroughItsPointsAndDrawsALineThroughPointsOnALine) {
  const Reals flow = {0, 0.09, 0.32, 0.43, 0.77, 1, 1.45, 1.91, 2.36, 2.82};
  const Reals efficiency = {0, 0.31, 0.64, 0.76, 0.94, 1, 1.04, 0.97, 0.63, 0.17};
  for (const char* method : kMethods) {
    RoutineTest map = OneCurve(method, "No", flow, efficiency);
    for (std::size_t i = 0; i < flow.size(); ++i) EXPECT_NEAR(At(map, flow[i]), efficiency[i], 1e-15);
    for (const Reals& x : {Reals{1, 3}, Reals{1, 2.5, 3}, Reals{1, 1.1, 2, 2.7, 3, 4}}) {
      Reals y;
      for (const double at : x) y.push_back(5 - 2 * at);
      RoutineTest line = OneCurve(method, "Yes", x, y);
      for (const double at : {0.2, 1.0, 1.7, 2.9, 3.0, 6.0}) {
        EXPECT_NEAR(At(line, at), 5 - 2 * at, 1e-13) << method;
        EXPECT_NEAR(SlopeAt(line, at), -2, 1e-13) << method;
      }
    }
  }
}

TEST(Curve, HarwellReproducesCubicsAndTheParabolaOfThreePoints) {
  const auto cubic = [](double x) { return 1 + x * (2 + x * (-3 + 0.7 * x)); };
  const auto parabola = [](double x) { return 1 + x * (2 - 3 * x); };
  RoutineTest four = OneCurve("Harwell", "No", {-1, 0.5, 1, 3}, {cubic(-1), cubic(0.5), cubic(1), cubic(3)});
  RoutineTest six = OneCurve("Harwell", "Yes", {-1, 0, 0.3, 1, 2, 3},
                             {cubic(-1), cubic(0), cubic(0.3), cubic(1), cubic(2), cubic(3)});
  RoutineTest three = OneCurve("Harwell", "No", {-1, 1.2, 3}, {parabola(-1), parabola(1.2), parabola(3)});
  for (const double x : {-0.9, 0.1, 0.7, 1.9, 2.95}) {
    EXPECT_NEAR(At(four, x), cubic(x), 1e-12);
    EXPECT_NEAR(At(six, x), cubic(x), 1e-12);
    EXPECT_NEAR(SlopeAt(six, x), 2 - 6 * x + 2.1 * x * x, 1e-12);
    EXPECT_NEAR(At(three, x), parabola(x), 1e-12);
  }
  EXPECT_NEAR(SlopeAt(six, 4), 2 - 18 + 18.9, 1e-12);
}

TEST(Curve, HermiteNeverOvershootsAndItsSlopeIsContinuous) {
  const Reals x = {0, 1, 1.5, 3, 4, 7}, y = {0, 0.1, 5, 5.1, 5.1, 2};
  RoutineTest map = OneCurve("Hermite", "No", x, y);
  RoutineTest spline = OneCurve("Harwell", "No", x, y);
  bool spline_overshoots = false;
  for (std::size_t i = 0; i + 1 < x.size(); ++i) {
    const double low = std::min(y[i], y[i + 1]), high = std::max(y[i], y[i + 1]);
    for (double u = 0.05; u < 1; u += 0.05) {
      const double at = x[i] + u * (x[i + 1] - x[i]), value = At(map, at);
      EXPECT_TRUE(value >= low - 1e-15 && value <= high + 1e-15) << at;
      EXPECT_GE(SlopeAt(map, at) * (y[i + 1] - y[i]), 0) << at;
      spline_overshoots |= At(spline, at) < low - 0.01 || At(spline, at) > high + 0.01;
    }
    EXPECT_NEAR(SlopeAt(map, x[i + 1] - 1e-9), SlopeAt(map, std::min(x[i + 1] + 1e-9, 7.0)), 1e-6);
  }
  EXPECT_TRUE(spline_overshoots);
}

TEST(Curve, HoldsOrContinuesBeyondSurgeAndStonewall) {
  for (const char* method : kMethods) {
    RoutineTest hold = OneCurve(method, "NO", {1, 2, 4, 5}, {3, 5, 4, 1});
    RoutineTest go_on = OneCurve(method, "yes", {1, 2, 4, 5}, {3, 5, 4, 1});
    EXPECT_EQ(At(hold, 0.5), 3) << method;
    EXPECT_EQ(SlopeAt(hold, 0.5), 0) << method;
    EXPECT_EQ(At(hold, 6), 1) << method;
    const double first = SlopeAt(go_on, 1), last = SlopeAt(go_on, 5);
    EXPECT_GT(first, 1) << method;
    EXPECT_NEAR(SlopeAt(hold, 5), last, 1e-14) << method;  // at an end itself: the slope inside
    EXPECT_NEAR(At(go_on, 0.5), 3 - 0.5 * first, 1e-14) << method;
    EXPECT_NEAR(At(go_on, 7), 1 + 2 * last, 1e-14) << method;
    EXPECT_NEAR(SlopeAt(go_on, 7), last, 1e-14) << method;
  }
}

TEST(Curve, DistancesReferToStonewallWhereSurgeIsZero) {
  RoutineTest map = OneCurve("Linear", "No", {0, 100}, {3, 1});
  At(map, 30);
  EXPECT_NEAR(map.Value(1), 30, 1e-13);
  EXPECT_NEAR(map.Value(2), 70, 1e-13);
}

// Curves of one machine under the fan laws (flow as N, head as N squared): at an intermediate speed the
// limits scale as the flow does, and along the line the head keeps its shape.
TEST(CurveMap, FollowsFanLawsBetweenAndBeyondItsSpeeds) {
  const Reals x = {0.4, 0.7, 1.1, 1.5}, y = {2.0, 1.9, 1.4, 0.6};
  Reals flows, heads;
  for (const double n : {12, 8, 10})
    for (std::size_t i = 0; i < x.size(); ++i) {
      flows.push_back(n * x[i]);
      heads.push_back(n * n * y[i]);
    }
  for (const char* method : kMethods) {
    RoutineTest unit = OneCurve(method, "Yes", x, y);
    RoutineTest map(
        ZX40RM_sppcurve,
        {"Tabular data", Whole(3), Whole(4), Wholes({4, 4, 4}), "Yes", 0.0, Vector({12, 8, 10}),
         Matrix(3, 4, heads), Matrix(3, 4, flows), Matrix(0, 0, {}), Vector({}), Vector({}), 0.0, method},
        {Output(), Output(), Output()});
    for (const double n : {7.0, 8.0, 8.5, 10.0, 11.3, 12.0, 13.0}) {
      const double low = n < 10 ? 8 : 10, high = low + 2;
      const double square = low * low + (high * high - low * low) * (n - low) / (high - low);
      for (const double s : {0.35, 0.4, 0.9, 1.3, 1.5, 1.7}) {
        map.inputs()[kSpeed] = n;
        EXPECT_NEAR(At(map, n * s), square * At(unit, s), 1e-11) << method << " at speed " << n;
        EXPECT_NEAR(map.Value(1), 100 * (s / 0.4 - 1), 1e-11);
        EXPECT_NEAR(map.Value(2), 100 * (1 - s / 1.5), 1e-11);
      }
    }
  }
}

TEST(CurveMap, DerivativesMatchDifferencesEverywhere) {
  for (const double speed : {0.7, 0.91, 1.13, 1.29})
    for (const char* extrapolate : {"Yes", "No"})
      for (const double x : {0.2, 0.62, 0.97, 1.36, 2.4}) {
        SCOPED_TRACE("speed " + std::to_string(speed) + " at " + std::to_string(x) + " " + extrapolate);
        for (const char* method : kMethods) {
          SCOPED_TRACE(method);
          ThreeCurves(method, extrapolate, speed, x).ExpectDerivativesMatchDifferences(3e-7, 3e-4);
        }
        ThreePolynomials(extrapolate, speed, x).ExpectDerivativesMatchDifferences(1e-7);
      }
}

TEST(CurveMap, AtTheEndsOfACurveTheSlopeIsTheOneInside) {
  for (const auto& [speed, surge, stonewall] :
       {std::array{0.8, 0.3, 1.2}, {1.0, 0.4, 1.5}, {1.2, 0.5, 1.8}}) {
    RoutineTest map = ThreeCurves("Linear", "No", speed, surge);
    EXPECT_TRUE(SlopeAt(map, surge) != 0 && SlopeAt(map, surge - 1e-9) == 0) << speed;
    EXPECT_TRUE(SlopeAt(map, stonewall) != 0 && SlopeAt(map, stonewall + 1e-9) == 0) << speed;
  }
}

TEST(CurveMap, ReadsAPolynomialAndItsEndSlope) {
  RoutineTest map = ThreePolynomials("Yes", 1.2, 0.0);
  const auto p = [](double x) { return 2.1 + x * (0.3 + x * (-0.4 - 0.03 * x)); };
  EXPECT_NEAR(At(map, 1.17), p(1.17), 1e-14);
  EXPECT_NEAR(At(map, 0.1), p(0.5) - 0.4 * (0.3 - 0.8 * 0.5 - 0.09 * 0.25), 1e-14);
}

TEST(CurveMap, RefusesWhatItCannotRead) {
  struct {
    int input;
    Argument value;
    long long failure;
  } const cases[] = {{kFormat, "Tabular", 4},
                     {kMethod, "Cubic", 4},
                     {kExtrapolate, "Maybe", 4},
                     {kCurves, Whole(0), 3},
                     {kCurves, Whole(4), 5},
                     {kCounts, Wholes({4, 5, 1}), 3},
                     {kCounts, Wholes({4, 6, 3}), 5},
                     {kCounts, Wholes({4, 5}), 5},
                     {kPoints, Whole(4), 5},
                     {kSpeeds, Vector({1.2, 0.8, 1.2}), 3},
                     {kSpeeds, Vector({1.2, 0.8}), 5},
                     {kOrdinates, Matrix(2, 5, Reals(10)), 5},
                     {kSpeed, -4.0, 3}};
  for (const auto& c : cases) {
    RoutineTest map = ThreeCurves("Harwell", "No", 0.9, 0.8);
    ASSERT_EQ(map.Call(), 0);
    map.inputs()[c.input] = c.value;
    EXPECT_EQ(map.Call(), c.failure) << "input " << c.input + 1;
    const bool blames_a_list = c.input == kCurves || c.input == kPoints;  // that is shorter than the count
    EXPECT_TRUE(map.status[0] == c.input + 1 || blames_a_list);
  }
  // A curve that this speed does not need, whose points descend.
  RoutineTest map = ThreeCurves("Linear", "No", 0.9, 0.8);
  map.inputs()[kAbscissas].reals[2] = 0.8;
  EXPECT_EQ(map.Call(), 3);
  RoutineTest polynomial = ThreePolynomials("No", 0.9, 0.8);
  polynomial.inputs()[kStonewall].reals[2] = 0.5;
  EXPECT_EQ(polynomial.Call(), 3);
  EXPECT_EQ(map.Call(1) + map.Call(2), 0);  // calls before and after a run only prepare
}

TEST(PumpCurve, ReadsTablesAsTheMapDoesAndPolynomialsAtTheSameAbscissa) {
  const Reals flow = {0, 0.1667, 0.3333, 0.5, 0.6667, 0.8333, 1, 1.1667, 1.3333, 1.4167};
  const Reals head = {1.25, 1.24, 1.23, 1.21, 1.17, 1.11, 1, 0.82, 0.49, 0};
  const auto twice = [](Reals row, double factor) {
    for (int i = 0; i < 10; ++i) row.push_back(factor * row[i]);
    return row;
  };
  const auto pump = [](const char* format, Argument y, Argument x, Argument c, double at, double speed) {
    return RoutineTest(ZX40RM_sppumpcurve,
                       {format, Whole(2), Whole(10), Wholes({10, 10}), speed, Vector({1.0, 2.0}),
                        std::move(y), std::move(x), std::move(c), at, "Harwell"});
  };
  RoutineTest single = OneCurve("Harwell", "Yes", flow, head);
  for (const double at : {0.4, 1.0, 1.6}) {  // the last beyond the last point: with the end slope
    RoutineTest table = pump("Tabular data", Matrix(2, 10, twice(head, 4)), Matrix(2, 10, twice(flow, 2)),
                             Matrix(0, 0, {}), 1.5 * at, 1.5);
    ASSERT_EQ(table.Call(), 0);
    EXPECT_NEAR(table.Value(), 2.5 * At(single, at), 1e-12);
  }
  RoutineTest polynomial = pump("Polynomials", Matrix(0, 0, {}), Matrix(0, 0, {}),
                                Matrix(2, 3, {1, 0, -0.5, 4, 0.2, -0.5}), 3.0, 1.25);
  ASSERT_EQ(polynomial.Call(), 0);
  EXPECT_NEAR(polynomial.Value(), 0.75 * (1 - 4.5) + 0.25 * (4 + 0.6 - 4.5), 1e-14);
  polynomial.ExpectDerivativesMatchDifferences(1e-9);
}

}  // namespace
}  // namespace quiver::routines
