// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/level_tape.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace quiver {
namespace {

using Kind = FormulaBuilder::Kind;

constexpr int kOperators = 256;
constexpr std::size_t kUsualGroup = 64;

}  // namespace

LevelTape::LevelTape(const EquationList& equations, std::span<const EquationPlace> places) {
  std::vector<int> variables;
  std::unordered_map<int, int> input_of;
  std::size_t steps = 0;
  for (const EquationPlace& at : places) {
    const Shape& shape = (*equations.shapes)[equations.shape_of[static_cast<std::size_t>(at.equation)]];
    steps += shape.programs->gradient.code.size() + shape.constants.size();
    for (int k = 0; k < shape.variable_count; ++k) {
      const int variable = equations.gathers[static_cast<std::size_t>(at.gather + k)];
      if (input_of.try_emplace(variable, static_cast<int>(variables.size())).second)
        variables.push_back(variable);
    }
  }
  JointFormulas joint(static_cast<int>(variables.size()), true, steps);
  std::vector<int> residuals, entries, negated, negated_to, constants, inputs;
  for (const EquationPlace& at : places) {
    const Shape& shape = (*equations.shapes)[equations.shape_of[static_cast<std::size_t>(at.equation)]];
    const std::span<const int> gather = equations.gathers.subspan(
        static_cast<std::size_t>(at.gather), static_cast<std::size_t>(shape.variable_count));
    constants.clear();
    inputs.clear();
    for (const double constant : shape.constants) constants.push_back(joint.builder().Constant(constant));
    for (const int variable : gather) inputs.push_back(joint.builder().Input(input_of.at(variable)));
    const std::vector<int> results = joint.Add(shape.programs->gradient, constants, inputs);
    rows_.push_back(at.equation);
    first_entry_.push_back(static_cast<int>(at.entry));
    residuals.push_back(results[0]);
    int entry = static_cast<int>(at.entry);
    for (std::size_t k = 0; k < gather.size(); ++k) {
      if (!equations.HasEntry(gather[k])) continue;
      if (joint.builder().IsConstant(results[k + 1])) {
        constant_to_.push_back(entry);
        constants_.push_back(joint.builder().node(results[k + 1]).value);
      } else if (const int opposite = joint.NegatedBy(results[k + 1]); opposite >= 0) {
        negated_to.push_back(entry);
        negated.push_back(opposite);
      } else {
        entry_to_.push_back(entry);
        entries.push_back(results[k + 1]);
      }
      ++entry;
    }
  }
  first_negated_ = entries.size();
  entries.insert(entries.end(), negated.begin(), negated.end());
  entry_to_.insert(entry_to_.end(), negated_to.begin(), negated_to.end());
  gradients_ = Schedule(joint.builder(), variables, residuals, entries);
}

