// SPDX-License-Identifier: Apache-2.0
// Structure analysis against exhaustive search on small systems and against known answers on large ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "runtime/structure/blocks.h"
#include "runtime/structure/dulmage_mendelsohn.h"

namespace quiver {
namespace {

using testing::ElementsAre;

Incidence Make(int columns, const std::vector<std::vector<int>>& rows) {
  Incidence incidence(columns);
  for (const auto& row : rows) incidence.AddRow(row);
  return incidence;
}

std::vector<std::vector<int>> RandomRows(int rows, int columns, int most, std::mt19937& random) {
  std::vector<std::vector<int>> result(rows);
  std::vector<int> all(columns);
  std::iota(all.begin(), all.end(), 0);
  for (auto& row : result) {
    std::shuffle(all.begin(), all.end(), random);
    row.assign(all.begin(),
               all.begin() + std::uniform_int_distribution<int>(0, std::min(most, columns))(random));
  }
  return result;
}

int BestMatching(const std::vector<std::vector<int>>& rows, std::size_t row, unsigned used) {
  if (row == rows.size()) return 0;
  int best = BestMatching(rows, row + 1, used);
  for (int column : rows[row]) {
    if (!(used >> column & 1u)) best = std::max(best, 1 + BestMatching(rows, row + 1, used | 1u << column));
  }
  return best;
}

TEST(Matching, is_as_large_as_exhaustive_search_finds) {
  std::mt19937 random(7);
  for (int trial = 0; trial < 300; ++trial) {
    const auto rows = RandomRows(1 + trial % 8, 1 + trial % 7, 3, random);
    const Incidence incidence = Make(1 + trial % 7, rows);
    const Matching matching = MaximumMatching(incidence);
    ASSERT_EQ(matching.size, BestMatching(rows, 0, 0)) << trial;
    int pairs = 0;
    for (int row = 0; row < incidence.Rows(); ++row) {
      const int column = matching.column_of_row[row];
      if (column < 0) continue;
      ++pairs;
      ASSERT_EQ(matching.row_of_column[column], row);
      ASSERT_NE(std::count(rows[row].begin(), rows[row].end(), column), 0);
    }
    ASSERT_EQ(pairs, matching.size);
  }
}

// One exchange that runs through all rows: deep recursion would overflow the stack.
TEST(Matching, follows_an_exchange_of_a_million_rows) {
  const int n = 1000000;
  Incidence incidence(n);
  for (int i = 0; i < n - 1; ++i) incidence.AddRow(std::vector<int>{i, i + 1});
  incidence.AddRow(std::vector<int>{0});
  const Matching matching = MaximumMatching(incidence);
  EXPECT_EQ(matching.size, n);
  EXPECT_EQ(OrderBlocks(incidence, matching).Count(), n);
}

// Defining properties: every row of an over-determined part can be the one left over, and no row outside one.
TEST(StructuralParts, hold_exactly_what_some_maximum_matching_leaves_out) {
  std::mt19937 random(11);
  for (int trial = 0; trial < 150; ++trial) {
    const int columns = 2 + trial % 6;
    const auto rows = RandomRows(2 + trial % 7, columns, 3, random);
    const Incidence incidence = Make(columns, rows);
    const StructuralParts parts = FindStructuralParts(incidence, MaximumMatching(incidence));
    std::vector<int> over_rows, under_columns;
    for (const auto& part : parts.over) {
      EXPECT_GT(part.rows.size(), part.columns.size());
      over_rows.insert(over_rows.end(), part.rows.begin(), part.rows.end());
    }
    for (const auto& part : parts.under) {
      EXPECT_LT(part.rows.size(), part.columns.size());
      under_columns.insert(under_columns.end(), part.columns.begin(), part.columns.end());
    }
    EXPECT_EQ(parts.well.rows.size(), parts.well.columns.size());
    const int best = BestMatching(rows, 0, 0);
    for (std::size_t row = 0; row < rows.size(); ++row) {
      auto without = rows;
      without.erase(without.begin() + static_cast<long>(row));
      EXPECT_EQ(BestMatching(without, 0, 0) == best, std::count(over_rows.begin(), over_rows.end(), row) > 0);
    }
    for (int column = 0; column < columns; ++column) {
      auto without = rows;
      for (auto& row : without) std::erase(row, column);
      EXPECT_EQ(BestMatching(without, 0, 0) == best,
                std::count(under_columns.begin(), under_columns.end(), column) > 0);
    }
  }
}

TEST(StructuralParts, unconnected_faults_are_told_apart) {
  // Rows 0 and 1 both fix column 0; rows 2, 3 and 4 share columns 1 and 2; columns 3 and 4 share row 5; 5 is
  // alone.
  const Incidence incidence = Make(6, {{0}, {0}, {1, 2}, {1, 2}, {1}, {3, 4}});
  const StructuralParts parts = FindStructuralParts(incidence, MaximumMatching(incidence));
  ASSERT_EQ(parts.over.size(), 2u);
  EXPECT_THAT(parts.over[0].rows, ElementsAre(0, 1));
  EXPECT_THAT(parts.over[1].rows, ElementsAre(2, 3, 4));
  EXPECT_THAT(parts.over[1].columns, ElementsAre(1, 2));
  ASSERT_EQ(parts.under.size(), 2u);
  EXPECT_THAT(parts.under[0].columns, ElementsAre(3, 4));
  EXPECT_THAT(parts.under[1].columns, ElementsAre(5));
}

// Blocks with full diagonal cycles and entries below, rows and columns permuted: the blocks come back.
TEST(Blocks, a_permuted_triangular_system_is_recovered) {
  std::mt19937 random(3);
  for (int trial = 0; trial < 60; ++trial) {
    std::vector<int> sizes, block_of;
    for (int b = 0; b < 1 + trial % 12; ++b) {
      sizes.push_back(std::uniform_int_distribution<int>(1, 5)(random));
      block_of.insert(block_of.end(), sizes.back(), b);
    }
    const int n = static_cast<int>(block_of.size());
    std::vector<int> row_name(n), column_name(n);
    std::iota(row_name.begin(), row_name.end(), 0);
    std::iota(column_name.begin(), column_name.end(), 0);
    std::shuffle(row_name.begin(), row_name.end(), random);
    std::shuffle(column_name.begin(), column_name.end(), random);
    std::vector<std::vector<int>> rows(n);
    for (int i = 0; i < n; ++i) {
      auto& row = rows[row_name[i]];
      const int first =
          static_cast<int>(std::find(block_of.begin(), block_of.end(), block_of[i]) - block_of.begin());
      const int size = sizes[block_of[i]];
      row.push_back(column_name[i]);
      if (size > 1) row.push_back(column_name[first + (i - first + 1) % size]);
      for (int j = 0; j < first; ++j) {
        if (random() % 4 == 0) row.push_back(column_name[j]);
      }
    }
    const Incidence incidence = Make(n, rows);
    const BlockOrder order = OrderBlocks(incidence, MaximumMatching(incidence));
    ASSERT_EQ(order.Count(), static_cast<int>(sizes.size()));
    std::vector<char> known(n, 0);
    for (int block = 0; block < order.Count(); ++block) {
      for (int column : order.Columns(block)) known[column] = 1;
      for (int row : order.Rows(block)) {
        for (int column : rows[row]) ASSERT_TRUE(known[column]) << "row " << row << " needs a later column";
      }
    }
  }
}

TEST(Blocks, a_condition_delays_its_row_or_joins_a_loop) {
  const Incidence incidence = Make(3, {{0}, {1}, {2}});
  const Matching matching = MaximumMatching(incidence);
  Incidence conditions = Make(3, {{2}, {}, {1}});
  EXPECT_THAT(OrderBlocks(incidence, matching, &conditions).row, ElementsAre(1, 2, 0));
  conditions = Make(3, {{2}, {}, {0}});
  EXPECT_THAT(OrderBlocks(incidence, matching, &conditions).start, ElementsAre(0, 2, 3));
}

}  // namespace
}  // namespace quiver
