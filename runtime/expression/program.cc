// SPDX-License-Identifier: Apache-2.0
// From a shape's stream to register code: translate, differentiate, keep what is needed, assign registers.
#include "runtime/expression/program.h"

#include <algorithm>
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
      case ShapeWord::kParameter:
        return {builder_.Parameter(word.index())};
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

// When each node is read last: 2n by node n, 2n - 1 at the end of the turn before it, -1 by nobody.
std::vector<int> LastUses(const FormulaBuilder& builder, std::span<const int> outputs,
                          std::span<const TurnOfNodes> turns) {
  std::vector<int> last_use(builder.size(), -1);
  int first = 0;
  for (const TurnOfNodes& turn : turns) {
    for (; first < turn.outputs_end; ++first) last_use[outputs[first]] = 2 * turn.nodes_end - 1;
  }
  for (int id = builder.size() - 1; id >= 0; --id) {
    const auto& node = builder.node(id);
    if (last_use[id] < 0 || node.kind != Kind::kStep || builder.IsFixed(id)) continue;
    for (const int operand : {node.a, node.b, node.c}) {
      if (operand >= 0) last_use[operand] = std::max(last_use[operand], 2 * id);
    }
  }
  return last_use;
}

}  // namespace

void ConstantPlan::Need(const FormulaBuilder& builder, std::span<const int> outputs) {
  const TurnOfNodes all = {builder.size(), static_cast<int>(outputs.size())};
  const std::vector<int> last_use = LastUses(builder, outputs, {&all, 1});
  place_.resize(builder.size(), -1);
  for (int id = 0; id < builder.size(); ++id) {
    if (last_use[id] >= 0 && builder.IsFixed(id)) Place(builder, id);
  }
}

void ConstantPlan::Place(const FormulaBuilder& builder, int id) {
  if (place_[id] >= 0) return;
  const auto& node = builder.node(id);
  Instruction step{node.op, 0, 0, 0, 0, 0};
  if (node.kind == Kind::kStep) {
    for (const int operand : {node.a, node.b, node.c}) {
      if (operand >= 0) Place(builder, operand);
    }
    step.a = place_[node.a];
    step.b = node.b < 0 ? step.a : place_[node.b];
    step.c = node.c < 0 ? step.a : place_[node.c];
  }
  step.target = place_[id] = count();
  constants_.push_back(node.value);
  if (node.kind == Kind::kParameter) parameters_.push_back({step.target, node.a});
  if (node.kind == Kind::kStep) steps_.push_back(step);
}

std::vector<double> ConstantPlan::Values(std::span<const double> parameters) const {
  std::vector<double> values = constants_;
  for (const Parameter& parameter : parameters_) values[parameter.place] = parameters[parameter.number];
  for (const Instruction& step : steps_)
    values[step.target] = ValueOf<double>(step.op, values[step.a], values[step.b], values[step.c]);
  return values;
}

Program Extract(const FormulaBuilder& builder, const ConstantPlan& plan, std::span<const int> outputs,
                int variables) {
  const TurnOfNodes all = {builder.size(), static_cast<int>(outputs.size())};
  return Extract(builder, plan, outputs, variables, {&all, 1});
}

Program Extract(const FormulaBuilder& builder, const ConstantPlan& plan, std::span<const int> outputs,
                int variables, std::span<const TurnOfNodes> turns) {
  std::vector<int> last_use = LastUses(builder, outputs, turns);
  Program program;
  program.constant_count = plan.count();
  program.variables = variables;
  program.registers = program.time_register() + 1;
  std::vector<int> place(builder.size(), -1);  // register of a node
  std::vector<int> free_registers;
  std::vector<int> rows;  // what cannot be a single number
  auto free_if_last = [&](int id, int moment) {
    if (id < 0 || last_use[id] != moment || builder.node(id).kind != Kind::kStep || builder.IsFixed(id))
      return;
    free_registers.push_back(place[id]);
    last_use[id] = -1;  // what stands twice is freed once
  };
  int id = 0, handed_out = 0;
  for (const TurnOfNodes& turn : turns) {
    for (; id < turn.nodes_end; ++id) {
      const auto& node = builder.node(id);
      if (last_use[id] < 0) continue;
      if (builder.IsFixed(id)) {
        place[id] = plan.place(id);
        continue;
      }
      if (node.kind == Kind::kInput) {
        place[id] = program.constant_count + node.a;
        continue;
      }
      Instruction step{node.op, 0, 0, place[node.a], 0, 0};
      step.b = node.b < 0 ? step.a : place[node.b];
      step.c = node.c < 0 ? step.a : place[node.c];
      const int fixed = (step.a < plan.count() ? 1 : 0) | (step.b < plan.count() ? 2 : 0);
      const OperatorInfo* info = FindOperator(static_cast<int>(step.op));
      if (info && info->role == Role::kArithmetic && info->arity == 2 && fixed < 3)
        step.fixed = static_cast<std::uint8_t>(fixed);
      if (step.fixed == 0) rows.insert(rows.end(), {step.a, step.b, step.c});
      for (const int operand : {node.a, node.b, node.c}) free_if_last(operand, 2 * id);
      if (free_registers.empty()) {
        step.target = program.registers++;
      } else {
        step.target = free_registers.back();
        free_registers.pop_back();
      }
      place[id] = step.target;
      program.code.push_back(step);
    }
    const int outputs_begin = handed_out;
    for (; handed_out < turn.outputs_end; ++handed_out) program.outputs.push_back(place[outputs[handed_out]]);
    for (int k = outputs_begin; k < handed_out; ++k) free_if_last(outputs[k], 2 * turn.nodes_end - 1);
    program.turns.push_back({static_cast<int>(program.code.size()), handed_out});
  }
  rows.insert(rows.end(), program.outputs.begin(), program.outputs.end());
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  for (const int row : rows)
    if (row < plan.count()) program.constant_rows.push_back(row);
  return program;
}

ShapePrograms Compile(std::span<const ShapeWord> words, int variables) {
  FormulaBuilder builder;
  const Translator::Result root = Translator(builder, variables).Translate(words);
  const bool is_condition = root.margin >= 0;
  std::vector<int> slopes;
  if (!is_condition) slopes = builder.Differentiate(root.value, variables);
  std::vector<int> results = {root.value};
  results.insert(results.end(), slopes.begin(), slopes.end());
  if (is_condition) results.push_back(root.margin);

  ShapePrograms programs;
  programs.constants.Need(builder, results);
  const std::span<const int> all = results;
  programs.value = Extract(builder, programs.constants, all.first(1), variables);
  if (is_condition) {
    programs.margin = Extract(builder, programs.constants, all.last(1), variables);
    return programs;
  }
  programs.gradient = Extract(builder, programs.constants, all, variables);
  for (const int slope : slopes) programs.constant_derivative.push_back(builder.IsFixed(slope));
  return programs;
}

}  // namespace quiver
