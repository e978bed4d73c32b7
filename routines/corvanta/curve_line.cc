// SPDX-License-Identifier: Apache-2.0
// One line of a performance map: points or a polynomial.
#include "routines/corvanta/curve_line.h"

#include "routines/corvanta/curve_polynomial.h"

namespace quiver::routines {

bool CurveLine::SetPoints(CurveMethod method, Beyond beyond, std::span<const double> x,
                          std::span<const double> y) {
  is_polynomial_ = false;
  beyond_ = beyond;
  if (!points_.Fit(method, x, y)) return false;
  first_ = x.front();
  last_ = x.back();
  d_x_.resize(x.size());
  d_y_.resize(y.size());
  return true;
}

void CurveLine::SetPolynomial(Beyond beyond, std::span<const double> c, double first, double last) {
  is_polynomial_ = true;
  beyond_ = beyond;
  coefficients_ = c;
  first_ = first;
  last_ = last;
  d_y_.resize(c.size());
}

CurveReading CurveLine::Read(double at) const {
  if (!is_polynomial_) return points_.Read(at, beyond_);
  const double inside = Clipped(at);
  const PolynomialValue p = EvaluatePolynomial(coefficients_, inside);
  if (inside == at) return {p.value, p.slope};
  if (beyond_ == Beyond::kHold) return {p.value, 0.0};
  return {p.value + p.slope * (at - inside), p.slope};
}

CurveLine::Gradient CurveLine::Differentiate(double at, double weight) {
  Gradient gradient;
  if (!is_polynomial_) {
    d_x_.assign(d_x_.size(), 0.0);
    d_y_.assign(d_y_.size(), 0.0);
    points_.AddGradient(at, beyond_, weight, d_x_, d_y_);
    gradient.abscissas = d_x_;
    gradient.ordinates = d_y_;
    return gradient;
  }
  const double inside = Clipped(at);
  const double along = beyond_ == Beyond::kContinue ? at - inside : 0.0;
  double power = 1, power_slope = 0;  // of x^k at `inside`
  for (std::size_t k = 0; k < coefficients_.size(); ++k) {
    d_y_[k] = weight * (power + power_slope * along);
    power_slope = power_slope * inside + power;
    power *= inside;
  }
  gradient.coefficients = d_y_;
  if (inside != at) {
    // Held: the value is p(end). Continued: p(end) + p'(end) (at - end), whose first-order parts cancel.
    const PolynomialValue p = EvaluatePolynomial(coefficients_, inside);
    const double by_end = weight * (beyond_ == Beyond::kHold ? p.slope : p.curvature * along);
    (at < first_ ? gradient.first : gradient.last) = by_end;
  }
  return gradient;
}

}  // namespace quiver::routines
