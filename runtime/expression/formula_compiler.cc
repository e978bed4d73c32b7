// SPDX-License-Identifier: Apache-2.0
#include "runtime/expression/formula_compiler.h"

#include <limits>
#include <utility>

namespace quiver {

// Turns the tree into formulas: from right to left, so that an operator finds its operands on a stack, the
// first on top, at any depth. For a condition two results grow side by side: whether it holds, and its
// margin.
FormulaCompiler::Result FormulaCompiler::Translate(std::span<const ShapeWord> words) {
  for (std::size_t i = words.size(); i-- > 0;) stack_.push_back(Read(words[i]));
  return Pop();
}

FormulaCompiler::Result FormulaCompiler::Read(ShapeWord word) {
  switch (word.kind()) {
    case ShapeWord::kVariable:
      return {builder_.Input(word.index())};
    case ShapeWord::kTruth: {
      const double never = word.index() ? 1 : -1;
      return {builder_.Constant(word.index()),
              builder_.Constant(never * std::numeric_limits<double>::infinity())};
    }
    case ShapeWord::kParameter:
      return {builder_.Parameter(word.index())};
    case ShapeWord::kOperator:
      return Join(*FindOperator(word.index()));
    default:
      return {builder_.Constant(word.literal())};
  }
}

FormulaCompiler::Result FormulaCompiler::Join(const OperatorInfo& info) {
  switch (info.role) {
    case Role::kEndOfList:
      return {};
    case Role::kList:
      return {JoinList(info)};
    case Role::kResidual:
      return Pop();
    case Role::kArithmetic: {
      if (info.arity == 0) return {builder_.Input(time_)};
      const int a = Pop().value;
      return {builder_.Record(info.op, a, info.arity == 2 ? Pop().value : -1)};
    }
    default:
      break;
  }
  const Result a = Pop(), b = Pop();
  auto term = [this](int node) { return Term(builder_, node); };
  const Term margin = info.role == Role::kComparison
                          ? MarginOf<Term>(info.op, term(a.value), term(b.value))
                          : MarginOf<Term>(info.op, term(a.margin), term(b.margin));
  return {builder_.Apply(info.op, a.value, b.value), margin.Node(builder_)};
}

int FormulaCompiler::JoinList(const OperatorInfo& info) {
  int joined = Pop().value;
  if (joined == kEndOfList) return builder_.Constant(info.empty_value);
  for (int next = Pop().value; next != kEndOfList; next = Pop().value) {
    joined = builder_.Record(info.joins, joined, next);
  }
  return joined;
}

FormulaCompiler::Result FormulaCompiler::Pop() {
  const Result top = stack_.back();
  stack_.pop_back();
  return top;
}

ShapePrograms FormulaCompiler::Compile(std::span<const ShapeWord> words, int variables) {
  constexpr std::size_t kNodesOfAWord = 4;  // with derivatives, as models go
  builder_.Clear(kNodesOfAWord * words.size());
  plan_.Clear();
  time_ = variables;
  const Result root = Translate(words);
  const bool is_condition = root.margin >= 0;
  results_.assign(1, root.value);
  if (is_condition) {
    results_.push_back(root.margin);
  } else {
    builder_.Differentiate(root.value, variables, results_);
  }

  ShapePrograms programs;
  plan_.Need(builder_, results_);
  programs.constants = plan_.constants();
  const std::span<const int> all = results_;
  if (is_condition) {
    programs.value = extractor_.Extract(builder_, plan_, all.first(1), variables);
    programs.margin = extractor_.Extract(builder_, plan_, all.last(1), variables);
    return programs;
  }
  programs.gradient = extractor_.Extract(builder_, plan_, all, variables);
  programs.value = FirstOutput(programs.gradient);
  programs.constant_derivative.reserve(static_cast<std::size_t>(variables));
  for (const int slope : all.subspan(1)) programs.constant_derivative.push_back(builder_.IsFixed(slope));
  return programs;
}

}  // namespace quiver
