// SPDX-License-Identifier: Apache-2.0
#include "runtime/system/pattern_builder.h"

#include <fmt/format.h>

#include <algorithm>

#include "runtime/contract/procedure_access.h"
#include "runtime/expression/stream_check.h"
#include "runtime/system/unit_pattern.h"

namespace quiver {
namespace {

class Builder {
 public:
  Builder(Instance& instance, const InstanceRecord& record, Readings& readings, PatternStore& store,
          UnitPattern& pattern)
      : instance_(instance), record_(record), readings_(readings), store_(store), pattern_(pattern) {}

  void Run() {
    drafts_.resize(static_cast<size_t>(std::max(record_.result, 0)));
    for (const EmittedEquation& emitted : record_.emission.equations) Add(emitted);
    for (size_t e = 0; e < drafts_.size(); ++e) {
      if (drafts_[e].empty())
        Fault(fmt::format("{}: equation {} of {} was counted but not emitted. The model library is at fault.",
                          InstanceName(instance_), e, drafts_.size()));
      LayOut(drafts_[e]);
    }
    for (UnitPattern::Call& call : pattern_.calls) {
      const ProcedureElements elements = ElementsOf(*call.procedure);
      call.places = static_cast<int>(pattern_.places.size());
      for (long long k = 0; k < elements.Count(); ++k) {
        const int slot = SlotOf(*elements.elements[k]);
        pattern_.places.push_back(slot);
        Slot(slot).in_call = true;
      }
    }
    std::vector<bool> seen(pattern_.slots.size(), false);
    for (size_t k = 0; k < pattern_.places.size(); ++k) {
      const auto slot = static_cast<size_t>(pattern_.places[k]);
      if (!seen[slot]) pattern_.distinct.push_back(static_cast<int>(k));
      seen[slot] = true;
    }
  }

  // Where everything lies in an instance of the type, and what its choices were read from.
  void FindPaths() {
    for (UnitPattern::Slot& slot : pattern_.slots) {
      if (auto path = FindPath(instance_, *slot.holder))
        slot.path = std::move(*path);
      else
        pattern_.is_repeatable = false;
    }
    for (const Reading& reading : readings_.list()) {
      auto& holder = const_cast<QV_VarParam&>(*reading.holder);
      if (auto path = FindPath(instance_, holder))
        pattern_.findings.push_back({std::move(*path), reading.what, FindingOf(holder, reading.what)});
      else
        pattern_.is_repeatable = false;
    }
  }

 private:
  struct DraftCondition {
    const char* label;
    int shape;
    std::vector<int> gather;
  };
  struct Draft {  // an alternative of an equation
    const char* name;
    int shape = -1, call = -1, output = 0;
    std::vector<int> gather;
    std::vector<DraftCondition> conditions;
  };

  UnitPattern::Slot& Slot(int slot) { return pattern_.slots[static_cast<size_t>(slot)]; }
  void Fault(std::string message) { instance_.scope().Fault(std::move(message)); }
  void Fault(const EmittedEquation& equation, const std::string& what) {
    Fault(fmt::format("{}.{}: {}. The model library is at fault.", InstanceName(instance_), equation.name,
                      what));
  }

  int SlotOf(QV_VarParam& holder) {
    const auto [slot, added] = slot_of_.emplace(&holder, static_cast<int>(pattern_.slots.size()));
    if (added) {
      pattern_.slots.emplace_back();
      pattern_.slots.back().holder = &holder;
    }
    return slot->second;
  }

  Token TokenOf(QV_VarParam& holder) {
    if (HostAccess::KindOf(holder) != HostAccess::kText) return Token::Variable(SlotOf(holder));
    readings_.Note(holder, Reading::kValue);  // a comparison of texts is settled here
    return Token::Text(holder.StringValue());
  }

