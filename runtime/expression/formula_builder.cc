// SPDX-License-Identifier: Apache-2.0
// Value numbering, simplification and reverse accumulation.
#include "runtime/expression/formula_builder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>
#include <utility>

namespace quiver {
namespace {

// Integer and half-integer exponents up to this size become products and roots: at most 6 multiplications
// instead of a call of pow.
constexpr double kLargestUnrolledExponent = 16;

std::uint64_t Mix(std::uint64_t hash, std::uint64_t word) {
  hash = (hash ^ word) * 0x9E3779B97F4A7C15u;
  return hash ^ (hash >> 29);
}

std::uint64_t HashOf(const FormulaBuilder::Node& node) {
  const std::uint64_t hash =
      Mix(static_cast<std::uint64_t>(node.kind) << 8 | static_cast<std::uint64_t>(node.op),
          std::bit_cast<std::uint64_t>(node.value));
  return Mix(hash, static_cast<std::uint64_t>(static_cast<std::uint32_t>(node.a)) * 0xD6E8FEB86659FD93u ^
                       static_cast<std::uint64_t>(static_cast<std::uint32_t>(node.b)) << 32 ^
                       static_cast<std::uint32_t>(node.c));
}

}  // namespace

void FormulaBuilder::Clear(std::size_t expected_nodes) {
  nodes_.clear();
  nodes_.reserve(expected_nodes);
  recorded_.clear();
  recorded_.reserve(expected_nodes / 4);
  table_.assign(std::bit_ceil(2 * expected_nodes + 2), -1);
}

bool FormulaBuilder::Node::IsSame(const Node& other) const {
  // One jump instead of six.
  const auto differ = [](auto x, auto y) {
    return static_cast<std::uint64_t>(x) ^ static_cast<std::uint64_t>(y);
  };
  return (differ(kind, other.kind) | differ(op, other.op) | differ(a, other.a) | differ(b, other.b) |
          differ(c, other.c) |
          differ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(other.value))) == 0;
}

int FormulaBuilder::Intern(Node node) {
  if (2 * nodes_.size() >= table_.size()) GrowTable();
  const std::size_t mask = table_.size() - 1;
  std::size_t at = HashOf(node) & mask;
  for (; table_[at] >= 0; at = (at + 1) & mask)
    if (nodes_[table_[at]].IsSame(node)) return table_[at];
  table_[at] = size();
  const bool leaf = node.kind != Kind::kStep;
  auto fixed = [this](int operand) { return operand < 0 || nodes_[operand].is_fixed; };
  node.is_fixed = leaf ? node.kind != Kind::kInput : fixed(node.a) && fixed(node.b) && fixed(node.c);
  nodes_.push_back(node);
  return table_[at];
}

void FormulaBuilder::GrowTable() {
  table_.assign(std::max<std::size_t>(64, 2 * table_.size()), -1);
  const std::size_t mask = table_.size() - 1;
  for (int id = 0; id < size(); ++id) {
    std::size_t at = HashOf(nodes_[id]) & mask;
    while (table_[at] >= 0) at = (at + 1) & mask;
    table_[at] = id;
  }
}

int FormulaBuilder::Constant(double value) {
  return Intern({.kind = Kind::kConstant, .op = Operator::kEndOfList, .value = value});
}

int FormulaBuilder::Parameter(int number) {
  return Intern({.kind = Kind::kParameter, .op = Operator::kEndOfList, .a = number});
}

int FormulaBuilder::Input(int number) {
  return Intern({.kind = Kind::kInput, .op = Operator::kEndOfList, .a = number});
}

int FormulaBuilder::Step(Operator op, int a, int b, int c) {
  // Sums and products do not depend on the order of two operands, so both orders are one node.
  if ((op == Operator::kAdd || op == Operator::kMultiply) && a > b) std::swap(a, b);
  return Intern({.kind = Kind::kStep, .op = op, .a = a, .b = b, .c = c});
}

int FormulaBuilder::Apply(Operator op, int a, int b, int c) {
  const bool all_constant = IsConstant(a) && (b < 0 || IsConstant(b)) && (c < 0 || IsConstant(c));
  if (all_constant) {
    auto value = [&](int id) { return id < 0 ? 0.0 : nodes_[id].value; };
    return Constant(ValueOf<double>(op, value(a), value(b), value(c)));
  }
  if (const int simpler = Simplified(op, a, b); simpler >= 0) return simpler;
  return Step(op, a, b, c);
}

// A node that equals the step, or -1. Signs move outwards, where sums absorb them.
int FormulaBuilder::Simplified(Operator op, int a, int b) {
  auto negated = [this](int id) { return IsStep(id, Operator::kNegate) ? nodes_[id].a : -1; };
  switch (op) {
    case Operator::kNegate:
      return negated(a);
    case Operator::kAdd:
      if (negated(b) >= 0) return Apply(Operator::kSubtract, a, negated(b));
      if (negated(a) >= 0) return Apply(Operator::kSubtract, b, negated(a));
      return -1;
    case Operator::kSubtract:
      if (negated(b) >= 0) return Apply(Operator::kAdd, a, negated(b));
      return IsConstant(b, 0) ? a : -1;
    case Operator::kMultiply:
      if (IsConstant(a)) std::swap(a, b);
      if (IsConstant(b, 1)) return a;
      if (IsConstant(b, -1)) return Apply(Operator::kNegate, a);
      if (negated(a) >= 0) return Apply(Operator::kNegate, Apply(Operator::kMultiply, negated(a), b));
      if (negated(b) >= 0) return Apply(Operator::kNegate, Apply(Operator::kMultiply, a, negated(b)));
      return a == b ? Apply(Operator::kSquare, a) : -1;
    case Operator::kDivide:
      if (IsConstant(b, 1)) return a;
      if (negated(a) >= 0) return Apply(Operator::kNegate, Apply(Operator::kDivide, negated(a), b));
      return -1;
    case Operator::kPassIf:
      return IsConstant(a, 1) ? b : IsConstant(b, 1) ? a : -1;
    case Operator::kGuardedProduct: {
      // Only what may be infinite needs the guard.
      const auto finite = [this](int id) {
        return IsFixed(id) && (!IsConstant(id) || std::isfinite(nodes_[id].value));
      };
      return finite(a) || finite(b) ? Apply(Operator::kMultiply, a, b) : -1;
    }
    case Operator::kPower:
      return IsConstant(b) ? ConstantPower(a, nodes_[b].value) : -1;
    default:
      return -1;
  }
}

