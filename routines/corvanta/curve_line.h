// SPDX-License-Identifier: Apache-2.0
// One line of a performance map: the curve of one shaft speed, given by points or by a polynomial.
//
//   CurveLine line;
//   if (!line.SetPoints(CurveMethod::kSpline, Beyond::kHold, flows, heads)) ...
//   CurveReading head = line.Read(120.0);
//   CurveLine::Gradient gradient = line.Differentiate(120.0, 1.0);   // by every point
#pragma once

#include <span>
#include <vector>

#include "routines/numerics/spline.h"

namespace quiver::routines {

class CurveLine {
 public:
  // Derivatives of a reading by what defines the line. The spans live until the next call.
  struct Gradient {
    std::span<double> abscissas, ordinates;  // points only
    std::span<double> coefficients;          // polynomial only
    double first = 0, last = 0;              // polynomial only: by the ends of its range
  };

  // See PointCurve::Fit for what is refused.
  bool SetPoints(CurveMethod method, Beyond beyond, std::span<const double> x, std::span<const double> y);

  // c[0] + c[1] x + c[2] x^2 + ... for first <= x <= last; beyond, what `beyond` says.
  void SetPolynomial(Beyond beyond, std::span<const double> c, double first, double last);

  double First() const { return first_; }
  double Last() const { return last_; }
  CurveReading Read(double at) const;

  // `weight` times the derivatives of the value read at `at`.
  Gradient Differentiate(double at, double weight);

 private:
  double Clipped(double at) const { return at < first_ ? first_ : at > last_ ? last_ : at; }

  bool is_polynomial_ = false;
  Beyond beyond_ = Beyond::kHold;
  double first_ = 0, last_ = 0;
  PointCurve points_;
  std::span<const double> coefficients_;
  std::vector<double> d_x_, d_y_;  // d_y_ holds the derivatives by the coefficients of a polynomial
};

}  // namespace quiver::routines
