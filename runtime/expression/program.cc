// SPDX-License-Identifier: Apache-2.0
// From a shape's stream to register code: translate, differentiate, keep what is needed, assign registers.
#include "runtime/expression/program.h"

#include <limits>

#include "runtime/expression/formula_builder.h"

namespace quiver {
namespace {

using Kind = FormulaBuilder::Kind;

// Turns the tree into formulas: from right to left, so that an operator finds its operands on a stack, the
// first on top, at any depth. For a condition two results grow side by side: whether it holds, and its
// margin.
class Translator {
 public:
  Translator(FormulaBuilder& builder, int variables) : builder_(builder), time_(variables) {}

  struct Result {
    int value = kEndOfList;
    int margin = -1;  // conditions only
  };

  Result Translate(std::span<const ShapeWord> words) {
    for (std::size_t i = words.size(); i-- > 0;) stack_.push_back(Read(words[i]));
    return Pop();
  }

 private:
  static constexpr int kEndOfList = -1;

  Result Read(ShapeWord word) {
    switch (word.kind()) {
      case ShapeWord::kVariable:
        return {builder_.Input(word.index())};
      case ShapeWord::kTruth: {
        const double never = word.index() ? 1 : -1;
        return {builder_.Constant(word.index()),
                builder_.Constant(never * std::numeric_limits<double>::infinity())};
      }
      case ShapeWord::kOperator:
        return Join(*FindOperator(word.index()));
      default:
        return {builder_.Constant(word.literal())};
    }
  }

  Result Join(const OperatorInfo& info) {
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

  int JoinList(const OperatorInfo& info) {
    int joined = Pop().value;
    if (joined == kEndOfList) return builder_.Constant(info.empty_value);
    for (int next = Pop().value; next != kEndOfList; next = Pop().value) {
      joined = builder_.Record(info.joins, joined, next);
    }
    return joined;
  }

  Result Pop() {
    const Result top = stack_.back();
    stack_.pop_back();
    return top;
  }

  FormulaBuilder& builder_;
  int time_;  // input number
  std::vector<Result> stack_;
};

// The steps that the outputs need, in order, with registers shared between results that are not alive
// together.
Program Extract(const FormulaBuilder& builder, const std::vector<int>& outputs, int variables) {
  const int never = builder.size();
  std::vector<int> last_use(builder.size(), -1);
  for (const int id : outputs) last_use[id] = never;
  for (int id = builder.size() - 1; id >= 0; --id) {
    const auto& node = builder.node(id);
    if (last_use[id] < 0 || node.kind != Kind::kStep) continue;
    for (const int operand : {node.a, node.b, node.c}) {
      if (operand >= 0 && last_use[operand] < 0) last_use[operand] = id;
    }
  }

  Program program;
  program.variables = variables;
  std::vector<int> place(builder.size(), -1);  // register of a node
  for (int id = 0; id < builder.size(); ++id) {
    if (last_use[id] < 0 || builder.node(id).kind != Kind::kConstant) continue;
    place[id] = program.constant_count();
    program.constants.push_back(builder.node(id).value);
  }
  program.registers = program.time_register() + 1;
  std::vector<int> free_registers;
  for (int id = 0; id < builder.size(); ++id) {
    const auto& node = builder.node(id);
    if (last_use[id] < 0 || node.kind == Kind::kConstant) continue;
    if (node.kind == Kind::kInput) {
      place[id] = program.constant_count() + node.a;
      continue;
    }
    Instruction step{node.op, 0, place[node.a], 0, 0};
    step.b = node.b < 0 ? step.a : place[node.b];
    step.c = node.c < 0 ? step.a : place[node.c];
    for (const int operand : {node.a, node.b, node.c}) {
      if (operand < 0 || last_use[operand] != id || builder.node(operand).kind != Kind::kStep) continue;
      free_registers.push_back(place[operand]);
      last_use[operand] = never;  // an operand that stands twice is freed once
    }
    if (free_registers.empty()) {
      step.target = program.registers++;
    } else {
      step.target = free_registers.back();
      free_registers.pop_back();
    }
    place[id] = step.target;
    program.code.push_back(step);
  }
  for (const int id : outputs) program.outputs.push_back(place[id]);
  return program;
}

}  // namespace

ShapePrograms Compile(std::span<const ShapeWord> words, int variables) {
  FormulaBuilder builder;
  const Translator::Result root = Translator(builder, variables).Translate(words);
  ShapePrograms programs;
  programs.value = Extract(builder, {root.value}, variables);
  if (root.margin >= 0) {
    programs.margin = Extract(builder, {root.margin}, variables);
    return programs;
  }
  std::vector<int> outputs = builder.Differentiate(root.value, variables);
  for (const int slope : outputs) programs.constant_derivative.push_back(builder.IsConstant(slope));
  outputs.insert(outputs.begin(), root.value);
  programs.gradient = Extract(builder, outputs, variables);
  return programs;
}

}  // namespace quiver
