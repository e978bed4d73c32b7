// SPDX-License-Identifier: Apache-2.0
// Minimum and products of arrays.
#include <algorithm>
#include <numeric>

#include "routines/routine_arguments.h"

using quiver::routines::Failure;

// PMIN(x, n): the smallest of the first n elements of x. Of equal elements the first is meant: it alone has
// the derivative 1. Fails unless 1 <= n <= the size of x.
ROUTINE(ZX40RM_sppmin, "r[n]* i* -> r") {
  const auto x = call.RealArray(0);
  const long long n = call.Integer(1);
  if (n < 1 || n > std::ssize(x)) return call.Fail(Failure::kOutOfRange, 1);
  const auto smallest = std::min_element(x.begin(), x.begin() + n);
  call.SetOutput(0, *smallest);
  if (call.WantsDerivatives()) call.SetDerivative(0, smallest - x.begin(), 1.0);
}

// PMULT2D(A, x) = A x, a matrix of m rows and n columns times a vector of n elements. Fails where the sizes
// disagree.
ROUTINE(ZX40RM_spmatr, "r[n,n]* r[n]* -> r[n]") {
  const auto a = call.Matrix(0);
  const auto x = call.RealArray(1);
  if (a.columns != std::ssize(x) || a.rows != call.OutputElements(0)) return call.Fail(Failure::kSizes, 1);
  const long long first_x = call.InputIndex(1);
  for (long long row = 0; row < a.rows; ++row) {
    double sum = 0;
    for (long long column = 0; column < a.columns; ++column) sum += a(row, column) * x[column];
    call.SetOutput(0, row, sum);
    if (!call.WantsDerivatives()) continue;
    for (long long column = 0; column < a.columns; ++column) {
      call.SetDerivative(row, row * a.columns + column, x[column]);
      call.SetDerivative(row, first_x + column, a(row, column));
    }
  }
}

// PPROD(x, A) = x A, a vector of m elements times a matrix of m rows and n columns; the order of the
// arguments is that of the factors. Returns no derivatives. Fails where the sizes disagree.
ROUTINE(ZX40RM_spprod, "r[n]* r[n,n]* -> r[n]") {
  const auto x = call.RealArray(0);
  const auto a = call.Matrix(1);
  if (a.rows != std::ssize(x) || a.columns != call.OutputElements(0)) return call.Fail(Failure::kSizes, 1);
  for (long long column = 0; column < a.columns; ++column) {
    double sum = 0;
    for (long long row = 0; row < a.rows; ++row) sum += x[row] * a(row, column);
    call.SetOutput(0, column, sum);
  }
}

// PPROD1(x, y): the scalar product of two vectors. Returns no derivatives. Fails where the sizes disagree.
ROUTINE(ZX40RM_spprd1, "r[n]* r[n]* -> r") {
  const auto x = call.RealArray(0), y = call.RealArray(1);
  if (x.size() != y.size()) return call.Fail(Failure::kSizes, 1);
  call.SetOutput(0, std::inner_product(x.begin(), x.end(), y.begin(), 0.0));
}
