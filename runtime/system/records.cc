// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/records.h"

#include <fmt/format.h>

#include <memory>

#include "host/model_type.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/instance.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/names.h"

namespace quiver {

void SetUpRecord::Clear() {
  entries.clear();
  nonzeros.clear();
  count = empty_branches = 0;
}
void SetUpRecord::OpenGroup(int group) {
  entries.push_back({});
  entries.back().group = group;
  entries.back().first_nonzero = static_cast<int>(nonzeros.size());
}
void SetUpRecord::NonZero(QV_VarParam& variable) {
  if (entries.empty()) return;
  nonzeros.push_back(&variable);
  ++entries.back().nonzero_count;
}
void SetUpRecord::CloseBranch() {
  if (entries.empty())
    ++empty_branches;
  else
    ++entries.back().branches_closed_after;
}
void SetUpRecord::Procedure(int group, int equations, int procedure_nonzeros) {
  OpenGroup(group);
  entries.back().is_procedure = true;
  entries.back().equations = equations;
  entries.back().procedure_nonzeros = procedure_nonzeros;
}
long long SetUpRecord::PatternSize() const {
  long long size = static_cast<long long>(nonzeros.size());
  for (const SetUpEntry& entry : entries) size += entry.procedure_nonzeros;
  return size;
}

void EmissionRecord::Clear() {
  equations.clear();
  conditions.clear();
  tokens.clear();
  faults.clear();
  pattern_was_full = false;
  condition_ = nullptr;
}

// A condition that is still open where it must not be.
void EmissionRecord::ExpectClosed() {
  if (condition_)
    faults.push_back(fmt::format("condition {} of equation {} is not closed", condition_->label,
                                 equations.empty() ? "" : equations.back().name));
  condition_ = nullptr;
}

void EmissionRecord::Equation(const char* name, int index, int group) {
  ExpectClosed();
  EmittedEquation equation;
  equation.name = Interned(name ? name : "");
  equation.index = index;
  equation.group = group;
  equation.tokens.first = static_cast<int>(tokens.size());
  equation.first_condition = static_cast<int>(conditions.size());
  equations.push_back(equation);
}

void EmissionRecord::ProcedureEquation(QV_ProcedureEquationType* equation, int index) {
  const std::unique_ptr<QV_ProcedureEquationType> owned(equation);
  Equation(HostAccess::Name(*equation), index, HostAccess::Group(*equation));
  equations.back().procedure = HostAccess::Procedure(*equation);
  equations.back().output_element = HostAccess::Number(*equation) - 1;
}

void EmissionRecord::ProcedureExpression(QV_ProcedureType* procedure, int output_element, int index,
                                         const char*) {
  if (EmittedEquation* equation = Open(index, "a procedure expression")) {
    equation->procedure = procedure;
    equation->output_element = output_element;
  }
}

// The equation that a token of the given index belongs to: the last one with that index. A procedure's conditions come
// after all its equations, so that it need not be the last one.
EmittedEquation* EmissionRecord::Open(int index, const char* what) {
  for (auto equation = equations.rbegin(); equation != equations.rend(); ++equation) {
    if (equation->index == index) return &*equation;
    if (!equation->procedure) break;
  }
  faults.push_back(fmt::format("{} of equation {} comes while another is open", what, index));
  return nullptr;
}

void EmissionRecord::Add(StreamToken token, int index) {
  EmittedEquation* equation = Open(index, "a token");
  if (!equation) return;
  TokenRange& range = condition_ ? condition_->tokens : equation->tokens;
  if (range.first + range.count != static_cast<int>(tokens.size())) {
    faults.push_back(
        fmt::format("tokens of equation {} ({}) are not told in one run", index, equation->name));
    return;
  }
  tokens.push_back(token);
  ++range.count;
}

void EmissionRecord::Operator(int code, int index) {
  StreamToken token{StreamToken::kOperator, {}};
  token.code = code;
  Add(token, index);
}
void EmissionRecord::Real(double value, int index) {
  StreamToken token{StreamToken::kReal, {}};
  token.real = value;
  Add(token, index);
}
void EmissionRecord::Integer(int value, int index) {
  StreamToken token{StreamToken::kInteger, {}};
  token.integer = value;
  Add(token, index);
}
void EmissionRecord::Text(const char* value, int index) {
  StreamToken token{StreamToken::kText, {}};
  token.text = Interned(value ? value : "");
  Add(token, index);
}
void EmissionRecord::Variable(QV_VarParam& variable, int index) {
  StreamToken token{StreamToken::kVariable, {}};
  token.variable = &variable;
  Add(token, index);
}

void EmissionRecord::BeginCondition(int number, const char* label, int index) {
  ExpectClosed();
  EmittedEquation* equation = Open(index, "a condition");
  if (!equation) return;
  if (equation->condition_count == 0) equation->first_condition = static_cast<int>(conditions.size());
  conditions.push_back({number, Interned(label ? label : ""), {static_cast<int>(tokens.size()), 0}});
  ++equation->condition_count;
  condition_ = &conditions.back();
}
void EmissionRecord::EndCondition(int index) {
  if (!condition_)
    faults.push_back(fmt::format("a condition of equation {} is closed that was not opened", index));
  condition_ = nullptr;
}

namespace {

// Occurrences of variables in a range of tokens, as pattern entries for one equation index.
void AppendOccurrences(const EmissionRecord& emission, TokenRange range, int index,
                       std::vector<long long>& pattern) {
  const auto append = [&](QV_VarParam& variable) {
    pattern.push_back(
        static_cast<long long>(static_cast<unsigned long long>(static_cast<unsigned>(index)) << 32 |
                               static_cast<unsigned>(HostAccess::Number(variable))));
  };
  for (int i = range.first; i < range.first + range.count; ++i) {
    const StreamToken& token = emission.tokens[static_cast<size_t>(i)];
    if (token.kind != StreamToken::kVariable) continue;
    if (HostAccess::KindOf(*token.variable) == HostAccess::kArray) {
      auto& array = static_cast<QV_ArrayBase&>(*token.variable);
      for (long long e = 0; e < array.Count(); ++e) append(static_cast<QV_VarParam&>(array.At(e)));
    } else {
      append(*token.variable);
    }
  }
}

std::vector<long long> OccurrencesOf(const EmissionRecord& emission, const EmittedEquation& equation) {
  std::vector<long long> pattern;
  AppendOccurrences(emission, equation.tokens, equation.index, pattern);
  for (int c = equation.first_condition; c < equation.first_condition + equation.condition_count; ++c)
    AppendOccurrences(emission, emission.conditions[static_cast<size_t>(c)].tokens, equation.index, pattern);
  return pattern;
}

class Comparison {
 public:
  Comparison(Instance& instance, const InstanceRecord& record) : instance_(instance), record_(record) {}

