// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/unit_repeats.h"

#include <algorithm>
#include <numeric>

#include "runtime/system/unit_evaluator.h"

namespace quiver {
namespace {

// The parts: units that share an unknown are of one part, which its first unit stands for.
std::vector<int> FirstUnits(const UnitList& list, const std::vector<unsigned char>& is_free) {
  const auto count = static_cast<int>(list.units.size());
  std::vector<int> above(list.units.size()), user(is_free.size(), -1);
  std::iota(above.begin(), above.end(), 0);
  const auto first_of = [&](int unit) {
    while (above[static_cast<size_t>(unit)] != unit)
      unit = above[static_cast<size_t>(unit)] = above[static_cast<size_t>(above[static_cast<size_t>(unit)])];
    return unit;
  };
  for (int u = 0; u < count; ++u) {
    const Unit& unit = list.units[static_cast<size_t>(u)];
    const int* const places = list.PlacesOf(unit, 0);
    for (const int k : unit.pattern->distinct) {
      const auto variable = static_cast<size_t>(places[k]);
      if (!is_free[variable]) continue;
      if (user[variable] < 0) user[variable] = u;
      if (user[variable] == u) continue;
      const auto [low, high] = std::minmax({first_of(user[variable]), first_of(u)});
      above[static_cast<size_t>(high)] = low;
    }
  }
  std::vector<int> first(list.units.size());
  for (int u = 0; u < count; ++u) first[static_cast<size_t>(u)] = first_of(u);
  return first;
}

// What parts of a group have in common, as words: patterns, then for each of their distinct places the part's own place of
// it, with a bit that tells whether it is free.
class Description {
 public:
  explicit Description(size_t variables) : mark_(variables, -1) {}

  const std::vector<std::uint64_t>& Of(const UnitList& list, std::span<const int> units,
                                       const std::vector<unsigned char>& is_free) {
    words_.clear();
    const int first = next_;
    for (const int u : units) {
      const Unit& unit = list.units[static_cast<size_t>(u)];
      words_.push_back(reinterpret_cast<std::uintptr_t>(unit.pattern));
      const int* const numbers = list.PlacesOf(unit, 0);
      for (const int k : unit.pattern->distinct) {
        const auto variable = static_cast<size_t>(numbers[k]);
        int& mark = mark_[variable];
        if (mark < first) mark = next_++;  // not yet seen in this part
        words_.push_back(static_cast<std::uint64_t>(mark - first) << 1 | is_free[variable]);
      }
    }
    return words_;
  }

