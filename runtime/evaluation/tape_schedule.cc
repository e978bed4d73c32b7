// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/tape_schedule.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

namespace quiver {
namespace {

using Kind = FormulaBuilder::Kind;

constexpr bool IsUnpaired(const Tape::Group& group) { return RunsInPairs(group.op) && group.count % 2 != 0; }

class TapeScheduler {
 public:
  TapeScheduler(const FormulaBuilder& builder, const TapeResults& results)
      : builder_(builder),
        results_(results),
        steps_(static_cast<std::size_t>(builder.size())),
        places_(steps_.size(), -1) {
    group_.reserve(kUsualGroup);
    for (const auto* list : {&results.residuals, &results.entries, &results.opposites})
      for (const Tape::Result& result : *list) ++At(result.from).results;
    LinkReaders();
    SetApart(results.residuals, Tape::Into::kResiduals);
    SetApart(results.entries, Tape::Into::kEntries);
    SetApart(results.opposites, Tape::Into::kOpposites);
  }

  Tape Schedule(std::span<const int> variables) {
    PlaceKnown(variables);
    for (int op = NextOperator(); op >= 0; op = NextOperator()) {
      Ready& ready = ready_[static_cast<std::size_t>(op)];
      group_.clear();
      group_.swap(ready.steps);
      ready.highest = -1;
      AddGroup(static_cast<Operator>(op), Tape::Into::kFile);
    }
    tape_.file.resize(static_cast<std::size_t>(tape_.places));
    AddGroupsApart();
    HandOut(results_.residuals, tape_.residuals);
    HandOut(results_.entries, tape_.entries);
    HandOut(results_.opposites, tape_.opposites);
    return std::move(tape_);
  }

 private:
  static constexpr int kOperators = 256;
  static constexpr std::size_t kUsualGroup = 64;

  struct Step {
    int results = 0;  // that it is
    bool is_needed = false;
    Tape::Into into = Tape::Into::kFile;
    int to = -1;             // place elsewhere
    int waits_for = 0;       // operands
    int first_reading = -1;  // of it, a list
    int height = 0;          // how many steps wait for one another behind it
  };
  struct Reading {
    int reader, next;
  };
  struct Ready {
    std::vector<int> steps;
    int highest = -1;
  };

  Step& At(int id) { return steps_[static_cast<std::size_t>(id)]; }
  int& PlaceOf(int id) { return places_[static_cast<std::size_t>(id)]; }
  bool IsStep(int id) const { return builder_.node(id).kind == Kind::kStep; }

  static std::array<int, 3> Operands(const FormulaBuilder::Node& node) {
    const int operands = OperandCount(node.op);
    return {node.a, operands > 1 ? node.b : -1, operands > 2 ? node.c : -1};
  }

  // Who reads what, from the last step to the first.
  void LinkReaders() {
    readings_.reserve(2 * steps_.size());
    for (int id = builder_.size() - 1; id >= 0; --id) {
      Step& step = At(id);
      step.is_needed = step.is_needed || step.results > 0;
      if (!step.is_needed || !IsStep(id)) continue;
      for (const int operand : Operands(builder_.node(id))) {
        if (operand < 0) continue;
        Step& read = At(operand);
        read.is_needed = true;
        if (!IsStep(operand)) continue;
        read.height = std::max(read.height, step.height + 1);
        readings_.push_back({id, read.first_reading});
        read.first_reading = static_cast<int>(readings_.size()) - 1;
        ++step.waits_for;
      }
    }
  }

  void SetApart(std::span<const Tape::Result> results, Tape::Into into) {
    for (const Tape::Result& result : results) {
      Step& step = At(result.from);
      if (step.results > 1 || step.first_reading >= 0 || !IsStep(result.from) ||
          !RunsInPairs(builder_.node(result.from).op))
        continue;
      step.into = into;
      step.to = result.to;
    }
  }

  // Constants and variables lie in front; steps that wait for nothing else are ready.
  void PlaceKnown(std::span<const int> variables) {
    for (int id = 0; id < builder_.size(); ++id) {
      if (!At(id).is_needed || builder_.node(id).kind != Kind::kConstant) continue;
      PlaceOf(id) = static_cast<int>(tape_.file.size());
      tape_.file.push_back(builder_.node(id).value);
    }
    const std::vector<int> input_places = PlaceVariables(variables);
    tape_.places = tape_.first_result;
    for (int id = 0; id < builder_.size(); ++id) {
      if (!At(id).is_needed) continue;
      const auto& node = builder_.node(id);
      if (node.kind == Kind::kInput) PlaceOf(id) = input_places[static_cast<std::size_t>(node.a)];
      if (node.kind == Kind::kStep && At(id).waits_for == 0) IsReady(id);
    }
  }

