// SPDX-License-Identifier: Apache-2.0
#include "runtime/diagnosis/fault_recorder.h"

#include <algorithm>
#include <cmath>

namespace quiver {

FaultRecorder::FaultRecorder(NonlinearProblem& problem)
    : problem_(problem), last_good_(static_cast<size_t>(problem.VariableCount()), std::nan("")) {}

const RecordedFault* FaultRecorder::FirstOf(int equation) const {
  const auto found = faults_.find(equation);
  return found == faults_.end() ? nullptr : &found->second;
}

const RecordedFault* FaultRecorder::First() const {
  const RecordedFault* first = nullptr;
  for (const auto& [equation, fault] : faults_)
    if (!first || fault.evaluation < first->evaluation) first = &fault;
  return first;
}

bool FaultRecorder::Evaluate(std::span<const int> equations, const double* x, double* residuals,
                             double* gradients) {
  ++evaluations_;
  if (!problem_.Evaluate(equations, x, residuals, gradients)) {
    Record(problem_.FirstFault(), x);
    return false;
  }
  for (const int equation : equations)
    for (const int variable : problem_.ResidualVariables(equation))
      last_good_[static_cast<size_t>(variable)] = x[variable];
  return true;
}

void FaultRecorder::Record(const EvaluationFault& fault, const double* x) {
  if (fault.equation < 0) return;
  RecordedFault& record = faults_[fault.equation];
  if (record.times++ > 0) return;
  record.equation = fault.equation;
  record.reason = fault.reason;
  record.evaluation = evaluations_;
  double farthest = 0;
  for (const int variable : problem_.ResidualVariables(fault.equation)) {
    const double now = x[variable], before = last_good_[static_cast<size_t>(variable)];
    record.values.push_back(now);
    if (!problem_.IsFree(variable) || std::isnan(before)) continue;
    const double distance = std::abs(now - before) / std::max(std::abs(before), problem_.Scale(variable));
    if (distance <= farthest) continue;
    farthest = distance;
    record.moved = variable;
    record.from = before;
    record.to = now;
  }
}

}  // namespace quiver
