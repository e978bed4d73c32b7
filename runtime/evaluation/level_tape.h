// SPDX-License-Identifier: Apache-2.0
// Evaluates equations that are all different. Their programs are joined, and like operations of different equations
// that do not wait for each other run as one vector operation: the order is made once, a group at a time, always the
// operation that most steps are ready for.
//
//   LevelTape tape(equations, places);
//   tape.WriteConstantEntries(entries);
//   tape.Run(x, time, residuals, entries);          // one thread at a time
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "runtime/evaluation/equation_list.h"
#include "runtime/evaluation/joint_formulas.h"

namespace quiver {

class LevelTape {
 public:
  LevelTape(const EquationList& equations, std::span<const EquationPlace> places);

  void WriteConstantEntries(double* entries) const;
  // `entries` may be null.
  void Run(const double* x, double time, double* residuals, double* entries);

  std::size_t memory_bytes() const;

 private:
  struct Group {
    Operator op;
    std::uint8_t arity;
    int count;
  };
  // A sequence of groups. Values lie in a file: constants, variables, the time, then results in the order in which they
  // are computed, so that each group writes one contiguous piece.
  struct Tape {
    std::vector<double> file;
    std::vector<Group> groups;
    std::vector<int>
        operands;  // by group: places of all first operands, of all second, of all third, as it has
    std::vector<int> variables;
    int first_variable = 0, first_result = 0;
    std::vector<int> residual_from, entry_from;  // places in the file, parallel to `rows_` and `entry_to_`
    std::size_t memory_bytes() const;
  };

  static Tape Schedule(const FormulaBuilder& builder, std::span<const int> variables,
                       std::span<const int> residuals, std::span<const int> entries);
  static void RunTape(Tape& tape, const double* x, double time);

  Tape gradients_, values_;
  std::vector<int> rows_;  // of the residuals
  std::vector<int> entry_to_;
  std::size_t first_negated_ = 0;  // from here on entries are the values' opposites
  std::vector<int> constant_to_;
  std::vector<double> constants_;  // entries that are the same at every point
};

}  // namespace quiver