  // In order, so that they are copied in few pieces; what lies between close ones is copied with them. Places by input.
  std::vector<int> PlaceVariables(std::span<const int> variables) {
    constexpr int kLargestGap = 32;
    std::vector<std::pair<int, int>> inputs;
    inputs.reserve(variables.size());
    for (const int variable : variables) inputs.emplace_back(variable, static_cast<int>(inputs.size()));
    std::sort(inputs.begin(), inputs.end());
    const int first = static_cast<int>(tape_.file.size());
    int left = Tape::kMostPlaces / 4;  // for gaps
    std::vector<int> places(variables.size() + 1), ascending;
    ascending.reserve(2 * variables.size());
    for (const auto& [variable, input] : inputs) {
      const int gap = ascending.empty() ? 0 : variable - ascending.back() - 1;
      if (gap <= std::min(kLargestGap, left)) {
        for (int k = gap; k > 0; --k) ascending.push_back(variable - k);
        left -= gap;
      }
      places[static_cast<std::size_t>(input)] = first + static_cast<int>(ascending.size());
      ascending.push_back(variable);
    }
    tape_.PlaceVariables(ascending);
    places.back() = tape_.time();
    return places;
  }

  void IsReady(int id) {
    const Step& step = At(id);
    if (step.into != Tape::Into::kFile) {
      apart_.push_back(id);
      return;
    }
    const auto op = static_cast<std::size_t>(builder_.node(id).op);
    Ready& ready = ready_[op];
    if (ready.steps.capacity() == 0) {
      ready.steps.reserve(kUsualGroup);
      operators_.insert(std::upper_bound(operators_.begin(), operators_.end(), static_cast<int>(op)),
                        static_cast<int>(op));
    }
    ready.steps.push_back(id);
    ready.highest = std::max(ready.highest, step.height);
  }

  // -1: nothing is left.
  int NextOperator() const {
    const auto rank = [&](int op) {
      const Ready& ready = ready_[static_cast<std::size_t>(op)];
      return std::tuple(!RunsOverRows(static_cast<Operator>(op)), ready.highest, ready.steps.size());
    };
    int next = -1;
    for (const int op : operators_) {
      if (!ready_[static_cast<std::size_t>(op)].steps.empty() && (next < 0 || rank(op) > rank(next)))
        next = op;
    }
    return next;
  }

  // The steps of `group_`; who waits for them may be ready then.
  void AddGroup(Operator op, Tape::Into into) {
    const std::size_t steps = group_.size();
    Tape::Group group{op,
                      static_cast<std::uint8_t>(OperandCount(op)),
                      into,
                      static_cast<int>(steps),
                      static_cast<int>(tape_.operands.size()),
                      tape_.places};
    for (const int id : group_) PlaceOf(id) = tape_.places++;
    if (IsUnpaired(group)) {
      group_.push_back(group_.back());
      ++tape_.places;
      ++group.count;
    }
    for (int k = 0; k < group.arity; ++k) {
      for (const int id : group_) {
        const auto& node = builder_.node(id);
        tape_.operands.push_back(static_cast<Tape::Place>(PlaceOf(k == 0   ? node.a
                                                                  : k == 1 ? node.b
                                                                           : node.c)));
      }
    }
    if (into != Tape::Into::kFile) {
      group.elsewhere = static_cast<int>(tape_.elsewhere.size());
      for (const int id : group_) tape_.elsewhere.push_back(At(id).to);
    }
    tape_.groups.push_back(group);
    group_.resize(steps);
    for (const int id : group_) {
      for (int r = At(id).first_reading; r >= 0; r = readings_[static_cast<std::size_t>(r)].next) {
        const int reader = readings_[static_cast<std::size_t>(r)].reader;
        if (--At(reader).waits_for == 0) IsReady(reader);
      }
    }
  }

