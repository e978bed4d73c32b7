// SPDX-License-Identifier: Apache-2.0
// What an integrator needs to know of a system that changes over time, F(t, y, y') = 0, and nothing of where it comes from.
#pragma once

#include <span>
#include <vector>

namespace quiver {

// Rows of a sparse matrix: the columns of row i are column[start[i]] .. column[start[i + 1] - 1], ascending.
struct RowPattern {
  std::vector<int> start, column;
};

class DynamicProblem {
 public:
  virtual ~DynamicProblem() = default;

  virtual int Size() const = 0;
  // Whether the slope of y[i] occurs in F; the others are algebraic.
  virtual bool IsDifferential(int i) const = 0;
  // What counts as nothing of y[i], before the tolerance; > 0.
  virtual double Scale(int i) const = 0;
  virtual const RowPattern& Pattern() const = 0;

  // False where F has no finite value: the integrator tries a shorter step.
  virtual bool Residual(double t, const double* y, const double* slope, double* residual) = 0;
  // dF/dy + factor dF/dy', in the order of the pattern.
  virtual bool Jacobian(double t, double factor, const double* y, double* entries) = 0;

  // Functions whose change of sign ends a step there. They may jump.
  virtual int RootCount() const = 0;
  virtual void Roots(double t, const double* y, double* roots) = 0;
};

}  // namespace quiver
