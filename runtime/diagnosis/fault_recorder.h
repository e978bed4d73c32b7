// SPDX-License-Identifier: Apache-2.0
// Stands between a problem and whoever solves it, and remembers for each equation the first time that it could not be
// evaluated: why, with which values, and which variable had moved most since it last could.
//
//   FaultRecorder recorder(problem);
//   Solve(recorder, SolveOptions(), x);
//   if (const RecordedFault* fault = recorder.FirstOf(equation)) Print(fault->reason);
#pragma once

#include <map>
#include <vector>

#include "runtime/solve/nonlinear_problem.h"

namespace quiver {

struct RecordedFault {
  int equation = -1;
  std::string reason;   // "ln(X) with X = -0.013 is undefined"
  long evaluation = 0;  // the how manieth of all
  int times = 0;        // how often this equation failed
  int moved = -1;       // the free variable that moved most, relative to its magnitude; -1: none did
  double from = 0, to = 0;
  std::vector<double> values;  // of the equation's variables, in the order of ResidualVariables
};

class FaultRecorder final : public NonlinearProblem {
 public:
  explicit FaultRecorder(NonlinearProblem& problem);

  // Null if the equation could be evaluated every time.
  const RecordedFault* FirstOf(int equation) const;
  // The earliest of all; null if there was none.
  const RecordedFault* First() const;
  long evaluations() const { return evaluations_; }

  int EquationCount() const override { return problem_.EquationCount(); }
  int VariableCount() const override { return problem_.VariableCount(); }
  bool IsFree(int variable) const override { return problem_.IsFree(variable); }
  std::span<const int> ResidualVariables(int equation) const override {
    return problem_.ResidualVariables(equation);
  }
  std::span<const int> ConditionVariables(int equation) const override {
    return problem_.ConditionVariables(equation);
  }
  double Lower(int variable) const override { return problem_.Lower(variable); }
  double Upper(int variable) const override { return problem_.Upper(variable); }
  double Scale(int variable) const override { return problem_.Scale(variable); }
  bool Evaluate(std::span<const int> equations, const double* x, double* residuals,
                double* gradients) override;
  EvaluationFault FirstFault() const override { return problem_.FirstFault(); }
  int DecideAlternatives(std::span<const int> equations, const double* x) override {
    return problem_.DecideAlternatives(equations, x);
  }
  bool HasAlternatives(int equation) const override { return problem_.HasAlternatives(equation); }
  int CurrentAlternative(int equation) const override { return problem_.CurrentAlternative(equation); }
  std::string AlternativeName(int equation, int alternative) const override {
    return problem_.AlternativeName(equation, alternative);
  }
  bool CanBeFreed(int variable) const override { return problem_.CanBeFreed(variable); }
  bool IsLeftSide(int variable) const override { return problem_.IsLeftSide(variable); }
  std::string EquationName(int equation) const override { return problem_.EquationName(equation); }
  std::string VariableName(int variable) const override { return problem_.VariableName(variable); }

 private:
  void Record(const EvaluationFault& fault, const double* x);

  NonlinearProblem& problem_;
  std::vector<double>
      last_good_;  // by variable, of the last evaluation without a fault; not-a-number before it
  std::map<int, RecordedFault> faults_;
  long evaluations_ = 0;
};

}  // namespace quiver
