// SPDX-License-Identifier: Apache-2.0
// A polynomial and its first two derivatives by Horner's rule:  EvaluatePolynomial(c, 2.0).slope
#pragma once

#include <span>

namespace quiver::routines {

struct PolynomialValue {
  double value = 0, slope = 0, curvature = 0;
};

// c[0] + c[1] x + c[2] x^2 + ...; 0 without coefficients.
inline PolynomialValue EvaluatePolynomial(std::span<const double> c, double x) {
  PolynomialValue p;
  for (std::size_t k = c.size(); k-- > 0;) {
    p.curvature = p.curvature * x + 2 * p.slope;
    p.slope = p.slope * x + p.value;
    p.value = p.value * x + c[k];
  }
  return p;
}

}  // namespace quiver::routines
