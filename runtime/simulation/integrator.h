// SPDX-License-Identifier: Apache-2.0
// Integrates a system over time with backward differentiation formulas of variable order and step (SUNDIALS IDA, KLU).
//
//   Integrator integrator(problem, {.tolerance = 1e-6});
//   integrator.Start(0, y, slope);                         // consistent: F(0, y, slope) = 0
//   while (integrator.Advance(t, 1.0) == Integrator::kRoot) HandleRoots(integrator.roots());
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/simulation/dynamic_problem.h"

namespace quiver {

struct IntegratorOptions {
  double tolerance = 1e-6;  // of a step: relative to each value, and to its scale where that is larger
  int max_steps = 20000;    // from one stop to the next
};

class Integrator {
 public:
  Integrator(DynamicProblem& problem, const IntegratorOptions& options);
  ~Integrator();
  Integrator(const Integrator&) = delete;
  Integrator& operator=(const Integrator&) = delete;

  // Also to go on after a jump. `slope` counts for differential values.
  void Start(double t, std::span<const double> y, std::span<const double> slope);

  enum Stop { kReached, kRoot, kFailed };
  // Steps to `until` and never past it. y() and t() are the state there, or at the root, or the last one before the failure.
  Stop Advance(double until);

  double t() const { return t_; }
  std::span<const double> y() const { return y_; }
  // By root function: 1 rising through zero, -1 falling, 0 not concerned.
  const std::vector<int>& roots() const { return roots_; }
  const std::string& failure() const { return failure_; }
  int steps() const;  // since the first start

 private:
  struct Memory;
  void TakeState();

  DynamicProblem& problem_;
  std::unique_ptr<Memory> memory_;
  double t_ = 0;
  std::vector<double> y_;
  std::vector<int> roots_;
  std::string failure_;
  long earlier_steps_ = 0;
};

}  // namespace quiver
