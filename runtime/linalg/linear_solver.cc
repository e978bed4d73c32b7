// SPDX-License-Identifier: Apache-2.0
#include "runtime/linalg/linear_solver.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "runtime/linalg/dense_lu.h"
#include "runtime/linalg/klu_solver.h"

namespace quiver {

LinearOutcome LinearSolver::Analyse(SparsePattern pattern) {
  pattern_ = std::move(pattern);
  values_.assign(pattern_.row.size(), 0.0);
  row_scale_.assign(pattern_.size, 1.0);
  return {.status = AnalysePattern()};
}

LinearOutcome LinearSolver::Factor(std::span<const double> values) { return ScaleAndFactor(values, false); }

LinearOutcome LinearSolver::Refactor(std::span<const double> values) { return ScaleAndFactor(values, true); }

LinearOutcome LinearSolver::ScaleAndFactor(std::span<const double> values, bool keep_pivots) {
  std::fill(row_scale_.begin(), row_scale_.end(), 0.0);
  for (std::size_t k = 0; k < values.size(); ++k) {
    const double magnitude = std::abs(values[k]);
    if (!std::isfinite(magnitude)) return {.status = LinearStatus::kSingular, .reciprocal_condition = 0};
    double& largest = row_scale_[pattern_.row[k]];
    largest = std::max(largest, magnitude);
  }
  for (double& scale : row_scale_) {
    if (scale == 0.0) {
      scale = 1.0;
      continue;
    }
    int exponent = 0;
    std::frexp(scale, &exponent);
    scale = std::ldexp(1.0, std::clamp(-exponent, -1000, 1000));
  }
  for (std::size_t k = 0; k < values.size(); ++k) values_[k] = values[k] * row_scale_[pattern_.row[k]];
  return FactorScaled(keep_pivots);
}

LinearOutcome LinearSolver::Solve(std::span<double> b) {
  const int n = pattern_.size;
  right_side_.resize(n);
  residual_.resize(n);
  magnitude_.resize(n);
  for (int i = 0; i < n; ++i) b[i] *= row_scale_[i];
  std::copy(b.begin(), b.end(), right_side_.begin());
  Substitute(b);

  LinearOutcome outcome;
  for (int refinement = 0;; ++refinement) {
    for (int i = 0; i < n; ++i) {
      residual_[i] = right_side_[i];
      magnitude_[i] = std::abs(right_side_[i]);
    }
    for (int j = 0; j < n; ++j) {
      for (int k = pattern_.column_start[j]; k < pattern_.column_start[j + 1]; ++k) {
        const double term = values_[k] * b[j];
        residual_[pattern_.row[k]] -= term;
        magnitude_[pattern_.row[k]] += std::abs(term);
      }
    }
    outcome.backward_error = 0.0;
    for (int i = 0; i < n; ++i) {
      if (!std::isfinite(residual_[i])) {
        outcome.backward_error = std::numeric_limits<double>::infinity();
      } else if (magnitude_[i] > 0.0) {
        outcome.backward_error = std::max(outcome.backward_error, std::abs(residual_[i]) / magnitude_[i]);
      }
    }
    if (refinement == 1 || outcome.backward_error == 0.0 || !std::isfinite(outcome.backward_error)) break;
    Substitute(residual_);
    for (int i = 0; i < n; ++i) b[i] += residual_[i];
  }
  if (!(outcome.backward_error < 1e-8)) outcome.status = LinearStatus::kIllConditioned;
  return outcome;
}

std::unique_ptr<LinearSolver> MakeLinearSolver(int size) {
  if (size <= kLargestDense) return std::make_unique<DenseLu>();
  return std::make_unique<KluSolver>();
}

}  // namespace quiver
