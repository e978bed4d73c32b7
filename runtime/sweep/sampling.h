// SPDX-License-Identifier: Apache-2.0
// Points spread over the unit cube. Any point can be asked for alone, so that workers share no state.
//
//   SobolSequence sobol(3, 7);            // 3 dimensions, seed 7
//   double x[3];  sobol.Point(12, x);     // x[k] in [0, 1)
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace quiver {

// The sequence of I. M. Sobol with the direction numbers of S. Joe and F. Y. Kuo (SIAM J. Sci. Comput. 30, 2635-2654
// (2008), their table D6), in the order of Gray codes. Seed 0 gives the sequence itself, its first point the
// origin; other seeds shift it digitally (each digit of each coordinate by a fixed random one), which keeps its
// stratification.
class SobolSequence {
 public:
  static constexpr int kMostDimensions = 32;
  static constexpr std::int64_t kMostPoints = std::int64_t{1} << 32;
  SobolSequence(int dimensions, std::uint64_t seed);
  void Point(std::int64_t index, std::span<double> x) const;

 private:
  std::vector<std::array<std::uint32_t, 32>> directions_;
  std::vector<std::uint32_t> shifts_;
};

// A Latin hypercube (McKay, Beckman, Conover, Technometrics 21, 239-245 (1979)): in every dimension each of `points` equal
// strata holds one point. The order of the strata is a keyed permutation, so nothing is stored.
class LatinHypercube {
 public:
  LatinHypercube(int dimensions, std::int64_t points, std::uint64_t seed);
  void Point(std::int64_t index, std::span<double> x) const;

 private:
  std::int64_t Stratum(int dimension, std::int64_t index) const;
  std::int64_t points_;
  int half_bits_ = 1;  // the permutation works on numbers of twice as many bits
  std::vector<std::uint64_t> keys_;
};

// Well mixed bits of a number (the finaliser of SplitMix64; Steele, Lea, Flood, OOPSLA 2014).
std::uint64_t Mixed(std::uint64_t number);

}  // namespace quiver
