// SPDX-License-Identifier: Apache-2.0
#include "runtime/solve/kinsol_method.h"

#include <kinsol/kinsol.h>
#include <nvector/nvector_serial.h>
#include <sunlinsol/sunlinsol_klu.h>
#include <sunmatrix/sunmatrix_sparse.h>

#include <algorithm>
#include <cmath>

#include "runtime/solve/block_system.h"

namespace quiver {
namespace {

constexpr int kMostRuns = 30;  // with alternatives or weights that changed
constexpr double kLeastStep = 1e-13;
// Its own limit is a multiple of the start's length, and starts of 0 are common.
constexpr double kLongestStep = 1e12;

// One block under KINSOL's hands. Everything of SUNDIALS is freed with it.
class Run {
 public:
  Run(BlockSystem& system, const SolveOptions& options, std::span<double> x)
      : system_(system), options_(options), x_(x), n_(system.Size()) {
    SUNContext_Create(nullptr, &context_);
    for (N_Vector* vector : {&u_, &u_scale_, &f_scale_, &constraints_}) *vector = N_VNew_Serial(n_, context_);
    memory_ = KINCreate(context_);
    KINInit(memory_, &Run::Residuals, u_);
    KINSetUserData(memory_, this);
    KINSetErrHandlerFn(
        memory_, [](int, const char*, const char*, char*, void*) {}, nullptr);
    matrix_ = SUNSparseMatrix(n_, n_, std::max(system.Pattern().EntryCount(), 1), CSC_MAT, context_);
    solver_ = SUNLinSol_KLU(u_, matrix_, context_);
    SUNLinSol_KLUGetCommon(solver_)->tol =
        1.0;  // true partial pivoting, for the reason given in klu_solver.cc
    KINSetLinearSolver(memory_, solver_, matrix_);
    KINSetJacFn(memory_, &Run::Jacobian);
    KINSetMaxSetupCalls(memory_, 1);
    KINSetFuncNormTol(memory_, options.residual_tolerance);
    KINSetScaledStepTol(memory_, kLeastStep);
    KINSetMaxNewtonStep(memory_, kLongestStep);
    KINSetNumMaxIters(memory_, options.max_iterations);
  }
  ~Run() {
    KINFree(&memory_);
    SUNLinSolFree(solver_);
    SUNMatDestroy(matrix_);
    for (N_Vector vector : {u_, u_scale_, f_scale_, constraints_}) N_VDestroy(vector);
    SUNContext_Free(&context_);
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  BlockResult Solve() {
    BlockResult result;
    system_.MoveIntoBounds(x_);
    NonlinearProblem& problem = system_.Problem();
    problem.DecideAlternatives(system_.Conditional(), x_.data());
    result.outcome = SolveOutcome::kStalled;
    for (int run = 0; run < kMostRuns; ++run) {
      if (!system_.Evaluate(x_)) {
        result.outcome = SolveOutcome::kFault;
        break;
      }
      Prepare();
      const int flag = KINSol(memory_, u_, KIN_LINESEARCH, u_scale_, f_scale_);
      long iterations = 0;
      KINGetNumNonlinSolvIters(memory_, &iterations);
      result.iterations += static_cast<int>(iterations);
      Take(N_VGetArrayPointer(u_));
      if (!system_.Evaluate(x_)) {
        result.outcome = SolveOutcome::kFault;
        break;
      }
      const bool changed = problem.DecideAlternatives(system_.Conditional(), x_.data()) > 0;
      if (changed) continue;
      int row = 0;
      const bool solved = system_.WorstResidual(&row) <= options_.residual_tolerance;
      // Judged by the weights of the solution, which may be finer than those it started with.
      if (solved) result.outcome = SolveOutcome::kConverged;
      if (solved || flag < 0 || iterations == 0) break;
    }
    system_.Conclude(result, x_);
    return result;
  }

 private:
  void Prepare() {
    double* u = N_VGetArrayPointer(u_);
    double* constraint = N_VGetArrayPointer(constraints_);
    for (int j = 0; j < n_; ++j) {
      u[j] = x_[system_.Unknowns()[j]];
      N_VGetArrayPointer(u_scale_)[j] = 1.0 / system_.Magnitude(j, u[j]);
      const double terms = std::max(system_.Terms()[j], std::abs(system_.Residuals()[j]));
      N_VGetArrayPointer(f_scale_)[j] = terms > 0.0 ? 1.0 / terms : 1.0;
      constraint[j] = system_.Lower()[j] == 0.0 ? 1.0 : system_.Upper()[j] == 0.0 ? -1.0 : 0.0;
    }
    KINSetConstraints(memory_, constraints_);
  }

  void Take(const double* u) {
    for (int j = 0; j < n_; ++j) x_[system_.Unknowns()[j]] = u[j];
    system_.MoveIntoBounds(x_);
  }

  bool EvaluateAt(N_Vector u) {
    Take(N_VGetArrayPointer(u));
    return system_.Evaluations() < options_.max_evaluations && system_.Evaluate(x_);
  }

  // 0 done, 1 KINSOL may try a shorter step.
  static int Residuals(N_Vector u, N_Vector f, void* data) {
    auto& run = *static_cast<Run*>(data);
    if (!run.EvaluateAt(u)) return 1;
    std::copy(run.system_.Residuals().begin(), run.system_.Residuals().end(), N_VGetArrayPointer(f));
    return 0;
  }

  static int Jacobian(N_Vector u, N_Vector, SUNMatrix matrix, void* data, N_Vector, N_Vector) {
    auto& run = *static_cast<Run*>(data);
    if (!run.EvaluateAt(u)) return 1;
    const SparsePattern& pattern = run.system_.Pattern();
    SUNMatZero(matrix);
    std::copy(pattern.column_start.begin(), pattern.column_start.end(), SM_INDEXPTRS_S(matrix));
    std::copy(pattern.row.begin(), pattern.row.end(), SM_INDEXVALS_S(matrix));
    std::copy(run.system_.Jacobian().begin(), run.system_.Jacobian().end(), SM_DATA_S(matrix));
    return 0;
  }

  BlockSystem& system_;
  const SolveOptions& options_;
  std::span<double> x_;
  const int n_;
  SUNContext context_ = nullptr;
  void* memory_ = nullptr;
  N_Vector u_ = nullptr, u_scale_ = nullptr, f_scale_ = nullptr, constraints_ = nullptr;
  SUNMatrix matrix_ = nullptr;
  SUNLinearSolver solver_ = nullptr;
};

}  // namespace

BlockResult KinsolMethod::Solve(BlockSystem& system, const SolveOptions& options, std::span<double> x) {
  return Run(system, options, x).Solve();
}

}  // namespace quiver