  // By where they write, then by operation, each group in the order of its places there.
  void AddGroupsApart() {
    const auto key = [this](int id) { return std::pair(At(id).into, builder_.node(id).op); };
    std::sort(apart_.begin(), apart_.end(),
              [&](int a, int b) { return std::pair(key(a), At(a).to) < std::pair(key(b), At(b).to); });
    for (auto first = apart_.begin(); first != apart_.end();) {
      const auto of_group = key(*first);
      const auto last = std::find_if(first, apart_.end(), [&](int id) { return key(id) != of_group; });
      group_.assign(first, last);
      AddGroup(of_group.second, of_group.first);
      first = last;
    }
  }

  void HandOut(std::span<const Tape::Result> results, Tape::Results& to) {
    to.list.reserve(results.size());
    for (const bool apart : {false, true}) {
      for (const Tape::Result& result : results) {
        const Step& step = At(result.from);
        if ((step.into != Tape::Into::kFile) == apart) to.list.push_back({PlaceOf(result.from), result.to});
      }
      if (!apart) to.copied = to.list.size();
    }
  }

  const FormulaBuilder& builder_;
  const TapeResults& results_;
  std::vector<Step> steps_;  // by node
  std::vector<int> places_;  // by node, apart from the rest: it is what is looked up most
  std::vector<Reading> readings_;
  std::array<Ready, kOperators> ready_;  // by operator
  std::vector<int> operators_;           // that occurred, in order
  std::vector<int> apart_;               // ready steps that write elsewhere than into the file
  std::vector<int> group_;
  Tape tape_;
};

}  // namespace

Tape ScheduleTape(const FormulaBuilder& builder, std::span<const int> variables, const TapeResults& results) {
  return TapeScheduler(builder, results).Schedule(variables);
}

Tape WithoutEntries(const Tape& all) {
  std::vector<char> needed(static_cast<std::size_t>(all.places), 0);
  const auto need = [&](int place) -> char& { return needed[static_cast<std::size_t>(place)]; };
  for (const Tape::Result& result : all.residuals.list) need(result.from) = 1;
  for (auto group = all.groups.rbegin(); group != all.groups.rend(); ++group) {
    for (int k = 0; k < group->arity; ++k) {
      const std::span<const Tape::Place> operands = all.OperandsOf(*group, k);
      for (int i = 0; i < group->count; ++i)
        if (need(group->target + i)) need(operands[static_cast<std::size_t>(i)]) = 1;
    }
  }
  Tape tape;
  tape.file.assign(all.file.begin(), all.file.begin() + all.first_variable);
  tape.PlaceVariables(all.variables);
  tape.places = all.first_result;
  tape.file.resize(static_cast<std::size_t>(tape.places));
  tape.residuals.copied = all.residuals.copied;
  std::vector<Tape::Place> place(static_cast<std::size_t>(all.places));
  std::iota(place.begin(), place.begin() + all.first_result, Tape::Place{0});
  std::vector<std::size_t> members;
  for (const Tape::Group& group : all.groups) {
    members.clear();
    for (int i = 0; i < group.count; ++i)
      if (need(group.target + i)) members.push_back(static_cast<std::size_t>(i));
    if (members.empty()) continue;
    Tape::Group kept = group;
    kept.operands = static_cast<int>(tape.operands.size());
    kept.target = tape.places;
    kept.count = static_cast<int>(members.size());
    for (const std::size_t i : members)
      place[static_cast<std::size_t>(group.target) + i] = static_cast<Tape::Place>(tape.places++);
    if (IsUnpaired(kept)) {
      members.push_back(members.back());
      ++tape.places;
      ++kept.count;
    }
    for (int k = 0; k < group.arity; ++k)
      for (const std::size_t i : members)
        tape.operands.push_back(place[static_cast<std::size_t>(all.OperandsOf(group, k)[i])]);
    if (group.into == Tape::Into::kFile) {
      tape.file.resize(static_cast<std::size_t>(tape.places));
    } else {
      kept.elsewhere = static_cast<int>(tape.elsewhere.size());
      for (const std::size_t i : members) tape.elsewhere.push_back(all.ElsewhereOf(group)[i]);
    }
    tape.groups.push_back(kept);
  }
  for (const auto [from, to] : all.residuals.list)
    tape.residuals.list.push_back({place[static_cast<std::size_t>(from)], to});
  return tape;
}

}  // namespace quiver