 private:
  std::vector<int> mark_;  // by variable: its place in the part that named it last, counted on over all parts
  int next_ = 0;
  std::vector<std::uint64_t> words_;
};

std::uint64_t HashOf(const std::vector<std::uint64_t>& words) {
  std::uint64_t hash = words.size();
  for (const std::uint64_t word : words) hash = (hash << 7 ^ hash >> 57 ^ word) * 0x9E3779B97F4A7C15u;
  return hash;
}

}  // namespace

UnitRepeats::UnitRepeats(UnitList& units, const ShapeStore& shapes, const Scope& scope,
                         const std::vector<unsigned char>& is_free, const EvaluationContext& context)
    : units_(units), shapes_(shapes), scope_(scope), context_(context) {
  const std::vector<int> first = FirstUnits(units, is_free);
  // Units sorted by part; a part's stay in their order.
  std::vector<int> start(first.size() + 1, 0), sorted(first.size());
  for (const int f : first) ++start[static_cast<size_t>(f) + 1];
  std::partial_sum(start.begin(), start.end(), start.begin());
  {
    std::vector<int> next = start;
    for (size_t u = 0; u < first.size(); ++u)
      sorted[static_cast<size_t>(next[static_cast<size_t>(first[u])]++)] = static_cast<int>(u);
  }

  struct Known {
    std::vector<std::uint64_t> words;
    std::vector<int> units;
    size_t members;
  };
  std::unordered_multimap<std::uint64_t, size_t> by_hash;
  std::vector<Known> known;
  Description description(is_free.size());
  for (size_t f = 0; f < first.size(); ++f) {
    const std::span<const int> part(sorted.data() + start[f], static_cast<size_t>(start[f + 1] - start[f]));
    if (part.empty()) continue;
    const std::vector<std::uint64_t>& words = description.Of(units, part, is_free);
    const std::uint64_t hash = HashOf(words);
    auto [at, end] = by_hash.equal_range(hash);
    while (at != end && known[at->second].words != words) ++at;
    if (at == end) {
      at = by_hash.emplace(hash, known.size());
      known.push_back({words, {}, part.size()});
    }
    Known& group = known[at->second];
    group.units.insert(group.units.end(), part.begin(), part.end());
  }

  for (Known& one : known) {
    if (static_cast<int>(one.units.size() / one.members) < kFewest) {
      for (const int u : one.units) {
        const Unit& unit = units.units[static_cast<size_t>(u)];
        for (size_t e = 0; e < unit.pattern->equations.size(); ++e)
          rest_.push_back(unit.first_equation + static_cast<int>(e));
      }
      continue;
    }
    Group& group = groups_.emplace_back();
    group.units = std::move(one.units);
    size_t word = 0;
    for (size_t m = 0; m < one.members; ++m) {
      Member& member = group.members.emplace_back();
      member.pattern = reinterpret_cast<const UnitPattern*>(one.words[word++]);
      member.first_equation = group.layout.Equations();
      group.layout.rows.resize(group.layout.rows.size() + member.pattern->equations.size());
      std::vector<int> place_of_slot(member.pattern->slots.size());
      for (const int k : member.pattern->distinct) {
        const auto place = static_cast<size_t>(one.words[word] >> 1);
        place_of_slot[static_cast<size_t>(member.pattern->places[static_cast<size_t>(k)])] =
            static_cast<int>(place);
        if (place == group.sources.size()) {
          group.sources.push_back({static_cast<int>(m), k});
          group.layout.is_free.push_back(static_cast<char>(one.words[word] & 1));
        }
        ++word;
      }
      for (const int slot : member.pattern->places)
        member.place_of.push_back(place_of_slot[static_cast<size_t>(slot)]);
    }
    LayOut(group);
  }
  std::ranges::sort(rest_);
}

void UnitRepeats::LayOut(Group& group) const {
  PartLayout& layout = group.layout;
  const size_t count = layout.rows.size();
  layout.condition_rows.resize(count);
  layout.has_alternatives.resize(count);
  layout.is_call.resize(count);
  for (const Member& member : group.members) {
    for (size_t e = 0; e < member.pattern->equations.size(); ++e) {
      const UnitPattern::Equation& equation = member.pattern->equations[e];
      const size_t at = static_cast<size_t>(member.first_equation) + e;
      const auto copy = [&](int from, int places, std::vector<int>& row) {
        row.assign(member.place_of.begin() + from, member.place_of.begin() + from + places);
      };
      copy(equation.row, equation.row_count, layout.rows[at]);
      copy(equation.condition_row, equation.condition_row_count, layout.condition_rows[at]);
      layout.has_alternatives[at] = equation.state >= 0;
      for (int a = equation.first; a < equation.first + equation.alternative_count; ++a)
        if (member.pattern->alternatives[static_cast<size_t>(a)].call >= 0) layout.is_call[at] = 1;
    }
  }
}

int UnitRepeats::EquationOf(int group, int part, int equation) const {
  const Group& g = At(group);
  size_t member = g.members.size() - 1;
  while (g.members[member].first_equation > equation) --member;
  return UnitOf(g, part, static_cast<int>(member)).first_equation + equation -
         g.members[member].first_equation;
}

void UnitRepeats::VariablesOf(int group, int part, std::span<int> variables) const {
  const Group& g = At(group);
  int member = -1;
  const int* numbers = nullptr;
  for (size_t place = 0; place < g.sources.size(); ++place) {
    const Group::Source& source = g.sources[place];
    if (source.member != member) numbers = units_.PlacesOf(UnitOf(g, part, source.member), 0);
    member = source.member;
    variables[place] = numbers[source.place];
  }
  // Whoever asks for a part's bounds now is going to ask for the next part's: their properties lie elsewhere.
  if (part + 1 == PartCount(group)) return;
  member = -1;
  for (size_t place = 0; place < g.sources.size(); ++place) {
    const Group::Source& source = g.sources[place];
    if (source.member != member) numbers = units_.PlacesOf(UnitOf(g, part + 1, source.member), 0);
    member = source.member;
    if (g.layout.is_free[place]) __builtin_prefetch(scope_.Holder(numbers[source.place]));
  }
}

std::unique_ptr<PartEvaluator> UnitRepeats::MakeEvaluator(int group) {
  return std::make_unique<UnitEvaluator>(*this, At(group), evaluators_++ % 2);
}

}  // namespace quiver
