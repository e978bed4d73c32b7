// SPDX-License-Identifier: Apache-2.0
#include "runtime/structure/incidence.h"

namespace quiver {

void Incidence::AddRow(std::span<const int> columns) {
  column_.insert(column_.end(), columns.begin(), columns.end());
  start_.push_back(static_cast<int>(column_.size()));
}

Incidence Incidence::Transposed() const {
  Incidence result(Rows());
  result.start_.assign(columns_ + 1, 0);
  for (int column : column_) ++result.start_[column + 1];
  for (int j = 0; j < columns_; ++j) result.start_[j + 1] += result.start_[j];
  result.column_.resize(column_.size());
  std::vector<int> next(result.start_.begin(), result.start_.end() - 1);
  for (int row = 0; row < Rows(); ++row) {
    for (int column : Row(row)) result.column_[next[column]++] = row;
  }
  return result;
}

}  // namespace quiver
