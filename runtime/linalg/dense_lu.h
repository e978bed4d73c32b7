// SPDX-License-Identifier: Apache-2.0
// Dense elimination with partial pivoting, for the many small blocks of a flowsheet.
//
//   DenseLu solver;  solver.Analyse(pattern);  solver.Factor(values);  solver.Solve(b);
#ifndef QUIVER_RUNTIME_LINALG_DENSE_LU_H_
#define QUIVER_RUNTIME_LINALG_DENSE_LU_H_

#include "runtime/linalg/linear_solver.h"

namespace quiver {

class DenseLu : public LinearSolver {
 protected:
  LinearStatus AnalysePattern() override;
  LinearOutcome FactorScaled(bool keep_pivots) override;
  void Substitute(std::span<double> b) override;

 private:
  double InverseNorm();

  std::vector<double> lu_;  // columns one after another
  std::vector<int> pivot_;  // row exchanged with row k in step k
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_LINALG_DENSE_LU_H_
