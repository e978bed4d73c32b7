// SPDX-License-Identifier: Apache-2.0
// A system of equations as formulas over its unknowns, for writers of formats that other programs read.
//
//   ExportedSystem exported = Express(system, system.StartValues());
//   WriteNl(exported, file);                                          // runtime/export/nl_writer.h
//
// Known values (parameters, given variables) are numbers in the formulas. An equation with alternatives becomes one formula
// of conditions ("if"), a procedure with a closed form that form.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "runtime/export/nl_formula.h"
#include "runtime/system/equation_system.h"

namespace quiver {

struct ExportOptions {
  bool current_only = false;  // of each equation only the alternative that holds at the point
  bool keep_given = false;    // given variables remain variables, with both bounds at their value
  bool linearise_procedures =
      false;  // a procedure without a closed form: its first-order expansion at the point
};

struct ExportedVariable {
  std::string name;
  double value = 0;  // at the point
  double lower = 0, upper = 0;
  bool given = false;
};

struct ExportedEquation {
  std::string name;
  NlFormula residual = 0.0;    // to be zero; variables by their place in `variables`
  std::vector<int> variables;  // ascending
};

struct ExportedSystem {
  std::vector<ExportedVariable> variables;
  std::vector<ExportedEquation> equations;
  std::vector<std::string> linearised;  // routines that were replaced by their expansion, each once
};

// `x` is the point: one value per variable of the system, as StartValues() gives them. Throws Error with all findings:
// procedures that cannot be expressed, values that are not finite.
ExportedSystem Express(EquationSystem& system, std::span<const double> x, const ExportOptions& options = {});

// The Jacobian at `x`, by the unknowns only.
struct ExportedJacobian {
  struct Entry {
    int row, column;
    double value;
  };
  std::vector<std::string> rows, columns;
  std::vector<Entry> entries;  // by row, then by column
};
// Throws Error naming the equation that has no finite value or slope at `x`.
ExportedJacobian JacobianAt(EquationSystem& system, std::span<const double> x);

}  // namespace quiver
