// SPDX-License-Identifier: Apache-2.0
// A curve through points (x ascending, y): straight pieces, monotone cubic pieces or a cubic spline, with the
// derivatives of a reading with respect to the place and to every coordinate of every point.
//
//   PointCurve curve;
//   if (!curve.Fit(CurveMethod::kSpline, flows, heads)) ...          // fewer than two points, or x not
//   ascending CurveReading head = curve.Read(420.0, Beyond::kContinue);        // head.value, head.slope
//   curve.AddGradient(420.0, Beyond::kContinue, 1.0, d_flows, d_heads);
#pragma once

#include <span>
#include <vector>

namespace quiver::routines {

// How a curve runs between its points. Every method passes through the points and draws a line through points
// on a line.
//
// kLinear    straight pieces; the slope jumps at a point, where the piece on the right counts (at the last
// point: left). kMonotone  cubic Hermite pieces, slope continuous, no overshoot. Inner slopes are the
// weighted harmonic mean of the
//            two secants (Fritsch and Butland, SIAM J. Sci. Stat. Comput. 5 (1984) 300), zero where the
//            secants differ in sign; end slopes are those of the parabola through three points, limited to
//            keep the sign of the end secant and to three times its size (Fritsch and Carlson, SIAM J. Numer.
//            Anal. 17 (1980) 238).
// kSpline    cubic spline, curvature continuous, linear in the ordinates; may overshoot between points of
// changing
//            secants. Not-a-knot ends: the first two pieces are one cubic, and so are the last two, so four
//            points or more on one cubic give that cubic; three points give their parabola, two their line
//            (de Boor, A Practical Guide to Splines, chapter IV).
enum class CurveMethod { kLinear, kMonotone, kSpline };

// What is read beyond the first and the last point: the end value with slope 0, or the line with the end
// slope. At an end point itself the slope is that of the curve inside.
enum class Beyond { kHold, kContinue };

struct CurveReading {
  double value = 0;
  double slope = 0;
};

class PointCurve {
 public:
  // Takes the points, which must outlive the readings. False where there are fewer than two points, where the
  // lists differ in length, where the abscissas do not ascend strictly, or where a coordinate is not finite.
  bool Fit(CurveMethod method, std::span<const double> x, std::span<const double> y);

  CurveReading Read(double at, Beyond beyond) const;

  // Adds weight * d(value at `at`)/d(x_k) to d_x[k], and the same for y. The derivatives are exact; those of
  // kMonotone jump where a secant changes sign, and there belong to the formula in force.
  void AddGradient(double at, Beyond beyond, double weight, std::span<double> d_x, std::span<double> d_y);

 private:
  std::size_t Piece(double at) const;
  void FitMonotone();
  void FitSpline();
  void PullBackMonotone();
  void PullBackSpline();

  CurveMethod method_ = CurveMethod::kLinear;
  std::span<const double> x_, y_;
  std::vector<double> step_, secant_;         // of the pieces
  std::vector<double> slope_;                 // at the points; empty for kLinear
  std::vector<double> lower_, diag_, upper_;  // factors of the spline's tridiagonal matrix
  std::vector<double> g_step_, g_secant_, g_slope_;
};

}  // namespace quiver::routines
