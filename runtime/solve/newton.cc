// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/newton.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>

#include "runtime/solve/alternatives.h"
#include "runtime/solve/block_system.h"
#include "runtime/solve/regularised_step.h"
#include "runtime/solve/solve_times.h"
#include "runtime/solve/step_acceptance.h"

namespace quiver {
namespace {

constexpr double kLeastShare = 1e-9;  // of a Newton step before another kind of step is tried
constexpr int kMostSwitches = 30;     // in free iteration, before alternatives are held
constexpr int kMostReturns = 2;       // to an assignment without progress, before alternatives are held
constexpr int kMostRounds = 50;       // of held iterations

class Iteration {
 public:
  Iteration(BlockSystem& system, LinearSolver& solver, const SolveOptions& options, std::span<double> x)
      : system_(system),
        solver_(solver),
        options_(options),
        x_(x),
        n_(system.Size()),
        alternatives_(system),
        base_(n_),
        weight_(n_),
        magnitude_(n_),
        weighted_(n_),
        step_(n_),
        correction_(n_),
        taken_(n_),
        jacobian_(system.Pattern().row.size()),
        held_(n_) {}

  BlockResult Run() {
    system_.MoveIntoBounds(x_);
    alternatives_.Decide(x_, 0);
    SolveOutcome outcome = SolveOutcome::kFault;
    if (system_.Evaluate(x_)) outcome = alternatives_.Any() ? SolveWithAlternatives() : *Iterate(true);
    result_.outcome = outcome;
    if (outcome != SolveOutcome::kConverged) result_.alternatives = alternatives_.History();
    system_.Conclude(result_, x_);
    return result_;
  }

 private:
  // Until convergence or failure, from an evaluated point. No value: the alternatives chase each other.
  std::optional<SolveOutcome> Iterate(bool hold_alternatives) {
    for (;;) {
      int worst = 0;
      const double residual = system_.WorstResidual(&worst);
      if (residual == 0.0) return SolveOutcome::kConverged;
      if (result_.iterations >= options_.max_iterations ||
          system_.Evaluations() >= options_.max_evaluations) {
        return SolveOutcome::kOutOfIterations;
      }
      Weigh();
      Measure measure(options_.times ? &options_.times->linear_algebra : nullptr);
      const LinearOutcome factors = factored_ ? solver_.Refactor(jacobian_) : solver_.Factor(jacobian_);
      factored_ = factors.status == LinearStatus::kOk;
      bool has_step = factored_ || factors.status == LinearStatus::kIllConditioned;
      if (has_step) {
        for (int i = 0; i < n_; ++i) step_[i] = -weighted_[i];
        solver_.Solve(step_);
        has_step = AllFinite(step_);
      }
      measure.Stop();
      const double length = has_step ? ProjectedLength() : 0.0;
      if (has_step && residual <= options_.residual_tolerance && length <= options_.step_tolerance) {
        Polish();
        return SolveOutcome::kConverged;
      }

      ++result_.iterations;
      const bool was_singular = !has_step;
      if (!(has_step && NewtonStep()) && !DampedStep(residual)) {
        if (residual <= options_.residual_tolerance) {
          result_.is_singular_solution = was_singular;
          return SolveOutcome::kConverged;
        }
        if (worst_held_ >= 0) {
          result_.worst_variable = system_.Unknowns()[worst_held_];
          return SolveOutcome::kAtBound;
        }
        if (was_singular) {
          if (factors.column >= 0) result_.worst_variable = system_.Unknowns()[factors.column];
          return SolveOutcome::kSingular;
        }
        return fault_ended_step_ ? SolveOutcome::kFault : SolveOutcome::kStalled;
      }
      if (!hold_alternatives && alternatives_.Decide(x_, result_.iterations)) {
        if (!system_.Evaluate(x_)) return SolveOutcome::kFault;
        if (ChaseEachOther()) return std::nullopt;
      }
    }
  }

