// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/scalar_newton.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "runtime/solve/alternatives.h"
#include "runtime/solve/block_system.h"

namespace quiver {
namespace {

struct Point {
  double x, f, slope, scaled;
};

class ScalarIteration {
 public:
  ScalarIteration(BlockSystem& system, const SolveOptions& options, std::span<double> x)
      : system_(system),
        options_(options),
        x_(x),
        unknown_(x[system.Unknowns()[0]]),
        lower_(system.Lower()[0]),
        upper_(system.Upper()[0]),
        alternatives_(system) {}

  BlockResult Run() {
    system_.MoveIntoBounds(x_);
    const std::optional<Point> start = At(unknown_);
    if (!start) {
      now_.x = unknown_;
      return Finish(SolveOutcome::kFault);
    }
    now_ = *start;
    return Finish(Iterate());
  }

 private:
  SolveOutcome Iterate() {
    // Bisection is slow but certain: a bracket earns more iterations.
    for (; result_.iterations < options_.max_iterations * (Bracketed() ? 4 : 1); ++result_.iterations) {
      if (now_.f == 0.0) return SolveOutcome::kConverged;
      const bool has_slope = now_.slope != 0.0;
      double target = has_slope ? Clamp(now_.x - now_.f / now_.slope) : now_.x;
      if (has_slope && now_.scaled <= options_.residual_tolerance &&
          RelativeStep(target) <= options_.step_tolerance && !IsAtPole()) {
        Polish(target);
        return SolveOutcome::kConverged;
      }
      if (Bracketed()) {
        if (!Bisectable()) return AtCollapsedBracket();
        // Newton may creep along one side of the bracket; every third step that fails to halve it is a
        // bisection.
        const double width = positive_->x - negative_->x;
        if (std::abs(width) > 0.5 * std::abs(last_width_))
          ++slow_;
        else
          slow_ = 0;
        last_width_ = width;
        if (!has_slope || slow_ >= 3 || !Inside(target)) {
          target = Middle();
          slow_ = 0;
        }
        if (!StepInside(target)) return SolveOutcome::kFault;
      } else if (target == now_.x || !Descend(target)) {
        if (now_.scaled <= options_.residual_tolerance) return SolveOutcome::kConverged;
        const bool at_bound = has_slope && target == now_.x && (now_.x == lower_ || now_.x == upper_);
        const bool at_fault = met_fault_;
        if (!SearchSignChange()) {
          return at_bound ? SolveOutcome::kAtBound : at_fault ? SolveOutcome::kFault : SolveOutcome::kStalled;
        }
      }
      if (system_.Evaluations() > options_.max_evaluations) break;
    }
    return SolveOutcome::kOutOfIterations;
  }

  double Clamp(double value) const { return std::min(std::max(value, lower_), upper_); }
  double RelativeStep(double target) const {
    return std::abs(target - now_.x) / system_.Magnitude(0, std::max(std::abs(target), std::abs(now_.x)));
  }

  std::optional<Point> At(double value) {
    unknown_ = value;
    alternatives_.Decide(x_, result_.iterations);
    if (!system_.Evaluate(x_)) return std::nullopt;
    const Point point{value, system_.Residuals()[0], system_.Jacobian()[0], system_.ScaledResidual(0)};
    const bool was_bracketed = Bracketed();
    if (point.f < 0.0 && (!was_bracketed || Inside(value))) negative_ = point;
    if (point.f > 0.0 && (!was_bracketed || Inside(value))) positive_ = point;
    if (!was_bracketed && Bracketed()) first_ends_ = std::max(positive_->f, -negative_->f);
    return point;
  }

  // The sign changes over a pole, too, where the slope grows so fast that steps and scaled residuals vanish.
  // But there the residual grows as the bracket shrinks.
  bool IsAtPole() const { return Bracketed() && std::abs(now_.f) > first_ends_; }

  bool Bracketed() const { return negative_ && positive_; }
  bool Inside(double value) const {
    return value > std::min(negative_->x, positive_->x) && value < std::max(negative_->x, positive_->x);
  }
  bool Bisectable() const { return Inside(Middle()); }

  // Half way on a scale that is linear near zero and logarithmic far from it: a bracket from 1 to 1e10 takes
  // few steps.
  double Middle() const {
    const double a = negative_->x, b = positive_->x;
    const double plain = a + 0.5 * (b - a);
    if (std::abs(b - a) <= 0.5 * std::max(std::abs(a), std::abs(b))) return plain;
    const double unit = 1e-6 * system_.Magnitude(0, 0.0);
    const double middle = unit * std::sinh(0.5 * (std::asinh(a / unit) + std::asinh(b / unit)));
    return std::isfinite(middle) && Inside(middle) ? middle : plain;
  }

