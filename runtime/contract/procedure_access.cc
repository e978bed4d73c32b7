// SPDX-License-Identifier: Apache-2.0
#include "runtime/contract/procedure_access.h"

#include <algorithm>
#include <vector>

#include "runtime/contract/host_access.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/procedure_fault.h"

namespace quiver {
namespace {

// The protected members of the procedure's host side, named from a class derived from it.
struct Access : QV_ProcedureType_F {
  static QV_VarParam** ElementList(const QV_ProcedureType_F& p) { return p.*(&Access::Elements); }
  static long long Inputs(const QV_ProcedureType_F& p) { return p.*(&Access::InputElements); }
  static long long Outputs(const QV_ProcedureType_F& p) { return p.*(&Access::OutputElements); }
  static long long Variables(const QV_ProcedureType_F& p) { return p.*(&Access::VariableElements); }
  static double* Returned(const QV_ProcedureType_F& p) { return p.*(&Access::Derivatives); }
  static long long Leading(const QV_ProcedureType_F& p) { return p.*(&Access::DerivativeDimension); }
};

bool IsVariable(const QV_VarParam& element) {
  return HostAccess::HasFlag(element, HostAccess::kVariableFlag);
}

// While it lives, running_routine names the procedure's.
class Running {
 public:
  explicit Running(QV_ProcedureType& procedure) {
    running_routine.routine = procedure.ProcedureName();
    running_routine.library = procedure.DLLName();
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() { running_routine.routine = nullptr; }
};

ProcedureElements ListOf(const QV_ProcedureType_F& p) {
  return {Access::ElementList(p), Access::Inputs(p), Access::Outputs(p)};
}

}  // namespace

ProcedureElements ElementsOf(QV_ProcedureType& procedure) {
  const auto* const p = dynamic_cast<const QV_ProcedureType_F*>(&procedure);
  return p && Access::ElementList(*p) ? ListOf(*p) : ProcedureElements{};
}

void BindElements(QV_ProcedureType& procedure, std::span<QV_VarParam* const> elements) {
  const auto& p = static_cast<const QV_ProcedureType_F&>(procedure);
  std::copy(elements.begin(), elements.end(), Access::ElementList(p));
}

bool EvaluateProcedure(QV_ProcedureType& procedure, double* residuals, double* rows) {
  auto& p = static_cast<QV_ProcedureType_F&>(procedure);
  const Running running(procedure);
  int i = 0;
  const int status = procedure.Residuals(residuals, i);
  if (TakeOutOfMemory()) throw std::bad_alloc();
  if (status < 0) return false;
  if (!rows) return true;

  const ProcedureElements list = ListOf(p);
  std::fill_n(rows, list.outputs * list.Count(), 0.0);
  for (long long j = 0; j < list.outputs; ++j) rows[j * list.Count() + list.inputs + j] = 1.0;
  if (procedure.ReturnsDerivatives()) {
    // Left by the call for the residuals, with their sign; a column per input value, constants among them.
    const long long leading = Access::Leading(p);
    const double* column = Access::Returned(p);
    long long e = 0;
    for (int argument = 0; argument < p.InputArguments(); ++argument) {
      if (p.ArgumentConstant(argument)) {
        column += leading;
        continue;
      }
      for (const long long end = e + p.ArgumentElements(argument); e < end; ++e, column += leading) {
        if (!IsVariable(*list.elements[e])) continue;
        for (long long j = 0; j < list.outputs; ++j) rows[j * list.Count() + e] = column[j];
      }
    }
    return true;
  }

  const long long stride = Access::Variables(p) + 1;
  thread_local std::vector<double> jacobian;
  jacobian.resize(static_cast<size_t>(list.outputs * stride));
  i = 0;
  const int jacobian_status = procedure.Jacobian(jacobian.data(), i);
  if (jacobian_status == kQvOutOfMemory || TakeOutOfMemory()) throw std::bad_alloc();
  if (jacobian_status < 0) return false;
  long long column = 1;
  for (long long e = 0; e < list.inputs; ++e) {
    if (!IsVariable(*list.elements[e])) continue;
    for (long long j = 0; j < list.outputs; ++j)
      rows[j * list.Count() + e] = jacobian[static_cast<size_t>(j * stride + column)];
    ++column;
  }
  return true;
}

}  // namespace quiver
