// SPDX-License-Identifier: Apache-2.0
#include "runtime/evaluation/joint_inputs.h"

#include <algorithm>
#include <tuple>

namespace quiver {

std::size_t PlacesHash::operator()(const Places& places) const {
  auto hash = static_cast<std::uint64_t>(places.first) * 0x9E3779B97F4A7C15u +
              static_cast<std::uint64_t>(places.step);
  for (std::size_t i = 0; i < std::min<std::size_t>(places.list.size(), 8); ++i)
    hash = (hash ^ static_cast<std::uint64_t>(places.list[i])) * 0x9E3779B97F4A7C15u;
  return hash ^ (hash >> 32);
}

EquationPlace Copies::Place(int copy, int member) const {
  if (!listed.empty()) return listed[static_cast<std::size_t>(copy)];
  EquationPlace place = members[static_cast<std::size_t>(member)];
  place.equation += static_cast<int>(equation_step * copy);
  place.gather += gather_step * copy;
  place.entry += entry_step * copy;
  return place;
}

const Shape& Copies::ShapeOf(const EquationList& equations, int copy, std::size_t member) const {
  const EquationPlace at = Place(copy, static_cast<int>(member));
  return (*equations.shapes)[equations.shape_of[static_cast<std::size_t>(at.equation)]];
}

std::vector<Places> Copies::VariablePlaces(const EquationList& equations) const {
  int width = 0;
  for (std::size_t m = 0; m < members.size(); ++m) width += ShapeOf(equations, 0, m).variable_count;
  return FindPlaces(count, width, [&](int copy) { return equations.gathers.data() + Place(copy, 0).gather; });
}

JointInputs::JointInputs(const EquationList& equations, const Copies& copies,
                         const std::vector<Places>& places, std::size_t first_member, std::size_t last_member,
                         std::size_t first_place)
    : first_member_(first_member) {
  std::size_t end = first_place;
  for (std::size_t m = first_member; m < last_member; ++m)
    end += static_cast<std::size_t>(copies.ShapeOf(equations, 0, m).variable_count);
  std::vector<const Places*> distinct;
  for (std::size_t k = first_place; k < end; ++k)
    if (input_of_.try_emplace(places[k], 0).second) distinct.push_back(&places[k]);
  std::stable_sort(distinct.begin(), distinct.end(), [](const Places* a, const Places* b) {
    return std::tuple(!a->list.empty(), a->step, a->first) < std::tuple(!b->list.empty(), b->step, b->first);
  });
  for (const Places* variable : distinct) {
    input_of_[*variable] = rows_.variable_count++;
    InputRows::Group* const before = rows_.groups.empty() ? nullptr : &rows_.groups.back();
    const bool joins = before && before->places.list.empty() && variable->list.empty() &&
                       variable->step != 0 && variable->step == before->places.step &&
                       variable->first == before->places.first + before->count;
    if (joins) {
      ++before->count;
    } else {
      rows_.groups.push_back({*variable, 1});
    }
  }

  std::size_t place = first_place;
  for (std::size_t m = first_member; m < last_member; ++m) {
    const Shape& shape = copies.ShapeOf(equations, 0, m);
    Member& member = members_.emplace_back();
    member.constants = shape.constants;
    for (int k = 0; k < shape.variable_count; ++k) member.variables.push_back(input_of_.at(places[place++]));
    std::vector<char> differs(shape.constants.size(), 0);
    for (int i = 1; i < copies.count; ++i) {
      const Shape& other = copies.ShapeOf(equations, i, m);
      if (&other == &shape) continue;
      for (std::size_t c = 0; c < differs.size(); ++c) differs[c] |= other.constants[c] != shape.constants[c];
    }
    for (std::size_t c = 0; c < differs.size(); ++c) {
      member.parameters.push_back(differs[c] ? static_cast<int>(rows_.parameters.size()) : -1);
      if (!differs[c]) continue;
      std::vector<double>& values = rows_.parameters.emplace_back();
      for (int i = 0; i < copies.count; ++i) values.push_back(copies.ShapeOf(equations, i, m).constants[c]);
    }
  }
}

std::vector<int> JointInputs::Constants(FormulaBuilder& builder, std::size_t member) const {
  const Member& of = members_[member - first_member_];
  std::vector<int> nodes;
  for (std::size_t c = 0; c < of.constants.size(); ++c)
    nodes.push_back(of.parameters[c] < 0 ? builder.Constant(of.constants[c])
                                         : builder.Input(rows_.variable_count + of.parameters[c]));
  return nodes;
}

std::vector<int> JointInputs::Variables(FormulaBuilder& builder, std::size_t member) const {
  std::vector<int> nodes;
  for (const int input : members_[member - first_member_].variables) nodes.push_back(builder.Input(input));
  return nodes;
}

void InputRows::Gather(const double* x, int first, int lanes, Lanes* rows) const {
  for (const Group& group : groups) {
    if (group.places.list.empty()) {
      GatherRows(x + group.places[first], group.places.step, lanes, rows, group.count);
    } else {
      quiver::Gather(x, group.places.list.data() + first, 1, lanes, rows->lane);
    }
    rows += group.count;
  }
  for (const std::vector<double>& parameter : parameters) {
    const double* const values = parameter.data() + first;
    for (int i = 0; i < BlockWidth(lanes); ++i) rows->lane[i] = values[std::min(i, lanes - 1)];
    ++rows;
  }
}

void InputRows::Prefetch(const double* x, int first, int last) const {
  constexpr int kNumbersOfALine = 8, kSecondLevel = 2;
  for (const Group& group : groups) {
    for (int i = first; i < last; ++i) {
      const double* const from = x + group.places[i];
      for (int k = 0; k < group.count; k += kNumbersOfALine) __builtin_prefetch(from + k, 0, kSecondLevel);
      __builtin_prefetch(from + group.count - 1, 0, kSecondLevel);
    }
  }
}

std::size_t InputRows::memory_bytes() const {
  std::size_t bytes = groups.capacity() * sizeof(Group);
  for (const Group& group : groups) bytes += group.places.memory_bytes();
  for (const std::vector<double>& values : parameters) bytes += values.capacity() * sizeof(double);
  return bytes;
}

}  // namespace quiver
