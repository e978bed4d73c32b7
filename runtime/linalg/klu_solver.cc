// SPDX-License-Identifier: Apache-2.0
#include "runtime/linalg/klu_solver.h"

#include <klu.h>

#include <algorithm>
#include <cmath>

namespace quiver {
namespace {

// Estimated entries of both factors beyond which a factorisation is refused rather than left to swap for
// hours.
constexpr double kMostFactorEntries = 4e8;
// A refactorisation whose reciprocal pivot growth falls below this chooses its pivots anew.
constexpr double kLeastGrowth = 1e-6;

}  // namespace

struct KluSolver::Handles {
  klu_common common;
  klu_symbolic* symbolic = nullptr;
  klu_numeric* numeric = nullptr;

  ~Handles() {
    klu_free_numeric(&numeric, &common);
    klu_free_symbolic(&symbolic, &common);
  }
};

KluSolver::KluSolver() : klu_(std::make_unique<Handles>()) {
  klu_defaults(&klu_->common);
  // True partial pivoting. The library's default of 0.001 prefers the diagonal and lets errors grow without
  // limit along chains of several 10,000 unknowns.
  klu_->common.tol = 1.0;
  klu_->common.scale = -1;  // the base class has scaled the rows
}

KluSolver::~KluSolver() = default;

LinearStatus KluSolver::AnalysePattern() {
  klu_free_numeric(&klu_->numeric, &klu_->common);
  klu_free_symbolic(&klu_->symbolic, &klu_->common);
  klu_->symbolic =
      klu_analyze(pattern_.size, pattern_.column_start.data(), pattern_.row.data(), &klu_->common);
  if (!klu_->symbolic || klu_->symbolic->lnz + klu_->symbolic->unz > kMostFactorEntries) {
    klu_free_symbolic(&klu_->symbolic, &klu_->common);
    return LinearStatus::kTooLarge;
  }
  return LinearStatus::kOk;
}

LinearOutcome KluSolver::FactorScaled(bool keep_pivots) {
  if (!klu_->symbolic) return {.status = LinearStatus::kTooLarge};
  if (!keep_pivots || !klu_->numeric) return FactorAnew();
  int* start = pattern_.column_start.data();
  int* row = pattern_.row.data();
  if (!klu_refactor(start, row, values_.data(), klu_->symbolic, klu_->numeric, &klu_->common) ||
      klu_->common.status != KLU_OK ||
      !klu_rgrowth(start, row, values_.data(), klu_->symbolic, klu_->numeric, &klu_->common) ||
      !(klu_->common.rgrowth > kLeastGrowth)) {
    return FactorAnew();
  }
  LinearOutcome outcome = Judge();
  // What looks singular with old pivots need not be.
  return outcome.status == LinearStatus::kSingular ? FactorAnew() : outcome;
}

LinearOutcome KluSolver::FactorAnew() {
  klu_free_numeric(&klu_->numeric, &klu_->common);
  klu_->numeric = klu_factor(pattern_.column_start.data(), pattern_.row.data(), values_.data(),
                             klu_->symbolic, &klu_->common);
  if (klu_->common.status == KLU_SINGULAR) {
    klu_free_numeric(&klu_->numeric, &klu_->common);
    return {
        .status = LinearStatus::kSingular, .column = klu_->common.singular_col, .reciprocal_condition = 0.0};
  }
  if (!klu_->numeric) return {.status = LinearStatus::kTooLarge};
  return Judge();
}

LinearOutcome KluSolver::Judge() {
  const auto* pivots = static_cast<const double*>(klu_->numeric->Udiag);
  for (int k = 0; k < pattern_.size; ++k) {
    const int column = klu_->symbolic->Q[k];
    double original = 0.0;
    for (int p = pattern_.column_start[column]; p < pattern_.column_start[column + 1]; ++p) {
      original = std::max(original, std::abs(values_[p]));
    }
    if (!(std::abs(pivots[k]) > kNoPivot * original)) {
      return {.status = LinearStatus::kSingular, .column = column, .reciprocal_condition = 0.0};
    }
  }
  LinearOutcome outcome;
  if (klu_rcond(klu_->symbolic, klu_->numeric, &klu_->common)) {
    outcome.reciprocal_condition = klu_->common.rcond;
  }
  if (outcome.reciprocal_condition < kSuspectCondition &&
      klu_condest(pattern_.column_start.data(), values_.data(), klu_->symbolic, klu_->numeric,
                  &klu_->common)) {
    outcome.reciprocal_condition = 1.0 / klu_->common.condest;
  }
  if (!(outcome.reciprocal_condition > kLeastCondition)) outcome.status = LinearStatus::kIllConditioned;
  return outcome;
}

void KluSolver::Substitute(std::span<double> b) {
  klu_solve(klu_->symbolic, klu_->numeric, pattern_.size, 1, b.data(), &klu_->common);
}

}  // namespace quiver
