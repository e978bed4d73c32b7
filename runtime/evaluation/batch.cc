// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/batch.h"

#include <algorithm>
#include <tuple>
#include <unordered_map>

#include "runtime/evaluation/joint_formulas.h"
#include "runtime/evaluation/stream_copy.h"

namespace quiver {
namespace {

// More would not stay in the first-level cache together with their results.
constexpr std::size_t kMostVariablesOfAPart = 96;
// Results go out a cache line of a copy at a time.
constexpr std::size_t kNumbersOfALine = 8;

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

  // Inputs: the distinct variables, those that lie one behind the other together; then constants in which copies differ.
  std::size_t end = place;
  for (std::size_t m = first_member; m < last_member; ++m)
    end += static_cast<std::size_t>(shape_of(0, m).variable_count);
  std::unordered_map<Places, int, PlacesHash> input_of;
  std::vector<const Places*> distinct;
  for (std::size_t k = place; k < end; ++k)
    if (input_of.try_emplace(places[k], 0).second) distinct.push_back(&places[k]);
  std::stable_sort(distinct.begin(), distinct.end(), [](const Places* a, const Places* b) {
    return std::tuple(!a->list.empty(), a->step, a->first) < std::tuple(!b->list.empty(), b->step, b->first);
  });
  for (const Places* variable : distinct) {
    input_of[*variable] = part.variable_count++;
    Inputs* const before = part.variables.empty() ? nullptr : &part.variables.back();
    const bool joins = before && before->places.list.empty() && variable->list.empty() &&
                       variable->step != 0 && variable->step == before->places.step &&
                       variable->first == before->places.first + before->count;
    if (joins) {
      ++before->count;
    } else {
      part.variables.push_back({*variable, 1});
    }
  }
  // By member and constant: its number as a parameter, or -1.
  std::vector<std::vector<int>> parameters;
  for (std::size_t m = first_member; m < last_member; ++m) {
    const Shape& shape = shape_of(0, m);
    std::vector<char> differs(shape.constants.size(), 0);
    for (int i = 1; i < copies_; ++i) {
      const Shape& other = shape_of(i, m);
      if (&other == &shape) continue;
      for (std::size_t c = 0; c < differs.size(); ++c) differs[c] |= other.constants[c] != shape.constants[c];
    }
    std::vector<int>& numbers = parameters.emplace_back(shape.constants.size(), -1);
    for (std::size_t c = 0; c < differs.size(); ++c) {
      if (!differs[c]) continue;
      numbers[c] = static_cast<int>(part.parameters.size());
      std::vector<double>& values = part.parameters.emplace_back();
      for (int i = 0; i < copies_; ++i) values.push_back(shape_of(i, m).constants[c]);
    }
  }

