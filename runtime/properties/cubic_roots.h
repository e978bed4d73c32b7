// SPDX-License-Identifier: Apache-2.0
// Real roots of z^3 + c2 z^2 + c1 z + c0, to the last digits also when they differ by many orders of
// magnitude.
//
//   CubicRoots roots = SolveCubic(-6, 11, -6);  // count 3; values 1, 2, 3
#pragma once

#include <array>

namespace quiver {

struct CubicRoots {
  int count = 0;                   // 1 or 3; a double root is listed twice
  std::array<double, 3> values{};  // ascending
};
CubicRoots SolveCubic(double c2, double c1, double c0);

}  // namespace quiver