  void ReadStream(TokenRange range) {
    stream_.clear();
    for (int i = range.first; i < range.first + range.count; ++i) {
      const StreamToken& token = record_.emission.tokens[static_cast<size_t>(i)];
      switch (token.kind) {
        case StreamToken::kOperator:
          stream_.push_back(Token::Code(token.code));
          break;
        case StreamToken::kReal:
          stream_.push_back(Token::Real(token.real));
          break;
        case StreamToken::kInteger:
          stream_.push_back(Token::Integer(token.integer));
          break;
        case StreamToken::kText:
          stream_.push_back(Token::Text(token.text));
          break;
        case StreamToken::kVariable:
          if (HostAccess::KindOf(*token.variable) == HostAccess::kArray) {
            auto& array = static_cast<QV_ArrayBase&>(*token.variable);
            readings_.Note(array, Reading::kDimensions);
            for (long long e = 0; e < array.Count(); ++e)
              stream_.push_back(TokenOf(static_cast<QV_VarParam&>(array.At(e))));
          } else {
            stream_.push_back(TokenOf(*token.variable));
          }
      }
    }
  }

  void NoteLeftSide(int slot) { Slot(slot).is_left_side = true; }

  void Add(const EmittedEquation& emitted) {
    if (emitted.index < 0 || emitted.index >= static_cast<int>(drafts_.size()))
      return Fault(emitted, fmt::format("equation number {} lies outside the {} that were set up",
                                        emitted.index, drafts_.size()));
    Draft draft;
    draft.name = emitted.name;
    if (emitted.procedure) {
      draft.call = CallOf(*emitted.procedure);
      draft.output = emitted.output_element;
      const ProcedureElements elements = ElementsOf(*emitted.procedure);
      NoteLeftSide(SlotOf(*elements.elements[elements.inputs + draft.output]));
    } else {
      ReadStream(emitted.tokens);
      if (const auto bad = CheckEquation(stream_))
        return Fault(emitted, "the stream is no tree: " + bad->Message());
      draft.shape = store_.Intern(stream_, draft.gather);
      // "x = ..." is 20 x ..., "x = c" is 19 -c x, "x = 0" is 1 x.
      const auto variable = [&](size_t i) {
        return stream_.size() > i && stream_[i].kind == Token::kVariable;
      };
      if (stream_[0].index != 19 && variable(1)) NoteLeftSide(stream_[1].index);
      if (stream_[0].index == 19 && stream_.size() == 3 && variable(2)) NoteLeftSide(stream_[2].index);
    }
    for (int c = emitted.first_condition; c < emitted.first_condition + emitted.condition_count; ++c) {
      const EmittedCondition& condition = record_.emission.conditions[static_cast<size_t>(c)];
      ReadStream(condition.tokens);
      if (const auto bad = CheckCondition(stream_)) {
        Fault(emitted, fmt::format("condition {} is no tree: {}", condition.label, bad->Message()));
        continue;
      }
      DraftCondition& added = draft.conditions.emplace_back(DraftCondition{condition.label, 0, {}});
      added.shape = store_.Intern(stream_, added.gather);
    }
    drafts_[static_cast<size_t>(emitted.index)].push_back(std::move(draft));
  }

  int CallOf(QV_ProcedureType& procedure) {
    for (size_t c = 0; c < pattern_.calls.size(); ++c)
      if (pattern_.calls[c].procedure == &procedure) return static_cast<int>(c);
    const ProcedureElements elements = ElementsOf(procedure);
    pattern_.calls.push_back(
        {&procedure, static_cast<int>(elements.inputs), static_cast<int>(elements.outputs), 0});
    if (QV_COMPONENTLISTNAME* list = procedure.ComponentListName()) readings_.Note(*list, Reading::kValue);
    return static_cast<int>(pattern_.calls.size()) - 1;
  }