  // First alternatives change whenever a step crosses a switch. If they chase each other, each assignment is
  // solved before the next decision; if one comes back even so, only one equation changes at a time, in a
  // fixed order, which finds the solution where all principal minors are positive (K. G. Murty, Linear
  // Algebra Appl. 7 (1974) 65-108).
  SolveOutcome SolveWithAlternatives() {
    enum class Pace { kFree, kAllAtOnce, kOneAtATime } pace = Pace::kFree;
    std::set<std::vector<int>> settled;  // assignments whose own solution led elsewhere, at this pace
    for (int round = 0; round < kMostRounds; ++round) {
      const std::optional<SolveOutcome> outcome = Iterate(pace != Pace::kFree);
      if (!outcome) {
        pace = Pace::kAllAtOnce;
        continue;
      }
      const std::vector<int> solved = alternatives_.Assignment();
      if (!(pace == Pace::kOneAtATime ? alternatives_.DecideFirst(x_, result_.iterations)
                                      : alternatives_.Decide(x_, result_.iterations))) {
        return *outcome;
      }
      if (*outcome == SolveOutcome::kConverged && pace != Pace::kOneAtATime) {
        int worst = 0;
        if (system_.Evaluate(x_) && system_.WorstResidual(&worst) <= options_.residual_tolerance) {
          return SolveOutcome::kConverged;
        }
        if (alternatives_.KeepOnSwitch(solved, options_.switch_tolerance, x_)) {
          result_.is_on_switch = true;
          return system_.Evaluate(x_) ? SolveOutcome::kConverged : SolveOutcome::kFault;
        }
      }
      if (!system_.Evaluate(x_)) return SolveOutcome::kFault;
      if (*outcome == SolveOutcome::kOutOfIterations) return *outcome;
      factored_ = false;
      if (pace == Pace::kFree) pace = Pace::kAllAtOnce;
      if (!alternatives_.AreKnown()) continue;
      settled.insert(solved);
      if (!settled.contains(alternatives_.Assignment())) continue;
      if (pace == Pace::kOneAtATime) return SolveOutcome::kCycling;
      pace = Pace::kOneAtATime;
      settled.clear();
    }
    return SolveOutcome::kCycling;
  }

  // Judged when the alternatives have just changed and been evaluated.
  bool ChaseEachOther() {
    factored_ = false;
    if (++switches_ > kMostSwitches) return true;
    if (!alternatives_.AreKnown()) return false;
    double norm = 0.0;
    for (int i = 0; i < n_; ++i) norm += std::pow(system_.ScaledResidual(i), 2);
    for (auto& [assignment, best] : visited_) {
      if (assignment != alternatives_.Assignment()) continue;
      if (norm < 0.25 * best) {
        best = norm;
        return false;
      }
      return ++returns_ > kMostReturns;
    }
    visited_.emplace_back(alternatives_.Assignment(), norm);
    return false;
  }

  // Row weights, column magnitudes and the scaled Jacobian at the present point, which becomes the base of
  // the step.
  void Weigh() {
    for (int i = 0; i < n_; ++i) {
      const double f = system_.Residuals()[i];
      const double size = std::max(system_.Terms()[i], std::abs(f));
      weight_[i] = size > 0.0 ? 1.0 / size : 1.0;
      weighted_[i] = weight_[i] * f;
      base_[i] = x_[system_.Unknowns()[i]];
      magnitude_[i] = system_.Magnitude(i, base_[i]);
    }
    const SparsePattern& pattern = system_.Pattern();
    for (int j = 0; j < n_; ++j) {
      for (int k = pattern.column_start[j]; k < pattern.column_start[j + 1]; ++k) {
        jacobian_[k] = system_.Jacobian()[k] * weight_[pattern.row[k]] * magnitude_[j];
      }
    }
    merit_ = SquaredNorm(weighted_);
    fault_ended_step_ = false;
    bound_share_ = 1.0;
    worst_held_ = -1;
  }

  double Projected(int j, double share) const {
    const double target = base_[j] + share * magnitude_[j] * step_[j];
    const double bound = target < base_[j] ? system_.Lower()[j] : system_.Upper()[j];
    const bool is_beyond = target < base_[j] ? target < bound : target > bound;
    if (!is_beyond) return target;
    return bound_share_ == 1.0 ? bound : base_[j] + bound_share_ * (bound - base_[j]);
  }

