// SPDX-License-Identifier: Apache-2.0
#include "routines/numerics/log_mean.h"

#include <cmath>

namespace quiver::routines {

// With z = (a - b) / (a + b), ln(a / b) = 2 atanh(z), so the mean is (a + b) / 2 divided by g(z) = atanh(z) /
// z, which is 1 + z^2/3 + z^4/5 + ... and harmless at z = 0.
LogMean LogarithmicMean(double a, double b) {
  const double sum = a + b, z = (a - b) / sum;
  double g = 0, slope = 0;  // slope is g'(z)
  if (std::abs(z) < 0.25) {
    // The terms left out are below 0.25^28 = 1e-17 of the first.
    const double z2 = z * z;
    for (int k = 13; k >= 0; --k) {
      g = g * z2 + 1.0 / (2 * k + 1);
      if (k > 0) slope = slope * z2 + 2.0 * k / (2 * k + 1);
    }
    slope *= z;
  } else {
    // 1 - z^2 = 4 a b / (a + b)^2; ln(a / b) keeps its digits where z rounds to 1.
    g = 0.5 * (std::log(a) - std::log(b)) / z;
    slope = (0.25 * (sum / a) * (sum / b) - g) / z;
  }
  const double value = 0.5 * sum / g;
  // dz/da = 2 b / (a + b)^2, dz/db = -2 a / (a + b)^2.
  const double common = 0.5 / g, shift = slope / (g * g);
  return {value, common - shift * (b / sum), common + shift * (a / sum)};
}

}  // namespace quiver::routines
