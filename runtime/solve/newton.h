// SPDX-License-Identifier: Apache-2.0
// Several equations at once: damped Newton within the bounds.
//
//   BlockResult result = DampedNewton().Solve(system, options, x);
//
// Each iteration:
// 1. Rows are weighted by the magnitude of their own terms, columns by the magnitudes of the unknowns.
// 2. The Newton step is shortened along its projection on the bounds until the weighted residual falls (Armijo)
//    or the next simplified correction is shorter (natural monotonicity; P. Deuflhard, Newton Methods for
//    Nonlinear Problems, 2004).
// 3. Where that fails or the Jacobian is singular, a Levenberg-Marquardt step is taken, in which unknowns held by
//    a bound have no part.
// 4. The alternatives are decided anew. How a cycle between them is told from a search for the right ones stands
//    at SolveWithAlternatives.
#ifndef QUIVER_RUNTIME_SOLVE_NEWTON_H_
#define QUIVER_RUNTIME_SOLVE_NEWTON_H_

#include <memory>

#include "runtime/linalg/linear_solver.h"
#include "runtime/solve/block_method.h"

namespace quiver {

class DampedNewton : public BlockMethod {
 public:
  bool Handles(int /*size*/) const override { return true; }
  BlockResult Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) override;

 private:
  std::unique_ptr<LinearSolver>
      small_;  // kept from block to block: its storage is worth more than its contents
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_NEWTON_H_
