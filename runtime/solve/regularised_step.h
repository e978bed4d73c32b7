// SPDX-License-Identifier: Apache-2.0
// Levenberg-Marquardt steps without normal equations: minimises |f + J d|^2 + damping |d|^2 through
//   [ I    J       ] [r]   [-f]
//   [ J^T  -damping] [d] = [ 0],
// which keeps the sparsity of J and its condition number unsquared.
//
//   RegularisedStep step(pattern);
//   if (step.Compute(jacobian, f, held, 1e-4, d)) ...
#ifndef QUIVER_RUNTIME_SOLVE_REGULARISED_STEP_H_
#define QUIVER_RUNTIME_SOLVE_REGULARISED_STEP_H_

#include <memory>
#include <span>
#include <vector>

#include "runtime/linalg/linear_solver.h"

namespace quiver {

class RegularisedStep {
 public:
  explicit RegularisedStep(const SparsePattern& pattern);

  // `jacobian` is parallel to the pattern; d[j] = 0 where held[j]. False if the system could not be solved.
  bool Compute(std::span<const double> jacobian, std::span<const double> f, std::span<const char> held,
               double damping, std::span<double> d);

 private:
  const SparsePattern& pattern_;
  std::unique_ptr<LinearSolver> solver_;
  std::vector<int> slots_;  // of I, of -damping, of J, of J^T
  std::vector<double> values_, right_side_;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_REGULARISED_STEP_H_
