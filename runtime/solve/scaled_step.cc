// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/scaled_step.h"

#include <algorithm>
#include <cmath>

namespace quiver {

double SquaredNorm(std::span<const double> values) {
  double sum = 0.0;
  for (const double value : values) sum += value * value;
  return sum;
}

ScaledStep::ScaledStep(BlockSystem& system, std::span<double> x)
    : system_(system),
      x_(x),
      f_(static_cast<std::size_t>(system.Size())),
      weight_(f_.size()),
      magnitude_(f_.size()),
      base_(f_.size()),
      taken_(f_.size()),
      jacobian_(system.Pattern().row.size()) {}

bool ScaledStep::Start() {
  system_.MoveIntoBounds(x_);
  system_.Problem().DecideAlternatives(system_.Conditional(), x_.data());
  return system_.Evaluate(x_);
}

double ScaledStep::Residual() const {
  int row = 0;
  return system_.WorstResidual(&row);
}

void ScaledStep::Weigh() {
  const SparsePattern& pattern = system_.Pattern();
  for (int i = 0; i < Size(); ++i) {
    const double residual = system_.Residuals()[i], size = std::max(system_.Terms()[i], std::abs(residual));
    weight_[i] = size > 0.0 ? 1.0 / size : 1.0;
    f_[i] = weight_[i] * residual;
    base_[i] = x_[system_.Unknowns()[i]];
    magnitude_[i] = system_.Magnitude(i, base_[i]);
  }
  for (int j = 0; j < Size(); ++j)
    for (int k = pattern.column_start[j]; k < pattern.column_start[j + 1]; ++k)
      jacobian_[k] = system_.Jacobian()[k] * weight_[pattern.row[k]] * magnitude_[j];
  base_merit_ = SquaredNorm(f_);
}

bool ScaledStep::Try(std::span<const double> step) {
  bool moves = false;
  for (int j = 0; j < Size(); ++j) {
    const double target =
        std::clamp(base_[j] + magnitude_[j] * step[j], system_.Lower()[j], system_.Upper()[j]);
    if (!std::isfinite(target)) return false;
    moves = moves || target != base_[j];
    taken_[j] = (target - base_[j]) / magnitude_[j];
    x_[system_.Unknowns()[j]] = target;
  }
  if (!moves || !system_.Evaluate(x_)) return false;
  merit_ = 0.0;
  for (int i = 0; i < Size(); ++i) merit_ += std::pow(weight_[i] * system_.Residuals()[i], 2);
  return std::isfinite(merit_);
}

bool ScaledStep::Accept() {
  if (turns_ > kMostTurns || system_.Conditional().empty()) return true;
  if (system_.Problem().DecideAlternatives(system_.Conditional(), x_.data()) == 0) return true;
  ++turns_;
  return system_.Evaluate(x_);
}

void ScaledStep::Return() {
  for (int j = 0; j < Size(); ++j) x_[system_.Unknowns()[j]] = base_[j];
  system_.Evaluate(x_);
}

double ScaledStep::PredictedMerit() const {
  std::vector<double> model(f_);
  AddProduct(system_.Pattern(), jacobian_, 1.0, taken_, model);
  return SquaredNorm(model);
}

void ScaledStep::MarkOutward(std::span<const double> step, std::span<char> held) const {
  for (int j = 0; j < Size(); ++j)
    held[j] = (base_[j] <= system_.Lower()[j] && step[j] < 0.0) ||
              (base_[j] >= system_.Upper()[j] && step[j] > 0.0);
}

}  // namespace quiver
