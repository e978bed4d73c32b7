// SPDX-License-Identifier: Apache-2.0
// Solves a whole problem block by block.
//
//   std::vector<double> x = start;                        // fixed values and starting values
//   SolveSummary summary = Solve(problem, SolveOptions(), x);
//   for (const SolveFailure& failure : summary.failures) fmt::print("{}\n", failure.reason);
#ifndef QUIVER_RUNTIME_SOLVE_BLOCK_SOLVER_H_
#define QUIVER_RUNTIME_SOLVE_BLOCK_SOLVER_H_

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/solve/block_method.h"
#include "runtime/solve/nonlinear_problem.h"
#include "runtime/solve/structure_report.h"

namespace quiver {

struct SolveFailure {
  int equation;  // -1 for a fault of structure
  int variable;  // -1 for a fault of structure
  std::string reason;
};

// What one method of a ladder of methods did with the whole problem.
struct RungReport {
  std::string name;
  bool solved = false;
  int iterations = 0;
  int evaluations = 0;
  std::string text;
};

struct SolveSummary {
  SolveOutcome outcome = SolveOutcome::kConverged;  // of the first block that failed
  int iterations = 0;                               // sum over the blocks
  int evaluations = 0;                              // of blocks, summed
  int blocks = 0;
  int largest_block = 0;
  int blocks_failed = 0;
  int blocks_skipped = 0;         // because they need a result of a failed block
  double largest_residual = 0.0;  // scaled; of all blocks that were tried
  int worst_equation = -1;
  int worst_variable = -1;
  std::vector<SolveFailure> failures;
  std::vector<AlternativeChange> alternatives;  // on the way, of blocks that failed
  std::vector<int> moved_into_bounds;           // free variables whose starting value lay outside
  std::vector<SolveFailure> notes;              // converged, but worth knowing
  std::vector<RungReport> rungs;                // of a ladder, in the order tried
};

class BlockSolver {
 public:
  explicit BlockSolver(std::vector<std::unique_ptr<BlockMethod>> methods = DefaultBlockMethods());

  // x has VariableCount places: fixed values are read, free ones start where they stand. After a failure the
  // unknowns keep the state reached, and blocks that do not depend on it are solved nevertheless.
  SolveSummary Solve(NonlinearProblem& problem, const StructureReport& structure, const SolveOptions& options,
                     std::span<double> x);
  // One block. `system` is used for any number of blocks, one after another.
  BlockResult SolveOne(BlockSystem& system, std::span<const int> equations, std::span<const int> unknowns,
                       const SolveOptions& options, std::span<double> x);
  static void Add(SolveSummary& summary, const BlockResult& result, NonlinearProblem& problem);

 private:
  BlockResult SolveBlock(BlockSystem& system, const SolveOptions& options, std::span<double> x);

  std::vector<std::unique_ptr<BlockMethod>> methods_;
};

// With structure analysis. A problem that is not well posed is not touched: its messages become the failures.
SolveSummary Solve(NonlinearProblem& problem, const SolveOptions& options, std::span<double> x);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_BLOCK_SOLVER_H_
