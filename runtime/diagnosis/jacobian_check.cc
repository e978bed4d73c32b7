// SPDX-License-Identifier: Apache-2.0
#include "runtime/diagnosis/jacobian_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "runtime/solve/messages.h"

namespace quiver {
namespace {

struct Row {
  int equation;
  double terms;  // before weighing
  std::vector<int> unknowns;
  std::vector<double> slopes;  // weighed; their squares add up to 1
};

class Check {
 public:
  Check(NonlinearProblem& problem, std::span<const double> x, const std::string& when,
        const JacobianCheckOptions& options)
      : problem_(problem), x_(x), when_(when), options_(options) {}

  std::vector<Finding> Run() {
    for (int equation = 0; equation < problem_.EquationCount(); ++equation) ReadRow(equation);
    JudgeRows();
    JudgeColumns();
    JudgePairs();
    return std::move(findings_);
  }

 private:
  void ReadRow(int equation) {
    const std::span<const int> variables = problem_.ResidualVariables(equation);
    std::vector<double> gradient(variables.size());
    double residual = 0;
    problem_.DecideAlternatives({&equation, 1}, x_.data());
    const bool known = problem_.Evaluate({&equation, 1}, x_.data(), &residual, gradient.data());
    const EvaluationFault fault = problem_.FirstFault();
    if (!known || fault.equation >= 0) {
      if (++undefined_ <= options_.most_of_a_kind)
        findings_.push_back(
            {known ? Severity::kNote : Severity::kWarning,
             "undefined",
             problem_.EquationName(equation),
             fmt::format("It has no finite {} {}: {}.", known ? "slope" : "value", when_, fault.reason),
             "Start from other values, or set bounds that keep the solver away from there.",
             {problem_.EquationName(equation)},
             {}});
      return;
    }
    Row row{equation, 0, {}, {}};
    for (std::size_t k = 0; k < variables.size(); ++k) {
      const int variable = variables[k];
      const double magnitude =
          std::max(std::abs(x_[static_cast<std::size_t>(variable)]), problem_.Scale(variable));
      const double term = std::abs(gradient[k]) * magnitude;
      if (!std::isfinite(term)) continue;
      row.terms += term;
      if (!problem_.IsFree(variable) || gradient[k] == 0.0) continue;
      row.unknowns.push_back(variable);
      row.slopes.push_back(gradient[k] * magnitude);
    }
    double squares = 0;
    for (const double slope : row.slopes) squares += slope * slope;
    if (!(squares > 0) || !(row.terms > 0)) return;
    for (std::size_t k = 0; k < row.slopes.size(); ++k) {
      double& felt = felt_[row.unknowns[k]];
      felt = std::max(felt, std::abs(row.slopes[k]) / row.terms);
      row.slopes[k] /= std::sqrt(squares);
    }
    rows_.push_back(std::move(row));
  }

  void JudgeRows() {
    std::vector<int> sized;
    double largest = 0, smallest = INFINITY;
    for (const Row& row : rows_) {
      largest = std::max(largest, row.terms);
      smallest = std::min(smallest, row.terms);
      if (row.terms > options_.largest_term || row.terms < 1 / options_.largest_term)
        sized.push_back(row.equation);
    }
    if (!sized.empty())
      findings_.push_back(
          {Severity::kNote,
           "scaling",
           Equations(sized),
           fmt::format("The terms of {} are very large or small {}; over all equations they reach from "
                       "{:.1e} to {:.1e}.",
                       Counted(sized.size(), "equation"), when_, smallest, largest),
           "The solver weighs each equation by its own terms; a tolerance in absolute figures would not do.",
           Names(sized),
           {}});
  }

  void JudgeColumns() {
    int told = 0;
    for (const auto& [variable, felt] : felt_) {
      if (felt >= options_.unfelt || ++told > options_.most_of_a_kind) continue;
      findings_.push_back(
          {Severity::kWarning,
           "scaling",
           problem_.VariableName(variable),
           fmt::format("No equation feels it {}: moved by its own magnitude, it changes none by more "
                       "than {:.1e} of its terms.",
                       when_, felt),
           "Its value is uncertain; look for an equation that should hold it, or give it a start "
           "value of its usual magnitude.",
           {},
           {problem_.VariableName(variable)}});
    }
  }

