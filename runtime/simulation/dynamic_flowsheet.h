// SPDX-License-Identifier: Apache-2.0
// A flowsheet's equations as a system over time: the free variables are algebraic, behind them stand the states.
//
//   DynamicFlowsheet flowsheet(system, FindStates(system));       // the states are given in `system`
//   flowsheet.inputs.push_back({variable, {{0, 1.0}, {0.5, 2.0}}});
//   Integrator integrator(flowsheet, options);
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "runtime/simulation/dynamic_problem.h"
#include "runtime/system/equation_system.h"

namespace quiver {

struct DynamicState {
  int variable, rate;  // the system's numbers
};

// The pairs X and X_RATE. Throws Error for a rate that is alone.
std::vector<DynamicState> FindStates(const EquationSystem& system);

// A given value over time; hours, and values at them, ascending.
struct InputCourse {
  int variable;
  std::vector<std::pair<double, double>> points;

  // `after_jump`: of two points at the very time, the second counts.
  double At(double hours, bool after_jump) const;
};

// A state of affairs that ends a step: the variable passes the threshold in the direction told.
struct Threshold {
  int variable;
  bool upwards;
  double value;
};

class DynamicFlowsheet final : public DynamicProblem {
 public:
  DynamicFlowsheet(EquationSystem& system, std::vector<DynamicState> states,
                   std::vector<Threshold> thresholds);

  std::vector<InputCourse> inputs;
  // Whether inputs at the very start of a step have jumped already.
  void SetStartOfStep(double hours) {
    start_of_step_ = hours;
    system_.SetTime(hours);
  }

  int Size() const override { return static_cast<int>(variables_.size()); }
  bool IsDifferential(int i) const override { return i >= algebraic_; }
  double Scale(int i) const override { return system_.Scale(variables_[static_cast<size_t>(i)]); }
  const RowPattern& Pattern() const override { return pattern_; }
  bool Residual(double t, const double* y, const double* slope, double* residual) override;
  bool Jacobian(double t, double factor, const double* y, double* entries) override;
  // The thresholds, and one that is negative where other branches would hold than those in use.
  int RootCount() const override {
    return static_cast<int>(thresholds_.size()) + (branching_.empty() ? 0 : 1);
  }
  void Roots(double t, const double* y, double* roots) override;

  // All variables of the system. Spread: y and the inputs of time t over them. Collect: y, and the slopes of the states.
  std::vector<double>& x() { return x_; }
  void Spread(double t, const double* y);
  void Collect(std::vector<double>& y, std::vector<double>& slope) const;
  // Which branches hold at x(), from now on.
  void Decide();

 private:
  EquationSystem& system_;
  std::vector<DynamicState> states_;
  std::vector<Threshold> thresholds_;
  int algebraic_ = 0;
  std::vector<int> variables_;        // by place in y
  std::vector<int> place_;            // by variable; -1
  std::vector<int> all_, branching_;  // equations
  RowPattern pattern_;
  std::vector<int> source_;  // by entry of the pattern: place among the gradients; -1: rate, -2: state
  std::vector<double> x_, decided_at_, gradients_, residuals_;
  double start_of_step_ = -1;
};

}  // namespace quiver