  void Run(const std::vector<long long>& pattern) {
    const SetUpRecord& set_up = record_.set_up;
    const EmissionRecord& emission = record_.emission;
    for (const std::string& fault : emission.faults) Fault(fault);
    if (emission.pattern_was_full) Fault("emission has more occurrences of variables than were set up");
    if (record_.result != set_up.count)
      Fault(fmt::format("{} equations were set up, {} emitted", set_up.count, record_.result));

    size_t e = 0;
    std::vector<long long> told;
    for (const SetUpEntry& entry : set_up.entries) {
      long long procedure_occurrences = 0;
      for (int k = 0; k < entry.equations; ++k, ++e) {
        if (e >= emission.equations.size()) return Fault("fewer equations were emitted than were set up");
        const EmittedEquation& equation = emission.equations[e];
        if (entry.is_procedure != (equation.procedure != nullptr))
          return Fault(fmt::format("equation {} was set up as {}", equation.name,
                                   entry.is_procedure ? "a procedure call" : "an ordinary equation"));
        if (entry.group != equation.group)
          Fault(fmt::format("equation {} was set up in group {}, emitted in group {}", equation.name,
                            entry.group, equation.group));
        const std::vector<long long> occurrences = OccurrencesOf(emission, equation);
        told.insert(told.end(), occurrences.begin(), occurrences.end());
        if (entry.is_procedure)
          procedure_occurrences += static_cast<long long>(occurrences.size());
        else
          CompareOccurrences(entry, equation, occurrences);
      }
      if (entry.is_procedure && procedure_occurrences != entry.procedure_nonzeros + entry.nonzero_count)
        Fault(fmt::format("the call before equation {} was set up with {} occurrences, emitted with {}", e,
                          entry.procedure_nonzeros + entry.nonzero_count, procedure_occurrences));
    }
    if (e < emission.equations.size()) Fault("more equations were emitted than were set up");
    if (!emission.pattern_was_full && pattern.size() != told.size())
      Fault(fmt::format("the pattern has {} entries for {} occurrences", pattern.size(), told.size()));
  }

