// SPDX-License-Identifier: Apache-2.0
// What the slopes at a point tell: equations that cannot be evaluated there, terms of very large or small size,
// unknowns that no equation feels, and pairs of equations that say nearly the same.
//
//   for (Finding& finding : CheckJacobian(problem, x, "at the start")) Print(finding.what);
//
// Slopes are weighed as the solver does: each column by the magnitude of its unknown, each row by the sum of its terms.
#pragma once

#include <span>

#include "runtime/diagnosis/finding.h"
#include "runtime/solve/nonlinear_problem.h"

namespace quiver {

struct JacobianCheckOptions {
  double parallel = 1e-6;  // two weighed rows that differ by less than this say nearly the same
  double unfelt = 1e-9;    // largest weighed slope of an unknown that no equation feels
  double largest_term =
      1e10;  // a row whose terms add up to more, or to less than the reciprocal, is badly scaled
  int most_of_a_kind = 20;
};

// Evaluates every equation on its own, with its alternatives decided at x.
std::vector<Finding> CheckJacobian(NonlinearProblem& problem, std::span<const double> x,
                                   const std::string& when, const JacobianCheckOptions& options = {});

}  // namespace quiver
