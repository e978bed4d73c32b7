// SPDX-License-Identifier: Apache-2.0
// Limits, ramps and guarded division: the functions with which models keep a value where an equation can use
// it.
#include <algorithm>
#include <cmath>

#include "routines/routine_arguments.h"

using quiver::routines::Failure;

// PCOPY1(x) = x: a variable of its own that follows another.
ROUTINE(ZX40RM_spcopy1, "r* -> r") {
  call.SetOutput(0, call.Real(0));
  if (call.WantsDerivatives()) call.SetDerivative(0, 0, 1.0);
}

// PLIMIT(x, lower, upper) = min(max(x, lower), upper). At a bound x counts as inside: the derivative to x is
// 1 there and that to the bound 0. Fails where lower > upper.
ROUTINE(ZX40RM_splimit, "r* r* r* -> r") {
  const double x = call.Real(0), lower = call.Real(1), upper = call.Real(2);
  if (lower > upper) return call.Fail(Failure::kOutOfRange, 1);
  call.SetOutput(0, std::clamp(x, lower, upper));
  if (call.WantsDerivatives()) call.SetDerivative(0, x < lower ? 1 : x > upper ? 2 : 0, 1.0);
}

// PDIVIDE(a, b) = a / b, exactly, for |b| >= kSmallDivisor = 1e-10. Nearer to 0 the quotient bends back
// through 0,
//   a / b (1 - (1 - s^2)^3) = a s (3 - 3 s^2 + s^4) / kSmallDivisor,   s = b / kSmallDivisor,
// which meets a / b in value, slope and curvature: the share of a stream that does not flow is 0, and a
// change of sign of b passes without a pole. Twice continuously differentiable.
ROUTINE(ZX40RM_spdivi, "r* r* -> r") {
  constexpr double kSmallDivisor = 1e-10;
  const double a = call.Real(0), b = call.Real(1);
  double inverse, slope;
  if (std::abs(b) >= kSmallDivisor) {
    inverse = 1 / b;
    slope = -inverse * inverse;
  } else {
    const double s = b / kSmallDivisor, s2 = s * s;
    inverse = s * (3 + s2 * (-3 + s2)) / kSmallDivisor;
    slope = (3 + s2 * (-9 + s2 * 5)) / (kSmallDivisor * kSmallDivisor);
  }
  call.SetOutput(0, std::abs(b) >= kSmallDivisor ? a / b : a * inverse);
  if (call.WantsDerivatives()) {
    call.SetDerivative(0, 0, inverse);
    call.SetDerivative(0, 1, a * slope);
  }
}

// PMINRAMP(x, minimum, width): x itself for x >= minimum + width; below, an exponential that leaves x with
// slope 1 and approaches the minimum from above,
//   minimum + width exp((x - minimum - width) / width).
// So the result is never below the minimum, is once continuously differentiable, and rises with x everywhere,
// which keeps the equation that holds it from losing its pivot. With width 0 it is max(x, minimum), x ==
// minimum counting as above. Fails where the width is negative.
ROUTINE(ZX40RM_spminrmp, "r* r* r* -> r") {
  const double x = call.Real(0), minimum = call.Real(1), width = call.Real(2);
  if (width < 0) return call.Fail(Failure::kOutOfRange, 2);
  const bool above = x >= minimum + width;
  // u <= 0 is the distance below the start of the ramp in widths.
  const double u = above ? 0.0 : width > 0 ? (x - minimum) / width - 1 : -HUGE_VAL;
  const double decay = std::exp(u);
  call.SetOutput(0, above ? x : minimum + width * decay);
  if (call.WantsDerivatives()) {
    call.SetDerivative(0, 0, decay);
    call.SetDerivative(0, 1, 1 - decay);
    call.SetDerivative(0, 2, decay > 0 ? -u * decay : 0.0);
  }
}

// PMINRAMPA(x, minimum, width, alternative): the ramp with an alternative value: x for x >= minimum + width,
// the alternative for x <= minimum, and between them the blend
//   alternative + (x - alternative) t^2 (3 - 2 t),   t = (x - minimum) / width,
// once continuously differentiable. The catalogue gives name and arguments only; this meaning is ours. The
// blend rises throughout where the alternative is not above the minimum. With width 0 it is a step, the value
// at x == minimum being x. Fails where the width is negative.
ROUTINE(ZX40RM_spminarm, "r* r* r* r* -> r") {
  const double x = call.Real(0), minimum = call.Real(1), width = call.Real(2), alternative = call.Real(3);
  if (width < 0) return call.Fail(Failure::kOutOfRange, 2);
  const double t = x >= minimum + width ? 1.0 : x <= minimum ? 0.0 : (x - minimum) / width;
  const double share = t * t * (3 - 2 * t);
  call.SetOutput(0, t == 1.0 ? x : alternative + (x - alternative) * share);
  if (call.WantsDerivatives()) {
    const double by_t = (x - alternative) * 6 * t * (1 - t), by_distance = by_t == 0 ? 0.0 : by_t / width;
    call.SetDerivative(0, 0, share + by_distance);
    call.SetDerivative(0, 1, -by_distance);
    call.SetDerivative(0, 2, -by_distance * t);
    call.SetDerivative(0, 3, 1 - share);
  }
}
