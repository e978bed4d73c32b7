// SPDX-License-Identifier: Apache-2.0
#include "host/container.h"

#include <cstring>

#include "host/model_type.h"
#include "runtime/contract/instance.h"
#include "runtime/contract/memory.h"
#include "runtime/contract/names.h"
#include "runtime/contract/scope.h"

using quiver::HostAccess;
using quiver::Instance;

QV_Container::QV_Container(bool, QV_Container* owner) : enclosing_(owner) {}
QV_Container::~QV_Container() { delete instance_; }
void QV_Container::SetDims() {}
const char* QV_Container::QV_DefaultDESCRIPTION() { return ""; }
bool QV_Container::ContainerDerivesFrom(const char*) { return false; }

int QV_Container::QueryInterface(const void* interface_id, void** object) {
  if (object && interface_id && std::memcmp(interface_id, &kQvContainerId, sizeof kQvContainerId) == 0) {
    *object = this;
    AddRef();
    return kQvOk;
  }
  if (object && interface_id && std::memcmp(interface_id, &kQvModelId, sizeof kQvModelId) == 0)
    if (auto* model = dynamic_cast<QV_ModelType*>(this)) {
      *object = model;
      AddRef();
      return kQvOk;
    }
  return QV_Type::QueryInterface(interface_id, object);
}

int QV_Container::GetTypeInfoCount(unsigned* count) { return QV_Type::GetTypeInfoCount(count); }

int QV_Container::GetIDsOfNames(const void*, const char** names, unsigned count, unsigned, int* ids) {
  if (!names || !ids) return kQvPointer;
  return quiver::NotingMemory([&] {
    int status = kQvOk;
    for (unsigned i = 0; i < count; ++i) {
      const int property = instance_ && names[i] ? instance_->type().Find(names[i]) : -1;
      ids[i] = property < 0 ? -1 : property + 1;
      if (property < 0) status = kQvUnknownName;
    }
    return status;
  });
}

int QV_Container::Invoke(int id, const void*, unsigned, unsigned short flags, void* arguments, void* result,
                         void*, unsigned* argument_error) {
  if (!instance_ || id < 1 || id > static_cast<int>(instance_->type().properties.size()))
    return kQvMemberNotFound;
  QV_Type* object = instance_->Object(id - 1);
  auto* holder = dynamic_cast<QV_VarParam*>(object);
  const bool scalar = holder && HostAccess::KindOf(*holder) != HostAccess::kArray &&
                      HostAccess::KindOf(*holder) != HostAccess::kSet;
  if (flags & kQvPropertyPut) {
    const auto* value = static_cast<const QV_Variant*>(arguments);
    if (!value) return kQvPointer;
    const auto refuse = [&] {
      if (argument_error) *argument_error = 0;
      return kQvTypeMismatch;
    };
    if (!scalar) return refuse();
    const auto put = [&](auto given) {
      return quiver::NotingMemory([&] {
        return quiver::SetFromValue(*holder, QV_Value(given), quiver::Origin::kUser) < 0 ? refuse() : kQvOk;
      });
    };
    switch (value->kind) {
      case QV_Variant::kReal:
        return put(value->real);
      case QV_Variant::kInteger:
        return put(value->integer);
      case QV_Variant::kLogical:
        return put(value->logical);
      case QV_Variant::kText:
        return put(value->text);
      default:
        return refuse();
    }
  }
  if (!(flags & kQvPropertyGet)) return kQvMemberNotFound;
  auto* value = static_cast<QV_Variant*>(result);
  if (!value) return kQvPointer;
  if (!scalar) {
    value->kind = object ? QV_Variant::kObject : QV_Variant::kEmpty;
    value->object = object;
    return kQvOk;
  }
  switch (HostAccess::KindOf(*holder)) {
    case HostAccess::kReal:
      value->kind = QV_Variant::kReal;
      value->real = holder->RealValue();
      break;
    case HostAccess::kInteger:
      value->kind = QV_Variant::kInteger;
      value->integer = holder->IntegerValue();
      break;
    case HostAccess::kLogical:
      value->kind = QV_Variant::kLogical;
      value->logical = holder->LogicalValue();
      break;
    default:
      value->kind = QV_Variant::kText;
      value->text = holder->StringValue();
  }
  return kQvOk;
}
