// SPDX-License-Identifier: Apache-2.0
// exp, ln and pow as straight-line arithmetic: a loop over them becomes vector code, and one argument gives the same
// bits alone, in any lane, and on any machine, because nothing but IEEE additions, multiplications, divisions and
// operations on bits takes part. There is no fused multiply-add anywhere: machines with and without it agree.
//
//   double y = vector_math::Exp(x);
//   for (int i = 0; i < 64; ++i) y[i] = vector_math::PowOrdinary(x[i], p[i]);   // vector code
//
// Largest errors in units in the last place, over all arguments (measured against extended precision in
// tests/runtime/expression/vector_math_test.cc): exp 0.95, ln 0.85, pow 0.95.
// Special arguments (0, infinity, not-a-number, negative, subnormal) give what the C library gives.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace quiver::vector_math {

#define QUIVER_INLINE [[gnu::always_inline]] inline

namespace detail {

inline constexpr double kRoundToInteger = 0x1.8p52;  // added and subtracted: rounds |x| < 2^51 to an integer
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
inline constexpr double kSmallestNormal = std::numeric_limits<double>::min();
inline constexpr std::uint64_t kOneBits = 0x3FF0000000000000;
inline constexpr std::uint64_t kSqrtHalfBits = 0x3FE6A09E667F3BCD;
inline constexpr std::uint64_t kExponentMask = 0xFFF0000000000000;

// The upper 26 bits of a number: products of two of them are exact.
QUIVER_INLINE double Upper(double x) {
  return std::bit_cast<double>(std::bit_cast<std::uint64_t>(x) & 0xFFFFFFFFF8000000);
}

// 2^n for an integer -1022 <= n <= 1023: the sum with the rounding constant holds n in its lowest bits.
QUIVER_INLINE double PowerOfTwo(double n) {
  return std::bit_cast<double>((std::bit_cast<std::uint64_t>(n + kRoundToInteger) << 52) + kOneBits);
}

// x 2^n in two factors, because 2^n alone may overflow or be subnormal; only the last product rounds.
QUIVER_INLINE double Scaled(double x, double n) {
  const double half = (n * 0.5 + kRoundToInteger) - kRoundToInteger;
  return x * PowerOfTwo(half) * PowerOfTwo(n - half);
}

// e^(r + rest) for |r| <= ln(2)/2 and a tiny rest: 1 + r + r^2 P(r). P by Remez' method, relative error of e^r 2^-58.
QUIVER_INLINE double ExpReduced(double r, double rest) {
  const double r2 = r * r, r4 = r2 * r2;
  const double low = (0x1.000000000000bp-1 + r * 0x1.5555555555561p-3) +
                     r2 * (0x1.5555555550031p-5 + r * 0x1.111111110d62fp-7);
  const double middle = (0x1.6c16c185a71f0p-10 + r * 0x1.a01a01bae7a49p-13) +
                        r2 * (0x1.a01996942c4dep-16 + r * 0x1.71dddfbdc6be5p-19);
  const double high = 0x1.28b048cc50e4ep-22 + r * 0x1.af859f6bf9612p-26;
  return 1 + (r + (r2 * (low + r4 * (middle + r4 * high)) + rest));
}

// A positive normal number as m 2^k with sqrt(1/2) <= m < sqrt(2).
struct Parts {
  double m, k;
};
QUIVER_INLINE Parts Split(double x) {
  const std::uint64_t bits = std::bit_cast<std::uint64_t>(x);
  const std::uint64_t shifted = bits + (kOneBits - kSqrtHalfBits);
  const std::uint64_t exponent = shifted >> 52;
  // The bits of 2^52 hold a small integer in their lowest places.
  const double k = std::bit_cast<double>(exponent | 0x4330000000000000) - (0x1p52 + 1023);
  return {std::bit_cast<double>(bits - (shifted & kExponentMask) + kOneBits), k};
}

// A sum of two numbers, the lower one for what the upper one lacks.
struct Sum {
  double upper, lower;
};

// log2(m 2^k) for sqrt(1/2) <= m < sqrt(2):
//   s = (m - 1)/(m + 1),  log2(m) = 2/(3 ln 2) s (3 + s^2 + r(s^2)),  r by Remez' method, relative error 2^-66
// so that its error, times a y that just does not overflow in pow, stays below a tenth of the last place.
QUIVER_INLINE Sum LogArgument(double m) {
  const double f = m - 1, sum = m + 1, per_sum = 1 / sum;
  const double s_upper = Upper(f * per_sum), sum_upper = Upper(sum), sum_lower = m - (sum_upper - 1);
  return {s_upper, ((f - s_upper * sum_upper) - s_upper * sum_lower) * per_sum};
}
QUIVER_INLINE Sum Log2(Sum s, double k) {
  constexpr double kScaleUpper = 0x1.ec709d8p-1, kScaleLower = 0x1.0e80ff5d27f05p-27;
  constexpr double kScale = kScaleUpper + kScaleLower;  // 2/(3 ln 2)

  const double square_upper = s.upper * s.upper, square_lower = s.lower * (2 * s.upper + s.lower);
  const double z = square_upper + square_lower, z2 = z * z;
  const double r =
      z2 * (((0x1.3333333333464p-1 + z * 0x1.b6db6db683bc8p-2) +
             z2 * (0x1.555555a20f866p-2 + z * 0x1.1745af6998b79p-2)) +
            z2 * z2 * ((0x1.d8ae626673b94p-3 + z * 0x1.973fd65ab4c79p-3) + z2 * 0x1.9564502914acbp-3));
  const double t_upper = Upper(3 + square_upper + r);
  const double t_lower = (r + square_lower) - ((t_upper - 3) - square_upper);
  const double u = s.upper * t_upper, v = s.lower * t_upper + (s.upper + s.lower) * t_lower;
  const double p_upper = Upper(u + v), p_lower = v - (p_upper - u);
  const double q = kScaleUpper * p_upper, q_lower = kScaleLower * p_upper + kScale * p_lower;
  const double upper = Upper((q + q_lower) + k);
  return {upper, q_lower - ((upper - k) - q)};
}

// The logarithm's sum times y as n + reduced/ln(2) + lost/ln(2), for |y| <= 2^64.
struct ReducedPower {
  double n, reduced, lost;
};
QUIVER_INLINE ReducedPower Reduce(Sum log, double y) {
  constexpr double kLn2Upper = 0x1.62e42f8p-1, kLn2Lower = 0x1.be8e7bcd5e4f2p-27,
                   kLn2 = kLn2Upper + kLn2Lower;
  const double y_upper = Upper(y);
  const double whole = y_upper * log.upper;
  const double part = (y - y_upper) * log.upper + y * log.lower;
  // Beyond these the result is infinite or 0 whatever the rest is.
  const double capped = whole > 1100 ? 1100 : whole < -1200 ? -1200 : whole;
  const double rest = capped == whole ? part : 0;
  const double sum_of_both = capped + rest;
  const double n = (sum_of_both + kRoundToInteger) - kRoundToInteger;
  const double g = (capped - n) + rest, g_upper = Upper(g), g_lower = rest - (g_upper - (capped - n));
  const double a = g_upper * kLn2Upper, b = g_lower * kLn2 + g_upper * kLn2Lower;
  const double reduced = a + b;
  return {n, reduced, b - (reduced - a)};
}

QUIVER_INLINE double PowerOf(const ReducedPower& power) {
  // e^(reduced + lost) = e^reduced (1 + lost); to first order the factor adds lost (1 + reduced).
  return Scaled(ExpReduced(power.reduced, power.lost + power.lost * power.reduced), power.n);
}

// pow(m 2^k, y) for sqrt(1/2) <= m < sqrt(2) and |y| <= 2^64. Vector code takes the steps one by one over all its
// numbers: each alone is short enough for a processor to overlap several of them.
QUIVER_INLINE double PowReduced(double m, double k, double y) {
  return PowerOf(Reduce(Log2(LogArgument(m), k), y));
}

}  // namespace detail

