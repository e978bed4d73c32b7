// SPDX-License-Identifier: Apache-2.0
// Can this system be solved at all, judged from which variable occurs where? If not: what is fixed too much
// or too little, by name.
//
//   StructureReport report = AnalyseStructure(problem);
//   for (const std::string& sentence : report.messages) fmt::print("{}\n", sentence);
#ifndef QUIVER_RUNTIME_SOLVE_STRUCTURE_REPORT_H_
#define QUIVER_RUNTIME_SOLVE_STRUCTURE_REPORT_H_

#include <string>
#include <vector>

#include "runtime/solve/nonlinear_problem.h"
#include "runtime/structure/blocks.h"
#include "runtime/structure/dulmage_mendelsohn.h"

namespace quiver {

struct StructureReport {
  int equations = 0;
  int free_variables = 0;
  // Positive: that many variables have yet to be fixed. Zero does not yet mean well posed.
  int degrees_of_freedom = 0;
  bool is_square = false;
  bool is_well_posed = false;

  std::vector<int> variables_without_equation;
  // Rows are equations, columns variables, both by the problem's numbers.
  std::vector<StructuralPart> over_determined;
  std::vector<StructuralPart> under_determined;

  // One sentence for each fault; empty when well posed.
  std::vector<std::string> messages;

  // The order of solution by the problem's numbers; empty unless well posed.
  BlockOrder blocks;
};

StructureReport AnalyseStructure(const NonlinearProblem& problem);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_STRUCTURE_REPORT_H_
