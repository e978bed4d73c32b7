// SPDX-License-Identifier: Apache-2.0
// One way to solve one block. A new way (trust region, homotopy, repeated blocks in batches) is a class
// behind BlockMethod and one line in DefaultBlockMethods; the block solver tries those that handle the size
// in their order.
//
//   BlockSystem system(problem);
//   system.Select(equations, unknowns);
//   BlockResult result = DampedNewton().Solve(system, SolveOptions(), x);
#ifndef QUIVER_RUNTIME_SOLVE_BLOCK_METHOD_H_
#define QUIVER_RUNTIME_SOLVE_BLOCK_METHOD_H_

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace quiver {

class BlockSystem;
struct SolveTimes;

struct SolveOptions {
  double residual_tolerance = 1e-9;  // of each equation, relative to the magnitude of its own terms
  double step_tolerance = 1e-9;      // of each unknown, relative to the larger of its value and its scale
  int max_iterations = 100;          // in each block
  int max_evaluations = 2000;        // in each block
  SolveTimes* times = nullptr;       // adds up where the time goes, for those who want to know
  int workers = 1;  // threads for problems that repeat; the result is the same for any number
  // A solution counts as lying on a switch when a relative change of this size turns the decision.
  double switch_tolerance = 1e-8;
};

enum class SolveOutcome {
  kConverged,
  kNotWellPosed,     // structure: too many or too few equations somewhere
  kFault,            // an equation could not be evaluated
  kSingular,         // the equations do not determine the unknowns there
  kAtBound,          // a bound keeps the equations from being satisfied
  kStalled,          // no step reduces the residuals: a local minimum, a pole or a jump
  kCycling,          // each alternative leads to the other
  kOutOfIterations,  // or out of evaluations
};

struct AlternativeChange {
  int equation;
  int from, to;
  int iteration;
};

struct BlockResult {
  SolveOutcome outcome = SolveOutcome::kOutOfIterations;
  int iterations = 0;
  int evaluations = 0;
  double largest_residual = 0.0;  // scaled
  int worst_equation = -1;
  int worst_variable = -1;
  std::string reason;                 // empty when converged
  bool is_singular_solution = false;  // converged, yet neighbouring points may solve the block as well
  bool is_on_switch = false;          // converged where two alternatives meet; the earlier one was kept
  std::vector<AlternativeChange> alternatives;  // all changes on the way, unless converged
};

class BlockMethod {
 public:
  virtual ~BlockMethod() = default;
  virtual bool Handles(int size) const = 0;
  virtual bool Suits(const BlockSystem& /*system*/) const { return true; }
  // x holds all variables of the problem; only the unknowns of the block are changed. After a failure they
  // keep the best state reached.
  virtual BlockResult Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) = 0;
};

// In the order in which they are tried.
std::vector<std::unique_ptr<BlockMethod>> DefaultBlockMethods();

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_BLOCK_METHOD_H_
