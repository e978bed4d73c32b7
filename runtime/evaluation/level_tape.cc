// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/level_tape.h"

#include <algorithm>
#include <array>
#include <unordered_map>

#include "runtime/expression/lanes.h"

namespace quiver {
namespace {

using Kind = FormulaBuilder::Kind;

constexpr int kOperators = 256;

// How many operands an operation reads; internal steps have no row in the operator table.
int OperandCount(Operator op) {
  switch (op) {
    case Operator::kPowerByBase:
      return 3;
    case Operator::kSign:
      return 1;
    default:
      break;
  }
  const OperatorInfo* const info = FindOperator(static_cast<int>(op));
  return info ? info->arity : 2;
}

// Long operations run over rows, where they are vector code; short ones cost less than making rows.
bool RunsOverRows(Operator op) {
  switch (op) {
    case Operator::kPower:
    case Operator::kExponential:
    case Operator::kNaturalLogarithm:
      return true;
    default:
      return false;
  }
}

}  // namespace

LevelTape::LevelTape(const EquationList& equations, std::span<const EquationPlace> places) {
  std::vector<int> variables;
  std::unordered_map<int, int> input_of;
  for (const EquationPlace& at : places) {
    const Shape& shape = (*equations.shapes)[equations.shape_of[static_cast<std::size_t>(at.equation)]];
    for (int k = 0; k < shape.variable_count; ++k) {
      const int variable = equations.gathers[static_cast<std::size_t>(at.gather + k)];
      if (input_of.try_emplace(variable, static_cast<int>(variables.size())).second)
        variables.push_back(variable);
    }
  }
  JointFormulas joint(static_cast<int>(variables.size()), true);
  std::vector<int> residuals, entries, negated, negated_to;
  for (const EquationPlace& at : places) {
    const Shape& shape = (*equations.shapes)[equations.shape_of[static_cast<std::size_t>(at.equation)]];
    const std::span<const int> gather = equations.gathers.subspan(
        static_cast<std::size_t>(at.gather), static_cast<std::size_t>(shape.variable_count));
    std::vector<int> constants, inputs;
    for (const double constant : shape.constants) constants.push_back(joint.builder().Constant(constant));
    for (const int variable : gather) inputs.push_back(joint.builder().Input(input_of.at(variable)));
    const std::vector<int> results = joint.Add(shape.programs->gradient, constants, inputs);
    rows_.push_back(at.equation);
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
  values_ = Schedule(joint.builder(), variables, residuals, {});
}

LevelTape::Tape LevelTape::Schedule(const FormulaBuilder& builder, std::span<const int> variables,
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
  std::array<std::vector<int>, kOperators> ready;
  for (std::size_t id = 0; id < count; ++id) {
    const auto& node = builder.node(static_cast<int>(id));
    if (!needed[id]) continue;
    if (node.kind == Kind::kInput) place[id] = tape.first_variable + node.a;
    if (node.kind == Kind::kStep && waits_for[id] == 0)
      ready[static_cast<std::size_t>(node.op)].push_back(static_cast<int>(id));
  }

  int next = tape.first_result;
  for (;;) {
    // Long operations wait until nothing else is left to do, so that more of them come together.
    const auto later = [&](const std::vector<int>& a, const std::vector<int>& b) {
      if (a.empty() || b.empty()) return a.size() < b.size();
      const bool a_long = RunsOverRows(builder.node(a[0]).op), b_long = RunsOverRows(builder.node(b[0]).op);
      return a_long != b_long ? a_long : a.size() < b.size();
    };
    auto most = std::max_element(ready.begin(), ready.end(), later);
    if (most->empty()) break;
    const std::vector<int> group = std::move(*most);
    most->clear();
    const Operator op = builder.node(group[0]).op;
    tape.groups.push_back({op, static_cast<std::uint8_t>(OperandCount(op)), static_cast<int>(group.size())});
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

void LevelTape::RunTape(Tape& tape, const double* x, double time) {
  double* const file = tape.file.data();
  double* const variables = file + tape.first_variable;
  for (std::size_t k = 0; k < tape.variables.size(); ++k) variables[k] = x[tape.variables[k]];
  variables[tape.variables.size()] = time;

  const int* operands = tape.operands.data();
  double* target = file + tape.first_result;
  for (const Group& group : tape.groups) {
    const int count = group.count, arity = group.arity;
    const int* const a = operands;
    const int* const b = arity > 1 ? a + count : a;
    const int* const c = arity > 2 ? b + count : a;
    operands += static_cast<std::ptrdiff_t>(arity) * count;
    if (RunsOverRows(group.op)) {
      for (int first = 0; first < count; first += kLanes) {
        const int lanes = std::min(kLanes, count - first);
        Lanes rows[3], result;
        const int* const operand[] = {a + first, b + first, c + first};
        for (int k = 0; k < arity; ++k) Gather(file, operand[k], 1, lanes, rows[k].lane);
        RunOperation(group.op, result.lane, rows[0].lane, rows[1].lane, rows[2].lane, lanes);
        std::copy_n(result.lane, lanes, target + first);
      }
    } else {
      switch (group.op) {
#define QUIVER_GROUP(code, name, ...)                                                                     \
  case Operator::k##name:                                                                                 \
    for (int i = 0; i < count; ++i)                                                                       \
      target[i] = Formula<Operator::k##name>::template Value<double>(file[a[i]], file[b[i]], file[c[i]]); \
    break;
#define OPERATOR QUIVER_GROUP
#define CONDITION QUIVER_GROUP
#define INTERNAL QUIVER_GROUP
#include "runtime/expression/operators.def"
#undef QUIVER_GROUP
        default:
          break;
      }
    }
    target += count;
  }
}

void LevelTape::WriteConstantEntries(double* entries) const {
  for (std::size_t k = 0; k < constants_.size(); ++k) entries[constant_to_[k]] = constants_[k];
}

void LevelTape::Run(const double* x, double time, double* residuals, double* entries) {
  Tape& tape = entries ? gradients_ : values_;
  RunTape(tape, x, time);
  for (std::size_t k = 0; k < rows_.size(); ++k)
    residuals[rows_[k]] = tape.file[static_cast<std::size_t>(tape.residual_from[k])];
  if (!entries) return;
  const auto value = [&](std::size_t k) { return tape.file[static_cast<std::size_t>(tape.entry_from[k])]; };
  for (std::size_t k = 0; k < first_negated_; ++k) entries[entry_to_[k]] = value(k);
  for (std::size_t k = first_negated_; k < entry_to_.size(); ++k) entries[entry_to_[k]] = -value(k);
}

std::size_t LevelTape::Tape::memory_bytes() const {
  return file.capacity() * sizeof(double) + groups.capacity() * sizeof(Group) +
         (operands.capacity() + variables.capacity() + residual_from.capacity() + entry_from.capacity()) *
             sizeof(int);
}

std::size_t LevelTape::memory_bytes() const {
  return sizeof *this + gradients_.memory_bytes() + values_.memory_bytes() +
         (rows_.capacity() + entry_to_.capacity() + constant_to_.capacity()) * sizeof(int) +
         constants_.capacity() * sizeof(double);
}

}  // namespace quiver
