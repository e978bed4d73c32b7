// SPDX-License-Identifier: Apache-2.0
// The wrapper of a numerical routine as a procedure of the equation language, one instance per procedure class:
//
//   class QVProc_PSQRT : public QV_ProcedureTemplate<QVProc_PSQRT, 1, 1, 0, QV_ProcedureType_F, 1> { ... };
//
// The class says which routine of which library, and what its arguments are; everything else is here, in three layers:
// procedure_arguments.h collects the argument list, procedure_packing.h packs and unpacks, procedure_body.h calls and
// differentiates and creates the equations.
#pragma once

#include "procedures/procedure_body.h"

// In, Out: numbers of arguments. Dims: array dimensions over all of them. Variant: 1, 2 or 4, as the
// catalogue has it.
template <class Class, int In, int Out, int Dims, class Base, int Variant>
class QV_ProcedureTemplate : public quiver::ProcedureBody<Base> {
  static_assert(In >= 0 && Out > 0 && Dims >= 0);
  static_assert(Variant == 1 || Variant == 2 || Variant == 4);

 public:
  static constexpr int InputArgs() { return In; }
  static constexpr int OutputArgs() { return Out; }
  static constexpr int TotalArgs() { return In + Out; }

  QV_ProcedureTemplate() : quiver::ProcedureBody<Base>(Tables()) {}
  QV_ProcedureTemplate(const QV_ProcedureTemplate& other) : quiver::ProcedureBody<Base>(other, Tables()) {
    CopyTables(other);
  }
  QV_ProcedureTemplate& operator=(const QV_ProcedureTemplate& other) {
    if (this == &other) return *this;
    quiver::ProcedureBody<Base>::operator=(other);
    CopyTables(other);
    return *this;
  }

 private:
  quiver::ProcedureTables Tables() {
    return {sizes_, offsets_, counts_, constants_, by_reference_, arrays_, types_, In, In + Out, Dims};
  }
  void CopyTables(const QV_ProcedureTemplate& other) {
    for (int i = 0; i < Dims; ++i) sizes_[i] = other.sizes_[i];
    for (int i = 0; i < TotalArgs(); ++i) {
      offsets_[i] = other.offsets_[i];
      counts_[i] = other.counts_[i];
      constants_[i] = other.constants_[i];
      by_reference_[i] = other.by_reference_[i];
      arrays_[i] = other.arrays_[i];
      types_[i] = other.types_[i];
    }
  }

  long long sizes_[Dims > 0 ? Dims : 1] = {};  // the pointer to it is valid although there may be no sizes
  long long offsets_[In + Out] = {};
  long long counts_[In + Out] = {};
  ConstProcValue constants_[In + Out];
  bool by_reference_[In + Out] = {};
  QV_ArrayBase* arrays_[In + Out] = {};
  int types_[In + Out] = {};
};
