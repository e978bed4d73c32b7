// SPDX-License-Identifier: Apache-2.0
// From a row of a procedure table to its class: declaration, constructors, row for listings. A table is a
// file of rows
//
//   PROCEDURE(PSQRT, "ZX40RM_spsqrt", "Corvanta", 1, 1, 1, "r*", "r", kDerivatives)
//   COMPONENT_PROCEDURE(...)    the same for a routine that needs a component list; its class has one more
//   constructor
//
// columns: name, routine, library, inputs, outputs, variant, input signature, output signature, flags. The
// readers are QV_DECLARE_..., QV_DEFINE_... and QV_ROW_OF_PROCEDURE below.
#pragma once

#include "host/library.h"
#include "procedures/procedure_template.h"
#include "procedures/signature.h"

namespace quiver {

// The operations of a class, read from its table.
template <class Class, int In, int Out, int Dims, int Variant>
class TabledProcedure : public QV_ProcedureTemplate<Class, In, Out, Dims, QV_ProcedureType_F, Variant> {
 public:
  static constexpr int kVariant = Variant;
  using enum ProcedureFlags;  // for the rows

  const char* ProcedureName() override { return Class::kRoutine; }
  const char* DLLName() override { return Class::kLibrary; }
  int Type(int argument) override { return Class::kSignature.types[argument]; }
  int Dimensions(int argument) override { return Class::kSignature.dims[argument]; }
  bool IsVariableInput(int argument) override {
    return argument < In && Class::kSignature.is_variable[argument] != 0;
  }
  bool ReturnsDerivatives() override {
    return Class::kSignature.derivatives || QV_ProcedureType::ReturnsDerivatives();
  }
  void CreateDerivatives() override {
    if (Class::kSignature.derivatives) this->HandleDerivatives(false);
  }
  void NegateDerivatives() override {
    if (Class::kSignature.derivatives) this->HandleDerivatives(true);
  }
  int Precall(bool flag) override {
    return Class::kSignature.precall ? this->CallFn(kQvCallBefore, flag) : QV_ProcedureType::Precall(flag);
  }
  int Postcall(bool flag) override {
    return Class::kSignature.postcall ? this->CallFn(kQvCallAfter, flag) : QV_ProcedureType::Postcall(flag);
  }
  bool AlwaysCall() override { return Class::kSignature.always_call || QV_ProcedureType::AlwaysCall(); }
  QV_COMPONENTLISTNAME* ComponentListName() override { return component_list_; }

 protected:
  QV_COMPONENTLISTNAME* component_list_ =
      nullptr;  // borrowed; the classes that need one have a constructor for it
};

template <class Class>
constexpr QV_ProcedureRow RowOf() {
  constexpr const auto& s = Class::kSignature;
  return {Class::kName,  Class::kRoutine, Class::kLibrary, s.inputs,      s.outputs,
          s.dimensions,  Class::kVariant, s.types,         s.dims,        s.is_variable,
          s.derivatives, s.precall,       s.postcall,      s.always_call, s.component_list};
}

}  // namespace quiver

#define QV_PROCEDURE_CLASS(EXPORT, NAME, ROUTINE, LIBRARY, IN, OUT, VARIANT, INPUTS, OUTPUTS, FLAGS, MORE) \
  class EXPORT QVProc_##NAME final                                                                         \
      : public quiver::TabledProcedure<QVProc_##NAME, IN, OUT, quiver::CountDimensions(INPUTS, OUTPUTS),   \
                                       VARIANT> {                                                          \
   public:                                                                                                 \
    static constexpr const char* kName = "QVProc_" #NAME;                                                  \
    static constexpr const char* kRoutine = ROUTINE;                                                       \
    static constexpr const char* kLibrary = LIBRARY;                                                       \
    static constexpr auto kSignature = quiver::ParseSignature<IN, OUT>(INPUTS, OUTPUTS, FLAGS);            \
    QVProc_##NAME(bool active, int mode);                                                                  \
    QVProc_##NAME(const QVProc_##NAME& other) = default;                                                   \
    QVProc_##NAME& operator=(const QVProc_##NAME& other) = default;                                        \
    ~QVProc_##NAME() override;                                                                             \
    MORE                                                                                                   \
  };

#define QV_DECLARE_PROCEDURE(EXPORT, NAME, ROUTINE, LIBRARY, IN, OUT, VARIANT, INPUTS, OUTPUTS, FLAGS) \
  QV_PROCEDURE_CLASS(EXPORT, NAME, ROUTINE, LIBRARY, IN, OUT, VARIANT, INPUTS, OUTPUTS, FLAGS, )
#define QV_DECLARE_COMPONENT_PROCEDURE(EXPORT, NAME, ROUTINE, LIBRARY, IN, OUT, VARIANT, INPUTS, OUTPUTS, \
                                       FLAGS)                                                             \
  QV_PROCEDURE_CLASS(EXPORT, NAME, ROUTINE, LIBRARY, IN, OUT, VARIANT, INPUTS, OUTPUTS,                   \
                     (FLAGS) | kComponentList,                                                            \
                     QVProc_##NAME(bool active, int mode, QV_COMPONENTLISTNAME* component_list);)

// The bodies, once per class: in the library that offers it.
#define QV_DEFINE_PROCEDURE(NAME)                                                      \
  QVProc_##NAME::QVProc_##NAME(bool active, int mode) { this->SetMode(active, mode); } \
  QVProc_##NAME::~QVProc_##NAME() = default;
#define QV_DEFINE_COMPONENT_PROCEDURE(NAME)                                                   \
  QV_DEFINE_PROCEDURE(NAME)                                                                   \
  QVProc_##NAME::QVProc_##NAME(bool active, int mode, QV_COMPONENTLISTNAME* component_list) { \
    component_list_ = component_list;                                                         \
    this->SetMode(active, mode);                                                              \
  }
#define QV_ROW_OF_PROCEDURE(NAME) quiver::RowOf<QVProc_##NAME>(),
