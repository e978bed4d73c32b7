// SPDX-License-Identifier: Apache-2.0
// The logarithmic mean of two positive numbers, finite and differentiable where they are equal.
//
//   const LogMean mean = LogarithmicMean(40.0, 20.0);   // 28.8539..., mean.by_a, mean.by_b
#pragma once

namespace quiver::routines {

struct LogMean {
  double value, by_a, by_b;
};
// (a - b) / ln(a / b) for a, b > 0, of the unit of a and b.
LogMean LogarithmicMean(double a, double b);

}  // namespace quiver::routines
