// SPDX-License-Identifier: Apache-2.0
#include "runtime/export/nl_formula.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace quiver {
namespace {

double ValueOf(NlOperator op, std::span<const NlFormula> operands) {
  const double a = operands[0].value(), b = operands.size() > 1 ? operands[1].value() : 0;
  double value = a;
  switch (op) {
    case NlOperator::kAdd:
      return a + b;
    case NlOperator::kSubtract:
      return a - b;
    case NlOperator::kMultiply:
      return a * b;
    case NlOperator::kDivide:
      return a / b;
    case NlOperator::kPower:
      return std::pow(a, b);
    case NlOperator::kMinimum:
      for (const NlFormula& one : operands.subspan(1)) value = std::min(value, one.value());
      return value;
    case NlOperator::kMaximum:
      for (const NlFormula& one : operands.subspan(1)) value = std::max(value, one.value());
      return value;
    case NlOperator::kAbsolute:
      return std::abs(a);
    case NlOperator::kNegate:
      return -a;
    case NlOperator::kOr:
      return a != 0 || b != 0;
    case NlOperator::kAnd:
      return a != 0 && b != 0;
    case NlOperator::kLess:
      return a < b;
    case NlOperator::kLessOrEqual:
      return a <= b;
    case NlOperator::kEqual:
      return a == b;
    case NlOperator::kGreaterOrEqual:
      return a >= b;
    case NlOperator::kGreater:
      return a > b;
    case NlOperator::kNotEqual:
      return a != b;
    case NlOperator::kIf:
      break;  // chosen by Apply
    case NlOperator::kTanh:
      return std::tanh(a);
    case NlOperator::kSqrt:
      return std::sqrt(a);
    case NlOperator::kSin:
      return std::sin(a);
    case NlOperator::kLog10:
      return std::log10(a);
    case NlOperator::kLog:
      return std::log(a);
    case NlOperator::kExp:
      return std::exp(a);
    case NlOperator::kCos:
      return std::cos(a);
    case NlOperator::kSum:
      for (const NlFormula& one : operands.subspan(1)) value += one.value();
      return value;
  }
  return std::nan("");
}

NlFormula List(NlOperator op, std::vector<NlFormula> of) {
  return of.size() == 1 ? of[0] : NlFormula::Apply(op, std::move(of));
}

// Adds `factor` times the formula.
void SplitInto(const NlFormula& formula, double factor, SplitFormula& split, std::map<int, double>& linear) {
  if (formula.kind() == NlFormula::kNumber) {
    split.constant += factor * formula.value();
    return;
  }
  if (formula.kind() == NlFormula::kVariable) {
    linear[formula.variable()] += factor;
    return;
  }
  const auto of = formula.operands();
  switch (formula.op()) {
    case NlOperator::kAdd:
    case NlOperator::kSum:
      for (const NlFormula& one : of) SplitInto(one, factor, split, linear);
      return;
    case NlOperator::kSubtract:
      SplitInto(of[0], factor, split, linear);
      return SplitInto(of[1], -factor, split, linear);
    case NlOperator::kNegate:
      return SplitInto(of[0], -factor, split, linear);
    case NlOperator::kMultiply:
      if (of[0].IsNumber()) return SplitInto(of[1], factor * of[0].value(), split, linear);
      if (of[1].IsNumber()) return SplitInto(of[0], factor * of[1].value(), split, linear);
      break;
    case NlOperator::kDivide:
      if (of[1].IsNumber()) return SplitInto(of[0], factor / of[1].value(), split, linear);
      break;
    default:
      break;
  }
  const NlFormula term = factor == 1 ? formula : factor == -1 ? -formula : factor * formula;
  split.rest = split.rest.IsNumber(0) ? term : split.rest + term;
}

void Collect(const NlFormula& formula, std::set<int>& variables) {
  if (formula.kind() == NlFormula::kVariable) variables.insert(formula.variable());
  for (const NlFormula& one : formula.operands()) Collect(one, variables);
}

}  // namespace

bool TakesList(NlOperator op) {
  return op == NlOperator::kMinimum || op == NlOperator::kMaximum || op == NlOperator::kSum;
}

