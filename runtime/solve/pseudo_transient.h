// SPDX-License-Identifier: Apache-2.0
// Pseudo-transient continuation: each equation moves the unknown that is its own, at a rate proportional to its residual,
//   sign(dF_i/dx_j) dx_j/dt = -F_i,
// by implicit Euler steps whose length grows as the residual falls (C. T. Kelley, D. E. Keyes, SIAM J. Numer. Anal. 35 (1998)
// 508-523). It follows a path to a solution that lies beyond a fold of the residual, where descent is caught. Damped Newton
// finishes.
//
//   BlockResult result = PseudoTransient().Solve(system, options, x);
#ifndef QUIVER_RUNTIME_SOLVE_PSEUDO_TRANSIENT_H_
#define QUIVER_RUNTIME_SOLVE_PSEUDO_TRANSIENT_H_

#include "runtime/solve/block_method.h"

namespace quiver {

class PseudoTransient : public BlockMethod {
 public:
  bool Handles(int /*size*/) const override { return true; }
  BlockResult Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) override;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_PSEUDO_TRANSIENT_H_
