// SPDX-License-Identifier: Apache-2.0
// Formulas as the .nl format knows them: trees of its operators over numbers and numbered variables. Known operands are
// folded while a tree is built, so that what does not depend on an unknown is a number.
//
//   NlFormula x = NlFormula::Variable(0);
//   NlFormula y = If(x >= 1e-10, Sqrt(x), 2 * x);      // o35 o28 v0 n1e-10 o39 v0 o2 n2 v0
//
// Comparisons and If take part like any operator; a condition is 1 or 0.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace quiver {

// The format's operator codes (D. M. Gay, Writing .nl Files, 2005, tables 9 and 10).
enum class NlOperator : int {
  kAdd = 0,
  kSubtract = 1,
  kMultiply = 2,
  kDivide = 3,
  kPower = 5,
  kMinimum = 11,  // lists: their length precedes the operands
  kMaximum = 12,
  kAbsolute = 15,
  kNegate = 16,
  kOr = 20,
  kAnd = 21,
  kLess = 22,
  kLessOrEqual = 23,
  kEqual = 24,
  kGreaterOrEqual = 28,
  kGreater = 29,
  kNotEqual = 30,
  kIf = 35,
  kTanh = 37,
  kSqrt = 39,
  kSin = 41,
  kLog10 = 42,
  kLog = 43,
  kExp = 44,
  kCos = 46,
  kSum = 54,  // list of at least three
};

class NlFormula {
 public:
  enum Kind { kNumber, kVariable, kOperation };

  NlFormula(double value);  // implicit: numbers stand in formulas as they are
  static NlFormula Variable(int number);
  static NlFormula Apply(NlOperator op, std::vector<NlFormula> operands);

  Kind kind() const { return node_->kind; }
  double value() const { return node_->value; }
  int variable() const { return node_->variable; }
  NlOperator op() const { return node_->op; }
  std::span<const NlFormula> operands() const { return node_->operands; }
  bool IsNumber() const { return kind() == kNumber; }
  bool IsNumber(double value) const { return IsNumber() && node_->value == value; }

 private:
  struct Node {
    Kind kind = kNumber;
    NlOperator op = NlOperator::kAdd;
    int variable = 0;
    double value = 0;
    std::vector<NlFormula> operands;
  };
  explicit NlFormula(std::shared_ptr<const Node> node) : node_(std::move(node)) {}
  std::shared_ptr<const Node> node_;
};

bool TakesList(NlOperator op);

NlFormula operator+(const NlFormula& a, const NlFormula& b);
NlFormula operator-(const NlFormula& a, const NlFormula& b);
NlFormula operator*(const NlFormula& a, const NlFormula& b);
NlFormula operator/(const NlFormula& a, const NlFormula& b);
NlFormula operator-(const NlFormula& a);
NlFormula operator>=(const NlFormula& a, const NlFormula& b);
NlFormula operator<=(const NlFormula& a, const NlFormula& b);
NlFormula operator<(const NlFormula& a, const NlFormula& b);
NlFormula operator&&(const NlFormula& a, const NlFormula& b);
NlFormula Sqrt(const NlFormula& a);
NlFormula Exp(const NlFormula& a);
NlFormula Log(const NlFormula& a);
NlFormula Abs(const NlFormula& a);
NlFormula Min(std::vector<NlFormula> of);
NlFormula Max(std::vector<NlFormula> of);
NlFormula Sum(std::vector<NlFormula> of);
NlFormula If(const NlFormula& condition, const NlFormula& then, const NlFormula& otherwise);

// A formula taken apart: constant + sum of coefficients * variables + rest.
struct LinearTerm {
  int variable;
  double coefficient;
};
struct SplitFormula {
  double constant = 0;
  std::vector<LinearTerm> linear;  // by variable, ascending; each once
  NlFormula rest = 0.0;            // 0 where the formula is linear
};
SplitFormula Split(const NlFormula& formula);

// The variables of a formula, ascending, each once.
std::vector<int> VariablesOf(const NlFormula& formula);

}  // namespace quiver
