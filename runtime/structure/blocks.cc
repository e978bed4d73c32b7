// SPDX-License-Identifier: Apache-2.0
#include "runtime/structure/blocks.h"

#include <algorithm>
#include <limits>

namespace quiver {

BlockOrder OrderBlocks(const Incidence& incidence, const Matching& matching, const Incidence* conditions) {
  constexpr int kFinished = std::numeric_limits<int>::max();
  const int rows = incidence.Rows();
  BlockOrder order;
  std::vector<int> number(rows, 0);  // 0: not seen; order of discovery; kFinished: its block is complete
  std::vector<int> lowest(rows, 0);
  std::vector<int> open;  // rows whose block is not complete
  struct Visit {
    int row;
    int next;  // entry to follow: first the row's own columns, then those of its condition
  };
  std::vector<Visit> visits;
  int count = 0;

  const auto enter = [&](int row) {
    number[row] = lowest[row] = ++count;
    open.push_back(row);
    visits.push_back({row, 0});
  };

  for (int root = 0; root < rows; ++root) {
    if (number[root] != 0 || matching.column_of_row[root] < 0) continue;
    enter(root);
    while (!visits.empty()) {
      const int row = visits.back().row;
      const std::span<const int> own = incidence.Row(row);
      const std::span<const int> condition = conditions ? conditions->Row(row) : std::span<const int>();
      const int entry = visits.back().next++;
      const int own_count = static_cast<int>(own.size());
      if (entry < own_count + static_cast<int>(condition.size())) {
        const int column = entry < own_count ? own[entry] : condition[entry - own_count];
        const int needed = matching.row_of_column[column];
        if (needed < 0) continue;
        if (number[needed] == 0) {
          enter(needed);
        } else if (number[needed] != kFinished) {
          lowest[row] = std::min(lowest[row], number[needed]);
        }
        continue;
      }
      visits.pop_back();
      if (!visits.empty()) {
        int& above = lowest[visits.back().row];
        above = std::min(above, lowest[row]);
      }
      if (lowest[row] != number[row]) continue;
      // All that this block needs was finished before it: blocks appear in the order of solution.
      const auto first = std::find(open.rbegin(), open.rend(), row).base() - 1;
      std::sort(first, open.end());
      for (auto member = first; member != open.end(); ++member) {
        number[*member] = kFinished;
        order.row.push_back(*member);
        order.column.push_back(matching.column_of_row[*member]);
      }
      open.erase(first, open.end());
      order.start.push_back(static_cast<int>(order.row.size()));
    }
  }
  return order;
}

}  // namespace quiver
