// SPDX-License-Identifier: Apache-2.0
#include "runtime/expression/program.h"

#include "runtime/expression/formula_builder.h"

namespace quiver {

using Kind = FormulaBuilder::Kind;

void ConstantPlan::Need(const FormulaBuilder& builder, std::span<const int> outputs) {
  const int nodes = builder.size();
  place_.resize(static_cast<std::size_t>(nodes), -1);
  needed_.assign(static_cast<std::size_t>(nodes), 0);
  for (const int id : outputs) needed_[id] = 1;
  for (int id = nodes - 1; id >= 0; --id) {
    const auto& node = builder.node(id);
    if (needed_[id] == 0 || node.kind != Kind::kStep || builder.IsFixed(id)) continue;
    for (const int operand : {node.a, node.b, node.c})
      if (operand >= 0) needed_[operand] = 1;
  }
  for (int id = 0; id < nodes; ++id)
    if (needed_[id] != 0 && builder.IsFixed(id)) Place(builder, id);
}

void ConstantPlan::Clear() {
  place_.clear();
  constants_.fixed.clear();
  constants_.parameters.clear();
  constants_.steps.clear();
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
  constants_.fixed.push_back(node.value);
  if (node.kind == Kind::kParameter) constants_.parameters.push_back({step.target, node.a});
  if (node.kind == Kind::kStep) constants_.steps.push_back(step);
}

std::vector<double> ConstantFormulas::Values(std::span<const double> literals) const {
  std::vector<double> values = fixed;
  for (const Parameter& parameter : parameters) values[parameter.place] = literals[parameter.number];
  for (const Instruction& step : steps)
    values[step.target] = ValueOf<double>(step.op, values[step.a], values[step.b], values[step.c]);
  return values;
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

}  // namespace quiver
