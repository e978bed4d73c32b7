// SPDX-License-Identifier: Apache-2.0
// Solution of square linear systems behind one interface; every implementation passes the same conformance
// tests.
//
//   auto solver = MakeLinearSolver(pattern.size);
//   solver->Analyse(pattern);                                   // 1. once per pattern
//   if (solver->Factor(values).status != LinearStatus::kOk) ...  // 2. for every matrix; Refactor when it
//   changed little solver->Solve(b);                                           // 3. b becomes x, any number
//   of times
#ifndef QUIVER_RUNTIME_LINALG_LINEAR_SOLVER_H_
#define QUIVER_RUNTIME_LINALG_LINEAR_SOLVER_H_

#include <memory>
#include <span>
#include <vector>

#include "runtime/linalg/sparse_matrix.h"

namespace quiver {

enum class LinearStatus {
  kOk,
  kSingular,        // no solution was computed; `column` tells where elimination found no pivot
  kIllConditioned,  // factors exist, but few or no digits of a solution are certain
  kTooLarge,        // the factors would not fit into memory
};

struct LinearOutcome {
  LinearStatus status = LinearStatus::kOk;
  int column = -1;                    // of a singular matrix: depends on the other columns
  double reciprocal_condition = 1.0;  // estimate, after scaling of the rows
  double backward_error = 0.0;        // of Solve: largest |b - A x| relative to |A| |x| + |b|, row by row
};

// Scales the rows, keeps the matrix and refines each solution once; derived classes only eliminate and
// substitute.
class LinearSolver {
 public:
  virtual ~LinearSolver() = default;

  LinearOutcome Analyse(SparsePattern pattern);
  // `values` is parallel to the pattern's rows; it is copied.
  LinearOutcome Factor(std::span<const double> values);
  // As Factor, but keeps the pivot order of the last Factor as long as that is sound.
  LinearOutcome Refactor(std::span<const double> values);
  // Requires factors (kOk or kIllConditioned).
  LinearOutcome Solve(std::span<double> b);

  const SparsePattern& Pattern() const { return pattern_; }

 protected:
  virtual LinearStatus AnalysePattern() = 0;
  virtual LinearOutcome FactorScaled(bool keep_pivots) = 0;
  virtual void Substitute(std::span<double> b) = 0;

  // A pivot below this share of its column is rounding error, not information.
  static constexpr double kNoPivot = 1e-15;
  // Below this the matrix is reported as ill-conditioned.
  static constexpr double kLeastCondition = 1e-14;
  // A cheap ratio of pivots below this is worth a proper estimate.
  static constexpr double kSuspectCondition = 1e-11;

  SparsePattern pattern_;
  std::vector<double> values_;  // rows scaled; parallel to pattern_.row

 private:
  LinearOutcome ScaleAndFactor(std::span<const double> values, bool keep_pivots);

  std::vector<double> row_scale_;  // powers of two, so that scaling rounds nothing
  std::vector<double> right_side_, residual_, magnitude_;
};

// Dense elimination up to this size, sparse elimination above.
inline constexpr int kLargestDense = 24;

std::unique_ptr<LinearSolver> MakeLinearSolver(int size);

}  // namespace quiver

#endif  // QUIVER_RUNTIME_LINALG_LINEAR_SOLVER_H_
