// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/batch.h"

#include <algorithm>
#include <unordered_map>

#include "runtime/evaluation/joint_formulas.h"
#include "runtime/evaluation/stream_copy.h"

namespace quiver {
namespace {

// More would not stay in the first-level cache together with their results.
constexpr std::size_t kMostVariablesOfAPart = 96;

struct PlacesHash {
  std::size_t operator()(const Places& places) const {
    auto hash = static_cast<std::uint64_t>(places.first) * 0x9E3779B97F4A7C15u +
                static_cast<std::uint64_t>(places.step);
    for (std::size_t i = 0; i < std::min<std::size_t>(places.list.size(), 8); ++i)
      hash = (hash ^ static_cast<std::uint64_t>(places.list[i])) * 0x9E3779B97F4A7C15u;
    return hash ^ (hash >> 32);
  }
};

}  // namespace

EquationPlace Copies::Place(int copy, int member) const {
  if (!listed.empty()) return listed[static_cast<std::size_t>(copy)];
  EquationPlace place = members[static_cast<std::size_t>(member)];
  place.equation += static_cast<int>(equation_step * copy);
  place.gather += gather_step * copy;
  place.entry += entry_step * copy;
  return place;
}

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

  // All variables of a copy, member after member.
  int width = 0;
  for (const EquationPlace& member : copies.members)
    width +=
        (*equations.shapes)[equations.shape_of[static_cast<std::size_t>(member.equation)]].variable_count;
  const std::vector<Places> places = FindPlaces(
      copies_, width, [&](int copy) { return equations.gathers.data() + copies.Place(copy, 0).gather; });

