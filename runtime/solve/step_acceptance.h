// SPDX-License-Identifier: Apache-2.0
// When a share of a Newton step is worth taking, for one block as for many side by side. The merit is the squared norm of the
// weighted residuals.
//
//   if (HasDecreased(merit, merit_before, share)) return true;
//   if (merit < kLargestRise * merit_before && LeadsOn(correction_norm, step_norm, share)) return true;
#ifndef QUIVER_RUNTIME_SOLVE_STEP_ACCEPTANCE_H_
#define QUIVER_RUNTIME_SOLVE_STEP_ACCEPTANCE_H_

namespace quiver {

inline constexpr double kSufficientDecrease = 1e-4;  // of what the linearised equations promise
inline constexpr double kLargestRise = 25.0;

inline bool HasDecreased(double merit, double before, double share) {
  return merit <= (1.0 - 2.0 * kSufficientDecrease * share) * before;
}

// Whether what is left, by the factors of the step that led here, is a much smaller step: then a larger residual may pass.
inline bool LeadsOn(double correction_norm, double step_norm, double share) {
  return correction_norm <= (1.0 - 0.25 * share) * step_norm;
}

}  // namespace quiver

#endif  // QUIVER_RUNTIME_SOLVE_STEP_ACCEPTANCE_H_
