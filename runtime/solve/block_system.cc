// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/block_system.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "runtime/solve/solve_times.h"

namespace quiver {

BlockSystem::BlockSystem(NonlinearProblem& problem)
    : problem_(problem), place_of_variable_(problem.VariableCount(), -1) {}

BlockSystem& BlockSystem::Inner() {
  if (!inner_) inner_ = std::make_unique<BlockSystem>(problem_);
  return *inner_;
}

void BlockSystem::Select(std::span<const int> equations, std::span<const int> unknowns) {
  for (int variable : unknowns_) place_of_variable_[variable] = -1;
  equations_ = equations;
  unknowns_ = unknowns;
  evaluations_ = 0;
  fault_ = {};
  const std::size_t n = unknowns.size();
  lower_.resize(n);
  upper_.resize(n);
  scale_.resize(n);
  for (std::size_t j = 0; j < n; ++j) {
    place_of_variable_[unknowns[j]] = static_cast<int>(j);
    lower_[j] = problem_.Lower(unknowns[j]);
    upper_[j] = problem_.Upper(unknowns[j]);
    scale_[j] = problem_.Scale(unknowns[j]);
  }

  conditional_.clear();
  entries_.clear();
  gradient_slots_.clear();
  for (std::size_t i = 0; i < n; ++i) {
    if (problem_.HasAlternatives(equations[i])) conditional_.push_back(equations[i]);
    for (int variable : problem_.ResidualVariables(equations[i])) {
      const int place = place_of_variable_[variable];
      gradient_slots_.push_back(place < 0 ? -1 : static_cast<int>(entries_.size()));
      if (place >= 0) entries_.push_back({static_cast<int>(i), place});
    }
  }
  if (n == 1) {  // the most frequent case by far
    pattern_.size = 1;
    pattern_.column_start.assign({0, 1});
    pattern_.row.assign(1, 0);
  } else {
    pattern_ = BuildPattern(static_cast<int>(n), entries_, &entry_slots_);
    for (int& slot : gradient_slots_) {
      if (slot >= 0) slot = entry_slots_[slot];
    }
  }
  gradients_.resize(gradient_slots_.size());
  residuals_.resize(n);
  terms_.resize(n);
  jacobian_.resize(pattern_.row.size());
}

void BlockSystem::MoveIntoBounds(std::span<double> x) const {
  for (std::size_t j = 0; j < unknowns_.size(); ++j) {
    double& value = x[unknowns_[j]];
    value = std::min(std::max(value, lower_[j]), upper_[j]);
  }
}

double BlockSystem::Magnitude(int unknown, double value) const {
  return std::max(std::abs(value), scale_[unknown]);
}

bool BlockSystem::Evaluate(std::span<const double> x) {
  ++evaluations_;
  is_evaluated_ = false;
  {
    const Measure measure(times_ ? &times_->evaluation : nullptr);
    if (!problem_.Evaluate(equations_, x.data(), residuals_.data(), gradients_.data())) {
      fault_ = problem_.FirstFault();
      return false;
    }
  }
  std::fill(jacobian_.begin(), jacobian_.end(), 0.0);
  std::size_t k = 0;
  for (std::size_t i = 0; i < equations_.size(); ++i) {
    double terms = 0.0;
    for (int variable : problem_.ResidualVariables(equations_[i])) {
      const double slope = gradients_[k];
      const int slot = gradient_slots_[k++];
      double magnitude = std::abs(x[variable]);
      if (slot >= 0) {
        jacobian_[slot] += slope;
        magnitude = std::max(magnitude, scale_[place_of_variable_[variable]]);
      }
      const double term = std::abs(slope) * magnitude;
      if (slot >= 0 || std::isfinite(term))
        terms += term;  // a steep slope by what is known already harms nobody
    }
    terms_[i] = terms;
    if (!std::isfinite(residuals_[i]) || !std::isfinite(terms)) {
      fault_ = problem_.FirstFault();
      if (fault_.equation != equations_[i]) fault_ = {equations_[i], "its value or its slope is not finite"};
      return false;
    }
  }
  is_evaluated_ = true;
  return true;
}

double BlockSystem::ScaledResidual(int row) const {
  const double residual = std::abs(residuals_[row]);
  if (residual == 0.0) return 0.0;
  return terms_[row] > 0.0 ? residual / terms_[row] : 1.0;
}

double BlockSystem::WorstResidual(int* row) const {
  double worst = -1.0;
  for (int i = 0; i < Size(); ++i) {
    const double scaled = ScaledResidual(i);
    if (scaled <= worst) continue;
    worst = scaled;
    *row = i;
  }
  return worst;
}

void BlockSystem::Conclude(BlockResult& result, std::span<const double> x) const {
  int row = 0;
  result.largest_residual = is_evaluated_ ? WorstResidual(&row) : std::numeric_limits<double>::infinity();
  result.worst_equation = equations_[row];
  result.evaluations = evaluations_;
  if (result.outcome == SolveOutcome::kFault && fault_.equation >= 0) result.worst_equation = fault_.equation;
  if (result.outcome == SolveOutcome::kCycling && !result.alternatives.empty()) {
    result.worst_equation = result.alternatives.back().equation;
  }
  for (int variable : problem_.ResidualVariables(result.worst_equation)) {
    if (result.worst_variable < 0 && PlaceOf(variable) >= 0) result.worst_variable = variable;
  }
  if (result.outcome != SolveOutcome::kConverged) result.reason = Reason(result, x);
}

std::string BlockSystem::Reason(const BlockResult& result, std::span<const double> x) const {
  const std::string equation = problem_.EquationName(result.worst_equation);
  const int variable = result.worst_variable;
  const std::string state = fmt::format("{} = {:.6g}", problem_.VariableName(variable), x[variable]);
  const auto row =
      std::find(equations_.begin(), equations_.end(), result.worst_equation) - equations_.begin();
  const std::string residual =
      row < Size() ? fmt::format("{}: residual {:.2g}", equation, residuals_[row]) : equation;
  std::string barrier;
  if (fault_.equation >= 0) {
    barrier = fmt::format(" Steps were cut short because {} could not be evaluated: {}.",
                          problem_.EquationName(fault_.equation), fault_.reason);
  }
  if (result.alternatives.size() > 1) {
    barrier += fmt::format(" Alternatives changed {} times, last that of {}.", result.alternatives.size(),
                           problem_.EquationName(result.alternatives.back().equation));
  }
  switch (result.outcome) {
    case SolveOutcome::kConverged:
      break;
    case SolveOutcome::kNotWellPosed:
      break;
    case SolveOutcome::kFault:
      return fmt::format("{} cannot be evaluated near {}: {}. Start from another value or set a bound.",
                         equation, state, fault_.reason);
    case SolveOutcome::kSingular:
      return fmt::format(
          "{}; the equations do not determine {} there. Start from another value, or look for an "
          "equation that follows from the others.",
          residual, state);
    case SolveOutcome::kAtBound:
      return fmt::format(
          "{} cannot be reduced: {} is at its {} bound. Widen the bound or change what is fixed.", residual,
          state, x[variable] <= problem_.Lower(variable) ? "lower" : "upper");
    case SolveOutcome::kStalled:
      return fmt::format(
          "{} cannot be reduced near {}. There may be no solution; else start from another value.{}",
          residual, state, barrier);
    case SolveOutcome::kCycling: {
      if (result.alternatives.empty()) return residual + " jumps between its alternatives.";
      const AlternativeChange& change = result.alternatives.back();
      return fmt::format(
          "{} changes for ever between \"{}\" and \"{}\" near {}: each leads to values for which the "
          "other holds. Change what is fixed, or make the two meet.",
          equation, problem_.AlternativeName(change.equation, change.from),
          problem_.AlternativeName(change.equation, change.to), state);
    }
    case SolveOutcome::kOutOfIterations:
      return fmt::format(
          "{} after {} iterations and {} evaluations; {} moved most. Start from a better value.{}", residual,
          result.iterations, result.evaluations, state, barrier);
  }
  return {};
}

}  // namespace quiver
