// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/part_by_part.h"

#include <algorithm>
#include <vector>

#include "runtime/solve/block_system.h"
#include "runtime/solve/natural_matching.h"
#include "runtime/solve/newton.h"
#include "runtime/solve/scalar_newton.h"

namespace quiver {
namespace {

constexpr int kMostPasses = 4;
constexpr int kMostSweeps = 3;
constexpr int kMostEvaluations = 100;  // of a part, each time: parts need not be solved, only brought near

// Each equation in turn for its own unknown, with the latest values of the others.
void Sweep(BlockSystem& inner, std::span<const int> equations, std::span<const int> unknowns,
           const SolveOptions& options, std::span<double> x) {
  ScalarNewton scalar;
  for (std::size_t k = 0; k < equations.size(); ++k) {
    const double before = x[static_cast<std::size_t>(unknowns[k])];
    inner.Select(equations.subspan(k, 1), unknowns.subspan(k, 1));
    if (scalar.Solve(inner, options, x).outcome != SolveOutcome::kConverged)
      x[static_cast<std::size_t>(unknowns[k])] = before;
  }
}

// Newton; where it fails, Newton again from where some sweeps lead.
int SolveTogether(BlockSystem& inner, std::span<const int> equations, std::span<const int> unknowns,
                  const SolveOptions& options, std::span<double> x) {
  std::vector<double> start;
  for (const int unknown : unknowns) start.push_back(x[static_cast<std::size_t>(unknown)]);
  DampedNewton newton;
  inner.Select(equations, unknowns);
  BlockResult result = newton.Solve(inner, options, x);
  if (result.outcome == SolveOutcome::kConverged) return result.iterations;
  for (std::size_t k = 0; k < unknowns.size(); ++k) x[static_cast<std::size_t>(unknowns[k])] = start[k];
  for (int sweep = 0; sweep < kMostSweeps; ++sweep) Sweep(inner, equations, unknowns, options, x);
  inner.Select(equations, unknowns);
  return result.iterations + newton.Solve(inner, options, x).iterations;
}

std::vector<int> AlternativesOf(BlockSystem& system) {
  std::vector<int> assignment;
  for (const int equation : system.Conditional())
    assignment.push_back(system.Problem().CurrentAlternative(equation));
  return assignment;
}

}  // namespace

bool PartByPart::Suits(const BlockSystem& system) const { return !system.Conditional().empty(); }

BlockResult PartByPart::Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) {
  system.MoveIntoBounds(x);
  NonlinearProblem& problem = system.Problem();
  BlockSystem& inner = system.Inner();
  DampedNewton newton;
  SolveOptions brief = options;
  brief.max_evaluations = std::min(options.max_evaluations, kMostEvaluations);
  int iterations = 0;
  for (int pass = 0; pass < kMostPasses; ++pass) {
    problem.DecideAlternatives(system.Conditional(), x.data());
    const std::vector<int> before = AlternativesOf(system);
    const Incidence incidence = MovingUnknowns(system, x);
    const Matching matching = NaturalMatching(system, incidence);
    if (matching.size < system.Size()) break;
    const BlockOrder order = OrderBlocks(incidence, matching);
    for (int part = 0; part < order.Count(); ++part) {
      std::vector<int> equations, unknowns;
      for (const int row : order.Rows(part))
        equations.push_back(system.Equations()[static_cast<std::size_t>(row)]);
      for (const int column : order.Columns(part))
        unknowns.push_back(system.Unknowns()[static_cast<std::size_t>(column)]);
      if (equations.size() == 1)
        Sweep(inner, equations, unknowns, brief, x);
      else
        iterations += SolveTogether(inner, equations, unknowns, brief, x);
      inner.Select({}, {});  // the spans end here
    }
    problem.DecideAlternatives(system.Conditional(), x.data());
    if (AlternativesOf(system) == before) break;
  }
  BlockResult result = newton.Solve(system, options, x);
  result.iterations += iterations;
  return result;
}

}  // namespace quiver
