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
#include "runtime/expression/infix.h"
#include "runtime/expression/stream_check.h"
#include "runtime/expression/undefined.h"

namespace quiver {
namespace {

Token TokenOf(QV_VarParam& holder) {
  if (HostAccess::KindOf(holder) == HostAccess::kText) return Token::Text(holder.StringValue());
  return Token::Variable(HostAccess::Number(holder));
}

}  // namespace

EquationSystem::EquationSystem(Flowsheet& flowsheet, const std::vector<Tie>& ties)
    : flowsheet_(&flowsheet), ties_(ties) {
  InstanceRecord record;
  for (Instance* instance : flowsheet.Instances()) {
    ReadEquations(*instance, record);
    if (record.result >= 0) AddInstance(*instance, record);
  }
  const std::vector<unsigned char> named = NamedVariables();
  for (const Tie& tie : ties_) {
    const auto matters = [&](QV_VarParam& holder) {
      const auto number = static_cast<size_t>(HostAccess::Number(holder));
      return HostAccess::SpecOf(holder) == QV_SPEC_GIVEN || (number < named.size() && named[number]);
    };
    if (!tie.only_if_used || matters(*tie.left) || matters(*tie.right)) AddTie(tie);
  }
  flowsheet.ThrowFaults();
  MakeRows();
  ReadVariables();
  flowsheet.ThrowFaults();
}

int EquationSystem::AddAlternative(int equation, const Alternative& alternative) {
  const int added = static_cast<int>(alternatives_.size());
  alternatives_.push_back(alternative);
  Equation& e = equations_[static_cast<size_t>(equation)];
  if (e.alternative_count++ == 0) {
    e.first = e.current_alternative = added;
  } else {
    int last = e.first;
    while (alternatives_[static_cast<size_t>(last)].next >= 0)
      last = alternatives_[static_cast<size_t>(last)].next;
    alternatives_[static_cast<size_t>(last)].next = added;
  }
  e.conditional = e.conditional || alternative.condition_count > 0;
  return added;
}

void EquationSystem::AppendStream(const EmissionRecord& record, TokenRange range,
                                  std::vector<Token>& stream) {
  for (int i = range.first; i < range.first + range.count; ++i) {
    const StreamToken& token = record.tokens[static_cast<size_t>(i)];
    switch (token.kind) {
      case StreamToken::kOperator:
        stream.push_back(Token::Code(token.code));
        break;
      case StreamToken::kReal:
        stream.push_back(Token::Real(token.real));
        break;
      case StreamToken::kInteger:
        stream.push_back(Token::Integer(token.integer));
        break;
      case StreamToken::kText:
        stream.push_back(Token::Text(token.text));
        break;
      case StreamToken::kVariable:
        if (HostAccess::KindOf(*token.variable) == HostAccess::kArray) {
          auto& array = static_cast<QV_ArrayBase&>(*token.variable);
          for (long long e = 0; e < array.Count(); ++e)
            stream.push_back(TokenOf(static_cast<QV_VarParam&>(array.At(e))));
        } else {
          stream.push_back(TokenOf(*token.variable));
        }
    }
  }
}

int EquationSystem::InternStream(const std::vector<Token>& stream) {
  const size_t first = gather_.size();
  const int known = shapes_.size();
  const int shape = shapes_.Intern(stream, gather_);
  if (shape >= known) {
    std::vector<Token> local = stream;
    for (Token& token : local)
      if (token.kind == Token::kVariable)
        token = Token::Variable(static_cast<int>(
            std::find(gather_.begin() + static_cast<long>(first), gather_.end(), token.index) -
            gather_.begin() - static_cast<long>(first)));
    streams_.resize(static_cast<size_t>(shapes_.size()));
    streams_[static_cast<size_t>(shape)] = std::move(local);
  }
  return shape;
}

int EquationSystem::AddCall(QV_ProcedureType* procedure) {
  const auto [place, added] = call_of_.emplace(procedure, static_cast<int>(calls_.size()));
  if (!added) return place->second;
  Call call;
  call.procedure = procedure;
  const ProcedureElements elements = ElementsOf(*procedure);
  call.inputs = static_cast<int>(elements.inputs);
  call.outputs = static_cast<int>(elements.outputs);
  for (long long e = 0; e < elements.Count(); ++e)
    call.elements.push_back(flowsheet_->scope().Number(*elements.elements[e]));
  call.residuals.resize(static_cast<size_t>(call.outputs));
  call.rows.resize(static_cast<size_t>(call.outputs) * call.elements.size());
  calls_.push_back(std::move(call));
  return place->second;
}

void EquationSystem::AddInstance(Instance& instance, const InstanceRecord& record) {
  const int base = EquationCount();
  const int count = std::max(record.result, 0);
  equations_.resize(equations_.size() + static_cast<size_t>(count));
  for (int e = base; e < base + count; ++e) {
    equations_[static_cast<size_t>(e)].instance = &instance;
    equations_[static_cast<size_t>(e)].alternative_count = 0;
  }
  const auto fault = [&](const EmittedEquation& equation, const std::string& what) {
    instance.scope().Fault(fmt::format("{}.{}: {}. The model library is at fault.", InstanceName(instance),
                                       equation.name, what));
  };
  std::vector<Token> stream;
  for (const EmittedEquation& emitted : record.emission.equations) {
    if (emitted.index < 0 || emitted.index >= count) {
      fault(emitted,
            fmt::format("equation number {} lies outside the {} that were set up", emitted.index, count));
      continue;
    }
    Alternative alternative;
    alternative.name = emitted.name;
    if (emitted.procedure) {
      alternative.procedure = AddCall(emitted.procedure);
      alternative.output = emitted.output_element;
      const Call& call = calls_[static_cast<size_t>(alternative.procedure)];
      NoteLeftSide(call.elements[static_cast<size_t>(call.inputs + alternative.output)]);
    } else {
      stream.clear();
      AppendStream(record.emission, emitted.tokens, stream);
      if (const auto bad = CheckEquation(stream)) {
        fault(emitted, "the stream is no tree: " + bad->Message());
        continue;
      }
      alternative.gather = static_cast<int>(gather_.size());
      alternative.shape = InternStream(stream);
      // "x = ..." is 20 x ..., "x = c" is 19 -c x, "x = 0" is 1 x.
      const auto variable = [&](size_t i) { return stream.size() > i && stream[i].kind == Token::kVariable; };
      if (stream[0].index != 19 && variable(1)) NoteLeftSide(stream[1].index);
      if (stream[0].index == 19 && stream.size() == 3 && variable(2)) NoteLeftSide(stream[2].index);
    }
    alternative.first_condition = static_cast<int>(conditions_.size());
    for (int c = emitted.first_condition; c < emitted.first_condition + emitted.condition_count; ++c) {
      const EmittedCondition& condition = record.emission.conditions[static_cast<size_t>(c)];
      stream.clear();
      AppendStream(record.emission, condition.tokens, stream);
      if (const auto bad = CheckCondition(stream)) {
        fault(emitted, fmt::format("condition {} is no tree: {}", condition.label, bad->Message()));
        continue;
      }
      const int gather = static_cast<int>(gather_.size());
      conditions_.push_back({InternStream(stream), gather});
      alternative.label = condition.label;
      ++alternative.condition_count;
    }
    AddAlternative(base + emitted.index, alternative);
  }
  for (int e = base; e < base + count; ++e)
    if (At(e).alternative_count == 0)
      instance.scope().Fault(
          fmt::format("{}: equation {} of {} was counted but not emitted. The model library is at fault.",
                      InstanceName(instance), e - base, count));
}

std::vector<unsigned char> EquationSystem::NamedVariables() const {
  std::vector<unsigned char> named(static_cast<size_t>(flowsheet_->scope().Count()), 0);
  for (const int variable : gather_) named[static_cast<size_t>(variable)] = 1;
  for (const Call& call : calls_)
    for (const int variable : call.elements) named[static_cast<size_t>(variable)] = 1;
  return named;
}

void EquationSystem::AddTie(const Tie& tie) {
  for (QV_VarParam* side : {tie.left, tie.right}) {
    if (HostAccess::KindOf(*side) == HostAccess::kReal) {
      flowsheet_->scope().Number(*side);
      continue;
    }
    flowsheet_->scope().Fault(fmt::format("{}: only single real values can be made equal.", tie.name));
    return;
  }
  const std::vector<Token> stream = {Token::Code(20), TokenOf(*tie.left), TokenOf(*tie.right)};

  Alternative alternative;
  alternative.gather = static_cast<int>(gather_.size());
  alternative.shape = InternStream(stream);
  alternative.name = Interned(tie.name);
  equations_.emplace_back();
  equations_.back().alternative_count = 0;
  AddAlternative(EquationCount() - 1, alternative);
}

void EquationSystem::NoteLeftSide(int variable) {
  if (static_cast<size_t>(variable) >= left_side_.size())
    left_side_.resize(static_cast<size_t>(flowsheet_->scope().Count()), 0);
  left_side_[static_cast<size_t>(variable)] = 1;
}

bool EquationSystem::CanBeFreed(int variable) const {
  const QV_VarParam* holder = flowsheet_->scope().Holder(variable);
  return holder && holder->IsVariable();
}

// The rows: of every equation the distinct variables of all its alternatives, in the order in which they first appear.
void EquationSystem::MakeRows() {
  row_start_.assign(1, 0);
  condition_start_.assign(1, 0);
  std::vector<int> place(static_cast<size_t>(flowsheet_->scope().Count()), -1);
  size_t longest = 0;
  for (const Equation& equation : equations_) {
    const size_t start = row_.size(), condition_start = condition_.size();
    const auto column = [&](int variable) {
      int& at = place[static_cast<size_t>(variable)];
      if (at < 0) {
        at = static_cast<int>(row_.size() - start);
        row_.push_back(variable);
      }
      return at;
    };
    for (int a = equation.first; a >= 0; a = alternatives_[static_cast<size_t>(a)].next) {
      Alternative& alternative = alternatives_[static_cast<size_t>(a)];
      const int columns = static_cast<int>(columns_.size());
      bool same = true;
      if (alternative.procedure >= 0) {
        const Call& call = calls_[static_cast<size_t>(alternative.procedure)];
        // One entry per element; outputs other than the own one have none.
        for (size_t e = 0; e < call.elements.size(); ++e) {
          const bool other_output = e >= static_cast<size_t>(call.inputs) &&
                                    e != static_cast<size_t>(call.inputs + alternative.output);
          const bool variable = flowsheet_->scope().Holder(call.elements[e])->IsVariable();
          columns_.push_back(other_output || !variable ? -1 : column(call.elements[e]));
        }
        same = false;
        longest = std::max(longest, call.elements.size());
      } else {
        const int count = shapes_[alternative.shape].variable_count;
        for (int v = 0; v < count; ++v) {
          columns_.push_back(column(gather_[static_cast<size_t>(alternative.gather + v)]));
          same = same && columns_.back() == v;
        }
        longest = std::max(longest, static_cast<size_t>(count));
      }
      if (same)
        columns_.resize(static_cast<size_t>(columns));
      else
        alternative.columns = columns;
    }
    for (size_t i = start; i < row_.size(); ++i) place[static_cast<size_t>(row_[i])] = -1;

    for (int a = equation.first; a >= 0; a = alternatives_[static_cast<size_t>(a)].next) {
      const Alternative& alternative = alternatives_[static_cast<size_t>(a)];
      for (int c = alternative.first_condition; c < alternative.first_condition + alternative.condition_count;
           ++c) {
        const Condition& condition = conditions_[static_cast<size_t>(c)];
        for (int v = 0; v < shapes_[condition.shape].variable_count; ++v) {
          const int variable = gather_[static_cast<size_t>(condition.gather + v)];
          if (std::find(condition_.begin() + static_cast<long>(condition_start), condition_.end(),
                        variable) == condition_.end())
            condition_.push_back(variable);
        }
      }
    }
    row_start_.push_back(static_cast<int>(row_.size()));
    condition_start_.push_back(static_cast<int>(condition_.size()));
  }
  gradient_.resize(longest);
}

void EquationSystem::ReadVariables() {
  Scope& scope = flowsheet_->scope();
  const auto count = static_cast<size_t>(scope.Count());
  free_.assign(count, 0);
  takes_part_.assign(count, 0);
  lower_.assign(count, 0);
  upper_.assign(count, 0);
  scale_.assign(count, 1);
  const auto look_at = [&](int variable) {
    QV_VarParam* holder = scope.Holder(variable);
    const auto n = static_cast<size_t>(variable);
    if (!holder || takes_part_[n]) return;  // seen before
    takes_part_[n] = 1;
    lower_[n] = holder->LowerBound();
    upper_[n] = holder->UpperBound();
    double typical = std::abs(holder->RealValue());
    if (const QV_Value* start = holder->QV_DefaultVALUE();
        start && HostAccess::KindOf(*start) == QV_Value::kReal)
      typical = std::max(typical, std::abs(HostAccess::Real(*start)));
    scale_[n] = typical > 0 && std::isfinite(typical) ? typical : 1;
    free_[n] = holder->IsVariable() && HostAccess::SpecOf(*holder) != QV_SPEC_GIVEN;
    if (!holder->IsVariable() && !HasValue(*holder))
      scope.Fault(fmt::format("{} has no value: set it.", QualifiedName(*holder)));
    if (!free_[n] && holder->IsVariable() && !std::isfinite(holder->RealValue()))
      scope.Fault(fmt::format("{} is given, but its value is not a finite number.", QualifiedName(*holder)));
  };
  const CurrentGuard guard({&scope, nullptr, nullptr, nullptr});
  for (const int variable : row_) look_at(variable);
  for (const Call& call : calls_)
    for (const int variable : call.elements) look_at(variable);
  // A variable that only a condition names is nobody's unknown.
  std::vector<unsigned char> in_residual(count, 0);
  for (const int variable : row_) in_residual[static_cast<size_t>(variable)] = 1;
  for (const int variable : condition_) {
    look_at(variable);
    if (!in_residual[static_cast<size_t>(variable)]) free_[static_cast<size_t>(variable)] = 0;
  }
}

std::span<const int> EquationSystem::ResidualVariables(int equation) const {
  const auto e = static_cast<size_t>(equation);
  return {row_.data() + row_start_[e], static_cast<size_t>(row_start_[e + 1] - row_start_[e])};
}
std::span<const int> EquationSystem::ConditionVariables(int equation) const {
  const auto e = static_cast<size_t>(equation);
  return {condition_.data() + condition_start_[e],
          static_cast<size_t>(condition_start_[e + 1] - condition_start_[e])};
}

int EquationSystem::CurrentShape(int equation) const {
  const Alternative& alternative = alternatives_[static_cast<size_t>(At(equation).current_alternative)];
  return At(equation).current < 0 ? -1 : alternative.shape;
}
std::span<const int> EquationSystem::CurrentGather(int equation) const {
  const Alternative& alternative = alternatives_[static_cast<size_t>(At(equation).current_alternative)];
  return {gather_.data() + alternative.gather,
          static_cast<size_t>(shapes_[alternative.shape].variable_count)};
}

bool EquationSystem::EvaluateCall(Call& call, const double* x) {
  if (call.stamp == stamp_) return !call.failed;
  call.stamp = stamp_;
  Scope& scope = flowsheet_->scope();
  for (const int element : call.elements) {
    QV_VarParam& holder = *scope.Holder(element);
    if (HostAccess::KindOf(holder) == HostAccess::kReal) HostAccess::Real(holder) = x[element];
  }
  const CurrentGuard guard({&scope, nullptr, nullptr, nullptr});
  call.failed = !EvaluateProcedure(*call.procedure, call.residuals.data(), call.rows.data());
  if (call.failed) call.reason = LastProcedureFault().sentence;
  return !call.failed;
}

bool EquationSystem::Evaluate(std::span<const int> equations, const double* x, double* residuals,
                              double* gradients) {
  ++stamp_;
  fault_ = {};
  const std::span<const double> all(x, free_.size());
  bool finite = true;
  for (const int e : equations) {
    const Equation& equation = At(e);
    const Alternative& alternative = alternatives_[static_cast<size_t>(equation.current_alternative)];
    const auto row =
        static_cast<size_t>(row_start_[static_cast<size_t>(e) + 1] - row_start_[static_cast<size_t>(e)]);
    double* gradient = gradients;
    if (gradients) {
      std::fill_n(gradients, row, 0.0);
      gradients += row;
    }
    double& residual = *residuals++;
    bool good = equation.current >= 0;
    if (!good) {
      residual = std::nan("");
    } else if (alternative.procedure >= 0) {
      Call& call = calls_[static_cast<size_t>(alternative.procedure)];
      good = EvaluateCall(call, x);
      if (good) {
        residual = call.residuals[static_cast<size_t>(alternative.output)];
        if (gradient) {
          const double* from =
              call.rows.data() + static_cast<size_t>(alternative.output) * call.elements.size();
          for (size_t k = 0; k < call.elements.size(); ++k)
            if (const int column = columns_[static_cast<size_t>(alternative.columns) + k]; column >= 0)
              gradient[column] += from[k];
        }
      }
    } else {
      const Shape& shape = shapes_[alternative.shape];
      const auto count = static_cast<size_t>(shape.variable_count);
      const std::span<const int> gather(gather_.data() + alternative.gather, count);
      if (!gradient) {
        residual = evaluator_.Value(shape, gather, all);
      } else if (alternative.columns < 0) {
        residual = evaluator_.Gradient(shape, gather, all, {gradient, count});
      } else {
        residual = evaluator_.Gradient(shape, gather, all, {gradient_.data(), count});
        for (size_t k = 0; k < count; ++k)
          gradient[columns_[static_cast<size_t>(alternative.columns) + k]] = gradient_[k];
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
  const Equation& equation = At(e);
  fault_.equation = e;
  const Alternative& alternative = alternatives_[static_cast<size_t>(equation.current_alternative)];
  if (equation.current < 0) {
    fault_.reason = "none of its conditions holds";
    return;
  }
  if (alternative.procedure >= 0) {
    const Call& call = calls_[static_cast<size_t>(alternative.procedure)];
    fault_.reason = call.failed ? call.reason : "the routine's value is not finite";
    return;
  }
  std::vector<Token> stream = streams_[static_cast<size_t>(alternative.shape)];
  for (Token& token : stream)
    if (token.kind == Token::kVariable)
      token = Token::Variable(gather_[static_cast<size_t>(alternative.gather + token.index)]);
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
    if (!HasAlternatives(e)) continue;
    Equation& equation = equations_[static_cast<size_t>(e)];
    int place = 0, found = -1;
    for (int a = equation.first; a >= 0 && found < 0;
         a = alternatives_[static_cast<size_t>(a)].next, ++place) {
      const Alternative& alternative = alternatives_[static_cast<size_t>(a)];
      bool holds = true;
      for (int c = alternative.first_condition;
           holds && c < alternative.first_condition + alternative.condition_count; ++c) {
        const Condition& condition = conditions_[static_cast<size_t>(c)];
        const Shape& shape = shapes_[condition.shape];
        holds = evaluator_.Holds(
            shape, {gather_.data() + condition.gather, static_cast<size_t>(shape.variable_count)}, all);
      }
      if (!holds) continue;
      found = place;
      equation.current_alternative = a;
    }
    if (found != equation.current) ++changed;
    equation.current = found;
  }
  return changed;
}

std::string EquationSystem::AlternativeName(int equation, int place) const {
  int a = At(equation).first;
  for (int k = 0; k < place && alternatives_[static_cast<size_t>(a)].next >= 0; ++k)
    a = alternatives_[static_cast<size_t>(a)].next;
  const Alternative& alternative = alternatives_[static_cast<size_t>(a)];
  return alternative.label ? fmt::format("{} (under {})", alternative.name, alternative.label)
                           : fmt::format("{} (otherwise)", alternative.name);
}

std::string EquationSystem::EquationName(int equation) const {
  const Equation& e = At(equation);
  const char* name = alternatives_[static_cast<size_t>(e.current_alternative)].name;
  const std::string block = e.instance ? InstanceName(*e.instance) : "";
  return block.empty() ? name : block + "." + name;
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

}  // namespace quiver
