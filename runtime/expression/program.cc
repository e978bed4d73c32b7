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
    stack_.reserve(words.size());
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

// How often each node is read, outputs included; 0: not needed.
std::vector<int> Uses(const FormulaBuilder& builder, std::span<const int> outputs) {
  std::vector<int> uses(static_cast<std::size_t>(builder.size()), 0);
  for (const int id : outputs) ++uses[id];
  for (int id = builder.size() - 1; id >= 0; --id) {
    const auto& node = builder.node(id);
    if (uses[id] == 0 || node.kind != Kind::kStep || builder.IsFixed(id)) continue;
    for (const int operand : {node.a, node.b, node.c}) {
      if (operand >= 0) ++uses[operand];
    }
  }
  return uses;
}

// The steps in the order in which they run: each turn computes what its outputs need and no earlier turn has computed, and
// a step follows one of its operands directly where it can.
class Order {
 public:
  Order(const FormulaBuilder& builder, std::span<const int> outputs, std::span<const int> turn_ends)
      : builder_(builder), uses_(Uses(builder, outputs)), is_done_(uses_.size(), false) {
    steps_.reserve(uses_.size());
    stack_.reserve(kUsualDepth);
    std::size_t next = 0;
    for (const int end : turn_ends) {
      for (; next < static_cast<std::size_t>(end); ++next) {
        Compute(outputs[next]);
        if (next == 0) steps_of_first_ = static_cast<int>(steps_.size());
      }
      turn_ends_.push_back(static_cast<int>(steps_.size()));
    }
  }

  const std::vector<int>& steps() const { return steps_; }          // nodes
  const std::vector<int>& turn_ends() const { return turn_ends_; }  // by turn: its end among the steps
  int steps_of_first() const { return steps_of_first_; }            // what the first output needs

 private:
  static constexpr std::size_t kUsualDepth = 32;
  struct Visit {
    int id;
    bool has_operands;
  };

  bool IsLeft(int id) const {
    return id >= 0 && builder_.node(id).kind == Kind::kStep && !builder_.IsFixed(id) && !is_done_[id];
  }

  void Compute(int output) {
    stack_.push_back({output, false});
    while (!stack_.empty()) {
      const Visit visit = stack_.back();
      stack_.pop_back();
      if (!IsLeft(visit.id)) continue;
      if (visit.has_operands) {
        is_done_[visit.id] = true;
        steps_.push_back(visit.id);
        continue;
      }
      stack_.push_back({visit.id, true});
      const auto& node = builder_.node(visit.id);
      // What nobody else reads comes last, for then it is never written.
      const bool b_last =
          IsLeft(node.b) && Instruction::IsShort(builder_.node(node.b).op) && uses_[node.b] == 1;
      for (const int operand : {b_last ? node.b : node.a, b_last ? node.a : node.b, node.c})
        if (IsLeft(operand)) stack_.push_back({operand, false});
    }
  }

  const FormulaBuilder& builder_;
  std::vector<int> uses_;
  std::vector<char> is_done_;
  std::vector<int> steps_, turn_ends_;
  int steps_of_first_ = 0;
  std::vector<Visit> stack_;
};

}  // namespace

void ConstantPlan::Need(const FormulaBuilder& builder, std::span<const int> outputs) {
  const std::vector<int> uses = Uses(builder, outputs);
  place_.resize(builder.size(), -1);
  for (int id = 0; id < builder.size(); ++id) {
    if (uses[id] > 0 && builder.IsFixed(id)) Place(builder, id);
  }
}

void ConstantPlan::Place(const FormulaBuilder& builder, int id) {
  if (place_[id] >= 0) return;
  const auto& node = builder.node(id);
  Instruction step{.op = node.op, .target = 0, .a = 0, .b = 0, .c = 0};
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
  const int all = static_cast<int>(outputs.size());
  return Extract(builder, plan, outputs, variables, {&all, 1});
}

