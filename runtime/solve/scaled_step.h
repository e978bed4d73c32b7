// SPDX-License-Identifier: Apache-2.0
// A block as methods for far-off starts see it: rows weighed by their terms, unknowns by their magnitudes, steps that end at
// the bounds.
//
//   ScaledStep scaled(system, x);
//   if (!scaled.Start()) return;              // not even the start can be evaluated
//   while (scaled.Residual() > 1e-6) {
//     scaled.Weigh();                         // F and J of the present point, the base of the step
//     Choose(scaled.F(), scaled.Jacobian(), step);
//     if (scaled.Try(step)) scaled.Accept();  // Merit() is |F|^2 at the trial point, weighed as at the base
//     else scaled.Return();
//   }
#ifndef QUIVER_RUNTIME_SOLVE_SCALED_STEP_H_
#define QUIVER_RUNTIME_SOLVE_SCALED_STEP_H_

#include <span>
#include <vector>

#include "runtime/solve/block_system.h"

namespace quiver {

class ScaledStep {
 public:
  ScaledStep(BlockSystem& system, std::span<double> x);

  // Moves x into the bounds, decides the alternatives, evaluates.
  bool Start();
  void Weigh();
  // x = base + step, cut off at the bounds. False if x does not move or cannot be evaluated there.
  bool Try(std::span<const double> step);
  // The trial point stays; the alternatives are decided there, unless they have turned too often already. False if the
  // equations cannot be evaluated with the new ones.
  bool Accept();
  void Return();  // to the base of the step

  int Size() const { return static_cast<int>(f_.size()); }
  double Residual() const;  // the largest, as a solution's is judged
  std::span<const double> F() const { return f_; }
  std::span<const double> Jacobian() const { return jacobian_; }  // parallel to the block's pattern
  double BaseMerit() const { return base_merit_; }
  double Merit() const { return merit_; }
  // |F + J s|^2 of the step that was tried, as cut off.
  double PredictedMerit() const;
  // Unknowns at a bound that this step would leave outwards.
  void MarkOutward(std::span<const double> step, std::span<char> held) const;

 private:
  static constexpr int kMostTurns = 30;

  BlockSystem& system_;
  std::span<double> x_;
  std::vector<double> f_, weight_, magnitude_, base_, taken_, jacobian_;
  double base_merit_ = 0.0, merit_ = 0.0;
  int turns_ = 0;
};

double SquaredNorm(std::span<const double> values);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_SCALED_STEP_H_
