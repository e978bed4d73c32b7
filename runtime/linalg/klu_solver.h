// SPDX-License-Identifier: Apache-2.0
// Sparse elimination by KLU (SuiteSparse), for large blocks and whole flowsheets.
//
//   KluSolver solver;  solver.Analyse(pattern);  solver.Factor(values);  solver.Solve(b);
#ifndef QUIVER_RUNTIME_LINALG_KLU_SOLVER_H_
#define QUIVER_RUNTIME_LINALG_KLU_SOLVER_H_

#include <memory>

#include "runtime/linalg/linear_solver.h"

namespace quiver {

class KluSolver : public LinearSolver {
 public:
  KluSolver();
  ~KluSolver() override;

 protected:
  LinearStatus AnalysePattern() override;
  LinearOutcome FactorScaled(bool keep_pivots) override;
  void Substitute(std::span<double> b) override;

 private:
  struct Handles;

  LinearOutcome FactorAnew();
  LinearOutcome Judge();

  std::unique_ptr<Handles> klu_;
};

}  // namespace quiver

#endif  // QUIVER_RUNTIME_LINALG_KLU_SOLVER_H_