Program Extract(const FormulaBuilder& builder, const ConstantPlan& plan, std::span<const int> outputs,
                int variables, std::span<const int> turn_ends) {
  const Order order(builder, outputs, turn_ends);
  const auto nodes = static_cast<std::size_t>(builder.size());
  Program program;
  program.constant_count = plan.count();
  program.variables = variables;
  program.registers = program.time_register() + 1;
  program.steps_of_first = order.steps_of_first();

  // What each step reads from where, and when each node is read last: 2n by step n, 2n - 1 at the end of a turn before it.
  struct Reading {
    int last = -2;
    int place = -1;  // register
    bool is_kept = false;
  };
  std::vector<Reading> reading(nodes);
  std::vector<int> constants_read;  // as registers
  constants_read.reserve(outputs.size() + static_cast<std::size_t>(plan.count()));
  program.code.reserve(order.steps().size());
  int turn = 0, previous = -1, handed_out = 0;
  const auto is_step = [&](int id) { return builder.node(id).kind == Kind::kStep && !builder.IsFixed(id); };
  const auto read_register = [&](int id) {
    if (builder.IsFixed(id)) constants_read.push_back(plan.place(id));
    reading[id].is_kept = true;
    return Source::kRegister;
  };
  const auto end_turns = [&](int steps) {
    for (; turn < static_cast<int>(turn_ends.size()) && order.turn_ends()[turn] == steps; ++turn) {
      for (; handed_out < turn_ends[turn]; ++handed_out) {
        read_register(outputs[handed_out]);
        reading[outputs[handed_out]].last = 2 * steps - 1;
      }
      previous = -1;
    }
  };
  end_turns(0);
  for (const int id : order.steps()) {
    const auto& node = builder.node(id);
    Instruction step{.op = node.op, .target = 0, .a = 0, .b = 0, .c = 0};
    const bool is_short = Instruction::IsShort(node.op);
    const bool takes_constants = IsBinaryArithmetic(node.op);
    const auto source = [&](int operand) {
      if (is_short && operand == previous) return Source::kPrevious;
      if (takes_constants && builder.IsFixed(operand)) return Source::kConstant;
      return read_register(operand);
    };
    step.a_from = source(node.a);
    if (node.b >= 0) step.b_from = node.b == node.a ? read_register(node.b) : source(node.b);
    if (node.c >= 0) read_register(node.c);
    const int steps = static_cast<int>(program.code.size());
    for (const int operand : {node.a, node.b, node.c})
      if (operand >= 0) reading[operand].last = 2 * steps;
    program.code.push_back(step);
    previous = is_short ? id : -1;
    end_turns(steps + 1);
  }

  // Registers, free again after the last reading.
  std::vector<int> free_registers;
  free_registers.reserve(program.code.size());
  program.outputs.reserve(outputs.size());
  program.turns.reserve(turn_ends.size());
  for (int id = 0; id < builder.size(); ++id) {
    if (builder.IsFixed(id)) {
      reading[id].place = plan.place(id);
    } else if (builder.node(id).kind == Kind::kInput) {
      reading[id].place = program.constant_count + builder.node(id).a;
    }
  }
  const auto place = [&](int id) { return reading[id].place; };
  const auto free_if_last = [&](int id, int moment) {
    if (id < 0 || reading[id].last != moment || !is_step(id)) return;
    free_registers.push_back(place(id));
    reading[id].last = -2;  // what stands twice is freed once
  };
  handed_out = 0;
  int steps = 0;
  for (std::size_t t = 0; t < turn_ends.size(); ++t) {
    for (; steps < order.turn_ends()[t]; ++steps) {
      const int id = order.steps()[steps];
      const auto& node = builder.node(id);
      Instruction& step = program.code[steps];
      step.a = place(node.a);
      step.b = node.b < 0 ? step.a : place(node.b);
      step.c = node.c < 0 ? step.a : place(node.c);
      step.is_kept = reading[id].is_kept;
      for (const int operand : {node.a, node.b, node.c}) free_if_last(operand, 2 * steps);
      if (free_registers.empty()) {
        step.target = program.registers++;
      } else {
        step.target = free_registers.back();
        free_registers.pop_back();
      }
      reading[id].place = step.target;
    }
    const int outputs_begin = handed_out;
    for (; handed_out < turn_ends[t]; ++handed_out) program.outputs.push_back(place(outputs[handed_out]));
    for (int k = outputs_begin; k < handed_out; ++k) free_if_last(outputs[k], 2 * steps - 1);
    program.turns.push_back({steps, handed_out});
  }
  std::sort(constants_read.begin(), constants_read.end());
  constants_read.erase(std::unique(constants_read.begin(), constants_read.end()), constants_read.end());
  program.constant_rows = std::move(constants_read);
  return program;
}

Program FirstOutput(const Program& program) {
  Program first;
  first.constant_count = program.constant_count;
  first.variables = program.variables;
  first.registers = program.registers;
  first.code.assign(program.code.begin(), program.code.begin() + program.steps_of_first);
  first.outputs = {program.outputs[0]};
  first.turns = {{program.steps_of_first, 1}};
  first.constant_rows = program.constant_rows;
  first.steps_of_first = program.steps_of_first;
  return first;
}

ShapePrograms Compile(std::span<const ShapeWord> words, int variables) {
  constexpr std::size_t kNodesOfAWord = 4;  // with derivatives, as models go
  FormulaBuilder builder(kNodesOfAWord * words.size());
  const Translator::Result root = Translator(builder, variables).Translate(words);
  const bool is_condition = root.margin >= 0;
  std::vector<int> slopes;
  if (!is_condition) slopes = builder.Differentiate(root.value, variables);
  std::vector<int> results;
  results.reserve(slopes.size() + 2);
  results.push_back(root.value);
  results.insert(results.end(), slopes.begin(), slopes.end());
  if (is_condition) results.push_back(root.margin);

  ShapePrograms programs;
  programs.constants.Need(builder, results);
  const std::span<const int> all = results;
  if (is_condition) {
    programs.value = Extract(builder, programs.constants, all.first(1), variables);
    programs.margin = Extract(builder, programs.constants, all.last(1), variables);
    return programs;
  }
  programs.gradient = Extract(builder, programs.constants, all, variables);
  programs.value = FirstOutput(programs.gradient);
  for (const int slope : slopes) programs.constant_derivative.push_back(builder.IsFixed(slope));
  return programs;
}

}  // namespace quiver
