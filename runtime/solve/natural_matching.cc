// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/natural_matching.h"

#include <vector>

namespace quiver {

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

Matching NaturalMatching(BlockSystem& system, const Incidence& incidence) {
  const NonlinearProblem& problem = system.Problem();
  const auto n = static_cast<std::size_t>(system.Size());
  std::vector<int> column_of_row(n, -1), row_of_column(n, -1);
  for (std::size_t i = 0; i < n; ++i) {
    const std::span<const int> row = incidence.Row(static_cast<int>(i));
    if (row.empty()) continue;
    for (const int column : {row.front(), row.back()}) {  // a call's own output stands last
      if (row_of_column[static_cast<std::size_t>(column)] >= 0) continue;
      if (!problem.IsLeftSide(system.Unknowns()[static_cast<std::size_t>(column)])) continue;
      column_of_row[i] = column;
      row_of_column[static_cast<std::size_t>(column)] = static_cast<int>(i);
      break;
    }
  }
  Incidence left(system.Size());
  std::vector<int> columns;
  for (std::size_t i = 0; i < n; ++i) {
    columns.clear();
    for (const int column : incidence.Row(static_cast<int>(i)))
      if (column_of_row[i] == column ||
          (column_of_row[i] < 0 && row_of_column[static_cast<std::size_t>(column)] < 0))
        columns.push_back(column);
    left.AddRow(columns);
  }
  const Matching natural = MaximumMatching(left);
  return natural.size == system.Size() ? natural : MaximumMatching(incidence);
}

}  // namespace quiver
