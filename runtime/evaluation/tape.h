// SPDX-License-Identifier: Apache-2.0
// A sequence of groups of like operations. Values lie in a file: constants, variables, the time, then results in the order in
// which they are computed, so that each group writes one contiguous piece.
//
//   RunGroups(tape, 0, tape.groups.size());
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "runtime/expression/operators.h"

namespace quiver {

struct Tape {
  struct Group {
    Operator op;
    std::uint8_t arity;
    int count;
    int operands;  // where they begin
    int target;    // place of the first result
  };

  std::vector<double> file;
  std::vector<Group> groups;
  std::vector<int>
      operands;  // by group: places of all first operands, of all second, of all third, as it has
  std::vector<int> variables;
  int first_variable = 0, first_result = 0;
  std::vector<int> residual_from, entry_from;  // places in the file

  int time() const { return first_variable + static_cast<int>(variables.size()); }
  std::size_t memory_bytes() const {
    return file.capacity() * sizeof(double) + groups.capacity() * sizeof(Group) +
           (operands.capacity() + variables.capacity() + residual_from.capacity() + entry_from.capacity()) *
               sizeof(int);
  }
};

// Long operations run over rows, where they are vector code; short ones cost less than making rows.
constexpr bool RunsOverRows(Operator op) {
  return op == Operator::kPower || op == Operator::kExponential || op == Operator::kNaturalLogarithm;
}

// Groups `first` to `last` - 1.
void RunGroups(Tape& tape, std::size_t first, std::size_t last);

}  // namespace quiver
