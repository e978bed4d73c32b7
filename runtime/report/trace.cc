// SPDX-License-Identifier: Apache-2.0
#include "runtime/report/trace.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace quiver {

Follower::Follower(EquationSystem& system, std::vector<Moved> moved, std::vector<int> results)
    : system_(system),
      moved_(std::move(moved)),
      results_(std::move(results)),
      solution_(system.StartValues()),
      x_(solution_) {
  const StructureReport whole = AnalyseStructure(system);
  if (!whole.is_well_posed) {
    refusal_ = "the case is not well posed";
  } else {
    const bool alone = FindBlocks(whole);
    if ((!alone || part_.blocks.Count() == 0) && !TurnRound(whole)) {
      const std::string name = system.VariableName(moved_[0].variable);
      refusal_ = alone ? fmt::format("{} does not depend on {}", system.VariableName(results_[0]), name)
                       : fmt::format("{} is solved for together with other unknowns", name);
    }
  }
  part_.is_square = part_.is_well_posed = true;
}

Follower::~Follower() {
  system_.Store(solution_);  // procedures are evaluated on the properties themselves
  std::vector<int> equations(static_cast<size_t>(system_.EquationCount()));
  for (size_t e = 0; e < equations.size(); ++e) equations[e] = static_cast<int>(e);
  system_.DecideAlternatives(equations, solution_.data());
}

// The blocks behind the variables moved that some result needs, in their order of solution. The block that determines a variable
// moved gives way; false when a result needs its other unknowns.
bool Follower::FindBlocks(const StructureReport& whole) {
  std::vector<char> moves(static_cast<size_t>(system_.VariableCount()), 0), needed(moves);
  const auto any = [](const std::vector<char>& marks, std::span<const int> variables) {
    return std::ranges::any_of(variables, [&](int v) { return marks[static_cast<size_t>(v)] != 0; });
  };
  const auto is_moved = [&](int variable) {
    return std::ranges::any_of(moved_, [&](const Moved& m) { return m.variable == variable; });
  };
  for (const Moved& m : moved_) moves[static_cast<size_t>(m.variable)] = 1;
  std::vector<int> behind, given_way;
  for (int block = 0; block < whole.blocks.Count(); ++block) {
    if (std::ranges::any_of(whole.blocks.Columns(block), is_moved)) {
      for (const int column : whole.blocks.Columns(block))
        if (!is_moved(column)) given_way.push_back(column);
      continue;
    }
    const auto depends = [&](int equation) {
      return any(moves, system_.ResidualVariables(equation)) ||
             any(moves, system_.ConditionVariables(equation));
    };
    if (!std::ranges::any_of(whole.blocks.Rows(block), depends)) continue;
    behind.push_back(block);
    for (const int column : whole.blocks.Columns(block)) moves[static_cast<size_t>(column)] = 1;
  }
  for (const int result : results_) needed[static_cast<size_t>(result)] = 1;
  std::vector<int> kept;
  for (auto block = behind.rbegin(); block != behind.rend(); ++block) {
    if (!any(needed, whole.blocks.Columns(*block))) continue;
    kept.push_back(*block);
    for (const int equation : whole.blocks.Rows(*block)) {
      for (const int v : system_.ResidualVariables(equation)) needed[static_cast<size_t>(v)] = 1;
      for (const int v : system_.ConditionVariables(equation)) needed[static_cast<size_t>(v)] = 1;
    }
  }
  if (any(needed, given_way)) return false;
  for (auto block = kept.rbegin(); block != kept.rend(); ++block) {
    const auto rows = whole.blocks.Rows(*block), columns = whole.blocks.Columns(*block);
    part_.blocks.row.insert(part_.blocks.row.end(), rows.begin(), rows.end());
    part_.blocks.column.insert(part_.blocks.column.end(), columns.begin(), columns.end());
    part_.blocks.start.push_back(static_cast<int>(part_.blocks.row.size()));
  }
  return true;
}

// Where the variable is found from the result, by one equation with both in it, that equation gives the result instead.
bool Follower::TurnRound(const StructureReport& whole) {
  if (moved_.size() != 1 || results_.size() != 1) return false;
  std::vector<int> both;
  for (int block = 0; block < whole.blocks.Count(); ++block) {
    if (std::ranges::find(whole.blocks.Columns(block), moved_[0].variable) ==
        whole.blocks.Columns(block).end())
      continue;
    for (const int equation : whole.blocks.Rows(block)) {
      const auto names = [&](int variable) {
        const auto row = system_.ResidualVariables(equation);
        return std::ranges::find(row, variable) != row.end();
      };
      if (names(moved_[0].variable) && names(results_[0])) both.push_back(equation);
    }
  }
  if (both.size() != 1) return false;
  part_.blocks = {{0, 1}, both, {results_[0]}};
  return true;
}

bool Follower::SolveAt(double value) {
  for (const bool again : {false, true}) {
    if (again) x_ = solution_;
    for (const Moved& m : moved_) x_[static_cast<size_t>(m.variable)] = m.factor * value;
    if (solver_.Solve(system_, part_, SolveOptions(), x_).outcome == SolveOutcome::kConverged) return true;
  }
  x_ = solution_;
  return false;
}

std::vector<int> Follower::Alternatives() const {
  std::vector<int> all;
  for (const int equation : part_.blocks.row) all.push_back(system_.CurrentAlternative(equation));
  return all;
}

double Follower::Boundary(double from, double to, const std::function<bool()>& side) {
  const double distance = std::abs(to - from);
  if (!SolveAt(from)) return std::nan("");
  const bool first = side();
  while (std::abs(to - from) > 1e-9 * distance) {
    const double middle = 0.5 * (from + to);
    if (!SolveAt(middle)) return std::nan("");
    (side() == first ? from : to) = middle;
  }
  return from;
}

Trace Sample(Follower& follower, size_t results, const std::vector<double>& values) {
  Trace trace;
  trace.results.resize(results);
  for (const double value : values) {
    const bool solved = follower.SolveAt(value);
    trace.at.push_back(value);
    for (size_t k = 0; k < results; ++k)
      trace.results[k].push_back(solved ? follower.Result(k) : std::nan(""));
    trace.alternatives.push_back(solved ? follower.Alternatives() : std::vector<int>());
    if (!solved) ++trace.not_solved;
  }
  return trace;
}

}  // namespace quiver
