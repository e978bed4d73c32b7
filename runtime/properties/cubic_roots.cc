// SPDX-License-Identifier: Apache-2.0
// Halley's iteration finds the root that stands alone, from a start at which it converges monotonically
// (U. K. Deiters, Chem. Eng. Technol. 25 (2002) 10 reasons in the same way); deflation gives the other two.
#include "runtime/properties/cubic_roots.h"

#include <algorithm>
#include <cmath>

namespace quiver {
namespace {

struct Cubic {
  double c2, c1, c0;
  double Value(double z) const { return c0 + z * (c1 + z * (c2 + z)); }
  double Slope(double z) const { return c1 + z * (2 * c2 + 3 * z); }

  // One Newton step, kept only when it brings the residual down.
  double Polish(double z) const {
    for (int i = 0; i < 3; ++i) {
      const double slope = Slope(z), value = Value(z);
      if (value == 0 || slope == 0) break;
      const double next = z - value / slope;
      if (!(std::abs(Value(next)) < std::abs(value))) break;
      z = next;
    }
    return z;
  }
};

}  // namespace

CubicRoots SolveCubic(double c2, double c1, double c0) {
  const Cubic f{c2, c1, c0};
  const double inflection = -c2 / 3;
  const double at_inflection = f.Value(inflection);
  const double spread = c2 * c2 - 3 * c1;  // > 0: two extrema

  // All roots lie within 2/3 sqrt(spread) of the inflection; the lone root is on the side opposite to the
  // sign.
  double z = inflection;
  if (spread > 0 && at_inflection != 0) z += (at_inflection > 0 ? -2 : 2) * std::sqrt(spread) / 3;
  for (int i = 0; i < 100; ++i) {
    const double value = f.Value(z), slope = f.Slope(z), bend = 6 * z + 2 * c2;
    const double below = slope * slope - 0.5 * value * bend;
    if (value == 0 || below == 0) break;
    const double step = value * slope / below;
    z -= step;
    if (std::abs(step) <= 1e-15 * std::abs(z)) break;
  }
  z = f.Polish(z);

  // Deflate from the end that loses no digits.
  double b1, b0;
  if (std::abs(z * z * z) > std::abs(c0)) {
    b0 = -c0 / z;
    b1 = (b0 - c1) / z;
  } else {
    b1 = c2 + z;
    b0 = c1 + z * b1;
  }
  const double discriminant = b1 * b1 - 4 * b0;
  CubicRoots roots{1, {z, z, z}};
  if (discriminant < 0) return roots;
  const double q = -0.5 * (b1 + std::copysign(std::sqrt(discriminant), b1));
  roots = {3, {z, f.Polish(q), f.Polish(q == 0 ? 0 : b0 / q)}};
  std::sort(roots.values.begin(), roots.values.end());
  return roots;
}

}  // namespace quiver
