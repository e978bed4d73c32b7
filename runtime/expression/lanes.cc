// SPDX-License-Identifier: Apache-2.0
// The loops that run programs over lanes; every operation's loop body is its row of operators.def.
#include "runtime/expression/lanes.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

#include "runtime/expression/lane_code.h"
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
    namespace detail = vector_math::detail;
    double base[kLanes];  // the target may be an operand
    double exponent[kLanes], upper[kLanes], lower[kLanes], n[kLanes];
    const double a0 = *a, b0 = *b;
    std::int64_t others = 0;  // as wide as the numbers, so that counting is vector code too
    QUIVER_NO_DEPENDENCE for (int i = 0; i < lanes; ++i) {
      base[i] = fixed & 1 ? a0 : a[i];
      exponent[i] = fixed & 2 ? b0 : b[i];
      others |= vector_math::IsOrdinaryPow(base[i], exponent[i]) ? 0 : 1;
      const detail::Parts parts = detail::Split(base[i]);
      const detail::Sum argument = detail::LogArgument(parts.m);
      n[i] = parts.k;
      upper[i] = argument.upper;
      lower[i] = argument.lower;
    }
    QUIVER_NO_DEPENDENCE for (int i = 0; i < lanes; ++i) {
      const detail::Sum log = detail::Log2({upper[i], lower[i]}, n[i]);
      upper[i] = log.upper;
      lower[i] = log.lower;
    }
    QUIVER_NO_DEPENDENCE for (int i = 0; i < lanes; ++i) {
      const detail::ReducedPower power = detail::Reduce({upper[i], lower[i]}, exponent[i]);
      n[i] = power.n;
      upper[i] = power.reduced;
      lower[i] = power.lost;
    }
    QUIVER_NO_DEPENDENCE for (int i = 0; i < lanes; ++i) {
      target[i] = detail::PowerOf({n[i], upper[i], lower[i]});
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

// One operation from row to row. A second and third operand that it does not have may lie anywhere; its loop is given the target
// in their place, since code that is not optimised reads them.
QUIVER_INLINE void RunRow(Operator op, int fixed, double* target, const double* a, const double* b,
                          const double* c, int lanes) {
  lanes &= -kVectorLanes;  // tells the compiler that there is no rest
  switch (static_cast<int>(op) * 4 + fixed) {
#define QUIVER_CASE(name, fixed, operands)                                                                   \
  case static_cast<int>(Operator::k##name) * 4 + fixed:                                                      \
    Loop<Operator::k##name, fixed>::Run(target, a, (operands) < 2 ? target : b, (operands) < 3 ? target : c, \
                                        lanes);                                                              \
    break;
#define OPERATOR(code, name, role, arity, ...) \
  QUIVER_CASE(name, 0, arity) QUIVER_CASE(name, 1, arity) QUIVER_CASE(name, 2, arity)
#define CONDITION(code, name, ...) QUIVER_CASE(name, 0, 2)
#define INTERNAL(code, name, ...)                             \
  QUIVER_CASE(name, 0,                                        \
              Operator::k##name == Operator::kPowerByBase ? 3 \
              : Operator::k##name == Operator::kSign      ? 1 \
                                                          : 2)
#include "runtime/expression/operators.def"
#undef QUIVER_CASE
    default:
      assert(false);
  }
}

using RowRunner = void(Operator op, int fixed, double* target, const double* a, const double* b,
                       const double* c, int lanes);

// Bits 1 and 2: whether the first and second operand is a single number.
constexpr int FixedOperands(const Instruction& step) {
  return (step.a_from == Source::kConstant ? 1 : 0) | (step.b_from == Source::kConstant ? 2 : 0);
}

constexpr int Form(Operator op, Source a, Source b = Source::kRegister) {
  return static_cast<int>(op) * 16 + static_cast<int>(a) * 4 + static_cast<int>(b);
}

// A number of vectors of `bytes`, which the compiler keeps in registers from step to step. Arithmetic between neighbouring
// steps then costs no memory at all, and there are no loops, whose jumps would drive the jumps from step to step out of the
// processor's memory of them.
template <int bytes, int count>
struct Piece {
  typedef double Vector [[gnu::vector_size(bytes), gnu::may_alias]];
  static constexpr int kVectorWidth = bytes / static_cast<int>(sizeof(double)), kWidth = count * kVectorWidth;

  QUIVER_INLINE static void Run(std::span<const Instruction> code, const double* const* rows, int first,
                                RowRunner* run_row) {
    Vector last[count] = {};
    const auto vector = [](const double* row, int i) -> const Vector& {
      return *reinterpret_cast<const Vector*>(row + i * kVectorWidth);
    };
    for (const Instruction& step : code) {
      const auto a = [&](int i) -> const Vector& { return vector(rows[step.a] + first, i); };
      const auto b = [&](int i) -> const Vector& { return vector(rows[step.b] + first, i); };
      switch (Form(step.op, step.a_from, step.b_from)) {
#define QUIVER_STEP(name, a_from, b_from, formula)                             \
  case Form(Operator::k##name, Source::a_from, Source::b_from):                \
    _Pragma("GCC unroll 8") for (int i = 0; i < count; ++i) last[i] = formula; \
    break;
#define QUIVER_STEPS(name, sign)                                      \
  QUIVER_STEP(name, kRegister, kRegister, a(i) sign b(i))             \
  QUIVER_STEP(name, kPrevious, kRegister, last[i] sign b(i))          \
  QUIVER_STEP(name, kRegister, kPrevious, a(i) sign last[i])          \
  QUIVER_STEP(name, kConstant, kRegister, *rows[step.a] sign b(i))    \
  QUIVER_STEP(name, kRegister, kConstant, a(i) sign* rows[step.b])    \
  QUIVER_STEP(name, kConstant, kPrevious, *rows[step.a] sign last[i]) \
  QUIVER_STEP(name, kPrevious, kConstant, last[i] sign* rows[step.b])
        QUIVER_STEPS(Add, +)
        QUIVER_STEPS(Subtract, -)
        QUIVER_STEPS(Multiply, *)
        QUIVER_STEPS(Divide, /)
        QUIVER_STEP(Negate, kRegister, kRegister, -a(i))
        QUIVER_STEP(Negate, kPrevious, kRegister, -last[i])
        QUIVER_STEP(Square, kRegister, kRegister, a(i) * a(i))
        QUIVER_STEP(Square, kPrevious, kRegister, last[i] * last[i])
#undef QUIVER_STEPS
#undef QUIVER_STEP
        default: {
          const int fixed = FixedOperands(step);
          run_row(step.op, fixed, const_cast<double*>(rows[step.target]) + first,
                  rows[step.a] + (fixed & 1 ? 0 : first), rows[step.b] + (fixed & 2 ? 0 : first),
                  rows[step.c] + first, kWidth);
          // Nobody reads them now; else the call would have to save them.
          for (Vector& unused : last) unused = Vector{};
          continue;
        }
      }
      if (!step.is_kept) continue;
      // Results of steps lie in the evaluator's own memory.
      double* const target = const_cast<double*>(rows[step.target]) + first;
      _Pragma("GCC unroll 8") for (int i = 0; i < count; ++i) *
          reinterpret_cast<Vector*>(target + i * kVectorWidth) = last[i];
    }
  }
};

// A whole block or two vectors' worth of lanes at most; BlockWidth() tells which.
template <int bytes>
QUIVER_INLINE void RunSteps(std::span<const Instruction> code, const double* const* rows, int lanes,
                            RowRunner* run_row) {
  using Whole = Piece<bytes, 8>;
  using Narrow = Piece<bytes, kLaneBytes / bytes>;
  if (lanes == kLanes) {
    for (int first = 0; first < lanes; first += Whole::kWidth) Whole::Run(code, rows, first, run_row);
  } else {
    for (int first = 0; first < lanes; first += Narrow::kWidth) Narrow::Run(code, rows, first, run_row);
  }
}

struct Runners {
  void (*steps)(std::span<const Instruction> code, const double* const* rows, int lanes);
  RowRunner* row;
};

// `leave`: clears the upper halves of registers, without which the caller's own code would run at half speed afterwards;
// compilers do it only where they optimise, and not before every call.
#define QUIVER_RUNNERS(machine, target, bytes, leave)                                                      \
  target [[gnu::noinline]] void RunRow##machine(Operator op, int fixed, double* to, const double* a,       \
                                                const double* b, const double* c, int lanes) {             \
    RunRow(op, fixed, to, a, b, c, lanes);                                                                 \
    leave;                                                                                                 \
  }                                                                                                        \
  target void RunSteps##machine(std::span<const Instruction> code, const double* const* rows, int lanes) { \
    RunSteps<bytes>(code, rows, lanes, RunRow##machine);                                                   \
    leave;                                                                                                 \
  }                                                                                                        \
  constexpr Runners k##machine = {RunSteps##machine, RunRow##machine};
QUIVER_RUNNERS(Baseline, , 16, )
#ifdef QUIVER_WIDE_MACHINES
QUIVER_RUNNERS(Avx2, QUIVER_FOR_AVX2, 32, __builtin_ia32_vzeroupper())
QUIVER_RUNNERS(Avx512, QUIVER_FOR_AVX512, 64, __builtin_ia32_vzeroupper())
#endif
#undef QUIVER_RUNNERS

const Runners& RunnersFor([[maybe_unused]] Machine machine) {
#ifdef QUIVER_WIDE_MACHINES
  if (machine == Machine::kAvx512) return kAvx512;
  if (machine == Machine::kAvx2) return kAvx2;
#endif
  return kBaseline;
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
  const int whole = BlockWidth(lanes);
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
  constants_ = constants.data();
}

void LaneEvaluator::RunCode(const LaneCode& code, int turn) {
  RowRunner* const run_row = RunnersFor(code.machine()).row;
  for (const LaneCode::Piece& piece : code.OfTurn(turn)) {
    if (piece.function) {
      piece.function(rows_.data(), scratch_.data()->lane, constants_,
                     static_cast<std::size_t>(lanes_) * sizeof(double));
      continue;
    }
    for (int i = piece.begin; i < piece.end; ++i) {
      const Instruction& step = program_->code[i];
      run_row(step.op, FixedOperands(step), const_cast<double*>(rows_[step.target]), rows_[step.a],
              rows_[step.b], rows_[step.c], lanes_);
    }
  }
}

void LaneEvaluator::RunTurn(int turn) {
  if (program_->machine_code && program_->machine_code->machine() == CurrentMachine())
    return RunCode(*program_->machine_code, turn);
  const std::span<const Instruction> code = program_->code;
  const int begin = turn == 0 ? 0 : program_->turns[turn - 1].code_end;
  RunnersFor(CurrentMachine())
      .steps(code.subspan(begin, program_->turns[turn].code_end - begin), rows_.data(), lanes_);
}

void RunOperation(Operator op, double* target, const double* a, const double* b, const double* c, int lanes) {
  RunnersFor(CurrentMachine()).row(op, 0, target, a, b, c, BlockWidth(lanes));
}

}  // namespace quiver
