// SPDX-License-Identifier: Apache-2.0
// Newton's iteration for copies of a square group of equations. Residuals, derivatives and elimination are one program that
// runs over a block of copies: no residual and no Jacobian entry is ever written.
//
//   NewtonSteps steps(equations, copies, pivots);
//   std::vector<int> refused;
//   for (int first = 0; first < steps.copies(); first += kLanes)
//     steps.Run(first, x, x_new, refused, scratch);            // any order, any thread with its own scratch
//
// The pivots are those of the first copy, in an order that makes the blocks of the group follow each other; elimination
// keeps it. A copy in which a multiplier within a block exceeds kLargestGrowth, or whose step is not finite, is refused:
// there another order is better, and a solver that looks for one (KLU) is to be asked.
#pragma once

#include <span>
#include <vector>

#include "runtime/evaluation/joint_inputs.h"
#include "runtime/expression/program.h"

namespace quiver {

// Which variable (its place in x) an equation of the first copy determines.
struct Pivot {
  int member, variable;
};

class NewtonSteps {
 public:
  static constexpr double kLargestGrowth = 1e3;

  struct Scratch {
    LaneEvaluator evaluator;
    std::vector<Lanes> rows;
    std::vector<const double*> inputs, results;
    std::vector<int> suspects;
  };

  // Throws std::invalid_argument where the pivots are not one for each member, of distinct variables that it names.
  NewtonSteps(const EquationList& equations, const Copies& copies, std::span<const Pivot> pivots);

  int copies() const { return copies_; }

  // Machine code instead of interpreted steps, where many iterations are to come. Not while another thread runs them.
  void WriteMachineCode();

  // One iteration of the copies from `first`, a multiple of kLanes, to the end of their block: x_new (which may be x) takes
  // their unknowns; those of refused copies as they were, and their numbers are added to `refused`.
  void Run(int first, const double* x, double* x_new, std::vector<int>& refused, Scratch& scratch) const;

 private:
  int copies_;
  InputRows inputs_;
  bool fetches_ahead_;  // the next block's variables, while one is computed
  Program program_;     // new unknowns, their total, then the largest multiplier, if there is any
  std::vector<double> constants_;
  struct Unknowns {  // that lie one behind the other in every copy
    Places places;
    int count;
  };
  std::vector<Unknowns> unknowns_;  // in the order of the outputs
  std::vector<int> rows_;           // by output: the unknown's row among the inputs
};

}  // namespace quiver
