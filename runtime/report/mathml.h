// SPDX-License-Identifier: Apache-2.0
// Token streams as mathematics for a page: MathML with fractions, roots, powers and subscripts.
//
//   const EquationMathml equation = ToMathml(stream, [&](int place) { return names[place]; });
//   page += "<math>" + equation.Text() + "</math>";
//
// Brackets stand where the tree needs them and a fraction or a raised exponent does not show it already. Streams must have
// passed the checks of stream_check.h. What is written is MathML Core: browsers show it without a script.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "runtime/expression/infix.h"
#include "runtime/expression/token.h"

namespace quiver {

struct EquationMathml {
  std::string left, right;  // of the equals sign; rows for <math>, several elements each
  double width = 0;         // of one line, in letters, roughly
  std::string Text() const { return left + "<mo>=</mo>" + right; }
};

// By FormOf(). A right side wider than `line_width` letters is broken at its operators into lines below each other.
EquationMathml ToMathml(std::span<const Token> stream, const VariableName& name, double line_width = 64);

// Any tree as it stands: conditions with =, ≠, <, ≤, and, or.
std::string FormulaMathml(std::span<const Token> tree, const VariableName& name, double line_width = 64);

// A name: what follows an underscore and indices become subscripts, RHO and the like Greek letters. "PFLASH2(1).P_CRIT".
std::string SymbolMathml(std::string_view name);

// A number as people write it, to twelve digits: 6·10⁻⁵ for 6e-05.
std::string NumberMathml(double value);

}  // namespace quiver