// base^exponent as products, a root and a reciprocal; -1 where pow has to do it.
int FormulaBuilder::ConstantPower(int base, double exponent) {
  if (exponent == 0) return Constant(1);
  if (exponent == 1) return base;
  const double size = std::fabs(exponent);
  if (size > kLargestUnrolledExponent || size * 2 != std::floor(size * 2)) return -1;
  if (exponent < 0)
    return Apply(Operator::kDivide, Constant(1), Apply(Operator::kPower, base, Constant(size)));
  if (exponent == 0.5) return Apply(Operator::kSquareRoot, base);
  int result = size == std::floor(size) ? -1 : Apply(Operator::kSquareRoot, base);
  int square = base;  // base^1, ^2, ^4, ...
  for (int rest = static_cast<int>(size); rest != 0; rest /= 2) {
    if (rest % 2 == 1) result = result < 0 ? square : Apply(Operator::kMultiply, result, square);
    if (rest > 1) square = Apply(Operator::kSquare, square);
  }
  return result;
}

int FormulaBuilder::Record(Operator op, int a, int b) {
  const int result = Apply(op, a, b);
  // A result that was there already is an operand itself (x*1) or the same formula again: in both cases its
  // derivatives are recorded, and a second record would count them twice.
  if (nodes_[result].kind == Kind::kStep && !nodes_[result].is_recorded) {
    nodes_[result].is_recorded = true;
    recorded_.push_back({op, a, b, result});
  }
  return result;
}

void FormulaBuilder::Differentiate(int root, int inputs, std::vector<int>& slopes) {
  struct Adjoint {
    Term slope{0.0};      // d root / d node
    bool guarded = true;  // reached only through operands of max and min
  };
  std::vector<Adjoint> adjoint(nodes_.size());
  adjoint[root] = {Term(1.0), false};
  for (auto step = recorded_.rbegin(); step != recorded_.rend(); ++step) {
    const Adjoint outer = adjoint[step->result];
    if (outer.slope.IsZero()) continue;
    const Term a(*this, step->a), b = step->b < 0 ? Term(0) : Term(*this, step->b), v(*this, step->result);
    const bool chooses = step->op == Operator::kMaximum || step->op == Operator::kMinimum;
    for (int operand = 0; operand < 2; ++operand) {
      const int target = operand == 0 ? step->a : step->b;
      if (target < 0 || IsFixed(target)) continue;
      const Term inner = DerivativeOf<Term>(step->op, operand, a, b, v);
      Adjoint& sum = adjoint[target];
      sum.slope = sum.slope + (chooses         ? PassIf(outer.slope, inner)
                               : outer.guarded ? GuardedProduct(outer.slope, inner)
                                               : outer.slope * inner);
      sum.guarded = sum.guarded && (chooses || outer.guarded);
    }
  }
  const std::size_t first = slopes.size();
  slopes.resize(first + static_cast<std::size_t>(inputs), -1);
  for (int id = 0; id < static_cast<int>(adjoint.size()); ++id) {
    if (nodes_[id].kind == Kind::kInput && nodes_[id].a < inputs)
      slopes[first + static_cast<std::size_t>(nodes_[id].a)] = adjoint[id].slope.Node(*this);
  }
  for (int& slope : std::span(slopes).subspan(first)) {
    if (slope < 0) slope = Constant(0);
  }
}

Term Term::Step(Operator op, Term a) {
  if (a.builder_ == nullptr) return ValueOf<double>(op, a.constant_);
  return Term(*a.builder_, a.builder_->Apply(op, a.node_));
}

Term Term::Step(Operator op, Term a, Term b) {
  FormulaBuilder* builder = a.builder_ ? a.builder_ : b.builder_;
  if (builder == nullptr) return ValueOf<double>(op, a.constant_, b.constant_);
  const int left = a.Node(*builder);
  return Term(*builder, builder->Apply(op, left, b.Node(*builder)));
}

Term PowerByBase(Term a, Term b, Term v) {
  FormulaBuilder& builder = *v.builder_;
  const int exponent = b.Node(builder);
  if (builder.IsConstant(exponent)) {
    return b * Term::Step(Operator::kPower, a, Term(builder.node(exponent).value - 1));
  }
  return Term(builder, builder.Apply(Operator::kPowerByBase, a.Node(builder), exponent, v.node_));
}

// v ln(a), but 0 where v is: at a == 0 the logarithm is infinite. Powers of one base share the logarithm.
Term PowerByExponent(Term a, Term, Term v) {
  FormulaBuilder& builder = *v.builder_;
  const int log = builder.Apply(Operator::kNaturalLogarithm, a.Node(builder));
  // Not simplified: the guard is needed although the logarithm of a constant 0 is known.
  return Term(builder, builder.Step(Operator::kGuardedProduct, v.node_, log));
}

}  // namespace quiver
