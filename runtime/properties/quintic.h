// SPDX-License-Identifier: Apache-2.0
// Quintic pieces that match value, slope and curvature at both ends of an interval: curves with continuous
// second derivative out of tabulated points.
//
//   Quintic piece = MakeQuintic(h, {f0, d0, e0}, {f1, d1, e1});
//   Jet v = piece.At(t);  // t from the left end, 0 to h
#pragma once

#include <array>

namespace quiver {

struct Jet {
  double value = 0, first = 0, second = 0;  // with derivatives
};

struct Quintic {
  std::array<double, 6> c{};

  double Value(double t) const { return c[0] + t * (c[1] + t * (c[2] + t * (c[3] + t * (c[4] + t * c[5])))); }
  double Slope(double t) const {
    return c[1] + t * (2 * c[2] + t * (3 * c[3] + t * (4 * c[4] + t * 5 * c[5])));
  }
  Jet At(double t) const {
    return {Value(t), Slope(t), 2 * c[2] + t * (6 * c[3] + t * (12 * c[4] + t * 20 * c[5]))};
  }
};

inline Quintic MakeQuintic(double h, const Jet& left, const Jet& right) {
  const double c2 = 0.5 * left.second, h2 = h * h;
  const double gap = right.value - left.value - h * (left.first + h * c2);
  const double slope_gap = h * (right.first - left.first - h * left.second);
  const double bend_gap = h2 * (right.second - left.second);
  return {{left.value, left.first, c2, (10 * gap - 4 * slope_gap + 0.5 * bend_gap) / (h2 * h),
           (-15 * gap + 7 * slope_gap - bend_gap) / (h2 * h2),
           (6 * gap - 3 * slope_gap + 0.5 * bend_gap) / (h2 * h2 * h)}};
}

}  // namespace quiver
