// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/joint_formulas.h"

#include <algorithm>

namespace quiver {

std::vector<int> JointFormulas::Add(const Program& program, std::span<const int> constants,
                                    std::span<const int> variables) {
  node_.assign(static_cast<std::size_t>(program.registers), -1);
  std::copy(constants.begin(), constants.end(), node_.begin());
  std::copy(variables.begin(), variables.end(), node_.begin() + program.constant_count);
  node_[static_cast<std::size_t>(program.time_register())] = time_;
  for (const Instruction& step : program.code) {
    auto node = [this](int place) { return node_[static_cast<std::size_t>(place)]; };
    int& result = node_[static_cast<std::size_t>(step.target)];
    if (few_operations_ && step.op == Operator::kNegate) {
      result = builder_.Step(Operator::kMultiply, node(step.a), builder_.Constant(-1), node(step.a));
    } else if (few_operations_ && step.op == Operator::kSquare) {
      result = builder_.Step(Operator::kMultiply, node(step.a), node(step.a), node(step.a));
    } else {
      result = builder_.Step(step.op, node(step.a), node(step.b), node(step.c));
    }
  }
  std::vector<int> results;
  for (const int output : program.outputs) results.push_back(node_[static_cast<std::size_t>(output)]);
  return results;
}

int JointFormulas::NegatedBy(int node) const {
  const auto& step = builder_.node(node);
  if (step.kind != FormulaBuilder::Kind::kStep || builder_.IsFixed(node)) return -1;
  if (step.op == Operator::kNegate) return step.a;
  if (!few_operations_ || step.op != Operator::kMultiply) return -1;
  return builder_.IsConstant(step.a, -1) ? step.b : builder_.IsConstant(step.b, -1) ? step.a : -1;
}

}  // namespace quiver
