// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/unit_evaluator.h"

#include <algorithm>
#include <cmath>

#include "runtime/contract/procedure_access.h"

namespace quiver {

static_assert(kLanes == kPartLanes && kLaneBytes == kPartLaneBytes);

UnitEvaluator::UnitEvaluator(UnitRepeats& repeats, const UnitRepeats::Group& group, int caller)
    : repeats_(repeats), group_(group), caller_(caller) {
  for (const char has : group.layout.has_alternatives) {
    choice_of_.push_back(has ? static_cast<int>(choices_.size()) : -1);
    if (has) choices_.emplace_back();
  }
}

void UnitEvaluator::Take(std::span<const int> parts) {
  parts_.assign(parts.begin(), parts.end());
  for (Choice& choice : choices_) std::fill_n(choice.lane, kLanes, kUndecided);
}

// The value of a shape in every lane.
const double* UnitEvaluator::Run(const UnitRepeats::Member& member, int shape, int places,
                                 std::span<const PartRow> values, bool slopes) {
  const Shape& of = repeats_.shapes_[shape];
  inputs_.clear();
  for (int k = 0; k < of.variable_count; ++k)
    inputs_.push_back(values[static_cast<size_t>(member.place_of[static_cast<size_t>(places + k)])].lane);
  const auto lanes = static_cast<int>(parts_.size());
  if (slopes)
    evaluator_.Gradients(of, inputs_, lanes, repeats_.context_);
  else
    evaluator_.Values(of, inputs_, lanes, repeats_.context_);
  return evaluator_.output(0);
}

// The first alternative of which all conditions hold.
void UnitEvaluator::Decide(const UnitRepeats::Member& member, const UnitPattern::Equation& equation,
                           std::span<const PartRow> values, Choice& choice) {
  const size_t lanes = parts_.size();
  std::fill_n(choice.lane, lanes, kNone);
  size_t undecided = lanes;
  for (int a = 0; a < equation.alternative_count && undecided > 0; ++a) {
    const UnitPattern::Alternative& alternative =
        member.pattern->alternatives[static_cast<size_t>(equation.first + a)];
    bool holds[kLanes];
    std::fill_n(holds, lanes, true);
    for (int c = 0; c < alternative.condition_count; ++c) {
      const auto& condition =
          member.pattern->conditions[static_cast<size_t>(alternative.first_condition + c)];
      const double* const value = Run(member, condition.shape, condition.places, values, false);
      for (size_t i = 0; i < lanes; ++i) holds[i] = holds[i] && value[i] != 0;
    }
    for (size_t i = 0; i < lanes; ++i) {
      if (choice.lane[i] != kNone || !holds[i]) continue;
      choice.lane[i] = static_cast<short>(a);
      --undecided;
    }
  }
}

void UnitEvaluator::Evaluate(int index, std::span<const PartRow> values, int first, int count,
                             PartRow& residual, std::span<PartRow> slopes, unsigned char* is_good) {
  size_t m = group_.members.size() - 1;
  while (group_.members[m].first_equation > index) --m;
  const UnitRepeats::Member& member = group_.members[m];
  const UnitPattern::Equation& equation =
      member.pattern->equations[static_cast<size_t>(index - member.first_equation)];
  const size_t lanes = parts_.size();
  const int choice_at = choice_of_[static_cast<size_t>(index)];
  Choice* const choice = choice_at < 0 ? nullptr : &choices_[static_cast<size_t>(choice_at)];
  if (choice) Decide(member, equation, values, *choice);

  std::fill_n(is_good + first, count, 0);
  const bool adds_up = choice || member.pattern->alternatives[static_cast<size_t>(equation.first)].call >= 0;
  for (PartRow& row : slopes)
    if (adds_up) std::fill_n(row.lane + first, count, 0.0);
  for (int a = 0; a < equation.alternative_count; ++a) {
    const auto is_chosen = [&](size_t i) { return !choice || choice->lane[i] == a; };
    bool any = false;
    for (size_t i = 0; i < lanes && !any; ++i) any = is_chosen(i);
    if (!any) continue;
    const UnitPattern::Alternative& alternative =
        member.pattern->alternatives[static_cast<size_t>(equation.first + a)];
    if (alternative.call >= 0) {
      for (auto i = static_cast<size_t>(first); i < static_cast<size_t>(first + count); ++i)
        if (is_chosen(i))
          is_good[i] = Call(m, alternative, static_cast<int>(i), values, residual.lane[i], slopes);
      continue;
    }
    const double* const value = Run(member, alternative.shape, alternative.places, values, true);
    for (size_t i = 0; i < lanes; ++i) {
      if (!is_chosen(i)) continue;
      residual.lane[i] = value[i];
      is_good[i] = std::isfinite(value[i]);
    }
    const int variables = repeats_.shapes_[alternative.shape].variable_count;
    for (int k = 0; k < variables; ++k) {
      const int column =
          alternative.columns < 0 ? k : member.pattern->columns[static_cast<size_t>(alternative.columns + k)];
      double* const to = slopes[static_cast<size_t>(column)].lane;
      const double* const from = evaluator_.output(1 + k);
      if (!choice) {
        std::copy_n(from, lanes, to);
        continue;
      }
      for (size_t i = 0; i < lanes; ++i)
        if (is_chosen(i)) to[i] = from[i];
    }
  }
}

// An output of a routine for one part. Where nobody solves for an input, slopes by inputs are spared.
bool UnitEvaluator::Call(size_t m, const UnitPattern::Alternative& alternative, int lane,
                         std::span<const PartRow> values, double& residual, std::span<PartRow> slopes) {
  const UnitRepeats::Member& member = group_.members[m];
  const auto at = static_cast<size_t>(alternative.call);
  const UnitPattern::Call& call = member.pattern->calls[at];
  const UnitPattern* const confirmation = member.pattern->confirmation;
  const bool second = caller_ == 1 && confirmation;
  QV_ProcedureType& procedure = *(second ? confirmation->calls[at].procedure : call.procedure);
  const Unit& unit = repeats_.UnitOf(group_, parts_[static_cast<size_t>(lane)], static_cast<int>(m));
  const int* const numbers = repeats_.units_.PlacesOf(unit, call.places);
  const int count = call.inputs + call.outputs;

  // The holders of the next part, which is asked next, lie elsewhere.
  if (static_cast<size_t>(lane) + 1 < parts_.size()) {
    const Unit& next = repeats_.UnitOf(group_, parts_[static_cast<size_t>(lane) + 1], static_cast<int>(m));
    const int* const places = repeats_.units_.PlacesOf(next, call.places);
    for (int k = 0; k < count; ++k) __builtin_prefetch(repeats_.scope_.Holder(places[k]), 1);
  }

  const std::lock_guard lock(repeats_.calling_[second]);
  holders_.resize(static_cast<size_t>(count));
  bool with_slopes = false;
  for (int k = 0; k < count; ++k) {
    QV_VarParam* holder = holders_[static_cast<size_t>(k)] = repeats_.scope_.Holder(numbers[k]);
    const auto place = static_cast<size_t>(member.place_of[static_cast<size_t>(call.places + k)]);
    with_slopes = with_slopes || (k < call.inputs && group_.layout.is_free[place]);
    const double value = values[place].lane[lane];
    if (HostAccess::KindOf(*holder) == HostAccess::kReal && HostAccess::Real(*holder) != value)
      HostAccess::Real(*holder) = value;
  }
  call_residuals_.resize(static_cast<size_t>(call.outputs));
  call_rows_.assign(static_cast<size_t>(call.outputs) * static_cast<size_t>(count), 0.0);
  const CurrentGuard guard({const_cast<Scope*>(&repeats_.scope_), nullptr, nullptr, nullptr});
  BindElements(procedure, holders_);
  if (!EvaluateProcedure(procedure, call_residuals_.data(), with_slopes ? call_rows_.data() : nullptr))
    return false;
  residual = call_residuals_[static_cast<size_t>(alternative.output)];
  double* const row = call_rows_.data() + static_cast<size_t>(alternative.output * count);
  if (!with_slopes) row[call.inputs + alternative.output] = 1.0;
  const int* const columns = member.pattern->columns.data() + alternative.columns;
  for (int k = 0; k < count; ++k)
    if (columns[k] >= 0) slopes[static_cast<size_t>(columns[k])].lane[lane] += row[k];
  return std::isfinite(residual);
}

void UnitEvaluator::KeepAlternatives(int lane) {
  for (size_t m = 0; m < group_.members.size(); ++m) {
    const UnitRepeats::Member& member = group_.members[m];
    if (member.pattern->states == 0) continue;
    const Unit& unit = repeats_.UnitOf(group_, parts_[static_cast<size_t>(lane)], static_cast<int>(m));
    for (size_t e = 0; e < member.pattern->equations.size(); ++e) {
      const UnitPattern::Equation& equation = member.pattern->equations[e];
      if (equation.state < 0) continue;
      const size_t index = static_cast<size_t>(member.first_equation) + e;
      const short place = choices_[static_cast<size_t>(choice_of_[index])].lane[lane];
      if (place == kUndecided) continue;
      AlternativeState& state =
          repeats_.units_.states[static_cast<size_t>(unit.first_state + equation.state)];
      state.place = place;
      if (place >= 0) state.alternative = equation.first + place;
    }
  }
}

void UnitEvaluator::ForgetAlternatives(int lane, std::span<const int> equations) {
  for (const int equation : equations)
    if (const int choice = choice_of_[static_cast<size_t>(equation)]; choice >= 0)
      choices_[static_cast<size_t>(choice)].lane[lane] = kUndecided;
}

}  // namespace quiver