  bool Step(double target) {
    const std::optional<Point> point = At(target);
    if (!point) return false;
    now_ = *point;
    return true;
  }

  // Within the bracket; nearer to the present point if the target cannot be evaluated.
  bool StepInside(double target) {
    const double from = now_.x;
    for (int attempt = 0; attempt < 20 && target != from; ++attempt) {
      if (Step(target)) return true;
      target = from + 0.25 * (target - from);
    }
    Step(from);
    return false;
  }

  // Goes towards the target until the residual shrinks or changes its sign.
  bool Descend(double target) {
    const Point from = now_;
    met_fault_ = false;
    for (double share = 1.0; share > 1e-10;) {
      const double trial = share == 1.0 ? target : Clamp(from.x + share * (target - from.x));
      if (trial == from.x || system_.Evaluations() > options_.max_evaluations) return false;
      const std::optional<Point> point = At(trial);
      if (point && (Bracketed() || std::abs(point->f) < (1.0 - 1e-4 * share) * std::abs(from.f))) {
        now_ = *point;
        return true;
      }
      if (!point) met_fault_ = true;
      // A slope may be infinite at the bound itself and well behaved beside it.
      if (!point && share == 1.0 && (target == lower_ || target == upper_)) {
        share = 0.99;
      } else {
        share *= point ? 0.5 : 0.25;
      }
    }
    return false;
  }

  // Looks to both sides in growing steps and at the bounds for a residual of the other sign.
  bool SearchSignChange() {
    const double from = now_.x;
    const double unit = 1e-3 * system_.Magnitude(0, from);
    for (int k = 0; k < 40; ++k) {
      const double reach = unit * std::exp2(k);
      for (double side : {from - reach, from + reach}) {
        const std::optional<Point> point = At(Clamp(side));
        if (point && (Bracketed() || point->f == 0.0)) {
          now_ = *point;
          return true;
        }
      }
      if (from - reach <= lower_ && from + reach >= upper_) break;
    }
    Step(from);
    return false;
  }

  // Both ends are neighbouring numbers: a root to the last digit, a pole, or a jump between alternatives.
  SolveOutcome AtCollapsedBracket() {
    const Point best = negative_->scaled < positive_->scaled ? *negative_ : *positive_;
    const Point other = negative_->scaled < positive_->scaled ? *positive_ : *negative_;
    Step(other.x);
    const std::vector<int> theirs = alternatives_.Assignment();
    const std::size_t seen = alternatives_.History().size();
    Step(best.x);
    if (now_.scaled <= options_.residual_tolerance && !IsAtPole()) {
      result_.is_on_switch = theirs != alternatives_.Assignment();
      return SolveOutcome::kConverged;
    }
    return alternatives_.History().size() > seen || theirs != alternatives_.Assignment()
               ? SolveOutcome::kCycling
               : SolveOutcome::kStalled;
  }

  // The step that proved convergence, and one more, as long as they do not make the residual worse.
  void Polish(double target) {
    for (int step = 0; step < 2 && target != now_.x; ++step) {
      const Point before = now_;
      if (!Step(target) || std::abs(now_.f) > std::abs(before.f)) {
        Step(before.x);
        return;
      }
      ++result_.iterations;
      if (now_.f == 0.0 || now_.slope == 0.0) return;
      target = Clamp(now_.x - now_.f / now_.slope);
    }
  }

  BlockResult Finish(SolveOutcome outcome) {
    result_.outcome = outcome;
    // Evaluating the point reached once more also restores its alternatives.
    if (unknown_ != now_.x) Step(now_.x);
    if (outcome != SolveOutcome::kConverged) result_.alternatives = alternatives_.History();
    system_.Conclude(result_, x_);
    return result_;
  }

  BlockSystem& system_;
  const SolveOptions& options_;
  std::span<double> x_;
  double& unknown_;
  const double lower_, upper_;
  Alternatives alternatives_;
  Point now_{};
  std::optional<Point> negative_, positive_;
  double first_ends_ = INFINITY;  // larger residual of the ends when the bracket was found
  double last_width_ = INFINITY;
  int slow_ = 0;
  bool met_fault_ = false;  // in the last descent
  BlockResult result_;
};

}  // namespace

BlockResult ScalarNewton::Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) {
  return ScalarIteration(system, options, x).Run();
}

}  // namespace quiver
