// SPDX-License-Identifier: Apache-2.0
// The ladder of methods for start values that are far off: each rung starts anew and takes the whole problem, the first that
// solves it ends the climb.
//   1. block Newton     block after block, damped Newton
//   2. trust region     block after block, dogleg within the bounds
//   3. homotopy         from a solved case nearby: its fixed values are moved to the wanted ones, step by step
//   4. pseudo-transient block after block, relaxation in pseudo time
//
//   LadderOptions options;
//   options.nearby.push_back({"the models' defaults", defaults});
//   SolveSummary summary = Climb(problem, AnalyseStructure(problem), options, x);
//   for (const RungReport& rung : summary.rungs) fmt::print("{}: {}\n", rung.name, rung.text);
#ifndef QUIVER_RUNTIME_SOLVE_LADDER_H_
#define QUIVER_RUNTIME_SOLVE_LADDER_H_

#include <functional>
#include <string>
#include <vector>

#include "runtime/solve/block_solver.h"

namespace quiver {

struct NearbyCase {
  std::string name;       // "the state of file good.json"
  std::vector<double> x;  // all values of that case, fixed ones included; need not be solved yet
};

struct LadderOptions {
  SolveOptions solve;
  std::vector<NearbyCase> nearby;  // in the order in which homotopy tries them
  int most_rungs = 4;
  int most_homotopy_solves = 60;
  std::function<void(const RungReport&)> log;  // told each rung as it ends
};

// x: fixed values and starting values. After a failure x and the summary are those of the best rung: fewest blocks
// unsolved, then the smallest residual. A problem that is not well posed is not touched.
SolveSummary Climb(NonlinearProblem& problem, const StructureReport& structure, const LadderOptions& options,
                   std::span<double> x);
// With structure analysis. The first rung is Solve of block_solver.h, which takes parts that repeat side by side.
SolveSummary Climb(NonlinearProblem& problem, const LadderOptions& options, std::span<double> x);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_LADDER_H_
