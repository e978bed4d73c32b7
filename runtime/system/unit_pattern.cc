// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/unit_pattern.h"

#include <algorithm>
#include <bit>

#include "runtime/contract/array_storage.h"
#include "runtime/contract/scope.h"
#include "runtime/system/pattern_builder.h"

namespace quiver {
namespace {

std::uint64_t Bits(const void* pointer) {
  return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(pointer));
}

}  // namespace

// Texts and sets are lasting, one for each content, so that their pointers tell them apart.
std::uint64_t FindingOf(const QV_VarParam& holder, Reading::What what) {
  auto& readable = const_cast<QV_VarParam&>(holder);
  switch (what) {
    case Reading::kValue:
      return std::bit_cast<std::uint64_t>(HostAccess::Real(readable));
    case Reading::kLower:
      return std::bit_cast<std::uint64_t>(holder.LowerBound());
    case Reading::kUpper:
      return std::bit_cast<std::uint64_t>(holder.UpperBound());
    case Reading::kOrigin:
      return holder.HoldsDefault();
    case Reading::kDimensions: {
      const ArrayStorage* storage = HostAccess::Storage(static_cast<QV_ArrayBase&>(readable));
      if (!storage) return 0;
      std::uint64_t bits = storage->sets.size() + 1;
      for (size_t k = 0; k < storage->sets.size(); ++k)
        bits = std::rotl(bits, 17) * 0x9E3779B97F4A7C15u ^ Bits(&storage->sets[k]);
      return bits;
    }
  }
  return 0;
}

bool UnitPattern::Fits(Instance& instance, std::vector<int>& numbers) const {
  for (const Finding& finding : findings) {
    const QV_VarParam* holder = finding.path.In(instance);
    if (!holder || FindingOf(*holder, finding.what) != finding.bits) return false;
  }
  numbers.resize(slots.size());
  Scope& scope = instance.scope();
  for (size_t s = 0; s < slots.size(); ++s) {
    QV_VarParam* holder = slots[s].path.In(instance);
    if (!holder) return false;
    const int number = HostAccess::Number(*holder);
    numbers[s] = number >= 0 ? number : scope.Number(*holder);
  }
  // Where references lead elsewhere than in the instance that told, two places may have become one.
  for (size_t s = 0; s < slots.size(); ++s) {
    if (!slots[s].path.IsReference() || scope.Holder(numbers[s]) == slots[s].holder) continue;
    if (std::count(numbers.begin(), numbers.end(), numbers[s]) > 1) return false;
  }
  return true;
}

bool UnitPattern::Equals(const std::vector<int>& numbers, const UnitPattern& other,
                         const std::vector<int>& other_numbers) const {
  const auto same_places = [&](int mine, int theirs, int count) {
    for (int k = 0; k < count; ++k)
      if (numbers[static_cast<size_t>(places[static_cast<size_t>(mine + k)])] !=
          other_numbers[static_cast<size_t>(other.places[static_cast<size_t>(theirs + k)])])
        return false;
    return true;
  };
  if (equations.size() != other.equations.size() || columns != other.columns ||
      alternatives.size() != other.alternatives.size() || conditions.size() != other.conditions.size() ||
      calls.size() != other.calls.size() || states != other.states || places.size() != other.places.size() ||
      !same_places(0, 0, static_cast<int>(places.size())))
    return false;
  const auto same = [](const auto& mine, const auto& theirs, auto equal) {
    return std::equal(mine.begin(), mine.end(), theirs.begin(), theirs.end(), equal);
  };
  return same(equations, other.equations,
              [](const Equation& a, const Equation& b) {
                return a.first == b.first && a.alternative_count == b.alternative_count && a.row == b.row &&
                       a.row_count == b.row_count && a.condition_row == b.condition_row &&
                       a.condition_row_count == b.condition_row_count && a.state == b.state;
              }) &&
         same(alternatives, other.alternatives,
              [](const Alternative& a, const Alternative& b) {
                return a.shape == b.shape && a.places == b.places && a.call == b.call &&
                       a.output == b.output && a.first_condition == b.first_condition &&
                       a.condition_count == b.condition_count && a.columns == b.columns && a.name == b.name &&
                       a.label == b.label;
              }) &&
         same(conditions, other.conditions,
              [](const Condition& a, const Condition& b) {
                return a.shape == b.shape && a.places == b.places;
              }) &&
         same(calls, other.calls, [](const Call& a, const Call& b) {
           return a.inputs == b.inputs && a.outputs == b.outputs && a.places == b.places &&
                  typeid(*a.procedure) == typeid(*b.procedure);
         });
}

int PatternStore::Intern(const std::vector<Token>& stream, std::vector<int>& gather) {
  const size_t first = gather.size();
  const int known = shapes_.size();
  const int shape = shapes_.Intern(stream, gather);
  if (shape >= known) {
    std::vector<Token> local = stream;
    for (Token& token : local)
      if (token.kind == Token::kVariable)
        token = Token::Variable(
            static_cast<int>(std::find(gather.begin() + static_cast<long>(first), gather.end(), token.index) -
                             gather.begin() - static_cast<long>(first)));
    streams_.resize(static_cast<size_t>(shapes_.size()));
    streams_[static_cast<size_t>(shape)] = std::move(local);
  }
  return shape;
}

UnitPattern* PatternStore::Read(Instance& instance, std::vector<int>& numbers) {
  ++instances_written_out_;
  const size_t faults = instance.scope().faults.size();
  readings_.Clear();
  ReadEquations(instance, record_, written_out_ ? nullptr : &readings_);
  if (record_.result < 0) return nullptr;
  auto pattern = std::make_unique<UnitPattern>();
  if (!BuildPattern(instance, record_, readings_, *this, *pattern)) return nullptr;
  if (instance.scope().faults.size() > faults) pattern->is_repeatable = false;
  numbers.clear();
  for (const UnitPattern::Slot& slot : pattern->slots)
    numbers.push_back(instance.scope().Number(*slot.holder));
  return patterns_.emplace_back(std::move(pattern)).get();
}

const UnitPattern* PatternStore::PatternOf(Instance& instance, std::vector<int>& numbers) {
  if (written_out_) return Read(instance, numbers);
  OfType& of_type = types_[&instance.type()];
  for (size_t k = 0; of_type.repeats && k < of_type.known.size(); ++k) {
    UnitPattern* pattern = of_type.known[k];
    if (!pattern->Fits(instance, numbers)) continue;
    if (k > 0) std::swap(of_type.known[0], of_type.known[k]);
    if (pattern->is_confirmed) return pattern;
    // Its first use for another instance: that one tells its equations, too, and both must agree. A model whose
    // choices hang on something that is no property is found out here.
    const std::vector<int> replayed = numbers;
    UnitPattern* told = Read(instance, numbers);
    if (!told) return nullptr;
    of_type.repeats = pattern->Equals(replayed, *told, numbers);
    if (!of_type.repeats) return told;
    pattern->is_confirmed = true;
    pattern->confirmation = told;
    numbers = replayed;
    return pattern;
  }
  UnitPattern* pattern = Read(instance, numbers);
  if (pattern && pattern->is_repeatable) of_type.known.insert(of_type.known.begin(), pattern);
  return pattern;
}

}  // namespace quiver
