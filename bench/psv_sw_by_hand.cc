// SPDX-License-Identifier: Apache-2.0
#include "bench/psv_sw_by_hand.h"

#include "runtime/evaluation/stream_copy.h"
#include "runtime/expression/machine.h"

// The C library's vector versions, where there are any.
#if defined(__GLIBC__) && defined(__x86_64__) && !defined(__clang__)
#define QUIVER_VECTOR_FUNCTION __attribute__((simd("notinbranch"), const, nothrow))
#else
#define QUIVER_VECTOR_FUNCTION
#endif
extern "C" {
QUIVER_VECTOR_FUNCTION double log(double) noexcept;
QUIVER_VECTOR_FUNCTION double pow(double, double) noexcept;
}

namespace quiver::bench {
namespace {

struct VectorMath {
  static double Log(double a) { return ::log(a); }
  static double Pow(double a, double b) { return ::pow(a, b); }
  static double Sqrt(double a) { return __builtin_sqrt(a); }
};

[[gnu::always_inline]] inline void Block(const double* x, double* residuals, double* entries) {
#pragma GCC ivdep
  for (int i = 0; i < kBlock; ++i) {
    PsvSw<VectorMath>([&](int k) { return x[k * kBlock + i]; },
                      [&](int e, double r) { residuals[e * kBlock + i] = r; },
                      [&](int k, double j) { entries[k * kBlock + i] = j; });
  }
}
void BlockBaseline(const double* x, double* residuals, double* entries) { Block(x, residuals, entries); }
#ifdef QUIVER_WIDE_MACHINES
QUIVER_FOR_AVX2 void BlockAvx2(const double* x, double* residuals, double* entries) {
  Block(x, residuals, entries);
}
QUIVER_FOR_AVX512 void BlockAvx512(const double* x, double* residuals, double* entries) {
  Block(x, residuals, entries);
}
#endif

[[gnu::always_inline]] inline void NewtonBlock(const double* x, double* x_new) {
#pragma GCC ivdep
  for (int i = 0; i < kBlock; ++i) {
    PsvSwNewton<VectorMath>([&](int k) { return x[k * kBlock + i]; },
                            [&](int k, double value) { x_new[k * kBlock + i] = value; });
  }
}
void NewtonBaseline(const double* x, double* x_new) { NewtonBlock(x, x_new); }
#ifdef QUIVER_WIDE_MACHINES
QUIVER_FOR_AVX2 void NewtonAvx2(const double* x, double* x_new) { NewtonBlock(x, x_new); }
QUIVER_FOR_AVX512 void NewtonAvx512(const double* x, double* x_new) { NewtonBlock(x, x_new); }
#endif

}  // namespace

void PsvSwScalar(int copies, const double* x, double* residuals, double* entries) {
  for (int i = 0; i < copies; ++i) {
    PsvSw<LibraryMath>([&](int k) { return x[k]; }, [&](int e, double r) { residuals[e] = r; },
                       [&](int k, double j) { entries[k] = j; });
    x += kPsvSwVariables;
    residuals += kPsvSwEquations;
    entries += kPsvSwEntries;
  }
}

void PsvSwVector(int copies, const double* x, double* residuals, double* entries, bool streamed) {
  auto* block = BlockBaseline;
#ifdef QUIVER_WIDE_MACHINES
  if (WidestMachine() == Machine::kAvx512) block = BlockAvx512;
  if (WidestMachine() == Machine::kAvx2) block = BlockAvx2;
#endif
  alignas(64) double r[kPsvSwEquations * kBlock], j[kPsvSwEntries * kBlock];
  for (int first = 0; first < copies; first += kBlock) {
    if (streamed) {
      block(x, r, j);
      StreamCopy(r, kPsvSwEquations * kBlock, residuals);
      StreamCopy(j, kPsvSwEntries * kBlock, entries);
    } else {
      block(x, residuals, entries);
    }
    x += kPsvSwVariables * kBlock;
    residuals += kPsvSwEquations * kBlock;
    entries += kPsvSwEntries * kBlock;
  }
  if (streamed) FinishStreaming();
}

void PsvSwNewtonScalar(int copies, const double* __restrict x, double* __restrict x_new) {
  for (int i = 0; i < copies; ++i, x += kPsvSwVariables, x_new += kPsvSwVariables)
    PsvSwNewton<LibraryMath>([&](int k) { return x[k]; }, [&](int k, double value) { x_new[k] = value; });
}

void PsvSwNewtonVector(int copies, const double* x, double* x_new) {
  auto* block = NewtonBaseline;
#ifdef QUIVER_WIDE_MACHINES
  if (WidestMachine() == Machine::kAvx512) block = NewtonAvx512;
  if (WidestMachine() == Machine::kAvx2) block = NewtonAvx2;
#endif
  for (int first = 0; first < copies; first += kBlock) {
    block(x, x_new);
    x += kPsvSwVariables * kBlock;
    x_new += kPsvSwVariables * kBlock;
  }
}

}  // namespace quiver::bench
