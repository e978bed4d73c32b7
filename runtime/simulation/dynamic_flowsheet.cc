// SPDX-License-Identifier: Apache-2.0
#include "runtime/simulation/dynamic_flowsheet.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <unordered_map>

#include "runtime/contract/error.h"

namespace quiver {

std::vector<DynamicState> FindStates(const EquationSystem& system) {
  static constexpr std::string_view kSuffix = "_RATE";
  std::unordered_map<std::string, int> numbers;
  for (int n = 0; n < system.VariableCount(); ++n)
    if (system.TakesPart(n)) numbers.emplace(system.VariableName(n), n);
  std::vector<DynamicState> states;
  for (int n = 0; n < system.VariableCount(); ++n) {
    if (!system.TakesPart(n)) continue;
    std::string name = system.VariableName(n);
    const std::string rate = name;
    const size_t element = std::min(name.find('(', name.rfind('.')), name.size());
    if (element < kSuffix.size() || name.compare(element - kSuffix.size(), kSuffix.size(), kSuffix) != 0)
      continue;
    name.erase(element - kSuffix.size(), kSuffix.size());
    const auto state = numbers.find(name);
    if (state == numbers.end())
      throw Error(fmt::format("{} is the change of {}, but no equation names {}", rate, name, name));
    states.push_back({state->second, n});
  }
  return states;
}

double InputCourse::At(double hours, bool after_jump) const {
  const auto first = [&](const std::pair<double, double>& point) {
    return after_jump ? point.first > hours : point.first >= hours;
  };
  const auto next = std::find_if(points.begin(), points.end(), first);
  if (next == points.end()) return points.back().second;
  if (next == points.begin()) return next->second;
  const auto& [t0, v0] = *(next - 1);
  const auto& [t1, v1] = *next;
  return v0 + (v1 - v0) * ((hours - t0) / (t1 - t0));
}

DynamicFlowsheet::DynamicFlowsheet(EquationSystem& system, std::vector<DynamicState> states,
                                   std::vector<Threshold> thresholds)
    : system_(system), states_(std::move(states)), thresholds_(std::move(thresholds)) {
  place_.assign(static_cast<size_t>(system.VariableCount()), -1);
  const auto add = [&](int variable) {
    place_[static_cast<size_t>(variable)] = static_cast<int>(variables_.size());
    variables_.push_back(variable);
  };
  for (int n = 0; n < system.VariableCount(); ++n)
    if (system.IsFree(n)) add(n);
  algebraic_ = static_cast<int>(variables_.size());
  for (const DynamicState& state : states_) add(state.variable);
  all_.resize(static_cast<size_t>(system.EquationCount()));
  std::iota(all_.begin(), all_.end(), 0);
  for (const int e : all_)
    if (system.HasAlternatives(e)) branching_.push_back(e);

  pattern_.start.push_back(0);
  int gradients = 0;
  std::vector<std::pair<int, int>> row;  // column, source
  const auto finish_row = [&] {
    std::sort(row.begin(), row.end());
    for (const auto& [column, source] : row) {
      pattern_.column.push_back(column);
      source_.push_back(source);
    }
    pattern_.start.push_back(static_cast<int>(pattern_.column.size()));
    row.clear();
  };
  for (const int e : all_) {
    for (const int variable : system.ResidualVariables(e)) {
      if (const int column = place_[static_cast<size_t>(variable)]; column >= 0)
        row.emplace_back(column, gradients);
      ++gradients;
    }
    finish_row();
  }
  for (const DynamicState& state : states_) {
    row.emplace_back(place_[static_cast<size_t>(state.rate)], -1);
    row.emplace_back(place_[static_cast<size_t>(state.variable)], -2);
    finish_row();
  }
  gradients_.resize(static_cast<size_t>(gradients));
  residuals_.resize(all_.size());
  x_ = system.StartValues();
}

void DynamicFlowsheet::Spread(double t, const double* y) {
  system_.SetTime(t);
  for (size_t i = 0; i < variables_.size(); ++i) x_[static_cast<size_t>(variables_[i])] = y[i];
  for (const InputCourse& input : inputs)
    x_[static_cast<size_t>(input.variable)] = input.At(t, t <= start_of_step_);
}

void DynamicFlowsheet::Collect(std::vector<double>& y, std::vector<double>& slope) const {
  y.resize(variables_.size());
  slope.assign(variables_.size(), 0.0);
  for (size_t i = 0; i < variables_.size(); ++i) y[i] = x_[static_cast<size_t>(variables_[i])];
  for (size_t s = 0; s < states_.size(); ++s)
    slope[static_cast<size_t>(algebraic_) + s] = x_[static_cast<size_t>(states_[s].rate)];
}

bool DynamicFlowsheet::Residual(double t, const double* y, const double* slope, double* residual) {
  Spread(t, y);
  if (!system_.Evaluate(all_, x_.data(), residual, nullptr)) return false;
  for (size_t s = 0; s < states_.size(); ++s)
    residual[all_.size() + s] =
        slope[static_cast<size_t>(algebraic_) + s] - x_[static_cast<size_t>(states_[s].rate)];
  return true;
}

bool DynamicFlowsheet::Jacobian(double t, double factor, const double* y, double* entries) {
  Spread(t, y);
  if (!system_.Evaluate(all_, x_.data(), residuals_.data(), gradients_.data())) return false;
  for (size_t k = 0; k < source_.size(); ++k) {
    if (source_[k] == -1)
      entries[k] = -1;
    else if (source_[k] == -2)
      entries[k] = factor;
    else
      entries[k] = gradients_[static_cast<size_t>(source_[k])];
  }
  return true;
}

void DynamicFlowsheet::Decide() {
  system_.DecideAlternatives(all_, x_.data());
  decided_at_ = x_;
}

void DynamicFlowsheet::Roots(double t, const double* y, double* roots) {
  Spread(t, y);
  for (size_t i = 0; i < thresholds_.size(); ++i) {
    const Threshold& threshold = thresholds_[i];
    const double above = x_[static_cast<size_t>(threshold.variable)] - threshold.value;
    roots[i] = threshold.upwards ? above : -above;
  }
  if (branching_.empty()) return;
  // Tried and taken back: the branches in use stay those of the last decision until the step ends here.
  const bool changes = system_.DecideAlternatives(branching_, x_.data()) > 0;
  roots[thresholds_.size()] = changes ? -1 : 1;
  if (changes) system_.DecideAlternatives(branching_, decided_at_.data());
}

}  // namespace quiver