  // Rows that are nearly multiples of each other feel the same unknown most.
  void JudgePairs() {
    std::map<int, std::vector<const Row*>> by_strongest;
    for (const Row& row : rows_) {
      const auto strongest = std::max_element(row.slopes.begin(), row.slopes.end(),
                                              [](double a, double b) { return std::abs(a) < std::abs(b); });
      by_strongest[row.unknowns[static_cast<std::size_t>(strongest - row.slopes.begin())]].push_back(&row);
      // Of two that are nearly equally strong, either may come out first in the other row.
      for (std::size_t k = 0; k < row.slopes.size(); ++k)
        if (row.slopes.begin() + static_cast<long>(k) != strongest &&
            std::abs(row.slopes[k]) > 0.999 * std::abs(*strongest))
          by_strongest[row.unknowns[k]].push_back(&row);
    }
    std::map<std::pair<int, int>, bool> seen;
    for (const auto& [variable, rows] : by_strongest)
      for (std::size_t i = 0; i < rows.size(); ++i)
        for (std::size_t j = i + 1; j < rows.size() && j < i + kMostNeighbours; ++j)
          if (seen.emplace(std::minmax(rows[i]->equation, rows[j]->equation), true).second)
            JudgePair(*rows[i], *rows[j]);
  }

  void JudgePair(const Row& a, const Row& b) {
    double cosine = 0;
    for (std::size_t i = 0; i < a.unknowns.size(); ++i)
      for (std::size_t j = 0; j < b.unknowns.size(); ++j)
        if (a.unknowns[i] == b.unknowns[j]) cosine += a.slopes[i] * b.slopes[j];
    if (std::abs(cosine) < 0.99) return;
    // The difference itself: 1 - cosine would lose it in rounding.
    std::map<int, double> difference;
    for (std::size_t i = 0; i < a.unknowns.size(); ++i) difference[a.unknowns[i]] = a.slopes[i];
    for (std::size_t j = 0; j < b.unknowns.size(); ++j)
      difference[b.unknowns[j]] -= cosine > 0 ? b.slopes[j] : -b.slopes[j];
    double squares = 0;
    for (const auto& [variable, part] : difference) squares += part * part;
    if (std::sqrt(squares) > options_.parallel || ++parallel_ > options_.most_of_a_kind) return;
    const std::vector<int> both = {a.equation, b.equation};
    findings_.push_back(
        {Severity::kWarning,
         "parallel",
         Equations(both),
         fmt::format("They say nearly the same of {} {}: their slopes differ by {:.1e}.",
                     JoinNames(a.unknowns, [this](int v) { return problem_.VariableName(v); }), when_,
                     std::sqrt(squares)),
         "One of them may follow from the other; if so, replace it and free or fix accordingly.",
         Names(both),
         {}});
  }

  std::string Equations(const std::vector<int>& equations) const {
    return JoinNames(equations, [this](int e) { return problem_.EquationName(e); });
  }
  std::vector<std::string> Names(const std::vector<int>& equations) const {
    std::vector<std::string> names;
    for (const int equation : equations) names.push_back(problem_.EquationName(equation));
    return names;
  }

  static constexpr std::size_t kMostNeighbours = 200;  // pairs are tried within this distance
  NonlinearProblem& problem_;
  std::span<const double> x_;
  const std::string& when_;
  const JacobianCheckOptions& options_;
  std::vector<Row> rows_;
  std::map<int, double> felt_;
  int undefined_ = 0, parallel_ = 0;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> CheckJacobian(NonlinearProblem& problem, std::span<const double> x,
                                   const std::string& when, const JacobianCheckOptions& options) {
  return Check(problem, x, when, options).Run();
}

}  // namespace quiver
