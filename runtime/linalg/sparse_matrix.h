// SPDX-License-Identifier: Apache-2.0
// Square sparse matrices whose pattern is built once and whose values change often.
//
//   std::vector<MatrixEntry> entries = {{0, 0}, {1, 0}, {1, 1}};
//   std::vector<int> slots;                                   // slots[k]: place of entries[k] among the
//   values SparsePattern pattern = BuildPattern(2, entries, &slots); std::vector<double>
//   values(pattern.EntryCount()); values[slots[2]] = 3.0;                                   // a(1, 1)
#ifndef QUIVER_RUNTIME_LINALG_SPARSE_MATRIX_H_
#define QUIVER_RUNTIME_LINALG_SPARSE_MATRIX_H_

#include <span>
#include <vector>

namespace quiver {

// Compressed columns: the rows of column j are row[column_start[j]] to row[column_start[j + 1] - 1],
// ascending.
struct SparsePattern {
  int size = 0;
  std::vector<int> column_start{0};  // size + 1 places
  std::vector<int> row;

  int EntryCount() const { return static_cast<int>(row.size()); }
};

struct MatrixEntry {
  int row;
  int column;
};

// Entries may come in any order; equal places share one slot, so that their values can be added up.
SparsePattern BuildPattern(int size, std::span<const MatrixEntry> entries, std::vector<int>* slots);

// y += factor * A x, with `values` parallel to pattern.row.
void AddProduct(const SparsePattern& pattern, std::span<const double> values, double factor,
                std::span<const double> x, std::span<double> y);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_LINALG_SPARSE_MATRIX_H_