QUIVER_INLINE double Exp(double x) {
  using namespace detail;
  constexpr double kLog2E = 0x1.71547652b82fep+0, kLn2Upper = 0x1.62e42feep-1,
                   kLn2Lower = 0x1.a39ef35793c76p-33;
  const double capped = x > 720 ? 720 : x < -760 ? -760 : x;  // infinite and 0 beyond; not-a-number stays
  const double n = (capped * kLog2E + kRoundToInteger) - kRoundToInteger;
  const double upper = capped - n * kLn2Upper, lower = n * kLn2Lower;  // the first product is exact
  const double r = upper - lower;
  return Scaled(ExpReduced(r, (upper - r) - lower), n);
}

// ln(m 2^k) = k ln 2 + ln(1 + f) with f = m - 1, s = f/(2 + f), ln(1 + f) = f - (f^2/2 - s (f^2/2 + s^2 P(s^2))).
QUIVER_INLINE double Log(double x) {
  using namespace detail;
  constexpr double kLn2Upper = 0x1.62e42feep-1, kLn2Lower = 0x1.a39ef35793c76p-33;
  const bool tiny = x < kSmallestNormal;
  const Parts parts = Split(tiny ? x * 0x1p54 : x);
  const double k = tiny ? parts.k - 54 : parts.k;
  const double f = parts.m - 1, s = f / (2 + f), z = s * s, z2 = z * z;
  const double polynomial =
      z * (((0x1.5555555555592p-1 + z * 0x1.999999997fd55p-2) +
            z2 * (0x1.24924941f67fdp-2 + z * 0x1.c71c520500c7dp-3)) +
           z2 * z2 * ((0x1.74663fd0811b5p-3 + z * 0x1.39a1a2defd337p-3) + z2 * 0x1.2f06593e99671p-3));
  const double half = 0.5 * f * f;
  const double result = k * kLn2Upper - ((half - (s * (half + polynomial) + k * kLn2Lower)) - f);
  const double ordinary = x < kInfinity ? result : x;  // infinity and not-a-number stay
  const double positive = x > 0 ? ordinary : std::numeric_limits<double>::quiet_NaN();
  return x == 0 ? -kInfinity : x != x ? x : positive;
}

// Whether PowOrdinary may be used.
QUIVER_INLINE bool IsOrdinaryPow(double x, double y) {
  return (x >= detail::kSmallestNormal) & (x < detail::kInfinity) & (std::fabs(y) <= 0x1p64);
}
QUIVER_INLINE double PowOrdinary(double x, double y) {
  const detail::Parts parts = detail::Split(x);
  return detail::PowReduced(parts.m, parts.k, y);
}

// All other arguments.
double PowSpecial(double x, double y);

inline double Pow(double x, double y) { return IsOrdinaryPow(x, y) ? PowOrdinary(x, y) : PowSpecial(x, y); }

#undef QUIVER_INLINE

}  // namespace quiver::vector_math
