// SPDX-License-Identifier: Apache-2.0
// Holders: values, bounds and specification kinds, and who may override whom.
#include "host/property.h"

#include <fmt/format.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "runtime/contract/host_access.h"
#include "runtime/contract/instance.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/names.h"
#include "runtime/contract/readings.h"
#include "runtime/contract/scope.h"
#include "runtime/contract/set_storage.h"

static_assert(sizeof(QV_VarParam) == 48, "a million instances are built of these");

extern "C" const QV_InterfaceId kQvUnknownId = {{0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
extern "C" const QV_InterfaceId kQvDispatchId = {{0, 4, 2, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
extern "C" const QV_InterfaceId kQvVarParamId = {
    {'Q', 'V', 1, 0, 'v', 'a', 'r', 'p', 'a', 'r', 'a', 'm', 0, 0, 0, 1}};
extern "C" const QV_InterfaceId kQvContainerId = {
    {'Q', 'V', 1, 0, 'c', 'o', 'n', 't', 'a', 'i', 'n', 'e', 'r', 0, 0, 1}};
extern "C" const QV_InterfaceId kQvModelId = {
    {'Q', 'V', 1, 0, 'm', 'o', 'd', 'e', 'l', 't', 'y', 'p', 'e', 0, 0, 1}};

using quiver::HostAccess;
using quiver::NoteReading;
using quiver::Origin;
using quiver::Reading;

namespace {

bool SameId(const void* a, const QV_InterfaceId& b) { return std::memcmp(a, b.bytes, sizeof b.bytes) == 0; }

int Answer(QV_Containable& self, void* face, void** object) {
  *object = face;
  self.AddRef();
  return kQvOk;
}

constexpr int kRefused = -1;

int Refuse(QV_VarParam& holder, const std::string& reason) {
  if (quiver::Scope* scope = quiver::ThisThread().scope)
    scope->Fault(fmt::format("{}: {}", quiver::QualifiedName(holder), reason));
  return kRefused;
}

// The number a value stands for; NaN for texts and sets.
double NumberOf(const QV_Value& value) {
  switch (HostAccess::KindOf(value)) {
    case QV_Value::kReal:
      return HostAccess::Real(value);
    case QV_Value::kInteger:
      return HostAccess::Integer(value);
    case QV_Value::kLogical:
      return HostAccess::Logical(value) ? 1 : 0;
    default:
      return std::nan("");
  }
}

// The assignment of a bound or of the specification kind; the object handed out serves until the next
// request.
class AttributeTarget final : public QV_VarParamProp {
 public:
  enum Attribute { kLower, kUpper, kSpecification };
  AttributeTarget& For(QV_VarParam& holder, Attribute attribute) {
    holder_ = &holder;
    attribute_ = attribute;
    return *this;
  }
  int Assign(QV_Value* value) override {
    return quiver::NotingMemory([&] { return Give(value); });
  }

 private:
  int Give(QV_Value* value) {
    if (!value || !holder_) return kRefused;
    const double number = NumberOf(*value);
    if (attribute_ == kSpecification) {
      const int kind = HostAccess::KindOf(*value) == QV_Value::kSpecification
                           ? HostAccess::Specification(*value)
                       : number == 1 || number == 4 ? static_cast<int>(number)
                                                    : 0;
      if (kind != QV_SPEC_COMPUTED && kind != QV_SPEC_GIVEN)
        return Refuse(*holder_, "a specification is computed (1) or given (4).");
      if (!HostAccess::HasFlag(*holder_, HostAccess::kUserSpecFlag) &&
          quiver::AdmitAssignment(*holder_, HostAccess::kOwnerSpecFlag))
        HostAccess::SetSpec(*holder_, kind);
      return 0;
    }
    if (std::isnan(number)) return Refuse(*holder_, "a bound must be a number.");
    quiver::Bounds*& bounds = HostAccess::BoundsOf(*holder_);
    if (!bounds) bounds = new quiver::Bounds{0, 0};
    if (attribute_ == kLower && !bounds->user_lower) {
      bounds->lower = number;
      bounds->has_lower = true;
    }
    if (attribute_ == kUpper && !bounds->user_upper) {
      bounds->upper = number;
      bounds->has_upper = true;
    }
    return 0;
  }

  QV_VarParam* holder_ = nullptr;
  Attribute attribute_ = kLower;
};

QV_VarParamProp& Target(QV_VarParam& holder, AttributeTarget::Attribute attribute) {
  thread_local AttributeTarget targets[3];
  return targets[attribute].For(holder, attribute);
}

}  // namespace

int QV_Containable::QueryInterface(const void* interface_id, void** object) {
  if (!object) return kQvPointer;
  *object = nullptr;
  if (!interface_id) return kQvPointer;
  if (SameId(interface_id, kQvUnknownId) || SameId(interface_id, kQvDispatchId))
    return Answer(*this, this, object);
  return kQvNoInterface;
}
unsigned QV_Containable::AddRef() { return ++references_; }
namespace {
// Parts of a model, elements of an array and what the scope keeps go with their owner, not with their last reference.
bool HasOwner(QV_Containable& object) {
  if (auto* holder = dynamic_cast<QV_VarParam*>(&object))
    return HostAccess::Parent(*holder) || HostAccess::HasFlag(*holder, HostAccess::kGlobalFlag);
  auto* container = dynamic_cast<QV_Container*>(&object);
  if (!container) return false;
  const quiver::Instance* instance = HostAccess::InstanceOf(*container);
  return container->Enclosing() || (instance && instance->kept_by_scope);
}
}  // namespace
unsigned QV_Containable::Release() {
  if (references_ > 1) return --references_;
  if (HasOwner(*this)) return references_ = 0;
  delete this;
  return 0;
}
int QV_Containable::GetTypeInfoCount(unsigned* count) {
  if (!count) return kQvPointer;
  *count = 0;
  return kQvOk;
}
int QV_Containable::GetTypeInfo(unsigned, unsigned, void** info) {
  if (info) *info = nullptr;
  return kQvMemberNotFound;
}
int QV_Containable::GetIDsOfNames(const void*, const char** names, unsigned count, unsigned, int* ids) {
  if (!names || !ids) return kQvPointer;
  for (unsigned i = 0; i < count; ++i) ids[i] = -1;
  return count ? kQvUnknownName : kQvOk;
}
int QV_Containable::Invoke(int, const void*, unsigned, unsigned short, void*, void*, void*, unsigned*) {
  return kQvMemberNotFound;
}
QV_Containable::~QV_Containable() = default;

int QV_VarParamProp::Assign(QV_Value*) { return kRefused; }

void QV_Type::Construct() {}
QV_Value* QV_Type::QV_DefaultVALUE() { return nullptr; }
QV_Value* QV_Type::QV_DefaultVALID() { return nullptr; }
QV_Value* QV_Type::QV_DefaultLOWER() { return nullptr; }
QV_Value* QV_Type::QV_DefaultUPPER() { return nullptr; }
QV_Value* QV_Type::QV_DefaultBASEUOMNAME() { return nullptr; }
QV_Value* QV_Type::QV_DefaultPHYSICALQUANTITY() { return nullptr; }
void QV_Type::AddProperty(QV_Type& holder, QV_Container* owner, const char* name, const char* description,
                          QV_Direction direction, bool flag) {
  quiver::NotingMemory([&] {
    quiver::Declare(
        {quiver::PropertyKind::kLocal, &holder, nullptr, nullptr, owner, name, description, direction, flag});
  });
}

QV_VarParam::QV_VarParam(bool variable) : QV_VarParam(kReal, variable) {}
QV_VarParam::QV_VarParam(Kind kind, bool variable)
    : kind_(kind), flags_(variable ? HostAccess::kVariableFlag : static_cast<unsigned char>(0)) {}
QV_VarParam::QV_VarParam(const QV_VarParam& other)
    : QV_Type(other), kind_(other.kind_), flags_(other.flags_ & HostAccess::kVariableFlag) {
  *this = other;
}
QV_VarParam& QV_VarParam::operator=(const QV_VarParam& other) {
  if (this == &other) return *this;
  spec_ = other.spec_;
  origin_ = other.origin_;
  if (kind_ != kArray && (kind_ == kSet) == (other.kind_ == kSet))
    real_ = other.real_;  // the whole eight bytes, whatever the kind: texts and sets are lasting
  else if (kind_ == kSet)
    set_ = nullptr;
  delete std::exchange(bounds_, nullptr);
  if (other.bounds_) quiver::NotingMemory([&] { bounds_ = new quiver::Bounds(*other.bounds_); });
  return *this;
}
QV_VarParam::~QV_VarParam() {
  if (number_ >= 0)
    if (quiver::Scope* scope = quiver::ThisThread().scope) scope->Forget(*this);
  delete bounds_;
}
int QV_VarParam::QueryInterface(const void* interface_id, void** object) {
  if (object && interface_id && SameId(interface_id, kQvVarParamId)) return Answer(*this, this, object);
  return QV_Type::QueryInterface(interface_id, object);
}

int QV_VarParam::Assign(QV_Value* value) {
  return quiver::NotingMemory([&] {
    if (!value) return Refuse(*this, "an assignment without a value.");
    if (HostAccess::KindOf(*value) == QV_Value::kSpecification) return Spec().Assign(value);
    if (HostAccess::OriginOf(*this) >= Origin::kSolution && kind_ != kArray)
      return 0;  // the user's and the solution's stay
    if (HostAccess::HasFlag(*this, HostAccess::kGlobalFlag) && !quiver::AdmitGlobalAssignment(*this, *value))
      return 0;
    if (!quiver::AdmitAssignment(*this, HostAccess::kOwnerValueFlag)) return 0;
    return quiver::SetFromValue(*this, *value, Origin::kAssignment);
  });
}

bool QV_VarParam::IsVariable() const { return (flags_ & HostAccess::kVariableFlag) != 0; }
double QV_VarParam::LowerBound() const {
  NoteReading(*this, Reading::kLower);
  if (bounds_ && bounds_->has_lower) return bounds_->lower;
  const QV_Value* type_default = const_cast<QV_VarParam*>(this)->QV_DefaultLOWER();
  return type_default ? NumberOf(*type_default) : -std::numeric_limits<double>::infinity();
}
double QV_VarParam::UpperBound() const {
  NoteReading(*this, Reading::kUpper);
  if (bounds_ && bounds_->has_upper) return bounds_->upper;
  const QV_Value* type_default = const_cast<QV_VarParam*>(this)->QV_DefaultUPPER();
  return type_default ? NumberOf(*type_default) : std::numeric_limits<double>::infinity();
}
bool QV_VarParam::HoldsDefault() const {
  NoteReading(*this, Reading::kOrigin);
  return HostAccess::OriginOf(*this) <= Origin::kAssignment;
}
double QV_VarParam::RealValue() const {
  NoteReading(*this, Reading::kValue);
  switch (kind_) {
    case kReal:
      return real_;
    case kInteger:
      return integer_;
    case kLogical:
      return logical_ ? 1 : 0;
    default:
      return 0;
  }
}
int QV_VarParam::IntegerValue() const {
  NoteReading(*this, Reading::kValue);
  if (kind_ == kReal) return std::abs(real_) < 2147483648.0 ? static_cast<int>(real_) : 0;
  if (kind_ == kInteger) return integer_;
  return kind_ == kLogical && logical_ ? 1 : 0;
}
const char* QV_VarParam::StringValue() const {
  NoteReading(*this, Reading::kValue);
  return kind_ == kText && text_ ? text_ : "";
}
bool QV_VarParam::LogicalValue() const {
  if (kind_ == kText) return SUValue::CompareCI(StringValue(), "Yes") == 0;
  return RealValue() != 0;
}
QV_VarParamProp& QV_VarParam::Lower() { return Target(*this, AttributeTarget::kLower); }
QV_VarParamProp& QV_VarParam::Upper() { return Target(*this, AttributeTarget::kUpper); }
QV_VarParamProp& QV_VarParam::Spec() { return Target(*this, AttributeTarget::kSpecification); }

namespace {
template <class Value>
int SetCurrent(QV_VarParam& holder, Value value) {
  return quiver::NotingMemory([&] {
    const QV_Value v(value);
    return quiver::SetFromValue(holder, v, std::max(HostAccess::OriginOf(holder), Origin::kSolution));
  });
}
}  // namespace
int QV_VarParam::SetCurrentValue(double value) { return SetCurrent(*this, value); }
int QV_VarParam::SetCurrentValue(int value) { return SetCurrent(*this, value); }
int QV_VarParam::SetCurrentValue(const char* value) { return SetCurrent(*this, value); }

void QV_STRINGPARAMETER::InitializeSystemAttributes(QV_VirtualBase&) {}

namespace quiver {

int SetFromValue(QV_VarParam& holder, const QV_Value& value, Origin origin) {
  const auto value_kind = HostAccess::KindOf(value);
  const double number = NumberOf(value);
  double& real = HostAccess::Real(holder);
  const auto needs = [&](const char* what) {
    return Refuse(holder, fmt::format("{} is needed, {} was given.", what, DescribeValue(value)));
  };
  switch (HostAccess::KindOf(holder)) {
    case HostAccess::kReal:
      if (value_kind == QV_Value::kLogical || std::isnan(number)) return needs("a number");
      real = number;
      break;
    case HostAccess::kInteger: {
      if (value_kind == QV_Value::kLogical || !(std::abs(number) < 2147483648.0) ||
          number != std::floor(number))
        return needs("a whole number");
      const int whole = static_cast<int>(number);
      if (const QV_Value* valid = holder.QV_DefaultVALID()) {
        const SetStorage& set = *HostAccess::Set(*valid);
        bool found = set.integers.empty();
        for (const int one : set.integers) found = found || one == whole;
        if (!found)
          return Refuse(holder, fmt::format("{} is not a valid value; it can be {}.", whole, set.Describe()));
      }
      real = 0;
      std::memcpy(&real, &whole, sizeof whole);
      break;
    }
    case HostAccess::kLogical: {
      bool logical = number != 0;
      if (value_kind == QV_Value::kText) {
        const char* text = HostAccess::Text(value);
        logical = EqualIgnoringCase(text, "yes") || EqualIgnoringCase(text, "true");
        if (!logical && !EqualIgnoringCase(text, "no") && !EqualIgnoringCase(text, "false"))
          return needs("true or false");
      } else if (number != 0 && number != 1) {
        return needs("true or false");
      }
      real = 0;
      std::memcpy(&real, &logical, sizeof logical);
      break;
    }
    case HostAccess::kText: {
      if (value_kind != QV_Value::kText) return needs("a text");
      const char* text = HostAccess::Text(value);
      if (const QV_Value* valid = holder.QV_DefaultVALID()) {
        const SetStorage& set = *HostAccess::Set(*valid);
        if (set.Count() && !set.Contains(text))
          return Refuse(holder,
                        fmt::format("\"{}\" is not a valid value; it can be {}.", text, set.Describe()));
      }
      const char* lasting = nullptr;
      std::memcpy(&lasting, &real, sizeof lasting);
      if (!lasting || std::strcmp(lasting, text) != 0) lasting = Interned(text);
      std::memcpy(&real, &lasting, sizeof lasting);
      break;
    }
    case HostAccess::kSet: {
      if (value_kind != QV_Value::kSet) return needs("a set");
      HostAccess::Set(holder) = HostAccess::Set(value);
      break;
    }
    case HostAccess::kArray: {
      auto& array = static_cast<QV_ArrayBase&>(holder);
      int status = 0;
      for (long long i = 0; i < array.Count(); ++i) {
        auto* element = dynamic_cast<QV_VarParam*>(&array.At(i));
        if (!element) return Refuse(holder, "an array of sub-models takes no value.");
        const bool open =
            origin > Origin::kAssignment || HostAccess::OriginOf(*element) <= Origin::kAssignment;
        if (open && status == 0) status = SetFromValue(*element, value, origin);
      }
      return status;
    }
  }
  HostAccess::SetOrigin(holder, origin);
  return 0;
}

void GiveTypeDefault(QV_VarParam& holder) {
  if (HostAccess::OriginOf(holder) != Origin::kNone || HostAccess::KindOf(holder) == HostAccess::kArray)
    return;
  if (const QV_Value* value = holder.QV_DefaultVALUE()) {
    SetFromValue(holder, *value, Origin::kNone);
    HostAccess::SetFlag(holder, kHasValueFlag);
  }
}

bool HasValue(const QV_VarParam& holder) {
  return HostAccess::OriginOf(holder) != Origin::kNone || HostAccess::HasFlag(holder, kHasValueFlag);
}

std::string DescribeValue(const QV_Value& value) {
  switch (HostAccess::KindOf(value)) {
    case QV_Value::kReal:
      return fmt::format("{}", HostAccess::Real(value));
    case QV_Value::kInteger:
      return fmt::format("{}", HostAccess::Integer(value));
    case QV_Value::kLogical:
      return HostAccess::Logical(value) ? "true" : "false";
    case QV_Value::kText:
      return fmt::format("\"{}\"", HostAccess::Text(value));
    case QV_Value::kSet:
      return "the set " + HostAccess::Set(value)->Describe();
    case QV_Value::kSpecification:
      return fmt::format("specification {}", static_cast<int>(HostAccess::Specification(value)));
  }
  return "";
}

}  // namespace quiver
