// SPDX-License-Identifier: Apache-2.0
// Small dense linear systems (a few dozen unknowns at most), in place and without allocation.
//
//   bool regular = SolveDense(matrix, rhs);  // matrix n x n by rows, destroyed; rhs becomes the solution
#pragma once

#include <cmath>
#include <cstddef>
#include <span>
#include <utility>

namespace quiver {

// Gaussian elimination with partial pivoting; false when the matrix is singular to working precision.
inline bool SolveDense(std::span<double> a, std::span<double> b) {
  const std::size_t n = b.size();
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k + 1; i < n; ++i)
      if (std::abs(a[i * n + k]) > std::abs(a[pivot * n + k])) pivot = i;
    const double p = a[pivot * n + k];
    if (!(std::abs(p) > 1e-300) || !std::isfinite(p)) return false;
    if (pivot != k) {
      for (std::size_t j = k; j < n; ++j) std::swap(a[k * n + j], a[pivot * n + j]);
      std::swap(b[k], b[pivot]);
    }
    for (std::size_t i = k + 1; i < n; ++i) {
      const double factor = a[i * n + k] / p;
      if (factor == 0) continue;
      for (std::size_t j = k + 1; j < n; ++j) a[i * n + j] -= factor * a[k * n + j];
      b[i] -= factor * b[k];
    }
  }
  for (std::size_t k = n; k-- > 0;) {
    for (std::size_t j = k + 1; j < n; ++j) b[k] -= a[k * n + j] * b[j];
    b[k] /= a[k * n + k];
    if (!std::isfinite(b[k])) return false;
  }
  return true;
}

}  // namespace quiver
