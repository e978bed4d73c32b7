// SPDX-License-Identifier: Apache-2.0
// A sequence of groups of like operations. Values lie in a file: constants, variables, the time, then results in the order in
// which they are computed, so that each group writes one contiguous piece. Results that no step reads are written where they
// belong.
//
//   RunTape(tape, x, time, residuals, entries);
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "runtime/expression/operators.h"

namespace quiver {

struct Tape {
  using Place = std::uint16_t;  // lists of places are half of what a run reads
  static constexpr int kMostPlaces = 1 << 16;

  enum class Into : std::uint8_t { kFile, kResiduals, kEntries, kOpposites };
  struct Group {
    Operator op;
    std::uint8_t arity;
    Into into;
    int count;          // even where operations run in pairs: the last step may stand twice
    int operands;       // where they begin
    int target;         // place of the first result
    int elsewhere = 0;  // where the list of places elsewhere begins
  };
  // From a place to a residual or an entry.
  struct Result {
    int from, to;
  };
  struct Results {
    std::vector<Result> list;
    std::size_t copied = 0;  // so many; those behind are written by their groups
  };
  // Variables that are neighbours in x.
  struct Stretch {
    int variable, count;
  };

  std::vector<double> file;
  std::vector<Group> groups;
  std::vector<Place> operands;  // by group: all first operands, all second, all third, as it has
  std::vector<int> elsewhere;   // by group that writes into other than the file: places there
  std::vector<int> variables;   // ascending
  std::vector<Stretch> stretches;
  int first_variable = 0, first_result = 0;
  int places = 0;                         // of the file, then of results that are written elsewhere
  Results residuals, entries, opposites;  // opposites are entries that arrive negated

  // Behind what the file holds now.
  void PlaceVariables(std::span<const int> ascending);
  int time() const { return first_variable + static_cast<int>(variables.size()); }
  std::size_t memory_bytes() const;

  // All first, second or third operands.
  std::span<const Place> OperandsOf(const Group& group, int k) const {
    return std::span(operands).subspan(static_cast<std::size_t>(group.operands + k * group.count),
                                       static_cast<std::size_t>(group.count));
  }
  // Of as many places as the group has steps.
  const int* ElsewhereOf(const Group& group) const { return elsewhere.data() + group.elsewhere; }
};

// Long operations run over rows, where they are vector code; short ones cost less than making rows.
constexpr bool RunsOverRows(Operator op) {
  return op == Operator::kPower || op == Operator::kExponential || op == Operator::kNaturalLogarithm;
}

// The commonest run two at a time; they alone write elsewhere than into the file.
constexpr bool RunsInPairs(Operator op) {
  return op == Operator::kAdd || op == Operator::kSubtract || op == Operator::kMultiply ||
         op == Operator::kDivide;
}

// `entries` may be null where the tape has none.
void RunTape(Tape& tape, const double* x, double time, double* residuals, double* entries);

// One group that writes into the file.
void RunGroup(Tape& tape, const Tape::Group& group);

}  // namespace quiver
