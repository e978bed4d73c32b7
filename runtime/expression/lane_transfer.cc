// SPDX-License-Identifier: Apache-2.0
// Rows of a block to and from where the instances keep their values: gathers, scatters and transpositions.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "runtime/expression/lanes.h"
#include "runtime/expression/machine.h"

#ifdef QUIVER_WIDE_MACHINES
// GCC 12 takes the "undefined" operand of its own intrinsics for an uninitialised one.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#include <immintrin.h>
#endif

namespace quiver {

void Gather(const double* x, const int* places, int stride, int lanes, double* row) {
  for (int i = 0; i < lanes; ++i) row[i] = x[places[static_cast<std::ptrdiff_t>(i) * stride]];
  for (int i = lanes; i < BlockWidth(lanes); ++i) row[i] = row[lanes - 1];
}

void GatherAffine(const double* x, long long first, long long step, int lanes, double* row) {
  for (int i = 0; i < lanes; ++i) row[i] = x[first + step * i];
  for (int i = lanes; i < BlockWidth(lanes); ++i) row[i] = row[lanes - 1];
}

void ScatterAffine(const double* row, long long first, long long step, int lanes, double* x) {
  for (int i = 0; i < lanes; ++i) x[first + step * i] = row[i];
}

void Scatter(const double* row, const int* places, int stride, int lanes, double* x) {
  for (int i = 0; i < lanes; ++i) x[places[static_cast<std::ptrdiff_t>(i) * stride]] = row[i];
}

namespace {

void GatherRowsPlain(const double* from, long long step, int lanes, Lanes* rows, int count) {
  for (int k = 0; k < count; ++k) {
    double* const row = rows[k].lane;
    for (int i = 0; i < lanes; ++i) row[i] = from[step * i + k];
    for (int i = lanes; i < BlockWidth(lanes); ++i) row[i] = row[lanes - 1];
  }
}

void ScatterRowsPlain(const double* const* rows, int count, int first, int lanes, double* to, long long step,
                      const double* signs) {
  for (int k = 0; k < count; ++k) {
    if (signs && std::signbit(signs[k])) {
      for (int i = first; i < lanes; ++i) to[step * i + k] = -rows[k][i];
    } else {
      for (int i = first; i < lanes; ++i) to[step * i + k] = rows[k][i];
    }
  }
}

#ifdef QUIVER_WIDE_MACHINES
// Two numbers at `low` and two at `high`: taken together while they are loaded, which leaves little to be shuffled. Wider
// vectors would shuffle more, and their stores would cross more cache lines.
QUIVER_FOR_AVX2 inline __m256d Pairs(const double* low, const double* high) {
  return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(low)), _mm_loadu_pd(high), 1);
}

QUIVER_FOR_AVX2 void GatherRowsAvx2(const double* from, long long step, int lanes, Lanes* rows, int count) {
  const int even = count / 2 * 2;
  for (int i = 0; i < BlockWidth(lanes); i += 4) {
    const double* instance[4];
    for (int n = 0; n < 4; ++n) instance[n] = from + step * std::min(i + n, lanes - 1);
    for (int k = 0; k < even; k += 2) {
      const __m256d a = Pairs(instance[0] + k, instance[2] + k), b = Pairs(instance[1] + k, instance[3] + k);
      _mm256_store_pd(rows[k].lane + i, _mm256_unpacklo_pd(a, b));
      _mm256_store_pd(rows[k + 1].lane + i, _mm256_unpackhi_pd(a, b));
    }
    if (even < count)
      for (int n = 0; n < 4; ++n) rows[even].lane[i + n] = instance[n][even];
  }
  _mm256_zeroupper();
}

QUIVER_FOR_AVX2 void ScatterRowsAvx2(const double* const* rows, int count, int lanes, double* to,
                                     long long step, const double* signs) {
  const int fours = count / 4 * 4, pairs = lanes / 2 * 2;
  for (int i = 0; i < pairs; i += 2) {
    for (int k = 0; k < fours; k += 4) {
      const __m256d a = Pairs(rows[k] + i, rows[k + 2] + i), b = Pairs(rows[k + 1] + i, rows[k + 3] + i);
      const __m256d sign = signs ? _mm256_loadu_pd(signs + k) : _mm256_setzero_pd();
      _mm256_storeu_pd(to + step * i + k, _mm256_xor_pd(_mm256_unpacklo_pd(a, b), sign));
      _mm256_storeu_pd(to + step * (i + 1) + k, _mm256_xor_pd(_mm256_unpackhi_pd(a, b), sign));
    }
  }
  const int even = count / 2 * 2;
  for (int k = fours; k < even; k += 2) {
    const __m128d sign = signs ? _mm_loadu_pd(signs + k) : _mm_setzero_pd();
    for (int i = 0; i < pairs; i += 2) {
      const __m128d a = _mm_loadu_pd(rows[k] + i), b = _mm_loadu_pd(rows[k + 1] + i);
      _mm_storeu_pd(to + step * i + k, _mm_xor_pd(_mm_unpacklo_pd(a, b), sign));
      _mm_storeu_pd(to + step * (i + 1) + k, _mm_xor_pd(_mm_unpackhi_pd(a, b), sign));
    }
  }
  _mm256_zeroupper();  // see lanes.cc
  ScatterRowsPlain(rows + even, count - even, 0, pairs, to + even, step, signs ? signs + even : nullptr);
  ScatterRowsPlain(rows, count, pairs, lanes, to, step, signs);
}
#endif

}  // namespace

void GatherRows(const double* from, long long step, int lanes, Lanes* rows, int count) {
#ifdef QUIVER_WIDE_MACHINES
  if (count > 1 && CurrentMachine() != Machine::kBaseline)
    return GatherRowsAvx2(from, step, lanes, rows, count);
#endif
  GatherRowsPlain(from, step, lanes, rows, count);
}

void ScatterRows(const double* const* rows, int count, int lanes, double* to, long long step,
                 const double* signs) {
#ifdef QUIVER_WIDE_MACHINES
  if (count > 1 && CurrentMachine() != Machine::kBaseline)
    return ScatterRowsAvx2(rows, count, lanes, to, step, signs);
#endif
  ScatterRowsPlain(rows, count, 0, lanes, to, step, signs);
}

}  // namespace quiver
