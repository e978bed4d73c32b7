// SPDX-License-Identifier: Apache-2.0
// Gaussian elimination of small systems of one pattern, each of the parts in hand in a lane of its own. The order of pivots
// is chosen by the values of one lane and kept for all; how far it suits another shows in that lane's multipliers.
//
//   LaneElimination elimination(2, {{0, 0}, {0, 1}, {1, 0}, {1, 1}});
//   if (elimination.ChooseOrder(matrix, 0)) elimination.Factor(matrix, growth);    // matrix[k]: entry k of every lane
//   if (growth.lane[i] <= LaneElimination::kLargestGrowth) ...                     // lane i may be used
//   elimination.Solve(right);                                                      // the solution takes its place
//
// Each lane's result depends on its own values and the order alone.
#ifndef QUIVER_RUNTIME_SOLVE_LANE_ELIMINATION_H_
#define QUIVER_RUNTIME_SOLVE_LANE_ELIMINATION_H_

#include <span>
#include <vector>

#include "runtime/solve/repeated_parts.h"

namespace quiver {

class LaneElimination {
 public:
  // Of a multiplier. A lane that needs larger ones wants another order.
  static constexpr double kLargestGrowth = 1e3;

  struct Entry {
    int row, column;
  };

  LaneElimination(int size, std::vector<Entry> entries);

  // Pivots that are large enough in this lane and, among those, make least work. False where the matrix is singular there.
  bool ChooseOrder(std::span<const PartRow> matrix, int lane);
  // growth: the largest multiplier. Where a pivot vanishes, solutions are not finite.
  void Factor(std::span<const PartRow> matrix, PartRow& growth);
  // One row per row of the matrix; afterwards one per column.
  void Solve(std::span<PartRow> right);

 private:
  struct Pivot {
    int row, column, slot;
    int first_multiplier, multipliers;  // in steps_ of this pivot
  };
  struct Multiplier {  // of a row below
    int row, slot;
    int first_update, updates;
  };
  struct Update {  // slot -= multiplier * from
    int slot, from;
  };
  struct Known {  // right[row of the pivot] -= slot * solution[column]
    int slot, column;
  };

  const int size_;
  const std::vector<Entry> entries_;
  std::vector<Pivot> pivots_;
  std::vector<Multiplier> multipliers_;
  std::vector<Update> updates_;
  std::vector<std::vector<Known>> known_;  // by pivot: entries of its row in columns that come later
  std::vector<PartRow> factors_;           // entries, then what fills in
  std::vector<PartRow> solution_;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_LANE_ELIMINATION_H_
