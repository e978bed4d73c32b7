// SPDX-License-Identifier: Apache-2.0
// Procedures: external numerical routines as equations. The host's side of a procedure object, what a model
// hands it its arguments through, and the equation that stands for one of its outputs. The wrapper itself is
// a template over these classes (procedures/procedure_template.h).
#pragma once

#include "host/property.h"
#include "host/routine.h"
#include "host/sets.h"

// Argument types.
inline constexpr int kQvInteger = 2;
inline constexpr int kQvIntegerAlternative = 3;
inline constexpr int kQvReal = 4;
inline constexpr int kQvText = 5;

// Call types.
inline constexpr int kQvCallNone = -1;
inline constexpr int kQvCallValues = 0;
inline constexpr int kQvCallBefore = 1;
inline constexpr int kQvCallAfter = 2;
inline constexpr int kQvCallValuesAndDerivatives = 3;
inline constexpr int kQvCallReturnedDerivatives = 4;

class QV_ArrayBase;

class QV_API QV_ProcedureType {
 public:
  QV_ProcedureType();
  QV_ProcedureType(const QV_ProcedureType& other);
  QV_ProcedureType& operator=(const QV_ProcedureType& other);
  void SetMode(bool active, int mode);
  virtual ~QV_ProcedureType();
  static void* operator new(decltype(sizeof 0) bytes) noexcept { return MyAllocate(bytes); }
  static void* operator new(decltype(sizeof 0), void* place) noexcept { return place; }
  static void operator delete(void* block) noexcept { MyFree(block); }

  virtual const char* ProcedureName() = 0;  // the routine's exported name
  virtual const char* DLLName() = 0;        // its library, looked up without regard to case
  virtual int Type(int argument) = 0;
  virtual int Dimensions(int argument) = 0;
  virtual bool IsVariableInput(int argument) = 0;
  virtual bool ReturnsDerivatives();
  virtual void CreateDerivatives();
  virtual void NegateDerivatives();
  virtual int Precall(bool flag);
  virtual int Postcall(bool flag);
  virtual bool AlwaysCall();
  virtual QV_COMPONENTLISTNAME* ComponentListName();
  // One residual per output element: r[i] = variable - value from the routine. `i` ends behind them, on
  // failure too.
  virtual int Residuals(double* r, int& i) = 0;
  // One row per output element: the entry of the output itself (the host's), then one per variable input
  // element.
  virtual int Jacobian(double* J, int& i) = 0;

  void* GetProcedureAddress();    // the fourteen-pointer routine, null when it is absent
  void* GetProcedure13Address();  // the sixteen-pointer form, null unless the host offers it
  void UpdateController();        // a routine changed an input

 private:
  friend struct quiver::HostAccess;
  void* routine_ = nullptr;
  bool active_ = true;
  int mode_ = 0;
};

// A constant argument; texts are copied.
class QV_API ConstProcValue {
 public:
  ConstProcValue();
  ConstProcValue(const ConstProcValue& other);
  ConstProcValue& operator=(const ConstProcValue& other);
  ~ConstProcValue();
  void Set(int value);
  void Set(double value);
  void Set(const char* value);
  int Integer() const;
  double Real() const;
  const char* String() const;

 private:
  enum Kind : int { kNone, kInteger, kReal, kText } kind_ = kNone;
  union {
    int integer_;
    double real_ = 0;
    char* text_;
  };
};

class QV_API QV_ProcedureType_F : public QV_ProcedureType {
 public:
  QV_ProcedureType_F();
  QV_ProcedureType_F(const QV_ProcedureType_F& other);
  QV_ProcedureType_F& operator=(const QV_ProcedureType_F& other);
  ~QV_ProcedureType_F() override;

  // For listings: the number of input arguments, how many elements a by-reference argument has, and the value of a constant one (null otherwise).
  virtual int InputArguments() = 0;
  virtual long long ArgumentElements(int argument) = 0;
  virtual const ConstProcValue* ArgumentConstant(int argument) = 0;
  virtual QV_ArrayBase* ArgumentArray(int argument) = 0;  // null unless the argument is a whole array

 protected:
  void HandleDerivatives(
      bool negate);         // false: room for what the routine returns; true: turn its sign for the residual
  int LanguageBaseIndex();  // 1 for routines of a base-1 language, else 0
  int TypeSize(int type);   // bytes of one element: 8 (integer), 8 (real), 256 (text)
  void FinalizeConstruction(long long output_start, long long total_slots);
  bool PresetOutputs();
  bool PostsetInputs();
  bool LastCall(int type);
  int EnsureCompatibleDLLLoaded(int flag);
  int CheckIFailAndOutputs(long long failure, int type, bool flag);
  void PackIntegerArray(long long slot, long long k, const int* values, long long count);
  void PackRealArray(long long slot, const double* values, long long count);
  void PackStr(long long slot, const char* text);
  void PackStringArray(long long slot, const char* const* texts, long long count);
  int UnpackInteger(long long slot, long long k);
  const char* UnpackStr(long long slot, long long k);
  void ClearDerivatives();
  void AllocateDerivatives();

  // Made by FinalizeConstruction: the packed slots and the elements (inputs, then outputs).
  double* Slots = nullptr;
  double* Derivatives = nullptr;
  double* SecondDerivatives = nullptr;
  long long* Status = nullptr;
  long long DerivativeDimension = 0;
  QV_VarParam** Elements = nullptr;
  // Counted by the template while it collects arguments.
  long long InputElements = 0;
  long long VariableElements = 0;
  long long OutputElements = 0;
  long long Constants = 0;

 private:
  friend struct quiver::HostAccess;
  struct State;  // what the last call was and saw
  State* state_ = nullptr;
};

class QV_API QV_DynamicProcExtensions {
 public:
  virtual void Argument(QV_VarParam& variable) = 0;
  virtual void Argument() = 0;
  virtual void Argument(int value) = 0;
  virtual void Argument(double value) = 0;
  virtual void Argument(const char* value) = 0;
  virtual void Argument(QV_IntegerSetIter& iterator) = 0;
  virtual void Argument(QV_StringSetIter& iterator) = 0;
  // Told ahead of Argument() where the argument is a whole array, so that listings know its name though it be empty.
  virtual void WholeArray(QV_ArrayBase& array);
  virtual void SetDimensionSize(int size) = 0;
  virtual void Element(QV_VarParam& variable) = 0;
  virtual void LastArgument() = 0;
  virtual ~QV_DynamicProcExtensions();
};

// The equation of one output element. `number` counts the procedure's output elements from 1; texts are
// copied.
class QV_API QV_ProcedureEquationType {
 public:
  QV_ProcedureEquationType(QV_ProcedureType* procedure, int number, int group, QV_Container* owner,
                           const char* name, int count, bool flag, const char* label);
  QV_ProcedureEquationType(const QV_ProcedureEquationType&) = delete;
  QV_ProcedureEquationType& operator=(const QV_ProcedureEquationType&) = delete;
  ~QV_ProcedureEquationType();
  static void* operator new(decltype(sizeof 0) bytes) noexcept { return MyAllocate(bytes); }
  static void operator delete(void* block) noexcept { MyFree(block); }

 private:
  friend struct quiver::HostAccess;
  QV_ProcedureType* procedure_;
  int number_, group_, count_;
  bool flag_;
  QV_Container* owner_;
  char* name_;
  char* label_;
};