  // Longest part of the projected step, relative to the unknown it belongs to.
  double ProjectedLength() {
    double length = 0.0;
    for (int j = 0; j < n_; ++j) {
      const double part = std::abs(Projected(j, 1.0) - base_[j]) / magnitude_[j];
      if (part <= length) continue;
      length = part;
      result_.worst_variable = system_.Unknowns()[j];
    }
    return length;
  }

  enum class Move { kNone, kInside, kClipped };
  Move GoTo(double share) {
    Move move = Move::kNone;
    bool clipped = false;
    for (int j = 0; j < n_; ++j) {
      const double target = Projected(j, share);
      if (target != base_[j]) move = Move::kInside;
      if (target != base_[j] + share * magnitude_[j] * step_[j]) clipped = true;
      x_[system_.Unknowns()[j]] = target;
    }
    return move == Move::kInside && clipped ? Move::kClipped : move;
  }

  // Back to the base of the step, with its residuals and Jacobian.
  void Return() {
    for (int j = 0; j < n_; ++j) x_[system_.Unknowns()[j]] = base_[j];
    system_.Evaluate(x_);
  }

  double TrialMerit() {
    for (int i = 0; i < n_; ++i) correction_[i] = -weight_[i] * system_.Residuals()[i];
    return SquaredNorm(correction_);
  }

  bool NewtonStep() {
    const double step_norm = std::sqrt(SquaredNorm(step_));
    for (double share = 1.0; share > kLeastShare && system_.Evaluations() < options_.max_evaluations;) {
      const Move move = GoTo(share);
      if (move == Move::kNone) break;
      if (!system_.Evaluate(x_)) {
        fault_ended_step_ = true;
        // A slope may be infinite at a bound itself and well behaved beside it.
        if (move == Move::kClipped && bound_share_ == 1.0) {
          bound_share_ = 0.99;
        } else {
          share *= 0.25;
        }
        continue;
      }
      const double merit = TrialMerit();
      if (HasDecreased(merit, merit_, share)) return true;
      if (move == Move::kInside && merit < kLargestRise * merit_) {
        solver_.Solve(correction_);
        if (LeadsOn(std::sqrt(SquaredNorm(correction_)), step_norm, share)) return true;
      }
      // Minimum of the parabola through merit(0), its slope -2 merit(0), and merit(share).
      const double best = merit_ * share * share / (merit - merit_ + 2.0 * merit_ * share);
      share = std::isfinite(best) ? std::clamp(best, 0.1 * share, 0.5 * share) : 0.1 * share;
    }
    Return();
    return false;
  }

  // Unknowns at a bound that the steepest descent would leave outwards.
  void HoldAtBounds() {
    const SparsePattern& pattern = system_.Pattern();
    double strongest = 0.0;
    worst_held_ = -1;
    for (int j = 0; j < n_; ++j) {
      double descent = 0.0;
      for (int k = pattern.column_start[j]; k < pattern.column_start[j + 1]; ++k) {
        descent -= jacobian_[k] * weighted_[pattern.row[k]];
      }
      held_[j] = (base_[j] <= system_.Lower()[j] && descent < 0.0) ||
                 (base_[j] >= system_.Upper()[j] && descent > 0.0);
      if (!held_[j] || std::abs(descent) <= strongest) continue;
      strongest = std::abs(descent);
      worst_held_ = j;
    }
  }

  // Predicted weighted residual after the projected step.
  double PredictedMerit() {
    std::copy(weighted_.begin(), weighted_.end(), correction_.begin());
    for (int j = 0; j < n_; ++j) taken_[j] = (Projected(j, 1.0) - base_[j]) / magnitude_[j];
    AddProduct(system_.Pattern(), jacobian_, 1.0, taken_, correction_);
    return SquaredNorm(correction_);
  }

