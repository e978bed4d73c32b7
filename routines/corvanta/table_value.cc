// SPDX-License-Identifier: Apache-2.0
// The user table of a valve: coefficient, recovery factor or pressure drop ratio factor over the opening. The
// procedure PUSRVAL calls it.
#include <algorithm>

#include "routines/numerics/spline.h"
#include "routines/routine_arguments.h"

// Inputs, in order:
// - 1 number of points in use, 2 openings, ascending, 3 values at them, 4 the opening
// - 5 lower and 6 upper limit of the value
// - 7 option: 0 straight lines between the points; 1 monotone cubic, smooth without overshoot; 2 cubic
// spline,
//   smoothest, may overshoot. routines/numerics/spline.h describes them.
//
// Output: the value.
//
// With lower < upper the value goes on beyond the first and the last point with the end slope and is limited
// to lower ... upper everywhere. With lower = upper, as when neither was given, there is no limit and the end
// values hold beyond the ends. One point is a constant.
//
// Fails with kOutOfRange: 1 no point in use, 2 openings that do not ascend strictly, 5 lower above upper, 7
// another option. kSizes: 1 more points than the lists have. kOverflow: 3 values too far apart.
ROUTINE(ZX40RM_spvalve, "i* r[n]* r[n]* r* r* r* i* -> r") {
  using namespace quiver::routines;
  static constexpr CurveMethod kMethods[] = {CurveMethod::kLinear, CurveMethod::kMonotone,
                                             CurveMethod::kSpline};
  const long long count = call.Integer(0), option = call.Integer(6);
  const double lower = call.Real(4), upper = call.Real(5);
  const auto openings = call.RealArray(1), values = call.RealArray(2);
  if (count < 1) return call.Fail(Failure::kOutOfRange, 0);
  if (count > std::ssize(openings) || count > std::ssize(values)) return call.Fail(Failure::kSizes, 0);
  if (lower > upper) return call.Fail(Failure::kOutOfRange, 4);
  if (option < 0 || option > 2) return call.Fail(Failure::kOutOfRange, 6);
  for (long long k = 1; k < count; ++k)
    if (!(openings[k] > openings[k - 1])) return call.Fail(Failure::kOutOfRange, 1);

  const bool limited = lower < upper;
  double value = values[0];
  if (count > 1) {
    PointCurve curve;
    if (!curve.Fit(kMethods[option], openings.first(count), values.first(count)))
      return call.Fail(Failure::kOverflow, 2);
    value = curve.Read(call.Real(3), limited ? Beyond::kContinue : Beyond::kHold).value;
  }
  call.SetOutput(0, limited ? std::clamp(value, lower, upper) : value);
}
