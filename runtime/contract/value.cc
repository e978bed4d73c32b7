// SPDX-License-Identifier: Apache-2.0
#include "host/value.h"

#include <cstring>
#include <new>

#include "runtime/contract/host_access.h"
#include "runtime/contract/set_storage.h"

namespace {
const char* Copy(const char* text) {
  const size_t size = std::strlen(text ? text : "") + 1;
  char* copy = static_cast<char*>(MyAllocate(size));
  if (!copy) throw std::bad_alloc();
  std::memcpy(copy, text ? text : "", size);
  return copy;
}
}  // namespace

// Sets are lasting and shared.
QV_SetValue::QV_SetValue(const QV_SetValue& other) = default;
QV_SetValue& QV_SetValue::operator=(const QV_SetValue& other) = default;
QV_SetValue::~QV_SetValue() = default;
QV_StrSetValue::QV_StrSetValue(const char* text) : QV_SetValue(quiver::SetStorage::FromText(text)) {}
QV_IntSetValue::QV_IntSetValue(const char* text) : QV_SetValue(quiver::SetStorage::FromIntegers(text)) {}

QV_Value::QV_Value(double value, int b, int a, int index)
    : kind_(kReal), real_(value), b_(b), a_(a), index_(index) {}
QV_Value::QV_Value(int value, int b, int a, int index)
    : kind_(kInteger), integer_(value), b_(b), a_(a), index_(index) {}
QV_Value::QV_Value(const char* value, int b, int a, int index)
    : kind_(kText), text_(Copy(value)), b_(b), a_(a), index_(index) {}
QV_Value::QV_Value(bool value, int b, int a, int index)
    : kind_(kLogical), logical_(value), b_(b), a_(a), index_(index) {}
QV_Value::QV_Value(QV_SetValue& value, int b, int a, int index)
    : kind_(kSet), set_(quiver::HostAccess::Values(value)), b_(b), a_(a), index_(index) {}
QV_Value::QV_Value(QV_SpecType value, int b, int a, int index)
    : kind_(kSpecification), specification_(value), b_(b), a_(a), index_(index) {}
QV_Value::~QV_Value() {
  if (kind_ == kText) MyFree(const_cast<char*>(text_));
}
