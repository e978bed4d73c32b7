// SPDX-License-Identifier: Apache-2.0
// The loops that run programs; every operation's loop body is its row of operators.def.
#include "runtime/expression/evaluator.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

#include "runtime/expression/operators.h"

namespace quiver {
namespace {

#ifdef __clang__
#define QUIVER_NO_DEPENDENCE
#else
#define QUIVER_NO_DEPENDENCE _Pragma("GCC ivdep")
#endif

// One step over `lanes` instances. The target may be one of the operands (never a part of one), so the loop
// is free of dependences between lanes, which the compiler cannot know.
#define QUIVER_STEP(code, name, ...)                                                    \
  case Operator::k##name:                                                               \
    QUIVER_NO_DEPENDENCE for (int i = 0; i < lanes; ++i) {                              \
      target[i] = Formula<Operator::k##name>::template Value<double>(a[i], b[i], c[i]); \
    }                                                                                   \
    break;

[[gnu::always_inline]] inline void Step(Operator op, double* target, const double* a, const double* b,
                                        const double* c, int lanes) {
  switch (op) {
#define OPERATOR QUIVER_STEP
#define CONDITION QUIVER_STEP
#define INTERNAL QUIVER_STEP
#include "runtime/expression/operators.def"
    default:
      assert(false);
  }
}
#undef QUIVER_STEP

// Compiled a second time for AVX2, chosen at load: batches run about twice as fast. Without contraction to
// fused multiply-add both give the same bits.
#if defined(__x86_64__) && defined(__linux__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define QUIVER_FOR_EACH_MACHINE [[gnu::target_clones("avx2", "default")]]
#else
#define QUIVER_FOR_EACH_MACHINE
#endif

// `registers` of `kWidth` doubles each.
template <int kWidth>
[[gnu::always_inline]] inline void RunSteps(const std::vector<Instruction>& code, double* registers,
                                            int lanes) {
  auto at = [registers](int place) { return registers + static_cast<std::ptrdiff_t>(place) * kWidth; };
  for (const Instruction& step : code) {
    Step(step.op, at(step.target), at(step.a), at(step.b), at(step.c), kWidth == 1 ? 1 : lanes);
  }
}

}  // namespace

const double* Evaluator::RunOne(const Program& program, std::span<const int> gather,
                                std::span<const double> x, double time) {
  assert(static_cast<int>(gather.size()) == program.variables);
  if (static_cast<int>(single_.size()) < program.registers) single_.resize(program.registers);
  double* const registers = single_.data();
  std::copy(program.constants.begin(), program.constants.end(), registers);
  double* const inputs = registers + program.constant_count();
  for (int k = 0; k < program.variables; ++k) inputs[k] = x[gather[k]];
  inputs[program.variables] = time;
  RunSteps<1>(program.code, registers, 1);
  return registers;
}

QUIVER_FOR_EACH_MACHINE void Evaluator::RunBlocks(const Program& program, std::span<const int> gathers,
                                                  std::span<const double> x, double time,
                                                  std::span<double> values, std::span<double> gradients) {
  const int count = static_cast<int>(values.size());
  const std::size_t stride = program.variables;
  assert(gathers.size() == count * stride && (gradients.empty() || gradients.size() == count * stride));
  if (static_cast<int>(block_.size()) < program.registers) block_.resize(program.registers);
  Lanes* const registers = block_.data();
  const int widest = std::min(count, kBlock);
  for (int k = 0; k < program.constant_count(); ++k)
    std::fill_n(registers[k].lane, widest, program.constants[k]);
  Lanes* const inputs = registers + program.constant_count();
  std::fill_n(inputs[stride].lane, widest, time);

  for (int first = 0; first < count; first += kBlock) {
    const int lanes = std::min(kBlock, count - first);
    const int* const gather = gathers.data() + first * stride;
    for (int i = 0; i < lanes; ++i) {
      for (std::size_t k = 0; k < stride; ++k) inputs[k].lane[i] = x[gather[i * stride + k]];
    }
    RunSteps<kBlock>(program.code, registers->lane, lanes);
    std::copy_n(registers[program.outputs[0]].lane, lanes, values.data() + first);
    if (gradients.empty()) continue;
    double* const gradient = gradients.data() + first * stride;
    for (std::size_t k = 0; k < stride; ++k) {
      const double* const slope = registers[program.outputs[k + 1]].lane;
      for (int i = 0; i < lanes; ++i) gradient[i * stride + k] = slope[i];
    }
  }
}

double Evaluator::Value(const Shape& shape, std::span<const int> gather, std::span<const double> x,
                        const EvaluationContext& context) {
  const Program& program = shape.programs.value;
  return RunOne(program, gather, x, context.time)[program.outputs[0]];
}

double Evaluator::Gradient(const Shape& shape, std::span<const int> gather, std::span<const double> x,
                           std::span<double> gradient, const EvaluationContext& context) {
  assert(!shape.is_condition);
  const Program& program = shape.programs.gradient;
  const double* const registers = RunOne(program, gather, x, context.time);
  for (int k = 0; k < program.variables; ++k) gradient[k] = registers[program.outputs[k + 1]];
  return registers[program.outputs[0]];
}

void Evaluator::Values(const Shape& shape, std::span<const int> gathers, std::span<const double> x,
                       std::span<double> values, const EvaluationContext& context) {
  RunBlocks(shape.programs.value, gathers, x, context.time, values, {});
}

void Evaluator::Gradients(const Shape& shape, std::span<const int> gathers, std::span<const double> x,
                          std::span<double> values, std::span<double> gradients,
                          const EvaluationContext& context) {
  assert(!shape.is_condition);
  RunBlocks(shape.programs.gradient, gathers, x, context.time, values, gradients);
}

bool Evaluator::Holds(const Shape& condition, std::span<const int> gather, std::span<const double> x,
                      const EvaluationContext& context) {
  assert(condition.is_condition);
  return Value(condition, gather, x, context) != 0;
}

double Evaluator::Margin(const Shape& condition, std::span<const int> gather, std::span<const double> x,
                         const EvaluationContext& context) {
  assert(condition.is_condition);
  const Program& program = condition.programs.margin;
  return RunOne(program, gather, x, context.time)[program.outputs[0]];
}

}  // namespace quiver
