// SPDX-License-Identifier: Apache-2.0
// Samples: what makes a Sobol sequence and a Latin hypercube one, checked on the points.
#include "runtime/sweep/sampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <vector>

namespace quiver {
namespace {

// Of any 2^k consecutive points that start at a multiple of 2^k, one lies in each of 2^k equal intervals of every dimension.
TEST(Sobol, EveryDimensionIsStratified) {
  for (const std::uint64_t seed : {0, 1, 77}) {
    const SobolSequence sequence(SobolSequence::kMostDimensions, seed);
    std::vector<double> x(SobolSequence::kMostDimensions);
    for (const int size : {8, 64, 1024}) {
      std::vector<std::set<int>> strata(x.size());
      for (int i = 3 * size; i < 4 * size; ++i) {
        sequence.Point(i, x);
        for (size_t d = 0; d < x.size(); ++d) strata[d].insert(static_cast<int>(x[d] * size));
      }
      for (size_t d = 0; d < x.size(); ++d)
        EXPECT_EQ(strata[d].size(), static_cast<size_t>(size)) << "dimension " << d + 1 << ", seed " << seed;
    }
  }
}

// Property A of Sobol: of the first 2^d points in d dimensions one lies in each half-cube, which Joe and Kuo's numbers have in
// all dimensions. Half-cubes of points are sums modulo 2 of those of the points 2^k; so these d rows of bits have to be
// independent.
TEST(Sobol, HalfCubesHoldOnePointEachInAllDimensions) {
  const SobolSequence sequence(SobolSequence::kMostDimensions, 0);
  std::vector<double> x(SobolSequence::kMostDimensions);
  for (int dimensions = 1; dimensions <= SobolSequence::kMostDimensions; ++dimensions) {
    std::vector<std::uint32_t> pivots;
    int rank = 0;
    for (int k = 0; k < dimensions; ++k) {
      sequence.Point(std::int64_t{1} << k, x);
      std::uint32_t row = 0;
      for (int d = 0; d < dimensions; ++d) row |= (x[static_cast<size_t>(d)] >= 0.5 ? 1u : 0u) << d;
      for (const std::uint32_t pivot : pivots) row = std::min(row, row ^ pivot);
      if (row == 0) continue;
      pivots.push_back(row);
      std::sort(pivots.rbegin(), pivots.rend());
      ++rank;
    }
    EXPECT_EQ(rank, dimensions);
  }
}

// By hand from the direction numbers 1/2, 1/4, 1/8 and 1/2, 3/4, 5/8.
TEST(Sobol, FirstPoints) {
  const SobolSequence sequence(2, 0);
  const std::array<std::array<double, 2>, 6> expected = {
      {{0, 0}, {0.5, 0.5}, {0.75, 0.25}, {0.25, 0.75}, {0.375, 0.375}, {0.875, 0.875}}};
  for (size_t i = 0; i < expected.size(); ++i) {
    std::array<double, 2> x;
    sequence.Point(static_cast<std::int64_t>(i), x);
    EXPECT_EQ(x, expected[i]) << i;
  }
}

TEST(LatinHypercube, EveryStratumHoldsOnePoint) {
  for (const int points : {1, 2, 7, 100, 1000, 4097}) {
    const LatinHypercube cube(5, points, 3);
    std::vector<std::set<int>> strata(5);
    std::array<double, 5> x;
    int in_order = 0;
    for (int i = 0; i < points; ++i) {
      cube.Point(i, x);
      for (size_t d = 0; d < 5; ++d) {
        ASSERT_GE(x[d], 0);
        ASSERT_LT(x[d], 1);
        strata[d].insert(static_cast<int>(x[d] * points));
      }
      in_order += static_cast<int>(x[0] * points) == i;
    }
    for (const auto& used : strata) EXPECT_EQ(used.size(), static_cast<size_t>(points));
    if (points >= 100) {
      EXPECT_LT(in_order, points / 10) << "the strata are not shuffled";
    }
  }
}

TEST(Samples, SeedsGiveOtherPointsAndTheSameSeedTheSame) {
  std::array<double, 2> a, b, c;
  LatinHypercube(2, 50, 1).Point(7, a);
  LatinHypercube(2, 50, 1).Point(7, b);
  LatinHypercube(2, 50, 2).Point(7, c);
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
  SobolSequence(2, 1).Point(7, a);
  SobolSequence(2, 1).Point(7, b);
  SobolSequence(2, 2).Point(7, c);
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
}

}  // namespace
}  // namespace quiver
