// SPDX-License-Identifier: Apache-2.0
// Properties: what a model declares. Containable object -> property -> typed holder of a value.
//
//   QV_PRESS_DIFF p_drop{true};   p_drop.SetCurrentValue(6.0);   double bar = p_drop.RealValue();
//
// A scalar holder is 48 bytes; its name and description are kept once per type, by the host.
#pragma once

#include "host/allocator.h"
#include "host/export.h"
#include "host/value.h"

class QV_Container;
class QV_Set;
class QV_VirtualBase;

namespace quiver {
struct HostAccess;  // the host's way to the private state of the contract's classes
struct Bounds;
class Instance;
class SetStorage;
}  // namespace quiver

enum QV_Direction : int { QV_DIRECTION_NONE = 0 };

// Identities for QueryInterface: 16 bytes each.
struct QV_InterfaceId {
  unsigned char bytes[16];
};
extern "C" QV_API const QV_InterfaceId kQvUnknownId;    // any object
extern "C" QV_API const QV_InterfaceId kQvDispatchId;   // GetIDsOfNames and Invoke
extern "C" QV_API const QV_InterfaceId kQvVarParamId;   // a QV_VarParam*
extern "C" QV_API const QV_InterfaceId kQvContainerId;  // a QV_Container*
extern "C" QV_API const QV_InterfaceId kQvModelId;      // a QV_ModelType*

// Results of the COM-style operations, with their customary values.
inline constexpr int kQvOk = 0;
inline constexpr int kQvNoInterface = static_cast<int>(0x80004002u);
inline constexpr int kQvPointer = static_cast<int>(0x80004003u);
inline constexpr int kQvUnknownName = static_cast<int>(0x80020006u);
inline constexpr int kQvMemberNotFound = static_cast<int>(0x80020003u);
inline constexpr int kQvTypeMismatch = static_cast<int>(0x80020005u);
inline constexpr unsigned short kQvPropertyGet = 2;
inline constexpr unsigned short kQvPropertyPut = 4;

// What Invoke reads (put: `arguments`) and writes (get: `result`). Text belongs to the property and holds
// until it changes.
struct QV_Variant {
  enum Kind : int { kEmpty, kReal, kInteger, kLogical, kText, kObject } kind;
  union {
    double real;
    int integer;
    bool logical;
    const char* text;
    QV_Containable* object;
  };
};

class QV_API QV_Containable {
 public:
  QV_Containable() = default;
  QV_Containable(const QV_Containable&) noexcept {}
  QV_Containable& operator=(const QV_Containable&) noexcept { return *this; }
  virtual int QueryInterface(const void* interface_id, void** object);
  virtual unsigned AddRef();
  virtual unsigned Release();
  virtual int GetTypeInfoCount(unsigned* count);
  virtual int GetTypeInfo(unsigned index, unsigned locale, void** info);
  // Ids are the property's place in declaration order, from 1; -1 for an unknown name.
  virtual int GetIDsOfNames(const void* reserved, const char** names, unsigned count, unsigned locale,
                            int* ids);
  virtual int Invoke(int id, const void* reserved, unsigned locale, unsigned short flags, void* arguments,
                     void* result, void* exception, unsigned* argument_error);
  virtual ~QV_Containable();
  static void* operator new(decltype(sizeof 0) bytes) noexcept { return MyAllocate(bytes); }
  static void* operator new(decltype(sizeof 0), void* place) noexcept { return place; }
  static void operator delete(void* block) noexcept { MyFree(block); }

 private:
  friend struct quiver::HostAccess;
  unsigned references_ = 0;
};

class QV_API QV_VarParamProp : public QV_Containable {
 public:
  // 0, or negative when the value does not fit the property; a value that the user gave is never overridden.
  virtual int Assign(QV_Value* value);
};