 private:
  void Fault(const std::string& what) {
    instance_.scope().Fault(fmt::format("{} ({}): {}. The model library is at fault.",
                                        InstanceName(instance_), instance_.type().type_name, what));
  }

  void CompareOccurrences(const SetUpEntry& entry, const EmittedEquation& equation,
                          const std::vector<long long>& emitted) {
    const auto set_up = [&](size_t i) {
      return record_.set_up.nonzeros[static_cast<size_t>(entry.first_nonzero) + i];
    };
    const auto count = static_cast<size_t>(entry.nonzero_count);
    for (size_t i = 0; i < std::max(count, emitted.size()); ++i) {
      const int number = i < emitted.size() ? static_cast<int>(emitted[i] & 0xffffffff) : -1;
      if (i < count && number == HostAccess::Number(*set_up(i))) continue;
      return Fault(
          fmt::format("occurrence {} of equation {} was set up as {}, emitted as {}", i + 1, equation.name,
                      i < count ? HolderName(*set_up(i), &instance_) : "nothing",
                      number >= 0 ? HolderName(*instance_.scope().Holder(number), &instance_) : "nothing"));
    }
  }

  Instance& instance_;
  const InstanceRecord& record_;
};

}  // namespace

void ReadEquations(Instance& instance, InstanceRecord& record, Readings* readings) {
  QV_ModelType* const model = instance.model();
  record.set_up.Clear();
  record.emission.Clear();
  record.result = 0;
  if (!model) return;
  ++instance.scope().equations_told;
  const auto out_of_memory = [&] { return TakeOutOfMemory() || record.result == kQvOutOfMemory; };
  const auto failed = [&](const char* operation) {
    instance.scope().Fault(
        fmt::format("{}: {} failed with status {}.", InstanceName(instance), operation, record.result));
  };
  {
    const CurrentGuard guard({&instance.scope(), &instance, &record.set_up, nullptr, readings});
    record.result = model->SetUpEquations();
  }
  if (out_of_memory()) ThrowOutOfMemory(instance, "its equations were set up");
  if (record.result < 0) return failed("SetUpEquations");

  for (QV_VarParam* variable : record.set_up.nonzeros) instance.scope().Number(*variable);
  std::vector<long long> pattern(static_cast<size_t>(record.set_up.PatternSize()));
  long long* next = pattern.data();
  long long* end = pattern.data() + pattern.size();
  {
    const CurrentGuard guard({&instance.scope(), &instance, nullptr, &record.emission, readings});
    record.result = model->JacPattern(next, end, nullptr);
  }
  if (out_of_memory()) ThrowOutOfMemory(instance, "its equations were emitted");
  if (record.result < 0) return failed("JacPattern");
  record.emission.ExpectClosed();
  pattern.resize(static_cast<size_t>(next - pattern.data()));
  Comparison(instance, record).Run(pattern);
}

}  // namespace quiver
