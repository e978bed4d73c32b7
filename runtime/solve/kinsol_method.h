// SPDX-License-Identifier: Apache-2.0
// SUNDIALS' KINSOL as a method for blocks: Newton with line search and KLU, none of our own iteration in it. It answers the
// question whether a root is the equations' or the solver's. Compiled where SUNDIALS is found (QUIVER_WITH_KINSOL).
//
//   BlockResult result = KinsolMethod().Solve(system, options, x);
//
// KINSOL knows bounds only at zero: it is told those; beyond any other bound the equations are evaluated at the bound.
// Alternatives are held during a run and decided anew after it, until they stay.
#ifndef QUIVER_RUNTIME_SOLVE_KINSOL_METHOD_H_
#define QUIVER_RUNTIME_SOLVE_KINSOL_METHOD_H_

#include "runtime/solve/block_method.h"

namespace quiver {

class KinsolMethod : public BlockMethod {
 public:
  bool Handles(int /*size*/) const override { return true; }
  BlockResult Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) override;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_KINSOL_METHOD_H_