class QV_API QV_Type : public QV_VarParamProp {
 public:
  virtual void Construct();
  virtual QV_Value* QV_DefaultVALUE();
  virtual QV_Value* QV_DefaultVALID();
  virtual QV_Value* QV_DefaultLOWER();
  virtual QV_Value* QV_DefaultUPPER();
  virtual QV_Value* QV_DefaultBASEUOMNAME();
  virtual QV_Value* QV_DefaultPHYSICALQUANTITY();
  static void AddProperty(QV_Type& holder, QV_Container* owner, const char* name, const char* description,
                          QV_Direction direction, bool flag);
};

class QV_API QV_VarParam : public QV_Type {
 public:
  explicit QV_VarParam(bool);
  QV_VarParam(const QV_VarParam& other);  // the value and its bounds, not the identity
  QV_VarParam& operator=(const QV_VarParam& other);
  ~QV_VarParam() override;
  int QueryInterface(const void* interface_id, void** object) override;
  int Assign(QV_Value* value) override;

  bool IsVariable() const;
  double LowerBound() const;  // -infinity where there is none
  double UpperBound() const;
  bool HoldsDefault() const;  // neither the user nor a solution has given it another value
  double RealValue() const;
  int IntegerValue() const;
  const char* StringValue() const;  // "" where there is none
  bool LogicalValue() const;

  // Targets for assignments of a bound or of the specification kind: Lower().Assign(&value).
  QV_VarParamProp& Lower();
  QV_VarParamProp& Upper();
  QV_VarParamProp& Spec();

  int SetCurrentValue(double value);
  int SetCurrentValue(int value);
  int SetCurrentValue(const char* value);

 protected:
  enum Kind : unsigned char { kReal, kInteger, kText, kLogical, kSet, kArray };
  QV_VarParam(Kind kind, bool variable);

 private:
  friend struct quiver::HostAccess;
  // These four lie in what the base class leaves free of its last eight bytes.
  Kind kind_ = kReal;
  unsigned char flags_ = 0;
  unsigned char spec_ = 0;    // QV_SpecType, 0: none
  unsigned char origin_ = 0;  // who gave the value; orders who may override it
  union {
    double real_ = 0;
    int integer_;
    bool logical_;
    const char* text_;         // owned, null for ""
    quiver::SetStorage* set_;  // owned
  };
  int number_ = -1;                   // the host's number of this variable or parameter
  int property_ = -1;                 // place in the declaring type's list, or in the array for an element
  QV_Type* parent_ = nullptr;         // the instance that declared it, or the array whose element it is
  quiver::Bounds* bounds_ = nullptr;  // only where they differ from the type's
};

#define QV_SCALAR_TYPE(NAME, KIND, VARIABLE)             \
  class QV_API NAME : public QV_VarParam {               \
   public:                                               \
    explicit NAME(bool) : QV_VarParam(KIND, VARIABLE) {} \
  }
QV_SCALAR_TYPE(QV_REALVARIABLE, kReal, true);
QV_SCALAR_TYPE(QV_REALPARAMETER, kReal, false);
QV_SCALAR_TYPE(QV_INTEGERPARAMETER, kInteger, false);
QV_SCALAR_TYPE(QV_LOGICALPARAMETER, kLogical, false);
#undef QV_SCALAR_TYPE

class QV_API QV_STRINGPARAMETER : public QV_VarParam {
 public:
  explicit QV_STRINGPARAMETER(bool) : QV_VarParam(kText, false) {}
  // Gives a substitutable sub-model's holder the attributes that every simulation has.
  static void InitializeSystemAttributes(QV_VirtualBase& holder);
};

namespace quiver {
// An object of a held type: a sub-model, structure or port takes (bool, owner), a scalar holder (bool), an
// array nothing.
template <class T>
QV_Type* NewHeld() {
  if constexpr (requires { T(true, nullptr); })
    return new T(true, nullptr);
  else if constexpr (requires { T(true); })
    return new T(true);
  else
    return new T();
}
}  // namespace quiver
