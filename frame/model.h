// SPDX-License-Identifier: Apache-2.0
// How a model is written: one struct, one text. Properties, assignments and equations stand once; every operation that the
// host calls reads them.
//
//   struct QV_EXPORT QV_PSV_SIMPLE : QV_GENERICMODEL {
//     MODEL_TEXT(PSV_SIMPLE)
//     GLOBAL(EPS)                                         // property lines: frame/properties.h
//     VARIABLE(QV_FLUX_MASS, FLUX)
//     void Assignments(Assigner& set) { set(EPS, 1e-5); }   // optional: frame/assignments.h
//     void Equations(Equate& eq) { ... }                  // optional: frame/equations.h
//   };
//   EXPORT_MODEL(PSV_SIMPLE)
#pragma once

#include "frame/assignments.h"
#include "frame/equations.h"
#include "frame/export.h"
#include "frame/properties.h"
#include "host/modeller/variable_types.h"
#include "host/status.h"
#include "host/system.h"

// A model's text is written in the global namespace, where the contract's classes are.
using namespace quiver::frame::
    language;  // NOLINT(google-build-using-namespace,google-global-names-in-headers)
using quiver::frame::Assigner;
using quiver::frame::Equate;

namespace quiver::frame {

// What an operation answers that takes memory as it reads the model's text: its status, or that there was none left. Other
// exceptions, the host's, pass.
template <class Operation>
int WithMemory(Operation operation) {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    return kQvOutOfMemory;
  }
}

template <class Model>
int RunAssignments(Model& model, int a, int b, int base) {
  if constexpr (requires(Assigner & set) { model.Assignments(set); }) {
    return WithMemory([&] {
      Assigner set(a, b);
      model.Assignments(set);
      return base;
    });
  }
  return base;
}

template <class Model>
int SetUpModel(Model& model, ModelState& state, int base) {
  if (base < 0) return base;
  if constexpr (requires(Equate & eq) { model.Equations(eq); })
    return WithMemory([&] { return SetUp(model, state, base); });
  state.first_group = QV_ModelType::m_stLastGroup;
  state.reset_on_set_up = 0;
  state.own_equations = 0;
  return model.SetLocalEqnCount(base);
}

template <class Model>
int EmitModel(Model& model, QV_ModelExtensions& extensions, ModelState& state, int base, long long*& pattern,
              long long*& pattern_end) {
  state.pattern_count = 0;
  if (base < 0) return base;
  if constexpr (requires(Equate & eq) { model.Equations(eq); })
    return WithMemory([&] { return Emit(model, extensions, state, base, pattern, pattern_end); });
  return base;
}

}  // namespace quiver::frame

#define QV_TEXT(NAME, BASE, PREFIX)                                                                    \
 public:                                                                                               \
  QV_##NAME(bool, QV_Container* owner) : BASE(false, owner) {}                                         \
  ~QV_##NAME() override { frame_state_.ReleaseProcedures(); }                                          \
  QV_##NAME& operator=(const QV_##NAME&) = default;                                                    \
  static const char* QV_ContainerId() { return PREFIX " " #NAME "\tV11"; }                             \
  const char* QV_DefaultDESCRIPTION() override { return QV_ContainerId(); }                            \
  bool ContainerDerivesFrom(const char* id) override {                                                 \
    return SUValue::CompareCI(id, QV_ContainerId()) == 0 || BASE::ContainerDerivesFrom(id);            \
  }                                                                                                    \
  void Construct() override {                                                                          \
    BASE::Construct();                                                                                 \
    quiver::frame::ReadPropertyLines(*this, {quiver::frame::PropertyReader::kDeclare, *this});         \
  }                                                                                                    \
  void SetDims() override {                                                                            \
    BASE::SetDims();                                                                                   \
    quiver::frame::ReadPropertyLines(*this, {quiver::frame::PropertyReader::kDimension, *this});       \
  }                                                                                                    \
  int ExecuteAssignments(int a, int b) override { return ExecuteAssignments0(a, b, 0); }               \
  int ExecuteAssignments0(int a, int b, int c) {                                                       \
    c = BASE::ExecuteAssignments(a - 1, b);                                                            \
    return quiver::frame::RunAssignments(*this, a, b, c);                                              \
  }                                                                                                    \
  int SetUpEquations() override {                                                                      \
    return quiver::frame::SetUpModel(*this, frame_state_, BASE::SetUpEquations());                     \
  }                                                                                                    \
  int JacPattern(long long*& pattern, long long*& pattern_end, QV_EquationType** equations) override { \
    QV_ModelExtensions& extensions = *this;                                                            \
    extensions.ResetExpressions();                                                                     \
    const int base = BASE::JacPattern(pattern, pattern_end, equations);                                \
    return quiver::frame::EmitModel(*this, extensions, frame_state_, base, pattern, pattern_end);      \
  }                                                                                                    \
  int Residuals(double*, int&) override { return 0; }                                                  \
  int Jacobian(double* J, int& i) override { return QV_##NAME::Residuals(J, i); }                      \
  const quiver::frame::ModelState& State() const { return frame_state_; }                              \
                                                                                                       \
 private:                                                                                              \
  quiver::frame::ModelState frame_state_;                                                              \
                                                                                                       \
 public:                                                                                               \
  static constexpr int kLinesBefore = __COUNTER__;

#define MODEL_TEXT(NAME) QV_TEXT(NAME, QV_GENERICMODEL, "Model")
#define STRUCTURE_TEXT(NAME) QV_TEXT(NAME, QV_GENERICSTRUCTURE, "Structure")
#define PORT_TEXT(NAME) QV_TEXT(NAME, QV_GENERICPORT, "Port")
