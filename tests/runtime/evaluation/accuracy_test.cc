// SPDX-License-Identifier: Apache-2.0
// Jacobian entries against extended precision: forward differentiation of the tree, operator by operator, in x87 numbers.
// Equations are evaluated both ways: once on a tape, and as copies in a batch.
#include <gtest/gtest.h>

#include "runtime/evaluation/system_evaluator.h"
#include "runtime/expression/infix.h"
#include "tests/runtime/expression/trees.h"

namespace quiver {
namespace {

template <class T>
struct Dual {
  T value, slope = 0;
  T size = 0;  // of what was added up to the slope: a sum that cancels has no more digits than its terms
  bool defined = true;  // nothing on the way was infinite
};

template <class T>
Dual<T> Join(Operator op, Dual<T> a, Dual<T> b) {
  Dual<T> result{ValueOf<T>(op, a.value, b.value)};
  // The operand that is not taken adds nothing, however steep it is.
  if (op == Operator::kMaximum) return a.value >= b.value || std::isnan(a.value) ? a : b;
  if (op == Operator::kMinimum) return a.value <= b.value || std::isnan(a.value) ? a : b;
  for (const auto& [operand, which] : {std::pair{a, 0}, std::pair{b, 1}}) {
    if (!operand.defined) result.defined = false;
    const T outer = DerivativeOf<T>(op, which, a.value, b.value, result.value);
    if (!std::isfinite(outer) || !std::isfinite(result.value)) result.defined = false;
    result.slope += outer * operand.slope;
    result.size += std::fabs(outer) * operand.size;
  }
  return result;
}

template <class T>
Dual<T> Differentiate(const Token*& next, const std::vector<double>& x, int by) {
  const Token& token = *next++;
  if (token.kind == Token::kVariable) {
    const T slope = token.index == by ? 1 : 0;
    return {x[static_cast<std::size_t>(token.index)], slope, slope};
  }
  if (token.kind != Token::kOperator) return {token.real};
  const OperatorInfo& info = *FindOperator(token.index);
  if (info.arity == 0) return {0};
  if (info.role != Role::kList) {
    const Dual<T> a = Differentiate<T>(next, x, by);
    return Join<T>(info.op, a, info.arity == 2 ? Differentiate<T>(next, x, by) : Dual<T>{0});
  }
  Dual<T> joined{info.empty_value};
  for (bool first = true; next->kind != Token::kOperator || next->index != 0; first = false) {
    const Dual<T> operand = Differentiate<T>(next, x, by);
    joined = first ? operand : Join<T>(info.joins, joined, operand);
  }
  ++next;
  return joined;
}

// The gradient of one equation, evaluated `copies` times over.
std::vector<double> Gradient(const Stream& stream, const std::vector<double>& x, int copies,
                             std::vector<int>& gather) {
  ShapeStore shapes;
  std::vector<int> shape_of, gathers;
  for (int i = 0; i < copies; ++i) shape_of.push_back(shapes.Intern(stream, gathers));
  gather.assign(gathers.begin(), gathers.begin() + shapes[0].variable_count);
  SystemEvaluator evaluator({&shapes, shape_of, gathers, {}});
  std::vector<double> residuals(shape_of.size()), entries(static_cast<std::size_t>(evaluator.EntryCount()));
  evaluator.WriteConstantEntries(entries.data());
  evaluator.Evaluate(x.data(), residuals.data(), entries.data());
  return {entries.end() - shapes[0].variable_count, entries.end()};
}

TEST(Accuracy, entries_lie_within_1e_12_of_extended_precision) {
  constexpr int kVariables = 5;
  RandomTrees random(21, kVariables);
  int compared = 0, ill_conditioned = 0;
  for (int trial = 0; trial < 8000; ++trial) {
    const Stream stream = random.Number(1 + trial % 6);
    // Every third point lies on kinks: equal variables, zeros and ones.
    std::vector<double> x = random.Point(kVariables, 0.2, 2.5);
    if (trial % 3 == 0)
      for (double& value : x) value = random.Below(3) * 0.5;
    std::vector<int> gather;
    const std::vector<double> gradient = Gradient(stream, x, trial % 2 ? 1 : 20, gather);
    for (std::size_t k = 0; k < gather.size(); ++k) {
      const Token* next = stream.data();
      const auto exact = Differentiate<long double>(next, x, gather[k]);
      if (!exact.defined || exact.size > 1e100L) continue;
      next = stream.data();
      const auto rounded = Differentiate<double>(next, x, gather[k]);
      const long double allowed = 1e-12L * exact.size;
      // Where plain double arithmetic loses more, the values themselves cancel and no order of steps could do better.
      if (!(std::fabs(rounded.slope - exact.slope) <= 0.1L * allowed)) {
        ++ill_conditioned;
        continue;
      }
      ASSERT_NEAR(gradient[k], exact.slope, allowed) << FormulaText(stream, NumberedX) << " by " << gather[k];
      ++compared;
    }
  }
  EXPECT_GT(compared, 6500);
  EXPECT_LT(ill_conditioned, compared / 20);
}

// The values that docs/evaluation.md states, alone and in a batch.
TEST(Accuracy, entries_at_kinks) {
  const double infinity = std::numeric_limits<double>::infinity();
  struct Case {
    const char* stream;
    std::vector<double> x, slopes;
  };
  const Case cases[] = {
      {"39 X", {0}, {1}},
      {"98 X Y", {2, 2}, {1, 0}},
      {"99 X Y", {2, 2}, {1, 0}},
      {"98 Y 2.0", {2}, {1}},
      {"46 X Y Z 0", {1, 3, 3}, {0, 1, 0}},
      {"35 X", {0}, {infinity}},
      {"98 X 35 Y", {1, 0}, {1, 0}},
      {"24 X Y", {0, 2}, {0, 0}},
      {"24 X Y", {0, 1}, {1, 0}},
      {"24 X Y", {0, 0.5}, {infinity, 0}},
      {"24 X 1.0", {0}, {1}},
      {"24 X 0.5", {0}, {infinity}},
  };
  for (const auto& [text, x, slopes] : cases) {
    for (const int copies : {1, 20}) {
      Names names;
      std::vector<int> gather;
      EXPECT_EQ(Gradient(Read(text, names), x, copies, gather), slopes) << text << ", copies: " << copies;
    }
  }
}

}  // namespace
}  // namespace quiver
