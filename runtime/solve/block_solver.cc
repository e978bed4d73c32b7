// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/block_solver.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "runtime/solve/block_system.h"
#include "runtime/solve/newton.h"
#include "runtime/solve/part_by_part.h"
#include "runtime/solve/repeated_solver.h"
#include "runtime/solve/scalar_newton.h"
#include "runtime/solve/solve_times.h"

namespace quiver {

void BlockSolver::Add(SolveSummary& summary, const BlockResult& result, NonlinearProblem& problem) {
  summary.iterations += result.iterations;
  if (summary.worst_equation < 0 || result.largest_residual > summary.largest_residual) {
    summary.largest_residual = result.largest_residual;
    summary.worst_equation = result.worst_equation;
    summary.worst_variable = result.worst_variable;
  }
  if (result.outcome != SolveOutcome::kConverged) {
    if (summary.failures.empty()) summary.outcome = result.outcome;
    ++summary.blocks_failed;
    summary.failures.push_back({result.worst_equation, result.worst_variable, result.reason});
    summary.alternatives.insert(summary.alternatives.end(), result.alternatives.begin(),
                                result.alternatives.end());
    return;
  }
  if (result.is_singular_solution) {
    summary.notes.push_back({result.worst_equation, result.worst_variable,
                             fmt::format("{} and its block are satisfied, but do not determine {} uniquely.",
                                         problem.EquationName(result.worst_equation),
                                         problem.VariableName(result.worst_variable))});
  }
  if (result.is_on_switch) {
    summary.notes.push_back({result.worst_equation, result.worst_variable,
                             fmt::format("The solution of {} lies exactly where two alternatives meet.",
                                         problem.EquationName(result.worst_equation))});
  }
}

namespace {

BlockResult CheckBounds(const NonlinearProblem& problem, std::span<const int> equations,
                        std::span<const int> unknowns) {
  BlockResult result;
  result.outcome = SolveOutcome::kConverged;
  for (std::size_t j = 0; j < unknowns.size(); ++j) {
    const double lower = problem.Lower(unknowns[j]), upper = problem.Upper(unknowns[j]);
    if (lower <= upper) continue;
    result.outcome = SolveOutcome::kAtBound;
    result.worst_equation = equations[j];
    result.worst_variable = unknowns[j];
    result.reason =
        fmt::format("{} cannot be solved for: its lower bound {:.6g} is above its upper bound {:.6g}.",
                    problem.VariableName(unknowns[j]), lower, upper);
  }
  return result;
}

}  // namespace

std::vector<std::unique_ptr<BlockMethod>> DefaultBlockMethods() {
  std::vector<std::unique_ptr<BlockMethod>> methods;
  methods.push_back(std::make_unique<ScalarNewton>());
  methods.push_back(std::make_unique<PartByPart>());
  methods.push_back(std::make_unique<DampedNewton>());
  return methods;
}

BlockSolver::BlockSolver(std::vector<std::unique_ptr<BlockMethod>> methods) : methods_(std::move(methods)) {}

// The first method that converges counts; otherwise the first failure, with its state, because that method is
// the one meant for the size.
BlockResult BlockSolver::SolveBlock(BlockSystem& system, const SolveOptions& options, std::span<double> x) {
  std::vector<double> start, reached;
  for (int variable : system.Unknowns()) start.push_back(x[variable]);
  const auto put = [&](const std::vector<double>& values) {
    for (std::size_t j = 0; j < values.size(); ++j) x[system.Unknowns()[j]] = values[j];
  };
  BlockResult first;
  bool tried = false;
  for (const auto& method : methods_) {
    if (!method->Handles(system.Size()) || !method->Suits(system)) continue;
    if (tried) put(start);
    BlockResult result = method->Solve(system, options, x);
    if (result.outcome == SolveOutcome::kConverged) {
      result.iterations += first.iterations;
      return result;
    }
    if (!tried) {
      first = std::move(result);
      for (int variable : system.Unknowns()) reached.push_back(x[variable]);
    } else {
      first.iterations += result.iterations;
    }
    tried = true;
  }
  put(reached);
  return first;
}

BlockResult BlockSolver::SolveOne(BlockSystem& system, std::span<const int> equations,
                                  std::span<const int> unknowns, const SolveOptions& options,
                                  std::span<double> x) {
  system.Select(equations, unknowns);
  system.MeasureWith(options.times);
  BlockResult result = CheckBounds(system.Problem(), equations, unknowns);
  if (result.outcome == SolveOutcome::kConverged) result = SolveBlock(system, options, x);
  result.evaluations = system.Evaluations();  // of all methods tried
  return result;
}

SolveSummary BlockSolver::Solve(NonlinearProblem& problem, const StructureReport& structure,
                                const SolveOptions& options, std::span<double> x) {
  SolveSummary summary;
  if (!structure.is_well_posed) {
    summary.outcome = SolveOutcome::kNotWellPosed;
    for (const std::string& message : structure.messages) summary.failures.push_back({-1, -1, message});
    return summary;
  }
  BlockSystem system(problem);
  std::vector<char> is_unknown_still(problem.VariableCount(), 0);  // left by a block that failed
  for (int block = 0; block < structure.blocks.Count(); ++block) {
    const std::span<const int> equations = structure.blocks.Rows(block);
    const std::span<const int> unknowns = structure.blocks.Columns(block);
    ++summary.blocks;
    summary.largest_block = std::max(summary.largest_block, structure.blocks.Size(block));
    if (summary.blocks_failed > 0) {
      const auto needs_failed = [&](int equation) {
        const auto is_missing = [&](int variable) { return is_unknown_still[variable] != 0; };
        return std::ranges::any_of(problem.ResidualVariables(equation), is_missing) ||
               std::ranges::any_of(problem.ConditionVariables(equation), is_missing);
      };
      if (std::ranges::any_of(equations, needs_failed)) {
        for (int variable : unknowns) is_unknown_still[variable] = 1;
        ++summary.blocks_skipped;
        continue;
      }
    }
    for (int variable : unknowns) {
      if (x[variable] < problem.Lower(variable) || x[variable] > problem.Upper(variable)) {
        summary.moved_into_bounds.push_back(variable);
      }
    }
    const BlockResult result = SolveOne(system, equations, unknowns, options, x);
    summary.evaluations += result.evaluations;
    Add(summary, result, problem);
    if (result.outcome != SolveOutcome::kConverged) {
      for (int variable : unknowns) is_unknown_still[variable] = 1;
    }
  }
  return summary;
}

SolveSummary Solve(NonlinearProblem& problem, const SolveOptions& options, std::span<double> x) {
  TimeSpent* const spent = options.times ? &options.times->structure : nullptr;
  RepeatedParts* parts = nullptr;
  {
    const Measure measure(spent);
    parts = problem.Repeats();
  }
  if (parts)
    if (auto summary = SolveRepeated(problem, *parts, options, x)) return std::move(*summary);
  Measure measure(spent);
  const StructureReport structure = AnalyseStructure(problem);
  measure.Stop();
  return BlockSolver().Solve(problem, structure, options, x);
}

}  // namespace quiver
