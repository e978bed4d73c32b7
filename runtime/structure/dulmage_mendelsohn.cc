// SPDX-License-Identifier: Apache-2.0
#include "runtime/structure/dulmage_mendelsohn.h"

#include <algorithm>

namespace quiver {
namespace {

// Marks what alternating paths reach from the unmatched nodes of one side: over any entry to the other side,
// back over the matched entry. `side` has the starting nodes as rows.
void Reach(const Incidence& side, const std::vector<int>& partner, const std::vector<int>& partner_of_other,
           std::vector<char>& node, std::vector<char>& other) {
  std::vector<int> queue;
  node.assign(side.Rows(), 0);
  other.assign(side.Columns(), 0);
  for (int start = 0; start < side.Rows(); ++start) {
    if (partner[start] >= 0) continue;
    node[start] = 1;
    queue.push_back(start);
  }
  for (std::size_t head = 0; head < queue.size(); ++head) {
    for (int reached : side.Row(queue[head])) {
      if (other[reached]) continue;
      other[reached] = 1;
      const int back = partner_of_other[reached];
      if (node[back]) continue;
      node[back] = 1;
      queue.push_back(back);
    }
  }
}

// Connected components of the rows and columns that are marked.
std::vector<StructuralPart> Components(const Incidence& rows, const Incidence& columns,
                                       std::vector<char> row_marked, std::vector<char> column_marked) {
  std::vector<StructuralPart> parts;
  std::vector<int> queue;  // rows as they are, columns as -1 - column
  const auto grow = [&](int first) {
    queue.assign(1, first);
    StructuralPart part;
    for (std::size_t head = 0; head < queue.size(); ++head) {
      const int node = queue[head];
      const bool is_row = node >= 0;
      (is_row ? part.rows : part.columns).push_back(is_row ? node : -1 - node);
      for (int neighbour : is_row ? rows.Row(node) : columns.Row(-1 - node)) {
        char& marked = is_row ? column_marked[neighbour] : row_marked[neighbour];
        if (!marked) continue;
        marked = 0;
        queue.push_back(is_row ? -1 - neighbour : neighbour);
      }
    }
    std::sort(part.rows.begin(), part.rows.end());
    std::sort(part.columns.begin(), part.columns.end());
    parts.push_back(std::move(part));
  };
  for (int row = 0; row < rows.Rows(); ++row) {
    if (!row_marked[row]) continue;
    row_marked[row] = 0;
    grow(row);
  }
  for (int column = 0; column < rows.Columns(); ++column) {
    if (!column_marked[column]) continue;
    column_marked[column] = 0;
    grow(-1 - column);
  }
  return parts;
}

}  // namespace

StructuralParts FindStructuralParts(const Incidence& incidence, const Matching& matching) {
  const Incidence transposed = incidence.Transposed();
  std::vector<char> over_rows, over_columns, under_rows, under_columns;
  Reach(incidence, matching.column_of_row, matching.row_of_column, over_rows, over_columns);
  Reach(transposed, matching.row_of_column, matching.column_of_row, under_columns, under_rows);

  StructuralParts parts;
  for (int row = 0; row < incidence.Rows(); ++row) {
    if (!over_rows[row] && !under_rows[row]) parts.well.rows.push_back(row);
  }
  for (int column = 0; column < incidence.Columns(); ++column) {
    if (!over_columns[column] && !under_columns[column]) parts.well.columns.push_back(column);
  }
  parts.over = Components(incidence, transposed, std::move(over_rows), std::move(over_columns));
  parts.under = Components(incidence, transposed, std::move(under_rows), std::move(under_columns));
  return parts;
}

}  // namespace quiver