NlFormula::NlFormula(double value) {
  auto node = std::make_shared<Node>();
  node->value = value;
  node_ = std::move(node);
}

NlFormula NlFormula::Variable(int number) {
  auto node = std::make_shared<Node>();
  node->kind = kVariable;
  node->variable = number;
  return NlFormula(std::shared_ptr<const Node>(std::move(node)));
}

NlFormula NlFormula::Apply(NlOperator op, std::vector<NlFormula> operands) {
  if (op == NlOperator::kIf && operands[0].IsNumber()) return operands[operands[0].value() != 0 ? 1 : 2];
  if (op != NlOperator::kIf &&
      std::all_of(operands.begin(), operands.end(), [](const NlFormula& one) { return one.IsNumber(); }))
    return NlFormula(ValueOf(op, operands));
  // A sum of two is an addition.
  if (op == NlOperator::kSum && operands.size() == 2) op = NlOperator::kAdd;
  auto node = std::make_shared<Node>();
  node->kind = kOperation;
  node->op = op;
  node->operands = std::move(operands);
  return NlFormula(std::shared_ptr<const Node>(std::move(node)));
}

NlFormula operator+(const NlFormula& a, const NlFormula& b) {
  return NlFormula::Apply(NlOperator::kAdd, {a, b});
}
NlFormula operator-(const NlFormula& a, const NlFormula& b) {
  return NlFormula::Apply(NlOperator::kSubtract, {a, b});
}
NlFormula operator*(const NlFormula& a, const NlFormula& b) {
  return NlFormula::Apply(NlOperator::kMultiply, {a, b});
}
NlFormula operator/(const NlFormula& a, const NlFormula& b) {
  return NlFormula::Apply(NlOperator::kDivide, {a, b});
}
NlFormula operator-(const NlFormula& a) { return NlFormula::Apply(NlOperator::kNegate, {a}); }
NlFormula operator>=(const NlFormula& a, const NlFormula& b) {
  return NlFormula::Apply(NlOperator::kGreaterOrEqual, {a, b});
}
NlFormula operator<=(const NlFormula& a, const NlFormula& b) {
  return NlFormula::Apply(NlOperator::kLessOrEqual, {a, b});
}
NlFormula operator<(const NlFormula& a, const NlFormula& b) {
  return NlFormula::Apply(NlOperator::kLess, {a, b});
}
NlFormula operator&&(const NlFormula& a, const NlFormula& b) {
  return NlFormula::Apply(NlOperator::kAnd, {a, b});
}
NlFormula Sqrt(const NlFormula& a) { return NlFormula::Apply(NlOperator::kSqrt, {a}); }
NlFormula Exp(const NlFormula& a) { return NlFormula::Apply(NlOperator::kExp, {a}); }
NlFormula Log(const NlFormula& a) { return NlFormula::Apply(NlOperator::kLog, {a}); }
NlFormula Abs(const NlFormula& a) { return NlFormula::Apply(NlOperator::kAbsolute, {a}); }
NlFormula Min(std::vector<NlFormula> of) { return List(NlOperator::kMinimum, std::move(of)); }
NlFormula Max(std::vector<NlFormula> of) { return List(NlOperator::kMaximum, std::move(of)); }
NlFormula Sum(std::vector<NlFormula> of) {
  return of.empty() ? NlFormula(0.0) : List(NlOperator::kSum, std::move(of));
}
NlFormula If(const NlFormula& condition, const NlFormula& then, const NlFormula& otherwise) {
  return NlFormula::Apply(NlOperator::kIf, {condition, then, otherwise});
}

SplitFormula Split(const NlFormula& formula) {
  SplitFormula split;
  std::map<int, double> linear;
  SplitInto(formula, 1, split, linear);
  for (const auto& [variable, coefficient] : linear) split.linear.push_back({variable, coefficient});
  return split;
}

std::vector<int> VariablesOf(const NlFormula& formula) {
  std::set<int> variables;
  Collect(formula, variables);
  return {variables.begin(), variables.end()};
}

}  // namespace quiver
