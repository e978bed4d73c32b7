// SPDX-License-Identifier: Apache-2.0
#include "runtime/contract/instance.h"

#include <fmt/format.h>

#include <memory>
#include <mutex>
#include <typeindex>
#include <unordered_map>

#include "runtime/contract/array_storage.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/names.h"
#include "runtime/contract/scope.h"

namespace quiver {
namespace {

TypeTable& TableOf(const QV_Container& object) {
  static std::mutex mutex;
  static std::unordered_map<std::type_index, std::unique_ptr<TypeTable>> tables;
  const std::lock_guard lock(mutex);
  auto& table = tables[typeid(object)];
  if (!table) table = std::make_unique<TypeTable>(TypeName(typeid(object)));
  return *table;
}

char* At(QV_Container& object, long long offset) { return reinterpret_cast<char*>(&object) + offset; }
template <class T>
long long OffsetOf(QV_Container& object, T* part) {
  return reinterpret_cast<char*>(part) - reinterpret_cast<char*>(&object);
}

// A scalar holder that an instance declares as its own gets its identity, a number and, next, its type's default value.
void TakeIn(Instance& instance, QV_VarParam& holder, int property) {
  HostAccess::Parent(holder) = &instance.object();
  HostAccess::PropertyIndex(holder) = property;
  instance.scope().Number(holder);
}

// The default as the first instance of the type got it: the same value makes the same of the same property.
void GiveKnownDefault(QV_VarParam& holder, const DeclaredProperty& property) {
  if (!property.start || HostAccess::OriginOf(holder) != Origin::kNone ||
      holder.QV_DefaultVALUE() != property.start)
    return GiveTypeDefault(holder);
  HostAccess::Real(holder) = property.start_bits;
  HostAccess::SetFlag(holder, kHasValueFlag);
}

void GiveFirstDefault(const Scope& scope, QV_VarParam& holder, DeclaredProperty& property) {
  const size_t faults = scope.faults.size();
  GiveTypeDefault(holder);
  if (scope.faults.size() > faults || !HostAccess::HasFlag(holder, kHasValueFlag)) return;
  property.start = holder.QV_DefaultVALUE();
  property.start_bits = HostAccess::Real(holder);  // the whole eight bytes, whatever the kind
}

// The object, now the scope's.
QV_Type* Adopted(Scope& scope, QV_Type* object) {
  std::unique_ptr<QV_Type> owned(object);
  if (object) scope.Adopt(object);
  return owned.release();
}

// What an external finds by its name in the owner; references lead on to what they are bound to.
QV_Type* FindInOwner(const Instance& owner, std::string_view name, const QV_ExternalBase* asking) {
  const int property = owner.type().Find(name);
  if (property < 0 || owner.Reference(property) == asking) return nullptr;
  return owner.Object(property);
}

template <class... Shapes>
bool SameShape(QV_ArrayBase& a, QV_ArrayBase& b) {
  return ((!dynamic_cast<Shapes*>(&a) == !dynamic_cast<Shapes*>(&b)) && ...);
}

// Whether an object can be read as what a reference holds; `sample` is an object of the held type. Numbers stand for
// each other, whatever their kind.
bool FitsSample(QV_Type& found, QV_Type& sample) {
  if (typeid(found) == typeid(sample)) return true;
  auto* container = dynamic_cast<QV_Container*>(&found);
  if (auto* wanted = dynamic_cast<QV_Container*>(&sample))
    return container && container->ContainerDerivesFrom(wanted->QV_DefaultDESCRIPTION());
  auto* holder = dynamic_cast<QV_VarParam*>(&found);
  auto* wanted = dynamic_cast<QV_VarParam*>(&sample);
  if (!holder || !wanted) return false;
  const auto family = [](const QV_VarParam& p) {
    const auto kind = HostAccess::KindOf(p);
    return kind == HostAccess::kInteger || kind == HostAccess::kLogical ? HostAccess::kReal : kind;
  };
  if (family(*holder) != family(*wanted)) return false;
  return family(*holder) != HostAccess::kArray ||
         SameShape<QV_BASE_I, QV_BASE_S, QV_BASE_II, QV_BASE_IS, QV_BASE_SI, QV_BASE_SS, QV_BASE_III,
                   QV_BASE_SII, QV_BASE_SIS, QV_BASE_SSS, QV_BASE_SISS>(static_cast<QV_ArrayBase&>(*holder),
                                                                        static_cast<QV_ArrayBase&>(*wanted));
}

void BindReference(Instance& instance, QV_ExternalBase& reference, int property) {
  const DeclaredProperty& p = instance.type().properties[static_cast<size_t>(property)];
  Scope& scope = instance.scope();
  QV_Type*& target = HostAccess::Target(reference);
  if (target) return;  // given by whoever made the instance
  if (p.kind == PropertyKind::kExternal && instance.parent)
    target = FindInOwner(*instance.parent, p.name, &reference);
  if (QV_Type* sample = target && p.kind == PropertyKind::kExternal ? scope.SampleFor(reference) : nullptr;
      sample && !FitsSample(*target, *sample)) {
    scope.Fault(fmt::format(
        "{}: reference {} is to a {}, but {} of its owner is a {}. The model library is at fault.",
        InstanceName(instance), p.name, TypeName(typeid(*sample)), p.name, TypeName(typeid(*target))));
    target = nullptr;
  }
  if (!target && p.kind != PropertyKind::kExternal) {
    target = scope.BindGlobal(reference, p.name);
    if (auto* container = dynamic_cast<QV_Container*>(target);
        container && !HostAccess::InstanceOf(*container)) {
      Instance& structure = ConstructInstance(scope, *container, nullptr, p.name);
      structure.kept_by_scope = true;
      scope.structures.push_back(&structure);
    }
  }
  if (target) return;
  target = Adopted(scope, MakeTarget(reference));
  if (!target) {
    scope.Fault(fmt::format("{}: reference {} found nothing and cannot make an object of its own.",
                            InstanceName(instance), p.name));
    return;
  }
  if (auto* holder = dynamic_cast<QV_VarParam*>(target)) {
    TakeIn(instance, *holder, property);
    GiveTypeDefault(*holder);
  }
  if (auto* container = dynamic_cast<QV_Container*>(target))
    ConstructInstance(scope, *container, &instance, "", property);
}

}  // namespace

int TypeTable::Find(std::string_view name) const {
  if (complete) {
    const auto found = by_name_.find(UpperCase(name));
    return found == by_name_.end() ? -1 : found->second;
  }
  for (size_t i = 0; i < properties.size(); ++i)
    if (EqualIgnoringCase(properties[i].name, name)) return static_cast<int>(i);
  return -1;
}

void TypeTable::Complete() {
  references_.clear();
  models_.clear();
  by_name_.clear();
  for (size_t i = 0; i < properties.size(); ++i) {
    const DeclaredProperty& p = properties[i];
    by_name_.emplace(UpperCase(p.name), static_cast<int>(i));
    if (p.kind == PropertyKind::kVirtual || p.held == Held::kModel || p.held == Held::kArrayOfModels)
      models_.push_back(static_cast<int>(i));
    else if (p.kind != PropertyKind::kLocal)
      references_.push_back(static_cast<int>(i));
  }
  complete = true;
}

Instance::Instance(QV_Container& object, TypeTable& type, Scope& scope)
    : object_(&object), model_(dynamic_cast<QV_ModelType*>(&object)), type_(&type), scope_(&scope) {}

QV_ExternalBase* Instance::Reference(int property) const {
  const DeclaredProperty& p = type_->properties[static_cast<size_t>(property)];
  const bool reference = p.kind != PropertyKind::kLocal && p.kind != PropertyKind::kVirtual;
  return reference ? reinterpret_cast<QV_ExternalBase*>(At(*object_, p.offset)) : nullptr;
}

QV_VirtualBase* Instance::Substitute(int property) const {
  const DeclaredProperty& p = type_->properties[static_cast<size_t>(property)];
  return p.kind == PropertyKind::kVirtual ? reinterpret_cast<QV_VirtualBase*>(At(*object_, p.offset))
                                          : nullptr;
}

QV_Type* Instance::Object(int property) const {
  if (QV_ExternalBase* reference = Reference(property)) return reference->Target();
  if (QV_VirtualBase* substitute = Substitute(property)) return substitute->Target();
  return reinterpret_cast<QV_Type*>(At(*object_, type_->properties[static_cast<size_t>(property)].offset));
}

namespace {
// An array tells by an element, made for the question and given back.
Held HeldBy(QV_Type* holder) {
  if (!holder) return Held::kOther;
  if (dynamic_cast<QV_Container*>(holder)) return Held::kModel;
  auto* value = dynamic_cast<QV_VarParam*>(holder);
  if (!value) return Held::kOther;
  if (HostAccess::KindOf(*value) != HostAccess::kArray) return Held::kValue;
  const std::unique_ptr<QV_Type> sample(MakeElement(static_cast<QV_ArrayBase&>(*value)));
  return dynamic_cast<QV_Container*>(sample.get()) ? Held::kArrayOfModels : Held::kArrayOfValues;
}
}  // namespace

void Declare(const Declaration& d) {
  Instance* instance = ThisThread().instance;
  if (!instance) return;  // nobody is building a simulation: the object stands alone
  TypeTable& table = *instance->type_;
  QV_Container& object = *instance->object_;
  const int property = instance->declared_++;
  const long long offset = d.reference    ? OffsetOf(object, d.reference)
                           : d.substitute ? OffsetOf(object, d.substitute)
                                          : OffsetOf(object, d.holder);
  const bool is_first = !table.complete && property == static_cast<int>(table.properties.size());
  if (is_first) {
    table.properties.push_back(
        {d.name, d.description, d.kind, d.flag, d.direction, offset, HeldBy(d.holder)});
  } else {
    const bool known = property < static_cast<int>(table.properties.size());
    const DeclaredProperty* p = known ? &table.properties[static_cast<size_t>(property)] : nullptr;
    const auto same_name = [&] { return p->name == d.name || SUValue::CompareCI(p->name, d.name) == 0; };
    if (!p || p->offset != offset || p->kind != d.kind || !same_name()) {
      ++instance->mismatches;
      return;
    }
  }
  DeclaredProperty& declared = table.properties[static_cast<size_t>(property)];
  const Held held = declared.held;
  if (held == Held::kValue) {
    auto& holder = static_cast<QV_VarParam&>(*d.holder);
    TakeIn(*instance, holder, property);
    if (is_first)
      GiveFirstDefault(instance->scope(), holder, declared);
    else
      GiveKnownDefault(holder, declared);
  } else if (held == Held::kArrayOfValues || held == Held::kArrayOfModels) {
    auto& array = static_cast<QV_VarParam&>(*d.holder);
    HostAccess::Parent(array) = &object;
    HostAccess::PropertyIndex(array) = property;
  }
}

Instance& ConstructInstance(Scope& scope, QV_Container& object, Instance* parent, const char* name,
                            int property, long long element) {
  const char* const lasting_name = scope.Keep(name ? name : "");
  auto* instance = HostAccess::InstanceOf(object) = new Instance(object, TableOf(object), scope);
  instance->parent = parent;
  instance->parent_property = property;
  instance->parent_element = element;
  instance->name = lasting_name;
  if (parent) HostAccess::Enclosing(object) = &parent->object();
  if (QV_ModelType* const model = instance->model()) HostAccess::Parent(model->ComponentList) = &object;
  {
    Current current = ThisThread();
    current.scope = &scope;
    current.instance = instance;
    const CurrentGuard guard(current);
    object.Construct();
  }
  ExpectMemory(*instance, "its properties were declared");  // the type's next instance completes the table
  TypeTable& table = *instance->type_;
  if (!table.complete) table.Complete();
  if (instance->declared_ != static_cast<int>(table.properties.size())) ++instance->mismatches;
  if (instance->mismatches) {
    scope.Fault(fmt::format(
        "{}: this instance declares other properties than the first {} did. The model library is at fault.",
        InstanceName(*instance), table.type_name));
    return *instance;
  }
  for (const int i : table.references()) BindReference(*instance, *instance->Reference(i), i);
  for (const int i : table.models()) {
    if (QV_VirtualBase* substitute = instance->Substitute(i); substitute && !substitute->Target()) {
      QV_Type*& target = HostAccess::Target(*substitute);
      target = Adopted(scope, MakeTarget(*substitute));
    }
    if (auto* sub = dynamic_cast<QV_Container*>(instance->Object(i)); sub && !HostAccess::InstanceOf(*sub))
      ConstructInstance(scope, *sub, instance, "", i);
  }
  return *instance;
}

int ConstructArrayElements(Instance& instance) {
  int made = 0;
  for (const int i : instance.type().models()) {
    if (instance.type().properties[static_cast<size_t>(i)].held != Held::kArrayOfModels) continue;
    auto* array = static_cast<QV_ArrayBase*>(instance.Object(i));
    for (long long e = 0; e < array->Count(); ++e) {
      auto* sub = static_cast<QV_Container*>(&array->At(e));
      Instance* child = HostAccess::InstanceOf(*sub);
      if (!child) {
        child = &ConstructInstance(instance.scope(), *sub, &instance, "", i, e);
        ++made;
      }
      child->parent_property = i;
      child->parent_element = e;
    }
  }
  return made;
}

std::vector<Instance*> SubInstances(const Instance& instance) {
  std::vector<Instance*> all;
  for (const int i : instance.type().models()) {
    QV_Type* object = instance.Object(i);
    const Held held = instance.type().properties[static_cast<size_t>(i)].held;
    if (held == Held::kArrayOfModels) {
      const ArrayStorage* storage = HostAccess::Storage(static_cast<QV_ArrayBase&>(*object));
      if (!storage) continue;
      for (QV_Type* element : storage->elements)
        if (Instance* child = HostAccess::InstanceOf(static_cast<QV_Container&>(*element)))
          all.push_back(child);
    } else if (auto* sub = held == Held::kModel ? static_cast<QV_Container*>(object)
                                                : dynamic_cast<QV_Container*>(object)) {
      if (Instance* child = HostAccess::InstanceOf(*sub); child && child->parent == &instance)
        all.push_back(child);
    }
  }
  return all;
}

std::string ElementSuffix(const QV_ArrayBase& array, long long position) {
  const ArrayStorage* storage = HostAccess::Storage(const_cast<QV_ArrayBase&>(array));
  std::vector<std::string> indices(storage->sets.size());
  for (size_t k = indices.size(); k-- > 0;) {
    const SetStorage& set = storage->sets[k];
    const auto place = static_cast<size_t>(position % set.Count());
    position /= set.Count();
    indices[k] = set.is_text ? set.texts[place] : std::to_string(set.integers[place]);
  }
  return fmt::format("({})", fmt::join(indices, ","));
}

std::string InstanceName(const Instance& instance) {
  if (!instance.parent) return *instance.name ? instance.name : instance.type().type_name;
  std::string name;
  if (instance.parent->parent || *instance.parent->name) name = InstanceName(*instance.parent) + ".";
  if (instance.parent_property >= 0) {
    const char* property =
        instance.parent->type().properties[static_cast<size_t>(instance.parent_property)].name;
    if (*property)
      name += property;
    else if (!name.empty())
      name.pop_back();  // the point
    if (instance.parent_element >= 0) {
      auto& array = static_cast<QV_ArrayBase&>(*instance.parent->Object(instance.parent_property));
      name += ElementSuffix(array, instance.parent_element);
    }
  }
  return name;
}

namespace {
// "SUB(1)." from the instance down to the one named; "" when it is the instance itself.
std::string Path(const Instance& instance, const Instance* within) {
  if (&instance == within) return "";
  const std::string name = InstanceName(instance);
  if (within && !within->parent && *within->name) {
    const std::string front = std::string(within->name) + ".";
    if (name.starts_with(front)) return name.substr(front.size()) + ".";
  }
  return name.empty() ? "" : name + ".";
}
}  // namespace

std::string HolderName(QV_VarParam& holder, const Instance* within) {
  QV_Type* parent = HostAccess::Parent(holder);
  if (HostAccess::HasFlag(holder, HostAccess::kGlobalFlag)) {
    const Scope* scope = within ? &within->scope() : ThisThread().scope;
    return scope ? scope->globals()[static_cast<size_t>(HostAccess::PropertyIndex(holder))]->name
                 : "a global";
  }
  if (!parent) return TypeName(typeid(holder));
  if (auto* array = dynamic_cast<QV_ArrayBase*>(parent))
    return HolderName(*array, within) + ElementSuffix(*array, HostAccess::PropertyIndex(holder));
  auto& container = static_cast<QV_Container&>(*parent);
  const Instance* instance = HostAccess::InstanceOf(container);
  if (!instance) return TypeName(typeid(holder));
  const int property = HostAccess::PropertyIndex(holder);
  return Path(*instance, within) +
         (property < 0 ? "ComponentList" : instance->type().properties[static_cast<size_t>(property)].name);
}

std::string QualifiedName(QV_VarParam& holder) { return HolderName(holder, nullptr); }

const Instance* InstanceHolding(QV_VarParam& holder) {
  QV_Type* parent = HostAccess::Parent(holder);
  if (!parent || HostAccess::HasFlag(holder, HostAccess::kGlobalFlag)) return nullptr;
  if (auto* array = dynamic_cast<QV_ArrayBase*>(parent)) parent = HostAccess::Parent(*array);
  return parent ? HostAccess::InstanceOf(static_cast<QV_Container&>(*parent)) : nullptr;
}

bool AdmitAssignment(QV_VarParam& holder, unsigned char owner_flag) {
  const Instance* assigning = ThisThread().instance;
  if (!assigning) return true;
  const bool is_plainly_own = HostAccess::Parent(holder) == &assigning->object();
  const Instance* own = is_plainly_own ? assigning : InstanceHolding(holder);
  if (!own) return true;
  if (own == assigning) return !HostAccess::HasFlag(holder, owner_flag);
  for (const Instance* above = own->parent; above; above = above->parent)
    if (above == assigning) HostAccess::SetFlag(holder, owner_flag);
  return true;
}

bool AdmitGlobalAssignment(QV_VarParam& holder, const QV_Value& value) {
  const Current& current = ThisThread();
  if (!current.scope) return true;
  Global& global = *current.scope->globals()[static_cast<size_t>(HostAccess::PropertyIndex(holder))];
  if (!global.assigned_by || global.assigned_by == current.instance) {
    global.assigned_by = current.instance;
    return true;
  }
  const SetStorage* set = HostAccess::KindOf(holder) == HostAccess::kSet ? HostAccess::Set(holder) : nullptr;
  const auto keeps = [&](const std::string& before) {
    current.scope->notes.push_back(fmt::format(
        "global {} keeps {}, the first default; {} would give {}.", global.name, before,
        current.instance ? InstanceName(*current.instance) : "another model", DescribeValue(value)));
  };
  switch (HostAccess::KindOf(value)) {
    case QV_Value::kReal:
      if (HostAccess::Real(value) != holder.RealValue()) keeps(fmt::format("{}", holder.RealValue()));
      break;
    case QV_Value::kInteger:
      if (HostAccess::Integer(value) != holder.RealValue()) keeps(fmt::format("{}", holder.RealValue()));
      break;
    case QV_Value::kLogical:
      if (HostAccess::Logical(value) != holder.LogicalValue())
        keeps(holder.LogicalValue() ? "true" : "false");
      break;
    case QV_Value::kText:
      if (!EqualIgnoringCase(HostAccess::Text(value), holder.StringValue()))
        keeps(fmt::format("\"{}\"", holder.StringValue()));
      break;
    case QV_Value::kSet:
      if (set != HostAccess::Set(value)) keeps("the set " + (set ? set->Describe() : ""));
      break;
    case QV_Value::kSpecification:
      break;  // no value
  }
  return false;
}

}  // namespace quiver
