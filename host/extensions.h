// SPDX-License-Identifier: Apache-2.0
// Emission: every equation is written as one tree in prefix order, operator before operands.
//
//   FLUX * FLUX - 4 = 0:   AddOp(20) AddOp(21) AddTerm(FLUX) AddTerm(FLUX) AddTerm(4)
#pragma once

#include "host/export.h"
#include "host/model_type.h"

enum EOp : int {};

class QV_API QV_ModelExtensions {
 public:
  virtual int Compatibility();
  virtual void ResetExpressions();
  virtual void AddOp(EOp op, int eqn);
  virtual void AddTerm(QV_StrSetValue& value, int eqn);
  virtual void AddTerm(QV_IntSetValue& value, int eqn);
  virtual void AddTerm(QV_SetValue& value, int eqn);
  virtual void AddTerm(QV_SpecType value, int eqn);
  virtual void AddTerm(const char* value, int eqn);
  virtual void AddTerm(double value, int eqn);
  virtual void AddTerm(int value, int eqn);
  // Appends (eqn << 32 | number) to the pattern for every element; an array stands for its whole slice.
  virtual void AddTerm(QV_VarParam& variable, long long*& pattern, long long*& pattern_end, int eqn);
  virtual void AddTerm(QV_IntegerSetIter& iterator, long long*& pattern, long long*& pattern_end, int eqn);
  virtual void AddTerm(QV_StringSetIter& iterator, long long*& pattern, long long*& pattern_end, int eqn);
  // condition: running number of the tested branch in the instance, from 1.
  virtual void AddCondExpress(int condition, const char* condition_name, int eqn);
  virtual void EndCondExpress(int eqn);
  virtual int Linearity();
  virtual int Evaluate();
  virtual int ConcatLists();
  virtual void AddProcExpression(QV_ProcedureType* procedure, int output_element, int eqn, const char* name);
  virtual int GroupVars();
  virtual int ActivityPattern();
  virtual int JacEx();
  virtual ~QV_ModelExtensions();
};

class QV_API QV_ModelDiscontinuity {
 public:
  virtual int HasDiscontinuity();
  virtual int EventReset();
  virtual int Changed();
  virtual int Tripped();
  virtual ~QV_ModelDiscontinuity();
};

class QV_API QV_ModelExtensions2 {
 public:
  virtual int Evaluate2();
  virtual int JacEx2();
  virtual ~QV_ModelExtensions2();
};

class QV_API QV_ModelTypeEx : public QV_ModelType, public QV_ModelExtensions, public QV_ModelDiscontinuity {
 public:
  QV_ModelTypeEx(bool, QV_Container* owner);
  ~QV_ModelTypeEx() override;
  using QV_ModelType::operator new;
  using QV_ModelType::operator delete;
};

class QV_API QV_ModelTypeEx2 : public QV_ModelTypeEx, public QV_ModelExtensions2 {
 public:
  QV_ModelTypeEx2(bool, QV_Container* owner);
  ~QV_ModelTypeEx2() override;
};

class QV_API QV_StructureType : public QV_ModelType {
 public:
  QV_StructureType(bool, QV_Container* owner);
  ~QV_StructureType() override;
};

class QV_API QV_StructureTypeEx : public QV_StructureType,
                                  public QV_ModelExtensions,
                                  public QV_ModelDiscontinuity {
 public:
  QV_StructureTypeEx(bool, QV_Container* owner);
  ~QV_StructureTypeEx() override;
};

class QV_API QV_PortType : public QV_ModelType {
 public:
  QV_PortType(bool, QV_Container* owner);
  ~QV_PortType() override;
};

class QV_API QV_PortTypeEx : public QV_PortType, protected QV_ModelExtensions {
 public:
  QV_PortTypeEx(bool, QV_Container* owner);
  ~QV_PortTypeEx() override;

 private:
  friend struct quiver::HostAccess;
};
