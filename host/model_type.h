// SPDX-License-Identifier: Apache-2.0
// The base of every model, structure and port: assignments, equation set-up, and the call that emits the
// equations.
//
// The host drives an instance in this order:
//   1. Construct            2. SetDims and ExecuteAssignments, again while a set that sizes an array changed
//   3. SetUpEquations       4. JacPattern
#pragma once

#include "host/container.h"
#include "host/sets.h"

class QV_EquationType;
class QV_ProcedureEquationType;
class QV_ProcedureType;

class QV_API QV_ModelType : public QV_Container {
 public:
  QV_ModelType(bool, QV_Container* owner);

  QV_COMPONENTLISTNAME ComponentList;
  static int m_stLastGroup;  // highest group opened so far

  // The running equation counter after this model's equations; negative when it failed.
  virtual int JacPattern(long long*& pattern, long long*& pattern_end, QV_EquationType** equations);
  virtual int ExecuteAssignments(int a, int b);
  virtual int SetUpEquations();
  virtual int Residuals(double* r, int& i);
  virtual int Jacobian(double* J, int& i);

  // Set-up: a group is opened, the occurrences of its equation follow.
  void SetGroupLimits(int group);
  void AddNonZero(QV_VarParam& variable);
  void AddNonZero(QV_SetIter& iterator);  // an iterator used as a value; counts no variable
  void AddConditional();                  // closes a branch
  int SetLocalEqnCount(int counter);      // the counter itself
  void AddProcContribution(int group, int equations, int nonzeros);

  // Emission: registers an equation and advances the counter; its tokens carry counter - 1.
  void AddEquation(const char* name, int& counter, int group);
  void AddEquation(QV_ProcedureEquationType* equation, int& counter);  // takes it over
  void AddProcCall(QV_ProcedureType* procedure_or_null, int group);
};
