// SPDX-License-Identifier: Apache-2.0
// The search for the operation that made a value or a slope infinite or undefined.
#include "runtime/expression/undefined.h"

#include <fmt/format.h>

#include <cmath>
#include <functional>

namespace quiver {
namespace {

// A complete subtree on the stack, or the mark that closes a list (begin == end).
struct Part {
  double value = 0;
  std::size_t begin = 0, end = 0;  // tokens
  bool varies = false;             // holds a variable
};

// What a visitor is told of each operation, operands first, from the right end of the stream to the left.
struct Operation {
  const OperatorInfo* info;  // null for a variable
  std::span<const Part> operands;
  Part whole;
};

void Walk(std::span<const Token> stream, std::span<const double> x, double time,
          const std::function<void(const Operation&)>& visit) {
  std::vector<Part> stack, operands;
  for (std::size_t i = stream.size(); i-- > 0;) {
    const Token& token = stream[i];
    Part part{0, i, i + 1};
    const OperatorInfo* info = nullptr;
    operands.clear();
    if (token.IsLiteral()) {
      part.value = token.real;
    } else if (token.kind == Token::kVariable) {
      part.value = x[token.index];
      part.varies = true;
      visit({info, operands, part});
    } else if (token.kind == Token::kOperator) {
      info = FindOperator(token.index);
      if (info->role == Role::kEndOfList) {
        stack.push_back({0, i, i});
        continue;
      }
      const bool list = info->role == Role::kList;
      while (list ? stack.back().begin != stack.back().end
                  : static_cast<int>(operands.size()) < info->arity) {
        operands.push_back(stack.back());
        stack.pop_back();
        part.end = operands.back().end;
        part.varies |= operands.back().varies;
      }
      if (list) {
        part.end = stack.back().begin + 1;
        stack.pop_back();
        part.value = operands.empty() ? info->empty_value : operands[0].value;
        for (std::size_t k = 1; k < operands.size(); ++k) {
          part.value = ValueOf<double>(info->joins, part.value, operands[k].value);
        }
      } else {
        part.value = ValueOf<double>(info->op, operands.empty() ? time : operands[0].value,
                                     operands.size() > 1 ? operands[1].value : 0.0);
      }
      visit({info, operands, part});
    }
    stack.push_back(part);
  }
}

// "x/FLUX with x = 3, FLUX = 0, x = A*B": variables and literals stand as they are, longer operands get a
// letter.
std::string Describe(std::span<const Token> stream, const Operation& operation, const VariableName& name) {
  if (operation.info == nullptr) {
    return fmt::format("{} = {}", name(stream[operation.whole.begin].index), operation.whole.value);
  }
  if (operation.info->role == Role::kList) {
    return fmt::format("{} of {} operands gives {}", operation.info->text, operation.operands.size(),
                       operation.whole.value);
  }
  static constexpr const char* kLetters[] = {"x", "y"};
  std::vector<Token> sketch = {Token::Code(operation.info->code())};
  std::vector<std::string> values, meanings;
  for (std::size_t k = 0; k < operation.operands.size(); ++k) {
    const Part& operand = operation.operands[k];
    const Token& token = stream[operand.begin];
    const bool lone = operand.end - operand.begin == 1;
    const auto letter = static_cast<int>(meanings.size());
    sketch.push_back(lone ? token : Token::Variable(-1 - letter));
    if (lone && token.IsLiteral()) continue;
    const std::string shown = lone ? FormulaText({&token, 1}, name) : kLetters[letter];
    const std::string value = fmt::format("{} = {:.6g}", shown, operand.value);
    if (values.empty() || values.back() != value) values.push_back(value);
    if (lone) continue;
    const auto tokens = stream.subspan(operand.begin, operand.end - operand.begin);
    meanings.push_back(fmt::format("{} = {}", shown, FormulaText(tokens, name)));
  }
  values.insert(values.end(), meanings.begin(), meanings.end());
  const VariableName letter_or_name = [&](int place) {
    return place < 0 ? std::string(kLetters[-1 - place]) : name(place);
  };
  std::string text = FormulaText(sketch, letter_or_name);
  for (std::size_t k = 0; k < values.size(); ++k) text += (k == 0 ? " with " : ", ") + values[k];
  return text;
}

bool AllFinite(std::span<const Part> operands) {
  for (const Part& operand : operands) {
    if (!std::isfinite(operand.value)) return false;
  }
  return true;
}

bool SteepSomewhere(const Operation& operation) {
  if (operation.info == nullptr || operation.info->role != Role::kArithmetic) return false;
  for (std::size_t k = 0; k < operation.operands.size(); ++k) {
    if (!operation.operands[k].varies) continue;
    const double a = operation.operands[0].value;
    const double b = operation.operands.size() > 1 ? operation.operands[1].value : 0;
    if (!std::isfinite(
            DerivativeOf<double>(operation.info->op, static_cast<int>(k), a, b, operation.whole.value))) {
      return true;
    }
  }
  return false;
}

// The leftmost operation, which is the last visited, for which `guilty` holds.
std::optional<Undefined> FindLeftmost(std::span<const Token> stream, std::span<const double> x,
                                      const VariableName& name, const EvaluationContext& context,
                                      const std::function<bool(const Operation&)>& guilty) {
  std::optional<Undefined> found;
  std::vector<Part> operands;
  Operation cause{};
  Walk(stream, x, context.time, [&](const Operation& operation) {
    if (!guilty(operation)) return;
    operands.assign(operation.operands.begin(), operation.operands.end());
    cause = {operation.info, operands, operation.whole};
    found.emplace();
  });
  if (!found) return found;
  found->position = cause.whole.begin;
  found->op = cause.info;
  for (const Part& operand : operands) found->operands.push_back(operand.value);
  found->value = cause.whole.value;
  found->text = Describe(stream, cause, name);
  return found;
}

}  // namespace

std::optional<Undefined> FindUndefined(std::span<const Token> stream, std::span<const double> x,
                                       const VariableName& name, const EvaluationContext& context) {
  return FindLeftmost(stream, x, name, context, [](const Operation& operation) {
    return !std::isfinite(operation.whole.value) && AllFinite(operation.operands);
  });
}

std::optional<Undefined> FindUndefinedSlope(std::span<const Token> stream, std::span<const double> x,
                                            const VariableName& name, const EvaluationContext& context) {
  if (FindUndefined(stream, x, name, context)) return std::nullopt;
  std::optional<Undefined> found = FindLeftmost(stream, x, name, context, SteepSomewhere);
  if (found) found->text.insert(0, "the slope of ");
  return found;
}

}  // namespace quiver
