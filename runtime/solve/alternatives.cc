// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/alternatives.h"

#include <algorithm>

namespace quiver {

Alternatives::Alternatives(BlockSystem& system) : system_(system) { Read(); }

void Alternatives::Read() {
  assignment_.resize(system_.Conditional().size());
  for (std::size_t k = 0; k < assignment_.size(); ++k) {
    assignment_[k] = system_.Problem().CurrentAlternative(system_.Conditional()[k]);
  }
}

bool Alternatives::Decide(std::span<const double> x, int iteration) {
  if (!Any() || system_.Problem().DecideAlternatives(system_.Conditional(), x.data()) == 0) return false;
  const std::vector<int> before = assignment_;
  Read();
  for (std::size_t k = 0; k < before.size(); ++k) {
    if (before[k] == assignment_[k]) continue;
    history_.push_back({system_.Conditional()[k], before[k], assignment_[k], iteration});
  }
  are_known_ = before != assignment_;
  return true;
}

bool Alternatives::KeepOnSwitch(const std::vector<int>& kept, double tolerance, std::span<double> x) {
  if (!are_known_) return false;
  bool all_back = true;
  for (std::size_t k = 0; k < kept.size() && all_back; ++k) {
    if (kept[k] != assignment_[k]) all_back = BringBack(system_.Conditional()[k], kept[k], tolerance, x);
  }
  if (!all_back) system_.Problem().DecideAlternatives(system_.Conditional(), x.data());
  Read();
  return all_back;
}

bool Alternatives::BringBack(int equation, int kept, double tolerance, std::span<double> x) {
  NonlinearProblem& problem = system_.Problem();
  const std::span<const int> unknowns = system_.Unknowns();
  for (const auto& variables : {problem.ConditionVariables(equation), problem.ResidualVariables(equation)}) {
    for (int variable : variables) {
      const auto place = std::find(unknowns.begin(), unknowns.end(), variable) - unknowns.begin();
      if (place == static_cast<long>(unknowns.size())) continue;
      const double value = x[variable];
      for (double sign : {-1.0, 1.0}) {
        x[variable] = value + sign * tolerance * system_.Magnitude(static_cast<int>(place), value);
        problem.DecideAlternatives({&equation, 1}, x.data());
        x[variable] = value;
        if (problem.CurrentAlternative(equation) == kept) return true;
      }
    }
  }
  return false;
}

}  // namespace quiver
