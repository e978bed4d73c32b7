// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/lane_elimination.h"

#include <algorithm>
#include <cmath>

namespace quiver {
namespace {

constexpr double kLeastShare = 0.1;  // of a pivot, of the largest entry of its column
constexpr double kNoPivot = 1e-14;   // relative to the largest entry of the whole matrix: there is none

}  // namespace

LaneElimination::LaneElimination(int size, std::vector<Entry> entries)
    : size_(size), entries_(std::move(entries)), solution_(static_cast<std::size_t>(size)) {}

bool LaneElimination::ChooseOrder(std::span<const PartRow> matrix, int lane) {
  const auto n = static_cast<std::size_t>(size_);
  // Of this lane: where each entry's row of factors is (-1: structurally zero), and its value as elimination goes on.
  std::vector<int> slot(n * n, -1);
  std::vector<double> value(n * n, 0.0);
  double largest = 0.0;
  for (std::size_t k = 0; k < entries_.size(); ++k) {
    const std::size_t at =
        static_cast<std::size_t>(entries_[k].row) * n + static_cast<std::size_t>(entries_[k].column);
    slot[at] = static_cast<int>(k);
    value[at] = matrix[k].lane[lane];
    largest = std::max(largest, std::abs(value[at]));
  }
  int slots = static_cast<int>(entries_.size());
  pivots_.clear();
  multipliers_.clear();
  updates_.clear();
  known_.assign(n, {});
  std::vector<char> row_done(n, 0), column_done(n, 0);
  std::vector<long long> in_row(n), in_column(n);  // entries in open rows and columns
  for (std::size_t turn = 0; turn < n; ++turn) {
    std::fill(in_row.begin(), in_row.end(), 0);
    std::fill(in_column.begin(), in_column.end(), 0);
    for (std::size_t r = 0; r < n; ++r)
      for (std::size_t c = 0; c < n; ++c)
        if (!row_done[r] && !column_done[c] && slot[r * n + c] >= 0) ++in_row[r], ++in_column[c];
    std::size_t best = n * n;
    long long least_work = 0;
    for (std::size_t c = 0; c < n; ++c) {
      if (column_done[c]) continue;
      double top = 0.0;
      for (std::size_t r = 0; r < n; ++r)
        if (!row_done[r]) top = std::max(top, std::abs(value[r * n + c]));
      if (!(top > kNoPivot * largest)) return false;
      for (std::size_t r = 0; r < n; ++r) {
        if (row_done[r] || !(std::abs(value[r * n + c]) >= kLeastShare * top)) continue;
        const long long work = (in_column[c] - 1) * (in_row[r] - 1);
        const bool is_better = best == n * n || work < least_work ||
                               (work == least_work && std::abs(value[r * n + c]) > std::abs(value[best]));
        if (!is_better) continue;
        best = r * n + c;
        least_work = work;
      }
    }
    if (best == n * n) return false;
    const std::size_t row = best / n, column = best % n;
    row_done[row] = column_done[column] = 1;
    pivots_.push_back({static_cast<int>(row), static_cast<int>(column), slot[best],
                       static_cast<int>(multipliers_.size()), 0});
    for (std::size_t c = 0; c < n; ++c)
      if (!column_done[c] && slot[row * n + c] >= 0)
        known_[turn].push_back({slot[row * n + c], static_cast<int>(c)});
    for (std::size_t r = 0; r < n; ++r) {
      if (row_done[r] || slot[r * n + column] < 0) continue;
      multipliers_.push_back(
          {static_cast<int>(r), slot[r * n + column], static_cast<int>(updates_.size()), 0});
      ++pivots_.back().multipliers;
      const double factor = value[r * n + column] / value[best];
      for (const Known& entry : known_[turn]) {
        const std::size_t at = r * n + static_cast<std::size_t>(entry.column);
        if (slot[at] < 0) slot[at] = slots++;
        value[at] -= factor * value[row * n + static_cast<std::size_t>(entry.column)];
        updates_.push_back({slot[at], entry.slot});
        ++multipliers_.back().updates;
      }
    }
  }
  factors_.resize(static_cast<std::size_t>(slots));
  return true;
}

void LaneElimination::Factor(std::span<const PartRow> matrix, PartRow& growth) {
  std::copy(matrix.begin(), matrix.end(), factors_.begin());
  std::fill(factors_.begin() + static_cast<long>(matrix.size()), factors_.end(), PartRow{});
  std::fill_n(growth.lane, kPartLanes, 0.0);
  const auto row = [this](int slot) { return factors_[static_cast<std::size_t>(slot)].lane; };
  for (const Pivot& pivot : pivots_) {
    const double* const divisor = row(pivot.slot);
    for (int m = pivot.first_multiplier; m < pivot.first_multiplier + pivot.multipliers; ++m) {
      const Multiplier& multiplier = multipliers_[static_cast<std::size_t>(m)];
      double* const factor = row(multiplier.slot);
      for (int i = 0; i < kPartLanes; ++i) {
        factor[i] /= divisor[i];
        growth.lane[i] = std::max(growth.lane[i], std::abs(factor[i]));
      }
      for (int u = multiplier.first_update; u < multiplier.first_update + multiplier.updates; ++u) {
        const Update& update = updates_[static_cast<std::size_t>(u)];
        double* const to = row(update.slot);
        const double* const from = row(update.from);
        for (int i = 0; i < kPartLanes; ++i) to[i] -= factor[i] * from[i];
      }
    }
  }
}

void LaneElimination::Solve(std::span<PartRow> right) {
  const auto row = [this](int slot) { return factors_[static_cast<std::size_t>(slot)].lane; };
  const auto subtract = [](double* to, const double* factor, const double* from) {
    for (int i = 0; i < kPartLanes; ++i) to[i] -= factor[i] * from[i];
  };
  for (const Pivot& pivot : pivots_)
    for (int m = pivot.first_multiplier; m < pivot.first_multiplier + pivot.multipliers; ++m) {
      const Multiplier& multiplier = multipliers_[static_cast<std::size_t>(m)];
      subtract(right[static_cast<std::size_t>(multiplier.row)].lane, row(multiplier.slot),
               right[static_cast<std::size_t>(pivot.row)].lane);
    }
  for (std::size_t k = pivots_.size(); k-- > 0;) {
    const Pivot& pivot = pivots_[k];
    double* const value = right[static_cast<std::size_t>(pivot.row)].lane;
    for (const Known& known : known_[k])
      subtract(value, row(known.slot), solution_[static_cast<std::size_t>(known.column)].lane);
    const double* const divisor = row(pivot.slot);
    double* const to = solution_[static_cast<std::size_t>(pivot.column)].lane;
    for (int i = 0; i < kPartLanes; ++i) to[i] = value[i] / divisor[i];
  }
  std::copy(solution_.begin(), solution_.end(), right.begin());
}

}  // namespace quiver
