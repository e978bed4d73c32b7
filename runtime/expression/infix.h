// SPDX-License-Identifier: Apache-2.0
// Token streams as text. Brackets are written where the tree needs them and nowhere else, so reading a
// formula back (operators of one rank joining from the left, ^ only with brackets) gives the same tree; only
// the max and min of a list with two entries look like the two-operand ones.
//
//   EquationText(stream, [&](int place) { return names[place]; })
//       "FLUX*(1 - AREA_RATIO*AREA_RATIO)/(2.0*MW) = PDROPC/UCF8*RHO/(FLUX + EPS)"
//
// Integers are printed as 1, reals as 1.0, with as many digits as they need to read back. Streams must have
// passed the checks of stream_check.h.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "runtime/expression/token.h"

namespace quiver {

using VariableName = std::function<std::string(int place)>;

// How a stream reads as an equation: "left = right" for a difference, "x = 1" for -1 + x (x a variable or a list),
// "... = 0" for anything else.
enum class EquationForm { kDifference, kValue, kZero };
EquationForm FormOf(std::span<const Token> stream);

std::string EquationText(std::span<const Token> stream, const VariableName& name);

// Any tree as it stands; conditions with ==, !=, <, <=, >, >=, and, or.
std::string FormulaText(std::span<const Token> tree, const VariableName& name);

// The tokens as they are, well formed or not: "20 FLUX 21 0.1 int 2" is FLUX - 0.1*2.
std::string StreamText(std::span<const Token> stream, const VariableName& name);

// A literal as formulas show it.
std::string LiteralText(const Token& literal);

}  // namespace quiver
