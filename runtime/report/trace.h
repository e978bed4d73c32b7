// SPDX-License-Identifier: Apache-2.0
// How results of a solved case move when one of its variables takes other values. Only the blocks of equations between that
// variable and the results are solved again; what lies in front of it keeps its values.
//
//   Follower follower(run.System(), {{back_pressure, 1.0}}, {flux});
//   if (follower.refusal().empty() && follower.SolveAt(3.0)) Plot(3.0, follower.Result(0));
//
// The variable may be given, or computed by an equation of its own, which then gives way or gives the result. The case gets its own state back when
// the follower goes.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "runtime/solve/block_solver.h"
#include "runtime/system/equation_system.h"

namespace quiver {

// A variable that follows the value: factor times it.
struct Moved {
  int variable;
  double factor;
};

class Follower {
 public:
  // By numbers of the system's variables.
  Follower(EquationSystem& system, std::vector<Moved> moved, std::vector<int> results);
  Follower(const Follower&) = delete;
  Follower& operator=(const Follower&) = delete;
  ~Follower();

  const std::string& refusal() const { return refusal_; }  // why nothing can be followed; else empty
  // Starts from where the last value was solved, and again from the case's own state. False: not found.
  bool SolveAt(double value);
  double Result(size_t k) const { return x_[static_cast<size_t>(results_[k])]; }
  // Which alternative each of the equations between uses at the value last solved.
  std::vector<int> Alternatives() const;

  // Between two values of which `side` tells different things once they are solved: where it changes, to 1e-9 of the distance.
  double Boundary(double from, double to, const std::function<bool()>& side);

 private:
  bool FindBlocks(const StructureReport& whole);
  bool TurnRound(const StructureReport& whole);

  EquationSystem& system_;
  std::vector<Moved> moved_;
  std::vector<int> results_;
  StructureReport part_;
  std::string refusal_;
  std::vector<double> solution_, x_;
  BlockSolver solver_;
};

struct Trace {
  std::vector<double> at;
  std::vector<std::vector<double>>
      results;  // one row per result, parallel to `at`; not-a-number where not found
  std::vector<std::vector<int>> alternatives;  // parallel to `at`; empty where not found
  int not_solved = 0;
};
Trace Sample(Follower& follower, size_t results, const std::vector<double>& values);

}  // namespace quiver
