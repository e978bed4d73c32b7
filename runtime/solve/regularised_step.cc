// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/regularised_step.h"

#include <algorithm>
#include <cmath>

namespace quiver {

RegularisedStep::RegularisedStep(const SparsePattern& pattern)
    : pattern_(pattern), solver_(MakeLinearSolver(2 * pattern.size)) {
  const int n = pattern.size;
  std::vector<MatrixEntry> entries;
  for (int i = 0; i < 2 * n; ++i) entries.push_back({i, i});
  for (int j = 0; j < n; ++j) {
    for (int k = pattern.column_start[j]; k < pattern.column_start[j + 1]; ++k) {
      entries.push_back({pattern.row[k], n + j});
      entries.push_back({n + j, pattern.row[k]});
    }
  }
  solver_->Analyse(BuildPattern(2 * n, entries, &slots_));
  values_.resize(solver_->Pattern().row.size());
  right_side_.resize(2 * n);
}

bool RegularisedStep::Compute(std::span<const double> jacobian, std::span<const double> f,
                              std::span<const char> held, double damping, std::span<double> d) {
  const int n = pattern_.size;
  for (int i = 0; i < n; ++i) {
    values_[slots_[i]] = 1.0;
    values_[slots_[n + i]] = held[i] ? -1.0 : -damping;
  }
  int entry = 2 * n;
  for (int j = 0; j < n; ++j) {
    for (int k = pattern_.column_start[j]; k < pattern_.column_start[j + 1]; ++k) {
      const double value = held[j] ? 0.0 : jacobian[k];
      values_[slots_[entry++]] = value;
      values_[slots_[entry++]] = value;
    }
  }
  const LinearStatus status = solver_->Factor(values_).status;
  if (status == LinearStatus::kSingular || status == LinearStatus::kTooLarge) return false;
  for (int i = 0; i < n; ++i) {
    right_side_[i] = -f[i];
    right_side_[n + i] = 0.0;
  }
  solver_->Solve(right_side_);
  std::copy(right_side_.begin() + n, right_side_.end(), d.begin());
  return std::all_of(d.begin(), d.end(), [](double value) { return std::isfinite(value); });
}

}  // namespace quiver
