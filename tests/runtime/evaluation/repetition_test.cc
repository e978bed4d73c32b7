// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/repetition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace quiver {
namespace {

void Append(std::vector<int>& keys, const std::vector<int>& unit, int copies) {
  for (int i = 0; i < copies; ++i) keys.insert(keys.end(), unit.begin(), unit.end());
}

void ExpectStretches(const std::vector<int>& keys, const std::vector<Stretch>& expected) {
  const std::vector<Stretch> found = FindStretches(keys, 16);
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i].first, expected[i].first);
    EXPECT_EQ(found[i].period, expected[i].period);
    EXPECT_EQ(found[i].copies, expected[i].copies);
  }
}

TEST(Repetition, finds_units_among_single_equations) {
  std::vector<int> keys = {9, 8, 7};
  Append(keys, {1, 2, 2, 3}, 20);
  keys.push_back(9);
  Append(keys, {4, 4, 5, 5}, 16);
  Append(keys, {6}, 15);  // too few
  keys.push_back(7);
  Append(keys, {6}, 16);
  ExpectStretches(keys, {{3, 4, 20}, {84, 4, 16}, {164, 1, 16}});
}

TEST(Repetition, prefers_the_unit_to_runs_within_it) {
  std::vector<int> unit(20, 1);
  unit.push_back(2);
  std::vector<int> keys;
  Append(keys, unit, 40);
  ExpectStretches(keys, {{0, 21, 40}});
}

TEST(Repetition, stretches_of_random_sequences_repeat_and_do_not_overlap) {
  std::mt19937 random(11);
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  long long covered = 0;
  for (int trial = 0; trial < 200; ++trial) {
    std::vector<int> keys;
    for (int piece = 0; piece < 8; ++piece) {
      std::vector<int> unit;
      for (int k = 1 + below(6); k > 0; --k) unit.push_back(below(4));
      Append(keys, unit, 1 + below(40));
    }
    int end = 0;
    for (const Stretch& stretch : FindStretches(keys, 16)) {
      ASSERT_GE(stretch.first, end);
      ASSERT_GE(stretch.copies, 16);
      end = stretch.first + stretch.period * stretch.copies;
      ASSERT_LE(end, static_cast<int>(keys.size()));
      for (int e = stretch.first; e + stretch.period < end; ++e)
        ASSERT_EQ(keys[static_cast<std::size_t>(e)], keys[static_cast<std::size_t>(e + stretch.period)]);
      covered += stretch.period * stretch.copies;
    }
  }
  EXPECT_GT(covered, 50000);
}

TEST(Repetition, places_follow_a_rule_or_are_listed) {
  const int table[][3] = {{5, 7, 3}, {8, 7, 1}, {11, 7, 4}};
  const std::vector<Places> places = FindPlaces(3, 3, [&](int i) { return table[i]; });
  EXPECT_EQ(places[0], (Places{5, 3, {}}));
  EXPECT_EQ(places[1], (Places{7, 0, {}}));
  EXPECT_THAT(places[2].list, testing::ElementsAre(3, 1, 4));
  for (int i = 0; i < 3; ++i)
    for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(places[k][i], table[i][k]);
}

}  // namespace
}  // namespace quiver
