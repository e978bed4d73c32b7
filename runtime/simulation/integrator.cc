// SPDX-License-Identifier: Apache-2.0
#include "runtime/simulation/integrator.h"

#include <fmt/format.h>
#include <ida/ida.h>
#include <nvector/nvector_serial.h>
#include <sunlinsol/sunlinsol_klu.h>
#include <sunmatrix/sunmatrix_sparse.h>

#include <algorithm>

#include "runtime/contract/error.h"

namespace quiver {

struct Integrator::Memory {
  SUNContext context = nullptr;
  N_Vector y = nullptr, slope = nullptr, tolerances = nullptr, differential = nullptr;
  SUNMatrix matrix = nullptr;
  SUNLinearSolver solver = nullptr;
  void* ida = nullptr;
  std::string message;  // the library's own, of its last fault

  ~Memory() {
    if (ida) IDAFree(&ida);
    if (solver) SUNLinSolFree(solver);
    if (matrix) SUNMatDestroy(matrix);
    for (N_Vector vector : {y, slope, tolerances, differential})
      if (vector) N_VDestroy(vector);
    if (context) SUNContext_Free(&context);
  }
};

namespace {

// The library's protocol: 0 done, 1 try a shorter step, -1 give up. Nothing may be thrown through it.
template <class Call>
int Guarded(Call call) {
  try {
    return call() ? 0 : 1;
  } catch (...) {
    return -1;
  }
}

DynamicProblem& ProblemOf(void* data) { return *static_cast<DynamicProblem*>(data); }

int Residual(realtype t, N_Vector y, N_Vector slope, N_Vector residual, void* data) {
  return Guarded([&] {
    return ProblemOf(data).Residual(t, N_VGetArrayPointer(y), N_VGetArrayPointer(slope),
                                    N_VGetArrayPointer(residual));
  });
}

int Jacobian(realtype t, realtype factor, N_Vector y, N_Vector, N_Vector, SUNMatrix matrix, void* data,
             N_Vector, N_Vector, N_Vector) {
  return Guarded([&] {
    const RowPattern& pattern = ProblemOf(data).Pattern();
    std::copy(pattern.start.begin(), pattern.start.end(), SUNSparseMatrix_IndexPointers(matrix));
    std::copy(pattern.column.begin(), pattern.column.end(), SUNSparseMatrix_IndexValues(matrix));
    return ProblemOf(data).Jacobian(t, factor, N_VGetArrayPointer(y), SUNSparseMatrix_Data(matrix));
  });
}

int Roots(realtype t, N_Vector y, N_Vector, realtype* roots, void* data) {
  return Guarded([&] {
    ProblemOf(data).Roots(t, N_VGetArrayPointer(y), roots);
    return true;
  });
}

void KeepMessage(int code, const char*, const char*, char* message, void* kept) {
  if (code < 0) *static_cast<std::string*>(kept) = message;
}

void Expect(bool good) {
  if (!good) throw Error("the integrator cannot be set up: not enough memory");
}

}  // namespace

Integrator::Integrator(DynamicProblem& problem, const IntegratorOptions& options)
    : problem_(problem), memory_(std::make_unique<Memory>()) {
  const int size = problem.Size();
  y_.resize(static_cast<size_t>(size));
  roots_.resize(static_cast<size_t>(problem.RootCount()));
  Memory& m = *memory_;
  Expect(SUNContext_Create(nullptr, &m.context) == 0);
  for (N_Vector* vector : {&m.y, &m.slope, &m.tolerances, &m.differential})
    Expect((*vector = N_VNew_Serial(size, m.context)) != nullptr);
  for (int i = 0; i < size; ++i) {
    N_VGetArrayPointer(m.tolerances)[i] = options.tolerance * problem.Scale(i);
    N_VGetArrayPointer(m.differential)[i] = problem.IsDifferential(i) ? 1 : 0;
  }
  const auto entries = static_cast<sunindextype>(problem.Pattern().column.size());
  Expect((m.matrix = SUNSparseMatrix(size, size, entries, CSR_MAT, m.context)) != nullptr);
  Expect((m.solver = SUNLinSol_KLU(m.y, m.matrix, m.context)) != nullptr);
  SUNLinSol_KLUGetCommon(m.solver)->tol = 1.0;  // its own threshold loses all digits on long chains
  Expect((m.ida = IDACreate(m.context)) != nullptr);
  Expect(IDASetErrHandlerFn(m.ida, KeepMessage, &m.message) == IDA_SUCCESS);
  Expect(IDAInit(m.ida, Residual, 0, m.y, m.slope) == IDA_SUCCESS);
  Expect(IDASVtolerances(m.ida, options.tolerance, m.tolerances) == IDA_SUCCESS);
  Expect(IDASetUserData(m.ida, &problem_) == IDA_SUCCESS);
  Expect(IDASetId(m.ida, m.differential) == IDA_SUCCESS);
  Expect(IDASetSuppressAlg(m.ida, SUNTRUE) == IDA_SUCCESS);
  Expect(IDASetMaxNumSteps(m.ida, options.max_steps) == IDA_SUCCESS);
  Expect(IDASetLinearSolver(m.ida, m.solver, m.matrix) == IDA_SUCCESS);
  Expect(IDASetJacFn(m.ida, Jacobian) == IDA_SUCCESS);
  if (problem.RootCount() > 0) Expect(IDARootInit(m.ida, problem.RootCount(), Roots) == IDA_SUCCESS);
  IDASetNoInactiveRootWarn(m.ida);
}

Integrator::~Integrator() = default;

void Integrator::Start(double t, std::span<const double> y, std::span<const double> slope) {
  Memory& m = *memory_;
  earlier_steps_ = steps();
  std::copy(y.begin(), y.end(), N_VGetArrayPointer(m.y));
  std::copy(slope.begin(), slope.end(), N_VGetArrayPointer(m.slope));
  std::copy(y.begin(), y.end(), y_.begin());
  t_ = t;
  IDAReInit(m.ida, t, m.y, m.slope);
}

Integrator::Stop Integrator::Advance(double until) {
  if (until <= t_) return kReached;
  Memory& m = *memory_;
  m.message.clear();
  IDASetStopTime(m.ida, until);
  double reached = t_;
  const int result = IDASolve(m.ida, until, &reached, m.y, m.slope, IDA_NORMAL);
  t_ = reached;
  TakeState();
  if (result >= 0) {
    if (result != IDA_ROOT_RETURN) return kReached;
    IDAGetRootInfo(m.ida, roots_.data());
    return kRoot;
  }
  failure_ = m.message.empty() ? fmt::format("the integrator stopped with {}", result) : m.message;
  return kFailed;
}

void Integrator::TakeState() {
  const double* y = N_VGetArrayPointer(memory_->y);
  std::copy(y, y + y_.size(), y_.begin());
}

int Integrator::steps() const {
  long steps = 0;
  IDAGetNumSteps(memory_->ida, &steps);
  return static_cast<int>(earlier_steps_ + steps);
}

}  // namespace quiver
