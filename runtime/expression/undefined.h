// SPDX-License-Identifier: Apache-2.0
// Why a formula has no finite value: finds the operation that made it so. Walks the stream slowly; call it
// after an evaluation gave infinity or not-a-number.
//
//   if (auto cause = FindUndefined(stream, x, name)) Report(cause->text);
//   // "ln(x) with x = -0.013, x = ETA_CRIT/ETA_S"
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "runtime/expression/evaluator.h"
#include "runtime/expression/infix.h"
#include "runtime/expression/operators.h"
#include "runtime/expression/token.h"

namespace quiver {

struct Undefined {
  std::size_t position = 0;          // of the operation in the stream
  const OperatorInfo* op = nullptr;  // null: a variable that is itself not finite
  std::vector<double> operands;
  double value = 0;  // what came out: infinity or not-a-number
  std::string text;  // the operation, its operands' values, and what longer operands stand for
};

// The leftmost operation whose value is not finite although its operands are. Nothing if all are finite.
std::optional<Undefined> FindUndefined(std::span<const Token> stream, std::span<const double> x,
                                       const VariableName& name, const EvaluationContext& context = {});

// The same for slopes: the leftmost operation with an infinite or undefined derivative by an operand that holds
// variables: "the slope of sqrt(X) with X = 0". Nothing if there is none, or if a value is not finite already.
std::optional<Undefined> FindUndefinedSlope(std::span<const Token> stream, std::span<const double> x,
                                            const VariableName& name, const EvaluationContext& context = {});

}  // namespace quiver
