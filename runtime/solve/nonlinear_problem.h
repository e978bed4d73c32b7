// SPDX-License-Identifier: Apache-2.0
// What the solvers need to know of a system of equations, and nothing of where it comes from.
//
// Protocol of a solver: 1. structure (counts, IsFree, ResidualVariables, ConditionVariables); 2.
// DecideAlternatives at the start and at points it accepts; 3. Evaluate as often as it likes, with the
// alternatives last decided.
#ifndef QUIVER_RUNTIME_SOLVE_NONLINEAR_PROBLEM_H_
#define QUIVER_RUNTIME_SOLVE_NONLINEAR_PROBLEM_H_

#include <fmt/format.h>

#include <span>
#include <string>

namespace quiver {

class RepeatedParts;  // repeated_parts.h

struct EvaluationFault {
  int equation = -1;
  std::string reason;
};

class NonlinearProblem {
 public:
  virtual ~NonlinearProblem() = default;

  virtual int EquationCount() const = 0;
  // Length of x, fixed variables included.
  virtual int VariableCount() const = 0;
  virtual bool IsFree(int variable) const = 0;
  // Distinct variables of all alternatives of the equation; the order of its gradient row.
  virtual std::span<const int> ResidualVariables(int equation) const = 0;
  // Variables that only decide which alternative holds.
  virtual std::span<const int> ConditionVariables(int equation) const = 0;

  virtual double Lower(int variable) const = 0;
  virtual double Upper(int variable) const = 0;
  // Typical magnitude, > 0.
  virtual double Scale(int variable) const = 0;

  // Writes residuals[i] of equations[i] and, unless `gradients` is null, the gradient rows of the equations
  // one after another, each in the order of ResidualVariables. Of every equation the current alternative is
  // evaluated. False if a value is not finite or a routine failed; FirstFault then tells where and why.
  virtual bool Evaluate(std::span<const int> equations, const double* x, double* residuals,
                        double* gradients) = 0;
  virtual EvaluationFault FirstFault() const = 0;

  // Decides anew which alternative of each of these equations holds at x; returns how many changed.
  virtual int DecideAlternatives(std::span<const int> equations, const double* x) = 0;
  // False spares the solver asking. True is always safe.
  virtual bool HasAlternatives(int /*equation*/) const { return true; }
  // The alternative that Evaluate uses now. Without it a cycle is still found, but only by its length.
  virtual int CurrentAlternative(int /*equation*/) const { return 0; }
  virtual std::string AlternativeName(int /*equation*/, int alternative) const {
    return fmt::format("alternative {}", alternative + 1);
  }

  // For messages. Whether the user could free the variable if it is fixed: a parameter cannot be.
  virtual bool CanBeFreed(int /*variable*/) const { return true; }
  // Whether some equation is written as "variable = ...": such a variable is rarely the one to fix.
  virtual bool IsLeftSide(int /*variable*/) const { return false; }

  // The like parts that the problem falls into; null where it does not.
  virtual RepeatedParts* Repeats() { return nullptr; }

  virtual std::string EquationName(int equation) const = 0;
  virtual std::string VariableName(int variable) const = 0;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_NONLINEAR_PROBLEM_H_
