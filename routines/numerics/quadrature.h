// SPDX-License-Identifier: Apache-2.0
// Integrals by quadrature.
//
//   double work = quiver::routines::CompositeSimpson([](double p) { return 1 / p; }, 1.0, 2.0, 20);
#pragma once

#include <algorithm>

namespace quiver::routines {

// Integral of `f` from `a` to `b` by Simpson's rule over `intervals` equal parts (two at least; an odd number
// is raised by one). Exact for cubics; the error falls with the fourth power of the part.
template <typename Function>
double CompositeSimpson(const Function& f, double a, double b, long long intervals) {
  const long long parts = std::max(2LL, intervals + intervals % 2);
  const double width = (b - a) / static_cast<double>(parts);
  double odd = 0, even = 0;
  for (long long i = 1; i < parts; ++i) (i % 2 ? odd : even) += f(a + static_cast<double>(i) * width);
  return width / 3 * (f(a) + 4 * odd + 2 * even + f(b));
}

}  // namespace quiver::routines
