// SPDX-License-Identifier: Apache-2.0
// What the joint program of several equations of a copy reads: its distinct variables, those that lie one behind the other
// together, and after them the literals in which copies differ.
//
//   JointInputs inputs(equations, copies, places, 0, copies.members.size(), 0);
//   JointFormulas joint(inputs.rows().count());
//   joint.Add(program, inputs.Constants(joint.builder(), m), inputs.Variables(joint.builder(), m));   // member m
//   inputs.rows().Gather(x, first, lanes, rows);                // row k: input k of the copies from `first`
#pragma once

#include <unordered_map>
#include <vector>

#include "runtime/evaluation/equation_list.h"
#include "runtime/evaluation/repetition.h"
#include "runtime/expression/formula_builder.h"
#include "runtime/expression/lanes.h"

namespace quiver {

// Copies of a group of equations. Those that lie one behind the other have steps, others are listed.
struct Copies {
  int count = 0;
  std::vector<EquationPlace> members;  // of the first copy
  long long equation_step = 0, gather_step = 0, entry_step = 0;
  std::vector<EquationPlace> listed;  // groups of a single equation: of every copy; else empty

  EquationPlace Place(int copy, int member) const;
  const Shape& ShapeOf(const EquationList& equations, int copy, std::size_t member) const;
  // Where each variable of each member lies in x, member after member.
  std::vector<Places> VariablePlaces(const EquationList& equations) const;
};

struct PlacesHash {
  std::size_t operator()(const Places& places) const;
};

// The rows of a block, gathered from x.
struct InputRows {
  // Variables that lie one behind the other in every copy, or a single one.
  struct Group {
    Places places;  // of the first
    int count;
  };
  std::vector<Group> groups;
  int variable_count = 0;
  std::vector<std::vector<double>> parameters;  // literals that differ, by copy

  int count() const { return variable_count + static_cast<int>(parameters.size()); }
  void Gather(const double* x, int first, int lanes, Lanes* rows) const;
  // Fetches what gathering the copies from `first` to `last` - 1 will read into the second-level cache: the first is full of
  // what is being computed.
  void Prefetch(const double* x, int first, int last) const;
  std::size_t memory_bytes() const;
};

class JointInputs {
 public:
  // Of the members from first_member to last_member - 1, the first of whose variables is places[first_place].
  JointInputs(const EquationList& equations, const Copies& copies, const std::vector<Places>& places,
              std::size_t first_member, std::size_t last_member, std::size_t first_place);

  const InputRows& rows() const { return rows_; }
  // The row that holds a variable of the members.
  int Find(const Places& variable) const { return input_of_.at(variable); }
  // Nodes of a member's constants and variables.
  std::vector<int> Constants(FormulaBuilder& builder, std::size_t member) const;
  std::vector<int> Variables(FormulaBuilder& builder, std::size_t member) const;

 private:
  struct Member {
    std::vector<double> constants;
    std::vector<int> parameters;  // by constant: its number among the parameters, or -1
    std::vector<int> variables;   // rows
  };

  InputRows rows_;
  std::unordered_map<Places, int, PlacesHash> input_of_;
  std::size_t first_member_;
  std::vector<Member> members_;
};

}  // namespace quiver