  JointFormulas joint(part.variable_count + static_cast<int>(part.parameters.size()));
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
    const Shape& shape = shape_of(0, m);
    const EquationPlace at = copies.Place(0, static_cast<int>(m));
    std::vector<int> constants, inputs;
    for (std::size_t c = 0; c < shape.constants.size(); ++c) {
      const int parameter = parameters[m - first_member][c];
      constants.push_back(parameter < 0 ? joint.builder().Constant(shape.constants[c])
                                        : joint.builder().Input(part.variable_count + parameter));
    }
    for (int k = 0; k < shape.variable_count; ++k, ++place)
      inputs.push_back(joint.builder().Input(input_of.at(places[place])));
    const std::vector<int> nodes = joint.Add(shape.programs->gradient, constants, inputs);

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
  part.constants = plan.Values({});
  part.gradients = Extract(joint.builder(), plan, outputs, joint.inputs(), turns);
  part.values = Extract(joint.builder(), plan, values, joint.inputs(), value_turns);
  parts_.push_back(std::move(part));
}

void Batch::Run(int first, const double* x, double time, double* residuals, double* entries, bool streamed,
                Scratch& scratch) const {
  const int lanes = std::min(kLanes, copies_ - first);
  const bool listed = !rows_.list.empty();
  if (!streamed || listed || !entries) {
    double* const rows = residuals + (listed ? 0 : rows_[first]);
    double* const slopes = !entries || listed ? entries : entries + entries_[first];
    for (const Part& part : parts_) RunPart(part, first, lanes, x, time, rows, slopes, scratch);
    return;
  }
  const std::size_t row_count = static_cast<std::size_t>(equations_per_copy_ * lanes);
  const std::size_t entry_count = static_cast<std::size_t>(entries_per_copy_ * lanes);
  if (scratch.residuals.size() < row_count) scratch.residuals.resize(row_count);
  if (scratch.entries.size() < entry_count) scratch.entries.resize(entry_count);
  for (const Part& part : parts_)
    RunPart(part, first, lanes, x, time, scratch.residuals.data(), scratch.entries.data(), scratch);
  StreamCopy(scratch.residuals.data(), row_count, residuals + rows_[first]);
  StreamCopy(scratch.entries.data(), entry_count, entries + entries_[first]);
}

void Batch::RunPart(const Part& part, int first, int lanes, const double* x, double time, double* residuals,
                    double* entries, Scratch& scratch) const {
  const auto variables = static_cast<std::size_t>(part.variable_count),
             inputs = variables + part.parameters.size();
  if (scratch.rows.size() < inputs) scratch.rows.resize(inputs);
  scratch.inputs.resize(inputs);
  for (std::size_t k = 0; k < inputs; ++k) scratch.inputs[k] = scratch.rows[k].lane;
  std::size_t row = 0;
  for (const Inputs& group : part.variables) {
    if (group.places.list.empty()) {
      GatherRows(x + group.places[first], group.places.step, lanes, &scratch.rows[row], group.count);
    } else {
      Gather(x, group.places.list.data() + first, 1, lanes, scratch.rows[row].lane);
    }
    row += static_cast<std::size_t>(group.count);
  }
  for (; row < inputs; ++row) {
    const double* const values = part.parameters[row - variables].data() + first;
    for (int i = 0; i < BlockWidth(lanes); ++i) scratch.rows[row].lane[i] = values[std::min(i, lanes - 1)];
  }

  const Program& program = entries ? part.gradients : part.values;
  scratch.evaluator.Start(program, part.constants, scratch.inputs, lanes, {.time = time});
  int begin = 0;
  for (std::size_t turn = 0; turn < program.turns.size(); ++turn) {
    scratch.evaluator.RunTurn(static_cast<int>(turn));
    const int end = program.turns[turn].outputs_end;
    scratch.outputs.clear();
    for (int k = begin; k < end; ++k) scratch.outputs.push_back(scratch.evaluator.output(k));
    begin = end;
    const Results& results = part.results[turn];
    const double* const* const slopes = scratch.outputs.data() + results.members;
    if (rows_.list.empty()) {
      ScatterRows(scratch.outputs.data(), results.members, lanes, residuals + results.first_member,
                  equations_per_copy_);
      if (entries)
        ScatterRows(slopes, results.entries, lanes, entries + results.first_entry, entries_per_copy_,
                    part.signs.data() + (results.first_entry - part.results[0].first_entry));
    } else {
      if (results.members) Scatter(scratch.outputs[0], rows_.list.data() + first, 1, lanes, residuals);
      for (int k = 0; entries && k < results.entries; ++k)
        Scatter(slopes[k], entries_.list.data() + first, 1, lanes, entries + results.first_entry + k);
    }
  }
}

std::size_t Batch::memory_bytes() const {
  std::size_t bytes = sizeof *this + rows_.memory_bytes() + entries_.memory_bytes();
  for (const Part& part : parts_) {
    bytes += sizeof part + part.constants.capacity() * sizeof(double) +
             part.variables.capacity() * sizeof(Inputs) + part.results.capacity() * sizeof(Results);
    for (const Program* program : {&part.gradients, &part.values})
      bytes += program->code.capacity() * sizeof(Instruction) + program->outputs.capacity() * sizeof(int);
    for (const Inputs& group : part.variables) bytes += group.places.memory_bytes();
    bytes += part.signs.capacity() * sizeof(double);
    for (const std::vector<double>& values : part.parameters) bytes += values.capacity() * sizeof(double);
  }
  return bytes;
}

}  // namespace quiver
