// SPDX-License-Identifier: Apache-2.0
// Pattern building by two counting sorts, so that time is linear in the number of entries.
#include "runtime/linalg/sparse_matrix.h"

#include <cassert>

namespace quiver {

SparsePattern BuildPattern(int size, std::span<const MatrixEntry> entries, std::vector<int>* slots) {
  const int count = static_cast<int>(entries.size());
  std::vector<int> start(size + 1, 0), by_row(count), by_column(count);

  for (const MatrixEntry& entry : entries) ++start[entry.row + 1];
  for (int i = 0; i < size; ++i) start[i + 1] += start[i];
  for (int k = 0; k < count; ++k) by_row[start[entries[k].row]++] = k;

  start.assign(size + 1, 0);
  for (const MatrixEntry& entry : entries) ++start[entry.column + 1];
  for (int j = 0; j < size; ++j) start[j + 1] += start[j];
  for (int k : by_row) by_column[start[entries[k].column]++] = k;

  SparsePattern pattern;
  pattern.size = size;
  pattern.column_start.assign(size + 1, 0);
  pattern.row.reserve(count);
  if (slots) slots->resize(count);
  int last_column = -1;
  for (int k : by_column) {
    const auto [row, column] = entries[k];
    assert(row >= 0 && row < size && column >= 0 && column < size);
    if (column != last_column || pattern.row.back() != row) pattern.row.push_back(row);
    last_column = column;
    pattern.column_start[column + 1] = pattern.EntryCount();
    if (slots) (*slots)[k] = pattern.EntryCount() - 1;
  }
  for (int j = 0; j < size; ++j) {  // columns without entries
    if (pattern.column_start[j + 1] == 0) pattern.column_start[j + 1] = pattern.column_start[j];
  }
  return pattern;
}

void AddProduct(const SparsePattern& pattern, std::span<const double> values, double factor,
                std::span<const double> x, std::span<double> y) {
  for (int j = 0; j < pattern.size; ++j) {
    const double scaled = factor * x[j];
    for (int k = pattern.column_start[j]; k < pattern.column_start[j + 1]; ++k) {
      y[pattern.row[k]] += values[k] * scaled;
    }
  }
}

}  // namespace quiver
