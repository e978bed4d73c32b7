// SPDX-License-Identifier: Apache-2.0
// Rows of a block to and from where the instances keep their values: gathers, scatters and transpositions.
#include <algorithm>
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
  for (int i = lanes; i < RoundUpToVector(lanes); ++i) row[i] = row[lanes - 1];
}

void GatherAffine(const double* x, long long first, long long step, int lanes, double* row) {
  for (int i = 0; i < lanes; ++i) row[i] = x[first + step * i];
  for (int i = lanes; i < RoundUpToVector(lanes); ++i) row[i] = row[lanes - 1];
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
    for (int i = lanes; i < RoundUpToVector(lanes); ++i) row[i] = row[lanes - 1];
  }
}

void ScatterRowsPlain(const double* const* rows, int count, int lanes, double* to, long long step) {
  for (int k = 0; k < count; ++k)
    for (int i = 0; i < lanes; ++i) to[step * i + k] = rows[k][i];
}

#ifdef QUIVER_WIDE_MACHINES
// Eight rows of eight numbers become eight columns, in registers.
QUIVER_FOR_AVX512 inline void Transpose(__m512d (&r)[8]) {
  const __m512i low_pairs = _mm512_setr_epi64(0, 1, 8, 9, 4, 5, 12, 13);
  const __m512i high_pairs = _mm512_setr_epi64(2, 3, 10, 11, 6, 7, 14, 15);
  __m512d t[8], u[8];
  for (int k = 0; k < 8; k += 2) {
    t[k] = _mm512_unpacklo_pd(r[k], r[k + 1]);
    t[k + 1] = _mm512_unpackhi_pd(r[k], r[k + 1]);
  }
  for (int k = 0; k < 8; k += 4) {
    u[k] = _mm512_permutex2var_pd(t[k], low_pairs, t[k + 2]);
    u[k + 1] = _mm512_permutex2var_pd(t[k + 1], low_pairs, t[k + 3]);
    u[k + 2] = _mm512_permutex2var_pd(t[k], high_pairs, t[k + 2]);
    u[k + 3] = _mm512_permutex2var_pd(t[k + 1], high_pairs, t[k + 3]);
  }
  for (int k = 0; k < 4; ++k) {
    r[k] = _mm512_shuffle_f64x2(u[k], u[k + 4], 0x44);
    r[k + 4] = _mm512_shuffle_f64x2(u[k], u[k + 4], 0xEE);
  }
}

QUIVER_FOR_AVX512 void GatherRowsAvx512(const double* from, long long step, int lanes, Lanes* rows,
                                        int count) {
  for (int k = 0; k < count; k += 8) {
    const int width = std::min(8, count - k);
    const auto mask = static_cast<__mmask8>((1 << width) - 1);
    for (int i = 0; i < lanes; i += 8) {
      __m512d block[8];
      for (int n = 0; n < 8; ++n)
        block[n] = _mm512_maskz_loadu_pd(mask, from + step * std::min(i + n, lanes - 1) + k);
      Transpose(block);
      for (int n = 0; n < width; ++n) _mm512_store_pd(rows[k + n].lane + i, block[n]);
    }
  }
}

QUIVER_FOR_AVX512 void ScatterRowsAvx512(const double* const* rows, int count, int lanes, double* to,
                                         long long step) {
  for (int k = 0; k < count; k += 8) {
    const int width = std::min(8, count - k);
    const auto mask = static_cast<__mmask8>((1 << width) - 1);
    for (int i = 0; i < lanes; i += 8) {
      __m512d block[8];
      for (int n = 0; n < 8; ++n)
        block[n] = n < width ? _mm512_loadu_pd(rows[k + n] + i) : _mm512_setzero_pd();
      Transpose(block);
      const int instances = std::min(8, lanes - i);
      for (int n = 0; n < instances; ++n) _mm512_mask_storeu_pd(to + step * (i + n) + k, mask, block[n]);
    }
  }
}
#endif

}  // namespace

void GatherRows(const double* from, long long step, int lanes, Lanes* rows, int count) {
#ifdef QUIVER_WIDE_MACHINES
  if (count > 1 && CurrentMachine() == Machine::kAvx512)
    return GatherRowsAvx512(from, step, lanes, rows, count);
#endif
  GatherRowsPlain(from, step, lanes, rows, count);
}

void ScatterRows(const double* const* rows, int count, int lanes, double* to, long long step) {
#ifdef QUIVER_WIDE_MACHINES
  if (count > 1 && CurrentMachine() == Machine::kAvx512)
    return ScatterRowsAvx512(rows, count, lanes, to, step);
#endif
  ScatterRowsPlain(rows, count, lanes, to, step);
}

}  // namespace quiver
