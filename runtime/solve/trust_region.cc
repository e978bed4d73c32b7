// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/trust_region.h"

#include <algorithm>
#include <cmath>

#include "runtime/solve/newton.h"
#include "runtime/solve/regularised_step.h"
#include "runtime/solve/scaled_step.h"

namespace quiver {
namespace {

constexpr double kNear = 1e-6;        // scaled residual from which damped Newton finishes
constexpr double kFirstRadius = 1.0;  // in magnitudes of the unknowns
constexpr double kLeastRadius = 1e-10;
constexpr double kLargestRadius = 1e4;
constexpr double kLeastDamping = 1e-12;  // of the Newton step, so that a singular Jacobian gives one, too
constexpr double kLeastGain = 1e-4;      // share of the predicted gain that accepts a step

// The point of the dogleg at the distance `radius`.
void Dogleg(std::span<const double> descent, std::span<const double> newton, double radius,
            std::span<double> step) {
  const std::size_t n = step.size();
  const double newton_length = std::sqrt(SquaredNorm(newton)),
               descent_length = std::sqrt(SquaredNorm(descent));
  if (newton_length <= radius) {
    std::copy(newton.begin(), newton.end(), step.begin());
  } else if (descent_length >= radius) {
    for (std::size_t j = 0; j < n; ++j) step[j] = descent[j] * (radius / descent_length);
  } else {
    // |descent + t (newton - descent)| = radius.
    double a = 0.0, b = 0.0;
    for (std::size_t j = 0; j < n; ++j) {
      const double way = newton[j] - descent[j];
      a += way * way;
      b += descent[j] * way;
    }
    const double c = descent_length * descent_length - radius * radius;
    const double t = -c / (b + std::sqrt(std::max(b * b - a * c, 0.0)));
    for (std::size_t j = 0; j < n; ++j) step[j] = descent[j] + t * (newton[j] - descent[j]);
  }
}

// The unconstrained minimum of |f + J s|^2 along the steepest descent; zero where `held`.
void CauchyStep(const SparsePattern& pattern, const ScaledStep& scaled, std::span<const char> held,
                std::span<double> descent) {
  for (int j = 0; j < pattern.size; ++j) {
    descent[j] = 0.0;
    for (int k = pattern.column_start[j]; k < pattern.column_start[j + 1] && !held[j]; ++k)
      descent[j] -= scaled.Jacobian()[k] * scaled.F()[pattern.row[k]];
  }
  std::vector<double> image(descent.size(), 0.0);
  AddProduct(pattern, scaled.Jacobian(), 1.0, descent, image);
  const double curvature = SquaredNorm(image), slope = SquaredNorm(descent);
  const double length = curvature > 0.0 ? slope / curvature : 0.0;
  for (double& part : descent) part *= length;
}

// Until near a solution, or until nothing is gained any more. Returns the iterations.
int Approach(BlockSystem& system, const SolveOptions& options, std::span<double> x) {
  ScaledStep scaled(system, x);
  if (!scaled.Start()) return 0;
  const auto n = static_cast<std::size_t>(system.Size());
  RegularisedStep regularised(system.Pattern());
  std::vector<double> descent(n), newton(n), step(n);
  std::vector<char> held(n);
  double radius = kFirstRadius;
  int iteration = 0;
  for (; iteration < options.max_iterations && scaled.Residual() > kNear; ++iteration) {
    scaled.Weigh();
    std::fill(held.begin(), held.end(), 0);
    CauchyStep(system.Pattern(), scaled, held, descent);
    scaled.MarkOutward(descent, held);
    CauchyStep(system.Pattern(), scaled, held, descent);
    if (SquaredNorm(descent) == 0.0) break;
    if (!regularised.Compute(scaled.Jacobian(), scaled.F(), held, kLeastDamping, newton)) newton = descent;
    bool accepted = false;
    while (!accepted && radius > kLeastRadius && system.Evaluations() < options.max_evaluations) {
      Dogleg(descent, newton, radius, step);
      double gained = -1.0, predicted = 0.0;
      if (scaled.Try(step)) {
        predicted = scaled.BaseMerit() - scaled.PredictedMerit();
        gained = scaled.BaseMerit() - scaled.Merit();
      }
      const double length = std::sqrt(SquaredNorm(step));
      if (predicted > 0.0 && gained > kLeastGain * predicted) {
        accepted = true;
        if (gained > 0.75 * predicted) radius = std::clamp(2.0 * length, radius, kLargestRadius);
        if (gained < 0.25 * predicted) radius = 0.5 * length;
      } else {
        radius = 0.25 * std::min(radius, length);
      }
    }
    if (!accepted) {
      scaled.Return();
      break;
    }
    if (!scaled.Accept()) break;
  }
  return iteration;
}

}  // namespace

BlockResult TrustRegion::Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) {
  const int iterations = Approach(system, options, x);
  BlockResult result = DampedNewton().Solve(system, options, x);
  result.iterations += iterations;
  return result;
}

}  // namespace quiver
