// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/alternatives.h"

namespace quiver {

Alternatives::Alternatives(BlockSystem& system) : system_(system) { Read(); }

void Alternatives::Read() {
  assignment_.resize(system_.Conditional().size());
  for (std::size_t k = 0; k < assignment_.size(); ++k) {
    assignment_[k] = system_.Problem().CurrentAlternative(system_.Conditional()[k]);
  }
}

bool Alternatives::Decide(std::span<const double> x, int iteration) {
  if (!Any()) return false;
  return Record(system_.Problem().DecideAlternatives(system_.Conditional(), x.data()), iteration);
}

bool Alternatives::DecideFirst(std::span<const double> x, int iteration) {
  for (int equation : system_.Conditional()) {
    if (Record(system_.Problem().DecideAlternatives({&equation, 1}, x.data()), iteration)) return true;
  }
  return false;
}

bool Alternatives::Record(int changed, int iteration) {
  if (changed == 0) return false;
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
  for (const auto& variables : {problem.ConditionVariables(equation), problem.ResidualVariables(equation)}) {
    for (int variable : variables) {
      const int place = system_.PlaceOf(variable);
      if (place < 0) continue;
      const double value = x[variable];
      for (double sign : {-1.0, 1.0}) {
        x[variable] = value + sign * tolerance * system_.Magnitude(place, value);
        problem.DecideAlternatives({&equation, 1}, x.data());
        x[variable] = value;
        if (problem.CurrentAlternative(equation) == kept) return true;
      }
    }
  }
  return false;
}

}  // namespace quiver
