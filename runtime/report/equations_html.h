// SPDX-License-Identifier: Apache-2.0
// The equations of a model instance as HTML with MathML, the branch that holds marked.
//
//   page += EquationsHtml(model) + SymbolsHtml(model);
#pragma once

#include <string>

#include "runtime/report/content.h"

namespace quiver {

// Formulas first, then what is merely equal. Nothing of it depends on which instance of a type it is, unless their branches
// differ.
std::string EquationsHtml(const ReportEquations& model);

// The model's own names that occur, in the order of their declaration: symbol, name, unit, meaning.
std::string SymbolsHtml(const ReportEquations& model);

// A condition as mathematics.
std::string ConditionMath(const std::vector<TokenDescription>& condition);

}  // namespace quiver