  // One equation: its row, the distinct variables of all its alternatives in the order of their first appearance; its
  // alternatives; their conditions.
  void LayOut(const std::vector<Draft>& drafts) {
    UnitPattern::Equation equation;
    equation.first = static_cast<int>(pattern_.alternatives.size());
    equation.alternative_count = static_cast<int>(drafts.size());
    std::vector<int> row;
    const auto column = [&](int slot) {
      const auto place = static_cast<size_t>(std::find(row.begin(), row.end(), slot) - row.begin());
      if (place == row.size()) row.push_back(slot);
      return static_cast<int>(place);
    };
    std::vector<std::vector<int>> columns;
    for (const Draft& draft : drafts) columns.push_back(Columns(draft, column));

    std::vector<int>& places = pattern_.places;
    equation.row = static_cast<int>(places.size());
    equation.row_count = static_cast<int>(row.size());
    places.insert(places.end(), row.begin(), row.end());
    for (const int slot : row) Slot(slot).in_row = true;
    bool conditional = drafts.size() > 1;
    for (size_t a = 0; a < drafts.size(); ++a) {
      const Draft& draft = drafts[a];
      UnitPattern::Alternative alternative;
      alternative.shape = draft.shape;
      alternative.call = draft.call;
      alternative.output = draft.output;
      alternative.name = draft.name;
      const bool same = draft.call < 0 && std::equal(draft.gather.begin(), draft.gather.end(), row.begin());
      if (same) {
        alternative.places = equation.row;
      } else {
        alternative.places = static_cast<int>(places.size());
        places.insert(places.end(), draft.gather.begin(), draft.gather.end());
        alternative.columns = static_cast<int>(pattern_.columns.size());
        pattern_.columns.insert(pattern_.columns.end(), columns[a].begin(), columns[a].end());
      }
      alternative.first_condition = static_cast<int>(pattern_.conditions.size());
      alternative.condition_count = static_cast<int>(draft.conditions.size());
      for (const DraftCondition& condition : draft.conditions) {
        alternative.label = condition.label;
        pattern_.conditions.push_back({condition.shape, static_cast<int>(places.size())});
        places.insert(places.end(), condition.gather.begin(), condition.gather.end());
        conditional = true;
      }
      pattern_.alternatives.push_back(alternative);
    }
    equation.condition_row = static_cast<int>(places.size());
    for (const Draft& draft : drafts)
      for (const DraftCondition& condition : draft.conditions)
        for (const int slot : condition.gather)
          if (std::find(places.begin() + equation.condition_row, places.end(), slot) == places.end())
            places.push_back(slot);
    equation.condition_row_count = static_cast<int>(places.size()) - equation.condition_row;
    if (conditional) equation.state = pattern_.states++;
    pattern_.equations.push_back(equation);
  }

  // Of a call one entry per element; outputs other than the own one, and parameters, have none.
  template <class Column>
  std::vector<int> Columns(const Draft& draft, const Column& column) {
    std::vector<int> columns;
    if (draft.call < 0) {
      for (const int slot : draft.gather) columns.push_back(column(slot));
      return columns;
    }
    const UnitPattern::Call& call = pattern_.calls[static_cast<size_t>(draft.call)];
    const ProcedureElements elements = ElementsOf(*call.procedure);
    for (int k = 0; k < call.inputs + call.outputs; ++k) {
      QV_VarParam& element = *elements.elements[k];
      const bool other_output = k >= call.inputs && k != call.inputs + draft.output;
      columns.push_back(other_output || !element.IsVariable() ? -1 : column(SlotOf(element)));
    }
    return columns;
  }

  Instance& instance_;
  const InstanceRecord& record_;
  Readings& readings_;
  PatternStore& store_;
  UnitPattern& pattern_;
  std::vector<std::vector<Draft>> drafts_;  // by equation
  std::unordered_map<QV_VarParam*, int> slot_of_;
  std::vector<Token> stream_;
};

}  // namespace

bool BuildPattern(Instance& instance, const InstanceRecord& record, Readings& readings, PatternStore& store,
                  UnitPattern& pattern) {
  const size_t faults = instance.scope().faults.size();
  Builder builder(instance, record, readings, store, pattern);
  builder.Run();
  if (instance.scope().faults.size() > faults) return false;
  builder.FindPaths();
  return true;
}

}  // namespace quiver
