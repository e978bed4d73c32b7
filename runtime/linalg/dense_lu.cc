// SPDX-License-Identifier: Apache-2.0
#include "runtime/linalg/dense_lu.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace quiver {

LinearStatus DenseLu::AnalysePattern() {
  const std::size_t n = pattern_.size;
  lu_.assign(n * n, 0.0);
  pivot_.assign(n, 0);
  return LinearStatus::kOk;
}

// Pivots are chosen anew every time: at these sizes the search costs little.
LinearOutcome DenseLu::FactorScaled(bool) {
  const int n = pattern_.size;
  std::fill(lu_.begin(), lu_.end(), 0.0);
  double matrix_norm = 0.0;
  for (int j = 0; j < n; ++j) {
    double sum = 0.0;
    for (int k = pattern_.column_start[j]; k < pattern_.column_start[j + 1]; ++k) {
      lu_[j * n + pattern_.row[k]] = values_[k];
      sum += std::abs(values_[k]);
    }
    matrix_norm = std::max(matrix_norm, sum);
  }

  double least_pivot = std::numeric_limits<double>::infinity(), greatest_pivot = 0.0;
  for (int j = 0; j < n; ++j) {  // column by column, left-looking
    double* column = &lu_[j * n];
    double original = 0.0;
    for (int i = 0; i < n; ++i) original = std::max(original, std::abs(column[i]));
    // The stored rows of L are in the order after all exchanges so far.
    for (int k = 0; k < j; ++k) std::swap(column[k], column[pivot_[k]]);
    for (int k = 0; k < j; ++k) {
      const double u = column[k];
      if (u == 0.0) continue;
      const double* lower = &lu_[k * n];
      for (int i = k + 1; i < n; ++i) column[i] -= lower[i] * u;
    }
    int best = j;
    for (int i = j + 1; i < n; ++i) {
      if (std::abs(column[i]) > std::abs(column[best])) best = i;
    }
    const double pivot = std::abs(column[best]);
    if (!(pivot > kNoPivot * original)) {
      return {.status = LinearStatus::kSingular, .column = j, .reciprocal_condition = 0.0};
    }
    least_pivot = std::min(least_pivot, pivot);
    greatest_pivot = std::max(greatest_pivot, pivot);
    pivot_[j] = best;
    if (best != j) {
      std::swap(column[j], column[best]);
      for (int k = 0; k < j; ++k) std::swap(lu_[k * n + j], lu_[k * n + best]);
    }
    for (int i = j + 1; i < n; ++i) column[i] /= column[j];
  }

  LinearOutcome outcome;
  if (n == 0) return outcome;
  outcome.reciprocal_condition = least_pivot / greatest_pivot;
  if (outcome.reciprocal_condition < kSuspectCondition) {
    outcome.reciprocal_condition = 1.0 / (matrix_norm * InverseNorm());
    if (!(outcome.reciprocal_condition > kLeastCondition)) outcome.status = LinearStatus::kIllConditioned;
  }
  return outcome;
}

// Exact 1-norm of the inverse; only asked for when the pivots look suspicious.
double DenseLu::InverseNorm() {
  std::vector<double> unit(pattern_.size);
  double norm = 0.0;
  for (int j = 0; j < pattern_.size; ++j) {
    std::fill(unit.begin(), unit.end(), 0.0);
    unit[j] = 1.0;
    Substitute(unit);
    double sum = 0.0;
    for (double value : unit) sum += std::abs(value);
    norm = std::max(norm, sum);
  }
  return norm;
}

void DenseLu::Substitute(std::span<double> b) {
  const int n = pattern_.size;
  // Rows of L are stored in their final order, so all exchanges come first.
  for (int k = 0; k < n; ++k) std::swap(b[k], b[pivot_[k]]);
  for (int k = 0; k < n; ++k) {
    const double value = b[k];
    if (value == 0.0) continue;
    const double* lower = &lu_[k * n];
    for (int i = k + 1; i < n; ++i) b[i] -= lower[i] * value;
  }
  for (int k = n - 1; k >= 0; --k) {
    const double* upper = &lu_[k * n];
    b[k] /= upper[k];
    const double value = b[k];
    if (value == 0.0) continue;
    for (int i = 0; i < k; ++i) b[i] -= upper[i] * value;
  }
}

}  // namespace quiver
