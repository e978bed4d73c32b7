// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/level_tape.h"

#include <unordered_map>

#include "runtime/evaluation/tape_schedule.h"

namespace quiver {

// Each step may stand twice.
int LevelTape::MostPlaces(const Shape& shape) {
  return static_cast<int>(2 * shape.programs->gradient.code.size() + shape.constants.size()) +
         shape.variable_count;
}

LevelTape::LevelTape(const EquationList& equations, std::span<const EquationPlace> places) {
  const auto shape_of = [&](const EquationPlace& at) -> const Shape& {
    return (*equations.shapes)[equations.shape_of[static_cast<std::size_t>(at.equation)]];
  };
  std::vector<int> variables;  // by input
  std::unordered_map<int, int> input_of;
  std::size_t steps = 0;
  for (const EquationPlace& at : places) {
    const Shape& shape = shape_of(at);
    steps += shape.programs->gradient.code.size() + shape.constants.size();
    for (int k = 0; k < shape.variable_count; ++k) {
      const int variable = equations.gathers[static_cast<std::size_t>(at.gather + k)];
      if (input_of.try_emplace(variable, static_cast<int>(variables.size())).second)
        variables.push_back(variable);
    }
  }
  JointFormulas joint(static_cast<int>(variables.size()), true, steps);
  TapeResults results;
  std::vector<int> constants, inputs;
  for (const EquationPlace& at : places) {
    const Shape& shape = shape_of(at);
    const std::span<const int> gather = equations.gathers.subspan(
        static_cast<std::size_t>(at.gather), static_cast<std::size_t>(shape.variable_count));
    constants.clear();
    inputs.clear();
    for (const double constant : shape.constants) constants.push_back(joint.builder().Constant(constant));
    for (const int variable : gather) inputs.push_back(joint.builder().Input(input_of.at(variable)));
    const std::vector<int> nodes = joint.Add(shape.programs->gradient, constants, inputs);
    first_entry_.push_back(static_cast<int>(at.entry));
    results.residuals.push_back({nodes[0], at.equation});
    int entry = static_cast<int>(at.entry);
    for (std::size_t k = 0; k < gather.size(); ++k) {
      if (!equations.HasEntry(gather[k])) continue;
      if (joint.builder().IsConstant(nodes[k + 1])) {
        constant_to_.push_back(entry);
        constants_.push_back(joint.builder().node(nodes[k + 1]).value);
      } else if (const int opposite = joint.NegatedBy(nodes[k + 1]); opposite >= 0) {
        results.opposites.push_back({opposite, entry});
      } else {
        results.entries.push_back({nodes[k + 1], entry});
      }
      ++entry;
    }
  }
  gradients_ = ScheduleTape(joint.builder(), variables, results);
}

void LevelTape::WriteConstantEntries(double* entries) const {
  for (std::size_t k = 0; k < constants_.size(); ++k) entries[constant_to_[k]] = constants_[k];
}

void LevelTape::WriteMachineCode() {
  gradient_code_ = TapeCode::Write(gradients_, first_entry_);
  if (gradient_code_ && values_) WriteValueCode();
}

void LevelTape::WriteValueCode() { value_code_ = TapeCode::Write(*values_, first_entry_); }

void LevelTape::Run(const double* x, double time, double* residuals, double* entries) {
  if (!entries && !values_) {
    values_ = std::make_unique<Tape>(WithoutEntries(gradients_));
    if (gradient_code_) WriteValueCode();
  }
  Tape& tape = entries ? gradients_ : *values_;
  if (const TapeCode* const code = (entries ? gradient_code_ : value_code_).get();
      code && code->IsForCurrentMachine())
    return code->Run(tape, x, time, residuals, entries);
  RunTape(tape, x, time, residuals, entries);
}

std::size_t LevelTape::memory_bytes() const {
  return sizeof *this + gradients_.memory_bytes() + (values_ ? values_->memory_bytes() : 0) +
         (gradient_code_ ? gradient_code_->memory_bytes() : 0) +
         (value_code_ ? value_code_->memory_bytes() : 0) +
         (first_entry_.capacity() + constant_to_.capacity()) * sizeof(int) +
         constants_.capacity() * sizeof(double);
}

}  // namespace quiver
