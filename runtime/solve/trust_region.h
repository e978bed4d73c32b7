// SPDX-License-Identifier: Apache-2.0
// A trust region within the bounds, for starts from which damped Newton is caught: Powell's dogleg between the steepest
// descent and the Newton step (M. J. D. Powell, in P. Rabinowitz (ed.), Numerical Methods for Nonlinear Algebraic Equations,
// 1970). Unknowns that the descent would push through a bound are held there for the step. Near a solution damped Newton
// takes over, which proves it.
//
//   BlockResult result = TrustRegion().Solve(system, options, x);
#ifndef QUIVER_RUNTIME_SOLVE_TRUST_REGION_H_
#define QUIVER_RUNTIME_SOLVE_TRUST_REGION_H_

#include "runtime/solve/block_method.h"

namespace quiver {

class TrustRegion : public BlockMethod {
 public:
  bool Handles(int /*size*/) const override { return true; }
  BlockResult Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) override;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_TRUST_REGION_H_
