// SPDX-License-Identifier: Apache-2.0
// Formulas as text, written from left to right in one pass over the tokens.
#include "runtime/expression/infix.h"

#include <fmt/format.h>

#include <vector>

#include "runtime/expression/operators.h"

namespace quiver {
namespace {

// The top of an equation: an infix operator looser than all others.
constexpr OperatorInfo kEquals{Operator::kSubtract, "Equals", Role::kComparison, 2, " = ", Precedence::kOr};

bool IsInfix(const OperatorInfo& info) { return info.arity == 2 && info.precedence != Precedence::kCall; }
bool IsCall(const OperatorInfo& info) { return info.precedence == Precedence::kCall && info.arity != 0; }

// Writes from left to right with a stack of open operators of its own, so that depth is no limit.
class Printer {
 public:
  Printer(std::span<const Token> tree, const VariableName& name) : tree_(tree), name_(name) {}

  std::string Formula() {
    for (const Token& token : tree_) Print(token);
    return std::move(text_);
  }

  // The difference at the top as an equation.
  std::string Difference() {
    open_.push_back({&kEquals});
    for (const Token& token : tree_.subspan(1)) Print(token);
    return std::move(text_);
  }

 private:
  struct Open {
    const OperatorInfo* info;
    int operands = 0;  // complete ones
    bool bracket = false;
  };

  void Print(const Token& token) {
    if (token.kind == Token::kOperator) {
      const OperatorInfo* info = FindOperator(token.index);
      if (info == nullptr) return;
      if (info->role == Role::kEndOfList) {
        Close();
        return;
      }
      StartOperand();
      const bool bracket = NeedsBrackets(*info);
      if (bracket) Write("(");
      if (info->role != Role::kResidual && !IsInfix(*info)) Write(info->text);
      if (IsCall(*info) && info->role != Role::kResidual) Write("(");
      open_.push_back({info, 0, bracket});
      if (info->arity == 0) Close();
      return;
    }
    StartOperand();
    std::string leaf = token.kind == Token::kVariable ? name_(token.index)
                       : token.kind == Token::kText   ? fmt::format("\"{}\"", token.text)
                                                      : LiteralText(token);
    const bool bracket = token.IsLiteral() && LiteralNeedsBrackets(leaf[0] == '-');
    Write(bracket ? "(" + leaf + ")" : leaf);
    CompleteOperand();
  }

  void StartOperand() {
    if (open_.empty() || open_.back().operands == 0) return;
    const OperatorInfo& info = *open_.back().info;
    Write(IsInfix(info) ? info.text : ", ");
    after_arithmetic_ = IsInfix(info) && info.role == Role::kArithmetic;
  }

  bool NeedsBrackets(const OperatorInfo& child) const {
    if (open_.empty() || child.precedence == Precedence::kCall) return false;
    const OperatorInfo& parent = *open_.back().info;
    if (parent.op == Operator::kNegate) return true;
    if (!IsInfix(parent) || &parent == &kEquals) return false;
    if (child.op == Operator::kNegate) return after_arithmetic_ || parent.precedence == Precedence::kRaising;
    const bool as_tight = child.precedence == parent.precedence;
    const bool right = open_.back().operands == 1;
    return child.precedence < parent.precedence ||
           (as_tight && (right || parent.precedence == Precedence::kRaising));
  }

  // -2^x would read as -(2^x), a - -2 badly, and -(2) must not become the literal -2.
  bool LiteralNeedsBrackets(bool negative) const {
    if (open_.empty()) return false;
    const OperatorInfo& parent = *open_.back().info;
    if (parent.op == Operator::kNegate) return true;
    return negative && (after_arithmetic_ || parent.precedence == Precedence::kRaising);
  }

  void CompleteOperand() {
    while (!open_.empty()) {
      Open& top = open_.back();
      ++top.operands;
      if (top.info->arity == OperatorInfo::kAnyNumber || top.operands < top.info->arity) return;
      CloseTop();
    }
  }

  void Close() {  // a list, or an operator without operands
    if (open_.empty()) return;
    CloseTop();
    CompleteOperand();
  }

  void CloseTop() {
    const Open top = open_.back();
    open_.pop_back();
    if (IsCall(*top.info) && top.info->role != Role::kResidual) Write(")");
    if (top.bracket) Write(")");
  }

  void Write(std::string_view piece) {
    text_ += piece;
    after_arithmetic_ = false;
  }

  std::span<const Token> tree_;
  const VariableName& name_;
  std::string text_;
  std::vector<Open> open_;
  bool after_arithmetic_ = false;  // the last piece was + - * / or ^
};

bool IsCode(const Token& token, Operator op) {
  return token.kind == Token::kOperator && token.index == static_cast<int>(op);
}

bool IsVariableOrList(std::span<const Token> tree) {
  if (tree.size() == 1) return tree[0].kind == Token::kVariable;
  const OperatorInfo* info = tree[0].kind == Token::kOperator ? FindOperator(tree[0].index) : nullptr;
  return info != nullptr && info->role == Role::kList;
}

}  // namespace

EquationForm FormOf(std::span<const Token> stream) {
  if (!stream.empty() && IsCode(stream[0], Operator::kSubtract)) return EquationForm::kDifference;
  if (stream.size() >= 3 && IsCode(stream[0], Operator::kAdd) && stream[1].IsLiteral() &&
      IsVariableOrList(stream.subspan(2)))
    return EquationForm::kValue;
  return EquationForm::kZero;
}

std::string FormulaText(std::span<const Token> tree, const VariableName& name) {
  return Printer(tree, name).Formula();
}

std::string EquationText(std::span<const Token> stream, const VariableName& name) {
  if (stream.empty()) return "";
  switch (FormOf(stream)) {
    case EquationForm::kDifference:
      return Printer(stream, name).Difference();
    case EquationForm::kValue:
      return fmt::format("{} = {}", FormulaText(stream.subspan(2), name), 0.0 - stream[1].real);
    case EquationForm::kZero:
      break;
  }
  return FormulaText(stream, name) + " = 0";
}

std::string StreamText(std::span<const Token> stream, const VariableName& name) {
  std::string text;
  for (const Token& token : stream) {
    if (!text.empty()) text += ' ';
    switch (token.kind) {
      case Token::kOperator:
        text += std::to_string(token.index);
        break;
      case Token::kVariable:
        text += name(token.index);
        break;
      case Token::kText:
        text += fmt::format("\"{}\"", token.text ? token.text : "");
        break;
      case Token::kInteger:
        text += "int ";
        [[fallthrough]];
      default:
        text += LiteralText(token);
    }
  }
  return text;
}

std::string LiteralText(const Token& literal) {
  if (literal.kind == Token::kInteger) return std::to_string(literal.index);
  std::string text = fmt::format("{}", literal.real);
  if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
  return text;
}

}  // namespace quiver
