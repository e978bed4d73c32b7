// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/structure_report.h"

#include <fmt/format.h>

#include <algorithm>

#include "runtime/solve/messages.h"

namespace quiver {
namespace {

class Reporter {
 public:
  Reporter(const NonlinearProblem& problem, StructureReport& report) : problem_(problem), report_(report) {}

  void Write() {
    for (const StructuralPart& part : report_.over_determined) report_.messages.push_back(TooMany(part));
    for (const StructuralPart& part : report_.under_determined) {
      if (part.rows.empty()) continue;
      report_.messages.push_back(TooFew(part));
    }
    const auto& alone = report_.variables_without_equation;
    if (alone.size() == 1) {
      report_.messages.push_back(fmt::format(
          "{} has no equation; fix it or add the equation that determines it.", Variables(alone)));
    } else if (!alone.empty()) {
      report_.messages.push_back(fmt::format(
          "{} have no equation; fix them or add the equations that determine them.", Variables(alone)));
    }
  }

 private:
  std::string Equations(std::span<const int> equations) const {
    return JoinNames(equations, [this](int equation) { return problem_.EquationName(equation); });
  }
  std::string Variables(std::span<const int> variables, const std::string& last_word = "and") const {
    return JoinNames(
        variables, [this](int variable) { return problem_.VariableName(variable); }, last_word);
  }

  // Freeing any of the fixed variables of an over-determined part removes one of its surplus equations.
  std::vector<int> FixedIn(std::span<const int> equations) const {
    std::vector<int> fixed;
    for (int equation : equations) {
      for (int variable : problem_.ResidualVariables(equation)) {
        if (!problem_.IsFree(variable) && problem_.CanBeFreed(variable)) fixed.push_back(variable);
      }
    }
    std::sort(fixed.begin(), fixed.end());
    fixed.erase(std::unique(fixed.begin(), fixed.end()), fixed.end());
    return fixed;
  }

  std::string TooMany(const StructuralPart& part) const {
    const std::vector<int> fixed = FixedIn(part.rows);
    const std::size_t surplus = part.rows.size() - part.columns.size();
    std::string text;
    if (part.columns.empty()) {
      if (fixed.empty()) {
        return fmt::format("{} contains no variable; remove the equation.", Equations(part.rows));
      }
      text = fmt::format("{} determines nothing: {} {} fixed", Equations(part.rows), Variables(fixed),
                         fixed.size() == 1 ? "is" : "are");
    } else if (part.columns.size() == 1) {
      text = fmt::format("{} {} fix {}", Equations(part.rows), part.rows.size() == 2 ? "both" : "all",
                         Variables(part.columns));
    } else {
      text = fmt::format("{} determine {}: {} have only {} free", Counted(part.rows.size(), "equation"),
                         Counted(part.columns.size(), "variable"), Equations(part.rows),
                         Variables(part.columns));
    }
    // What freeing cannot mend has to be removed.
    const std::size_t to_free = std::min(surplus, fixed.size()), to_remove = surplus - to_free;
    if (to_free == fixed.size() && to_free > 0) {
      text += fmt::format("; free {}", Variables(fixed));
    } else if (to_free > 0) {
      text +=
          fmt::format("; free {} of {}", to_free == 1 ? "one" : std::to_string(to_free), Variables(fixed));
    }
    if (to_remove == 0) return text + ".";
    return text +
           fmt::format("{} remove {} of them.", to_free > 0 ? ", and" : ";", Counted(to_remove, "equation"));
  }

  std::string TooFew(const StructuralPart& part) const {
    const std::size_t missing = part.columns.size() - part.rows.size();
    std::vector<int> given_by_none;
    for (const int column : part.columns)
      if (!problem_.IsLeftSide(column)) given_by_none.push_back(column);
    if (given_by_none.size() >= missing && given_by_none.size() < part.columns.size()) {
      const bool all = given_by_none.size() == missing;
      return fmt::format("{} have only {}. No equation gives {}: fix {}, or choose options that give {}.",
                         Counted(part.columns.size(), "variable"), Counted(part.rows.size(), "equation"),
                         Variables(given_by_none, all ? "and" : "or"),
                         all            ? (missing == 1 ? "it" : "them")
                         : missing == 1 ? "one of them"
                                        : fmt::format("{} of them", missing),
                         missing == 1 && all ? "it an equation" : "them equations");
    }
    return fmt::format("{} have only {}: {} occur in {}; fix {} of {}.",
                       Counted(part.columns.size(), "variable"), Counted(part.rows.size(), "equation"),
                       Variables(part.columns), Equations(part.rows),
                       missing == 1 ? "one" : std::to_string(missing), Variables(part.columns));
  }

  const NonlinearProblem& problem_;
  StructureReport& report_;
};

}  // namespace

StructureReport AnalyseStructure(const NonlinearProblem& problem) {
  std::vector<int> column_of(problem.VariableCount(), -1), variable_of;
  for (int variable = 0; variable < problem.VariableCount(); ++variable) {
    if (!problem.IsFree(variable)) continue;
    column_of[variable] = static_cast<int>(variable_of.size());
    variable_of.push_back(variable);
  }
  const int columns = static_cast<int>(variable_of.size());
  Incidence incidence(columns), conditions(columns);
  std::vector<int> row;
  const auto add = [&](Incidence& to, std::span<const int> variables) {
    row.clear();
    for (int variable : variables) {
      if (column_of[variable] >= 0) row.push_back(column_of[variable]);
    }
    to.AddRow(row);
  };
  for (int equation = 0; equation < problem.EquationCount(); ++equation) {
    add(incidence, problem.ResidualVariables(equation));
    add(conditions, problem.ConditionVariables(equation));
  }

  StructureReport report;
  report.equations = problem.EquationCount();
  report.free_variables = columns;
  report.degrees_of_freedom = columns - report.equations;
  report.is_square = report.degrees_of_freedom == 0;
  const Matching matching = MaximumMatching(incidence);
  report.is_well_posed = report.is_square && matching.size == columns;
  if (report.is_well_posed) {
    report.blocks = OrderBlocks(incidence, matching, &conditions);
    for (int& column : report.blocks.column) column = variable_of[column];
    return report;
  }

  StructuralParts parts = FindStructuralParts(incidence, matching);
  for (auto* list : {&parts.over, &parts.under}) {
    for (StructuralPart& part : *list) {
      for (int& column : part.columns) column = variable_of[column];
    }
  }
  report.over_determined = std::move(parts.over);
  report.under_determined = std::move(parts.under);
  for (const StructuralPart& part : report.under_determined) {
    if (part.rows.empty()) report.variables_without_equation.push_back(part.columns.front());
  }
  Reporter(problem, report).Write();
  return report;
}

}  // namespace quiver
