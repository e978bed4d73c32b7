// SPDX-License-Identifier: Apache-2.0
// One equation in one unknown: Newton steps within the bounds, and bracketing as soon as a change of sign is
// known or Newton stalls. The alternatives are decided at every point, so that a switch is a kink or a jump
// of one function.
//
//   BlockResult result = ScalarNewton().Solve(system, options, x);
#ifndef QUIVER_RUNTIME_SOLVE_SCALAR_NEWTON_H_
#define QUIVER_RUNTIME_SOLVE_SCALAR_NEWTON_H_

#include "runtime/solve/block_method.h"

namespace quiver {

class ScalarNewton : public BlockMethod {
 public:
  bool Handles(int size) const override { return size == 1; }
  BlockResult Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) override;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_SCALAR_NEWTON_H_
