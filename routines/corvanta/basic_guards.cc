// SPDX-License-Identifier: Apache-2.0
// Functions that stay differentiable where the textbook's are not.
#include <algorithm>
#include <cmath>

#include "routines/routine_arguments.h"

using quiver::routines::Failure;

// PSQRT(x): the signed square root sign(x) sqrt(|x|), as a flow follows a pressure drop and turns with it.
// Below |x| = kSmallRoot = 1e-10 the odd polynomial that meets the root in value, slope and curvature takes
// over, so the slope at 0 is 1.4e5, not infinite. Twice continuously differentiable, strictly increasing,
// exact elsewhere.
ROUTINE(ZX40RM_spsqrt, "r* -> r") {
  constexpr double kSmallRoot = 1e-10;
  const double x = call.Real(0);
  double root, slope;
  if (std::abs(x) >= kSmallRoot) {
    root = std::copysign(std::sqrt(std::abs(x)), x);
    slope = 0.5 / std::abs(root);
  } else {
    const double s = x / kSmallRoot, s2 = s * s, scale = std::sqrt(kSmallRoot);
    root = scale * s * (45 + s2 * (-18 + s2 * 5)) / 32;
    slope = scale / kSmallRoot * (45 + s2 * (-54 + s2 * 25)) / 32;
  }
  call.SetOutput(0, root);
  if (call.WantsDerivatives()) call.SetDerivative(0, 0, slope);
}

// PLIMIT_ABS(x, lower, upper): x with its magnitude kept between two limits and its sign kept, 0 counting as
// positive; what a divisor needs. At a limit x counts as inside, as in PLIMIT. Where lower > 0 the result
// jumps from -lower to lower at x = 0. Fails unless 0 <= lower <= upper. That the limits are those of the
// magnitude is our reading.
ROUTINE(ZX40RM_splim_abs, "r* r r -> r") {
  const double x = call.Real(0), lower = call.Real(1), upper = call.Real(2);
  if (lower < 0) return call.Fail(Failure::kOutOfRange, 1);
  if (upper < lower) return call.Fail(Failure::kOutOfRange, 2);
  const double magnitude = std::abs(x), sign = x < 0 ? -1 : 1;
  call.SetOutput(0, sign * std::clamp(magnitude, lower, upper));
  if (!call.WantsDerivatives()) return;
  if (magnitude < lower) return call.SetDerivative(0, 1, sign);
  if (magnitude > upper) return call.SetDerivative(0, 2, sign);
  call.SetDerivative(0, 0, 1.0);
}

// PRAMP(x, x1, x2, y1, y2): y1 up to x1, y2 from x2 on, and between them the smooth step
//   y1 + (y2 - y1) t^2 (3 - 2 t),   t = (x - x1) / (x2 - x1),
// once continuously differentiable. Fails unless x1 < x2. The order of the four constants is our reading.
ROUTINE(ZX40RM_spramp, "r* r r r r -> r") {
  const double x = call.Real(0), x1 = call.Real(1), x2 = call.Real(2), y1 = call.Real(3), y2 = call.Real(4);
  if (!(x1 < x2)) return call.Fail(Failure::kOutOfRange, 2);
  const double t = std::clamp((x - x1) / (x2 - x1), 0.0, 1.0), step = t * t * (3 - 2 * t);
  call.SetOutput(0, t == 1 ? y2 : y1 + (y2 - y1) * step);
  if (!call.WantsDerivatives()) return;
  const double slope = (y2 - y1) * 6 * t * (1 - t) / (x2 - x1);
  call.SetDerivative(0, 0, slope);
  call.SetDerivative(0, 1, -slope * (1 - t));
  call.SetDerivative(0, 2, -slope * t);
  call.SetDerivative(0, 3, 1 - step);
  call.SetDerivative(0, 4, step);
}
