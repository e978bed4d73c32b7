// SPDX-License-Identifier: Apache-2.0
// What the host keeps of an instance: its type's property table (once per type), and who it is in the
// simulation.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "host/container.h"
#include "host/model_type.h"
#include "host/references.h"
#include "runtime/contract/host_access.h"

namespace quiver {

class Scope;

enum class PropertyKind : unsigned char { kLocal, kGlobal, kExternal, kVirtual, kStructureReference };

// One declaration, as AddProperty tells it.
struct Declaration {
  PropertyKind kind;
  QV_Type* holder;             // local
  QV_ExternalBase* reference;  // global, external, structure reference
  QV_VirtualBase* substitute;  // virtual
  QV_Container* owner;
  const char* name;
  const char* description;  // null where the model gives none
  QV_Direction direction;
  bool flag;
};
void Declare(const Declaration& declaration);  // to the instance whose Construct runs

// What a local property is; the same in all instances.
enum class Held : unsigned char { kOther, kValue, kModel, kArrayOfValues, kArrayOfModels };

struct DeclaredProperty {
  const char* name;
  const char* description;
  PropertyKind kind;
  bool flag;
  QV_Direction direction;
  long long offset;  // of the holder or reference from the container's start
  Held held = Held::kOther;
  // Of a single value: its type's default, and what it makes of a holder; null: none, or not known to be accepted.
  const QV_Value* start = nullptr;
  double start_bits = 0;
};

// The properties of a type in declaration order. All instances of a class share one table.
class TypeTable {
 public:
  explicit TypeTable(std::string name) : type_name(std::move(name)) {}
  std::string type_name;
  std::vector<DeclaredProperty> properties;
  bool complete = false;                  // the first instance has declared everything
  int Find(std::string_view name) const;  // -1; letter case ignored
  // Once it is complete: the properties that are references, and those that are or may hold sub-models, in order.
  void Complete();
  const std::vector<int>& references() const { return references_; }
  const std::vector<int>& models() const { return models_; }

 private:
  std::vector<int> references_, models_;
  std::unordered_map<std::string, int> by_name_;  // upper case; the first of a name
};

class Instance {
 public:
  Instance(QV_Container& object, TypeTable& type, Scope& scope);

  QV_Container& object() const { return *object_; }
  QV_ModelType* model() const { return model_; }  // the same; null of a container that is none
  const TypeTable& type() const { return *type_; }
  Scope& scope() const { return *scope_; }

  // The object a property stands for: the holder itself, or what its reference is bound to (null when
  // unbound).
  QV_Type* Object(int property) const;
  QV_ExternalBase* Reference(int property) const;
  QV_VirtualBase* Substitute(int property) const;
  // In how many declarations this instance differed from its type's table: 0, or the library is at fault.
  int mismatches = 0;

  Instance* parent = nullptr;  // the instance whose sub-model this is
  int parent_property = -1;
  long long parent_element = -1;  // in an array of sub-models
  const char* name = "";          // of a block or global structure; empty for sub-models
  bool kept_by_scope = false;     // a global structure

 private:
  friend void Declare(const Declaration&);
  friend Instance& ConstructInstance(Scope&, QV_Container&, Instance*, const char*, int, long long);
  QV_Container* object_;
  QV_ModelType* model_;
  TypeTable* type_;
  Scope* scope_;
  int declared_ = 0;
};

inline constexpr unsigned char kHasValueFlag = 8;

// Runs Construct of an object and of its sub-models, binds its references. The instance lives as long as the
// object. Of a sub-model: the property, and the element of an array, that it stands in.
Instance& ConstructInstance(Scope& scope, QV_Container& object, Instance* parent, const char* name,
                            int property = -1, long long element = -1);
// Constructs the sub-models that sizing has brought in arrays; returns how many.
int ConstructArrayElements(Instance& instance);
// The instances of all sub-models, in declaration order.
std::vector<Instance*> SubInstances(const Instance& instance);

// Names as the user writes them: "NAME", "NAME(2)", "Y(N2)", "PORT.F", with the block's name in front when
// qualified.
std::string InstanceName(const Instance& instance);
std::string HolderName(QV_VarParam& holder, const Instance* within = nullptr);
std::string QualifiedName(QV_VarParam& holder);
std::string ElementSuffix(const QV_ArrayBase& array, long long position);  // "(i,j)"

// An array that is declared under this name is the container's own indexing: its elements are PORT(1), not PORT.NAME(1).
inline constexpr const char* kUnnamedArray = "";

// Values.
int SetFromValue(QV_VarParam& holder, const QV_Value& value, Origin origin);
void GiveTypeDefault(QV_VarParam& holder);
bool HasValue(const QV_VarParam& holder);
const Instance* InstanceHolding(QV_VarParam& holder);  // null for a global and for what nobody has declared
bool AdmitGlobalAssignment(QV_VarParam& holder, const QV_Value& value);
// Whether the instance whose assignments run may assign to the holder: what an owner assigns to its sub-model stays when the
// sub-model's own defaults, which come later, would say otherwise. Of two owners the nearer one, which comes later, has its way.
// `owner_flag` remembers it, for the value or for the specification kind.
bool AdmitAssignment(QV_VarParam& holder, unsigned char owner_flag);
std::string DescribeValue(const QV_Value& value);

}  // namespace quiver