Tape LevelTape::Schedule(const FormulaBuilder& builder, std::span<const int> variables,
                         std::span<const int> residuals, std::span<const int> entries) {
  const auto count = static_cast<std::size_t>(builder.size());
  // What is needed, who waits for it, and for how many operands each step still waits.
  std::vector<char> needed(count, 0);
  for (const int id : residuals) needed[static_cast<std::size_t>(id)] = 1;
  for (const int id : entries) needed[static_cast<std::size_t>(id)] = 1;
  std::vector<int> first_reader(count + 1, 0), waits_for(count, 0);
  const auto operands = [&](std::size_t id) {
    const auto& node = builder.node(static_cast<int>(id));
    return std::array{node.a, OperandCount(node.op) > 1 ? node.b : -1,
                      OperandCount(node.op) > 2 ? node.c : -1};
  };
  const auto is_step = [&](int id) { return builder.node(id).kind == Kind::kStep; };
  for (std::size_t id = count; id-- > 0;) {
    if (!needed[id] || !is_step(static_cast<int>(id))) continue;
    for (const int operand : operands(id)) {
      if (operand < 0) continue;
      needed[static_cast<std::size_t>(operand)] = 1;
      if (!is_step(operand)) continue;
      ++first_reader[static_cast<std::size_t>(operand) + 1];
      ++waits_for[id];
    }
  }
  for (std::size_t id = 0; id < count; ++id) first_reader[id + 1] += first_reader[id];
  std::vector<int> readers(static_cast<std::size_t>(first_reader[count])),
      filled(first_reader.begin(), first_reader.end() - 1);
  for (std::size_t id = 0; id < count; ++id) {
    if (!needed[id] || !is_step(static_cast<int>(id))) continue;
    for (const int operand : operands(id))
      if (operand >= 0 && is_step(operand))
        readers[static_cast<std::size_t>(filled[static_cast<std::size_t>(operand)]++)] = static_cast<int>(id);
  }

  Tape tape;
  std::vector<int> place(count, -1);
  for (std::size_t id = 0; id < count; ++id) {
    const auto& node = builder.node(static_cast<int>(id));
    if (!needed[id] || node.kind != Kind::kConstant) continue;
    place[id] = static_cast<int>(tape.file.size());
    tape.file.push_back(node.value);
  }
  tape.first_variable = static_cast<int>(tape.file.size());
  tape.variables.assign(variables.begin(), variables.end());
  tape.first_result = tape.first_variable + static_cast<int>(variables.size()) + 1;  // the time
  std::vector<std::vector<int>> ready(kOperators);
  std::vector<int> operators;  // that occur
  for (std::size_t id = 0; id < count; ++id) {
    const auto& node = builder.node(static_cast<int>(id));
    if (!needed[id]) continue;
    if (node.kind == Kind::kInput) place[id] = tape.first_variable + node.a;
    if (node.kind != Kind::kStep) continue;
    std::vector<int>& of_operator = ready[static_cast<std::size_t>(node.op)];
    if (of_operator.capacity() == 0) {
      operators.push_back(static_cast<int>(node.op));
      of_operator.reserve(kUsualGroup);
    }
    if (waits_for[id] == 0) of_operator.push_back(static_cast<int>(id));
  }
  std::sort(operators.begin(), operators.end());

  int next = tape.first_result;
  std::vector<int> group;
  for (;;) {
    // Long operations wait until nothing else is left to do, so that more of them come together.
    int most = -1;
    for (const int op : operators) {
      const std::size_t size = ready[static_cast<std::size_t>(op)].size();
      if (size == 0) continue;
      const bool is_long = RunsOverRows(static_cast<Operator>(op));
      const bool most_is_long = most >= 0 && RunsOverRows(static_cast<Operator>(most));
      if (most < 0 ||
          (is_long != most_is_long ? most_is_long : size > ready[static_cast<std::size_t>(most)].size()))
        most = op;
    }
    if (most < 0) break;
    group.clear();
    group.swap(ready[static_cast<std::size_t>(most)]);
    const auto op = static_cast<Operator>(most);
    tape.groups.push_back({op, static_cast<std::uint8_t>(OperandCount(op)), static_cast<int>(group.size()),
                           static_cast<int>(tape.operands.size()), next});
    for (int operand = 0; operand < OperandCount(op); ++operand) {
      for (const int id : group) {
        const auto& node = builder.node(id);
        const int source = operand == 0 ? node.a : operand == 1 ? node.b : node.c;
        tape.operands.push_back(place[static_cast<std::size_t>(source)]);
      }
    }
    for (const int id : group) place[static_cast<std::size_t>(id)] = next++;
    for (const int id : group) {
      for (int r = first_reader[static_cast<std::size_t>(id)];
           r < first_reader[static_cast<std::size_t>(id) + 1]; ++r) {
        const int reader = readers[static_cast<std::size_t>(r)];
        if (--waits_for[static_cast<std::size_t>(reader)] == 0)
          ready[static_cast<std::size_t>(builder.node(reader).op)].push_back(reader);
      }
    }
  }
  tape.file.resize(static_cast<std::size_t>(next));
  for (const int id : residuals) tape.residual_from.push_back(place[static_cast<std::size_t>(id)]);
  for (const int id : entries) tape.entry_from.push_back(place[static_cast<std::size_t>(id)]);
  return tape;
}

