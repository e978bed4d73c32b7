// SPDX-License-Identifier: Apache-2.0
// Set-up and emission calls: passed on to whoever listens on this thread. Without a listener they change
// counters only.
#include "host/model_type.h"

#include <algorithm>

#include "host/system.h"
#include "runtime/contract/host_access.h"
#include "runtime/contract/instance.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/scope.h"

using quiver::EmissionSink;
using quiver::HostAccess;
using quiver::StructureSink;
using quiver::ThisThread;

int QV_ModelType::m_stLastGroup = 0;

namespace {
template <class Sink, class Call>
void Tell(Sink* sink, Call call) {
  if (sink) quiver::NotingMemory([&] { call(*sink); });
}
}  // namespace

QV_ModelType::QV_ModelType(bool, QV_Container* owner) : QV_Container(false, owner), ComponentList(true) {}
int QV_ModelType::JacPattern(long long*&, long long*&, QV_EquationType**) { return 0; }
int QV_ModelType::ExecuteAssignments(int, int) { return 0; }
int QV_ModelType::SetUpEquations() { return 0; }
int QV_ModelType::Residuals(double*, int&) { return 0; }
int QV_ModelType::Jacobian(double*, int&) { return 0; }

void QV_ModelType::SetGroupLimits(int group) {
  m_stLastGroup = std::max(m_stLastGroup, group);
  Tell(ThisThread().structure, [&](StructureSink& sink) { sink.OpenGroup(group); });
}
void QV_ModelType::AddNonZero(QV_VarParam& variable) {
  Tell(ThisThread().structure, [&](StructureSink& sink) {
    if (HostAccess::KindOf(variable) != HostAccess::kArray) return sink.NonZero(variable);
    auto& array = static_cast<QV_ArrayBase&>(variable);
    for (long long i = 0; i < array.Count(); ++i) sink.NonZero(static_cast<QV_VarParam&>(array.At(i)));
  });
}
void QV_ModelType::AddNonZero(QV_SetIter&) {}
void QV_ModelType::AddConditional() {
  Tell(ThisThread().structure, [&](StructureSink& sink) { sink.CloseBranch(); });
}
int QV_ModelType::SetLocalEqnCount(int counter) {
  Tell(ThisThread().structure, [&](StructureSink& sink) { sink.LocalCount(counter); });
  return counter;
}
void QV_ModelType::AddProcContribution(int group, int equations, int nonzeros) {
  m_stLastGroup = std::max(m_stLastGroup, group);
  Tell(ThisThread().structure, [&](StructureSink& sink) { sink.Procedure(group, equations, nonzeros); });
}
void QV_ModelType::AddEquation(const char* name, int& counter, int group) {
  const int index = counter++;
  Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.Equation(name, index, group); });
}
void QV_ModelType::AddEquation(QV_ProcedureEquationType* equation, int& counter) {
  const int index = counter++;
  if (!equation) return quiver::NoteOutOfMemory();  // the library had no memory for it
  if (!ThisThread().emission) delete equation;
  Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.ProcedureEquation(equation, index); });
}
void QV_ModelType::AddProcCall(QV_ProcedureType* procedure, int group) {
  Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.ProcedureCall(procedure, group); });
}

int QV_ModelExtensions::Compatibility() { return kQvCompatibilityVersion; }
void QV_ModelExtensions::ResetExpressions() {
  Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.Reset(); });
}
void QV_ModelExtensions::AddOp(EOp op, int eqn) {
  Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.Operator(op, eqn); });
}
// Sets stand in assignments; in a residual or condition they have no value.
void QV_ModelExtensions::AddTerm(QV_StrSetValue& value, int eqn) {
  AddTerm(static_cast<QV_SetValue&>(value), eqn);
}
void QV_ModelExtensions::AddTerm(QV_IntSetValue& value, int eqn) {
  AddTerm(static_cast<QV_SetValue&>(value), eqn);
}
void QV_ModelExtensions::AddTerm(QV_SetValue&, int eqn) {
  const quiver::Current& current = ThisThread();
  Tell(current.scope, [&](quiver::Scope& scope) {
    scope.Fault((current.instance ? quiver::InstanceName(*current.instance) + ": " : "") + "equation " +
                std::to_string(eqn) + " has a set as a term; a set has no value there.");
  });
}
void QV_ModelExtensions::AddTerm(QV_SpecType value, int eqn) { AddTerm(static_cast<int>(value), eqn); }
void QV_ModelExtensions::AddTerm(const char* value, int eqn) {
  Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.Text(value, eqn); });
}
void QV_ModelExtensions::AddTerm(double value, int eqn) {
  Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.Real(value, eqn); });
}
void QV_ModelExtensions::AddTerm(int value, int eqn) {
  Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.Integer(value, eqn); });
}

