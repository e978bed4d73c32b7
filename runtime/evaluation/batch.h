// SPDX-License-Identifier: Apache-2.0
// Evaluates copies of a group of equations, a block of copies at a time: their variables are gathered into rows, one
// joint program runs over the rows, and results go to where the rows of the system lie.
//
//   Batch batch(equations, copies);
//   for (int first = 0; first < batch.copies(); first += kLanes)
//     batch.Run(first, x, time, residuals, entries, scratch);      // any order, any thread with its own scratch
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "runtime/evaluation/joint_inputs.h"
#include "runtime/expression/program.h"

namespace quiver {

class Batch {
 public:
  // What a thread needs to run batches.
  struct Scratch {
    LaneEvaluator evaluator;
    std::vector<Lanes> rows;
    std::vector<const double*> inputs, outputs;
    std::vector<double> residuals, entries;  // of a block, before they are streamed
  };

  Batch(const EquationList& equations, const Copies& copies);

  int copies() const { return copies_; }
  int equations() const { return copies_ * equations_per_copy_; }

  // The copies from `first`, a multiple of kLanes, to the end of their block. `entries` may be null. Streamed results
  // bypass the caches, which pays for systems that do not fit into them.
  void Run(int first, const double* x, double time, double* residuals, double* entries, bool streamed,
           Scratch& scratch) const;

  // Machine code instead of interpreted steps, for programs that run often. Not while another thread evaluates.
  void WriteMachineCode();

  std::size_t memory_bytes() const;

 private:
  // What a turn hands out: residuals and entries that lie one behind the other in a copy, as many of either as fill whole
  // cache lines; the rest waits for the next turn.
  struct Results {
    int first_member, members, first_entry, entries;
  };
  // Equations that one program computes.
  struct Part {
    Program gradients, values;  // a turn's results: residuals, then entries
    std::vector<double> constants;
    InputRows inputs;
    std::vector<Results> results;  // by turn
    std::vector<double> signs;     // by entry: -0.0 where the program gives its opposite
  };

  void AddPart(const EquationList& equations, const Copies& copies, const std::vector<Places>& places,
               std::size_t first_member, std::size_t last_member, std::size_t first_place);
  // Meanwhile the variables of the next block's copies are fetched.
  void RunPart(const Part& part, int first, int lanes, const double* x, double time, double* residuals,
               double* entries, int next_lanes, Scratch& scratch) const;

  int copies_;
  int equations_per_copy_, entries_per_copy_;
  Places rows_, entries_;  // of a copy's first residual and entry
  std::vector<Part> parts_;
};

}  // namespace quiver
