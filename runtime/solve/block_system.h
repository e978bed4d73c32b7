// SPDX-License-Identifier: Apache-2.0
// One block of a problem: some equations and as many unknowns; all other variables keep their values in x.
//
//   BlockSystem system(problem);
//   system.Select(equations, unknowns);
//   if (system.Evaluate(x)) Use(system.Residuals(), system.Pattern(), system.Jacobian());
#ifndef QUIVER_RUNTIME_SOLVE_BLOCK_SYSTEM_H_
#define QUIVER_RUNTIME_SOLVE_BLOCK_SYSTEM_H_

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/linalg/sparse_matrix.h"
#include "runtime/solve/block_method.h"
#include "runtime/solve/nonlinear_problem.h"

namespace quiver {

struct SolveTimes;

class BlockSystem {
 public:
  explicit BlockSystem(NonlinearProblem& problem);

  // Both spans must live as long as the selection.
  void Select(std::span<const int> equations, std::span<const int> unknowns);

  int Size() const { return static_cast<int>(equations_.size()); }
  NonlinearProblem& Problem() { return problem_; }
  // Another one for the same problem, for who solves a block in parts. It is as large as the problem, so it is made once.
  BlockSystem& Inner();
  void MeasureWith(SolveTimes* times) { times_ = times; }
  std::span<const int> Equations() const { return equations_; }
  std::span<const int> Unknowns() const { return unknowns_; }
  std::span<const double> Lower() const { return lower_; }
  std::span<const double> Upper() const { return upper_; }
  // Equations whose alternatives have to be decided.
  std::span<const int> Conditional() const { return conditional_; }
  const SparsePattern& Pattern() const { return pattern_; }

  // Place of a variable among the unknowns, -1 for a variable of another block.
  int PlaceOf(int variable) const { return place_of_variable_[variable]; }

  // Moves the unknowns of x into their bounds.
  void MoveIntoBounds(std::span<double> x) const;
  // max(|x|, scale) of the unknown with this place in the block.
  double Magnitude(int unknown, double value) const;

  // Residuals, Jacobian and term magnitudes at x. False if something is not finite; see Fault.
  bool Evaluate(std::span<const double> x);
  std::span<const double> Residuals() const { return residuals_; }
  std::span<const double> Jacobian() const { return jacobian_; }  // parallel to the pattern
  // Sum of |dF/dx_j| max(|x_j|, scale_j) over the terms of each row: what a residual is compared with.
  std::span<const double> Terms() const { return terms_; }
  int Evaluations() const { return evaluations_; }
  const EvaluationFault& Fault() const { return fault_; }

  // |F| relative to its terms, of this row; 1 for a row without any slope that is not satisfied.
  double ScaledResidual(int row) const;
  // Largest scaled residual and its row.
  double WorstResidual(int* row) const;

  // Fills in what a result tells of the last evaluation, and the sentence for its outcome.
  void Conclude(BlockResult& result, std::span<const double> x) const;

 private:
  std::string Reason(const BlockResult& result, std::span<const double> x) const;

  NonlinearProblem& problem_;
  std::span<const int> equations_, unknowns_;
  std::vector<int> conditional_;
  std::vector<double> lower_, upper_, scale_;
  SparsePattern pattern_;

  std::unique_ptr<BlockSystem> inner_;
  std::vector<int> place_of_variable_;  // in the block; -1 for all others
  std::vector<MatrixEntry> entries_;
  std::vector<int> entry_slots_;
  std::vector<int> gradient_slots_;  // parallel to gradients_; -1: not an unknown
  std::vector<double> gradients_;
  std::vector<double> residuals_, jacobian_, terms_;
  EvaluationFault fault_;
  SolveTimes* times_ = nullptr;
  bool is_evaluated_ = false;  // the last evaluation succeeded
  int evaluations_ = 0;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_BLOCK_SYSTEM_H_
