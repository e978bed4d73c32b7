// SPDX-License-Identifier: Apache-2.0
// The operator table as rows of data, for readers that need no formulas.
#include "runtime/expression/operators.h"

#include <array>

namespace quiver {
namespace {

using enum Role;
using enum Precedence;

constexpr OperatorInfo kRows[] = {
#define OPERATOR(code, name, role, arity, text, precedence, ...) \
  {Operator::k##name, #name, role, arity, text, precedence},
#define CONDITION(code, name, role, text, precedence, ...) \
  {Operator::k##name, #name, role, 2, text, precedence},
#define LIST(code, name, text, joins, empty_value) \
  {Operator::k##name, #name, kList, OperatorInfo::kAnyNumber, text, kCall, Operator::k##joins, empty_value},
#define MARKER(code, name, role, text) {Operator::k##name, #name, role, 0, text, kCall},
#include "runtime/expression/operators.def"
};

constexpr auto kRowOfCode = [] {
  std::array<const OperatorInfo*, 100> rows{};
  for (const OperatorInfo& row : kRows) rows[static_cast<int>(row.op)] = &row;
  return rows;
}();

}  // namespace

const OperatorInfo* FindOperator(int code) {
  return code >= 0 && code < static_cast<int>(kRowOfCode.size()) ? kRowOfCode[code] : nullptr;
}

std::span<const OperatorInfo> AllOperators() { return kRows; }

}  // namespace quiver
