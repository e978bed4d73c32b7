// SPDX-License-Identifier: Apache-2.0
// Which equation of a block is the one for which unknown, judged at a point.
//
//   const Incidence incidence = MovingUnknowns(system, x);
//   const Matching matching = NaturalMatching(system, incidence);
#ifndef QUIVER_RUNTIME_SOLVE_NATURAL_MATCHING_H_
#define QUIVER_RUNTIME_SOLVE_NATURAL_MATCHING_H_

#include <span>

#include "runtime/solve/block_system.h"
#include "runtime/structure/matching.h"

namespace quiver {

// Which unknowns move which residual at x. An equation that cannot be evaluated there counts with all its unknowns.
Incidence MovingUnknowns(BlockSystem& system, std::span<const double> x);

// Pairs equations as they are written, "x = ...", with x; the others with what is left. Solved one by one in that sense,
// equations hand values on the way the model's author thought of. Any other perfect matching where that leaves some over.
Matching NaturalMatching(BlockSystem& system, const Incidence& incidence);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_NATURAL_MATCHING_H_
