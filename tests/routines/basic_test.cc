// SPDX-License-Identifier: Apache-2.0
// Limits, ramps, guards and products, called as the host calls them.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

#include "tests/routines/routine_call.h"

DECLARE_ROUTINE(ZX40RM_spcopy1);
DECLARE_ROUTINE(ZX40RM_spdivi);
DECLARE_ROUTINE(ZX40RM_splim_abs);
DECLARE_ROUTINE(ZX40RM_splimit);
DECLARE_ROUTINE(ZX40RM_splmtd);
DECLARE_ROUTINE(ZX40RM_spmatr);
DECLARE_ROUTINE(ZX40RM_spminarm);
DECLARE_ROUTINE(ZX40RM_spminrmp);
DECLARE_ROUTINE(ZX40RM_sppmin);
DECLARE_ROUTINE(ZX40RM_spprd1);
DECLARE_ROUTINE(ZX40RM_spprod);
DECLARE_ROUTINE(ZX40RM_spramp);
DECLARE_ROUTINE(ZX40RM_spsqrt);
DECLARE_ROUTINE(ZX40RM_splevv);
DECLARE_ROUTINE(ZX40RM_spwav);
DECLARE_ROUTINE(ZX40RM_spvtvol);

namespace quiver::routines {
namespace {

double ValueOf(QV_Routine routine, std::vector<Argument> inputs) {
  RoutineTest test(routine, std::move(inputs));
  EXPECT_EQ(test.Call(), 0);
  return test.Value();
}

TEST(Derivatives, AgreeWithDifferencesInEveryPiece) {
  struct {
    const char* piece;
    QV_Routine routine;
    std::vector<Argument> inputs;
    double step = 1e-3;
  } const cases[] = {
      {"copy", ZX40RM_spcopy1, {-2.5}},
      {"limit below", ZX40RM_splimit, {-1.0, 0.0, 3.0}},
      {"limit inside", ZX40RM_splimit, {1.0, 0.0, 3.0}},
      {"limit above", ZX40RM_splimit, {4.0, 0.0, 3.0}},
      {"divide", ZX40RM_spdivi, {3.0, -2.0}},
      {"divide by almost nothing", ZX40RM_spdivi, {3e-20, 4e-11}, 1e-14},
      {"ramp, above", ZX40RM_spminrmp, {2.0, 0.5, 0.25}},
      {"ramp, within", ZX40RM_spminrmp, {0.6, 0.5, 0.25}},
      {"ramp, far below", ZX40RM_spminrmp, {-0.4, 0.5, 0.25}},
      {"alternative, above", ZX40RM_spminarm, {2.0, 0.5, 0.25, -1.0}},
      {"alternative, within", ZX40RM_spminarm, {0.6, 0.5, 0.25, -1.0}},
      {"alternative, below", ZX40RM_spminarm, {0.1, 0.5, 0.25, -1.0}},
      {"root", ZX40RM_spsqrt, {2.0}},
      {"root of a negative", ZX40RM_spsqrt, {-0.3}},
      {"magnitude raised", ZX40RM_splim_abs, {-0.5, 1.0, 3.0}},
      {"magnitude inside", ZX40RM_splim_abs, {-2.0, 1.0, 3.0}},
      {"magnitude cut", ZX40RM_splim_abs, {-5.0, 1.0, 3.0}},
      {"step before", ZX40RM_spramp, {-1.0, 0.0, 2.0, 5.0, -3.0}},
      {"step within", ZX40RM_spramp, {0.7, 0.0, 2.0, 5.0, -3.0}},
      {"step after", ZX40RM_spramp, {3.0, 0.0, 2.0, 5.0, -3.0}},
      {"smallest of three", ZX40RM_sppmin, {Vector({3.0, 1.0, 2.0, -4.0}), Whole(3)}},
      {"log mean", ZX40RM_splmtd, {150.0, 90.0, 30.0, 80.0, 0.5}},
      {"log mean, far apart", ZX40RM_splmtd, {950.0, 90.0, 30.0, 80.0, 0.5}},
      {"log mean, equal differences", ZX40RM_splmtd, {100.0, 80.0, 60.0, 80.0, 0.5}},
      {"log mean, nearly equal", ZX40RM_splmtd, {100.0, 80.0, 60.1, 80.0, 0.5}},
      {"log mean, backwards", ZX40RM_splmtd, {30.0, 80.0, 150.0, 90.0, 0.5}},
      {"log mean, crossed", ZX40RM_splmtd, {100.0, 80.0, 81.0, 60.0, 2.0}, 1e-5},
      {"log mean, turning", ZX40RM_splmtd, {100.0, 80.0, 81.0, 99.5, 2.0}, 1e-5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.piece);
    RoutineTest(c.routine, c.inputs).ExpectDerivativesMatchDifferences(2e-8, c.step);
  }
  RoutineTest(ZX40RM_spmatr, {Matrix(2, 3, {1, 2, 3, 4, 5, 6}), Vector({0.5, -1, 2})}, {Output(2)})
      .ExpectDerivativesMatchDifferences(1e-9);
}

// At every seam of a piecewise function: value and derivatives from the left equal those from the right.
TEST(Seams, AreContinuouslyDifferentiable) {
  struct {
    QV_Routine routine;
    std::vector<Argument> inputs;
    double seam, gap, slope_tolerance;
  } const cases[] = {
      {ZX40RM_spdivi, {2.0, 0.0}, 1e-10, 1e-20, 1e-7},
      {ZX40RM_spdivi, {2.0, 0.0}, -1e-10, 1e-20, 1e-7},
      {ZX40RM_spsqrt, {0.0}, 1e-10, 1e-20, 1e-7},
      {ZX40RM_spsqrt, {0.0}, -1e-10, 1e-20, 1e-7},
      {ZX40RM_spminrmp, {0.0, 0.5, 0.25}, 0.75, 1e-9, 1e-7},
      {ZX40RM_spminarm, {0.0, 0.5, 0.25, 1.0}, 0.5, 1e-9, 1e-6},
      {ZX40RM_spminarm, {0.0, 0.5, 0.25, 1.0}, 0.75, 1e-9, 1e-6},
      {ZX40RM_spramp, {0.0, 1.0, 2.0, 5.0, 7.0}, 1.0, 1e-9, 1e-7},
      {ZX40RM_splmtd, {0.0, 80.0, 60.0, 20.0, 1.0}, 21.0, 1e-9, 1e-7},  // a reaches the smallest approach
      {ZX40RM_splmtd, {0.0, 80.0, 60.0, 20.0, 1.0}, 0.0, 1e-9, 1e-7},   // a + b = 0
      {ZX40RM_splmtd, {0.0, 80.0, 60.0, 20.0, 1.0}, 2.0, 1e-9, 1e-7},   // |a + b| = 2 approach
  };
  for (const auto& c : cases) {
    std::vector<Argument> left = c.inputs, right = c.inputs;
    const std::size_t moving = c.routine == ZX40RM_spdivi ? 1 : 0;
    left[moving] = c.seam - c.gap;
    right[moving] = c.seam + c.gap;
    RoutineTest a(c.routine, left), b(c.routine, right);
    ASSERT_EQ(a.Call(), 0);
    ASSERT_EQ(b.Call(), 0);
    const double slope = std::max(1.0, std::abs(a.Derivative(0, static_cast<long long>(moving))));
    EXPECT_NEAR(a.Value(), b.Value(), 3 * slope * c.gap) << "seam at " << c.seam;
    for (std::size_t k = 0; k < c.inputs.size(); ++k) {
      const double d = a.Derivative(0, static_cast<long long>(k));
      EXPECT_NEAR(d, b.Derivative(0, static_cast<long long>(k)),
                  c.slope_tolerance * std::max(1.0, std::abs(d)))
          << "input " << k << ", seam at " << c.seam;
    }
  }
}

TEST(Limit, CountsABoundAsInside) {
  for (const double bound : {0.0, 3.0}) {
    RoutineTest limit(ZX40RM_splimit, {bound, 0.0, 3.0});
    ASSERT_EQ(limit.Call(), 0);
    EXPECT_EQ(limit.Value(), bound);
    EXPECT_EQ(limit.Derivative(0, 0), 1.0);
    EXPECT_EQ(limit.Derivative(0, 1) + limit.Derivative(0, 2), 0.0);
  }
}

TEST(Guards, KeepTheirPromises) {
  // Nothing divided by nothing is nothing; the quotient is odd in b and never beyond 1.5 / 1e-10.
  EXPECT_EQ(ValueOf(ZX40RM_spdivi, {0.0, 0.0}), 0.0);
  EXPECT_EQ(ValueOf(ZX40RM_spdivi, {7.0, 3.0}), 7.0 / 3.0);
  for (double b = 1e-13; b < 1e-9; b *= 1.3) {
    EXPECT_EQ(ValueOf(ZX40RM_spdivi, {1.0, b}), -ValueOf(ZX40RM_spdivi, {1.0, -b}));
    EXPECT_LT(ValueOf(ZX40RM_spdivi, {1.0, b}), 1.5e10);
  }
  EXPECT_EQ(ValueOf(ZX40RM_spsqrt, {0.0}), 0.0);
  EXPECT_EQ(ValueOf(ZX40RM_spsqrt, {-9.0}), -3.0);
  double last_root = -1, last_ramp = 0;
  for (double x = -2e-10; x < 2e-10; x += 1e-12) {
    EXPECT_GT(ValueOf(ZX40RM_spsqrt, {x}), last_root);
    last_root = ValueOf(ZX40RM_spsqrt, {x});
  }
  // Never below the minimum, never below x, rising.
  for (double x = -3; x < 3; x += 0.01) {
    const double ramp = ValueOf(ZX40RM_spminrmp, {x, 0.5, 0.25});
    EXPECT_GE(ramp, std::max(x, 0.5));
    EXPECT_GT(ramp, last_ramp);
    last_ramp = ramp;
  }
  EXPECT_EQ(ValueOf(ZX40RM_spminrmp, {0.4, 0.5, 0.0}), 0.5);
  EXPECT_EQ(ValueOf(ZX40RM_spminrmp, {0.6, 0.5, 0.0}), 0.6);
  EXPECT_EQ(ValueOf(ZX40RM_splim_abs, {0.0, 1.0, 3.0}), 1.0);
}

// 35.54 K for differences of 60 and 20 K... by the definition, (60 - 20) / ln 3; a constant mean; a reversed
// exchanger.
TEST(LogMeanTemperature, KnowsTheTextbookAndItsLimits) {
  EXPECT_NEAR(ValueOf(ZX40RM_splmtd, {100.0, 60.0, 40.0, 40.0, 0.1}), 40.0 / std::log(3.0), 1e-12);
  EXPECT_NEAR(ValueOf(ZX40RM_splmtd, {100.0, 80.0, 60.0, 80.0, 0.1}), 20.0, 1e-13);
  EXPECT_EQ(ValueOf(ZX40RM_splmtd, {40.0, 40.0, 60.0, 100.0, 0.1}),
            -ValueOf(ZX40RM_splmtd, {60.0, 100.0, 40.0, 40.0, 0.1}));
  // Between the geometric and the arithmetic mean, on both sides of the switch from series to logarithm (b =
  // 0.6 a).
  for (double b = 1; b < 100; b += 0.25) {
    const double mean = ValueOf(ZX40RM_splmtd, {100.0, b, 0.0, 0.0, 0.1});
    EXPECT_GE(mean, std::sqrt(100 * b) * (1 - 1e-15));
    EXPECT_LE(mean, (100 + b) / 2);
    EXPECT_NEAR(mean, (100 - b) / std::log(100 / b), 1e-11);
  }
}

TEST(Arrays, MultiplyInTheOrderOfTheirFactors) {
  const Argument a = Matrix(2, 3, {1, 2, 3, 4, 5, 6});
  RoutineTest right(ZX40RM_spmatr, {a, Vector({1, 10, 100})}, {Output(2)});
  RoutineTest left(ZX40RM_spprod, {Vector({1, 10}), a}, {Output(3)});
  ASSERT_EQ(right.Call(), 0);
  ASSERT_EQ(left.Call(0), 0);
  EXPECT_EQ(right.Value(0), 321);
  EXPECT_EQ(right.Value(1), 654);
  EXPECT_EQ(left.Value(0), 41);
  EXPECT_EQ(left.Value(2), 63);
  EXPECT_EQ(ValueOf(ZX40RM_spprd1, {Vector({1, 2, 3}), Vector({4, 5, 6})}), 32);
  EXPECT_EQ(ValueOf(ZX40RM_sppmin, {Vector({3, 1, 1, -2}), Whole(4)}), -2);
  RoutineTest tie(ZX40RM_sppmin, {Vector({3, 1, 1, -2}), Whole(3)});
  ASSERT_EQ(tie.Call(), 0);
  EXPECT_EQ(tie.Derivative(0, 1), 1.0);
  EXPECT_EQ(tie.Derivative(0, 2), 0.0);
}

TEST(Failures, NameTheInputAndGiveNoNumber) {
  const double inf = std::numeric_limits<double>::infinity();
  struct {
    QV_Routine routine;
    std::vector<Argument> inputs;
    long long code, input;  // input from 1, as in the status block
    std::vector<Argument> outputs = {Output()};
  } const cases[] = {
      {ZX40RM_splimit, {1.0, 3.0, 2.0}, 3, 2},
      {ZX40RM_splimit, {std::nan(""), 0.0, 2.0}, 2, 1},
      {ZX40RM_splimit, {1.0, 0.0, inf}, 2, 3},
      {ZX40RM_spminrmp, {1.0, 0.0, -1.0}, 3, 3},
      {ZX40RM_splmtd, {100.0, 60.0, 40.0, 50.0, 0.0}, 3, 5},
      {ZX40RM_spramp, {0.0, 2.0, 2.0, 1.0, 5.0}, 3, 3},
      {ZX40RM_splim_abs, {0.0, -1.0, 2.0}, 3, 2},
      {ZX40RM_sppmin, {Vector({1, 2}), Whole(3)}, 3, 2},
      {ZX40RM_sppmin, {Vector({1, 2}), Whole(0)}, 3, 2},
      {ZX40RM_sppmin, {Vector({1, std::nan("")}), Whole(1)}, 2, 1},
      {ZX40RM_spmatr, {Matrix(2, 3, {1, 2, 3, 4, 5, 6}), Vector({1, 2})}, 5, 2, {Output(2)}},
      {ZX40RM_spprd1, {Vector({1, 2}), Vector({1})}, 5, 2},
      {ZX40RM_splevv, {1.0, 4.0, 0.0, "Vertical", "Flat"}, 3, 3},
      {ZX40RM_splevv, {1.0, -4.0, 1.0, "Vertical", "Flat"}, 3, 2},
      {ZX40RM_spwav, {1.0, 4.0, 2.0, "Upright", "Flat"}, 4, 4},
      {ZX40RM_spwav, {1.0, 4.0, 2.0, "Vertical", "Dished"}, 4, 5},
      {ZX40RM_spvtvol, {4.0, 2.0, ""}, 4, 3},
  };
  for (const auto& c : cases) {
    RoutineTest test(c.routine, c.inputs, c.outputs);
    EXPECT_EQ(test.Call(), c.code);
    EXPECT_EQ(test.status[0], c.input);
    EXPECT_TRUE(std::isnan(test.Value()));
  }
  // A result beyond the range of numbers is no result.
  EXPECT_EQ(RoutineTest(ZX40RM_spdivi, {1e305, 1e-9}).Call(0), 6);
  EXPECT_EQ(RoutineTest(ZX40RM_spprd1, {Vector({1e200}), Vector({1e200})}).Call(0), 6);
}

// The calls before and after the solution reach no mathematics: nothing is written, whatever the inputs.
TEST(CallTypes, BeforeAndAfterSucceedWithoutOutputs) {
  for (const long long type : {1, 2}) {
    RoutineTest limit(ZX40RM_splimit, {1.0, 3.0, 2.0});
    EXPECT_EQ(limit.Call(type), 0);
    EXPECT_TRUE(std::isnan(limit.Value()));
    EXPECT_TRUE(std::isnan(limit.Derivative(0, 0)));
  }
}

}  // namespace
}  // namespace quiver::routines
