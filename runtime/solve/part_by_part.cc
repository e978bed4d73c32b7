// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/part_by_part.h"

#include <vector>

#include "runtime/solve/block_system.h"
#include "runtime/solve/newton.h"
#include "runtime/solve/scalar_newton.h"
#include "runtime/structure/matching.h"

namespace quiver {
namespace {

constexpr int kMostPasses = 10;

// Which unknowns move which residual at x. An equation that cannot be evaluated there counts with all its unknowns.
Incidence MovingUnknowns(BlockSystem& system, std::span<const double> x) {
  NonlinearProblem& problem = system.Problem();
  Incidence incidence(system.Size());
  std::vector<int> row;
  std::vector<double> gradient;
  for (const int equation : system.Equations()) {
    const std::span<const int> variables = problem.ResidualVariables(equation);
    gradient.assign(variables.size(), 0.0);
    double residual = 0;
    const bool known = problem.Evaluate({&equation, 1}, x.data(), &residual, gradient.data());
    row.clear();
    for (std::size_t k = 0; k < variables.size(); ++k) {
      const int place = system.PlaceOf(variables[k]);
      if (place >= 0 && (!known || gradient[k] != 0.0)) row.push_back(place);
    }
    incidence.AddRow(row);
  }
  return incidence;
}

std::vector<int> AlternativesOf(BlockSystem& system) {
  std::vector<int> assignment;
  for (const int equation : system.Conditional()) assignment.push_back(system.Problem().CurrentAlternative(equation));
  return assignment;
}

}  // namespace

BlockResult PartByPart::Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) {
  system.MoveIntoBounds(x);
  NonlinearProblem& problem = system.Problem();
  BlockSystem inner(problem);
  ScalarNewton scalar;
  DampedNewton newton;
  int iterations = 0;
  for (int pass = 0; pass < kMostPasses; ++pass) {
    problem.DecideAlternatives(system.Conditional(), x.data());
    const std::vector<int> before = AlternativesOf(system);
    const Incidence incidence = MovingUnknowns(system, x);
    const Matching matching = MaximumMatching(incidence);
    if (matching.size < system.Size()) break;
    const BlockOrder order = OrderBlocks(incidence, matching);
    if (order.Count() == 1) break;
    for (int part = 0; part < order.Count(); ++part) {
      std::vector<int> equations, unknowns;
      for (const int row : order.Rows(part)) equations.push_back(system.Equations()[static_cast<std::size_t>(row)]);
      for (const int column : order.Columns(part)) unknowns.push_back(system.Unknowns()[static_cast<std::size_t>(column)]);
      inner.Select(equations, unknowns);
      BlockMethod& method = inner.Size() == 1 ? static_cast<BlockMethod&>(scalar) : newton;
      iterations += method.Solve(inner, options, x).iterations;
      inner.Select({}, {});
    }
    problem.DecideAlternatives(system.Conditional(), x.data());
    int worst = 0;
    const bool solved = system.Evaluate(x) && system.WorstResidual(&worst) <= options.residual_tolerance;
    if (solved && AlternativesOf(system) == before) break;
  }
  BlockResult result = newton.Solve(system, options, x);
  result.iterations += iterations;
  return result;
}

}  // namespace quiver
