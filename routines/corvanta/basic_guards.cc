// SPDX-License-Identifier: Apache-2.0
// Functions that stay differentiable where the textbook's are not.
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
