// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/pseudo_transient.h"

#include <algorithm>
#include <cmath>

#include "runtime/linalg/linear_solver.h"
#include "runtime/solve/natural_matching.h"
#include "runtime/solve/newton.h"
#include "runtime/solve/scaled_step.h"

namespace quiver {
namespace {

constexpr double kNear = 1e-6;      // scaled residual from which damped Newton finishes
constexpr double kFirstStep = 0.1;  // of pseudo time; residuals and unknowns are scaled to 1
constexpr double kLeastStep = 1e-8;
constexpr double kLargestStep = 1e8;
constexpr double kLargestChange = 2.0;  // of an unknown in one step, in its magnitudes
constexpr double kMostGrowth = 3.0;     // of the step from one to the next
constexpr int kStepsPerIteration = 3;   // these steps are cheaper and shorter than Newton's

int Approach(BlockSystem& system, const SolveOptions& options, std::span<double> x) {
  ScaledStep scaled(system, x);
  if (!scaled.Start()) return 0;
  const Matching matching = NaturalMatching(system, MovingUnknowns(system, x));
  if (matching.size < system.Size() || !scaled.Start()) return 0;
  const SparsePattern& pattern = system.Pattern();
  const std::unique_ptr<LinearSolver> solver = MakeLinearSolver(system.Size());
  solver->Analyse(pattern);
  std::vector<double> matrix, step(static_cast<std::size_t>(system.Size()));
  double time_step = kFirstStep;
  int iteration = 0;
  for (; iteration < kStepsPerIteration * options.max_iterations && scaled.Residual() > kNear; ++iteration) {
    scaled.Weigh();
    bool moved = false;
    while (!moved && time_step > kLeastStep && system.Evaluations() < options.max_evaluations) {
      matrix.assign(scaled.Jacobian().begin(), scaled.Jacobian().end());
      for (int j = 0; j < pattern.size; ++j)
        for (int k = pattern.column_start[j]; k < pattern.column_start[j + 1]; ++k)
          if (matching.column_of_row[static_cast<std::size_t>(pattern.row[k])] == j)
            matrix[k] += (matrix[k] < 0.0 ? -1.0 : 1.0) / time_step;
      for (int i = 0; i < scaled.Size(); ++i) step[i] = -scaled.F()[i];
      const LinearStatus status = solver->Factor(matrix).status;
      double longest = INFINITY;
      if (status == LinearStatus::kOk || status == LinearStatus::kIllConditioned) {
        solver->Solve(step);
        longest = 0.0;
        for (const double part : step) longest = std::max(longest, std::abs(part));
      }
      moved = longest <= kLargestChange && scaled.Try(step);
      if (!moved) time_step *= 0.25;
    }
    if (!moved) {
      scaled.Return();
      break;
    }
    time_step *=
        std::clamp(std::sqrt(scaled.BaseMerit() / std::max(scaled.Merit(), 1e-300)), 0.5, kMostGrowth);
    time_step = std::min(time_step, kLargestStep);
    if (!scaled.Accept()) break;
  }
  return iteration;
}

}  // namespace

BlockResult PseudoTransient::Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) {
  const int iterations = Approach(system, options, x);
  BlockResult result = DampedNewton().Solve(system, options, x);
  result.iterations += iterations;
  return result;
}

}  // namespace quiver
