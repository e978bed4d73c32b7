// SPDX-License-Identifier: Apache-2.0
#include "host/references.h"

#include "runtime/contract/instance.h"

using quiver::PropertyKind;

QV_ExternalBase::~QV_ExternalBase() = default;
QV_Type* QV_ExternalBase::NewTarget() { return nullptr; }
QV_VirtualBase::~QV_VirtualBase() = default;
QV_Type* QV_VirtualBase::NewTarget() { return nullptr; }

void QV_ExternalBase::AddProperty(QV_ExternalBase& holder, QV_Container* owner, const char* name,
                                  const char* description, QV_Direction direction, bool flag) {
  quiver::Declare(
      {PropertyKind::kExternal, nullptr, &holder, nullptr, owner, name, description, direction, flag});
}
void QV_GlobalBase::AddProperty(QV_ExternalBase& holder, QV_Container* owner, const char* name,
                                const char* description, QV_Direction direction, bool flag) {
  quiver::Declare(
      {PropertyKind::kGlobal, nullptr, &holder, nullptr, owner, name, description, direction, flag});
}
void QV_GlobalStructureRefBase::AddProperty(QV_ExternalBase& holder, QV_Container* owner, const char* name,
                                            const char* description, QV_Direction direction, bool flag) {
  quiver::Declare({PropertyKind::kStructureReference, nullptr, &holder, nullptr, owner, name, description,
                   direction, flag});
}
void QV_VirtualBase::AddProperty(QV_VirtualBase& holder, QV_Container* owner, const char* name,
                                 const char* description, QV_Direction direction, bool flag) {
  quiver::Declare(
      {PropertyKind::kVirtual, nullptr, nullptr, &holder, owner, name, description, direction, flag});
}
