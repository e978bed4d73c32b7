// SPDX-License-Identifier: Apache-2.0
// Splits a matched system into the smallest blocks that can be solved one after another.
//
//   BlockOrder order = OrderBlocks(incidence, matching);
//   for (int block = 0; block < order.Count(); ++block) Solve(order.Rows(block), order.Columns(block));
#ifndef QUIVER_RUNTIME_STRUCTURE_BLOCKS_H_
#define QUIVER_RUNTIME_STRUCTURE_BLOCKS_H_

#include <span>
#include <vector>

#include "runtime/structure/incidence.h"
#include "runtime/structure/matching.h"

namespace quiver {

struct BlockOrder {
  std::vector<int> start{0};  // of each block in `row` and `column`
  std::vector<int> row;
  std::vector<int> column;  // column[k] is matched with row[k]

  int Count() const { return static_cast<int>(start.size()) - 1; }
  int Size(int block) const { return start[block + 1] - start[block]; }
  std::span<const int> Rows(int block) const {
    return {row.data() + start[block], static_cast<std::size_t>(Size(block))};
  }
  std::span<const int> Columns(int block) const {
    return {column.data() + start[block], static_cast<std::size_t>(Size(block))};
  }
};

// Every block needs only columns of its own and of blocks before it. `conditions`, if given, lists for each
// row further columns that have to be known before, or together with, the row, though they cannot be matched
// with it. Rows without a partner are left out. Tarjan, SIAM J. Comput. 1 (1972) 146-160, without recursion.
BlockOrder OrderBlocks(const Incidence& incidence, const Matching& matching,
                       const Incidence* conditions = nullptr);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_STRUCTURE_BLOCKS_H_
