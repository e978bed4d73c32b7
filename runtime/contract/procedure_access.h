// SPDX-License-Identifier: Apache-2.0
// What the solver asks of a procedure: its elements, and residuals with derivatives by them. Elements are
// listed inputs first, then outputs; by-value constants are no elements.
//
//   const ProcedureElements e = ElementsOf(procedure);                  // once, after the arguments were
//   stored std::vector<double> r(e.outputs), rows(e.outputs * e.Count()); if (!EvaluateProcedure(procedure,
//   r.data(), rows.data())) Report(LastProcedureFault().sentence);
#pragma once

#include <span>

#include "host/procedure.h"

namespace quiver {

struct ProcedureElements {
  QV_VarParam* const* elements = nullptr;  // inputs, then outputs
  long long inputs = 0, outputs = 0;
  long long Count() const { return inputs + outputs; }
};
// Empty until the arguments have been measured. What follows is for procedures that have a list.
ProcedureElements ElementsOf(QV_ProcedureType& procedure);

// Puts others in the place of a procedure's elements: of the same kinds, in the same order. So one procedure serves all
// instances that call it alike.
void BindElements(QV_ProcedureType& procedure, std::span<QV_VarParam* const> elements);

// residuals[j] = variable - value from the routine, one per output element; rows[j * Count() + e] = d
// residuals[j] / d element e: 1 for the output itself, minus the routine's derivative for inputs, 0 for
// elements that are parameters. Derivatives that the routine returns are used as they are, others are
// differences. `rows` may be null: values only. False when the routine is absent or fails, with the sentence
// in LastProcedureFault(); the arrays are then undefined.
bool EvaluateProcedure(QV_ProcedureType& procedure, double* residuals, double* rows);

}  // namespace quiver
