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
#include <memory>
#include <span>
#include <vector>

#include "runtime/evaluation/equation_list.h"
#include "runtime/evaluation/joint_formulas.h"
#include "runtime/evaluation/tape.h"
#include "runtime/evaluation/tape_code.h"

namespace quiver {

class LevelTape {
 public:
  // What a tape can hold: `places` whose MostPlaces() are no more in all.
  static constexpr int kMostPlaces = Tape::kMostPlaces / 2;
  // Places that an equation may take.
  static int MostPlaces(const Shape& shape);

  LevelTape(const EquationList& equations, std::span<const EquationPlace> places);

  void WriteConstantEntries(double* entries) const;
  // Machine code instead of groups, for a tape that runs often. Not while it runs.
  void WriteMachineCode();
  // `entries` may be null.
  void Run(const double* x, double time, double* residuals, double* entries);

  std::size_t memory_bytes() const;

 private:
  void WriteValueCode();

  Tape gradients_;
  std::unique_ptr<Tape> values_;  // once residuals were asked for alone
  std::unique_ptr<const TapeCode> gradient_code_, value_code_;
  std::vector<int> first_entry_;  // by equation of the tape
  std::vector<int> constant_to_;
  std::vector<double> constants_;  // entries that are the same at every point
};

}  // namespace quiver
