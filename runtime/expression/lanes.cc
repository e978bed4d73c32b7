// SPDX-License-Identifier: Apache-2.0
// The loops that run programs over lanes; every operation's loop body is its row of operators.def.
#include "runtime/expression/lanes.h"

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

QUIVER_FOR_EACH_MACHINE void RunSteps(const std::vector<Instruction>& code, const double* const* rows,
                                      int lanes) {
  for (const Instruction& step : code) {
    // Results of steps lie in the runner's own memory.
    Step(step.op, const_cast<double*>(rows[step.target]), rows[step.a], rows[step.b], rows[step.c], lanes);
  }
}

}  // namespace

void LaneEvaluator::Run(const Program& program, std::span<const double* const> inputs, int lanes,
                        const EvaluationContext& context) {
  assert(static_cast<int>(inputs.size()) == program.variables && lanes > 0 && lanes <= kLanes);
  program_ = &program;
  const auto registers = static_cast<std::size_t>(program.registers);
  if (scratch_.size() < registers) {
    scratch_.resize(registers);
    rows_.resize(registers);
  }
  for (std::size_t k = 0; k < registers; ++k) rows_[k] = scratch_[k].lane;
  std::copy(inputs.begin(), inputs.end(), rows_.begin() + program.constant_count());
  const int whole = RoundUpToVector(lanes);
  for (int k = 0; k < program.constant_count(); ++k)
    std::fill_n(scratch_[k].lane, whole, program.constants[k]);
  std::fill_n(scratch_[program.time_register()].lane, whole, context.time);
  RunSteps(program.code, rows_.data(), whole);
}

void Gather(const double* x, const int* places, int stride, int lanes, double* row) {
  for (int i = 0; i < lanes; ++i) row[i] = x[places[static_cast<std::ptrdiff_t>(i) * stride]];
}

void Scatter(const double* row, const int* places, int stride, int lanes, double* x) {
  for (int i = 0; i < lanes; ++i) x[places[static_cast<std::ptrdiff_t>(i) * stride]] = row[i];
}

void GatherAffine(const double* x, long long first, long long step, int lanes, double* row) {
  for (int i = 0; i < lanes; ++i) row[i] = x[first + step * i];
}

void ScatterAffine(const double* row, long long first, long long step, int lanes, double* x) {
  for (int i = 0; i < lanes; ++i) x[first + step * i] = row[i];
}

}  // namespace quiver
