// SPDX-License-Identifier: Apache-2.0
// Solves a problem that repeats: the parts of a group side by side, block after block, in lanes; the structure of a group
// is analysed once. A part that a block gives back goes through the ordinary block solver there and returns. What lies
// outside the groups is solved as ever.
//
//   if (std::optional<SolveSummary> summary = SolveRepeated(problem, *problem.Repeats(), options, x)) ...
//
// Each lane computes what the part alone would compute, so that neither the number of workers nor which parts stand side
// by side changes a bit of the result.
#ifndef QUIVER_RUNTIME_SOLVE_REPEATED_SOLVER_H_
#define QUIVER_RUNTIME_SOLVE_REPEATED_SOLVER_H_

#include <optional>
#include <span>

#include "runtime/solve/block_solver.h"
#include "runtime/solve/repeated_parts.h"

namespace quiver {

// Nothing, and x untouched, where some part is not well posed: the whole problem's structure then tells why.
std::optional<SolveSummary> SolveRepeated(NonlinearProblem& problem, RepeatedParts& parts,
                                          const SolveOptions& options, std::span<double> x);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_REPEATED_SOLVER_H_
