// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/batch.h"

#include <algorithm>
#include <unordered_map>

#include "runtime/evaluation/joint_formulas.h"
#include "runtime/evaluation/stream_copy.h"
#include "runtime/expression/lane_code.h"
#include "runtime/expression/program_extractor.h"

namespace quiver {
namespace {

// More would not stay in the first-level cache together with their results.
constexpr std::size_t kMostVariablesOfAPart = 96;
// Results go out a cache line of a copy at a time.
constexpr std::size_t kNumbersOfALine = 8;

}  // namespace

Batch::Batch(const EquationList& equations, const Copies& copies)
    : copies_(copies.count),
      equations_per_copy_(static_cast<int>(copies.members.size())),
      entries_per_copy_(static_cast<int>(copies.entry_step)) {
  const EquationPlace first = copies.Place(0, 0);
  rows_ = {first.equation, copies.equation_step, {}};
  entries_ = {first.entry, copies.entry_step, {}};
  if (!copies.listed.empty()) {
    for (const EquationPlace& place : copies.listed) {
      rows_.list.push_back(place.equation);
      entries_.list.push_back(static_cast<int>(place.entry));
    }
  }

  const std::vector<Places> places = copies.VariablePlaces(equations);
  std::size_t first_member = 0, first_place = 0, place = 0;
  std::unordered_map<Places, int, PlacesHash> known;
  for (std::size_t m = 0; m < copies.members.size(); ++m) {
    const Shape& shape = copies.ShapeOf(equations, 0, m);
    const std::size_t end = place + static_cast<std::size_t>(shape.variable_count);
    for (std::size_t k = place; k < end; ++k) known.try_emplace(places[k], 0);
    if (known.size() > kMostVariablesOfAPart && m > first_member) {
      AddPart(equations, copies, places, first_member, m, first_place);
      first_member = m;
      first_place = place;
      known.clear();
      for (std::size_t k = place; k < end; ++k) known.try_emplace(places[k], 0);
    }
    place = end;
  }
  AddPart(equations, copies, places, first_member, copies.members.size(), first_place);
}

void Batch::AddPart(const EquationList& equations, const Copies& copies, const std::vector<Places>& places,
                    std::size_t first_member, std::size_t last_member, std::size_t first_place) {
  Part part;
  const JointInputs inputs(equations, copies, places, first_member, last_member, first_place);
  JointFormulas joint(inputs.rows().count());
  std::vector<int> outputs, values;                // nodes
  std::vector<int> waiting_rows, waiting_entries;  // for their turn
  std::vector<int> turns, value_turns;             // their ends among the outputs
  Results next{
      static_cast<int>(first_member), 0,
      static_cast<int>(copies.Place(0, static_cast<int>(first_member)).entry - copies.Place(0, 0).entry), 0};
  // Takes as many as fill cache lines from those that wait, or all.
  const auto take = [&](std::vector<int>& waiting, bool all, std::vector<int>& to) {
    const std::size_t count = all ? waiting.size() : waiting.size() / kNumbersOfALine * kNumbersOfALine;
    const auto last = waiting.begin() + static_cast<std::ptrdiff_t>(count);
    to.insert(to.end(), waiting.begin(), last);
    waiting.erase(waiting.begin(), last);
    return static_cast<int>(count);
  };
  for (std::size_t m = first_member; m < last_member; ++m) {
    const Shape& shape = copies.ShapeOf(equations, 0, m);
    const EquationPlace at = copies.Place(0, static_cast<int>(m));
    const std::vector<int> nodes = joint.Add(shape.programs->gradient, inputs.Constants(joint.builder(), m),
                                             inputs.Variables(joint.builder(), m));

    waiting_rows.push_back(nodes[0]);
    for (int k = 0; k < shape.variable_count; ++k) {
      if (!equations.HasEntry(equations.gathers[static_cast<std::size_t>(at.gather + k)])) continue;
      const int entry = nodes[static_cast<std::size_t>(k) + 1];
      const int opposite = rows_.list.empty() ? joint.NegatedBy(entry) : -1;
      waiting_entries.push_back(opposite >= 0 ? opposite : entry);
      part.signs.push_back(opposite >= 0 ? -0.0 : 0.0);
    }
    const bool last = m + 1 == last_member;
    if (!last && waiting_rows.size() < kNumbersOfALine && waiting_entries.size() < kNumbersOfALine) continue;
    next.members = take(waiting_rows, last, outputs);
    values.insert(values.end(), outputs.end() - next.members, outputs.end());
    next.entries = take(waiting_entries, last, outputs);
    turns.push_back(static_cast<int>(outputs.size()));
    value_turns.push_back(static_cast<int>(values.size()));
    part.results.push_back(next);
    next = {next.first_member + next.members, 0, next.first_entry + next.entries, 0};
  }
  ConstantPlan plan;
  plan.Need(joint.builder(), outputs);
  part.constants = plan.constants().Values({});
  ProgramExtractor extractor;
  part.gradients = extractor.Extract(joint.builder(), plan, outputs, joint.inputs(), turns);
  part.values = extractor.Extract(joint.builder(), plan, values, joint.inputs(), value_turns);
  part.inputs = inputs.rows();
  parts_.push_back(std::move(part));
}

void Batch::Run(int first, const double* x, double time, double* residuals, double* entries, bool streamed,
                Scratch& scratch) const {
  const int lanes = std::min(kLanes, copies_ - first);
  const bool listed = !rows_.list.empty();
  if (!streamed || listed || !entries) {
    double* const rows = residuals + (listed ? 0 : rows_[first]);
    double* const slopes = !entries || listed ? entries : entries + entries_[first];
    for (const Part& part : parts_) RunPart(part, first, lanes, x, time, rows, slopes, 0, scratch);
    return;
  }
  const std::size_t row_count = static_cast<std::size_t>(equations_per_copy_ * lanes);
  const std::size_t entry_count = static_cast<std::size_t>(entries_per_copy_ * lanes);
  if (scratch.residuals.size() < row_count) scratch.residuals.resize(row_count);
  if (scratch.entries.size() < entry_count) scratch.entries.resize(entry_count);
  const int next_lanes = std::min(kLanes, copies_ - first - lanes);
  for (const Part& part : parts_)
    RunPart(part, first, lanes, x, time, scratch.residuals.data(), scratch.entries.data(), next_lanes,
            scratch);
  StreamCopy(scratch.residuals.data(), row_count, residuals + rows_[first]);
  StreamCopy(scratch.entries.data(), entry_count, entries + entries_[first]);
}

void Batch::RunPart(const Part& part, int first, int lanes, const double* x, double time, double* residuals,
                    double* entries, int next_lanes, Scratch& scratch) const {
  const auto inputs = static_cast<std::size_t>(part.inputs.count());
  if (scratch.rows.size() < inputs) scratch.rows.resize(inputs);
  scratch.inputs.resize(inputs);
  for (std::size_t k = 0; k < inputs; ++k) scratch.inputs[k] = scratch.rows[k].lane;
  part.inputs.Gather(x, first, lanes, scratch.rows.data());

  const Program& program = entries ? part.gradients : part.values;
  scratch.evaluator.Start(program, part.constants, scratch.inputs, lanes, {.time = time});
  const int next = first + lanes, turns = static_cast<int>(program.turns.size());
  scratch.outputs.resize(program.outputs.size());
  for (std::size_t k = 0; k < program.outputs.size(); ++k)
    scratch.outputs[k] = scratch.evaluator.output(static_cast<int>(k));
  int begin = 0;
  for (std::size_t turn = 0; turn < program.turns.size(); ++turn) {
    scratch.evaluator.RunTurn(static_cast<int>(turn));
    if (next_lanes > 0)
      part.inputs.Prefetch(x, next + next_lanes * static_cast<int>(turn) / turns,
                           next + next_lanes * static_cast<int>(turn + 1) / turns);
    const Results& results = part.results[turn];
    const double* const* const values = scratch.outputs.data() + begin;
    const double* const* const slopes = values + results.members;
    begin = program.turns[turn].outputs_end;
    if (rows_.list.empty()) {
      ScatterRows(values, results.members, lanes, residuals + results.first_member, equations_per_copy_);
      if (entries)
        ScatterRows(slopes, results.entries, lanes, entries + results.first_entry, entries_per_copy_,
                    part.signs.data() + (results.first_entry - part.results[0].first_entry));
    } else {
      if (results.members) Scatter(values[0], rows_.list.data() + first, 1, lanes, residuals);
      for (int k = 0; entries && k < results.entries; ++k)
        Scatter(slopes[k], entries_.list.data() + first, 1, lanes, entries + results.first_entry + k);
    }
  }
}

void Batch::WriteMachineCode() {
  for (Part& part : parts_) {
    for (Program* const program : {&part.gradients, &part.values})
      program->machine_code = LaneCode::Write(*program);
  }
}

std::size_t Batch::memory_bytes() const {
  std::size_t bytes = sizeof *this + rows_.memory_bytes() + entries_.memory_bytes();
  for (const Part& part : parts_) {
    bytes += sizeof part + part.constants.capacity() * sizeof(double) + part.inputs.memory_bytes() +
             part.results.capacity() * sizeof(Results);
    for (const Program* program : {&part.gradients, &part.values}) {
      bytes += program->code.capacity() * sizeof(Instruction) + program->outputs.capacity() * sizeof(int);
      if (program->machine_code) bytes += program->machine_code->memory_bytes();
    }
    bytes += part.signs.capacity() * sizeof(double);
  }
  return bytes;
}

}  // namespace quiver