// The same for residuals alone.
Tape LevelTape::WithoutEntries(const Tape& all) {
  Tape tape;
  std::vector<int> place(all.file.size(), -1);  // -1: not needed
  for (int k = 0; k < all.first_result; ++k) place[static_cast<std::size_t>(k)] = k;
  for (const int from : all.residual_from) place[static_cast<std::size_t>(from)] = from;
  for (auto group = all.groups.rbegin(); group != all.groups.rend(); ++group) {
    for (int i = 0; i < group->count; ++i) {
      if (place[static_cast<std::size_t>(group->target + i)] < 0) continue;
      for (int k = 0; k < group->arity; ++k) {
        const int operand = all.operands[static_cast<std::size_t>(group->operands + k * group->count + i)];
        if (place[static_cast<std::size_t>(operand)] < 0) place[static_cast<std::size_t>(operand)] = operand;
      }
    }
  }
  tape.file.assign(all.file.begin(), all.file.begin() + all.first_variable);
  tape.variables = all.variables;
  tape.first_variable = all.first_variable;
  tape.first_result = all.first_result;
  int next = all.first_result;
  for (const Tape::Group& group : all.groups) {
    Tape::Group kept = group;
    kept.operands = static_cast<int>(tape.operands.size());
    kept.target = next;
    for (int k = 0; k < group.arity; ++k) {
      for (int i = 0; i < group.count; ++i) {
        if (place[static_cast<std::size_t>(group.target + i)] < 0) continue;
        const int operand = all.operands[static_cast<std::size_t>(group.operands + k * group.count + i)];
        tape.operands.push_back(place[static_cast<std::size_t>(operand)]);
      }
    }
    for (int i = 0; i < group.count; ++i) {
      int& of = place[static_cast<std::size_t>(group.target + i)];
      if (of >= 0) of = next++;
    }
    kept.count = next - kept.target;
    if (kept.count > 0) tape.groups.push_back(kept);
  }
  tape.file.resize(static_cast<std::size_t>(next));
  for (const int from : all.residual_from)
    tape.residual_from.push_back(place[static_cast<std::size_t>(from)]);
  return tape;
}

void LevelTape::RunTape(Tape& tape, const double* x, double time) {
  double* const file = tape.file.data();
  double* const variables = file + tape.first_variable;
  for (std::size_t k = 0; k < tape.variables.size(); ++k) variables[k] = x[tape.variables[k]];
  variables[tape.variables.size()] = time;
  RunGroups(tape, 0, tape.groups.size());
}

void LevelTape::WriteConstantEntries(double* entries) const {
  for (std::size_t k = 0; k < constants_.size(); ++k) entries[constant_to_[k]] = constants_[k];
}

void LevelTape::WriteMachineCode() {
  const TapeCode::Rows rows{rows_, first_entry_, entry_to_, first_negated_};
  gradient_code_ = TapeCode::Write(gradients_, rows);
  if (gradient_code_ && values_) WriteValueCode();
}

void LevelTape::WriteValueCode() { value_code_ = TapeCode::Write(*values_, {rows_, first_entry_, {}, 0}); }

void LevelTape::Run(const double* x, double time, double* residuals, double* entries) {
  if (!entries && !values_) {
    values_ = std::make_unique<Tape>(WithoutEntries(gradients_));
    if (gradient_code_) WriteValueCode();
  }
  Tape& tape = entries ? gradients_ : *values_;
  if (const TapeCode* const code = (entries ? gradient_code_ : value_code_).get();
      code && code->IsForCurrentMachine())
    return code->Run(tape, x, time, residuals, entries);
  RunTape(tape, x, time);
  for (std::size_t k = 0; k < rows_.size(); ++k)
    residuals[rows_[k]] = tape.file[static_cast<std::size_t>(tape.residual_from[k])];
  if (!entries) return;
  const auto value = [&](std::size_t k) { return tape.file[static_cast<std::size_t>(tape.entry_from[k])]; };
  for (std::size_t k = 0; k < first_negated_; ++k) entries[entry_to_[k]] = value(k);
  for (std::size_t k = first_negated_; k < entry_to_.size(); ++k) entries[entry_to_[k]] = -value(k);
}

std::size_t LevelTape::memory_bytes() const {
  return sizeof *this + gradients_.memory_bytes() + (values_ ? values_->memory_bytes() : 0) +
         (gradient_code_ ? gradient_code_->memory_bytes() : 0) +
         (value_code_ ? value_code_->memory_bytes() : 0) +
         (rows_.capacity() + first_entry_.capacity() + entry_to_.capacity() + constant_to_.capacity()) *
             sizeof(int) +
         constants_.capacity() * sizeof(double);
}

}  // namespace quiver
