// SPDX-License-Identifier: Apache-2.0
#include "runtime/expression/program_extractor.h"

#include <algorithm>
#include <utility>

namespace quiver {

using Kind = FormulaBuilder::Kind;

Program ProgramExtractor::Extract(const FormulaBuilder& builder, const ConstantPlan& plan,
                                  std::span<const int> outputs, int variables,
                                  std::span<const int> turn_ends) {
  builder_ = &builder;
  plan_ = &plan;
  program_ = {};
  program_.constant_count = plan.count();
  program_.variables = variables;
  program_.registers = program_.time_register() + 1;
  free_registers_.clear();
  previous_ = -1;
  const int all = static_cast<int>(outputs.size());
  if (turn_ends.empty()) turn_ends = {&all, 1};
  program_.code.reserve(static_cast<std::size_t>(CountUses(outputs)));
  program_.outputs.reserve(outputs.size());
  program_.turns.reserve(turn_ends.size());
  int next = 0;
  for (const int end : turn_ends) {
    const std::span<const int> of_turn =
        outputs.subspan(static_cast<std::size_t>(next), static_cast<std::size_t>(end - next));
    for (const int output : of_turn) {
      Compute(output);
      if (next++ == 0) program_.steps_of_first = static_cast<int>(program_.code.size());
    }
    HandOut(of_turn);
  }
  std::vector<int>& rows = program_.constant_rows;
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  return std::move(program_);
}

// The number of steps.
int ProgramExtractor::CountUses(std::span<const int> outputs) {
  int steps = 0;
  state_.assign(static_cast<std::size_t>(builder_->size()), {});
  for (const int id : outputs) ++At(id).uses;
  for (int id = builder_->size() - 1; id >= 0; --id) {
    NodeState& state = At(id);
    if (state.uses == 0) continue;
    const auto& node = builder_->node(id);
    state.left = state.uses;
    state.step = -1;
    if (node.is_fixed) {
      state.from = From::kConstant;
      state.place = plan_->place(id);
    } else if (node.kind == Kind::kInput) {
      state.from = From::kInput;
      state.place = program_.constant_count + node.a;
    } else {
      state.from = From::kStep;
      ++steps;
      for (const int operand : {node.a, node.b, node.c})
        if (operand >= 0) ++At(operand).uses;
    }
  }
  return steps;
}

void ProgramExtractor::Compute(int output) {
  stack_.push_back({output, false});
  while (!stack_.empty()) {
    const Visit visit = stack_.back();
    stack_.pop_back();
    if (!IsLeft(visit.id)) continue;
    if (visit.has_operands) {
      Emit(visit.id);
      continue;
    }
    stack_.push_back({visit.id, true});
    const auto& node = builder_->node(visit.id);
    // What nobody else reads comes last, for then it is never written.
    const bool b_last =
        IsLeft(node.b) && At(node.b).uses == 1 && Instruction::IsShort(builder_->node(node.b).op);
    for (const int operand : {b_last ? node.b : node.a, b_last ? node.a : node.b, node.c})
      if (IsLeft(operand)) stack_.push_back({operand, false});
  }
}

void ProgramExtractor::Emit(int id) {
  const auto& node = builder_->node(id);
  const bool is_short = Instruction::IsShort(node.op);
  const bool takes_constants = IsBinaryArithmetic(node.op);
  const auto source = [&](int operand) {
    if (is_short && operand == previous_) return Source::kPrevious;
    const NodeState& read = At(operand);
    if (takes_constants && read.from == From::kConstant) return Source::kConstant;
    ReadRegister(read);
    return Source::kRegister;
  };
  Instruction step{.op = node.op, .is_kept = false, .target = 0, .a = At(node.a).place, .b = 0, .c = 0};
  step.a_from = source(node.a);
  step.b = node.b < 0 ? step.a : At(node.b).place;
  step.c = node.c < 0 ? step.a : At(node.c).place;
  if (node.b >= 0 && node.b == node.a) {
    ReadRegister(At(node.b));
  } else if (node.b >= 0) {
    step.b_from = source(node.b);
  }
  if (node.c >= 0) ReadRegister(At(node.c));
  for (const int operand : {node.a, node.b, node.c})
    if (operand >= 0) FreeIfLast(At(operand));
  if (free_registers_.empty()) {
    step.target = program_.registers++;
  } else {
    step.target = free_registers_.back();
    free_registers_.pop_back();
  }
  NodeState& state = At(id);
  state.place = step.target;
  state.step = static_cast<int>(program_.code.size());
  program_.code.push_back(step);
  previous_ = is_short ? id : -1;
}

// Not from the step before: what is read has to be written.
void ProgramExtractor::ReadRegister(const NodeState& state) {
  if (state.from == From::kConstant) program_.constant_rows.push_back(state.place);
  if (state.step >= 0) program_.code[static_cast<std::size_t>(state.step)].is_kept = true;
}

void ProgramExtractor::FreeIfLast(NodeState& state) {
  if (--state.left == 0 && state.from == From::kStep) free_registers_.push_back(state.place);
}

// The end of a turn.
void ProgramExtractor::HandOut(std::span<const int> outputs) {
  for (const int output : outputs) {
    ReadRegister(At(output));
    program_.outputs.push_back(At(output).place);
  }
  for (const int output : outputs) FreeIfLast(At(output));
  program_.turns.push_back(
      {static_cast<int>(program_.code.size()), static_cast<int>(program_.outputs.size())});
  previous_ = -1;
}

}  // namespace quiver
