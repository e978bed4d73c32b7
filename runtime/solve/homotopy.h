// SPDX-License-Identifier: Apache-2.0
// Solves a problem by way of one that is solved already: the fixed variables go from that case's values to the wanted ones,
// as far at a time as each solution reaches the next.
//
//   HomotopyResult result = MoveFixedValues(problem, structure, solved_x, HomotopyOptions(), x);   // x: wanted fixed values
#ifndef QUIVER_RUNTIME_SOLVE_HOMOTOPY_H_
#define QUIVER_RUNTIME_SOLVE_HOMOTOPY_H_

#include <string>

#include "runtime/solve/block_solver.h"

namespace quiver {

struct HomotopyOptions {
  SolveOptions solve;
  int most_solves = 60;
  double least_step = 1e-3;  // share of the way
};

struct HomotopyResult {
  SolveSummary summary;  // of the last solve; converged only at the end of the way
  double share = 0.0;    // of the way that was gone
  std::string text;      // "went all the way in 7 solves"
};

// Variables that are fixed move in proportion where both ends are positive, else along a straight line. Parameters stay at
// their values in x. `from` holds all values of the nearby case; it is solved first. x ends at the last point solved, with
// the wanted fixed values.
HomotopyResult MoveFixedValues(NonlinearProblem& problem, const StructureReport& structure,
                               std::span<const double> from, const HomotopyOptions& options,
                               std::span<double> x);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_HOMOTOPY_H_
