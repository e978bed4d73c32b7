// SPDX-License-Identifier: Apache-2.0
// Which equation (row) contains which variable (column), in compressed rows.
//
//   Incidence incidence(3);                       // three columns
//   incidence.AddRow(std::array{0, 2});
//   for (int column : incidence.Row(0)) ...
#ifndef QUIVER_RUNTIME_STRUCTURE_INCIDENCE_H_
#define QUIVER_RUNTIME_STRUCTURE_INCIDENCE_H_

#include <span>
#include <vector>

namespace quiver {

class Incidence {
 public:
  explicit Incidence(int columns = 0) : columns_(columns) {}

  // Columns are distinct, in any order.
  void AddRow(std::span<const int> columns);

  int Rows() const { return static_cast<int>(start_.size()) - 1; }
  int Columns() const { return columns_; }
  std::span<const int> Row(int row) const {
    return {column_.data() + start_[row], static_cast<std::size_t>(start_[row + 1] - start_[row])};
  }
  int Start(int row) const { return start_[row]; }
  std::span<const int> Entries() const { return column_; }

  Incidence Transposed() const;

 private:
  int columns_;
  std::vector<int> start_{0};
  std::vector<int> column_;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_STRUCTURE_INCIDENCE_H_
