// SPDX-License-Identifier: Apache-2.0
// Single instances, and blocks gathered from and scattered to where the instances lie.
#include "runtime/expression/evaluator.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

#include "runtime/expression/operators.h"

namespace quiver {

const double* Evaluator::RunOne(const Program& program, std::span<const double> constants,
                                std::span<const int> gather, std::span<const double> x, double time) {
  assert(static_cast<int>(gather.size()) == program.variables);
  if (static_cast<int>(single_.size()) < program.registers) single_.resize(program.registers);
  double* const registers = single_.data();
  std::copy(constants.begin(), constants.end(), registers);
  double* const inputs = registers + program.constant_count;
  for (int k = 0; k < program.variables; ++k) inputs[k] = x[gather[k]];
  inputs[program.variables] = time;
  for (const Instruction& step : program.code) {
    registers[step.target] =
        ValueOf<double>(step.op, registers[step.a], registers[step.b], registers[step.c]);
  }
  return registers;
}

int Evaluator::GatherBlock(const Shape& shape, std::span<const int> gathers, std::size_t first,
                           std::size_t count, const double* x) {
  const auto stride = static_cast<std::size_t>(shape.variable_count);
  assert(gathers.size() == count * stride);
  if (block_.size() < stride) block_.resize(stride);
  inputs_.resize(stride);
  const int lanes = static_cast<int>(std::min<std::size_t>(count - first, kLanes));
  for (std::size_t k = 0; k < stride; ++k) {
    inputs_[k] = block_[k].lane;
    Gather(x, gathers.data() + first * stride + k, shape.variable_count, lanes, block_[k].lane);
  }
  return lanes;
}

double Evaluator::Value(const Shape& shape, std::span<const int> gather, std::span<const double> x,
                        const EvaluationContext& context) {
  const Program& program = shape.programs->value;
  return RunOne(program, shape.constants, gather, x, context.time)[program.outputs[0]];
}

double Evaluator::Gradient(const Shape& shape, std::span<const int> gather, std::span<const double> x,
                           std::span<double> gradient, const EvaluationContext& context) {
  assert(!shape.is_condition);
  const Program& program = shape.programs->gradient;
  const double* const registers = RunOne(program, shape.constants, gather, x, context.time);
  for (int k = 0; k < program.variables; ++k) gradient[k] = registers[program.outputs[k + 1]];
  return registers[program.outputs[0]];
}

void Evaluator::Values(const Shape& shape, std::span<const int> gathers, std::span<const double> x,
                       std::span<double> values, const EvaluationContext& context) {
  for (std::size_t first = 0; first < values.size(); first += kLanes) {
    const int lanes = GatherBlock(shape, gathers, first, values.size(), x.data());
    lanes_.Values(shape, inputs_, lanes, context);
    std::copy_n(lanes_.output(0), lanes, values.data() + first);
  }
}

void Evaluator::Gradients(const Shape& shape, std::span<const int> gathers, std::span<const double> x,
                          std::span<double> values, std::span<double> gradients,
                          const EvaluationContext& context) {
  assert(!shape.is_condition && gradients.size() == gathers.size());
  const auto stride = static_cast<std::size_t>(shape.variable_count);
  outputs_.resize(stride);
  for (std::size_t first = 0; first < values.size(); first += kLanes) {
    const int lanes = GatherBlock(shape, gathers, first, values.size(), x.data());
    lanes_.Gradients(shape, inputs_, lanes, context);
    std::copy_n(lanes_.output(0), lanes, values.data() + first);
    for (std::size_t k = 0; k < stride; ++k) outputs_[k] = lanes_.output(static_cast<int>(k) + 1);
    ScatterRows(outputs_.data(), shape.variable_count, lanes, gradients.data() + first * stride,
                shape.variable_count);
  }
}

bool Evaluator::Holds(const Shape& condition, std::span<const int> gather, std::span<const double> x,
                      const EvaluationContext& context) {
  assert(condition.is_condition);
  return Value(condition, gather, x, context) != 0;
}

double Evaluator::Margin(const Shape& condition, std::span<const int> gather, std::span<const double> x,
                         const EvaluationContext& context) {
  assert(condition.is_condition);
  const Program& program = condition.programs->margin;
  return RunOne(program, condition.constants, gather, x, context.time)[program.outputs[0]];
}

}  // namespace quiver
