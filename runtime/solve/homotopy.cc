// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/homotopy.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "runtime/solve/messages.h"

namespace quiver {
namespace {

double Between(double from, double to, double share) {
  if (from > 0.0 && to > 0.0) return from * std::pow(to / from, share);
  return from + share * (to - from);
}

}  // namespace

HomotopyResult MoveFixedValues(NonlinearProblem& problem, const StructureReport& structure,
                               std::span<const double> from, const HomotopyOptions& options,
                               std::span<double> x) {
  HomotopyResult result;
  const std::vector<double> wanted(x.begin(), x.end());
  std::vector<int> moving;
  for (int v = 0; v < problem.VariableCount(); ++v) {
    const auto place = static_cast<std::size_t>(v);
    if (!problem.IsFree(v) && problem.CanBeFreed(v) && from[place] != wanted[place]) moving.push_back(v);
    if (problem.IsFree(v)) x[place] = from[place];
  }
  const auto put = [&](std::span<double> point, double share) {
    for (const int v : moving) {
      const auto place = static_cast<std::size_t>(v);
      point[place] = share == 1.0 ? wanted[place] : Between(from[place], wanted[place], share);
    }
  };
  BlockSolver solver;
  int solves = 0, iterations = 0, evaluations = 0;
  const auto solve = [&](std::vector<double>& point) {
    ++solves;
    result.summary = solver.Solve(problem, structure, options.solve, point);
    iterations += result.summary.iterations;
    evaluations += result.summary.evaluations;
    return result.summary.outcome == SolveOutcome::kConverged;
  };

  std::vector<double> solved(x.begin(), x.end()), before;
  double before_share = 0.0;
  put(solved, 0.0);
  const bool has_base = solve(solved);
  const std::size_t count = moving.size();
  double step = 1.0;
  while (has_base && result.share < 1.0 && solves < options.most_solves && step >= options.least_step) {
    const double next = std::min(1.0, result.share + step);
    std::vector<double> trial = solved;
    if (!before.empty()) {  // along the secant
      const double ahead = (next - result.share) / (result.share - before_share);
      for (std::size_t v = 0; v < trial.size(); ++v)
        if (problem.IsFree(static_cast<int>(v))) trial[v] += ahead * (solved[v] - before[v]);
    }
    put(trial, next);
    if (!solve(trial)) {
      step = 0.5 * (next - result.share);
      before.clear();  // the next attempt starts from the point itself
      continue;
    }
    before = std::move(solved);
    before_share = result.share;
    solved = std::move(trial);
    result.share = next;
    step *= 2.0;
  }
  std::copy(solved.begin(), solved.end(), x.begin());
  put(x, 1.0);
  result.summary.iterations = iterations;
  result.summary.evaluations = evaluations;
  const std::string solved_times = Counted(static_cast<std::size_t>(solves), "solve");
  if (!has_base)
    result.text = "that case does not solve either";
  else if (result.share == 1.0)
    result.text = fmt::format("moved {} all the way in {}", Counted(count, "fixed value"), solved_times);
  else
    result.text = fmt::format("moved {} {:.3g} % of the way in {}", Counted(count, "fixed value"),
                              100.0 * result.share, solved_times);
  return result;
}

}  // namespace quiver