  bool DampedStep(double residual) {
    if (!regularised_) regularised_.emplace(system_.Pattern());
    HoldAtBounds();
    for (int attempt = 0; attempt < 25 && system_.Evaluations() < options_.max_evaluations; ++attempt) {
      Measure measure(options_.times ? &options_.times->linear_algebra : nullptr);
      const bool has_step = regularised_->Compute(jacobian_, weighted_, held_, damping_, step_);
      measure.Stop();
      if (!has_step) {
        damping_ *= 10.0;
        continue;
      }
      // A solution among others of a singular system: only ever smaller steps are left.
      if (residual <= options_.residual_tolerance && ProjectedLength() <= options_.step_tolerance) {
        TakeIfBetter();
        return false;
      }
      const double gain = merit_ - PredictedMerit();
      if (gain <= 1e-14 * merit_ && damping_ > 1e-8) {
        // Nothing to gain even by the linear model. With less damping the step may still see a way.
        if (attempt > 3) break;
        damping_ *= 0.01;
        continue;
      }
      if (GoTo(1.0) == Move::kNone) break;
      if (!system_.Evaluate(x_)) {
        fault_ended_step_ = true;
      } else {
        const double achieved = merit_ - TrialMerit();
        if (achieved > kSufficientDecrease * gain && achieved > 0.0) {
          if (achieved > 0.75 * gain) damping_ = std::max(0.1 * damping_, 1e-14);
          return true;
        }
      }
      damping_ *= 10.0;
    }
    damping_ = 1e-4;
    Return();
    return false;
  }

  // The step that proved convergence and one simplified correction.
  void Polish() {
    if (!TakeIfBetter() || merit_ == 0.0) return;
    step_ = correction_;
    solver_.Solve(step_);
    if (AllFinite(step_)) TakeIfBetter();
  }

  // Takes the whole step, unless the weighted residual grows; the new point becomes the base.
  bool TakeIfBetter() {
    if (GoTo(1.0) == Move::kNone) return false;
    const double merit = system_.Evaluate(x_) ? TrialMerit() : INFINITY;
    if (merit > merit_) {
      Return();
      return false;
    }
    ++result_.iterations;
    merit_ = merit;
    for (int j = 0; j < n_; ++j) base_[j] = x_[system_.Unknowns()[j]];
    return true;
  }

  static double SquaredNorm(const std::vector<double>& values) {
    double sum = 0.0;
    for (double value : values) sum += value * value;
    return sum;
  }
  static bool AllFinite(const std::vector<double>& values) {
    return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
  }

  BlockSystem& system_;
  LinearSolver& solver_;
  const SolveOptions& options_;
  std::span<double> x_;
  const int n_;
  Alternatives alternatives_;
  std::vector<std::pair<std::vector<int>, double>> visited_;  // assignments and their least squared residual
  int switches_ = 0, returns_ = 0;

  std::vector<double> base_;       // unknowns at the start of the step
  std::vector<double> weight_;     // of the rows
  std::vector<double> magnitude_;  // of the unknowns
  std::vector<double> weighted_;   // weighted residuals at the base
  std::vector<double> step_;       // in units of magnitude_
  std::vector<double> correction_, taken_;
  std::vector<double> jacobian_;  // weighted and scaled
  std::vector<char> held_;
  std::optional<RegularisedStep> regularised_;
  double merit_ = 0.0;
  double damping_ = 1e-4;
  double bound_share_ = 1.0;  // how far a step may go towards a bound
  int worst_held_ = -1;
  bool factored_ = false;
  bool fault_ended_step_ = false;
  BlockResult result_;
};

}  // namespace

BlockResult DampedNewton::Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) {
  std::unique_ptr<LinearSolver> large;
  const bool is_small = system.Size() <= kLargestDense;
  if (is_small && !small_) small_ = MakeLinearSolver(kLargestDense);
  if (!is_small) large = MakeLinearSolver(system.Size());
  LinearSolver& solver = is_small ? *small_ : *large;
  if (solver.Analyse(system.Pattern()).status != LinearStatus::kOk) {
    BlockResult result;
    result.outcome = SolveOutcome::kSingular;
    system.Evaluate(x);
    system.Conclude(result, x);
    result.reason =
        "The equations couple so densely that their factors do not fit into memory. Tear a recycle.";
    return result;
  }
  return Iteration(system, solver, options, x).Run();
}

}  // namespace quiver
