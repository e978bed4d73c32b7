// SPDX-License-Identifier: Apache-2.0
// exp, ln and pow against extended precision and against the C library's special values.
#include "runtime/expression/vector_math.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace quiver {
namespace {

using namespace vector_math;

// In units in the last place of the result as a double, subnormal ones included.
double ErrorInUlps(double found, long double exact) {
  if (std::isinf(found)) return exact > 0x1.fffffffffffffp1023L ? 0 : HUGE_VAL;
  int exponent = 0;
  std::frexp(exact, &exponent);
  return static_cast<double>(std::fabs(found - exact) / std::ldexp(1.0L, std::max(exponent - 53, -1074)));
}

class Numbers {
 public:
  double Uniform(double low, double high) { return std::uniform_real_distribution(low, high)(random_); }
  // Near 1, where logarithms are hardest; of moderate size; and anywhere in the range.
  double Positive(int i) {
    if (i % 3 == 0) return 1 + Uniform(-1, 1) * std::ldexp(1.0, -(i / 3 % 40));
    return i % 3 == 1 ? Uniform(0.01, 100) : std::exp2(Uniform(-1022, 1023));
  }

 private:
  std::mt19937_64 random_{7};
};

constexpr int kTrials = 400000;

TEST(VectorMath, errors_stay_below_the_stated_bounds) {
  Numbers numbers;
  double exp_error = 0, log_error = 0, pow_error = 0;
  for (int i = 0; i < kTrials; ++i) {
    const double x = i % 2 ? numbers.Uniform(-708, 709.7) : numbers.Uniform(-1, 1);
    exp_error = std::max(exp_error, ErrorInUlps(Exp(x), std::exp(static_cast<long double>(x))));
    const double base = numbers.Positive(i);
    if (base <= 0) continue;
    log_error = std::max(log_error, ErrorInUlps(Log(base), std::log(static_cast<long double>(base))));
    if (base == 1) continue;
    // Extended precision loses what the size of the logarithm takes: 11 bits hold for |y ln x| up to 64.
    const double reach = (i % 4 ? 4 : 64) / std::fabs(std::log(base));
    const double y = numbers.Uniform(-reach, reach);
    pow_error = std::max(pow_error, ErrorInUlps(Pow(base, y), std::pow(static_cast<long double>(base), y)));
  }
  EXPECT_LT(exp_error, 0.95);
  EXPECT_LT(log_error, 0.85);
  EXPECT_LT(pow_error, 0.95);
  EXPECT_GT(std::min({exp_error, log_error, pow_error}), 0.5);  // below that nothing was measured
}

// Where |y ln x| is large, extended precision itself is only good to half a place of a double.
TEST(VectorMath, large_powers_and_subnormal_results) {
  Numbers numbers;
  for (int i = 0; i < kTrials / 10; ++i) {
    const double base = numbers.Positive(i);
    if (base <= 0 || base == 1) continue;
    const double y = numbers.Uniform(-700, 700) / std::log(base);
    const long double exact = std::pow(static_cast<long double>(base), static_cast<long double>(y));
    ASSERT_LT(ErrorInUlps(Pow(base, y), exact), 1.5) << base << "^" << y;
    const double low = numbers.Uniform(-745, -708);
    ASSERT_LT(ErrorInUlps(Exp(low), std::exp(static_cast<long double>(low))), 0.95) << low;
    const double y_low = low / std::log(base);
    ASSERT_LT(ErrorInUlps(Pow(base, y_low), std::pow(static_cast<long double>(base), y_low)), 1.5);
  }
}

TEST(VectorMath, special_values_are_those_of_the_library) {
  const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
  const double values[] = {0.0,
                           -0.0,
                           1,
                           -1,
                           2,
                           -2,
                           3,
                           -3,
                           0.5,
                           -0.5,
                           1e308,
                           -1e308,
                           inf,
                           -inf,
                           nan,
                           5e-324,
                           -5e-324,
                           1e-310,
                           0x1p-1022,
                           -0x1p-1022,
                           0x1p64,
                           0x1p65,
                           -0x1p65,
                           1e300,
                           0x1p53,
                           0x1p53 + 2,
                           0x1p52 + 1,
                           -1074,
                           1024,
                           1023.9999,
                           709.78,
                           709.79,
                           -745.1,
                           -745.2,
                           -746,
                           1e9,
                           0x1.fffffffffffffp-1,
                           1 + 0x1p-52};
  auto expect_same = [](double found, double expected, const char* what, double x, double y) {
    if (std::isnan(expected)) {
      EXPECT_TRUE(std::isnan(found)) << what << " " << x << " " << y;
      return;
    }
    EXPECT_EQ(std::signbit(found), std::signbit(expected)) << what << " " << x << " " << y;
    const double one_place = std::max(4e-16 * std::fabs(expected), 5e-324);
    EXPECT_TRUE(found == expected || std::fabs(found - expected) <= one_place)
        << what << " " << x << " " << y << ": " << found << " instead of " << expected;
  };
  // The pow of mingw-w64 is wrong next to 1: it gives 1 + 2.4e-13 for (1 - 2^-53)^-1074.
  auto library_pow = [](double x, double y) {
    return x != 1 && std::fabs(x - 1) < 1e-15 ? std::exp(y * std::log1p(x - 1)) : std::pow(x, y);
  };
  for (const double x : values) {
    expect_same(Exp(x), std::exp(x), "exp", x, 0);
    expect_same(Log(x), std::log(x), "ln", x, 0);
    for (const double y : values) expect_same(Pow(x, y), library_pow(x, y), "pow", x, y);
  }
}

}  // namespace
}  // namespace quiver