  std::size_t first_member = 0, first_place = 0, place = 0;
  std::unordered_map<Places, int, PlacesHash> known;
  for (std::size_t m = 0; m < copies.members.size(); ++m) {
    const Shape& shape =
        (*equations.shapes)[equations.shape_of[static_cast<std::size_t>(copies.members[m].equation)]];
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
                    std::size_t first_member, std::size_t last_member, std::size_t place) {
  Part part;
  const auto shape_of = [&](int copy, std::size_t m) -> const Shape& {
    const EquationPlace at = copies.Place(copy, static_cast<int>(m));
    return (*equations.shapes)[equations.shape_of[static_cast<std::size_t>(at.equation)]];
  };

  // Inputs: the distinct variables, then the constants in which copies differ.
  struct Member {
    std::vector<int> variables;   // numbers of inputs
    std::vector<int> parameters;  // by constant: number of the parameter or -1
  };
  std::vector<Member> members;
  std::unordered_map<Places, int, PlacesHash> input_of;
  for (std::size_t m = first_member; m < last_member; ++m) {
    const Shape& shape = shape_of(0, m);
    Member& member = members.emplace_back();
    for (int k = 0; k < shape.variable_count; ++k, ++place) {
      const auto [at, added] = input_of.try_emplace(places[place], static_cast<int>(part.variables.size()));
      if (added) part.variables.push_back(places[place]);
      member.variables.push_back(at->second);
    }
    member.parameters.assign(shape.constants.size(), -1);
    std::vector<char> differs(shape.constants.size(), 0);
    bool any = false;
    for (int i = 1; i < copies_; ++i) {
      const Shape& other = shape_of(i, m);
      if (&other == &shape) continue;
      any = true;
      for (std::size_t c = 0; c < differs.size(); ++c) differs[c] |= other.constants[c] != shape.constants[c];
    }
    if (!any) continue;
    for (std::size_t c = 0; c < differs.size(); ++c) {
      if (!differs[c]) continue;
      member.parameters[c] = static_cast<int>(part.parameters.size());
      std::vector<double>& values = part.parameters.emplace_back();
      for (int i = 0; i < copies_; ++i) values.push_back(shape_of(i, m).constants[c]);
    }
  }

  const int variables = static_cast<int>(part.variables.size());
  JointFormulas joint(variables + static_cast<int>(part.parameters.size()));
  std::vector<int> outputs, values;
  std::vector<TurnOfNodes> turns, value_turns;
  for (std::size_t m = first_member; m < last_member; ++m) {
    const Shape& shape = shape_of(0, m);
    const Member& member = members[m - first_member];
    const EquationPlace at = copies.Place(0, static_cast<int>(m));
    std::vector<int> constants, inputs;
    for (std::size_t c = 0; c < shape.constants.size(); ++c)
      constants.push_back(member.parameters[c] < 0 ? joint.builder().Constant(shape.constants[c])
                                                   : joint.builder().Input(variables + member.parameters[c]));
    for (const int input : member.variables) inputs.push_back(joint.builder().Input(input));
    const std::vector<int> results = joint.Add(shape.programs->gradient, constants, inputs);

    part.members.push_back(static_cast<int>(m));
    part.entry_offsets.push_back(-1);
    outputs.push_back(results[0]);
    values.push_back(results[0]);
    int offset = static_cast<int>(at.entry - copies.Place(0, 0).entry);
    for (int k = 0; k < shape.variable_count; ++k) {
      if (!equations.HasEntry(equations.gathers[static_cast<std::size_t>(at.gather + k)])) continue;
      const int slope = results[static_cast<std::size_t>(k) + 1];
      if (joint.builder().IsConstant(slope)) {
        constant_entries_.push_back({offset, joint.builder().node(slope).value});
      } else {
        outputs.push_back(slope);
        part.entry_offsets.push_back(offset);
      }
      ++offset;
    }
    turns.push_back({joint.builder().size(), static_cast<int>(outputs.size())});
    value_turns.push_back({joint.builder().size(), static_cast<int>(values.size())});
  }
  ConstantPlan plan;
  plan.Need(joint.builder(), outputs);
  part.constants = plan.Values({});
  part.gradients = Extract(joint.builder(), plan, outputs, joint.inputs(), turns);
  part.values = Extract(joint.builder(), plan, values, joint.inputs(), value_turns);
  parts_.push_back(std::move(part));
}

void Batch::WriteConstantEntries(double* entries) const {
  for (int i = 0; i < copies_; ++i) {
    double* const copy = entries + entries_[i];
    for (const ConstantEntry& entry : constant_entries_) copy[entry.offset] = entry.value;
  }
}

void Batch::Run(int first, const double* x, double time, double* residuals, double* entries, bool streamed,
                Scratch& scratch) const {
  const int lanes = std::min(kLanes, copies_ - first);
  const bool to_tile = streamed && rows_.list.empty() && entries;
  if (!to_tile) {
    for (const Part& part : parts_) RunPart(part, first, lanes, x, time, residuals, entries, false, scratch);
    return;
  }
  const std::size_t rows = static_cast<std::size_t>(equations_per_copy_) * kLanes;
  const std::size_t width = static_cast<std::size_t>(entries_per_copy_);
  if (scratch.tile_of != this) {
    scratch.tile_of = this;
    if (scratch.residuals.size() < rows) scratch.residuals.resize(rows);
    if (scratch.entries.size() < width * kLanes) scratch.entries.resize(width * kLanes);
    for (std::size_t i = 0; i < kLanes; ++i)
      for (const ConstantEntry& entry : constant_entries_)
        scratch.entries[i * width + static_cast<std::size_t>(entry.offset)] = entry.value;
  }
  for (const Part& part : parts_)
    RunPart(part, first, lanes, x, time, scratch.residuals.data(), scratch.entries.data(), true, scratch);
  const auto count = static_cast<std::size_t>(lanes);
  StreamCopy(scratch.residuals.data(), count * static_cast<std::size_t>(equations_per_copy_),
             residuals + rows_[first]);
  StreamCopy(scratch.entries.data(), count * width, entries + entries_[first]);
}

void Batch::RunPart(const Part& part, int first, int lanes, const double* x, double time, double* residuals,
                    double* entries, bool to_tile, Scratch& scratch) const {
  const std::size_t variables = part.variables.size(), inputs = variables + part.parameters.size();
  if (scratch.rows.size() < inputs) scratch.rows.resize(inputs);
  scratch.inputs.resize(inputs);
  for (std::size_t k = 0; k < inputs; ++k) scratch.inputs[k] = scratch.rows[k].lane;
  for (std::size_t k = 0; k < variables; ++k) {
    const Places& places = part.variables[k];
    if (places.list.empty()) {
      GatherAffine(x, places[first], places.step, lanes, scratch.rows[k].lane);
    } else {
      Gather(x, places.list.data() + first, 1, lanes, scratch.rows[k].lane);
    }
  }
  for (std::size_t k = variables; k < inputs; ++k)
    std::copy_n(part.parameters[k - variables].data() + first, lanes, scratch.rows[k].lane);

  const Program& program = entries ? part.gradients : part.values;
  scratch.evaluator.Start(program, part.constants, scratch.inputs, lanes, {.time = time});
  for (std::size_t turn = 0; turn < program.turns.size(); ++turn) {
    scratch.evaluator.RunTurn(static_cast<int>(turn));
    const int end = program.turns[turn].outputs_end;
    int k = turn == 0 ? 0 : program.turns[turn - 1].outputs_end;
    const int member = part.members[turn];
    if (!rows_.list.empty()) {
      Scatter(scratch.evaluator.output(k), rows_.list.data() + first, 1, lanes, residuals);
    } else {
      ScatterAffine(scratch.evaluator.output(k), (to_tile ? 0 : rows_[first]) + member, equations_per_copy_,
                    lanes, residuals);
    }
    while (++k < end) {
      const int offset = part.entry_offsets[static_cast<std::size_t>(k)];
      if (!entries_.list.empty()) {
        Scatter(scratch.evaluator.output(k), entries_.list.data() + first, 1, lanes, entries + offset);
      } else {
        ScatterAffine(scratch.evaluator.output(k), (to_tile ? 0 : entries_[first]) + offset,
                      entries_per_copy_, lanes, entries);
      }
    }
  }
}

std::size_t Batch::memory_bytes() const {
  std::size_t bytes = sizeof *this + rows_.memory_bytes() + entries_.memory_bytes() +
                      constant_entries_.capacity() * sizeof(ConstantEntry);
  for (const Part& part : parts_) {
    bytes +=
        sizeof part + part.constants.capacity() * sizeof(double) + part.variables.capacity() * sizeof(Places);
    for (const Program* program : {&part.gradients, &part.values})
      bytes += program->code.capacity() * sizeof(Instruction) + program->outputs.capacity() * sizeof(int);
    for (const Places& places : part.variables) bytes += places.memory_bytes();
    for (const std::vector<double>& values : part.parameters) bytes += values.capacity() * sizeof(double);
    bytes += (part.members.capacity() + part.entry_offsets.capacity()) * sizeof(int);
  }
  return bytes;
}

}  // namespace quiver
