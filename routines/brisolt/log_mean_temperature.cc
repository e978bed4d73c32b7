// SPDX-License-Identifier: Apache-2.0
// The driving force of a heat exchanger from its terminal temperatures.
#include <algorithm>
#include <cmath>

#include "routines/numerics/log_mean.h"
#include "routines/routine_arguments.h"

using quiver::routines::Failure;

namespace {

// x for x >= approach, below it an exponential towards half of it, once continuously differentiable.
struct Lifted {
  double value, by_x, by_approach;
};
Lifted KeepApart(double x, double approach) {
  if (x >= approach) return {x, 1, 0};
  const double half = approach / 2, u = (x - approach) / half, decay = std::exp(u);
  return {half + half * decay, decay, 0.5 + 0.5 * decay * (1 - 2 * x / approach)};
}

}  // namespace

// PLMTD(hot in, hot out, cold in, cold out, approach): the logarithmic mean of the terminal differences of a
// countercurrent exchanger, a = hot in - cold out and b = hot out - cold in, of the unit of the temperatures
// (C or K). Only the number of arguments is given by the catalogue; their order and the fifth are our
// reading.
//
// Exact where both differences are at least the smallest approach (> 0), equal ones included, and odd: with
// hot and cold exchanged the mean changes its sign, so that heat flows back. Between lies no mean in the
// textbook's sense (one difference may be 0, or the temperatures cross); there each difference is kept above
// half the approach, and the mean is multiplied by u (3 - u^2) / 2 with u = (a + b) / (2 approach) while |u|
// < 1, which turns its sign through 0. The whole is once continuously differentiable in all five inputs.
// Fails unless approach > 0.
ROUTINE(ZX40RM_splmtd, "r* r* r* r* r* -> r") {
  const double a = call.Real(0) - call.Real(3), b = call.Real(1) - call.Real(2), approach = call.Real(4);
  if (!(approach > 0)) return call.Fail(Failure::kOutOfRange, 4);
  const double sign = a + b < 0 ? -1 : 1;
  const Lifted la = KeepApart(sign * a, approach), lb = KeepApart(sign * b, approach);
  const auto mean = quiver::routines::LogarithmicMean(la.value, lb.value);
  const double u = std::clamp((a + b) / (2 * approach), -1.0, 1.0), turn = u * (3 - u * u) / 2;
  call.SetOutput(0, turn * mean.value);
  if (!call.WantsDerivatives()) return;
  const double turn_by_u = 1.5 * (1 - u * u);
  const double by_sum = turn_by_u == 0 ? 0.0 : turn_by_u / (2 * approach) * mean.value;
  const double by_a = turn * sign * mean.by_a * la.by_x + by_sum,
               by_b = turn * sign * mean.by_b * lb.by_x + by_sum;
  call.SetDerivative(0, 0, by_a);
  call.SetDerivative(0, 1, by_b);
  call.SetDerivative(0, 2, -by_b);
  call.SetDerivative(0, 3, -by_a);
  call.SetDerivative(0, 4, turn * (mean.by_a * la.by_approach + mean.by_b * lb.by_approach) - 2 * u * by_sum);
}
