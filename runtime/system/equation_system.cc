// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/equation_system.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "runtime/contract/error.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/names.h"
#include "runtime/contract/procedure_access.h"
#include "runtime/contract/procedure_fault.h"
#include "runtime/expression/undefined.h"

namespace quiver {

EquationSystem::EquationSystem(Flowsheet& flowsheet, const std::vector<Tie>& ties,
                               const SystemOptions& options)
    : flowsheet_(&flowsheet), ties_(ties), patterns_(options.written_out) {
  MakeRoom();
  std::vector<int> numbers;
  const std::vector<Instance*> instances = flowsheet.Instances();
  const UnitPattern* last = nullptr;
  for (size_t i = 0; i < instances.size(); ++i) {
    const UnitPattern* pattern = patterns_.PatternOf(*instances[i], numbers);
    if (!pattern || pattern->equations.empty()) continue;
    if (pattern == last) Reserve(*pattern, instances.size() - i);
    last = pattern;
    AddUnit(*pattern, instances[i], nullptr, numbers);
  }
  AddTies();
  MakeRoom();
  flowsheet.ThrowFaults();
  TellUnready();
  flowsheet.ThrowFaults();
  told_ = flowsheet.scope().equations_told;
}

// Where like units follow each other, room for as many as may still come: large lists are not to be moved again and again.
void EquationSystem::Reserve(const UnitPattern& pattern, size_t units) {
  const auto reserve = [units](auto& list, size_t each) {
    if (list.capacity() < list.size() + each) list.reserve(list.size() + units * each);
  };
  reserve(units_.units, 1);
  reserve(units_.places, pattern.places.size());
  reserve(units_.states, static_cast<size_t>(pattern.states));
  reserve(unit_of_, pattern.equations.size());
}

void EquationSystem::AddUnit(const UnitPattern& pattern, const Instance* instance, const char* name,
                             const std::vector<int>& numbers) {
  const int unit = static_cast<int>(units_.units.size());
  units_.units.push_back({&pattern, instance, name, EquationCount(), static_cast<int>(units_.places.size()),
                          static_cast<int>(units_.states.size())});
  unit_of_.resize(unit_of_.size() + pattern.equations.size(), unit);
  const size_t first_place = units_.places.size();
  units_.places.resize(first_place + pattern.places.size());
  for (size_t k = 0; k < pattern.places.size(); ++k)
    units_.places[first_place + k] = numbers[static_cast<size_t>(pattern.places[k])];
  LookAt(pattern, numbers);
  if (pattern.states == 0) return;
  units_.states.resize(units_.states.size() + static_cast<size_t>(pattern.states));
  for (const UnitPattern::Equation& equation : pattern.equations)
    if (equation.state >= 0)
      units_.states[static_cast<size_t>(units_.units.back().first_state + equation.state)].alternative =
          equation.first;
}

// left - right = 0.
void EquationSystem::MakeTiePattern() {
  tie_pattern_ = std::make_unique<UnitPattern>();
  UnitPattern::Alternative alternative;
  alternative.shape =
      patterns_.Intern({Token::Code(20), Token::Variable(0), Token::Variable(1)}, tie_pattern_->places);
  tie_pattern_->alternatives.push_back(alternative);
  tie_pattern_->equations.emplace_back();
  tie_pattern_->equations[0].alternative_count = 1;
  tie_pattern_->equations[0].row_count = 2;
  tie_pattern_->slots.resize(2);
  tie_pattern_->distinct = {0, 1};
  for (UnitPattern::Slot& slot : tie_pattern_->slots) slot.in_row = true;
}

void EquationSystem::AddTies() {
  if (ties_.empty()) return;
  MakeTiePattern();
  Scope& scope = flowsheet_->scope();
  std::vector<unsigned char> named(static_cast<size_t>(scope.Count()), 0);
  for (const int variable : units_.places) named[static_cast<size_t>(variable)] = 1;
  for (const Tie& tie : ties_) {
    const auto matters = [&](QV_VarParam& holder) {
      const auto number = static_cast<size_t>(HostAccess::Number(holder));
      return HostAccess::SpecOf(holder) == QV_SPEC_GIVEN || (number < named.size() && named[number]);
    };
    if (tie.only_if_used && !matters(*tie.left) && !matters(*tie.right)) continue;
    if (HostAccess::KindOf(*tie.left) != HostAccess::kReal ||
        HostAccess::KindOf(*tie.right) != HostAccess::kReal) {
      scope.Fault(fmt::format("{}: only single real values can be made equal.", tie.name));
      continue;
    }
    if (tie.left == tie.right) {
      scope.Fault(fmt::format("{}: both sides are one and the same.", tie.name));
      continue;
    }
    AddUnit(*tie_pattern_, nullptr, Interned(tie.name), {scope.Number(*tie.left), scope.Number(*tie.right)});
  }
}

bool EquationSystem::CanBeFreed(int variable) const {
  const QV_VarParam* holder = flowsheet_->scope().Holder(variable);
  return holder && holder->IsVariable();
}

// For all variables that have numbers by now.
void EquationSystem::MakeRoom() {
  const auto variables = static_cast<size_t>(flowsheet_->scope().Count());
  if (free_.size() == variables) return;
  for (auto* flags : {&free_, &takes_part_, &left_side_}) flags->resize(variables);
  scale_.resize(variables, 1);
}

void EquationSystem::LookAt(const UnitPattern& pattern, const std::vector<int>& numbers) {
  MakeRoom();
  for (const int place : pattern.distinct) {
    const auto slot = static_cast<size_t>(pattern.places[static_cast<size_t>(place)]);
    LookAt(numbers[slot], pattern.slots[slot]);
  }
  for (const UnitPattern::Equation& equation : pattern.equations)
    if (static_cast<size_t>(equation.row_count) > gradient_.size())
      gradient_.resize(static_cast<size_t>(equation.row_count));
}

// A variable that takes part: whether it is free, and its typical magnitude.
void EquationSystem::LookAt(int variable, const UnitPattern::Slot& slot) {
  const auto n = static_cast<size_t>(variable);
  if (slot.is_left_side) left_side_[n] = 1;
  // A variable that only conditions name is nobody's unknown.
  const unsigned char part = slot.in_row ? 2 : 1;
  if (takes_part_[n] >= part) return;
  QV_VarParam& holder = HolderOf(variable);
  const bool seen = takes_part_[n] != 0;
  const bool is_variable = HostAccess::HasFlag(holder, HostAccess::kVariableFlag);
  const bool is_given = HostAccess::SpecOf(holder) == QV_SPEC_GIVEN;
  takes_part_[n] = part;
  free_[n] = part == 2 && is_variable && !is_given;
  if (seen) return;
  const double value = holder.RealValue();
  double typical = std::abs(value);
  if (const QV_Value* start = holder.QV_DefaultVALUE();
      start && HostAccess::KindOf(*start) == QV_Value::kReal)
    typical = std::max(typical, std::abs(HostAccess::Real(*start)));
  scale_[n] = typical > 0 && std::isfinite(typical) ? typical : 1;
  if (is_variable ? is_given && !std::isfinite(value) : !HasValue(holder)) unready_.push_back(variable);
}

void EquationSystem::TellUnready() {
  const CurrentGuard guard({&flowsheet_->scope(), nullptr, nullptr, nullptr});
  for (const int variable : unready_) {
    QV_VarParam& holder = HolderOf(variable);
    const char* const what =
        holder.IsVariable() ? " is given, but its value is not a finite number." : " has no value: set it.";
    flowsheet_->scope().Fault(QualifiedName(holder) + what);
  }
}

std::span<const int> EquationSystem::ResidualVariables(int equation) const {
  const Located at = At(equation);
  return {PlacesOf(*at.unit, at.equation->row), static_cast<size_t>(at.equation->row_count)};
}
std::span<const int> EquationSystem::ConditionVariables(int equation) const {
  const Located at = At(equation);
  return {PlacesOf(*at.unit, at.equation->condition_row),
          static_cast<size_t>(at.equation->condition_row_count)};
}

int EquationSystem::CurrentShape(int equation) const {
  const Located at = At(equation);
  const AlternativeState state = StateOf(at);
  return state.place < 0 ? -1 : at.unit->pattern->alternatives[static_cast<size_t>(state.alternative)].shape;
}
std::span<const int> EquationSystem::CurrentGather(int equation) const {
  const Located at = At(equation);
  const UnitPattern::Alternative& alternative =
      at.unit->pattern->alternatives[static_cast<size_t>(StateOf(at).alternative)];
  return {PlacesOf(*at.unit, alternative.places),
          static_cast<size_t>(shapes()[alternative.shape].variable_count)};
}

// The procedure of the instance that told the pattern, with this unit's elements.
EquationSystem::CallValues& EquationSystem::EvaluateCall(const Unit& unit, int index, const double* x) {
  const UnitPattern::Call& call = unit.pattern->calls[static_cast<size_t>(index)];
  CallValues& values = call_values_[&call];
  if (values.stamp == stamp_ && values.unit == &unit) return values;
  values.stamp = stamp_;
  values.unit = &unit;
  const int count = call.inputs + call.outputs;
  const int* const elements = PlacesOf(unit, call.places);
  Scope& scope = flowsheet_->scope();
  thread_local std::vector<QV_VarParam*> holders;
  holders.resize(static_cast<size_t>(count));
  for (int k = 0; k < count; ++k) {
    QV_VarParam* holder = holders[static_cast<size_t>(k)] = scope.Holder(elements[k]);
    if (HostAccess::KindOf(*holder) == HostAccess::kReal) HostAccess::Real(*holder) = x[elements[k]];
  }
  values.residuals.resize(static_cast<size_t>(call.outputs));
  values.rows.resize(static_cast<size_t>(call.outputs) * static_cast<size_t>(count));
  const CurrentGuard guard({&scope, nullptr, nullptr, nullptr});
  BindElements(*call.procedure, holders);
  values.failed = !EvaluateProcedure(*call.procedure, values.residuals.data(), values.rows.data());
  if (values.failed) values.reason = LastProcedureFault().sentence;
  return values;
}

bool EquationSystem::Evaluate(std::span<const int> equations, const double* x, double* residuals,
                              double* gradients) {
  ++stamp_;
  fault_ = {};
  const std::span<const double> all(x, free_.size());
  bool finite = true;
  for (const int e : equations) {
    const Located at = At(e);
    const AlternativeState state = StateOf(at);
    const UnitPattern& pattern = *at.unit->pattern;
    const UnitPattern::Alternative& alternative =
        pattern.alternatives[static_cast<size_t>(state.alternative)];
    const auto row = static_cast<size_t>(at.equation->row_count);
    double* gradient = gradients;
    if (gradients) {
      std::fill_n(gradients, row, 0.0);
      gradients += row;
    }
    double& residual = *residuals++;
    bool good = state.place >= 0;
    if (!good) {
      residual = std::nan("");
    } else if (alternative.call >= 0) {
      const CallValues& values = EvaluateCall(*at.unit, alternative.call, x);
      good = !values.failed;
      if (good) {
        residual = values.residuals[static_cast<size_t>(alternative.output)];
        const UnitPattern::Call& call = pattern.calls[static_cast<size_t>(alternative.call)];
        const auto elements = static_cast<size_t>(call.inputs + call.outputs);
        const double* from = values.rows.data() + static_cast<size_t>(alternative.output) * elements;
        const int* columns = pattern.columns.data() + alternative.columns;
        for (size_t k = 0; gradient && k < elements; ++k)
          if (columns[k] >= 0) gradient[columns[k]] += from[k];
      }
    } else {
      const Shape& shape = shapes()[alternative.shape];
      const auto count = static_cast<size_t>(shape.variable_count);
      const std::span<const int> gather(PlacesOf(*at.unit, alternative.places), count);
      if (!gradient) {
        residual = evaluator_.Value(shape, gather, all, context_);
      } else if (alternative.columns < 0) {
        residual = evaluator_.Gradient(shape, gather, all, {gradient, count}, context_);
      } else {
        residual = evaluator_.Gradient(shape, gather, all, {gradient_.data(), count}, context_);
        for (size_t k = 0; k < count; ++k)
          gradient[pattern.columns[static_cast<size_t>(alternative.columns) + k]] = gradient_[k];
      }
    }
    good = good && std::isfinite(residual);
    // A slope matters only to whoever solves for its variable: the fault is told, the solver decides.
    if (good && gradient && fault_.equation < 0)
      for (size_t k = 0; k < row; ++k)
        if (!std::isfinite(gradient[k]) && IsFree(ResidualVariables(e)[k])) {
          Explain(e, x);
          break;
        }
    if (!good && finite) {
      finite = false;
      Explain(e, x);
    }
  }
  return finite;
}

// The reason why an equation has no finite value or slope at x, in words.
void EquationSystem::Explain(int e, const double* x) {
  fault_.equation = e;
  const Located at = At(e);
  const AlternativeState state = StateOf(at);
  const UnitPattern::Alternative& alternative =
      at.unit->pattern->alternatives[static_cast<size_t>(state.alternative)];
  if (state.place < 0) {
    fault_.reason = "none of its conditions holds";
    return;
  }
  if (alternative.call >= 0) {
    const CallValues& values = EvaluateCall(*at.unit, alternative.call, x);
    fault_.reason = values.failed ? values.reason : "the routine's value is not finite";
    return;
  }
  const std::vector<Token> stream = NumberedStream(alternative.shape, PlacesOf(*at.unit, alternative.places));
  const std::span<const double> all(x, free_.size());
  const auto name = [this](int variable) { return VariableName(variable); };
  auto cause = FindUndefined(stream, all, name);
  if (!cause) cause = FindUndefinedSlope(stream, all, name);
  fault_.reason = cause ? cause->text + " is undefined" : "its value is not finite";
}

int EquationSystem::DecideAlternatives(std::span<const int> equations, const double* x) {
  const std::span<const double> all(x, free_.size());
  int changed = 0;
  for (const int e : equations) {
    const Located at = At(e);
    if (at.equation->state < 0) continue;
    AlternativeState& state = units_.states[static_cast<size_t>(at.unit->first_state + at.equation->state)];
    const UnitPattern& pattern = *at.unit->pattern;
    const auto holds = [&](int index) {
      const UnitPattern::Alternative& alternative = pattern.alternatives[static_cast<size_t>(index)];
      for (int c = 0; c < alternative.condition_count; ++c) {
        const auto& condition = pattern.conditions[static_cast<size_t>(alternative.first_condition + c)];
        const Shape& shape = shapes()[condition.shape];
        const std::span<const int> gather(PlacesOf(*at.unit, condition.places),
                                          static_cast<size_t>(shape.variable_count));
        if (!evaluator_.Holds(shape, gather, all, context_)) return false;
      }
      return true;
    };
    int found = -1;
    for (int place = 0; place < at.equation->alternative_count && found < 0; ++place)
      if (holds(at.equation->first + place)) found = place;
    if (found >= 0) state.alternative = at.equation->first + found;
    if (found != state.place) ++changed;
    state.place = found;
  }
  return changed;
}

std::string EquationSystem::AlternativeName(int equation, int place) const {
  const Located at = At(equation);
  const int last = at.equation->alternative_count - 1;
  const UnitPattern::Alternative& alternative =
      at.unit->pattern->alternatives[static_cast<size_t>(at.equation->first + std::clamp(place, 0, last))];
  return alternative.label ? fmt::format("{} (under {})", alternative.name, alternative.label)
                           : fmt::format("{} (otherwise)", alternative.name);
}

std::string EquationSystem::EquationName(int equation) const {
  const Located at = At(equation);
  if (!at.unit->instance) return at.unit->name;
  return BlockName(*at.unit) +
         at.unit->pattern->alternatives[static_cast<size_t>(StateOf(at).alternative)].name;
}

std::string EquationSystem::VariableName(int variable) const {
  const CurrentGuard guard({&flowsheet_->scope(), nullptr, nullptr, nullptr});
  QV_VarParam* holder = flowsheet_->scope().Holder(variable);
  return holder ? QualifiedName(*holder) : "?";
}

std::vector<double> EquationSystem::StartValues() const {
  std::vector<double> x(free_.size());
  for (size_t n = 0; n < x.size(); ++n)
    if (const QV_VarParam* holder = flowsheet_->scope().Holder(static_cast<int>(n)))
      x[n] = holder->RealValue();
  return x;
}

void EquationSystem::Store(std::span<const double> x) {
  for (size_t n = 0; n < free_.size(); ++n) {
    QV_VarParam* holder = flowsheet_->scope().Holder(static_cast<int>(n));
    if (!holder || !holder->IsVariable()) continue;
    HostAccess::Real(*holder) = x[n];
    if (free_[n] && HostAccess::OriginOf(*holder) != Origin::kUser)
      HostAccess::SetOrigin(*holder, Origin::kSolution);
  }
}

RepeatedParts* EquationSystem::Repeats() {
  if (!repeats_)
    repeats_ = std::make_unique<UnitRepeats>(units_, shapes(), flowsheet_->scope(), free_, context_);
  return repeats_->GroupCount() > 0 ? repeats_.get() : nullptr;
}

SystemSummary EquationSystem::Summary() const {
  SystemSummary summary;
  for (const Unit& unit : units_.units) summary.instances += unit.instance != nullptr;
  summary.instances_written_out = patterns_.written_out();
  summary.patterns = patterns_.patterns();
  summary.shapes = shapes().size();
  return summary;
}

size_t EquationSystem::memory_bytes() const {
  return units_.units.capacity() * sizeof(Unit) + unit_of_.capacity() * sizeof(int) +
         units_.places.capacity() * sizeof(int) + units_.states.capacity() * sizeof(AlternativeState) +
         scale_.capacity() * sizeof(double) + free_.capacity() + takes_part_.capacity() +
         left_side_.capacity();
}

}  // namespace quiver
