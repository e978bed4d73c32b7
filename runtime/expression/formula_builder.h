// SPDX-License-Identifier: Apache-2.0
// Builds straight-line formulas: equal subexpressions become one node, constants are folded, powers with a
// constant exponent become products and roots, and derivatives are appended by reverse accumulation.
//
//   FormulaBuilder builder;
//   int x = builder.Input(0);
//   int y = builder.Record(Operator::kMultiply, x, x);
//   std::vector<int> slopes;
//   builder.Differentiate(y, 1, slopes);     // {node of 2x}
//
// Every rewriting of a value is exact in floating point, except powers, which may differ from pow() by a few
// units in the last place. In derivatives 0 times anything is 0, so that what does not depend on x has no
// entry.
#pragma once

#include <cstdint>
#include <vector>

#include "runtime/expression/operators.h"

namespace quiver {

class FormulaBuilder {
 public:
  enum class Kind : std::uint8_t { kConstant, kParameter, kInput, kStep };
  struct Node {
    Kind kind;
    Operator op;                 // of a step
    bool is_fixed = false;       // depends on no input
    bool is_recorded = false;    // a step that Differentiate() follows
    int a = -1, b = -1, c = -1;  // operands of a step; a is the number of an input or parameter
    double value = 0;            // of a constant
    bool IsSame(const Node& other) const;
  };

  FormulaBuilder() = default;
  explicit FormulaBuilder(std::size_t expected_nodes) { Clear(expected_nodes); }
  // Forgets all formulas, but not its memory.
  void Clear(std::size_t expected_nodes);

  int Constant(double value);
  // A literal whose value is not known yet.
  int Parameter(int number);
  int Input(int number);
  // A step as it stands, without simplification. Equal steps are one node.
  int Step(Operator op, int a, int b = -1, int c = -1);
  // A step outside the differentiated formula.
  int Apply(Operator op, int a, int b = -1, int c = -1);
  // A step of the formula that Differentiate() follows. Lists are not steps: join their operands pairwise.
  int Record(Operator op, int a, int b = -1);
  // Appends the nodes of the derivatives of `root`, a result of Record, Input or Constant, by inputs 0 to inputs - 1.
  void Differentiate(int root, int inputs, std::vector<int>& slopes);

  const Node& node(int id) const { return nodes_[id]; }
  int size() const { return static_cast<int>(nodes_.size()); }
  bool IsConstant(int id) const { return id >= 0 && nodes_[id].kind == Kind::kConstant; }
  // Whether the node depends on no input.
  bool IsFixed(int id) const { return id >= 0 && nodes_[id].is_fixed; }
  bool IsConstant(int id, double value) const { return IsConstant(id) && nodes_[id].value == value; }

 private:
  struct Recorded {
    Operator op;
    int a, b, result;
  };

  int Intern(Node node);
  void GrowTable();
  int Simplified(Operator op, int a, int b);
  int ConstantPower(int base, double exponent);
  bool IsStep(int id, Operator op) const { return nodes_[id].kind == Kind::kStep && nodes_[id].op == op; }

  std::vector<Node> nodes_;  // operands before their steps
  std::vector<int> table_;   // the nodes by their hashes, at most half full; -1: free
  std::vector<Recorded> recorded_;
};

// A node as a number type, so that the formulas of operators.def write programs. A default builder is a
// constant.
class Term {
 public:
  Term(double constant) : constant_(constant) {}  // NOLINT: formulas mix terms and plain numbers
  Term(FormulaBuilder& builder, int node) : builder_(&builder), node_(node) {}

  int Node(FormulaBuilder& builder) const { return builder_ ? node_ : builder.Constant(constant_); }

  friend Term operator+(Term a, Term b) {
    if (a.IsZero()) return b;
    return b.IsZero() ? a : Step(Operator::kAdd, a, b);
  }
  friend Term operator-(Term a, Term b) { return b.IsZero() ? a : Step(Operator::kSubtract, a, b); }
  friend Term operator*(Term a, Term b) {
    return a.IsZero() || b.IsZero() ? Term(0.0) : Step(Operator::kMultiply, a, b);
  }
  friend Term operator/(Term a, Term b) { return a.IsZero() ? a : Step(Operator::kDivide, a, b); }
  friend Term operator-(Term a) { return Step(Operator::kNegate, a); }
  friend Term sin(Term a) { return Step(Operator::kSine, a); }
  friend Term cos(Term a) { return Step(Operator::kCosine, a); }
  friend Term Sign(Term a) { return Step(Operator::kSign, a); }
  friend Term TakesLarger(Term a, Term b) { return Step(Operator::kTakesLarger, a, b); }
  friend Term TakesSmaller(Term a, Term b) { return Step(Operator::kTakesSmaller, a, b); }
  friend Term PassIf(Term slope, Term taken) { return Step(Operator::kPassIf, slope, taken); }
  friend Term GuardedProduct(Term a, Term b) {
    return b.IsZero() ? b : Step(Operator::kGuardedProduct, a, b);
  }
  friend Term Larger(Term a, Term b) { return Step(Operator::kMaximum, a, b); }
  friend Term Smaller(Term a, Term b) { return Step(Operator::kMinimum, a, b); }
  friend Term Magnitude(Term a) { return Step(Operator::kAbsolute, a); }
  friend Term PowerByBase(Term a, Term b, Term v);
  friend Term PowerByExponent(Term a, Term b, Term v);

  bool IsZero() const { return builder_ ? builder_->IsConstant(node_, 0.0) : constant_ == 0; }

 private:
  static Term Step(Operator op, Term a);
  static Term Step(Operator op, Term a, Term b);

  FormulaBuilder* builder_ = nullptr;
  int node_ = -1;
  double constant_ = 0;
};

}  // namespace quiver
