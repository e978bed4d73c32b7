// SPDX-License-Identifier: Apache-2.0
// Powers of what is not positive and normal.
#include "runtime/expression/vector_math.h"

namespace quiver::vector_math {

double PowSpecial(double x, double y) {
  // Exact results (0, 1, infinity) and not-a-number: the C library has them all.
  if (x == 0 || y == 0 || !std::isfinite(x) || !(std::fabs(y) <= 0x1p64)) return std::pow(x, y);
  const double size = std::fabs(x);
  double sign = 1;
  if (x < 0) {
    if (y != std::floor(y)) return std::numeric_limits<double>::quiet_NaN();
    if (std::fabs(y) < 0x1p53 && std::fmod(y, 2) != 0) sign = -1;
  }
  const bool tiny = size < detail::kSmallestNormal;
  const detail::Parts parts = detail::Split(tiny ? size * 0x1p54 : size);
  return sign * detail::PowReduced(parts.m, tiny ? parts.k - 54 : parts.k, y);
}

}  // namespace quiver::vector_math
