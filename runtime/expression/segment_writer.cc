// SPDX-License-Identifier: Apache-2.0
#include "runtime/expression/segment_writer.h"

#include <bit>
#include <cassert>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>

namespace quiver {
namespace {

using Code = VectorAssembler;

// Registers of the machine for what a step needs between its operands and its result.
constexpr int kFirstScratch = 0, kSecondScratch = 1, kScratchCount = 2;
constexpr std::uint64_t kAllButSign = ~(std::uint64_t{1} << 63);
constexpr int kMask = 1, kOtherMask = 2;

bool Commutes(Operator op) { return op == Operator::kAdd || op == Operator::kMultiply; }

std::optional<Code::Operation> ArithmeticOf(Operator op) {
  switch (op) {
    case Operator::kAdd:
      return Code::kAdd;
    case Operator::kSubtract:
      return Code::kSubtract;
    case Operator::kMultiply:
      return Code::kMultiply;
    case Operator::kDivide:
      return Code::kDivide;
    default:
      return std::nullopt;
  }
}

}  // namespace

bool SegmentWriter::Knows(Operator op) {
  switch (op) {
    case Operator::kResidual:
    case Operator::kNegate:
    case Operator::kSquare:
    case Operator::kSquareRoot:
    case Operator::kAbsolute:
    case Operator::kSign:
    case Operator::kMaximum:
    case Operator::kMinimum:
    case Operator::kTakesLarger:
    case Operator::kTakesSmaller:
    case Operator::kPassIf:
    case Operator::kGuardedProduct:
      return true;
    default:
      return ArithmeticOf(op).has_value();
  }
}

void SegmentWriter::Write(std::span<const MachineStep> steps) {
  // Numbers are what registers of the program hold between two writings.
  numbers_.clear();
  held_.assign(static_cast<std::size_t>(code_.register_count()), -1);
  fixed_.assign(held_.size(), 0);
  struct Operands {
    int a, b, target;
  };
  std::vector<Operands> operands;
  std::unordered_map<int, int> current;  // by register of the program
  const auto number_of = [&](int home) {
    const auto [at, is_new] = current.try_emplace(home, static_cast<int>(numbers_.size()));
    if (is_new) numbers_.push_back({.home = home});
    return at->second;
  };
  for (const MachineStep& step : steps) {
    Operands& of = operands.emplace_back();
    of.a = number_of(step.a);
    of.b = OperandCount(step.op) == 1 ? -1 : number_of(step.b);
    of.target = -1;
    if (step.op == Operator::kResidual) continue;
    of.target = static_cast<int>(numbers_.size());
    current[step.target] = of.target;
    numbers_.push_back({.home = step.target, .is_in_memory = false});
  }
  for (std::size_t i = steps.size(); i-- > 0;) {
    for (const int operand : {operands[i].a, operands[i].b}) {
      if (operand < 0) continue;
      std::vector<int>& reads = numbers_[static_cast<std::size_t>(operand)].reads;
      if (reads.empty() || reads.back() != static_cast<int>(i)) reads.push_back(static_cast<int>(i));
    }
  }

  for (std::size_t i = 0; i < steps.size(); ++i) {
    const MachineStep& step = steps[i];
    auto [a, b, target] = operands[i];
    const auto number = [&](int n) -> Number& { return numbers_[static_cast<std::size_t>(n)]; };
    const auto stays_in_memory = [&](int n) {
      return number(n).reg < 0 && number(n).reads.size() == 1 && code_.CanRead(home_of_(number(n).home));
    };
    if (b >= 0 && Commutes(step.op) && stays_in_memory(a) && !stays_in_memory(b)) std::swap(a, b);
    const int first = Loaded(a);
    fixed_[static_cast<std::size_t>(first)] = 1;
    const std::optional<Code::Operation> arithmetic = ArithmeticOf(step.op);
    const bool reads_memory = arithmetic && b != a && stays_in_memory(b);
    const int second = b < 0 || reads_memory ? first : Loaded(b);
    fixed_[static_cast<std::size_t>(second)] = 1;
    for (const int operand : {a, b})
      if (operand >= 0 && !number(operand).reads.empty() &&
          number(operand).reads.back() == static_cast<int>(i))
        number(operand).reads.pop_back();
    // What is read no more leaves its register to the result.
    for (const int operand : {a, b})
      if (operand >= 0 && number(operand).reads.empty()) Release(operand);
    if (target < 0) {
      WriteResults(step, first);
    } else {
      const int to = FreeRegister();
      held_[static_cast<std::size_t>(to)] = target;
      number(target).reg = to;
      if (!arithmetic) {
        WriteStep(step.op, to, first, second);
      } else if (reads_memory) {
        code_.Arithmetic(*arithmetic, to, first, home_of_(number(b).home));
      } else {
        code_.Arithmetic(*arithmetic, to, first, second);
      }
      WriteResults(step, to);
      if (step.is_kept) {
        code_.Store(home_of_(step.target), to);
        number(target).is_in_memory = true;
      }
      if (number(target).reads.empty()) Release(target);
    }
    fixed_[static_cast<std::size_t>(first)] = fixed_[static_cast<std::size_t>(second)] = 0;
  }
}

int SegmentWriter::Loaded(int n) {
  if (numbers_[static_cast<std::size_t>(n)].reg < 0) {
    const int reg = FreeRegister();
    Number& number = numbers_[static_cast<std::size_t>(n)];
    assert(number.is_in_memory);
    code_.Load(reg, home_of_(number.home));
    number.reg = reg;
    held_[static_cast<std::size_t>(reg)] = n;
  }
  return numbers_[static_cast<std::size_t>(n)].reg;
}

// The register of the number that is read last, if none is free.
int SegmentWriter::FreeRegister() {
  int best = -1, farthest = -1;
  for (std::size_t reg = kScratchCount; reg < held_.size(); ++reg) {
    if (held_[reg] < 0) return static_cast<int>(reg);
    if (fixed_[reg]) continue;
    const int next = numbers_[static_cast<std::size_t>(held_[reg])].reads.back();
    if (next <= farthest) continue;
    farthest = next;
    best = static_cast<int>(reg);
  }
  assert(best >= 0);
  Number& number = numbers_[static_cast<std::size_t>(held_[static_cast<std::size_t>(best)])];
  if (!number.is_in_memory) code_.Store(home_of_(number.home), best);
  number.is_in_memory = true;
  number.reg = -1;
  held_[static_cast<std::size_t>(best)] = -1;
  return best;
}

void SegmentWriter::Release(int n) {
  Number& number = numbers_[static_cast<std::size_t>(n)];
  if (number.reg < 0) return;
  held_[static_cast<std::size_t>(number.reg)] = -1;
  number.reg = -1;
}

void SegmentWriter::WriteResults(const MachineStep& step, int reg) {
  for (const ResultPlace& result : step.results) {
    if (result.is_negated) code_.Arithmetic(Code::kXor, kFirstScratch, reg, code_.Constant(-0.0));
    code_.Store(result.address, result.is_negated ? kFirstScratch : reg);
  }
}

// As operators.def defines them; a, b and the result may be the same register.
void SegmentWriter::WriteStep(Operator op, int to, int a, int b) {
  const auto clear = [&](int reg) { code_.Arithmetic(Code::kXor, reg, reg, reg); };
  const auto one = [&] { return code_.Constant(1); };
  switch (op) {
    case Operator::kNegate:
      return code_.Arithmetic(Code::kXor, to, a, code_.Constant(-0.0));
    case Operator::kSquare:
      return code_.Arithmetic(Code::kMultiply, to, a, a);
    case Operator::kSquareRoot:
      return code_.SquareRoot(to, a);
    case Operator::kAbsolute:  // all bits but the sign's
      return code_.Arithmetic(Code::kAnd, to, a, code_.Constant(std::bit_cast<double>(kAllButSign)));
    case Operator::kSign:  // a < 0 ? -1 : 1
      clear(kFirstScratch);
      if (code_.has_masks()) {
        code_.CompareToMask(Code::kLess, kMask, a, kFirstScratch);
        code_.Load(to, one());
        return code_.Load(to, code_.Constant(-1), kMask);
      }
      code_.Compare(Code::kLess, kFirstScratch, a, kFirstScratch);
      code_.Arithmetic(Code::kAnd, kFirstScratch, kFirstScratch, code_.Constant(-0.0));
      return code_.Arithmetic(Code::kOr, to, kFirstScratch, one());
    case Operator::kMaximum:
    case Operator::kMinimum:
    case Operator::kTakesLarger:
    case Operator::kTakesSmaller: {
      // Whether a is taken: where it is not smaller (larger), or not a number.
      const bool is_larger = op == Operator::kMaximum || op == Operator::kTakesLarger;
      const bool is_choice = op == Operator::kMaximum || op == Operator::kMinimum;
      if (code_.has_masks()) {  // kOtherMask: b is taken
        code_.CompareToMask(Code::kOrdered, kMask, a, a);
        code_.CompareToMask(is_larger ? Code::kNotGreaterOrEqual : Code::kNotLessOrEqual, kOtherMask, a, b,
                            kMask);
        if (is_choice) return code_.ChooseByMask(to, a, b, kOtherMask);
        code_.Load(to, one());
        return code_.Load(to, code_.Constant(0), kOtherMask);
      }
      code_.Compare(is_larger ? Code::kGreaterOrEqual : Code::kLessOrEqual, kFirstScratch, a, b);
      code_.Compare(Code::kUnordered, kSecondScratch, a, a);
      code_.Arithmetic(Code::kOr, kFirstScratch, kFirstScratch, kSecondScratch);
      if (is_choice) return code_.Choose(to, b, a, kFirstScratch);
      return code_.Arithmetic(Code::kAnd, to, kFirstScratch, one());
    }
    case Operator::kPassIf:  // b == 0 ? 0 : a
      clear(kFirstScratch);
      if (code_.has_masks()) {
        code_.CompareToMask(Code::kUnequal, kMask, b, kFirstScratch);
        return code_.MoveWhere(kMask, to, a);
      }
      code_.Compare(Code::kUnequal, kFirstScratch, b, kFirstScratch);
      return code_.Arithmetic(Code::kAnd, to, kFirstScratch, a);
    case Operator::kGuardedProduct:  // a == 0 ? 0 : a * b
      clear(kFirstScratch);
      if (code_.has_masks()) {
        code_.CompareToMask(Code::kUnequal, kMask, a, kFirstScratch);
        return code_.MultiplyWhere(kMask, to, a, b);
      }
      code_.Compare(Code::kUnequal, kFirstScratch, a, kFirstScratch);
      code_.Arithmetic(Code::kMultiply, kSecondScratch, a, b);
      return code_.Arithmetic(Code::kAnd, to, kFirstScratch, kSecondScratch);
    default:
      assert(false);
  }
}

}  // namespace quiver
