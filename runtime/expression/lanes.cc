// SPDX-License-Identifier: Apache-2.0
// The loops that run programs over lanes; every operation's loop body is its row of operators.def.
#include "runtime/expression/lanes.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

#include "runtime/expression/machine.h"
#include "runtime/expression/operators.h"

namespace quiver {
namespace {

#ifdef __clang__
#define QUIVER_NO_DEPENDENCE
#else
#define QUIVER_NO_DEPENDENCE _Pragma("GCC ivdep")
#endif
#define QUIVER_INLINE [[gnu::always_inline]] inline

// One operation over lanes. An operand whose bit of `fixed` is set is a single number, the others are rows. The target
// may be one of the operands (never a part of one), so the loop is free of dependences between lanes, which the
// compiler cannot know.
template <Operator op, int fixed = 0>
struct Loop {
  QUIVER_INLINE static void Run(double* target, const double* a, const double* b, const double* c,
                                int lanes) {
    const double a0 = *a, b0 = *b;
    QUIVER_NO_DEPENDENCE for (int i = 0; i < lanes; ++i) {
      target[i] = Formula<op>::template Value<double>(fixed & 1 ? a0 : a[i], fixed & 2 ? b0 : b[i], c[i]);
    }
  }
};

// Powers: as if all were ordinary, then the others one by one.
template <int fixed>
struct Loop<Operator::kPower, fixed> {
  QUIVER_INLINE static void Run(double* target, const double* a, const double* b, const double*, int lanes) {
    double base[kLanes];  // the target may be an operand
    double exponent[kLanes];
    const double a0 = *a, b0 = *b;
    std::int64_t others = 0;  // as wide as the numbers, so that counting is vector code too
    QUIVER_NO_DEPENDENCE for (int i = 0; i < lanes; ++i) {
      base[i] = fixed & 1 ? a0 : a[i];
      exponent[i] = fixed & 2 ? b0 : b[i];
      others |= vector_math::IsOrdinaryPow(base[i], exponent[i]) ? 0 : 1;
    }
    QUIVER_NO_DEPENDENCE for (int i = 0; i < lanes; ++i) {
      target[i] = vector_math::PowOrdinary(base[i], exponent[i]);
    }
    if (others == 0) return;
    for (int i = 0; i < lanes; ++i) {
      if (!vector_math::IsOrdinaryPow(base[i], exponent[i]))
        target[i] = vector_math::PowSpecial(base[i], exponent[i]);
    }
  }
};

// The same in two parts: what needs a power of its own is rare.
template <>
struct Loop<Operator::kPowerByBase> {
  QUIVER_INLINE static void Run(double* target, const double* a, const double* b, const double* c,
                                int lanes) {
    const auto is_rare = [](double exponent, double power) {
      return (exponent != 0) & !(std::fabs(power) >= std::numeric_limits<double>::min());
    };
    double rare[kLanes];
    std::int64_t any = 0;
    QUIVER_NO_DEPENDENCE for (int i = 0; i < lanes; ++i) any |= is_rare(b[i], c[i]) ? 1 : 0;
    if (any != 0) {
      for (int i = 0; i < lanes; ++i)
        rare[i] = Formula<Operator::kPowerByBase>::Value<double>(a[i], b[i], c[i]);
      std::copy_n(rare, lanes, target);
      return;
    }
    QUIVER_NO_DEPENDENCE for (int i = 0; i < lanes; ++i) target[i] = b[i] == 0 ? 0 : b[i] * c[i] / a[i];
  }
};

QUIVER_INLINE void RunSteps(std::span<const Instruction> code, const double* const* rows, int lanes) {
  lanes &= -kVectorLanes;  // tells the compiler that there is no rest
  for (const Instruction& step : code) {
    // Results of steps lie in the evaluator's own memory.
    double* const target = const_cast<double*>(rows[step.target]);
    const double *a = rows[step.a], *b = rows[step.b], *c = rows[step.c];
    switch (static_cast<int>(step.op) * 4 + step.fixed) {
#define QUIVER_CASE(name, fixed)                                 \
  case static_cast<int>(Operator::k##name) * 4 + fixed:          \
    Loop<Operator::k##name, fixed>::Run(target, a, b, c, lanes); \
    break;
#define OPERATOR(code, name, ...) QUIVER_CASE(name, 0) QUIVER_CASE(name, 1) QUIVER_CASE(name, 2)
#define CONDITION(code, name, ...) QUIVER_CASE(name, 0)
#define INTERNAL(code, name, ...) QUIVER_CASE(name, 0)
#include "runtime/expression/operators.def"
#undef QUIVER_CASE
      default:
        assert(false);
    }
  }
}

using StepRunner = void(std::span<const Instruction> code, const double* const* rows, int lanes);

void RunBaseline(std::span<const Instruction> code, const double* const* rows, int lanes) {
  RunSteps(code, rows, lanes);
}
#ifdef QUIVER_WIDE_MACHINES
QUIVER_FOR_AVX2 void RunAvx2(std::span<const Instruction> code, const double* const* rows, int lanes) {
  RunSteps(code, rows, lanes);
}
QUIVER_FOR_AVX512 void RunAvx512(std::span<const Instruction> code, const double* const* rows, int lanes) {
  RunSteps(code, rows, lanes);
}
#endif

StepRunner* RunnerFor([[maybe_unused]] Machine machine) {
#ifdef QUIVER_WIDE_MACHINES
  if (machine == Machine::kAvx512) return RunAvx512;
  if (machine == Machine::kAvx2) return RunAvx2;
#endif
  return RunBaseline;
}

}  // namespace

void LaneEvaluator::Start(const Program& program, std::span<const double> constants,
                          std::span<const double* const> inputs, int lanes,
                          const EvaluationContext& context) {
  assert(static_cast<int>(inputs.size()) == program.variables && lanes > 0 && lanes <= kLanes);
  program_ = &program;
  const auto registers = static_cast<std::size_t>(program.registers);
  if (scratch_.size() < registers) {
    scratch_.resize(registers);
    rows_.resize(registers);
  }
  const int whole = RoundUpToVector(lanes);
  for (int k = 0; k < program.constant_count; ++k) rows_[k] = &constants[k];
  for (const int k : program.constant_rows) {
    std::fill_n(scratch_[k].lane, whole, constants[k]);
    rows_[k] = scratch_[k].lane;
  }
  std::copy(inputs.begin(), inputs.end(), rows_.begin() + program.constant_count);
  for (auto k = static_cast<std::size_t>(program.time_register()); k < registers; ++k)
    rows_[k] = scratch_[k].lane;
  std::fill_n(scratch_[program.time_register()].lane, whole, context.time);
  lanes_ = whole;
}

void LaneEvaluator::RunTurn(int turn) {
  const std::span<const Instruction> code = program_->code;
  const int begin = turn == 0 ? 0 : program_->turns[turn - 1].code_end;
  RunnerFor(CurrentMachine())(code.subspan(begin, program_->turns[turn].code_end - begin), rows_.data(),
                              lanes_);
}

void RunOperation(Operator op, double* target, const double* a, const double* b, const double* c, int lanes) {
  const Instruction step{op, 0, 0, 1, 2, 3};
  const double* const rows[] = {target, a, b, c};
  RunnerFor(CurrentMachine())({&step, 1}, rows, RoundUpToVector(lanes));
}

}  // namespace quiver
