// SPDX-License-Identifier: Apache-2.0
#include "runtime/sweep/sampling.h"

#include <bit>

namespace quiver {
namespace {

// Degree and inner coefficients of the primitive polynomial, first direction integers. Dimension 1 has none.
struct SobolRow {
  int degree;
  unsigned coefficients;
  std::array<std::uint32_t, 7> first;
};
constexpr SobolRow kSobolRows[] = {
    {1, 0, {1}},
    {2, 1, {1, 3}},
    {3, 1, {1, 3, 1}},
    {3, 2, {1, 1, 1}},
    {4, 1, {1, 1, 3, 3}},
    {4, 4, {1, 3, 5, 13}},
    {5, 2, {1, 1, 5, 5, 17}},
    {5, 4, {1, 1, 5, 5, 5}},
    {5, 7, {1, 1, 7, 11, 19}},
    {5, 11, {1, 1, 5, 1, 1}},
    {5, 13, {1, 1, 1, 3, 11}},
    {5, 14, {1, 3, 5, 5, 31}},
    {6, 1, {1, 3, 3, 9, 7, 49}},
    {6, 13, {1, 1, 1, 15, 21, 21}},
    {6, 16, {1, 3, 1, 13, 27, 49}},
    {6, 19, {1, 1, 1, 15, 7, 5}},
    {6, 22, {1, 3, 1, 15, 13, 25}},
    {6, 25, {1, 1, 5, 5, 19, 61}},
    {7, 1, {1, 3, 7, 11, 23, 15, 103}},
    {7, 4, {1, 3, 7, 13, 13, 15, 69}},
    {7, 7, {1, 1, 3, 13, 7, 35, 63}},
    {7, 8, {1, 3, 5, 9, 1, 25, 53}},
    {7, 14, {1, 3, 1, 13, 9, 35, 107}},
    {7, 19, {1, 3, 1, 5, 27, 61, 31}},
    {7, 21, {1, 1, 5, 11, 19, 41, 61}},
    {7, 28, {1, 3, 5, 3, 3, 13, 69}},
    {7, 31, {1, 1, 7, 13, 1, 19, 1}},
    {7, 32, {1, 3, 7, 5, 13, 19, 59}},
    {7, 37, {1, 1, 3, 9, 25, 29, 41}},
    {7, 41, {1, 3, 5, 13, 23, 1, 55}},
    {7, 42, {1, 3, 7, 3, 13, 59, 17}},
};
static_assert(std::size(kSobolRows) == SobolSequence::kMostDimensions - 1);

constexpr std::uint64_t kGolden = 0x9e37'79b9'7f4a'7c15;
constexpr int kRounds = 4;  // of the permutation; three are the least that look random

}  // namespace

std::uint64_t Mixed(std::uint64_t number) {
  number += kGolden;
  number = (number ^ (number >> 30)) * 0xbf58'476d'1ce4'e5b9;
  number = (number ^ (number >> 27)) * 0x94d0'49bb'1331'11eb;
  return number ^ (number >> 31);
}

SobolSequence::SobolSequence(int dimensions, std::uint64_t seed) {
  for (int d = 0; d < dimensions; ++d) {
    std::array<std::uint32_t, 32>& v = directions_.emplace_back();
    if (d == 0) {
      for (size_t k = 0; k < 32; ++k) v[k] = 1u << (31 - k);
    } else {
      // v[k] = v[k-s] ^ (v[k-s] >> s) ^ sum of a_i v[k-i], i = 1 .. s-1, with the leading coefficient first.
      const SobolRow& row = kSobolRows[d - 1];
      const auto degree = static_cast<size_t>(row.degree);
      for (size_t k = 0; k < 32; ++k) {
        if (k < degree) {
          v[k] = row.first[k] << (31 - k);
          continue;
        }
        v[k] = v[k - degree] ^ (v[k - degree] >> degree);
        for (size_t i = 1; i < degree; ++i)
          if ((row.coefficients >> (degree - 1 - i)) & 1) v[k] ^= v[k - i];
      }
    }
    const auto dimension = static_cast<std::uint64_t>(d);
    shifts_.push_back(seed == 0 ? 0 : static_cast<std::uint32_t>(Mixed(Mixed(seed) + dimension) >> 32));
  }
}

void SobolSequence::Point(std::int64_t index, std::span<double> x) const {
  const std::uint64_t number = static_cast<std::uint64_t>(index);
  const std::uint64_t gray = number ^ (number >> 1);
  for (size_t d = 0; d < directions_.size(); ++d) {
    std::uint32_t digits = shifts_[d];
    for (std::uint64_t rest = gray; rest; rest &= rest - 1)
      digits ^= directions_[d][static_cast<size_t>(std::countr_zero(rest))];
    x[d] = digits * 0x1p-32;
  }
}

LatinHypercube::LatinHypercube(int dimensions, std::int64_t points, std::uint64_t seed) : points_(points) {
  while ((std::int64_t{1} << (2 * half_bits_)) < points) ++half_bits_;
  for (int d = 0; d < dimensions; ++d) keys_.push_back(Mixed(Mixed(seed) + static_cast<std::uint64_t>(d)));
}

// A Feistel network is a permutation of the numbers of 2 * half_bits_ bits, whatever its round function; numbers beyond the
// last stratum are sent through it again until they are inside, which permutes those inside.
std::int64_t LatinHypercube::Stratum(int dimension, std::int64_t index) const {
  const std::uint64_t key = keys_[static_cast<size_t>(dimension)];
  const std::uint64_t mask = (std::uint64_t{1} << half_bits_) - 1;
  auto number = static_cast<std::uint64_t>(index);
  do {
    std::uint64_t left = number >> half_bits_, right = number & mask;
    for (int round = 0; round < kRounds; ++round) {
      const std::uint64_t next =
          left ^ (Mixed(key ^ (right << 3) ^ static_cast<std::uint64_t>(round)) & mask);
      left = right;
      right = next;
    }
    number = (left << half_bits_) | right;
  } while (number >= static_cast<std::uint64_t>(points_));
  return static_cast<std::int64_t>(number);
}

void LatinHypercube::Point(std::int64_t index, std::span<double> x) const {
  for (size_t d = 0; d < keys_.size(); ++d) {
    const std::uint64_t bits = Mixed(~keys_[d] + static_cast<std::uint64_t>(index)) >> 11;
    const double within = static_cast<double>(bits) * 0x1p-53;
    const double place =
        (static_cast<double>(Stratum(static_cast<int>(d), index)) + within) / static_cast<double>(points_);
    x[d] = place < 1 ? place : 1 - 0x1p-53;
  }
}

}  // namespace quiver
