// SPDX-License-Identifier: Apache-2.0
// What the instances of one simulation share: globals, the numbering of variables, findings; and, per thread,
// which simulation and instance the contract's operations work on at the moment.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <typeindex>
#include <unordered_map>
#include <vector>

#include "host/property.h"
#include "host/references.h"
#include "host/sets.h"
#include "runtime/contract/readings.h"

class QV_ProcedureEquationType;
class QV_ProcedureType;

namespace quiver {

class Instance;

struct Global {
  std::string name;
  std::type_index reference_type;  // the reference's class, which tells the held type
  QV_Type* object;
  const Instance* assigned_by = nullptr;  // the first instance whose assignments gave the value
};

class Scope {
 public:
  Scope() = default;
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;
  ~Scope();

  // The global of that name (letter case ignored), created with the reference's held type by the first
  // declaration. Null, with a finding, when the name is bound with another type.
  QV_Type* BindGlobal(QV_ExternalBase& reference, const char* name);
  // An object of the type that the reference holds, one per type; null where it can make none.
  QV_Type* SampleFor(QV_ExternalBase& reference);
  const std::vector<std::unique_ptr<Global>>& globals() const { return globals_; }
  Global* FindGlobal(const char* name);

  // Global structures, driven before the blocks.
  std::vector<Instance*> structures;
  void Adopt(QV_Type* free_standing) { free_standing_.push_back(free_standing); }
  const char* Keep(std::string_view name);  // a copy that lasts as long as the scope
  int Number(QV_VarParam& holder);          // gives the holder the next number
  void Forget(QV_VarParam& holder);
  QV_VarParam* Holder(int number) const { return holders_[static_cast<size_t>(number)]; }
  int Count() const { return static_cast<int>(holders_.size()); }

  void Fault(std::string message) { faults.push_back(std::move(message)); }
  // Throws Error with all faults, each told once, if there are any.
  void ThrowFaults() const;
  // A size that nobody can mean: what is sized by it must not be touched.
  void RefuseSize(std::string message) {
    has_refused_size = true;
    Fault(std::move(message));
  }
  bool has_refused_size = false;
  std::vector<std::string> faults;  // what makes the simulation wrong
  std::vector<std::string> notes;   // what the user should know
  long long resized_arrays = 0;     // how often sizing changed an array
  long long equations_told =
      0;  // how often an instance told its equations; it then gives up what it told before

 private:
  std::vector<std::unique_ptr<Global>> globals_;
  std::map<std::string, Global*> by_name_;  // upper case
  std::unordered_map<const void*, Global*>
      by_name_pointer_;  // names are lasting: the same place, the same text
  std::vector<QV_Type*> free_standing_;
  std::map<std::type_index, std::unique_ptr<QV_Type>> samples_;  // by the reference's class
  std::vector<QV_VarParam*> holders_;
  std::vector<std::unique_ptr<char[]>> names_;
  char* next_name_ = nullptr;  // in the last piece
  size_t names_left_ = 0;
};

// Hears what SetUpEquations tells.
class StructureSink {
 public:
  virtual ~StructureSink() = default;
  virtual void OpenGroup(int group) = 0;
  virtual void NonZero(QV_VarParam& variable) = 0;
  virtual void CloseBranch() = 0;
  virtual void Procedure(int group, int equations, int nonzeros) = 0;
  virtual void LocalCount(int counter) = 0;
};

// Hears what JacPattern tells. Pattern entries are written by the contract's own code.
class EmissionSink {
 public:
  virtual ~EmissionSink() = default;
  virtual void Reset() = 0;
  virtual void Equation(const char* name, int index, int group) = 0;
  virtual void ProcedureEquation(QV_ProcedureEquationType* equation, int index) = 0;  // takes it over
  virtual void ProcedureExpression(QV_ProcedureType* procedure, int output_element, int index,
                                   const char* name) = 0;
  virtual void ProcedureCall(QV_ProcedureType* procedure, int group) = 0;
  virtual void Operator(int code, int index) = 0;
  virtual void Real(double value, int index) = 0;
  virtual void Integer(int value, int index) = 0;
  virtual void Text(const char* value, int index) = 0;
  virtual void Variable(QV_VarParam& variable, int index) = 0;
  virtual void BeginCondition(int number, const char* label, int index) = 0;
  virtual void EndCondition(int index) = 0;
  virtual void PatternFull(int index) = 0;
};

// The simulation and the instance that the contract's operations work on; one thread drives a simulation.
struct Current {
  Scope* scope = nullptr;
  Instance* instance = nullptr;
  StructureSink* structure = nullptr;
  EmissionSink* emission = nullptr;
  Readings* readings = nullptr;  // hears what a model's text reads
};
Current& ThisThread();

// The component list for which a routine is asking properties at the moment; null outside such a call.
void PushComponentList(QV_COMPONENTLISTNAME* list);
void PopComponentList();
QV_COMPONENTLISTNAME* CurrentComponentList();

// Sets the current state for a block.
class CurrentGuard {
 public:
  explicit CurrentGuard(const Current& current) : saved_(ThisThread()), listens_(current.readings) {
    ThisThread() = current;
    if (listens_) ++reading_listeners;
  }
  ~CurrentGuard() {
    ThisThread() = saved_;
    if (listens_) --reading_listeners;
  }
  CurrentGuard(const CurrentGuard&) = delete;
  CurrentGuard& operator=(const CurrentGuard&) = delete;

 private:
  Current saved_;
  bool listens_;
};

}  // namespace quiver