namespace {
void AppendPattern(QV_VarParam& element, long long*& pattern, long long* pattern_end, int eqn) {
  if (pattern >= pattern_end) {
    Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.PatternFull(eqn); });
    return;
  }
  int& number = HostAccess::Number(element);
  if (number < 0) Tell(ThisThread().scope, [&](quiver::Scope& scope) { scope.Number(element); });
  *pattern++ = static_cast<long long>(static_cast<unsigned long long>(static_cast<unsigned>(eqn)) << 32 |
                                      static_cast<unsigned>(number));
}
}  // namespace

void QV_ModelExtensions::AddTerm(QV_VarParam& variable, long long*& pattern, long long*& pattern_end,
                                 int eqn) {
  if (HostAccess::KindOf(variable) == HostAccess::kArray) {
    auto& array = static_cast<QV_ArrayBase&>(variable);
    for (long long i = 0; i < array.Count(); ++i)
      AppendPattern(static_cast<QV_VarParam&>(array.At(i)), pattern, pattern_end, eqn);
  } else {
    AppendPattern(variable, pattern, pattern_end, eqn);
  }
  Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.Variable(variable, eqn); });
}
void QV_ModelExtensions::AddTerm(QV_IntegerSetIter& iterator, long long*&, long long*&, int eqn) {
  AddTerm(iterator.Value(), eqn);
}
void QV_ModelExtensions::AddTerm(QV_StringSetIter& iterator, long long*&, long long*&, int eqn) {
  AddTerm(iterator.Value(), eqn);
}
void QV_ModelExtensions::AddCondExpress(int condition, const char* condition_name, int eqn) {
  Tell(ThisThread().emission,
       [&](EmissionSink& sink) { sink.BeginCondition(condition, condition_name, eqn); });
}
void QV_ModelExtensions::EndCondExpress(int eqn) {
  Tell(ThisThread().emission, [&](EmissionSink& sink) { sink.EndCondition(eqn); });
}
int QV_ModelExtensions::Linearity() { return 0; }
int QV_ModelExtensions::Evaluate() { return 0; }
int QV_ModelExtensions::ConcatLists() { return 0; }
void QV_ModelExtensions::AddProcExpression(QV_ProcedureType* procedure, int output_element, int eqn,
                                           const char* name) {
  Tell(ThisThread().emission,
       [&](EmissionSink& sink) { sink.ProcedureExpression(procedure, output_element, eqn, name); });
}
int QV_ModelExtensions::GroupVars() { return 0; }
int QV_ModelExtensions::ActivityPattern() { return 0; }
int QV_ModelExtensions::JacEx() { return 0; }
QV_ModelExtensions::~QV_ModelExtensions() = default;

int QV_ModelDiscontinuity::HasDiscontinuity() { return 0; }
int QV_ModelDiscontinuity::EventReset() { return 0; }
int QV_ModelDiscontinuity::Changed() { return 0; }
int QV_ModelDiscontinuity::Tripped() { return 0; }
QV_ModelDiscontinuity::~QV_ModelDiscontinuity() = default;
int QV_ModelExtensions2::Evaluate2() { return 0; }
int QV_ModelExtensions2::JacEx2() { return 0; }
QV_ModelExtensions2::~QV_ModelExtensions2() = default;

#define QV_CONTAINER_CLASS(NAME, BASE)                              \
  NAME::NAME(bool flag, QV_Container* owner) : BASE(flag, owner) {} \
  NAME::~NAME() = default;
QV_CONTAINER_CLASS(QV_ModelTypeEx, QV_ModelType)
QV_CONTAINER_CLASS(QV_ModelTypeEx2, QV_ModelTypeEx)
QV_CONTAINER_CLASS(QV_GENERICMODEL, QV_ModelTypeEx2)
QV_CONTAINER_CLASS(QV_StructureType, QV_ModelType)
QV_CONTAINER_CLASS(QV_StructureTypeEx, QV_StructureType)
QV_CONTAINER_CLASS(QV_GENERICSTRUCTURE, QV_StructureTypeEx)
QV_CONTAINER_CLASS(QV_PortType, QV_ModelType)
QV_CONTAINER_CLASS(QV_PortTypeEx, QV_PortType)
QV_CONTAINER_CLASS(QV_GENERICPORT, QV_PortTypeEx)
#undef QV_CONTAINER_CLASS
