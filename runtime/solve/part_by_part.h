// SPDX-License-Identifier: Apache-2.0
// For a block that falls apart where it stands: a switch or max(0, F) keeps equations together although at any point only
// one side of it counts. The parts are found from the slopes at the point, solved one after another, and found anew where
// a side changed. A part that Newton does not solve from where it stands is first swept, equation by equation. Damped Newton
// over the whole block finishes. Meant for starts too far off for Newton alone.
//
//   BlockResult result = PartByPart().Solve(system, options, x);
#ifndef QUIVER_RUNTIME_SOLVE_PART_BY_PART_H_
#define QUIVER_RUNTIME_SOLVE_PART_BY_PART_H_

#include "runtime/solve/block_method.h"
#include "runtime/structure/blocks.h"

namespace quiver {

class PartByPart : public BlockMethod {
 public:
  bool Handles(int size) const override { return size > 1; }
  bool Suits(const BlockSystem& system) const override;  // has equations with alternatives
  BlockResult Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) override;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_PART_BY_PART_H_
